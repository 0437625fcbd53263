// SPDX-License-Identifier: MIT
// Checksums beside zlib and libdeflate, modular exponentiation beside LibTomMath,
// GMP and OpenSSL.
#include <ORVEX/CRC.h>
#include <ORVEX/Nmpi.h>

#include <benchmark/benchmark.h>

#ifdef BENCH_zlib
#include <zlib.h>
#endif
#ifdef BENCH_libdeflate
#include <libdeflate.h>
#endif
#ifdef BENCH_libtommath
#include <tommath.h>
#endif
#ifdef BENCH_gmp
#include <gmp.h>
#endif
#ifdef BENCH_openssl
#include <openssl/bn.h>
#endif

#include <random>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Noise(std::size_t length, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes(length);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

template <class CRC, int Length> void Orvex(benchmark::State& state)
{
    Bytes bytes = Noise(Length, 1);
    const ORVEX::BufferBase buffer(bytes.data(), bytes.size());
    for (auto _ : state) {
        CRC crc;
        crc.Update(buffer);
        benchmark::DoNotOptimize(crc.Get());
    }
    state.SetBytesProcessed(state.iterations() * Length);
}
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC32, 1 << 20)->Name("Crc32_1MiB/orvex");
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC32, 64)->Name("Crc32_64B/orvex");
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC8, 1 << 20)->Name("Crc8_1MiB/orvex");

#ifdef BENCH_zlib
template <int Length> void Zlib(benchmark::State& state)
{
    const Bytes bytes = Noise(Length, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    state.SetBytesProcessed(state.iterations() * Length);
}
BENCHMARK_TEMPLATE(Zlib, 1 << 20)->Name("Crc32_1MiB/zlib");
BENCHMARK_TEMPLATE(Zlib, 64)->Name("Crc32_64B/zlib");
#endif

#ifdef BENCH_libdeflate
template <int Length> void Libdeflate(benchmark::State& state)
{
    const Bytes bytes = Noise(Length, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(libdeflate_crc32(0, bytes.data(), bytes.size()));
    state.SetBytesProcessed(state.iterations() * Length);
}
BENCHMARK_TEMPLATE(Libdeflate, 1 << 20)->Name("Crc32_1MiB/libdeflate");
BENCHMARK_TEMPLATE(Libdeflate, 64)->Name("Crc32_64B/libdeflate");
#endif

// A modulus of key size is odd and uses all its bits; the exponent is as long, as a private one is.
struct Key {
    explicit Key(std::size_t bytes)
        : base(Noise(bytes, 2)), exponent(Noise(bytes, 3)), modulus(Noise(bytes, 4))
    {
        modulus.front() |= 0x80;
        modulus.back() |= 1;
    }
    Bytes base, exponent, modulus;
};

ORVEX::BufferBase Range(Bytes& bytes) { return ORVEX::BufferBase(bytes.data(), bytes.size()); }

template <int Bits> void OrvexModExp(benchmark::State& state)
{
    Key key(Bits / 8);
    ORVEX::Nmpi<Bits / 16 + 2> result, power, exponent, modulus, quotient; // a product, and some
    exponent.NocheckSetBuffer(Range(key.exponent));
    modulus.NocheckSetBuffer(Range(key.modulus));
    for (auto _ : state) {
        result.NocheckSetBuffer(Range(key.base));
        result.NocheckModExp(exponent, modulus, power, quotient);
        benchmark::DoNotOptimize(*result.begin);
    }
}
BENCHMARK_TEMPLATE(OrvexModExp, 512)->Name("ModExp_512/orvex");
BENCHMARK_TEMPLATE(OrvexModExp, 1024)->Name("ModExp_1024/orvex");
BENCHMARK_TEMPLATE(OrvexModExp, 2048)->Name("ModExp_2048/orvex");
BENCHMARK_TEMPLATE(OrvexModExp, 4096)->Name("ModExp_4096/orvex");

#ifdef BENCH_libtommath
template <int Bits> void LibtommathModExp(benchmark::State& state)
{
    const Key key(Bits / 8);
    mp_int base, exponent, modulus, result;
    if (mp_init_multi(&base, &exponent, &modulus, &result, nullptr) != MP_OKAY) {
        state.SkipWithError("out of memory");
        return;
    }
    mp_err failed = mp_from_ubin(&base, key.base.data(), key.base.size());
    failed |= mp_from_ubin(&exponent, key.exponent.data(), key.exponent.size());
    failed |= mp_from_ubin(&modulus, key.modulus.data(), key.modulus.size());
    for (auto _ : state) {
        failed |= mp_exptmod(&base, &exponent, &modulus, &result);
        benchmark::DoNotOptimize(*result.dp);
    }
    if (failed != MP_OKAY)
        state.SkipWithError("LibTomMath failed");
    mp_clear_multi(&base, &exponent, &modulus, &result, nullptr);
}
BENCHMARK_TEMPLATE(LibtommathModExp, 512)->Name("ModExp_512/libtommath");
BENCHMARK_TEMPLATE(LibtommathModExp, 1024)->Name("ModExp_1024/libtommath");
BENCHMARK_TEMPLATE(LibtommathModExp, 2048)->Name("ModExp_2048/libtommath");
BENCHMARK_TEMPLATE(LibtommathModExp, 4096)->Name("ModExp_4096/libtommath");
#endif

#ifdef BENCH_gmp
template <int Bits> void GmpModExp(benchmark::State& state)
{
    const Key key(Bits / 8);
    mpz_t base, exponent, modulus, result;
    mpz_inits(base, exponent, modulus, result, nullptr);
    mpz_import(base, key.base.size(), 1, 1, 0, 0, key.base.data());
    mpz_import(exponent, key.exponent.size(), 1, 1, 0, 0, key.exponent.data());
    mpz_import(modulus, key.modulus.size(), 1, 1, 0, 0, key.modulus.data());
    for (auto _ : state) {
        mpz_powm(result, base, exponent, modulus);
        benchmark::DoNotOptimize(mpz_getlimbn(result, 0));
    }
    mpz_clears(base, exponent, modulus, result, nullptr);
}
BENCHMARK_TEMPLATE(GmpModExp, 512)->Name("ModExp_512/gmp");
BENCHMARK_TEMPLATE(GmpModExp, 1024)->Name("ModExp_1024/gmp");
BENCHMARK_TEMPLATE(GmpModExp, 2048)->Name("ModExp_2048/gmp");
BENCHMARK_TEMPLATE(GmpModExp, 4096)->Name("ModExp_4096/gmp");
#endif

#ifdef BENCH_openssl
template <int Bits> void OpensslModExp(benchmark::State& state)
{
    const Key key(Bits / 8);
    BN_CTX* const context = BN_CTX_new();
    BIGNUM* const base = BN_bin2bn(key.base.data(), Bits / 8, nullptr);
    BIGNUM* const exponent = BN_bin2bn(key.exponent.data(), Bits / 8, nullptr);
    BIGNUM* const modulus = BN_bin2bn(key.modulus.data(), Bits / 8, nullptr);
    BIGNUM* const result = BN_new();
    for (auto _ : state)
        if (BN_mod_exp(result, base, exponent, modulus, context) != 1)
            state.SkipWithError("OpenSSL failed");
    BN_free(result);
    BN_free(modulus);
    BN_free(exponent);
    BN_free(base);
    BN_CTX_free(context);
}
BENCHMARK_TEMPLATE(OpensslModExp, 512)->Name("ModExp_512/openssl");
BENCHMARK_TEMPLATE(OpensslModExp, 1024)->Name("ModExp_1024/openssl");
BENCHMARK_TEMPLATE(OpensslModExp, 2048)->Name("ModExp_2048/openssl");
BENCHMARK_TEMPLATE(OpensslModExp, 4096)->Name("ModExp_4096/openssl");
#endif

} // namespace
