// SPDX-License-Identifier: MIT
#include "Operations.h"

#include "Graphics/FontFiles.h"
#include "Graphics/Lines.h"
#include "Png/BitWriter.h"
#include "Png/PngFile.h"
#include "Support/Raised.h"
#include "Support/TempDir.h"

#include <ORVEX/ORVEX.h>
#include <algorithm>

#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <new>
#include <sys/socket.h>
#include <type_traits>

using namespace ORVEX;

namespace {

/// What the operations work with. Made once, so that a try allocates what the operation does.
struct World {
    World()
    {
        file = folder.File("file");
        std::ofstream(file) << std::string(1000, 'x');
        std::ofstream(folder.File("second")) << "y";
        filePath = Text(file);
        directory = Text(folder.Path() + "/");
        FontFace face;
        face.glyphs = {{'A', 500, {{0, 0, 400, 500}}}, {'B', 500, {{0, -200, 400, 300}}}};
        face.instructed = false; // FreeType 2.12 has a fault of its own in programs without memory
        WriteFile(folder.File("font.ttf"), TrueType(face));
        fontPath = Text(folder.File("./") + std::string(100, '/') + "font.ttf");
        bytes.Resize(200);
        std::memset(bytes.Begin(), 7, 200);
        bitmap.ResizeNoCopy(Point(7, 3));
        bitmap.Fill(Color(1, 2, 3));
        numbers.TryResizeNoCopy(10);
        words.PushBack(new List<String>::Node(word));
        words.PushBack(new List<String>::Node(text));
        for (unsigned short& unit : utf16)
            unit = 0x20AC;
        utf16[99] = 0;
        BitWriter pixels(0x08); // a window of 256 bytes
        pixels.Block(true, 1).Fixed(0).Fixed(1).Fixed(2).Fixed(3).Fixed(256);
        png = PngFile()
                  .Header(1, 1, 8, 6)
                  .Chunk("PLTE", {1, 2, 3})
                  .Chunk("IDAT", pixels.Stream())
                  .End()
                  .bytes;
        pngRange = BufferBase(png.data(), png.size());
        Time::UTC().GetYYYYMMDDhhmmss();
    }

    TempDir folder;
    std::string file;
    String filePath, directory, fontPath;
    String word = Text("word");
    String text = Text(std::string(300, 't') + " " + std::string(300, 'u'));
    String letters = Text("AB");
    unsigned short utf16[100];
    Buffer bytes;
    Bitmap bitmap;
    Vector<int> numbers;
    List<String> words;
    std::vector<std::uint8_t> png;
    BufferBase pngRange;
};

template <class T> class ObjectTrial : public Trial {
public:
    using Prepare = std::function<void(T&)>;
    using Action = std::function<bool(T&)>;

    ObjectTrial(const Prepare& preparation, const Action& operation)
        : prepare(preparation), act(operation)
    {
        prepare(object);
    }

    bool Act() override { return act(object); }

    bool Recover() override
    {
        if constexpr (std::is_copy_assignable_v<T>) {
            T fresh;
            prepare(fresh);
            object = fresh;
        } else {
            prepare(object);
        }
        return act(object);
    }

private:
    Prepare prepare;
    Action act;
    T object{};
};

/// A row about a T.
template <class T> Operation Row(const std::string& name, const std::string& outcomes,
                                 const typename ObjectTrial<T>::Prepare& prepare,
                                 const typename ObjectTrial<T>::Action& act,
                                 const std::string& more = "")
{
    return {name, outcomes, more, [=]() -> std::unique_ptr<Trial> {
                return std::make_unique<ObjectTrial<T>>(prepare, act);
            }};
}

/// A row about something new.
template <class Make> Operation Making(const std::string& name, const std::string& outcomes,
                                       const Make& make, const std::string& more = "")
{
    return Row<int>(
        name, outcomes, [](int&) {},
        [make](int&) {
            make();
            return true;
        },
        more);
}

/// A socket that has sent itself one byte.
class Self : public SocketV4 {
public:
    void SendOne()
    {
        sockaddr_in own = {};
        socklen_t length = sizeof own;
        unsigned char byte = 'x';
        if (fd == -1 && Open(TypeBroadcast) && Bind(0, 0))
            getsockname(fd, reinterpret_cast<sockaddr*>(&own), &length);
        if (own.sin_port != 0)
            port = ntohs(own.sin_port);
        SendTo(BufferBase(&byte, 1), 0x7F000001, port);
    }

    bool Receive(bool timed)
    {
        unsigned long address;
        unsigned short from;
        Clock timeout(100);
        return timed ? ReceiveFrom(data, address, from, timeout) == 1
                     : ReceiveFrom(data, address, from);
    }

    Buffer data;
};

// Keeps the compiler from leaving out an allocation whose block nobody uses.
void Keep(void* block)
{
    static void* volatile kept;
    kept = block;
    static_cast<void>(kept);
}

void Nothing(String&) {}
void* Idler(void*) { return nullptr; }

class Worker : public ThreadBase {
public:
    Worker() : ThreadBase({Idler, nullptr}) {}
    ~Worker() { Stop(); }
};

void AddText(std::vector<Operation>& rows, const World& w)
{
    const auto shortText = [&w](String& s) { s = w.word; };
    const auto longText = [&w](String& s) { s = w.text; };
    const String::IteratorConst wordEnd = w.text.Begin().Address() + 300;
    rows.insert(
        rows.end(),
        {
            Making("String()", "Heep 4", [] { String made; }),
            Making("String(String)", "Heep 4", [&w] { String made(w.text); }),
            Making("String(BufferBase)", "Heep 4", [&w] { String made(w.bytes); }),
            Making("ChangeCharStr", "Heep 4", [&w] { String::ChangeCharStr(w.text.CStr()); }),
            Making("ChangeCharStrUTF16", "Heep 4 x16",
                   [&w] { String::ChangeCharStrUTF16(w.utf16); }),
            Making("Decimal", "Heep 4", [] { String::Decimal(12ull); }),
            Making("Split", "Heep 4", [&w, wordEnd] { w.text.Split(w.text.Begin(), wordEnd); }),
            Making("FindSplit", "Heep 4, bad_alloc, Heep 4 x2, bad_alloc, Heep 4",
                   [&w] { w.text.FindSplit(" "); }),
            Making("String + String", "Heep 4", [&w] { w.text + w.word; }),
            Making("String + Char", "Heep 4", [&w] { w.text + Char("x"); }),
            Making("StringConst + String", "Heep 4 x2", [&w] { StringConst(w.text) + w.text; }),
            Making("StringConst + Char", "Heep 4", [&w] { StringConst(w.text) + Char("x"); }),
            Row<String>("String = String", "Heep 4", shortText,
                        [&w](String& s) { return (s = w.text).Length() == 601; }),
            Row<String>("String = BufferBase", "Heep 4", shortText,
                        [&w](String& s) { return (s = w.bytes).Length() == 200; }),
            Row<String>("UpdateCharStr", "Heep 4", shortText,
                        [&w](String& s) {
                            s.UpdateCharStr(w.text.CStr());
                            return true;
                        }),
            Row<String>("UpdateCharStr(range)", "Heep 4", shortText,
                        [&w](String& s) {
                            s.UpdateCharStr(w.text.CStr(), w.text.CStr() + 300);
                            return true;
                        }),
            Row<String>("UpdateCharStrUTF16", "Heep 4 x15", Nothing,
                        [&w](String& s) { return s.UpdateCharStrUTF16(w.utf16); }),
            Row<String>("String += String", "Heep 4", shortText,
                        [&w](String& s) { return (s += w.text).Length() == 605; }),
            Row<String>("String += itself", "Heep 4", longText,
                        [](String& s) { return (s += s).Length() == 1202; }),
            Row<String>("String += Char", "Heep 4", longText,
                        [](String& s) {
                            for (int i = 0; i < 30; ++i)
                                s += Char("x");
                            return true;
                        }),
            Row<String>("RemoveChar", "Heep 4", longText,
                        [](String& s) {
                            s.RemoveChar("t");
                            return true;
                        }),
            Row<String>("SetDecimal", "Heep 4", Nothing,
                        [](String& s) {
                            s.SetDecimal(7ull, '+', 200);
                            return s.Length() == 201;
                        }),
            Row<String>("GetLine", "Heep 4", shortText,
                        [&w](String& s) {
                            String::IteratorConst at = w.text.Begin();
                            return w.text.GetLine(at, s);
                        }),
            Row<Vector<unsigned short>>(
                "GetUTF16", "Vector 602", [](auto&) {},
                [&w](auto& units) { return w.text.GetUTF16(units); }),
        });
}

void AddBytes(std::vector<Operation>& rows, const World& w)
{
    const auto some = [](Buffer& b) { b.Resize(100); };
    const BufferBase& range = w.bytes;
    const auto done = [](auto act) {
        return [act](auto& object) {
            act(object);
            return true;
        };
    };
    rows.insert(
        rows.end(),
        {
            Making("Heep::Alloc", "Heep 4",
                   [] {
                       Allocator<char, AllocatorEnum::COPY_BYTES> block(64, 16);
                       block.Alloc(1000);
                   }),
            Making("Buffer(Buffer)", "Buffer 200", [&w] { Buffer copy(w.bytes); }),
            Making("Buffer(BufferBase)", "Buffer 200", [&range] { Buffer copy(range); }),
            Row<Buffer>("Buffer = Buffer", "Buffer 200", some,
                        done([&w](Buffer& b) { b = w.bytes; })),
            Row<Buffer>("Buffer = BufferBase", "Buffer 200", some,
                        done([&range](Buffer& b) { b = range; })),
            Row<Buffer>("Buffer::Copy", "Buffer 200", some,
                        done([&range](Buffer& b) { b.Copy(range); })),
            Row<Buffer>("Buffer::Copy(range)", "Buffer 200", some,
                        done([&range](Buffer& b) { b.Copy(range.Begin(), range.End()); })),
            Row<Buffer>("Buffer::Resize", "Buffer 1024", some,
                        done([](Buffer& b) { b.Resize(1000); })),
            Row<Buffer>("Buffer::ResizeNoCopy", "Buffer 1000", some,
                        done([](Buffer& b) { b.ResizeNoCopy(1000); })),
            Row<Buffer>("Buffer::TryResizeNoCopy", "Buffer 1000", some,
                        [](Buffer& b) { return b.TryResizeNoCopy(1000) == 1000; }),
            Row<Buffer>("CopyAdd", "Buffer 384", some,
                        done([&range](Buffer& b) { b.CopyAdd(range); })),
            Row<Buffer>("CopyAdd(range)", "Buffer 384", some,
                        done([&range](Buffer& b) { b.CopyAdd(range.Begin(), range.End()); })),
            Row<Vector<int>>(
                "Vector::TryResizeNoCopy", "Vector 20", [](auto& v) { v.TryResizeNoCopy(5); },
                [](auto& v) { return v.TryResizeNoCopy(20) == 20; }),
            Row<Vector<int>>(
                "Vector = Vector", "Vector 10", [](auto& v) { v.TryResizeNoCopy(5); },
                done([&w](auto& v) { v = w.numbers; })),
            Making("Vector(Vector)", "Vector 10", [&w] { Vector<int> copy(w.numbers); }),
            Making("AutoPointer()", "AutoPointer 4",
                   [] {
                       const AutoPointer<std::uint32_t> made;
                       Keep(&*made);
                   }),
            Making("List(List)", "bad_alloc, Heep 4, bad_alloc, Heep 4",
                   [&w] { List<String> copy(w.words); }),
            Row<List<String>>(
                "List = List", "bad_alloc, Heep 4, bad_alloc, Heep 4",
                [&w](auto& list) { list.PushBack(new List<String>::Node(w.word)); },
                done([&w](auto& list) { list = w.words; })),
            Row<Stream>(
                "Stream", "bad_alloc, Buffer 200", [](Stream&) {},
                [](Stream& stream) {
                    stream.PushBackStart().ResizeNoCopy(200);
                    stream.PushBackEnd();
                    return !stream.Empty();
                }),
        });
}

void AddPictures(std::vector<Operation>& rows, const World& w)
{
    const auto some = [](Bitmap& b) { b.ResizeNoCopy(Point(2, 2)); };
    const auto done = [](auto act) {
        return [act](auto& object) {
            act(object);
            return true;
        };
    };
    const std::string engine =
        "AutoPointer " + std::to_string(sizeof(void*) == 4 ? 52 : 88); // see FontMemoryTest
    rows.insert(
        rows.end(),
        {
            Making("Bitmap(Bitmap)", "Vector 21", [&w] { Bitmap copy(w.bitmap); }),
            Row<Bitmap>("Bitmap = Bitmap", "Vector 21", some,
                        done([&w](Bitmap& b) { b = w.bitmap; })),
            Row<Bitmap>("Bitmap::ResizeNoCopy", "Vector 20", some,
                        done([](Bitmap& b) { b.ResizeNoCopy(Point(5, 4)); })),
            Row<Bitmap>("Scaling(Bitmap)", "Vector 20, Vector 6, Vector 5", some,
                        done([&w](Bitmap& b) { b.Scaling(w.bitmap, Point(5, 4)); })),
            Row<Bitmap>(
                "Scaling", "Vector 20, Vector 6, Vector 5", [&w](Bitmap& b) { b = w.bitmap; },
                done([](Bitmap& b) { b.Scaling(Point(5, 4)); })),
            Row<Bitmap>("Rotation(Bitmap)", "Vector 21", some,
                        done([&w](Bitmap& b) { b.Rotation(w.bitmap, 90); })),
            Row<Bitmap>("Rotation", "Vector 4", some, done([](Bitmap& b) { b.Rotation(90); })),
            Making("Font()", engine + ", Heep 4", [] { Font made; }),
            Row<Font>(
                "Font::Open", "Heep 4", [](Font&) {},
                [&w](Font& f) { return f.Open(w.fontPath, 0, false); }, "false, done"),
            Row<Font>(
                "Font::DrawText", "Vector 100",
                [&w](Font& f) {
                    f.Clear();
                    f.Open(w.fontPath, 0, false);
                },
                [&w](Font& f) { return f.DrawText(w.letters, 10, Color(1, 2, 3)) == 0; },
                "false, done, Vector 50"),
            Row<Ping>(
                "Ping::Load", // The joined data; the header's, the palette's and the image data's
                              // chunk, and a palette; the raster and the lines; the window, the
                              // tree of the fixed code: 288 leaves and the 287 nodes above them;
                              // the bitmap.
                "Decoder 80, Decoder 13, Decoder 3, Palette 3, Decoder 8, false x2, "
                "Uncompressor 256, bad_alloc x575, Vector 1",
                [](Ping&) {}, [&w](Ping& p) { return p.Load(w.pngRange) && !p.Empty(); }),
        });
}

void AddSystem(std::vector<Operation>& rows, const World& w)
{
    rows.insert(
        rows.end(),
        {
            Row<FileBuffer>(
                "FileBuffer::Load", "bad_alloc, Buffer 1000", [](FileBuffer& b) { b.Resize(10); },
                [&w](FileBuffer& b) { return b.Load(w.filePath); }, "false"),
            Row<FileBuffer>(
                "FileBuffer::Save", "bad_alloc",
                [&w](FileBuffer& b) { b = static_cast<const BufferBase&>(w.bytes); },
                [&w](FileBuffer& b) { return b.Save(w.filePath); }, "false"),
            Row<FileList>(
                "FileList::Find", // The name, the path; for each of three entries a node and its
                                  // name.
                "Heep 4 x2, bad_alloc, Heep 4, bad_alloc, Heep 4, bad_alloc, Heep 4",
                [](FileList&) {},
                [&w](FileList& list) { return list.Find(w.directory, true, true); }, "false"),
            Row<String>(
                "AddLastSeparator", "Heep 4", [&w](String& s) { s = w.text; },
                [](String& s) {
                    for (int i = 0; i < 15; ++i) {
                        FileList::AddLastSeparator(s);
                        s += Char("x");
                    }
                    return true;
                }),
            Row<Self>(
                "ReceiveFrom", "Buffer 1500, Buffer 128", [](Self& s) { s.SendOne(); },
                [](Self& s) { return s.Receive(false); }),
            Row<Self>(
                "ReceiveFrom(timeout)", "Buffer 1500, Buffer 128", [](Self& s) { s.SendOne(); },
                [](Self& s) { return s.Receive(true); }),
            Row<String>(
                "InetAdder", "", [](String& s) { s = Text("192.168.0.1"); },
                [](String& s) { return SocketV4::InetAdder(s) != 0; }),
            Row<Worker>(
                "ThreadBase::Start", "", [](Worker&) {},
                [](Worker& thread) {
                    // A larger stack than any before is a new one.
                    static unsigned long stack = 0x40000;
                    thread.Start(ThreadBase::Normal, stack += 0x2000);
                    thread.StopWait();
                    return true;
                },
                "Thread 0 code 6"),
            Making("Mutex and Clock", "",
                   [] {
                       Mutex mutex;
                       mutex.Lock();
                       mutex.Unlock();
                       SleepWakeup place;
                       place.Sleep(Clock(0));
                       Clock::Now().GetRoundupSystemClock();
                       Time::UTC().GetYYYYMMDDhhmmss();
                   }),
        });
}

} // namespace

const std::vector<Operation>& Operations()
{
    static const World world;
    static std::vector<Operation> rows;
    if (rows.empty()) {
        AddText(rows, world);
        AddBytes(rows, world);
        AddPictures(rows, world);
        AddSystem(rows, world);
    }
    return rows;
}

bool LeavesBlocks(const Operation& operation)
{
    // An Open that fails leaves what exists by then, and the C library keeps ended threads' stacks.
    return operation.name == "Font::Open" || operation.name == "ThreadBase::Start";
}

Outcome::Outcome(Trial& trial)
{
    const CapturedCerr captured;
    try {
        if (!trial.Act())
            kind = False;
    } catch (const Err& err) {
        kind = Raised;
        file = err.file;
        code = err.code;
        data = err.data;
    } catch (const std::bad_alloc&) {
        kind = BadAlloc;
    }
}

std::string Outcome::Text() const
{
    switch (kind) {
    case Success:
        return "done";
    case False:
        return "false";
    case BadAlloc:
        return "bad_alloc";
    case Raised:
        break;
    }
    const std::string path = file;
    return path.substr(path.rfind('/') + 1) + " " + std::to_string(data) +
           (code == Err::ERR_MEMORY ? "" : " code " + std::to_string(code));
}

std::vector<std::string> Spelled(const std::string& outcomes)
{
    std::vector<std::string> all;
    for (std::size_t at = 0; at < outcomes.size();) {
        const std::size_t comma = std::min(outcomes.find(", ", at), outcomes.size());
        std::string one = outcomes.substr(at, comma - at);
        const std::size_t times = one.rfind(" x");
        std::size_t count = 1;
        if (times != std::string::npos) {
            count = std::stoul(one.substr(times + 2));
            one.resize(times);
        }
        all.insert(all.end(), count, one);
        at = comma + 2;
    }
    return all;
}

std::string Joined(const std::vector<std::string>& outcomes)
{
    std::string all;
    for (std::size_t i = 0; i < outcomes.size();) {
        std::size_t end = i;
        while (end < outcomes.size() && outcomes[end] == outcomes[i])
            ++end;
        all += (all.empty() ? "" : ", ") + outcomes[i] +
               (end - i > 1 ? " x" + std::to_string(end - i) : "");
        i = end;
    }
    return all;
}

long BlocksOf(const std::vector<std::string>& outcomes)
{
    const std::size_t held = std::string().capacity();
    return static_cast<long>(
        std::count_if(outcomes.begin(), outcomes.end(),
                      [held](const std::string& text) { return text.size() > held; }));
}
