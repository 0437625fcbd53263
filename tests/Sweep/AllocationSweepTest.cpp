// SPDX-License-Identifier: MIT
// Each allocation of each operation refused in turn: by itself, and with all that follow it.
#include "Operations.h"
#include "Support/Descriptors.h"
#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <iostream>
#include <optional>

namespace {

/// Refuses each allocation of the operation in turn.
/// @return how it ended each time
std::vector<std::string> RefuseEach(const Operation& operation, FailingNew::Mode mode)
{
    std::vector<std::string> outcomes;
    outcomes.reserve(1000); // so that it is the same block to the end
    const long live = LiveBlocks();
    const long descriptors = OpenDescriptors();
    for (long which = 1;; ++which) {
        std::unique_ptr<Trial> trial = operation.prepare();
        std::optional<Outcome> outcome;
        bool hit = false;
        {
            const FailingNew failing(which, mode);
            outcome.emplace(*trial);
            hit = failing.Hit();
        }
        if (hit)
            outcomes.push_back(outcome->Text());
        else
            EXPECT_TRUE(outcome->Done()) << outcome->Text();
        EXPECT_TRUE(trial->Recover()) << which;
        trial.reset();
        if (!hit)
            break;
    }
    EXPECT_EQ(live, LiveBlocks() - BlocksOf(outcomes));
    EXPECT_EQ(descriptors, OpenDescriptors());
    return outcomes;
}

} // namespace

TEST(AllocationSweep, EachRefusedAllocationEndsAsDescribedAndLeavesAUsableObject)
{
    std::size_t refused = 0;
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        operation.prepare()->Act(); // what the system keeps from the first time on is made now
        for (const FailingNew::Mode mode : {FailingNew::Once, FailingNew::FromThenOn}) {
            const std::vector<std::string> outcomes = RefuseEach(operation, mode);
            EXPECT_EQ(operation.outcomes, Joined(outcomes));
            refused += outcomes.size();
        }
    }
    std::cout << refused << " allocations of " << Operations().size() << " operations refused\n";
    EXPECT_LT(100u, refused);
}
