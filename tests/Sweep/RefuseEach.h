// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_SWEEP_REFUSEEACH_H
#define ORVEX_TESTS_SWEEP_REFUSEEACH_H

#include "Operations.h"
#include "Support/Descriptors.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Runs an operation until none of its requests for memory is refused any more, each time on a
/// fresh object and with the next request refused. What is left of the object has to be usable.
/// @param refuse  returns the guard, a FailingNew or a FailingHeap, that refuses request `which`
/// @param live  returns the number of blocks that are held
/// @param leavesBlocks  whether the operation may keep blocks behind its object's back
/// @return how the operation ended each time that it was hit
template <class Refuse> std::vector<std::string>
RefuseEach(const Operation& operation, Refuse refuse, long (*live)(), bool leavesBlocks)
{
    std::vector<std::string> outcomes;
    outcomes.reserve(1000); // so that it is the same block to the end
    const long before = live();
    const long descriptors = OpenDescriptors();
    for (long which = 1;; ++which) {
        std::unique_ptr<Trial> trial = operation.prepare();
        std::optional<Outcome> outcome;
        bool hit = false;
        {
            const auto failing = refuse(which);
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
    if (!leavesBlocks) {
        EXPECT_EQ(before, live() - BlocksOf(outcomes));
    }
    EXPECT_EQ(descriptors, OpenDescriptors());
    return outcomes;
}

#endif
