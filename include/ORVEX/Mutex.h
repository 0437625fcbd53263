// SPDX-License-Identifier: MIT
#ifndef ORVEX_MUTEX_H
#define ORVEX_MUTEX_H

#include <cerrno>
#include <semaphore.h>

namespace ORVEX {

/// An exclusive lock for any number of threads of one process.
///
/// A semaphore of count 1, with a semaphore's manners: it is not recursive, so a thread that locks
/// twice blocks itself for ever, and it has no owner, so any thread may unlock. Unlocking what is
/// not locked lets two threads in. It must not be destroyed while a thread waits for it. Results
/// are the semaphore call's, 0 for success; nothing raises.
class Mutex {
public:
    Mutex(); ///< Unlocked.
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex(); ///< Releases the semaphore.

    int Lock() { return __Lock(); }     ///< Waits until the lock is free and takes it.
    int Unlock() { return __Unlock(); } ///< Gives the lock back.

    /// Lock for const accessors of guarded objects. Exclusive all the same: readers keep each other
    /// out as they do writers.
    int ReadLock() const { return __Lock(); }
    int ReadUnlock() const { return __Unlock(); } ///< Unlock for const accessors.

private:
    // The platform half. Locking is inline, so that a lock that is free costs one call of the C
    // library.
    int __Open();
    int __Close();
    int __Lock() const
    {
        int result;
        do
            result = sem_wait(&semaphore);
        while (result != 0 && errno == EINTR);
        return result;
    }
    int __Unlock() const { return sem_post(&semaphore); }

    mutable sem_t semaphore; // 1 while unlocked
};

} // namespace ORVEX

#endif
