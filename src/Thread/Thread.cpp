// SPDX-License-Identifier: MIT
#include <ORVEX/Thread.h>

#include <ORVEX/Err.h>

#include "Flags.h"

#include <algorithm>
#include <sched.h>
#include <unistd.h>

namespace ORVEX {

using Internal::LoadRelaxed;
using Internal::StoreRelaxed;

namespace {

const char File[] = "src/Thread/Thread";

const unsigned long MinStackSize = 16384;
const int PolicyIdle = 5; // SCHED_IDLE, which not every C library names

// The record says which step it was; the number of the error is deliberately not in it.
void Require(int result, int line)
{
    if (result != 0)
        throw Err(File, line, Err::ERR_SYSTEM, 0);
}

} // namespace

bool ThreadBase::InitFlg = false;

ThreadBase::ThreadBase(const ThreadBaseCalled& whatToRun)
    : called(whatToRun), stopRequested(false), started(false), thread()
{
    if (LoadRelaxed(InitFlg))
        return;
    __Init();
    StoreRelaxed(InitFlg, true);
}

ThreadBase::~ThreadBase() = default;

void ThreadBase::Start(Priority priority, unsigned long stackSize)
{
    Stop();
    Active();
    StoreRelaxed(stopRequested, false);
    __Start(priority, stackSize);
    started = true;
}

void ThreadBase::Stop()
{
    if (!started)
        return;
    SetStop();
    __StopWait();
    started = false;
}

void ThreadBase::StopWait()
{
    if (!started)
        return;
    __StopWait();
    started = false;
}

void ThreadBase::SetStop()
{
    // In this order: whoever is woken by Inactive finds the request.
    StoreRelaxed(stopRequested, true);
    Inactive();
}

void ThreadBase::Wakeup() { SleepWakeup::Wakeup(); }

bool ThreadBase::StopRequested() const { return LoadRelaxed(stopRequested); }

void* ThreadExecuteFunc(void* called)
{
    const ThreadBaseCalled& what = *static_cast<ThreadBaseCalled*>(called);
    what.function(what.argument);
    return nullptr;
}

// The platform half.

void ThreadBase::__Init()
{
    int policy = SCHED_OTHER;
    sched_param parameter = {};
    pthread_getschedparam(pthread_self(), &policy, &parameter);
    parameter.sched_priority = 2;
    pthread_setschedparam(pthread_self(), policy, &parameter);
}

void ThreadBase::__Start(Priority priority, unsigned long stackSize)
{
    // Neither told to use its scheduling class explicitly nor destroyed in the end, on purpose.
    pthread_attr_t attributes;
    Require(pthread_attr_init(&attributes), __LINE__);
    sched_param parameter;
    Require(pthread_attr_getschedparam(&attributes, &parameter), __LINE__);
    switch (priority) {
    case Highest:
        Require(pthread_attr_setschedpolicy(&attributes, SCHED_FIFO), __LINE__);
        parameter.sched_priority = 99;
        Require(pthread_attr_setschedparam(&attributes, &parameter), __LINE__);
        break;
    case RealTime:
        Require(pthread_attr_setschedpolicy(&attributes, SCHED_RR), __LINE__);
        parameter.sched_priority = 1;
        Require(pthread_attr_setschedparam(&attributes, &parameter), __LINE__);
        break;
    case Normal:
        Require(pthread_attr_setschedpolicy(&attributes, SCHED_OTHER), __LINE__);
        parameter.sched_priority = 0;
        Require(pthread_attr_setschedparam(&attributes, &parameter), __LINE__);
        break;
    case Lowest:
        // The priority stays as the attributes came.
        Require(pthread_attr_setschedpolicy(&attributes, PolicyIdle), __LINE__);
        break;
    }
    Require(pthread_attr_setstacksize(&attributes, std::max(stackSize, MinStackSize)), __LINE__);
    Require(pthread_create(&thread, &attributes, ThreadExecuteFunc, &called), __LINE__);
}

void ThreadBase::__StopWait() { pthread_join(thread, nullptr); }

void ThreadBase::ChangePriority(Priority priority)
{
    int policy = SCHED_RR;
    sched_param parameter = {};
    parameter.sched_priority = 1;
    switch (priority) {
    case Highest:
        policy = SCHED_FIFO;
        parameter.sched_priority = 99;
        break;
    case RealTime:
        break;
    case Normal:
        policy = SCHED_OTHER;
        parameter.sched_priority = 0;
        break;
    case Lowest:
        policy = PolicyIdle;
        parameter.sched_priority = 0;
        break;
    }
    const int result = sched_setscheduler(getpid(), policy, &parameter);
    if (result < 0)
        throw Err(File, __LINE__, Err::ERR_SYSTEM, result);
}

} // namespace ORVEX
