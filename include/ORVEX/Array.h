// SPDX-License-Identifier: MIT
#ifndef ORVEX_ARRAY_H
#define ORVEX_ARRAY_H

#include "../../src/Pointer/Array.h"

#endif
