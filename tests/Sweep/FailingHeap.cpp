// SPDX-License-Identifier: MIT
#include "FailingHeap.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

namespace {

std::atomic<long> live{0};

thread_local long untilFailure = 0; // 0: nothing is armed
thread_local bool failsOn = false;
thread_local bool hasFailed = false;

// Looking the heap up may need a block itself; such blocks come from here and stay.
alignas(std::max_align_t) unsigned char early[8192];
std::size_t earlyUsed = 0;
thread_local bool looking = false;

void* Early(std::size_t size)
{
    const std::size_t unit = alignof(std::max_align_t);
    void* const block = early + earlyUsed;
    earlyUsed += (size + unit - 1) / unit * unit;
    if (earlyUsed > sizeof early)
        abort();
    return block;
}

bool IsEarly(const void* block) { return block >= early && block < early + sizeof early; }

template <class Function> Function* Next(const char* name)
{
    looking = true;
    Function* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    looking = false;
    if (!next)
        abort();
    return next;
}

bool FailsNow()
{
    if (untilFailure == 0)
        return false;
    if (untilFailure > 1) {
        --untilFailure;
        return false;
    }
    if (!failsOn)
        untilFailure = 0;
    hasFailed = true;
    errno = ENOMEM;
    return true;
}

void* Counted(void* block)
{
    live += block != nullptr;
    return block;
}

} // namespace

FailingHeap::FailingHeap(long which, bool fromThenOn)
{
    hasFailed = false;
    failsOn = fromThenOn;
    untilFailure = which;
}

FailingHeap::~FailingHeap() { untilFailure = 0; }

bool FailingHeap::Hit() const { return hasFailed; }

long LiveHeapBlocks() { return live; }

extern "C" {

void* malloc(std::size_t size) noexcept
{
    static void* (*next)(std::size_t) = nullptr;
    if (looking)
        return Early(size);
    if (!next)
        next = Next<void*(std::size_t)>("malloc");
    return FailsNow() ? nullptr : Counted(next(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    static void* (*next)(std::size_t, std::size_t) = nullptr;
    if (looking)
        return Early(count * size);
    if (!next)
        next = Next<void*(std::size_t, std::size_t)>("calloc");
    return FailsNow() ? nullptr : Counted(next(count, size));
}

void* realloc(void* old, std::size_t size) noexcept
{
    static void* (*next)(void*, std::size_t) = nullptr;
    if (!next)
        next = Next<void*(void*, std::size_t)>("realloc");
    if (FailsNow())
        return nullptr;
    void* const block = next(old, size);
    live += (block != nullptr) - (old != nullptr && (block != nullptr || size == 0));
    return block;
}

void free(void* block) noexcept
{
    static void (*next)(void*) = nullptr;
    if (!block || IsEarly(block))
        return;
    if (!next)
        next = Next<void(void*)>("free");
    --live;
    next(block);
}

} // extern "C"
