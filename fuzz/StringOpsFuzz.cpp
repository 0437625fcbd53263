// SPDX-License-Identifier: MIT
// Any sequence of changes to three strings, of any sizing, against std::string and the sizing
// policy; allocations are refused at any moment, and capacities may be fixed.
//
//   ./tools/fuzz 60 StringOpsFuzz
#include "Harness.h"
#include "String/TextModel.h"

#include <ORVEX/Std.h>
#include <ORVEX/String.h>

#include <algorithm>

using namespace ORVEX;

namespace {

const char AllocatorFile[] = "src/Allocator/Allocator";
const char HeaderFile[] = "./include/ORVEX/../../src/Allocator/Allocator";
const char HeepFile[] = "src/Allocator/Heep";

// Sets String::Parm while it lives.
struct Sizing {
    explicit Sizing(Feed& feed) : old(String::Parm)
    {
        static const String::Sizing Sizings[] = {{64, 16}, {0, 16},  {8, 8},   {1, 1},
                                                 {16, 64}, {128, 4}, {100, 0}, {300, 0}};
        const std::uint8_t which = feed.Byte();
        String::Parm = Sizings[which % 2 ? which / 2 % 8 : 0];
    }
    ~Sizing() { String::Parm = old; }
    Sizing(const Sizing&) = delete;
    Sizing& operator=(const Sizing&) = delete;

    String::Sizing old;
};

class Machine {
public:
    explicit Machine(Feed& input) : feed(input), sizing(input) {}

    void Run()
    {
        while (!feed.Empty()) {
            Step();
            for (int i = 0; i < 3; ++i) {
                const String& text = texts[i];
                Require(View(text) == models[i], "the text is right");
                Require(text.CStr()[text.Length()] == 0, "a NUL is behind the text");
                Require(text.Capacity() % 8 == 0 &&
                            (text.Capacity() > text.Length() || text.CStr() == &String::CharNull),
                        "the text is in its block");
            }
        }
    }

private:
    std::string TakeBytes()
    {
        const std::uint8_t kind = feed.Byte();
        const std::vector<std::uint8_t> bytes = feed.Bytes(kind % 16);
        std::string text(bytes.begin(), bytes.end());
        if (kind < 128)
            return text;
        // Longer ones out of the same bytes.
        std::string longer;
        for (int i = kind / 16 - 6; i > 0; --i)
            longer += text + 'x' + longer;
        return longer;
    }

    bool Fixed() const { return String::Parm.blockSize == 0; }

    // After a change that was to make `which` this text: done, or refused with nothing changed.
    void Changed(int which, const std::string& expected, const Outcome& outcome)
    {
        if (outcome.how == Outcome::Returned) {
            Require(!Fixed() || expected.size() < String::Parm.baseSize,
                    "a fixed capacity is not exceeded");
            models[which] = expected;
            return;
        }
        CheckRefusal(outcome, expected.size() + 1);
    }

    // Of a request for `n` bytes.
    void CheckRefusal(const Outcome& outcome, unsigned long n) const
    {
        const bool overflow = outcome.Is(AllocatorFile, Err::ERR_OVERFLOW, static_cast<int>(n));
        const bool memory = outcome.Is(HeepFile, Err::ERR_MEMORY, 4);
        Require(overflow ? Fixed() && n > String::Parm.baseSize : memory && outcome.refused,
                "a change raises when its block is refused, and what its block says");
    }

    void Step()
    {
        const std::uint8_t op = feed.Byte();
        const int which = op / 16 % 3;
        String& text = texts[which];
        std::string& model = models[which];
        const std::uint8_t second = feed.Byte();
        const String& other = texts[second % 3];
        const std::string otherModel = models[second % 3];
        const unsigned int refuse = second >= 224 ? second % 3 + 1u : 0;

        switch (op % 16) {
        case 0: {
            const std::string bytes = TakeBytes();
            Changed(which, bytes, Attempt(refuse, [&] {
                        text.UpdateCharStr(bytes.data(), bytes.data() + bytes.size());
                    }));
            break;
        }
        case 1: {
            const std::string bytes = TakeBytes();
            Changed(which, bytes.c_str(),
                    Attempt(refuse, [&] { text.UpdateCharStr(bytes.c_str()); }));
            break;
        }
        case 2:
            FromBuffer(text, which, refuse);
            break;
        case 3:
        case 4:
            if (model.size() + otherModel.size() > 4000)
                break;
            Changed(which, model + otherModel, Attempt(refuse, [&] { text += other; }));
            break;
        case 5: {
            Char c;
            const std::uint32_t word = feed.Word();
            c.SetUTF32(word >> word % 8 * 4);
            Changed(which, model + Model::Encode(c.GetUTF32()),
                    Attempt(refuse, [&] { text += c; }));
            break;
        }
        case 6:
            Changed(which, otherModel, Attempt(refuse, [&] { text = other; }));
            break;
        case 7:
            Sums(text, model, other, otherModel, refuse);
            break;
        case 8:
            Swap(which, second % 3);
            break;
        case 9:
            Attempt(refuse, [&] { text.Clear(); });
            model = std::string(View(text)); // a base size of 0 may need a block for the NUL
            Require(model.empty() || (refuse != 0 && String::Parm.baseSize == 0),
                    "Clear empties the text");
            break;
        case 10:
            Own(text, which, refuse);
            break;
        case 11:
            Remove(text, which, refuse);
            break;
        case 12:
            Split(text, model, refuse);
            break;
        case 13:
            Decimal(text, which, refuse);
            break;
        case 14:
            Fix(text, which, refuse);
            break;
        default:
            Units(text, which, refuse);
        }
    }

    void FromBuffer(String& text, int which, unsigned int refuse)
    {
        std::string bytes = TakeBytes();
        if (feed.Byte() & 1 && !bytes.empty())
            bytes[feed.Byte() % bytes.size()] = 0;
        const BufferBase buffer(reinterpret_cast<unsigned char*>(&bytes[0]), bytes.size());
        const Outcome outcome = Attempt(refuse, [&] { text = buffer; });
        const std::string expected = bytes.c_str();
        if (outcome.how == Outcome::Returned) {
            models[which] = expected;
            return;
        }
        Require(outcome.code == Err::ERR_MEMORY || outcome.code == Err::ERR_OVERFLOW,
                "a buffer raises as the block");
        // All bytes are taken before the first NUL cuts them; a refusal may come at either time.
        Require(View(text) == models[which] || View(text) == bytes, "the text is old or whole");
        models[which] = std::string(View(text));
    }

    void Sums(const String& text, const std::string& model, const String& other,
              const std::string& otherModel, unsigned int refuse)
    {
        const Outcome outcome = Attempt(refuse, [&] {
            Require(View(text + other) == model + otherModel, "a sum has both texts");
            Require(View(StringConst(text) + other) == model + otherModel, "so has the other one");
            Char c;
            c.SetUTF32(0x20AC);
            Require(View(text + c) == model + "\xE2\x82\xAC", "a sum has the character");
        });
        if (outcome.how == Outcome::BadAlloc)
            Require(outcome.refused, "the models' own memory"); // their strings are refused as well
        else if (outcome.how == Outcome::Raised)
            Require(outcome.refused || Fixed(), "a sum raises when its block is refused");
    }

    void Swap(int a, int b)
    {
        const Outcome outcome = Attempt(0, [&] { texts[a].Swap(texts[b]); });
        if (Fixed()) {
            Require(outcome.Is(HeaderFile, Err::ERR_PARAMETER, 0), "a fixed text is not swapped");
            return;
        }
        Require(outcome.how == Outcome::Returned, "Swap raises for fixed texts only");
        std::swap(models[a], models[b]);
    }

    // A part of the text itself, or the text made longer by itself.
    void Own(String& text, int which, unsigned int refuse)
    {
        const std::string model = models[which];
        if (feed.Byte() & 1 && model.size() <= 2000) {
            Changed(which, model + model, Attempt(refuse, [&] { text += text; }));
            return;
        }
        const std::size_t first = feed.Number(1023) % (model.size() + 1);
        const std::size_t last = first + feed.Number(1023) % (model.size() - first + 1);
        Changed(which, model.substr(first, last - first), Attempt(refuse, [&] {
                    text.UpdateCharStr(text.CStr() + first, text.CStr() + last);
                }));
    }

    std::uint32_t TakeCode(const std::string& model)
    {
        if (model.empty() || feed.Byte() % 4 == 0)
            return feed.Byte();
        return Model::Decode(model, feed.Number(1023) % model.size());
    }

    void Remove(String& text, int which, unsigned int refuse)
    {
        const std::uint32_t code = TakeCode(models[which]);
        Char c;
        c.SetUTF32(code);
        std::string kept;
        for (const std::string& piece : Model::Split(models[which], code))
            kept += piece;
        const Outcome outcome = Attempt(refuse, [&] { text.RemoveChar(c); });
        if (outcome.how == Outcome::Returned) {
            Require(!Fixed(), "a fixed text raises");
            models[which] = kept;
        } else {
            Require(outcome.refused || outcome.Is(HeaderFile, Err::ERR_PARAMETER, 0),
                    "RemoveChar raises when its block is refused or fixed");
        }
    }

    void Split(const String& text, const std::string& model, unsigned int refuse)
    {
        const std::uint32_t code = TakeCode(model);
        Char c;
        c.SetUTF32(code);
        const std::vector<std::string> expected = Model::Split(model, code);
        const Outcome outcome = Attempt(refuse, [&] {
            const List<String> pieces = text.FindSplit(c);
            Require(std::equal(expected.begin(), expected.end(), pieces.begin(),
                               [](const std::string& a, const String& b) { return View(b) == a; }),
                    "FindSplit gives the pieces");
        });
        if (outcome.how != Outcome::Returned)
            Require(outcome.refused || (Fixed() && outcome.Is(HeaderFile, Err::ERR_PARAMETER, 0)),
                    "FindSplit raises when a block is refused or fixed");
        else
            Require(!Fixed() || expected.empty(), "fixed pieces raise");
    }

    void Decimal(String& text, int which, unsigned int refuse)
    {
        const std::uint32_t value = feed.Word();
        const std::uint32_t width = feed.Number(400);
        std::string expected = std::to_string(value);
        if (expected.size() < width)
            expected.insert(0, width - expected.size(), '0');
        const Outcome outcome = Attempt(
            refuse, [&] { text.SetDecimal(static_cast<unsigned long long>(value), '+', width); });
        models[which] = outcome.how == Outcome::Returned ? '+' + expected : "";
        if (outcome.how != Outcome::Returned)
            Require(outcome.refused || (Fixed() && expected.size() + 2 > String::Parm.baseSize),
                    "SetDecimal raises when its block is refused");
    }

    void Fix(String& text, int which, unsigned int refuse)
    {
        const std::optional<std::size_t> covered = Model::Covered(models[which]);
        if (!covered)
            return;
        const Outcome outcome = Attempt(refuse, [&] {
            Require(text.CheckFix() == (*covered == models[which].size()),
                    "CheckFix says whether it cut");
        });
        Changed(which, models[which].substr(0, *covered), outcome);
    }

    void Units(String& text, int which, unsigned int refuse)
    {
        std::vector<unsigned short> units(feed.Number(60));
        for (unsigned short& unit : units) {
            const std::uint8_t byte = feed.Byte();
            unit = static_cast<unsigned short>(byte < 128   ? byte + 1
                                               : byte < 160 ? 0xD800 + byte
                                               : byte < 192 ? 0xDC00 + byte
                                                            : byte * 200);
        }
        const auto expected = Model::FromUTF16(units);
        units.push_back(0);
        bool all = false;
        const Outcome outcome =
            Attempt(refuse, [&] { all = text.UpdateCharStrUTF16(units.data()); });
        if (outcome.how == Outcome::Returned) {
            Require(all == expected.second, "UpdateCharStrUTF16 says whether all were taken");
            models[which] = expected.first;
            return;
        }
        const std::string_view got = View(text);
        Require(got == models[which] || got == expected.first.substr(0, got.size()),
                "a refused conversion keeps what it has");
        models[which] = std::string(got);
    }

    Feed& feed;
    Sizing sizing;
    String texts[3]; // made once the sizing is set
    std::string models[3];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    Feed feed(data, size);
    Machine(feed).Run();
    return 0;
}
