// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_SWEEP_OPERATIONS_H
#define ORVEX_TESTS_SWEEP_OPERATIONS_H

#include <ORVEX/Err.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// An object, prepared, and the one operation on it that is tried.
class Trial {
public:
    virtual ~Trial() = default;

    /// The operation. Takes no memory of its own.
    /// @return false when it answers that it failed
    virtual bool Act() = 0;

    /// Assigns to the object where its class allows that, prepares it again, and acts once more.
    /// @return what the operation returns
    virtual bool Recover() = 0;
};

/// A row of the table: an operation, and how it ends when memory fails.
struct Operation {
    std::string name;

    /// How it ends when its first allocation by operator new fails, when its second does, and so
    /// on, separated by commas: "Buffer 128" is an Err with ERR_MEMORY from a file of that name
    /// with that data, "bad_alloc" the exception, "false" the answer; "x3" behind it means three in
    /// a row.
    std::string outcomes;

    /// How else it may end when the C library and FreeType have no memory either; "done" is one.
    std::string more;

    std::function<std::unique_ptr<Trial>()> prepare;
};

/// The table: operations of all families. The first call makes what they work with.
const std::vector<Operation>& Operations();

/// Whether blocks of FreeType's or the C library's are left when the operation fails or has ended.
bool LeavesBlocks(const Operation& operation);

/// How one try ended. Takes no memory until it is asked for its text.
class Outcome {
public:
    explicit Outcome(Trial& trial);

    bool Done() const { return kind == Success; }
    std::string Text() const; ///< As Operation's `outcomes` has it, or "done".

private:
    enum { Success, False, BadAlloc, Raised } kind = Success;
    const char* file = "";
    ORVEX::Err::ERR_CODE code = ORVEX::Err::ERR_MEMORY;
    int data = 0;
};

/// "a, b x2" as its three parts.
std::vector<std::string> Spelled(const std::string& outcomes);

/// The reverse.
std::string Joined(const std::vector<std::string>& outcomes);

/// How many of the texts are too long to be held without a block of their own.
long BlocksOf(const std::vector<std::string>& outcomes);

#endif
