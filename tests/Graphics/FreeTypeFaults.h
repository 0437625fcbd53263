// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_FREETYPEFAULTS_H
#define ORVEX_TESTS_FREETYPEFAULTS_H

#include <ft2build.h>

#include FT_FREETYPE_H
#include FT_IMAGE_H

#include <functional>
#include <string>
#include <vector>

/// Stands between the library and FreeType while it lives: notes calls and makes some fail. Only
/// in test binaries that are built with FreeTypeFaults.cpp, whose functions of FreeType's names
/// take the calls. One at a time.
///
/// What FreeType allocates for libraries that are made meanwhile is counted, and what is still
/// allocated at the end is released, so that a leak that is meant leaves nothing behind.
class FreeTypeFaults {
public:
    FreeTypeFaults();
    ~FreeTypeFaults();
    FreeTypeFaults(const FreeTypeFaults&) = delete;
    FreeTypeFaults& operator=(const FreeTypeFaults&) = delete;

    /// The call number `which` from now, counted from 1, of the function with that name does
    /// nothing and returns `error`.
    void Fail(const std::string& name, FT_Error error, int which = 1);

    /// FreeType's allocation number `which` from now, counted from 1, has no memory; with
    /// `fromThenOn` no later one has either. 0 ends that.
    void FailAllocation(long which, bool fromThenOn = false);

    /// Whether the heap is to have old bytes in the block that each allocation of FreeType's is
    /// likely to be given.
    bool dirty = false;

    bool Hit() const; ///< Whether anything has failed on purpose.

    /// Called with each bitmap that FT_Glyph_To_Bitmap makes, to change it.
    std::function<void(FT_Bitmap&)> rendered;

    std::vector<std::string> calls;     ///< Names of the functions called, in order.
    std::vector<std::string> arguments; ///< For each of these, the arguments that matter, as text.

    long LiveBlocks() const;   ///< Blocks that FreeType holds.
    long GlyphsLoaded() const; ///< Look-ups in the glyph cache that had to load the glyph.
};

#endif
