// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_DESCRIPTORS_H
#define ORVEX_TESTS_DESCRIPTORS_H

#include <filesystem>
#include <iterator>

/// How many descriptors the process has open, with the one that counts them. Calls compare.
inline long OpenDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<long>(std::distance(begin(all), end(all)));
}

#endif
