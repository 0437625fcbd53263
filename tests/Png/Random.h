// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_PNG_RANDOM_H
#define ORVEX_TESTS_PNG_RANDOM_H

#include <random>

/// The same numbers in every run.
class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}

    unsigned operator()() { return static_cast<unsigned>(engine()); }

private:
    std::mt19937 engine;
};

#endif
