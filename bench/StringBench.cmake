# SPDX-License-Identifier: MIT
orvex_bench(StringBench PEERS icu icu-uc)
