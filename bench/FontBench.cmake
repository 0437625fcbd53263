# SPDX-License-Identifier: MIT
orvex_bench(FontBench PEERS sdl SDL2_ttf)
