// SPDX-License-Identifier: MIT
// Any sequence of operations on vectors, an array and lists, against std::vector and std::list;
// allocations are refused at any moment.
//
//   ./tools/fuzz 60 VectorListOpsFuzz
#include "Harness.h"

#include <ORVEX/Array.h>
#include <ORVEX/List.h>
#include <ORVEX/Vector.h>

#include <algorithm>
#include <climits>
#include <list>

using namespace ORVEX;

namespace {

const char VectorFile[] = "./include/ORVEX/../../src/Pointer/Vector";

/// A number that starts as 0 and counts how many of its kind there are.
struct Counted {
    Counted() { ++live; }
    explicit Counted(int start) : value(start) { ++live; }
    Counted(const Counted& other) : value(other.value) { ++live; }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }

    int value = 0;
    static long live;
};
long Counted::live = 0;

bool Same(const Counted& a, int b) { return a.value == b; }

class Vectors {
public:
    void Step(Feed& feed)
    {
        const std::uint32_t op = feed.Byte();
        const unsigned int which = op / 16 % 2;
        Vector<Counted>& vector = vectors[which];
        Model& model = models[which];
        const unsigned int refuse = op & 0x80 ? 1 : 0;
        switch (op % 8) {
        case 0:
        case 1:
            Resize(feed, vector, model, refuse);
            break;
        case 2:
            Assign(vector, model, vectors[op / 32 % 2], models[op / 32 % 2], refuse);
            break;
        case 3:
            Attempt(refuse, [&] {
                const Vector<Counted> copy(vector);
                Require(std::equal(copy.Begin(), copy.End(), model.values.begin(),
                                   model.values.end(), Same),
                        "a copy has the elements");
            });
            break;
        case 4:
            vectors[0].Swap(vectors[1]);
            std::swap(models[0], models[1]);
            break;
        case 5:
            model.values.assign(feed.Number(7), 5);
            model.owned = false;
            for (Counted& element : lent[which])
                element.value = 5;
            // Both sides may come to borrow the same elements through Swap; that is legal, but
            // the models would not know.
            if (vectors[1 - which].Begin() == lent[which]) {
                vectors[1 - which].TryResizeNoCopy(0);
                models[1 - which] = Model();
            }
            vector.Replace(lent[which], model.values.size());
            break;
        case 6:
            if (!model.values.empty()) {
                const unsigned long at = feed.Byte() % model.values.size();
                vector[at].value = model.values[at] = feed.Byte();
            }
            break;
        default:
            ResizeArray(feed);
        }
        for (int i = 0; i < 2; ++i)
            Check(vectors[i], models[i]);
        Require(array.Length() == arrayLength && array.Begin() == arrayBegin,
                "an array stays within itself");
    }

private:
    struct Model {
        std::vector<int> values;
        bool owned = false;
    };

    static void Check(const Vector<Counted>& vector, const Model& model)
    {
        Require(std::equal(vector.Begin(), vector.End(), model.values.begin(), model.values.end(),
                           Same),
                "the vector has the elements");
        Require(vector.Length() == model.values.size() && vector.Empty() == model.values.empty(),
                "the vector has the length");
        Require(vector.Owned() == model.owned, "the vector knows what it owns");
    }

    static void Resize(Feed& feed, Vector<Counted>& vector, Model& model, unsigned int refuse)
    {
        static const unsigned long Huge[] = {ULONG_MAX, ULONG_MAX / sizeof(Counted),
                                             PTRDIFF_MAX / sizeof(Counted), HeapLimit};
        const std::uint32_t pick = feed.Byte();
        const unsigned long n = pick > 251 ? Huge[pick - 252] : pick % 64;
        const bool keeps = n == 0 || (n == model.values.size() && model.owned);
        unsigned long result = 0;
        const Outcome outcome = Attempt(refuse, [&] { result = vector.TryResizeNoCopy(n); });
        if (!keeps && (refuse == 1 || n > 64)) {
            Require(outcome.Is(VectorFile, Err::ERR_MEMORY, static_cast<int>(n)),
                    "a refused vector raises the count");
            Require(!vector.Begin(), "a refused vector is null");
            model = Model();
            return;
        }
        Require(outcome.how == Outcome::Returned && result == n, "a vector takes any count");
        if (!keeps)
            model.values.assign(n, 0);
        if (n == 0)
            model.values.clear();
        model.owned = n != 0;
    }

    static void Assign(Vector<Counted>& vector, Model& model, const Vector<Counted>& other,
                       const Model& otherModel, unsigned int refuse)
    {
        const Outcome outcome = Attempt(refuse, [&] { vector = other; });
        if (&vector == &other)
            return;
        const unsigned long n = otherModel.values.size();
        const bool keeps = n == 0 || (n == model.values.size() && model.owned);
        if (!keeps && refuse == 1) {
            Require(outcome.Is(VectorFile, Err::ERR_MEMORY, static_cast<int>(n)),
                    "a refused assignment raises the count");
            model = Model();
            return;
        }
        Require(outcome.how == Outcome::Returned, "assignment raises only when it is refused");
        model.values = otherModel.values;
        model.owned = n != 0;
    }

    void ResizeArray(Feed& feed)
    {
        const unsigned long n = feed.Number(40);
        arrayLength = std::min(n, 21ul);
        Require(array.TryResizeNoCopy(n) == arrayLength, "an array cuts what it has no room for");
    }

    Counted lent[2][8];
    Vector<Counted> vectors[2];
    Model models[2];
    Array<char, 21> array;
    const char* arrayBegin = array.Begin();
    unsigned long arrayLength = 21;
};

class Lists {
public:
    void Step(Feed& feed)
    {
        const std::uint32_t op = feed.Byte();
        const unsigned int which = op / 16 % 2;
        List<Counted>& list = lists[which];
        std::list<int>& model = models[which];
        const unsigned int refuse = op & 0x80 ? feed.Byte() % 8 + 1u : 0;
        switch (op % 16) {
        case 0:
        case 1:
        case 2:
            Insert(feed, list, model, refuse, op % 16);
            break;
        case 3:
        case 4:
            Pop(list, model, op % 16 == 3, (op & 0x40) != 0);
            break;
        case 5:
            Erase(feed, list, model);
            break;
        case 6:
            lists[0].Swap(lists[op & 0x40 ? 0 : 1]);
            if (!(op & 0x40))
                models[0].swap(models[1]);
            break;
        case 7:
            if (list.Empty() && !lists[1 - which].Empty()) {
                list.SwapThisIsEmpty(lists[1 - which]);
                model.swap(models[1 - which]);
            }
            break;
        case 8:
            list.Clear();
            model.clear();
            break;
        case 9: {
            const Outcome outcome = Attempt(refuse, [&] { list = lists[op / 32 % 2]; });
            Require((outcome.how == Outcome::BadAlloc) == outcome.refused,
                    "a refused node passes as std::bad_alloc");
            if (!outcome.refused)
                model = models[op / 32 % 2];
            break;
        }
        case 10:
            Attempt(refuse, [&] {
                const List<Counted> copy(list);
                Check(copy, model);
            });
            break;
        case 11:
            Move(list, model, lists[1 - which], models[1 - which]);
            break;
        default: {
            int number = 0;
            for (Counted& element : list)
                element.value += ++number;
            number = 0;
            for (int& element : model)
                element += ++number;
        }
        }
        for (int i = 0; i < 2; ++i)
            Check(lists[i], models[i]);
    }

private:
    using Node = List<Counted>::Node;

    static void Check(const List<Counted>& list, const std::list<int>& model)
    {
        Require(std::equal(model.begin(), model.end(), list.begin(),
                           [](int a, const Counted& b) { return a == b.value; }),
                "the list has the elements, from the front");
        List<Counted>::IteratorConst position = list.End();
        for (auto expected = model.rbegin(); expected != model.rend(); ++expected)
            Require((--position)->value == *expected, "the list has the elements, from the back");
        Require(position == list.Begin(), "the list begins where it begins");
        Require(list.Empty() == model.empty(), "the list knows whether it is empty");
    }

    static List<Counted>::Iterator At(List<Counted>& list, unsigned long at)
    {
        List<Counted>::Iterator position = list.Begin();
        for (; at > 0; --at)
            ++position;
        return position;
    }

    static void Insert(Feed& feed, List<Counted>& list, std::list<int>& model, unsigned int refuse,
                       std::uint32_t where)
    {
        const int value = feed.Byte();
        Node* node = nullptr;
        const Outcome outcome = Attempt(refuse, [&] { node = new Node(Counted(value)); });
        if (outcome.how == Outcome::BadAlloc)
            return;
        if (where == 0) {
            list.PushFront(node);
            model.push_front(value);
        } else if (where == 1) {
            list.PushBack(node);
            model.push_back(value);
        } else if (feed.Byte() & 1) {
            const unsigned long at = feed.Byte() % (model.size() + 1);
            list.InsertFront(At(list, at), node);
            model.insert(std::next(model.begin(), static_cast<long>(at)), value);
        } else if (!model.empty()) {
            const unsigned long at = feed.Byte() % model.size();
            list.InsertBack(At(list, at), node);
            model.insert(std::next(model.begin(), static_cast<long>(at) + 1), value);
        } else {
            const List<Counted>::IteratorMove unused(node);
        }
    }

    static void Pop(List<Counted>& list, std::list<int>& model, bool front, bool raw)
    {
        List<Counted>::IteratorMove handle;
        bool found;
        if (raw) {
            Node* node = nullptr;
            found = front ? list.PopFront(&node) : list.PopBack(&node);
            Require(found || !node, "an empty list leaves the argument alone");
            handle.Reset(node);
        } else {
            found = front ? list.PopFront(handle) : list.PopBack(handle);
        }
        Require(found == !model.empty() && handle.Empty() == model.empty(),
                "a pop finds what there is");
        if (!found)
            return;
        Require(handle->value == (front ? model.front() : model.back()), "a pop gives the element");
        if (front)
            model.pop_front();
        else
            model.pop_back();
        Node* const node = handle.Release();
        Require(!node->next && !node->prev, "a node out of a list is linked to nothing");
        handle.Reset(node);
    }

    static void Erase(Feed& feed, List<Counted>& list, std::list<int>& model)
    {
        if (model.empty())
            return;
        const unsigned long at = feed.Byte() % model.size();
        const auto expected = std::next(model.begin(), static_cast<long>(at));
        const List<Counted>::IteratorMove erased(list.Erase(At(list, at)));
        Require(erased->value == *expected, "Erase gives the element");
        model.erase(expected);
    }

    static void Move(List<Counted>& from, std::list<int>& fromModel, List<Counted>& to,
                     std::list<int>& toModel)
    {
        List<Counted>::IteratorMove handle;
        if (!from.PopBack(handle))
            return;
        to.PushFront(handle);
        Require(handle.Empty(), "a node that is handed on is out of the handle");
        toModel.push_front(fromModel.back());
        fromModel.pop_back();
    }

    List<Counted> lists[2];
    std::list<int> models[2];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Balance balance;
    {
        Feed feed(data, size);
        Vectors vectors;
        Lists lists;
        while (!feed.Empty()) {
            if (feed.Byte() & 1)
                vectors.Step(feed);
            else
                lists.Step(feed);
        }
    }
    Require(Counted::live == 0, "every element has been destroyed");
    return 0;
}
