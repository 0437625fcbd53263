// SPDX-License-Identifier: MIT
#include "Harness.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <streambuf>

// There under the address sanitizer alone.
extern "C" {
__attribute__((weak)) void __asan_poison_memory_region(void const volatile*, std::size_t);
__attribute__((weak)) void __asan_unpoison_memory_region(void const volatile*, std::size_t);
}

void Require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: this does not hold: %s\n", what);
    std::abort();
}

std::uint8_t Feed::Byte()
{
    if (left == 0)
        return 0;
    --left;
    return *at++;
}

std::uint32_t Feed::Word()
{
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8 | Byte();
    return word;
}

std::uint32_t Feed::Number(std::uint32_t most)
{
    std::uint32_t number = 0;
    for (std::uint32_t rest = most; rest != 0; rest >>= 8)
        number = number << 8 | Byte();
    return most == UINT32_MAX ? number : number % (most + 1);
}

std::vector<std::uint8_t> Feed::Bytes(std::size_t count)
{
    count = std::min(count, left);
    const std::vector<std::uint8_t> bytes(at, at + count);
    at += count;
    left -= count;
    return bytes;
}

bool Outcome::Is(const char* raisingFile, ORVEX::Err::ERR_CODE raisedCode, int raisedData) const
{
    return how == Raised && std::strcmp(file, raisingFile) == 0 && code == raisedCode &&
           data == raisedData;
}

namespace {

// Failure records print a line each; millions of them are of no use to anyone.
struct Silence : std::streambuf {
    Silence() { std::cerr.rdbuf(this); }
    ~Silence() override { std::cerr.rdbuf(nullptr); }
    int overflow(int c) override { return c == EOF ? 0 : c; }
};
const Silence silence;

std::atomic<long> liveBlocks{0};
thread_local unsigned long largest = ULONG_MAX; // bytes of a block
thread_local unsigned int untilRefusal = 0;     // 0: nothing is armed
thread_local bool refused = false;

// Stands before every block, out of bounds for everyone else.
struct alignas(16) Label {
    std::uint32_t magic;
    bool isArray;
};
const std::uint32_t Magic = 0x424C4F43;

void* Allocate(std::size_t size, bool isArray)
{
    if ((untilRefusal != 0 && --untilRefusal == 0) || size > largest) {
        refused = true;
        return nullptr;
    }
    Label* const label = static_cast<Label*>(std::malloc(sizeof(Label) + size));
    if (!label)
        return nullptr;
    label->magic = Magic;
    label->isArray = isArray;
    if (__asan_poison_memory_region)
        __asan_poison_memory_region(label, sizeof(Label));
    ++liveBlocks;
    return label + 1;
}

void* AllocateOrThrow(std::size_t size, bool isArray)
{
    void* const block = Allocate(size, isArray);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void Release(void* block, bool isArray)
{
    if (!block)
        return;
    Label* const label = static_cast<Label*>(block) - 1;
    if (__asan_unpoison_memory_region)
        __asan_unpoison_memory_region(label, sizeof(Label));
    Require(label->magic == Magic, "what is released is a block of operator new, and intact");
    Require(label->isArray == isArray, "arrays and single objects are released in their own form");
    label->magic = 0;
    --liveBlocks;
    std::free(label);
}

} // namespace

long LiveBlocks() { return liveBlocks; }

Refusal::Refusal(unsigned int which, unsigned long limit)
{
    largest = limit;
    refused = false;
    untilRefusal = which;
}

Refusal::~Refusal()
{
    largest = ULONG_MAX;
    untilRefusal = 0;
}

bool Refusal::Hit() const { return refused; }

void* operator new(std::size_t size) { return AllocateOrThrow(size, false); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size, true); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size, false);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size, true);
}
void operator delete(void* block) noexcept { Release(block, false); }
void operator delete[](void* block) noexcept { Release(block, true); }
void operator delete(void* block, std::size_t) noexcept { Release(block, false); }
void operator delete[](void* block, std::size_t) noexcept { Release(block, true); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block, false); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block, true); }
