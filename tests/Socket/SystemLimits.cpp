// SPDX-License-Identifier: MIT
#include "SystemLimits.h"

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const int Descriptor = 3010;

bool SelectOfDescriptorWorks()
{
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    if (dup2(socket(AF_INET, SOCK_DGRAM, 0), Descriptor) != Descriptor)
        return false;
    const int bits = 8 * sizeof(unsigned long);
    unsigned long words[Descriptor / bits + 1] = {};
    words[Descriptor / bits] = 1ul << (Descriptor % bits);
    timeval none = {0, 0};
    return select(Descriptor + 1, reinterpret_cast<fd_set*>(words), nullptr, nullptr, &none) == 0 &&
           words[Descriptor / bits] == 0;
}

} // namespace

bool TakesMulticastInterface()
{
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const in_addr any = {};
    const bool taken = setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &any, sizeof any) == 0;
    close(fd);
    return taken;
}

bool SelectsFrom1024()
{
    const pid_t child = fork();
    if (child == 0) {
        close(STDERR_FILENO); // what an emulator says when it gives up
        _exit(SelectOfDescriptorWorks() ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
