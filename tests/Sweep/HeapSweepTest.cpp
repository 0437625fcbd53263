// SPDX-License-Identifier: MIT
// The heap below everything refuses in turn each request that an operation leads to: the library's
// own, FreeType's, the C library's, and the ones for the exceptions themselves.
#include "FailingHeap.h"
#include "Operations.h"
#include "Support/Descriptors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <optional>

namespace {

/// Refuses each request of the operation in turn.
std::vector<std::string> RefuseEach(const Operation& operation, bool fromThenOn)
{
    std::vector<std::string> outcomes;
    outcomes.reserve(1000); // so that it is the same block to the end
    const long descriptors = OpenDescriptors();
    const long live = LiveHeapBlocks();
    for (long which = 1;; ++which) {
        std::unique_ptr<Trial> trial = operation.prepare();
        std::optional<Outcome> outcome;
        bool hit = false;
        {
            const FailingHeap failing(which, fromThenOn);
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
    if (!LeavesBlocks(operation)) {
        EXPECT_EQ(live, LiveHeapBlocks() - BlocksOf(outcomes));
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
    return outcomes;
}

} // namespace

TEST(HeapSweep, EachRefusedRequestEndsAsDescribedAndLeavesAUsableObject)
{
    std::size_t refused = 0;
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        operation.prepare()->Act(); // what the system keeps from the first time on is made now
        std::vector<std::string> possible = Spelled(operation.outcomes);
        for (const std::string& more : Spelled(operation.more))
            possible.push_back(more);
        for (const bool fromThenOn : {false, true}) {
            const std::vector<std::string> outcomes = RefuseEach(operation, fromThenOn);
            refused += outcomes.size();
            for (const std::string& outcome : outcomes)
                EXPECT_NE(0, std::count(possible.begin(), possible.end(), outcome)) << outcome;
            if (operation.more.empty()) {
                EXPECT_EQ(operation.outcomes, Joined(outcomes));
            }
        }
    }
    std::cout << refused << " requests of " << Operations().size() << " operations refused\n";
    EXPECT_LT(100u, refused);
}
