// SPDX-License-Identifier: MIT
// Writes a line of text on a PNG picture.
#include <ORVEX/Err.h>
#include <ORVEX/File.h>
#include <ORVEX/Font.h>
#include <ORVEX/Ping.h>

#include "common/PngFile.h"
#include "common/Terminal.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <sys/stat.h>

using ORVEX::Color;
using ORVEX::FileBuffer;
using ORVEX::Font;
using ORVEX::Ping;
using ORVEX::Point;
using ORVEX::Rect;
using ORVEX::String;

namespace {

const char Help[] =
    "usage: label PICTURE.png FONT TEXT [OPTION...]\n"
    "\n"
    "Writes one line of TEXT (UTF-8) on a copy of the picture, in a font of any kind that\n"
    "FreeType opens.\n"
    "\n"
    "  --size PX           pixels per em, 1 to 2000 (32)\n"
    "  --color RRGGBB[AA]  hexadecimal, AA from 00 (invisible) to FF (FFFFFF)\n"
    "  --at X,Y            where the text's top left corner goes (0,0); may be outside\n"
    "  --fit WxH           scales the labelled picture to W by H pixels\n"
    "  --mono              no smooth edges\n"
    "  --face N            face of the font file, counted from 0 (0)\n"
    "  --output OUT.png    where the result goes (label.png, or nowhere with --preview)\n"
    "  --preview           shows the result in a terminal that knows 24-bit colours\n"
    "  --help              prints this\n"
    "  --                  what follows is no option\n"
    "\n"
    "The exit status is 0 on success, 1 when a file cannot be used, 2 for a wrong command line.\n";

/// What the command line asks for.
struct Request {
    const char* picture = nullptr;
    const char* font = nullptr;
    const char* text = nullptr;
    const char* output = nullptr;
    long size = 32;
    Color color = Color(255, 255, 255);
    Point at = Point(0, 0);
    Point fit = Point(0, 0); // 0: as it is
    long face = 0;
    bool mono = false;
    bool preview = false;
    bool help = false;
};

// One line on standard error; the result is the exit status.
int Fail(int status, const char* format, ...) __attribute__((format(printf, 2, 3)));

int Fail(int status, const char* format, ...)
{
    std::fputs("label: ", stderr);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
    return status;
}

// Takes a decimal number off the text; false when there is none from `low` to `high`.
bool TakeNumber(const char*& text, long low, long high, long& number)
{
    const char first = text[0] == '-' ? text[1] : text[0];
    if (first < '0' || first > '9')
        return false; // strtol would skip blanks and take a plus
    char* end = nullptr;
    errno = 0;
    number = std::strtol(text, &end, 10);
    text = end;
    return errno == 0 && number >= low && number <= high;
}

bool ReadNumber(const char* text, long low, long high, long& number)
{
    return TakeNumber(text, low, high, number) && *text == '\0';
}

// Two numbers with `between` in between.
bool ReadPoint(const char* text, char between, long low, long high, Point& point)
{
    long x = 0;
    long y = 0;
    if (!TakeNumber(text, low, high, x) || *text != between)
        return false;
    if (!ReadNumber(text + 1, low, high, y))
        return false;
    point = Point(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y));
    return true;
}

bool ReadColor(const char* text, Color& color)
{
    const std::size_t length = std::strlen(text);
    if ((length != 6 && length != 8) || std::strspn(text, "0123456789abcdefABCDEF") != length)
        return false;
    unsigned long value = std::strtoul(text, nullptr, 16);
    if (length == 6)
        value = value << 8 | 0xFF;
    const auto channel = [value](int shift) { return static_cast<unsigned char>(value >> shift); };
    color = Color(channel(24), channel(16), channel(8), channel(0));
    return true;
}

// Reads the value of one option; the result is an exit status.
int ReadOption(const char* name, const char* value, Request& request)
{
    if (std::strcmp(name, "--output") == 0) {
        request.output = value;
        return *value != '\0' ? 0 : Fail(2, "--output wants the name of a file");
    }
    if (std::strcmp(name, "--size") == 0)
        return ReadNumber(value, 1, 2000, request.size)
                   ? 0
                   : Fail(2, "--size wants a number from 1 to 2000, not \"%s\"", value);
    if (std::strcmp(name, "--color") == 0)
        return ReadColor(value, request.color)
                   ? 0
                   : Fail(2, "--color wants RRGGBB or RRGGBBAA, hexadecimal, not \"%s\"", value);
    if (std::strcmp(name, "--at") == 0)
        return ReadPoint(value, ',', INT32_MIN, INT32_MAX, request.at)
                   ? 0
                   : Fail(2, "--at wants two numbers, such as 20,-5, not \"%s\"", value);
    if (std::strcmp(name, "--fit") == 0)
        return ReadPoint(value, 'x', 1, 16384, request.fit)
                   ? 0
                   : Fail(2, "--fit wants a size up to 16384x16384, such as 320x240, not \"%s\"",
                          value);
    return ReadNumber(value, 0, 0x7FFF, request.face)
               ? 0
               : Fail(2, "--face wants a number from 0 to 32767, not \"%s\"", value);
}

bool WantsValue(const char* option)
{
    for (const char* name : {"--size", "--color", "--at", "--fit", "--face", "--output"})
        if (std::strcmp(option, name) == 0)
            return true;
    return false;
}

// Reads the command line; the result is an exit status.
int Read(int argc, char** argv, Request& request)
{
    bool options = true;
    const char** const places[] = {&request.picture, &request.font, &request.text};
    unsigned int taken = 0;
    for (int i = 1; i < argc; ++i) {
        const char* const argument = argv[i];
        if (options && std::strcmp(argument, "--") == 0) {
            options = false;
        } else if (options && std::strncmp(argument, "--", 2) == 0) {
            if (std::strcmp(argument, "--help") == 0) {
                request.help = true;
                return 0;
            }
            if (std::strcmp(argument, "--mono") == 0) {
                request.mono = true;
            } else if (std::strcmp(argument, "--preview") == 0) {
                request.preview = true;
            } else if (!WantsValue(argument)) {
                return Fail(2, "there is no option %s; label --help lists them", argument);
            } else {
                if (++i == argc)
                    return Fail(2, "%s wants a value; label --help says which", argument);
                if (const int status = ReadOption(argument, argv[i], request))
                    return status;
            }
        } else {
            if (taken == 3)
                return Fail(2, "\"%s\" is one argument too many; label --help says which there are",
                            argument);
            *places[taken++] = argument;
        }
    }
    if (taken < 3)
        return Fail(2, "a picture, a font and a text are needed; label --help says more");
    return 0;
}

// Whether there is a file to read; the result is an exit status.
int CheckFile(const char* path)
{
    struct stat status;
    std::FILE* const file = std::fopen(path, "rb");
    if (file == nullptr)
        return Fail(1, "%s cannot be opened: %s", path, std::strerror(errno));
    std::fclose(file);
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return Fail(1, "%s is not a file", path);
    return 0;
}

int LoadPicture(const Request& request, Ping& picture)
{
    if (const int status = CheckFile(request.picture))
        return status;
    FileBuffer file;
    if (!file.Load(String::ChangeCharStr(request.picture)))
        return Fail(1, "%s cannot be opened", request.picture);
    if (!picture.Load(file))
        return Fail(1, "%s is not a PNG file", request.picture);
    if (picture.Empty())
        return Fail(1, "%s is a PNG file of a format that is not supported", request.picture);
    return 0;
}

// FreeType's commoner errors (fterrdef.h) in words.
const char* Reason(int error)
{
    switch (error) {
    case 0x01:
        return "it cannot be opened";
    case 0x02:
        return "it is not a font file";
    case 0x06:
        return "it has no such face";
    case 0x17:
        return "it has no such size";
    case 0x26:
        return "it has no Unicode characters";
    default:
        return "it cannot be drawn";
    }
}

int DrawLabel(const Request& request, Font& font)
{
    if (const int status = CheckFile(request.font))
        return status;
    if (!font.Open(String::ChangeCharStr(request.font), static_cast<unsigned long>(request.face),
                   request.mono))
        return Fail(1, "%s: FreeType has no memory", request.font);
    const Color opaque(request.color.red, request.color.green, request.color.blue);
    const int error = font.DrawText(String::ChangeCharStr(request.text),
                                    static_cast<unsigned long>(request.size), opaque);
    if (error != 0)
        return Fail(1, "%s cannot be used as a font with face %ld at size %ld: %s (FreeType %d)",
                    request.font, request.face, request.size, Reason(error), error);
    if (font.Empty())
        return Fail(1, "%s has no glyph for anything in the text \"%s\"", request.font,
                    request.text);
    // Smooth glyphs keep their coverage in the alpha, so the colour's own comes on top.
    font.SetAlphaMax(request.color.alpha);
    return 0;
}

int Run(const Request& request)
{
    Ping picture;
    if (const int status = LoadPicture(request, picture))
        return status;
    Font font;
    if (const int status = DrawLabel(request, font))
        return status;
    const Point size = font.GetSize();
    picture.Overlap(font, request.at, Rect(0, 0, size.x, size.y));
    if (request.fit.x > 0)
        picture.Scaling(request.fit);

    const char* output = request.output;
    if (output == nullptr && !request.preview)
        output = "label.png";
    String reason;
    if (output != nullptr && !WritePng(picture, output, reason))
        return Fail(1, "%s cannot be written: %s", output, reason.CStr());
    if (request.preview)
        PrintPicture(picture);
    if (output != nullptr)
        std::printf("%s: %d x %d pixels\n", output, picture.GetSize().x, picture.GetSize().y);
    return std::fflush(stdout) == 0 ? 0 : Fail(1, "standard output: %s", std::strerror(errno));
}

} // namespace

int main(int argc, char** argv)
{
    try {
        Request request;
        if (const int status = Read(argc, argv, request))
            return status;
        if (request.help) {
            std::fputs(Help, stdout);
            return 0;
        }
        return Run(request);
    } catch (const ORVEX::Err&) {
        return Fail(1, "there is not enough memory"); // the record has printed where
    } catch (const std::bad_alloc&) {
        return Fail(1, "there is not enough memory");
    }
}
