// SPDX-License-Identifier: MIT
#ifndef ORVEX_THREAD_H
#define ORVEX_THREAD_H

#include <ORVEX/SleepWakeup.h>

#include <cstdint>
#include <pthread.h>

namespace ORVEX {

/// What a thread runs: a function and the one argument that it gets.
struct ThreadBaseCalled {
    void* (*function)(void*); ///< Its result is ignored. An exception that leaves it ends the
                              ///< process.
    void* argument;           ///< Handed to the function as it is; not owned.
};

/// A thread that runs one function, with a place to sleep of its own and a request to stop.
///
/// The function sleeps on its thread object (Forever, Sleep), is woken through Wakeup, and returns
/// once StopRequested() says so: from SetStop on no sleep blocks. Start, Stop and StopWait belong
/// to the one thread that owns the object, Wakeup and SetStop to any. The destructor neither stops
/// nor joins: the owner calls Stop or StopWait before the object goes away.
class ThreadBase : public SleepWakeup {
public:
    /// The scheduling class of a thread or of the process.
    enum Priority : std::int32_t {
        Highest = 0,  ///< SCHED_FIFO, priority 99.
        RealTime = 1, ///< SCHED_RR, priority 1.
        Normal = 2,   ///< SCHED_OTHER, priority 0.
        Lowest = 3    ///< SCHED_IDLE.
    };

    /// Not started yet. The first object of the process asks once for priority 2 within the calling
    /// thread's own scheduling class; under SCHED_OTHER that has no effect.
    explicit ThreadBase(const ThreadBaseCalled& whatToRun);
    ~ThreadBase(); ///< Releases the place to sleep only.

    /// Stops a thread that runs, and starts a new one on the same function.
    ///
    /// The scheduling class is stored in the new thread's attributes, which nevertheless keep their
    /// default of inheriting the class of the thread that calls: systems that honour the default
    /// start with the caller's class, whatever `priority` says. Values outside the enumeration
    /// store none. Some C libraries, glibc among them, refuse Lowest here, others take it.
    ///
    /// A stop that finds its worker awake leaves a wake-up pending, and a Start after it is
    /// Active()'s case: Wakeup, SetStop and Stop then do not end a sleep of the new thread until
    /// one of its sleeps has run out of time. A worker that is to be started again should therefore
    /// sleep with a time, Sleep; in Forever it may hang.
    /// @param priority   the scheduling class
    /// @param stackSize  bytes of stack; less than 16384 is taken for 16384
    /// @throws Err  ERR_SYSTEM, data 0, when the system refuses the scheduling class, the stack's
    /// size (on some systems the least is more than 16384) or the thread; none is running then
    void Start(Priority priority, unsigned long stackSize);

    /// Asks the thread to stop and waits until its function has returned. Nothing if not started.
    void Stop();

    /// Waits until the function has returned of its own accord. Nothing if not started.
    void StopWait();

    /// Asks the thread to stop, and returns at once. The thread's current sleep returns 1, all
    /// later ones 2.
    void SetStop();

    void Wakeup(); ///< Ends the thread's current or next sleep, as SleepWakeup::Wakeup.

    /// Whether the thread has been asked to stop, by SetStop or Stop, since the last Start.
    bool StopRequested() const;

    void __StopWait(); ///< Joins the thread, which must have been started.

    /// Changes the scheduling class of the whole process. Values outside the enumeration count as
    /// RealTime; Lowest has priority 0.
    /// @throws Err  ERR_SYSTEM, data -1, when the system refuses; the right to ask for Highest and
    /// RealTime is usually the superuser's
    static void ChangePriority(Priority priority);

    static bool InitFlg; ///< Whether the process's first object has been constructed.

protected:
    ThreadBaseCalled called; ///< What the thread runs.
    bool stopRequested;      ///< Set by SetStop, cleared by Start.
    bool started;            ///< From Start until the thread has been joined.
    pthread_t thread;        ///< The running thread; meaningful while started.

private:
    static void __Init();
    void __Start(Priority priority, unsigned long stackSize);
};

/// A reference to a thread object, by which a function finds the thread that it runs on.
class ThreadState {
public:
    ThreadState(ThreadBase& owner) : thread(owner) {} ///< Refers to `owner`, which must outlive it.

    ThreadBase& Get() const { return thread; } ///< The thread object.

private:
    ThreadBase& thread;
};

/// Where threads of ThreadBase begin: calls the function that `called`, a ThreadBaseCalled, holds.
/// @return null
void* ThreadExecuteFunc(void* called);

} // namespace ORVEX

#endif
