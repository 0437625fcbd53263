// SPDX-License-Identifier: MIT
// A list of things to do, whose nodes move and are never copied, and what arrays do beside it.
#include <ORVEX/Array.h>
#include <ORVEX/List.h>
#include <ORVEX/String.h>
#include <ORVEX/Vector.h>

#include <cstdio>

using ORVEX::Array;
using ORVEX::ArrayBase;
using ORVEX::List;
using ORVEX::String;
using ORVEX::Vector;

namespace {

struct Task {
    String what;
    unsigned int minutes = 0;
};

typedef List<Task> Tasks;

void Add(Tasks& tasks, const char* what, unsigned int minutes)
{
    Tasks::Node* const node = new Tasks::Node;
    tasks.PushBack(node); // the list's from now on, whatever happens next
    node->item.what.UpdateCharStr(what);
    node->item.minutes = minutes;
}

void Print(const char* title, const Tasks& tasks)
{
    std::printf("%s:", title);
    for (const Task& task : tasks)
        std::printf(" %s (%u min)", task.what.CStr(), task.minutes);
    std::puts(tasks.Empty() ? " nothing" : "");
}

// Any range of numbers will do: it only has to grant the length that is asked for.
bool Minutes(const Tasks& tasks, ArrayBase<unsigned int>& minutes)
{
    unsigned long count = 0;
    for (Tasks::IteratorConst at = tasks.Begin(); at != tasks.End(); ++at)
        ++count;
    const bool all = minutes.TryResizeNoCopy(count) == count;
    Tasks::IteratorConst at = tasks.Begin();
    for (unsigned long i = 0; i < minutes.Length(); ++i, ++at)
        minutes[i] = at->minutes;
    return all;
}

void PrintMinutes(const char* title, const Tasks& tasks, ArrayBase<unsigned int>& minutes)
{
    const bool all = Minutes(tasks, minutes);
    unsigned int sum = 0;
    for (unsigned long i = 0; i < minutes.Length(); ++i)
        sum += minutes[i];
    std::printf("%s: %lu elements, %u min%s\n", title, minutes.Length(), sum,
                all ? "" : ", not all fit");
}

} // namespace

int main()
{
    Tasks open;
    Add(open, "water plants", 5);
    Add(open, "write letter", 40);
    Add(open, "wash up", 15);
    Add(open, "call home", 20);
    Print("to do", open);

    // The node leaves one list and enters another; the task itself stays where it is in memory.
    Tasks done;
    Tasks::Iterator at = open.Begin();
    ++at;
    const Task* const letter = &*at;
    Tasks::IteratorMove taken = open.Erase(at);
    done.PushBack(taken);
    std::printf("the letter has %s\n", &*done.Begin() == letter ? "not moved" : "moved");

    // Urgent: the last becomes the first.
    if (open.PopBack(taken))
        open.PushFront(taken);
    Print("to do", open);
    Print("done", done);

    const Tasks copy(open); // every node made anew
    open.Clear();
    Print("cleared", open);
    Print("the copy", copy);
    open.SwapThisIsEmpty(done);
    Print("taken over", open);
    Print("done", done);

    Vector<unsigned int> exact;  // as many as are needed, on the heap
    Array<unsigned int, 2> room; // two at most, inside the object
    PrintMinutes("vector", copy, exact);
    PrintMinutes("array of two", copy, room);

    unsigned int borrowed[3] = {1, 2, 3};
    exact.Replace(borrowed, 3); // the vector works on the caller's numbers now
    exact[0] = 100;
    std::printf("%s, %u\n", exact.Owned() ? "owned" : "borrowed", borrowed[0]);
    return 0;
}
