# SPDX-License-Identifier: MIT
orvex_bench(CheckBench PEERS zlib zlib libdeflate libdeflate libtommath libtommath gmp gmp openssl libcrypto)
