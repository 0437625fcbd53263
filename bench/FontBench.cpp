// SPDX-License-Identifier: MIT
// A line of text beside SDL_ttf: drawn again and again, and for the first time, file and all.
//
// SDL_ttf keeps each glyph's finished pixels. The library keeps outlines and renders them at each
// line, as its interface promises, so most of its time is FreeType's rasterizer.
#include <ORVEX/Font.h>

#include <benchmark/benchmark.h>

#ifdef BENCH_sdl
#include <SDL_ttf.h>
#endif

namespace {

const char Path[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const char Line[] = "The quick brown fox jumps over the lazy dog";

void OrvexWarm(benchmark::State& state)
{
    ORVEX::Font font;
    font.Open(ORVEX::String::ChangeCharStr(Path), 0, false);
    const ORVEX::String text = ORVEX::String::ChangeCharStr(Line);
    if (font.DrawText(text, 20, ORVEX::Color(255, 255, 255)) != 0)
        state.SkipWithError("the font cannot be drawn");
    for (auto _ : state)
        benchmark::DoNotOptimize(font.DrawText(text, 20, ORVEX::Color(255, 255, 255)));
}
BENCHMARK(OrvexWarm)->Name("DrawText_Warm/orvex");

void OrvexFirst(benchmark::State& state)
{
    const ORVEX::String path = ORVEX::String::ChangeCharStr(Path);
    const ORVEX::String text = ORVEX::String::ChangeCharStr(Line);
    for (auto _ : state) {
        ORVEX::Font font;
        font.Open(path, 0, false);
        if (font.DrawText(text, 20, ORVEX::Color(255, 255, 255)) != 0)
            state.SkipWithError("the font cannot be drawn");
    }
}
BENCHMARK(OrvexFirst)->Name("DrawText_First/orvex");

#ifdef BENCH_sdl
class Ttf {
public:
    Ttf() { TTF_Init(); }
    ~Ttf() { TTF_Quit(); }
};

bool Draw(TTF_Font* font)
{
    SDL_Surface* const surface = TTF_RenderUTF8_Blended(font, Line, SDL_Color{255, 255, 255, 255});
    SDL_FreeSurface(surface);
    return surface != nullptr;
}

void SdlWarm(benchmark::State& state)
{
    const Ttf ttf;
    TTF_Font* const font = TTF_OpenFont(Path, 20);
    if (!Draw(font))
        state.SkipWithError("the font cannot be drawn");
    for (auto _ : state)
        benchmark::DoNotOptimize(Draw(font));
    TTF_CloseFont(font);
}
BENCHMARK(SdlWarm)->Name("DrawText_Warm/sdl");

void SdlFirst(benchmark::State& state)
{
    for (auto _ : state) {
        const Ttf ttf; // starts FreeType, as Open does
        TTF_Font* const font = TTF_OpenFont(Path, 20);
        if (!Draw(font))
            state.SkipWithError("the font cannot be drawn");
        TTF_CloseFont(font);
    }
}
BENCHMARK(SdlFirst)->Name("DrawText_First/sdl");
#endif

} // namespace
