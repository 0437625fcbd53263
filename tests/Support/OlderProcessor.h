// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_OLDERPROCESSOR_H
#define ORVEX_TESTS_OLDERPROCESSOR_H

#if defined(__x86_64__) || defined(__i386__)

/// What the compiler's run-time library found out about the processor: where
/// __builtin_cpu_supports looks in this binary.
struct ProcessorModel {
    unsigned int vendor, type, subtype, features;
};
extern ProcessorModel processorModel __asm__("__cpu_model") __attribute__((visibility("hidden")));
extern unsigned int processorFeatures[1] __asm__("__cpu_features2")
    __attribute__((visibility("hidden")));

/// Takes one feature away from the processor while it lives, as far as __builtin_cpu_supports can
/// tell in the sources that this binary is built from. The library itself keeps it.
class OlderProcessor {
public:
    static const unsigned int Features = 64; ///< How many there are to take.

    explicit OlderProcessor(unsigned int feature)
        : word(feature < 32 ? processorModel.features : processorFeatures[0]), old(word)
    {
        Set(old & ~(1u << feature % 32));
    }
    ~OlderProcessor() { Set(old); }
    OlderProcessor(const OlderProcessor&) = delete;
    OlderProcessor& operator=(const OlderProcessor&) = delete;

private:
    void Set(unsigned int value)
    {
        word = value;
        __asm__ volatile("" ::: "memory"); // the compiler knows the words by another name as well
    }

    unsigned int& word;
    const unsigned int old;
};

#endif

#endif
