// SPDX-License-Identifier: MIT
#include <ORVEX/List.h>

#include "Support/FailingNew.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

using ORVEX::List;

namespace {

const char Long[] = "an element that needs a block of its own beside its node";

void Fill(List<std::string>& list, int count)
{
    for (int i = 0; i < count; ++i)
        list.PushBack(new List<std::string>::Node(Long));
}

int Count(const List<std::string>& list)
{
    int count = 0;
    for (const std::string& item : list)
        count += item == Long;
    return count;
}

} // namespace

TEST(List, RefusedCopyLeavesNothing)
{
    List<std::string> source;
    Fill(source, 3);
    const long blocks = LiveBlocks();
    // Three nodes and the block of each element.
    for (long which = 1; which <= 6; ++which) {
        const FailingNew failing(which);
        EXPECT_THROW(List<std::string> copy(source), std::bad_alloc);
        EXPECT_TRUE(failing.Hit());
        EXPECT_EQ(blocks, LiveBlocks());
    }
    const List<std::string> copy(source);
    EXPECT_EQ(3, Count(copy));
}

TEST(List, RefusedAssignmentKeepsTheOldNodes)
{
    List<std::string> source;
    List<std::string> target;
    Fill(source, 3);
    Fill(target, 2);
    const List<std::string>::Node* const first = target.Begin().GetNode();
    const long blocks = LiveBlocks();
    for (long which = 1; which <= 6; ++which) {
        const FailingNew failing(which);
        EXPECT_THROW(target = source, std::bad_alloc);
        EXPECT_EQ(blocks, LiveBlocks());
        EXPECT_EQ(2, Count(target));
        EXPECT_EQ(first, target.Begin().GetNode());
    }
}

TEST(List, DestructionAndClearReleaseEveryNode)
{
    const long blocks = LiveBlocks();
    {
        List<std::string> a;
        List<std::string> b;
        Fill(a, 5);
        Fill(b, 5);
        EXPECT_EQ(blocks + 20, LiveBlocks());
        a.Clear();
        EXPECT_EQ(blocks + 10, LiveBlocks());
        a = b;
        a.Swap(b);
        List<std::string>::IteratorMove held;
        EXPECT_TRUE(b.PopFront(held));
    }
    EXPECT_EQ(blocks, LiveBlocks());
}

TEST(List, LinksMoveWithoutTheHeap)
{
    List<std::string> a;
    List<std::string> b;
    Fill(a, 3);
    const long before = AllocationsSoFar();
    List<std::string>::IteratorMove held;
    ASSERT_TRUE(a.PopBack(held));
    b.PushFront(held);
    a.Swap(b);
    b.Swap(a);
    EXPECT_EQ(before, AllocationsSoFar());
}
