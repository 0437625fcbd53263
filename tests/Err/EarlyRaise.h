// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_EARLYRAISE_H
#define ORVEX_TESTS_EARLYRAISE_H

/// What a record printed that a static object raised and caught before main.
const char* PrintedEarly();

#endif
