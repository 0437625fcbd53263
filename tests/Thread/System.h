// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_THREAD_SYSTEM_H
#define ORVEX_TESTS_THREAD_SYSTEM_H

#include <ctime>
#include <functional>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/time.h>
#include <sys/types.h>

/// The system as the library finds it in this binary: calls go to whoever is set here, and to the
/// C library where nobody is. Set only while no other thread runs.
struct System {
    std::function<int(sem_t*, int, unsigned)> semInit;
    std::function<int(sem_t*)> semDestroy;
    std::function<int(sem_t*)> semWait;
    std::function<int(sem_t*)> semTrywait;
    std::function<int(sem_t*, const timespec*)> semTimedwait;
    std::function<int(sem_t*)> semPost;

    std::function<int(pthread_attr_t*)> attrInit;
    std::function<int(pthread_attr_t*)> attrDestroy;
    std::function<int(const pthread_attr_t*, sched_param*)> attrGetschedparam;
    std::function<int(pthread_attr_t*, int)> attrSetschedpolicy;
    std::function<int(pthread_attr_t*, const sched_param*)> attrSetschedparam;
    std::function<int(pthread_attr_t*, int)> attrSetinheritsched;
    std::function<int(pthread_attr_t*, size_t)> attrSetstacksize;
    std::function<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> create;
    std::function<int(pthread_t, void**)> join;
    std::function<int(pthread_t, int*, sched_param*)> getschedparam;
    std::function<int(pthread_t, int, const sched_param*)> setschedparam;

    std::function<int(pid_t, int, const sched_param*)> setscheduler;
    std::function<int()> yield;
    std::function<int(clockid_t, timespec*)> clockGettime;
    std::function<int(timeval*)> gettimeofday;
    std::function<unsigned(unsigned)> sleep;
    std::function<int(useconds_t)> usleep;
    std::function<long(int)> sysconf;
};

/// The stand-ins that are in force; null for none.
extern System* theSystem;

#endif
