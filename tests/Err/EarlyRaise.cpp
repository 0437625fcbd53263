// SPDX-License-Identifier: MIT
// Includes nothing that would make the standard streams ready for its own sake.
#include "EarlyRaise.h"

#include <ORVEX/Err.h>

#include <unistd.h>

using ORVEX::Err;

namespace {

// Raises while static objects are being constructed, with the error stream led into a pipe.
struct Early {
    Early()
    {
        int ends[2];
        const int usual = dup(2);
        if (usual < 0 || pipe(ends) != 0)
            return;
        dup2(ends[1], 2);
        try {
            throw Err("early", 12, Err::ERR_MEMORY, 34);
        } catch (const Err&) {
        }
        dup2(usual, 2);
        close(usual);
        close(ends[1]);
        // A line this short is in the pipe whole, or not at all.
        if (read(ends[0], text, sizeof text - 1) < 0)
            text[0] = '\0';
        close(ends[0]);
    }

    char text[100] = {};
};

const Early early;

} // namespace

const char* PrintedEarly() { return early.text; }
