// SPDX-License-Identifier: MIT
// The heap below everything refuses in turn each request that an operation leads to: the library's
// own, FreeType's, the C library's, and the ones for the exceptions themselves.
#include "FailingHeap.h"
#include "RefuseEach.h"

#include <algorithm>
#include <iostream>

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
            const auto refuse = [fromThenOn](long which) { return FailingHeap(which, fromThenOn); };
            const std::vector<std::string> outcomes =
                RefuseEach(operation, refuse, LiveHeapBlocks, LeavesBlocks(operation));
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
