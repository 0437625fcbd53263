// SPDX-License-Identifier: MIT
#include <ORVEX/List.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using ORVEX::List;
using ORVEX::ListBase;

namespace {

using Link = ListBase::NodeLink;

// Opens the sentinels and checks the invariants of the links.
class OpenList : public ListBase {
public:
    Link* Front() { return &front; }
    Link* Back() { return &back; }
    long Offset(const Link& sentinel) const
    {
        return reinterpret_cast<const char*>(&sentinel) - reinterpret_cast<const char*>(this);
    }

    // The nodes from front to back; fails when the way back is another one.
    std::vector<Link*> Nodes()
    {
        std::vector<Link*> nodes;
        EXPECT_EQ(nullptr, front.prev);
        EXPECT_EQ(nullptr, back.next);
        Link* before = &front;
        for (Link* link = front.next; link != &back; link = link->next) {
            EXPECT_EQ(before, link->prev);
            before = link;
            nodes.push_back(link);
        }
        EXPECT_EQ(before, back.prev);
        EXPECT_EQ(nodes.empty(), Empty());
        return nodes;
    }
};

using Nodes = std::vector<Link*>;

template <class T> std::vector<T> Items(const List<T>& list)
{
    std::vector<T> items;
    for (const T& item : list)
        items.push_back(item);
    return items;
}

List<int> ListOf(std::initializer_list<int> items)
{
    List<int> list;
    for (const int item : items)
        list.PushBack(new List<int>::Node(item));
    return list;
}

struct Counted {
    static int living;
    static std::vector<int> destroyed;
    explicit Counted(int n = 0) : number(n) { ++living; }
    Counted(const Counted& other) : number(other.number) { ++living; }
    Counted& operator=(const Counted&) = default;
    ~Counted()
    {
        --living;
        destroyed.push_back(number);
    }
    int number;
};

int Counted::living = 0;
std::vector<int> Counted::destroyed;

} // namespace

static_assert(offsetof(Link, next) == 0, "next comes first");
static_assert(offsetof(Link, prev) == sizeof(void*), "prev follows next");
static_assert(!std::is_copy_constructible<ListBase>::value, "nodes point at the sentinels");
static_assert(!std::is_copy_assignable<ListBase>::value, "nodes point at the sentinels");
static_assert(!std::is_copy_constructible<List<int>::IteratorMove>::value, "one handle, one node");
static_assert(sizeof(ListBase) == 4 * sizeof(void*), "two links and no count");
static_assert(sizeof(List<int>) == 4 * sizeof(void*), "two links and no count");

TEST(ListBase, FieldsAreFrontThenBack)
{
    OpenList list;
    EXPECT_EQ(0, list.Offset(*list.Front()));
    EXPECT_EQ(static_cast<long>(2 * sizeof(void*)), list.Offset(*list.Back()));
}

TEST(ListBase, NewOneIsEmpty)
{
    OpenList list;
    EXPECT_TRUE(list.Empty());
    EXPECT_EQ(list.Back(), list.Front()->next);
    EXPECT_EQ(list.Front(), list.Back()->prev);
    EXPECT_EQ(nullptr, list.Front()->prev);
    EXPECT_EQ(nullptr, list.Back()->next);
    EXPECT_EQ(list.Begin(), list.End());
}

TEST(ListBase, PopOfAnEmptyListLeavesTheOutArgument)
{
    OpenList list;
    Link node;
    Link* out = &node;
    EXPECT_FALSE(list.PopFront(&out));
    EXPECT_EQ(&node, out);
    EXPECT_FALSE(list.PopBack(&out));
    EXPECT_EQ(&node, out);
}

TEST(ListBase, FitLinkTouchesOneLinkOfEach)
{
    Link a;
    Link b;
    Link other;
    a.prev = &other;
    b.next = &other;
    ListBase::FitLink(&a, &b);
    EXPECT_EQ(&b, a.next);
    EXPECT_EQ(&other, a.prev);
    EXPECT_EQ(&a, b.prev);
    EXPECT_EQ(&other, b.next);
}

TEST(ListBase, PushAndPopKeepTheOrder)
{
    OpenList list;
    Link a;
    Link b;
    Link c;
    list.PushBack(&a);
    list.PushBack(&b);
    list.PushFront(&c);
    EXPECT_EQ((Nodes{&c, &a, &b}), list.Nodes());
    Link* out = nullptr;
    EXPECT_TRUE(list.PopBack(&out));
    EXPECT_EQ(&b, out);
    EXPECT_EQ(nullptr, b.next);
    EXPECT_EQ(nullptr, b.prev);
    EXPECT_TRUE(list.PopBack(&out));
    EXPECT_EQ(&a, out);
    EXPECT_TRUE(list.PopFront(&out));
    EXPECT_EQ(&c, out);
    EXPECT_EQ(nullptr, c.next);
    EXPECT_TRUE(list.Nodes().empty());
}

TEST(ListBase, InsertsOnEitherSideOfANode)
{
    OpenList list;
    Link a;
    Link b;
    Link c;
    list.PushBack(&a);
    list.InsertBack(&a, &b);
    list.InsertFront(&b, &c);
    EXPECT_EQ((Nodes{&a, &c, &b}), list.Nodes());
    Link first;
    Link last;
    list.InsertFront(&a, &first);
    list.InsertBack(&b, &last);
    EXPECT_EQ((Nodes{&first, &a, &c, &b, &last}), list.Nodes());
}

TEST(ListBase, ErasedNodeHasNoLinks)
{
    OpenList list;
    Link a;
    Link b;
    Link c;
    list.PushBack(&a);
    list.PushBack(&b);
    list.PushBack(&c);
    list.Erase(&b);
    EXPECT_EQ(nullptr, b.next);
    EXPECT_EQ(nullptr, b.prev);
    EXPECT_EQ((Nodes{&a, &c}), list.Nodes());
    list.Erase(&a);
    list.Erase(&c);
    EXPECT_TRUE(list.Nodes().empty());
    list.PushBack(&b);
    EXPECT_EQ((Nodes{&b}), list.Nodes());
}

TEST(ListBase, SwapThisIsEmptyTakesAllNodesInOrder)
{
    OpenList from;
    OpenList to;
    Link a;
    Link b;
    from.PushBack(&a);
    from.PushBack(&b);
    to.SwapThisIsEmpty(from);
    EXPECT_EQ((Nodes{&a, &b}), to.Nodes());
    EXPECT_TRUE(from.Nodes().empty());
    OpenList none;
    from.SwapThisIsEmpty(none);
    EXPECT_TRUE(from.Nodes().empty());
    EXPECT_TRUE(none.Nodes().empty());
}

TEST(ListBase, SwapTradesNodesInEveryCase)
{
    OpenList one;
    OpenList two;
    one.Swap(two);
    EXPECT_TRUE(one.Nodes().empty());
    EXPECT_TRUE(two.Nodes().empty());

    Link a;
    Link b;
    Link c;
    one.PushBack(&a);
    one.PushBack(&b);
    one.Swap(two);
    EXPECT_TRUE(one.Nodes().empty());
    EXPECT_EQ((Nodes{&a, &b}), two.Nodes());
    one.Swap(two);
    EXPECT_EQ((Nodes{&a, &b}), one.Nodes());
    EXPECT_TRUE(two.Nodes().empty());

    two.PushBack(&c);
    one.Swap(two);
    EXPECT_EQ((Nodes{&c}), one.Nodes());
    EXPECT_EQ((Nodes{&a, &b}), two.Nodes());
}

TEST(ListBase, SwapWithItselfChangesNothing)
{
    OpenList list;
    list.Swap(list);
    EXPECT_TRUE(list.Nodes().empty());
    Link a;
    Link b;
    list.PushBack(&a);
    list.PushBack(&b);
    list.Swap(list);
    EXPECT_EQ((Nodes{&a, &b}), list.Nodes());
}

TEST(ListBase, IteratorStepsBothWays)
{
    OpenList list;
    Link a;
    Link b;
    list.PushBack(&a);
    list.PushBack(&b);
    ListBase::Iterator at = list.Begin();
    EXPECT_EQ(&a, at.Link());
    EXPECT_EQ(&b, (++at).Link());
    EXPECT_EQ(list.End(), ++at);
    EXPECT_EQ(&b, (--at).Link());
    EXPECT_NE(list.End(), at);
    EXPECT_EQ(ListBase::Iterator(), ListBase::Iterator());
    EXPECT_EQ(nullptr, ListBase::Iterator().Link());
    EXPECT_NE(ListBase::Iterator(), at);
}

TEST(ListBase, RandomUseAgreesWithTheModel)
{
    std::mt19937 random(12345);
    OpenList lists[2];
    std::list<Link*> models[2];
    std::vector<Link> nodes(40);
    std::vector<Link*> loose;
    for (Link& node : nodes)
        loose.push_back(&node);
    const auto TakeLoose = [&] {
        Link* const node = loose.back();
        loose.pop_back();
        return node;
    };
    for (int step = 0; step < 50000; ++step) {
        const unsigned long which = random() % 2;
        OpenList& list = lists[which];
        std::list<Link*>& model = models[which];
        const auto at = std::next(model.begin(),
                                  static_cast<long>(model.empty() ? 0 : random() % model.size()));
        Link* out = nullptr;
        switch (random() % 8) {
        case 0:
            if (!loose.empty()) {
                model.push_back(TakeLoose());
                list.PushBack(model.back());
            }
            break;
        case 1:
            if (!loose.empty()) {
                model.push_front(TakeLoose());
                list.PushFront(model.front());
            }
            break;
        case 2:
            if (!loose.empty() && !model.empty()) {
                Link* const node = TakeLoose();
                list.InsertFront(*at, node);
                model.insert(at, node);
            }
            break;
        case 3:
            if (!loose.empty() && !model.empty()) {
                Link* const node = TakeLoose();
                list.InsertBack(*at, node);
                model.insert(std::next(at), node);
            }
            break;
        case 4:
            if (!model.empty()) {
                list.Erase(*at);
                EXPECT_EQ(nullptr, (*at)->next);
                EXPECT_EQ(nullptr, (*at)->prev);
                loose.push_back(*at);
                model.erase(at);
            }
            break;
        case 5:
            ASSERT_EQ(!model.empty(), list.PopFront(&out));
            if (out) {
                ASSERT_EQ(model.front(), out);
                model.pop_front();
                loose.push_back(out);
            }
            break;
        case 6:
            ASSERT_EQ(!model.empty(), list.PopBack(&out));
            if (out) {
                ASSERT_EQ(model.back(), out);
                model.pop_back();
                loose.push_back(out);
            }
            break;
        default:
            list.Swap(lists[random() % 2 ? which : 1 - which]);
            if (list.Nodes() != Nodes(model.begin(), model.end()))
                models[0].swap(models[1]);
        }
        for (int i = 0; i < 2; ++i)
            ASSERT_EQ(Nodes(models[i].begin(), models[i].end()), lists[i].Nodes());
    }
}

TEST(List, NodeIsALinkFollowedByTheElement)
{
    List<long>::Node node(5);
    EXPECT_EQ(reinterpret_cast<char*>(&node), reinterpret_cast<char*>(static_cast<Link*>(&node)));
    EXPECT_EQ(reinterpret_cast<char*>(&node) + sizeof(Link), reinterpret_cast<char*>(&node.item));
    EXPECT_EQ(5, node.item);
    EXPECT_EQ(0, List<long>::Node().item);
    EXPECT_EQ(nullptr, node.next);
    EXPECT_EQ(nullptr, node.prev);
}

TEST(List, HoldsItemsInOrder)
{
    List<int> list = ListOf({2, 3});
    list.PushFront(new List<int>::Node(1));
    EXPECT_EQ((std::vector<int>{1, 2, 3}), Items(list));
    for (int& item : list)
        item *= 10;
    EXPECT_EQ((std::vector<int>{10, 20, 30}), Items(list));
    EXPECT_FALSE(list.Empty());
    EXPECT_TRUE(List<int>().Empty());
}

TEST(List, IteratorsStepBothWays)
{
    List<std::string> list;
    list.PushBack(new List<std::string>::Node("a"));
    list.PushBack(new List<std::string>::Node("bc"));
    List<std::string>::Iterator at = list.Begin();
    EXPECT_EQ("a", *at++);
    EXPECT_EQ(2ul, at->size());
    EXPECT_EQ("bc", *at--);
    EXPECT_EQ("bc", *++at);
    EXPECT_EQ("a", *--at);
    ++at;
    ++at;
    EXPECT_TRUE(at == list.End());
    EXPECT_EQ("bc", *--at);
    EXPECT_TRUE(at != list.End());

    const List<std::string>& readOnly = list;
    List<std::string>::IteratorConst look = readOnly.Begin();
    EXPECT_EQ("a", *look++);
    EXPECT_EQ(2ul, look->size());
    EXPECT_EQ("bc", *look--);
    EXPECT_EQ("bc", *++look);
    EXPECT_EQ("a", *--look);
    EXPECT_TRUE(look == list.Begin());
    EXPECT_TRUE(look != readOnly.End());
    EXPECT_EQ(list.Begin().GetNode(), look.GetNode());
    EXPECT_TRUE(List<int>::IteratorConst() == List<int>::IteratorConst(List<int>::Iterator()));
}

TEST(List, InsertsOnEitherSideOfAPosition)
{
    List<int> list = ListOf({5});
    list.InsertFront(list.Begin(), new List<int>::Node(3));
    list.InsertBack(list.Begin(), new List<int>::Node(4));
    list.InsertFront(list.End(), new List<int>::Node(6));
    EXPECT_EQ((std::vector<int>{3, 4, 5, 6}), Items(list));
}

TEST(List, InsertsOnEitherSideOfANodeOfItsOwn)
{
    List<int> list = ListOf({5});
    List<int>::Node* const five = list.Begin().GetNode();
    List<int>::Node* const three = new List<int>::Node(3);
    list.InsertFront(five, three);
    list.InsertBack(three, new List<int>::Node(4));
    list.InsertBack(five, new List<int>::Node(6));
    EXPECT_EQ((std::vector<int>{3, 4, 5, 6}), Items(list));
}

TEST(List, ErasedNodeIsTheCallers)
{
    List<Counted> list;
    for (int i = 1; i <= 3; ++i)
        list.PushBack(new List<Counted>::Node(Counted(i)));
    List<Counted>::Node* const second = (++list.Begin()).GetNode();
    list.Erase(second);
    EXPECT_EQ(nullptr, second->next);
    EXPECT_EQ(nullptr, second->prev);
    EXPECT_EQ(2, second->item.number); // not released
    EXPECT_EQ(3, (++list.Begin())->number);
    EXPECT_EQ(3, Counted::living);
    delete second;
    EXPECT_EQ(2, Counted::living);
}

TEST(List, ClearDestroysFromFrontToBackAndLeavesAnEmptyList)
{
    {
        List<Counted> list;
        list.Clear();
        EXPECT_TRUE(list.Empty());
        for (int i = 0; i < 3; ++i)
            list.PushBack(new List<Counted>::Node(Counted(i)));
        Counted::destroyed.clear();
        list.Clear();
        EXPECT_EQ((std::vector<int>{0, 1, 2}), Counted::destroyed);
        EXPECT_EQ(0, Counted::living);
        EXPECT_TRUE(list.Empty());
        list.PushBack(new List<Counted>::Node(Counted(7)));
        EXPECT_EQ(7, list.Begin()->number);
        EXPECT_EQ(1, Counted::living);
    }
    EXPECT_EQ(0, Counted::living);
}

TEST(List, ClearTakesNoStackForALongList)
{
    List<int> list;
    for (int i = 0; i < 1000000; ++i)
        list.PushBack(new List<int>::Node(i));
    list.Clear();
    EXPECT_TRUE(list.Empty());
}

TEST(List, CopiesAreDeep)
{
    const List<int> first = ListOf({1, 2, 3});
    List<int> second(first);
    *second.Begin() = 10;
    EXPECT_EQ((std::vector<int>{1, 2, 3}), Items(first));
    EXPECT_EQ((std::vector<int>{10, 2, 3}), Items(second));
    List<int> third = ListOf({9});
    third = second;
    *third.Begin() = 20;
    EXPECT_EQ((std::vector<int>{10, 2, 3}), Items(second));
    EXPECT_EQ((std::vector<int>{20, 2, 3}), Items(third));
    third = List<int>();
    EXPECT_TRUE(third.Empty());
}

TEST(List, AssignmentFromItselfChangesNothing)
{
    List<int> list = ListOf({1, 2});
    const List<int>::Node* const first = list.Begin().GetNode();
    const List<int>& same = list;
    list = same;
    EXPECT_EQ((std::vector<int>{1, 2}), Items(list));
    EXPECT_EQ(first, list.Begin().GetNode());
}

TEST(List, SwapTradesTheNodesThemselves)
{
    List<int> one = ListOf({1, 2});
    List<int> two = ListOf({3});
    const List<int>::Node* const first = one.Begin().GetNode();
    one.Swap(two);
    EXPECT_EQ((std::vector<int>{3}), Items(one));
    EXPECT_EQ((std::vector<int>{1, 2}), Items(two));
    EXPECT_EQ(first, two.Begin().GetNode());
    one.Clear();
    one.SwapThisIsEmpty(two);
    EXPECT_EQ((std::vector<int>{1, 2}), Items(one));
    EXPECT_TRUE(two.Empty());
    one.Swap(one);
    EXPECT_EQ((std::vector<int>{1, 2}), Items(one));
}

TEST(List, PoppedNodesAreTheCallers)
{
    List<int> list = ListOf({1, 2});
    List<int>::Node* node = nullptr;
    EXPECT_TRUE(list.PopFront(&node));
    EXPECT_EQ(1, node->item);
    EXPECT_EQ(nullptr, node->next);
    delete node;
    EXPECT_TRUE(list.PopBack(&node));
    EXPECT_EQ(2, node->item);
    List<int>::Node* const last = node;
    EXPECT_FALSE(list.PopFront(&node));
    EXPECT_FALSE(list.PopBack(&node));
    EXPECT_EQ(last, node);
    delete last;
}

TEST(IteratorMove, DeletesWhatItStillHolds)
{
    {
        List<Counted>::IteratorMove handle(new List<Counted>::Node(Counted(4)));
        EXPECT_FALSE(handle.Empty());
        EXPECT_EQ(4, handle->number);
        (*handle).number = 5;
        Counted::destroyed.clear();
    }
    EXPECT_EQ((std::vector<int>{5}), Counted::destroyed);
    const List<Counted>::IteratorMove none;
    EXPECT_TRUE(none.Empty());
}

TEST(IteratorMove, HandsItsNodeOnToAList)
{
    {
        List<Counted> list;
        {
            List<Counted>::IteratorMove back(new List<Counted>::Node(Counted(2)));
            List<Counted>::IteratorMove front(new List<Counted>::Node(Counted(1)));
            list.PushBack(back);
            list.PushFront(front);
            EXPECT_TRUE(back.Empty());
            EXPECT_TRUE(front.Empty());
        }
        EXPECT_EQ(2, Counted::living);
        EXPECT_EQ(1, list.Begin()->number);
    }
    EXPECT_EQ(0, Counted::living);
}

TEST(IteratorMove, TakesPoppedNodes)
{
    List<Counted> list;
    for (int i = 1; i <= 3; ++i)
        list.PushBack(new List<Counted>::Node(Counted(i)));
    List<Counted>::IteratorMove handle;
    EXPECT_TRUE(list.PopFront(handle));
    EXPECT_EQ(1, handle->number);
    EXPECT_TRUE(list.PopBack(handle)); // the first one goes
    EXPECT_EQ(3, handle->number);
    EXPECT_EQ(2, Counted::living);
    EXPECT_TRUE(list.PopBack(handle));
    EXPECT_FALSE(list.PopBack(handle));
    EXPECT_FALSE(list.PopFront(handle));
    EXPECT_EQ(2, handle->number); // kept when there is nothing to take
    List<Counted>::Node* const node = handle.Release();
    EXPECT_TRUE(handle.Empty());
    EXPECT_EQ(2, node->item.number);
    handle.Reset(node);
    handle.Reset(nullptr);
    EXPECT_EQ(0, Counted::living);
}

TEST(List, EraseHandsTheNodeOut)
{
    List<Counted> list;
    for (int i = 1; i <= 3; ++i)
        list.PushBack(new List<Counted>::Node(Counted(i)));
    {
        const List<Counted>::IteratorMove second = list.Erase(++list.Begin());
        EXPECT_EQ(2, second->number);
        EXPECT_EQ(3, Counted::living);
    }
    EXPECT_EQ(2, Counted::living);
    list.Erase(list.Begin()); // ignored, so released
    EXPECT_EQ(1, Counted::living);
    EXPECT_EQ(3, list.Begin()->number);
}

TEST(List, RandomUseAgreesWithTheModel)
{
    std::mt19937 random(777);
    List<int> lists[3];
    std::list<int> models[3];
    for (int step = 0; step < 30000; ++step) {
        const unsigned long a = random() % 3;
        const unsigned long b = random() % 3;
        const int value = static_cast<int>(random() % 1000);
        List<int>::IteratorMove handle;
        switch (random() % 10) {
        case 0:
        case 1:
            lists[a].PushBack(new List<int>::Node(value));
            models[a].push_back(value);
            break;
        case 2:
        case 3:
            lists[a].PushFront(new List<int>::Node(value));
            models[a].push_front(value);
            break;
        case 4:
            ASSERT_EQ(!models[a].empty(), lists[a].PopFront(handle));
            if (!handle.Empty()) {
                ASSERT_EQ(models[a].front(), *handle);
                models[a].pop_front();
                models[b].push_back(*handle);
                lists[b].PushBack(handle);
            }
            break;
        case 5:
            ASSERT_EQ(!models[a].empty(), lists[a].PopBack(handle));
            if (!handle.Empty()) {
                ASSERT_EQ(models[a].back(), *handle);
                models[a].pop_back();
            }
            break;
        case 6:
            lists[a].Swap(lists[b]);
            if (a != b)
                models[a].swap(models[b]);
            break;
        case 7:
            if (models[b].size() < 50) {
                lists[a] = lists[b];
                models[a] = models[b];
            }
            break;
        case 8:
            if (!models[a].empty()) {
                const long at = static_cast<long>(random() % models[a].size());
                List<int>::Iterator place = lists[a].Begin();
                for (long i = 0; i < at; ++i)
                    ++place;
                ASSERT_EQ(*std::next(models[a].begin(), at), *place);
                if (random() % 2) {
                    lists[a].InsertFront(place, new List<int>::Node(value));
                    models[a].insert(std::next(models[a].begin(), at), value);
                } else {
                    lists[a].Erase(place);
                    models[a].erase(std::next(models[a].begin(), at));
                }
            }
            break;
        default:
            if (value < 50) {
                lists[a].Clear();
                models[a].clear();
            }
        }
        for (int i = 0; i < 3; ++i)
            ASSERT_EQ(std::vector<int>(models[i].begin(), models[i].end()), Items(lists[i]));
    }
}
