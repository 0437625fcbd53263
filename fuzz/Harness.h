// SPDX-License-Identifier: MIT
#ifndef ORVEX_FUZZ_HARNESS_H
#define ORVEX_FUZZ_HARNESS_H

#include <ORVEX/Err.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

/// What the harnesses share: the input taken apart into numbers, a heap that counts its blocks and
/// refuses on demand, and the outcome of a call that may raise. What failure records print is
/// dropped in every harness.

/// Ends the run with `what` when `holds` is false.
void Require(bool holds, const char* what);

/// Takes values off the front of an input; zeros follow behind its end.
class Feed {
public:
    Feed(const std::uint8_t* data, std::size_t size) : at(data), left(size) {}

    bool Empty() const { return left == 0; }
    std::size_t Left() const { return left; }

    std::uint8_t Byte();
    std::uint32_t Word(); ///< 4 bytes, the highest first.

    /// 0 to `most`, out of as few bytes as that takes.
    std::uint32_t Number(std::uint32_t most);

    /// The next `count` bytes, fewer at the end of the input.
    std::vector<std::uint8_t> Bytes(std::size_t count);
    std::vector<std::uint8_t> Rest() { return Bytes(left); }

private:
    const std::uint8_t* at;
    std::size_t left;
};

/// The largest block, in bytes, that operator new gives while a Refusal lives and says no other
/// number: a few bytes of input may ask for gigabytes.
const unsigned long HeapLimit = 1 << 20;

long LiveBlocks(); ///< Blocks of operator new that are not released yet.

/// While it lives, allocation number `which` from its start on is refused, 0 for none, and so is
/// every one of more than `limit` bytes.
class Refusal {
public:
    Refusal(unsigned int which, unsigned long limit);
    ~Refusal();
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;

    bool Hit() const; ///< Whether an allocation has been refused.
};

/// Requires that as many blocks are live at its end as at its start.
class Balance {
public:
    Balance() : before(LiveBlocks()) {}
    ~Balance() { Require(LiveBlocks() == before, "every block has been released"); }
    Balance(const Balance&) = delete;
    Balance& operator=(const Balance&) = delete;

private:
    long before;
};

/// How a call ended.
struct Outcome {
    enum { Returned, Raised, BadAlloc } how = Returned;
    const char* file = "";
    int code = 0;
    int data = 0;
    bool refused = false; ///< An allocation was refused.

    bool Is(const char* raisingFile, ORVEX::Err::ERR_CODE raisedCode, int raisedData) const;
};

/// Runs `action`; its allocation number `refuse` is refused, and so is every one above `limit`.
template <class Action>
Outcome Attempt(unsigned int refuse, Action action, unsigned long limit = HeapLimit)
{
    Outcome outcome;
    const Refusal refusal(refuse, limit);
    try {
        action();
    } catch (const ORVEX::Err& err) {
        outcome.how = Outcome::Raised;
        outcome.file = err.file;
        outcome.code = err.code;
        outcome.data = err.data;
    } catch (const std::bad_alloc&) {
        outcome.how = Outcome::BadAlloc;
    }
    outcome.refused = refusal.Hit();
    return outcome;
}

#endif
