// SPDX-License-Identifier: MIT
#include "OwnNetwork.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sched.h>
#include <unistd.h>

namespace {

/// A namespace of users in which the process is root, for those who are not.
bool BecomeRootOfOwnUsers()
{
    const auto user = getuid();
    const auto group = getgid();
    if (unshare(CLONE_NEWUSER) != 0)
        return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    return getuid() == 0;
}

} // namespace

bool Shell(const std::string& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string EnterOwnNetwork()
{
    if (unshare(CLONE_NEWNET) != 0 &&
        (errno != EPERM || !BecomeRootOfOwnUsers() || unshare(CLONE_NEWNET) != 0))
        return std::string("no network namespace can be made here: ") + std::strerror(errno);
    if (!Shell("command -v ip"))
        return "there is no program `ip` (Debian package iproute2)";
    if (!Shell("ip link add eth0 type veth peer name peer0 && ip link set peer0 up") &&
        !Shell("ip link add eth0 type dummy"))
        return "no interface \"eth0\" can be made here";
    if (!Shell("ip link set lo up && ip address add 10.9.8.7/24 broadcast + dev eth0 && "
               "ip link set eth0 up && ip route add default dev eth0"))
        return "the interface \"eth0\" cannot be set up here";
    return std::string();
}
