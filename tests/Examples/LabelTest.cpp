// SPDX-License-Identifier: MIT
// Runs the example programs label and landscape as a user does.
#include "Graphics/FontFiles.h"
#include "Support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <png.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Pixel {
    unsigned char alpha, red, green, blue;
};

bool operator==(const Pixel& a, const Pixel& b)
{
    return a.alpha == b.alpha && a.red == b.red && a.green == b.green && a.blue == b.blue;
}

std::ostream& operator<<(std::ostream& out, const Pixel& p)
{
    return out << int{p.alpha} << "," << int{p.red} << "," << int{p.green} << "," << int{p.blue};
}

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<Pixel> pixels;

    const Pixel& At(int x, int y) const
    {
        return pixels.at(static_cast<std::size_t>(y * width + x));
    }
};

const Pixel Blue = {255, 0, 0, 255};
const Pixel Red = {255, 255, 0, 0};
const Pixel White = {255, 255, 255, 255};

std::string Contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

class Label : public testing::Test {
protected:
    Label()
    {
        // At 10 pixels per em: A fills 4 x 5 pixels on the baseline, row 8 of 10, and advances 5.
        FontFace face;
        face.glyphs = {{'A', 500, {{0, 0, 400, 500}}}};
        WriteFile(File("font.ttf"), TrueType(face));
        WritePicture("in.png", 40, 30);
    }

    std::string File(const std::string& name) const { return folder.File(name); }

    // A blue PNG file; 16 bits of grey and alpha a pixel with `deep`.
    void WritePicture(const std::string& name, int width, int height, bool deep = false)
    {
        const std::size_t count = static_cast<std::size_t>(width * height);
        const std::vector<Pixel> pixels(count, Blue);
        const std::vector<std::uint16_t> samples(2 * count, 0xFFFF);
        png_image image;
        std::memset(&image, 0, sizeof image);
        image.version = PNG_IMAGE_VERSION;
        image.width = static_cast<png_uint_32>(width);
        image.height = static_cast<png_uint_32>(height);
        image.format = deep ? PNG_FORMAT_LINEAR_Y_ALPHA : PNG_FORMAT_ARGB;
        const void* data = deep ? static_cast<const void*>(samples.data()) : pixels.data();
        ASSERT_NE(0, png_image_write_to_file(&image, File(name).c_str(), 0, data, 0, nullptr));
    }

    Picture Read(const std::string& name)
    {
        Picture picture;
        png_image image;
        std::memset(&image, 0, sizeof image);
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, File(name).c_str())) {
            ADD_FAILURE() << name << ": " << image.message;
            return picture;
        }
        image.format = PNG_FORMAT_ARGB;
        picture.width = static_cast<int>(image.width);
        picture.height = static_cast<int>(image.height);
        picture.pixels.resize(image.width * image.height);
        EXPECT_NE(0, png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr));
        return picture;
    }

    // Runs a program in the folder; `bytes` limits how long a file may become.
    Outcome Run(std::vector<std::string> arguments, rlim_t bytes = RLIM_INFINITY)
    {
        const std::vector<std::string> emulator = {EXAMPLE_EMULATOR};
        arguments.insert(arguments.begin(), emulator.begin(), emulator.end());
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        const TempDir streams;
        const pid_t child = fork();
        if (child == 0) {
            const int flags = O_WRONLY | O_CREAT | O_TRUNC;
            dup2(open(streams.File("out").c_str(), flags, 0600), STDOUT_FILENO);
            dup2(open(streams.File("err").c_str(), flags, 0600), STDERR_FILENO);
            const rlimit limit = {bytes, bytes};
            std::signal(SIGXFSZ, SIG_IGN);
            if (chdir(folder.Path().c_str()) == 0 && setrlimit(RLIMIT_FSIZE, &limit) == 0)
                execvp(argv[0], argv.data());
            _exit(127);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Contents(streams.File("out")),
                Contents(streams.File("err"))};
    }

    Outcome RunLabel(std::vector<std::string> arguments, rlim_t bytes = RLIM_INFINITY)
    {
        arguments.insert(arguments.begin(), LABEL);
        return Run(arguments, bytes);
    }

    // The text A at size 10, red, with these options.
    Outcome Labelled(const std::vector<std::string>& options)
    {
        std::vector<std::string> arguments = {"in.png",  "font.ttf", "A",        "--size", "10",
                                              "--color", "FF0000",   "--output", "out.png"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return RunLabel(arguments);
    }

    // What is left in the folder; a half-written file would be seen here.
    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
            names.insert(entry.path().filename().string());
        return names;
    }

    // One line of complaint, nothing printed, no file made.
    void ExpectComplaint(int status, const std::string& line,
                         const std::vector<std::string>& arguments)
    {
        const std::set<std::string> names = Names();
        const Outcome outcome = RunLabel(arguments);
        EXPECT_EQ(status, outcome.status) << line;
        EXPECT_EQ("label: " + line + "\n", outcome.err);
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(names, Names());
    }

    TempDir folder;
};

} // namespace

TEST_F(Label, LaysTheTextOnThePicture)
{
    const Outcome outcome = Labelled({});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("out.png: 40 x 30 pixels\n", outcome.out);
    EXPECT_EQ("", outcome.err);
    const Picture out = Read("out.png");
    ASSERT_EQ(40, out.width);
    ASSERT_EQ(30, out.height);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            EXPECT_EQ(x < 4 && y >= 3 && y < 8 ? Red : Blue, out.At(x, y)) << x << "," << y;
    EXPECT_EQ((std::set<std::string>{"font.ttf", "in.png", "out.png"}), Names());
}

TEST_F(Label, TheTextIsWhiteAndInLabelPngUnlessToldOtherwise)
{
    const Outcome outcome = RunLabel({"in.png", "font.ttf", "A"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("label.png: 40 x 30 pixels\n", outcome.out);
    EXPECT_EQ(White, Read("label.png").At(0, 24)); // size 32: 16 rows down to 24
}

TEST_F(Label, AtMovesTheTextAndMayLeadOutside)
{
    ASSERT_EQ(0, Labelled({"--at", "20,10"}).status);
    EXPECT_EQ(Red, Read("out.png").At(20, 13));
    EXPECT_EQ(Blue, Read("out.png").At(19, 13));
    EXPECT_EQ(Blue, Read("out.png").At(20, 12));
    ASSERT_EQ(0, Labelled({"--at", "-2,-5"}).status);
    EXPECT_EQ(Red, Read("out.png").At(1, 2));
    EXPECT_EQ(Blue, Read("out.png").At(2, 2));
    EXPECT_EQ(Blue, Read("out.png").At(1, 3));
    ASSERT_EQ(0, Labelled({"--at", "2147483647,-2147483648"}).status);
    const Picture out = Read("out.png");
    EXPECT_EQ(out.pixels, std::vector<Pixel>(out.pixels.size(), Blue));
}

TEST_F(Label, TheColoursAlphaLetsThePictureThrough)
{
    for (const bool mono : {false, true}) {
        std::vector<std::string> options = {"--color", "FF000080"};
        if (mono)
            options.push_back("--mono");
        ASSERT_EQ(0, Labelled(options).status);
        EXPECT_EQ((Pixel{255, 128, 0, 127}), Read("out.png").At(0, 3));
    }
    ASSERT_EQ(0, Labelled({"--color", "ff000000"}).status);
    EXPECT_EQ(Blue, Read("out.png").At(0, 3));
}

TEST_F(Label, MonoLeavesNoMixedColours)
{
    FontFace face;
    face.glyphs = {{'A', 500, {{0, 0, 330, 500}}}};
    WriteFile(File("font.ttf"), TrueType(face));
    ASSERT_EQ(0, Labelled({}).status);
    EXPECT_FALSE(Read("out.png").At(3, 5) == Red || Read("out.png").At(3, 5) == Blue);
    ASSERT_EQ(0, Labelled({"--mono"}).status);
    const Picture out = Read("out.png");
    for (const Pixel& pixel : out.pixels)
        EXPECT_TRUE(pixel == Red || pixel == Blue) << pixel;
}

TEST_F(Label, FaceTakesAnotherFaceOfTheFile)
{
    FontFace low, high;
    low.glyphs = {{'A', 500, {{0, 0, 400, 100}}}};
    high.glyphs = {{'A', 500, {{0, 0, 400, 700}}}};
    WriteFile(File("font.ttf"), TrueTypeCollection({low, high}));
    ASSERT_EQ(0, Labelled({"--face", "0"}).status);
    EXPECT_EQ(Blue, Read("out.png").At(0, 1));
    ASSERT_EQ(0, Labelled({"--face", "1"}).status);
    EXPECT_EQ(Red, Read("out.png").At(0, 1));
}

TEST_F(Label, FitScalesTheResult)
{
    const Outcome outcome = Labelled({"--fit", "20x10"});
    EXPECT_EQ("out.png: 20 x 10 pixels\n", outcome.out);
    const Picture out = Read("out.png");
    EXPECT_EQ(20, out.width);
    EXPECT_EQ(10, out.height);
    EXPECT_EQ(Red, out.At(0, 1)); // columns 0 and 1, rows 3 to 5
    EXPECT_EQ(Blue, out.At(2, 1));
    ASSERT_EQ(0, Labelled({"--fit", "80x60"}).status);
    EXPECT_EQ(Red, Read("out.png").At(7, 15));
    EXPECT_EQ(Blue, Read("out.png").At(8, 15));
}

TEST_F(Label, PreviewPrintsThePictureAndWritesNoFileByItself)
{
    const std::set<std::string> names = Names();
    const Outcome outcome =
        RunLabel({"in.png", "font.ttf", "A", "--size", "10", "--color", "FF0000", "--preview"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ(names, Names());
    // 40 columns, two rows of pixels in each of 15 lines.
    EXPECT_EQ(15, std::count(outcome.out.begin(), outcome.out.end(), '\n'));
    std::istringstream lines(outcome.out);
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line); // rows 2 and 3: blue over red
    const std::string first = "\033[38;2;0;0;255;48;2;255;0;0m\xE2\x96\x80";
    EXPECT_EQ(first + first + first + first + "\033[38;2;0;0;255;48;2;0;0;255m\xE2\x96\x80",
              line.substr(0, 4 * first.size() + first.size()));
    EXPECT_EQ("\033[0m", line.substr(line.size() - 4));
}

TEST_F(Label, PreviewAndOutputGoTogether)
{
    const Outcome outcome = Labelled({"--preview"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_NE(std::string::npos, outcome.out.find("\xE2\x96\x80"));
    EXPECT_EQ("out.png: 40 x 30 pixels\n", outcome.out.substr(outcome.out.rfind("out.png")));
    EXPECT_EQ(Red, Read("out.png").At(0, 3));
}

TEST_F(Label, HelpNamesEveryOption)
{
    const Outcome outcome = RunLabel({"--help"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("", outcome.err);
    EXPECT_EQ(0u, outcome.out.find("usage: label PICTURE.png FONT TEXT"));
    for (const char* option : {"--size", "--color", "--at", "--fit", "--mono", "--face", "--output",
                               "--preview", "--help"})
        EXPECT_NE(std::string::npos, outcome.out.find(option)) << option;
}

TEST_F(Label, ComplainsAboutAPictureItCannotUse)
{
    ExpectComplaint(1, "missing.png cannot be opened: No such file or directory",
                    {"missing.png", "font.ttf", "A"});
    ExpectComplaint(1, ". is not a file", {".", "font.ttf", "A"});
    ExpectComplaint(1, "font.ttf is not a PNG file", {"font.ttf", "font.ttf", "A"});
    WriteFile(File("empty.png"), "");
    ExpectComplaint(1, "empty.png is not a PNG file", {"empty.png", "font.ttf", "A"});
    WritePicture("deep.png", 4, 4, true);
    ExpectComplaint(1, "deep.png is a PNG file of a format that is not supported",
                    {"deep.png", "font.ttf", "A"});
}

TEST_F(Label, ComplainsAboutAFontItCannotUse)
{
    ExpectComplaint(1, "missing.ttf cannot be opened: No such file or directory",
                    {"in.png", "missing.ttf", "A"});
    ExpectComplaint(1, ". is not a file", {"in.png", ".", "A"});
    ExpectComplaint(1,
                    "in.png cannot be used as a font with face 0 at size 32: it is not a font "
                    "file (FreeType 2)",
                    {"in.png", "in.png", "A"});
    ExpectComplaint(1,
                    "font.ttf cannot be used as a font with face 3 at size 32: it has no such "
                    "face (FreeType 6)",
                    {"in.png", "font.ttf", "A", "--face", "3"});
    FontFace symbols;
    symbols.unicode = false;
    WriteFile(File("symbols.ttf"), TrueType(symbols));
    ExpectComplaint(1,
                    "symbols.ttf cannot be used as a font with face 0 at size 32: it has no "
                    "Unicode characters (FreeType 38)",
                    {"in.png", "symbols.ttf", "A"});
    WriteFile(File("small.bdf"), Bdf(4, 3, 1, 1, {{'A', 4, 3, 1, 0, 0, {"80"}}}));
    ExpectComplaint(1,
                    "small.bdf cannot be used as a font with face 0 at size 32: it has no such "
                    "size (FreeType 23)",
                    {"in.png", "small.bdf", "A"});
}

TEST_F(Label, ComplainsAboutTextWithoutGlyphs)
{
    ExpectComplaint(1, "font.ttf has no glyph for anything in the text \"xyz\"",
                    {"in.png", "font.ttf", "xyz"});
    ExpectComplaint(1, "font.ttf has no glyph for anything in the text \"\"",
                    {"in.png", "font.ttf", ""});
}

TEST_F(Label, ComplainsAboutAnOutputItCannotWrite)
{
    ExpectComplaint(1, "missing/out.png cannot be written: No such file or directory",
                    {"in.png", "font.ttf", "A", "--output", "missing/out.png"});
    ExpectComplaint(1, ". cannot be written: Is a directory",
                    {"in.png", "font.ttf", "A", "--output", "."});
}

TEST_F(Label, AFullDiskLeavesTheOldOutputAndNothingElse)
{
    WriteFile(File("out.png"), "the old one");
    WritePicture("in.png", 200, 200);
    const std::set<std::string> names = Names();
    const Outcome outcome =
        RunLabel({"in.png", "font.ttf", "A", "--output", "out.png"}, 100); // bytes
    EXPECT_EQ(1, outcome.status);
    EXPECT_EQ(0u, outcome.err.find("label: out.png cannot be written: ")) << outcome.err;
    EXPECT_EQ("the old one", Contents(File("out.png")));
    EXPECT_EQ(names, Names());
}

TEST_F(Label, TheOutputMayBeThePictureItself)
{
    ASSERT_EQ(0, Labelled({"--output", "in.png"}).status);
    EXPECT_EQ(Red, Read("in.png").At(0, 3));
}

TEST_F(Label, ALinkStaysALinkAndTheFileKeepsOrdinaryRights)
{
    WriteFile(File("real.png"), "the old one");
    std::filesystem::create_symlink("real.png", File("link.png"));
    const mode_t mask = umask(022);
    ASSERT_EQ(0, Labelled({"--output", "link.png"}).status);
    umask(mask);
    EXPECT_TRUE(std::filesystem::is_symlink(File("link.png")));
    EXPECT_EQ(Red, Read("real.png").At(0, 3));
    struct stat status;
    ASSERT_EQ(0, stat(File("real.png").c_str(), &status));
    EXPECT_EQ(0644u, status.st_mode & 0777);
}

TEST_F(Label, WhatIsNoFileIsWrittenInto)
{
    ASSERT_EQ(0, mkfifo(File("pipe").c_str(), 0600));
    const int reader = open(File("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_LE(0, reader);
    EXPECT_EQ(0, Labelled({"--output", "pipe"}).status);
    char signature[4] = {};
    EXPECT_EQ(4, read(reader, signature, 4));
    EXPECT_EQ(0, std::memcmp("\x89PNG", signature, 4));
    close(reader);
    EXPECT_TRUE(std::filesystem::is_fifo(File("pipe")));
}

TEST_F(Label, WrongCommandLinesAreNamed)
{
    ExpectComplaint(2, "a picture, a font and a text are needed; label --help says more", {});
    ExpectComplaint(2, "a picture, a font and a text are needed; label --help says more",
                    {"in.png", "font.ttf", "--mono"});
    ExpectComplaint(2, "\"B\" is one argument too many; label --help says which there are",
                    {"in.png", "font.ttf", "A", "B"});
    ExpectComplaint(2, "there is no option --colour; label --help lists them",
                    {"in.png", "font.ttf", "A", "--colour", "FF0000"});
    ExpectComplaint(2, "--size wants a value; label --help says which",
                    {"in.png", "font.ttf", "A", "--size"});
    for (const char* size :
         {"", "0", "2001", "-1", " 5", "+5", "5px", "abc", "99999999999999999999"})
        ExpectComplaint(2,
                        std::string("--size wants a number from 1 to 2000, not \"") + size + "\"",
                        {"in.png", "font.ttf", "A", "--size", size});
    for (const char* color : {"", "FFF", "GGGGGG", "FF00000", "FF0000000", "#FF0000", " FF0000"})
        ExpectComplaint(
            2, std::string("--color wants RRGGBB or RRGGBBAA, hexadecimal, not \"") + color + "\"",
            {"in.png", "font.ttf", "A", "--color", color});
    for (const char* at : {"", "5", "5,", ",5", "5;5", "5,5,5", "2147483648,0", "a,b"})
        ExpectComplaint(2, std::string("--at wants two numbers, such as 20,-5, not \"") + at + "\"",
                        {"in.png", "font.ttf", "A", "--at", at});
    for (const char* fit : {"", "320", "320x", "0x240", "320x-1", "320X240", "16385x1"})
        ExpectComplaint(2,
                        std::string("--fit wants a size up to 16384x16384, such as 320x240, "
                                    "not \"") +
                            fit + "\"",
                        {"in.png", "font.ttf", "A", "--fit", fit});
    for (const char* face : {"", "-1", "32768", "x"})
        ExpectComplaint(2,
                        std::string("--face wants a number from 0 to 32767, not \"") + face + "\"",
                        {"in.png", "font.ttf", "A", "--face", face});
    ExpectComplaint(2, "--output wants the name of a file",
                    {"in.png", "font.ttf", "A", "--output", ""});
}

TEST_F(Label, NothingIsAnOptionBehindTwoDashes)
{
    FontFace face;
    face.glyphs = {{'-', 500, {{0, 0, 400, 500}}}};
    WriteFile(File("font.ttf"), TrueType(face));
    const Outcome outcome =
        RunLabel({"--size", "10", "--output", "out.png", "--", "in.png", "font.ttf", "--mono"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ(White, Read("out.png").At(6, 3));
}

TEST_F(Label, LandscapePaintsThePictureOfTheDemo)
{
    const Outcome outcome = Run({LANDSCAPE, "landscape.png"});
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("", outcome.out + outcome.err);
    const Picture picture = Read("landscape.png");
    EXPECT_EQ(800, picture.width);
    EXPECT_EQ(600, picture.height);
    EXPECT_EQ(0, picture.At(0, 0).alpha) << "round corners";
    EXPECT_EQ(255, picture.At(400, 300).alpha);
    EXPECT_GT(picture.At(545, 330).red, 240) << "the sun";
    EXPECT_LT(picture.At(100, 590).red, 40) << "the bank";

    EXPECT_EQ(2, Run({LANDSCAPE}).status);
    EXPECT_EQ("landscape: missing/a.png cannot be written: No such file or directory\n",
              Run({LANDSCAPE, "missing/a.png"}).err);
}
