// SPDX-License-Identifier: MIT
#include "System.h"

#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

System* theSystem = nullptr;

namespace {

// The function that would have been called without this file.
template <class Function> Function* Real(const char* name)
{
    Function* const function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    if (!function)
        abort();
    return function;
}

template <class Function, class Stand, class... Arguments>
auto Call(Function*, const char* name, Stand System::*stand, Arguments... arguments)
{
    if (theSystem && theSystem->*stand)
        return (theSystem->*stand)(arguments...);
    return Real<Function>(name)(arguments...);
}

} // namespace

extern "C" {

int sem_init(sem_t* s, int shared, unsigned count) noexcept
{
    return Call(&sem_init, "sem_init", &System::semInit, s, shared, count);
}
int sem_destroy(sem_t* s) noexcept
{
    return Call(&sem_destroy, "sem_destroy", &System::semDestroy, s);
}
int sem_wait(sem_t* s) { return Call(&sem_wait, "sem_wait", &System::semWait, s); }
int sem_trywait(sem_t* s) noexcept
{
    return Call(&sem_trywait, "sem_trywait", &System::semTrywait, s);
}
int sem_timedwait(sem_t* s, const timespec* end)
{
    return Call(&sem_timedwait, "sem_timedwait", &System::semTimedwait, s, end);
}
int sem_post(sem_t* s) noexcept { return Call(&sem_post, "sem_post", &System::semPost, s); }

int pthread_attr_init(pthread_attr_t* a) noexcept
{
    return Call(&pthread_attr_init, "pthread_attr_init", &System::attrInit, a);
}
int pthread_attr_destroy(pthread_attr_t* a) noexcept
{
    return Call(&pthread_attr_destroy, "pthread_attr_destroy", &System::attrDestroy, a);
}
int pthread_attr_getschedparam(const pthread_attr_t* a, sched_param* p) noexcept
{
    return Call(&pthread_attr_getschedparam, "pthread_attr_getschedparam",
                &System::attrGetschedparam, a, p);
}
int pthread_attr_setschedpolicy(pthread_attr_t* a, int policy) noexcept
{
    return Call(&pthread_attr_setschedpolicy, "pthread_attr_setschedpolicy",
                &System::attrSetschedpolicy, a, policy);
}
int pthread_attr_setschedparam(pthread_attr_t* a, const sched_param* p) noexcept
{
    return Call(&pthread_attr_setschedparam, "pthread_attr_setschedparam",
                &System::attrSetschedparam, a, p);
}
int pthread_attr_setinheritsched(pthread_attr_t* a, int inherit) noexcept
{
    return Call(&pthread_attr_setinheritsched, "pthread_attr_setinheritsched",
                &System::attrSetinheritsched, a, inherit);
}
int pthread_attr_setstacksize(pthread_attr_t* a, size_t size) noexcept
{
    return Call(&pthread_attr_setstacksize, "pthread_attr_setstacksize", &System::attrSetstacksize,
                a, size);
}
int pthread_create(pthread_t* t, const pthread_attr_t* a, void* (*run)(void*), void* p) noexcept
{
    return Call(&pthread_create, "pthread_create", &System::create, t, a, run, p);
}
int pthread_join(pthread_t t, void** result)
{
    return Call(&pthread_join, "pthread_join", &System::join, t, result);
}
int pthread_getschedparam(pthread_t t, int* policy, sched_param* p) noexcept
{
    return Call(&pthread_getschedparam, "pthread_getschedparam", &System::getschedparam, t, policy,
                p);
}
int pthread_setschedparam(pthread_t t, int policy, const sched_param* p) noexcept
{
    return Call(&pthread_setschedparam, "pthread_setschedparam", &System::setschedparam, t, policy,
                p);
}

int sched_setscheduler(pid_t process, int policy, const sched_param* p) noexcept
{
    return Call(&sched_setscheduler, "sched_setscheduler", &System::setscheduler, process, policy,
                p);
}
int sched_yield() noexcept { return Call(&sched_yield, "sched_yield", &System::yield); }
int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    return Call(&clock_gettime, "clock_gettime", &System::clockGettime, clock, now);
}
int gettimeofday(timeval* now, void* zone) noexcept
{
    if (theSystem && theSystem->gettimeofday)
        return theSystem->gettimeofday(now);
    return Real<int(timeval*, void*)>("gettimeofday")(now, zone);
}
unsigned sleep(unsigned seconds) { return Call(&::sleep, "sleep", &System::sleep, seconds); }
int usleep(useconds_t us) { return Call(&::usleep, "usleep", &System::usleep, us); }
long sysconf(int name) noexcept { return Call(&::sysconf, "sysconf", &System::sysconf, name); }

} // extern "C"
