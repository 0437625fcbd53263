// SPDX-License-Identifier: MIT
#include "FailingNew.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<long> liveBlocks{0};
std::atomic<long> allocations{0};
std::atomic<int> fillByte{-1};
std::atomic<std::size_t> largestBlock{0}; // 0: any size

thread_local long untilFailure = 0; // 0: nothing is armed
thread_local FailingNew::Mode failureMode = FailingNew::Once;
thread_local bool hasFailed = false;

bool FailsNow()
{
    if (untilFailure == 0)
        return false;
    if (untilFailure > 1) {
        --untilFailure;
        return false;
    }
    if (failureMode == FailingNew::Once)
        untilFailure = 0;
    hasFailed = true;
    return true;
}

void* Allocate(std::size_t size)
{
    const std::size_t largest = largestBlock;
    const bool refused = FailsNow() || (largest != 0 && size > largest);
    void* block = refused ? nullptr : std::malloc(size ? size : 1);
    if (!block)
        return nullptr;
    const int byte = fillByte;
    if (byte >= 0)
        std::memset(block, byte, size);
    ++liveBlocks;
    ++allocations;
    return block;
}

void* AllocateOrThrow(std::size_t size)
{
    void* block = Allocate(size);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void Release(void* block)
{
    if (!block)
        return;
    --liveBlocks;
    std::free(block);
}

} // namespace

FailingNew::FailingNew(long which, Mode mode)
{
    hasFailed = false;
    failureMode = mode;
    untilFailure = which;
}

FailingNew::~FailingNew() { untilFailure = 0; }

bool FailingNew::Hit() const { return hasFailed; }

long LiveBlocks() { return liveBlocks; }

long AllocationsSoFar() { return allocations; }

void FillNewBlocksWith(int byte) { fillByte = byte; }

void RefuseBlocksAbove(std::size_t bytes) { largestBlock = bytes; }

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }
