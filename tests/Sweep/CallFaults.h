// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_SWEEP_CALLFAULTS_H
#define ORVEX_TESTS_SWEEP_CALLFAULTS_H

/// Makes every call of one of the system's functions by the calling thread fail while it lives.
/// Only in binaries that are built with CallFaults.cpp, whose functions of the system's names take
/// the calls: inet_pton, fopen, lseek, read, write, opendir, readdir, stat.
class CallFaults {
public:
    CallFaults(const char* name, int error); ///< `error` is the errno that the call gets.
    ~CallFaults();
    CallFaults(const CallFaults&) = delete;
    CallFaults& operator=(const CallFaults&) = delete;

    int Refused() const; ///< Calls that have failed.
};

#endif
