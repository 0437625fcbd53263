// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_THREAD_THREADS_H
#define ORVEX_TESTS_THREAD_THREADS_H

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <pthread.h>
#include <string>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

/// While it lives, SIGUSR1 interrupts what a thread waits in, and does nothing else.
class Interruptible {
public:
    Interruptible()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {}; // without SA_RESTART, so that waits end
        sigaction(SIGUSR1, &action, &old);
    }
    ~Interruptible() { sigaction(SIGUSR1, &old, nullptr); }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

private:
    struct sigaction old;
};

/// The kernel's number of the calling thread.
inline pid_t CurrentThread() { return static_cast<pid_t>(syscall(SYS_gettid)); }

/// Returns once that thread of this process waits in the kernel.
inline void WaitUntilBlocked(pid_t thread)
{
    for (;;) {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string line;
        std::getline(file, line);
        const std::size_t name = line.rfind(')'); // then a blank, then the state
        if (name != std::string::npos && line.compare(name, 3, ") S") == 0)
            return;
        usleep(100);
    }
}

/// Runs `body` in a process of its own and returns what it returned, or 255 when the process did
/// not end well. The process takes limits and rights that `body` gives up with it.
inline int ResultInChild(const std::function<int()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        int result = 255;
        try {
            result = body();
        } catch (...) {
        }
        _exit(result);
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return 255;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

#endif
