// SPDX-License-Identifier: MIT
#ifndef ORVEX_VECTOR_H
#define ORVEX_VECTOR_H

#include "../../src/Pointer/Vector.h"

#endif
