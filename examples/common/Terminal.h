// SPDX-License-Identifier: MIT
#ifndef ORVEX_EXAMPLES_TERMINAL_H
#define ORVEX_EXAMPLES_TERMINAL_H

#include <ORVEX/Bitmap.h>

/// Prints a picture on standard output, as wide as the terminal (80 columns when there is none)
/// but not wider than the picture: each character is the upper half of a cell in one colour over
/// a lower half in another, 24 bits each. Transparent pixels show a dark ground.
void PrintPicture(const ORVEX::Bitmap& picture);

#endif
