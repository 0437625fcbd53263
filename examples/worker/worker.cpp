// SPDX-License-Identifier: MIT
// A thread that sleeps until it gets a number, squares it and sleeps on, until it is stopped.
#include <ORVEX/Thread.h>

#include <cstdio>

namespace {

class Squarer {
public:
    Squarer() : thread(ORVEX::ThreadBaseCalled{Run, this}) {}
    ~Squarer() { Stop(); } // the thread object does not stop its thread by itself

    void Start() { thread.Start(ORVEX::ThreadBase::Normal, 65536); }

    void Stop() { thread.Stop(); } // wakes the thread and waits until Run has returned

    // Hands the number over; whoever is woken sees all that was written before.
    void Ask(long value)
    {
        number = value;
        thread.Wakeup();
    }

    // Whether the square has come within the time.
    bool Answer(const ORVEX::Clock& atMost, long* square)
    {
        if (answered.Sleep(atMost) != 1)
            return false;
        *square = number;
        return true;
    }

private:
    static void* Run(void* argument)
    {
        Squarer& self = *static_cast<Squarer*>(argument);
        // 1 is a wake-up; the one that comes with a stop has no work behind it.
        while (self.thread.Forever() == 1 && !self.thread.StopRequested()) {
            self.number *= self.number;
            self.answered.Wakeup();
        }
        std::puts("the worker goes home");
        return nullptr;
    }

    ORVEX::ThreadBase thread;
    ORVEX::SleepWakeup answered;
    long number = 0;
};

} // namespace

int main()
{
    Squarer squarer;
    squarer.Start();
    long square;
    if (!squarer.Answer(ORVEX::Clock(20), &square))
        std::puts("no answer without a question");
    for (long number = 7; number <= 9; ++number) {
        squarer.Ask(number);
        if (squarer.Answer(ORVEX::Clock(60000), &square))
            std::printf("%ld squared is %ld\n", number, square);
    }
    squarer.Stop();
    std::puts("stopped");
    return 0;
}
