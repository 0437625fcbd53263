// SPDX-License-Identifier: MIT
// Checksums beside zlib and libdeflate, modular exponentiation beside LibTomMath.
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

void CountBytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class CRC> void Orvex(benchmark::State& state)
{
    Bytes bytes = Noise(static_cast<std::size_t>(state.range(0)), 1);
    const ORVEX::BufferBase buffer(bytes.data(), bytes.size());
    for (auto _ : state) {
        CRC crc;
        crc.Update(buffer);
        benchmark::DoNotOptimize(crc.Get());
    }
    CountBytes(state);
}
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC32)->Name("Crc32_1MiB/orvex")->Arg(1 << 20);
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC32)->Name("Crc32_64B/orvex")->Arg(64);
BENCHMARK_TEMPLATE(Orvex, ORVEX::CRC8)->Name("Crc8_1MiB/orvex")->Arg(1 << 20);

#ifdef BENCH_zlib
void Zlib(benchmark::State& state)
{
    const Bytes bytes = Noise(static_cast<std::size_t>(state.range(0)), 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    CountBytes(state);
}
BENCHMARK(Zlib)->Name("Crc32_1MiB/zlib")->Arg(1 << 20);
BENCHMARK(Zlib)->Name("Crc32_64B/zlib")->Arg(64);
#endif

#ifdef BENCH_libdeflate
void Libdeflate(benchmark::State& state)
{
    const Bytes bytes = Noise(static_cast<std::size_t>(state.range(0)), 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(libdeflate_crc32(0, bytes.data(), bytes.size()));
    CountBytes(state);
}
BENCHMARK(Libdeflate)->Name("Crc32_1MiB/libdeflate")->Arg(1 << 20);
BENCHMARK(Libdeflate)->Name("Crc32_64B/libdeflate")->Arg(64);
#endif

// A modulus of key size is odd and uses all its bits; the exponent is as long, as a private one is.
struct Key {
    explicit Key(benchmark::State& state)
        : base(Noise(static_cast<std::size_t>(state.range(0) / 8), 2)),
          exponent(Noise(static_cast<std::size_t>(state.range(0) / 8), 3)),
          modulus(Noise(static_cast<std::size_t>(state.range(0) / 8), 4))
    {
        modulus.front() |= 0x80;
        modulus.back() |= 1;
    }
    Bytes base, exponent, modulus;
};

ORVEX::BufferBase Range(Bytes& bytes) { return ORVEX::BufferBase(bytes.data(), bytes.size()); }

void OrvexModExp(benchmark::State& state)
{
    Key key(state);
    ORVEX::Nmpi<256> result, power;
    ORVEX::Nmpi<129> exponent, modulus, quotient;
    exponent.NocheckSetBuffer(Range(key.exponent));
    modulus.NocheckSetBuffer(Range(key.modulus));
    for (auto _ : state) {
        result.NocheckSetBuffer(Range(key.base));
        result.NocheckModExp(exponent, modulus, power, quotient);
        benchmark::DoNotOptimize(*result.begin);
    }
}
BENCHMARK(OrvexModExp)->Name("ModExp_1024/orvex")->Arg(1024);
BENCHMARK(OrvexModExp)->Name("ModExp_2048/orvex")->Arg(2048)->Unit(benchmark::kMillisecond);

#ifdef BENCH_libtommath
void LibtommathModExp(benchmark::State& state)
{
    const Key key(state);
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
BENCHMARK(LibtommathModExp)->Name("ModExp_1024/libtommath")->Arg(1024);
BENCHMARK(LibtommathModExp)
    ->Name("ModExp_2048/libtommath")
    ->Arg(2048)
    ->Unit(benchmark::kMillisecond);
#endif

} // namespace
