// SPDX-License-Identifier: MIT
#include <ORVEX/String.h>

#include "Model.h"

#include <ORVEX/Buffer.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using ORVEX::Buffer;
using ORVEX::Char;
using ORVEX::String;

namespace {

// A string, and beside it the text that it should have and the block that should hold it.
struct Twin {
    Twin() : block(String::Parm) { block.Renew(1); }

    String string;
    std::string text;
    Model::Block block;

    void Expect() const
    {
        ExpectInvariants(string);
        ASSERT_EQ(text, Text(string));
        ASSERT_EQ(block.Capacity(), string.Capacity());
        ASSERT_EQ(block.Stored(), OpenString::UsedSize(string));
    }

    // The string holds `expected` now, and its block was resized for it.
    void Became(const std::string& expected)
    {
        text = expected;
        block.Resize(text.size() + 1);
    }

    // The string was replaced through a new one that holds `expected`.
    void BecameANew(const std::string& expected)
    {
        Model::Block fresh(String::Parm);
        fresh.Renew(expected.size() + 1);
        Became(expected);
        // The new string's text was assigned; only its length counts.
        ASSERT_EQ(fresh.Stored(), block.Stored());
    }
};

std::vector<unsigned short> RandomUnits(RandomText& random)
{
    std::vector<unsigned short> units;
    for (unsigned long n = random.Below(60); n != 0; --n) {
        const unsigned short kinds[] = {0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00};
        units.push_back(kinds[random.Below(5)]);
    }
    units.push_back(0);
    return units;
}

// Pieces that were appended to a new string one by one, which then traded its block for the old.
void BuildOf(Twin& twin, const std::vector<std::string>& pieces)
{
    Model::Block built(String::Parm);
    built.Renew(1);
    twin.text.clear();
    for (const std::string& piece : pieces) {
        twin.text += piece;
        built.Resize(twin.text.size() + 1);
    }
    twin.block.Adopt(built);
}

void Step(RandomText& random, std::vector<Twin>& twins)
{
    Twin& twin = twins[random.Below(twins.size())];
    Twin& other = twins[random.Below(twins.size())];
    const unsigned long first = random.Below(twin.text.size() + 1);
    const unsigned long last = first + random.Below(twin.text.size() - first + 1);
    const std::string between = twin.text.substr(first, last - first);
    switch (random.Below(20)) {
    case 0:
        twin.string = other.string;
        twin.Became(other.text);
        break;
    case 1: {
        const std::string bytes = random.Any(random.Below(20) == 0 ? 1500 : 120);
        twin.string = ORVEX::BufferBase(
            reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())), bytes.size());
        twin.Became(bytes);
        twin.Became(bytes.substr(0, bytes.find('\0')));
        break;
    }
    case 2:
        twin.string.UpdateCharStr(twin.string.CStr() + first, twin.string.CStr() + last);
        twin.Became(between);
        break;
    case 3: {
        const std::string bytes = random.Any(200);
        twin.string.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
        twin.Became(bytes);
        break;
    }
    case 4: {
        const std::string bytes = random.WellFormed(random.Below(100));
        twin.string.UpdateCharStr(bytes.c_str());
        twin.Became(bytes);
        break;
    }
    case 5:
        if (twin.text.size() + other.text.size() < 5000) {
            twin.string += other.string;
            twin.Became(twin.text + other.text);
        }
        break;
    case 6:
    case 7: {
        const std::string utf8 = random.WellFormed(1);
        twin.string += Char(utf8.c_str());
        twin.Became(twin.text + utf8);
        break;
    }
    case 8:
        twin.string.Clear();
        twin.Became("");
        break;
    case 9:
        if (twin.text.size() + other.text.size() < 5000) {
            twin.string = twin.string + other.string;
            twin.BecameANew(twin.text + other.text);
        }
        break;
    case 10:
        twin.string = twin.string.Split(twin.string.CStr() + first, twin.string.CStr() + last);
        twin.BecameANew(between);
        break;
    case 11: {
        const std::uint32_t code = first < twin.text.size() ? Model::Decode(twin.text, first) : 'x';
        Char c;
        c.SetUTF32(code);
        twin.string.RemoveChar(c);
        BuildOf(twin, Model::Split(twin.text, code));
        break;
    }
    case 12: {
        const unsigned long width = random.Below(120);
        const unsigned long long value = random.Below(1000000);
        twin.string.SetDecimal(value, '+', width);
        twin.text = std::to_string(value);
        if (width > twin.text.size())
            twin.text.insert(0, width - twin.text.size(), '0');
        twin.text.insert(0, 1, '+');
        twin.block.Release();
        for (std::size_t n = 1; n <= twin.text.size() - std::to_string(value).size(); ++n)
            twin.block.Resize(n);
        twin.block.Resize(twin.text.size() + 1);
        break;
    }
    case 13:
        twin.string.Swap(other.string);
        std::swap(twin.text, other.text);
        std::swap(twin.block, other.block);
        break;
    case 14: {
        const std::vector<unsigned short> units = RandomUnits(random);
        twin.string.UpdateCharStrUTF16(units.data());
        const std::string expected =
            Model::FromUTF16(std::vector<unsigned short>(units.begin(), units.end() - 1)).first;
        twin.Became("");
        for (std::size_t at = 0; at < expected.size(); at = Model::Next(expected, at))
            twin.Became(expected.substr(0, Model::Next(expected, at)));
        break;
    }
    case 15:
        if (Model::Covered(twin.text)) {
            const std::size_t covered = *Model::Covered(twin.text);
            ASSERT_EQ(covered == twin.text.size(), twin.string.CheckFix());
            twin.Became(twin.text.substr(0, covered));
        }
        break;
    case 16: {
        const String copy(twin.string);
        ASSERT_EQ(twin.text, Text(copy));
        Model::Block block(String::Parm);
        block.Renew(twin.text.size() + 1);
        ASSERT_EQ(block.Capacity(), copy.Capacity());
        twin.string = copy;
        break;
    }
    case 17: {
        String::IteratorConst pos = twin.string.CStr() + first;
        String line;
        const bool read = twin.string.GetLine(pos, line);
        ASSERT_EQ(first < twin.text.size(), read);
        if (read) {
            const std::size_t stop = Model::Find(twin.text, '\n', first);
            ASSERT_EQ(twin.text.substr(first, stop - first), Text(line));
        }
        break;
    }
    case 18:
        ASSERT_EQ(Model::Size(twin.text), twin.string.Size());
        ASSERT_EQ(Model::Compare(twin.text, other.text), twin.string.Compare(other.string));
        break;
    default: {
        const String::IteratorConst from = twin.string.CStr() + first;
        const String part = Make(between);
        const std::size_t place = Model::Find(twin.text, between, first);
        ASSERT_EQ(twin.string.CStr() + place, twin.string.Find(part, from).Address());
    }
    }
    twin.Expect();
    other.Expect();
}

} // namespace

TEST(String, AnySequenceOfOperationsKeepsTextBlockAndInvariants)
{
    for (const String::Sizing sizing : {String::Sizing{64, 16}, String::Sizing{8, 8},
                                        String::Sizing{60, 12}, String::Sizing{100, 7}}) {
        const WithSizing with(sizing.baseSize, sizing.blockSize);
        RandomText random;
        std::vector<Twin> twins(3);
        for (int step = 0; step < 20000 && !testing::Test::HasFailure(); ++step)
            Step(random, twins);
    }
}
