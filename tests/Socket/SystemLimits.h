// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_SYSTEMLIMITS_H
#define ORVEX_TESTS_SYSTEMLIMITS_H

/// Emulators of a whole process know less than the system that they stand for. Both ask by the
/// system's own calls.

/// Whether a socket takes IP_MULTICAST_IF.
bool TakesMulticastInterface();

/// Whether select takes descriptors from 1024 on, and a process so many; tried in a child, which
/// an emulator may end.
bool SelectsFrom1024();

#endif
