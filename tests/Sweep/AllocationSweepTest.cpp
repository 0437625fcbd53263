// SPDX-License-Identifier: MIT
// Each allocation of each operation refused in turn: by itself, and with all that follow it.
#include "RefuseEach.h"
#include "Support/FailingNew.h"

#include <iostream>

TEST(AllocationSweep, EachRefusedAllocationEndsAsDescribedAndLeavesAUsableObject)
{
    std::size_t refused = 0;
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        operation.prepare()->Act(); // what the system keeps from the first time on is made now
        for (const FailingNew::Mode mode : {FailingNew::Once, FailingNew::FromThenOn}) {
            const auto refuse = [mode](long which) { return FailingNew(which, mode); };
            const std::vector<std::string> outcomes =
                RefuseEach(operation, refuse, LiveBlocks, false);
            EXPECT_EQ(operation.outcomes, Joined(outcomes));
            refused += outcomes.size();
        }
    }
    std::cout << refused << " allocations of " << Operations().size() << " operations refused\n";
    EXPECT_LT(100u, refused);
}
