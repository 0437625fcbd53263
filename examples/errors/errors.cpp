// SPDX-License-Identifier: MIT
// Provokes each kind of failure once and prints what was caught. Every failure also prints itself
// on the error stream at the moment it is raised.
#include <ORVEX/Buffer.h>
#include <ORVEX/Char.h>
#include <ORVEX/Err.h>
#include <ORVEX/String.h>
#include <ORVEX/Thread.h>
#include <ORVEX/Vector.h>

#include <climits>
#include <cstdio>

using ORVEX::BufferBase;
using ORVEX::Char;
using ORVEX::Err;
using ORVEX::String;
using ORVEX::Vector;

namespace {

const char* Name(Err::ERR_CODE code)
{
    switch (code) {
    case Err::ERR_PARAMETER:
        return "ERR_PARAMETER";
    case Err::ERR_MEMORY:
        return "ERR_MEMORY";
    case Err::ERR_OVERFLOW:
        return "ERR_OVERFLOW";
    case Err::ERR_SYSTEM:
        return "ERR_SYSTEM";
    }
    return "?";
}

// A plain range cannot change its length.
void CopyTooMuch()
{
    unsigned char bytes[4] = {1, 2, 3, 4};
    BufferBase four(bytes, 4);
    four.Copy(BufferBase(bytes, 3));
}

// No heap has that much: the bytes of these numbers cannot even be counted.
void AskForEverything()
{
    Vector<long> numbers;
    numbers.TryResizeNoCopy(ULONG_MAX);
}

// While it lives, strings are made with room for eight bytes, the NUL included, and never more.
class SmallStrings {
public:
    SmallStrings() : usual(String::Parm) { String::Parm = {8, 0}; }
    ~SmallStrings() { String::Parm = usual; }

private:
    String::Sizing usual;
};

void OverfillText()
{
    const SmallStrings small;
    String text;
    text.UpdateCharStr("far too long");
}

void* Nothing(void*) { return nullptr; }

// No system has room for such a stack.
void StartWithVastStack()
{
    ORVEX::ThreadBase thread(ORVEX::ThreadBaseCalled{Nothing, nullptr});
    thread.Start(ORVEX::ThreadBase::Normal, ULONG_MAX - 65535);
}

void Try(const char* title, void (*request)())
{
    try {
        request();
        std::printf("%-24s nothing was raised\n", title);
    } catch (const Err& err) {
        // The line is left out: it changes whenever the library's source does.
        std::printf("%-24s %-13s (%d) from %s\n", title, Name(err.code), static_cast<int>(err.code),
                    err.file);
    }
}

} // namespace

int main()
{
    Try("copy into a plain range", CopyTooMuch);
    Try("ask for everything", AskForEverything);
    Try("overfill a text", OverfillText);
    Try("start with a vast stack", StartWithVastStack);

    // What was there before is still there, unless the operation's description says otherwise.
    const SmallStrings small;
    String text;
    text.UpdateCharStr("seven..");
    try {
        text += Char("!");
    } catch (const Err& err) {
        std::printf("%d bytes do not fit into 8: the text is still \"%s\"\n",
                    static_cast<int>(err.data), text.CStr());
    }
    return 0;
}
