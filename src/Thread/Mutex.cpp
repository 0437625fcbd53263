// SPDX-License-Identifier: MIT
#include <ORVEX/Mutex.h>

namespace ORVEX {

Mutex::Mutex() { __Open(); }

Mutex::~Mutex() { __Close(); }

// The platform half; locking and unlocking stand in the header.

int Mutex::__Open() { return sem_init(&semaphore, 0, 1); }

int Mutex::__Close() { return sem_destroy(&semaphore); }

} // namespace ORVEX
