// SPDX-License-Identifier: MIT
// Text beside ICU's macros, std::string, memcmp and the standard library's numbers.
#include <ORVEX/String.h>

#include <benchmark/benchmark.h>

#ifdef BENCH_icu
#include <unicode/utf8.h>
#endif

#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using ORVEX::Char;
using ORVEX::String;

const std::size_t MiB = 1 << 20;

std::string Encoded(unsigned long code)
{
    Char c;
    c.SetUTF32(code);
    const std::uint64_t bytes = c.GetUTF8(); // little-endian, as every machine that this runs on
    return std::string(reinterpret_cast<const char*>(&bytes));
}

// Words of one script each, every second one of ASCII letters, the others Cyrillic, Chinese or
// pictures: characters of one to four bytes, and blanks.
std::string MixedText()
{
    std::mt19937 random(1);
    const unsigned long first[] = {'a', 'a', 'a', 'a', 0x410, 0x410, 0x4E00, 0x1F600};
    const unsigned long count[] = {26, 26, 26, 26, 64, 64, 20000, 64};
    std::string text;
    while (text.size() < MiB) {
        const unsigned long script = random() % 8;
        for (unsigned long letters = 2 + random() % 8; letters != 0; --letters)
            text += Encoded(first[script] + random() % count[script]);
        text += ' ';
    }
    while (text.size() > MiB)
        text.erase(text.rfind(' ', text.size() - 2) + 1);
    return text + std::string(MiB - text.size(), ' ');
}

// Each character of one to four bytes by chance: the hardest of all to foresee.
std::string ScatteredText()
{
    std::mt19937 random(2);
    const unsigned long first[] = {0x20, 0x80, 0x800, 0x10000};
    const unsigned long count[] = {0x5F, 0x780, 0xC000, 0x10000};
    std::string text;
    while (text.size() + 4 <= MiB) {
        const unsigned long length = random() % 4;
        text += Encoded(first[length] + random() % count[length]);
    }
    return text + std::string(MiB - text.size(), ' ');
}

std::string AsciiText()
{
    std::mt19937 random(3);
    std::string text;
    while (text.size() < MiB)
        text += random() % 6 == 0 ? ' ' : static_cast<char>('a' + random() % 26);
    return text;
}

String StringOf(const std::string& text)
{
    String string;
    string.UpdateCharStr(text.data(), text.data() + text.size());
    return string;
}

const struct {
    const char* suffix;
    std::string text;
} Texts[] = {{"", MixedText()}, {"Scattered", ScatteredText()}, {"Ascii", AsciiText()}};

// --- walking -------------------------------------------------------------------------------------

void SizeOrvex(benchmark::State& state, const std::string& bytes)
{
    const String text = StringOf(bytes);
    for (auto _ : state)
        benchmark::DoNotOptimize(text.Size());
}

void IterateOrvex(benchmark::State& state, const std::string& bytes)
{
    const String text = StringOf(bytes);
    for (auto _ : state) {
        std::uint32_t sum = 0;
        const String::IteratorConst end = text.End();
        for (String::IteratorConst at = text.Begin(); at != end; ++at)
            sum += (*at).GetUTF32();
        benchmark::DoNotOptimize(sum);
    }
}

#ifdef BENCH_icu
void SizeIcu(benchmark::State& state, const std::string& bytes)
{
    const char* const text = bytes.data();
    const int32_t length = static_cast<int32_t>(bytes.size());
    for (auto _ : state) {
        std::uint32_t size = 0;
        for (int32_t at = 0; at < length; ++size)
            U8_FWD_1(text, at, length);
        benchmark::DoNotOptimize(size);
    }
}

void IterateIcu(benchmark::State& state, const std::string& bytes)
{
    const char* const text = bytes.data();
    const int32_t length = static_cast<int32_t>(bytes.size());
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (int32_t at = 0; at < length;) {
            UChar32 c;
            U8_NEXT_UNSAFE(text, at, c);
            sum += static_cast<std::uint32_t>(c);
        }
        benchmark::DoNotOptimize(sum);
    }
}
#endif

// --- searching and comparing ---------------------------------------------------------------------

const char Needle[] = "needle, found"; // 13 bytes

std::string TextWithNeedleAtTheEnd()
{
    std::string text = MixedText();
    text.replace(text.size() - 13, 13, Needle);
    // The cut may have parted a character: what is left of it goes.
    for (std::size_t at = text.size() - 14; static_cast<unsigned char>(text[at]) >= 0x80; --at)
        text[at] = ' ';
    return text;
}

void FindOrvex(benchmark::State& state, const std::string& bytes)
{
    const String text = StringOf(bytes);
    const String needle = String::ChangeCharStr(Needle);
    for (auto _ : state)
        benchmark::DoNotOptimize(text.Find(needle, text.Begin()).Address());
}

void FindStd(benchmark::State& state, const std::string& text)
{
    const std::string needle = Needle;
    for (auto _ : state)
        benchmark::DoNotOptimize(text.find(needle));
}

void CompareOrvex(benchmark::State& state)
{
    const String a = StringOf(Texts[0].text);
    const String b = a;
    for (auto _ : state)
        benchmark::DoNotOptimize(a.Compare(b));
}
BENCHMARK(CompareOrvex)->Name("Compare_1MiB/orvex");

void CompareMemcmp(benchmark::State& state)
{
    const std::string a = Texts[0].text;
    const std::string b = a;
    for (auto _ : state) {
        const void* from = a.data(); // so that no call is left out because nothing changes
        benchmark::DoNotOptimize(from);
        benchmark::DoNotOptimize(std::memcmp(from, b.data(), MiB));
    }
}
BENCHMARK(CompareMemcmp)->Name("Compare_1MiB/memcmp");

// --- appending -----------------------------------------------------------------------------------

// Letters come as code points and are encoded on the way, on both sides. Blocks grow by 16 bytes,
// each time with a copy of all that is there, so most of the time is that of copying.
std::vector<std::uint32_t> CodePoints(std::size_t count)
{
    const String text = StringOf(Texts[2].text);
    std::vector<std::uint32_t> codes;
    for (String::IteratorConst at = text.Begin(); codes.size() < count; ++at) {
        if (at == text.End())
            at = text.Begin();
        codes.push_back((*at).GetUTF32());
    }
    return codes;
}

void AppendOrvex(benchmark::State& state)
{
    const std::vector<std::uint32_t> codes = CodePoints(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        String text;
        for (const std::uint32_t code : codes) {
            Char c;
            c.SetUTF32(code);
            text += c;
        }
        benchmark::DoNotOptimize(text.CStr());
    }
}
BENCHMARK(AppendOrvex)->Name("Append_1e4/orvex")->Arg(10000);
BENCHMARK(AppendOrvex)->Name("Append_1e5/orvex")->Arg(100000);
BENCHMARK(AppendOrvex)->Name("Append_1e6/orvex")->Arg(1000000)->Unit(benchmark::kMillisecond);

std::size_t Encode(std::uint32_t code, char* to)
{
    const auto tail = [code](int shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3F));
    };
    if (code < 0x80) {
        to[0] = static_cast<char>(code);
        return 1;
    }
    if (code < 0x800) {
        to[0] = static_cast<char>(0xC0 | code >> 6);
        to[1] = tail(0);
        return 2;
    }
    if (code < 0x10000) {
        to[0] = static_cast<char>(0xE0 | code >> 12);
        to[1] = tail(6);
        to[2] = tail(0);
        return 3;
    }
    to[0] = static_cast<char>(0xF0 | code >> 18);
    to[1] = tail(12);
    to[2] = tail(6);
    to[3] = tail(0);
    return 4;
}

void AppendStd(benchmark::State& state)
{
    const std::vector<std::uint32_t> codes = CodePoints(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::string text;
        for (const std::uint32_t code : codes) {
            char utf8[4];
            text.append(utf8, Encode(code, utf8));
        }
        benchmark::DoNotOptimize(text.c_str());
    }
}
BENCHMARK(AppendStd)->Name("Append_1e4/std")->Arg(10000);
BENCHMARK(AppendStd)->Name("Append_1e5/std")->Arg(100000);
BENCHMARK(AppendStd)->Name("Append_1e6/std")->Arg(1000000)->Unit(benchmark::kMillisecond);

// --- numbers -------------------------------------------------------------------------------------

const std::size_t Count = 1024;

std::vector<unsigned long long> Numbers(int bits)
{
    std::mt19937_64 random(4);
    std::vector<unsigned long long> numbers(Count);
    for (unsigned long long& number : numbers)
        number = random() >> (64 - bits);
    return numbers;
}

template <class Text, Text (*Convert)(unsigned long long)> void Decimal(benchmark::State& state)
{
    const std::vector<unsigned long long> numbers = Numbers(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        for (const unsigned long long number : numbers)
            benchmark::DoNotOptimize(Convert(number));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Count));
}

std::string ByToChars(unsigned long long number)
{
    char digits[20];
    return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

std::string BySnprintf(unsigned long long number)
{
    char digits[24];
    const int length = std::snprintf(digits, sizeof digits, "%llu", number);
    return std::string(digits, static_cast<std::size_t>(length));
}

std::string ByToString(unsigned long long number) { return std::to_string(number); }

BENCHMARK_TEMPLATE(Decimal, String, String::Decimal)->Name("Decimal_64/orvex")->Arg(64);
BENCHMARK_TEMPLATE(Decimal, std::string, ByToString)->Name("Decimal_64/std")->Arg(64);
BENCHMARK_TEMPLATE(Decimal, std::string, ByToChars)->Name("Decimal_64/to_chars")->Arg(64);
BENCHMARK_TEMPLATE(Decimal, std::string, BySnprintf)->Name("Decimal_64/snprintf")->Arg(64);
BENCHMARK_TEMPLATE(Decimal, String, String::Decimal)->Name("DecimalSmall/orvex")->Arg(16);
BENCHMARK_TEMPLATE(Decimal, std::string, ByToString)->Name("DecimalSmall/std")->Arg(16);

// --- what goes through all texts -----------------------------------------------------------------

using Walk = void (*)(benchmark::State&, const std::string&);

void Register(const std::string& name, Walk walk, const std::string& text)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [walk, &text](benchmark::State& state) { walk(state, text); });
}

const bool registered = [] {
    static const std::string present = TextWithNeedleAtTheEnd();
    for (const auto& [suffix, text] : Texts) {
        const std::string size = std::string("Size") + suffix + "_1MiB/";
        const std::string iterate = std::string("Iterate") + suffix + "_1MiB/";
        const std::string find = std::string("FindNothing") + suffix + "_1MiB/";
        Register(size + "orvex", SizeOrvex, text);
        Register(iterate + "orvex", IterateOrvex, text);
#ifdef BENCH_icu
        Register(size + "icu", SizeIcu, text);
        Register(iterate + "icu", IterateIcu, text);
#endif
        Register(find + "orvex", FindOrvex, text);
        Register(find + "std", FindStd, text);
    }
    Register("Find_1MiB/orvex", FindOrvex, present);
    Register("Find_1MiB/std", FindStd, present);
    return true;
}();

} // namespace
