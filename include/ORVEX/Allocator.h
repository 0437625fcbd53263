// SPDX-License-Identifier: MIT
#ifndef ORVEX_ALLOCATOR_H
#define ORVEX_ALLOCATOR_H

#include "../../src/Allocator/Allocator.h"
#include "../../src/Allocator/Heep.h"

#endif
