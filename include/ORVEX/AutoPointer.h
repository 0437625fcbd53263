// SPDX-License-Identifier: MIT
#ifndef ORVEX_AUTOPOINTER_H
#define ORVEX_AUTOPOINTER_H

#include "../../src/Pointer/AutoPointer.h"

#endif
