// SPDX-License-Identifier: MIT
// The system's calls as SocketV4 makes them: the functions below stand in front of the C
// library's. While a test records, they answer by themselves and no call reaches the system; at
// all other times they pass calls on.
#include "OpenSocket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Clock;
using ORVEX::SocketV4;

namespace {

using CallList = std::vector<std::string>;

struct Calls {
    bool recording = false;
    CallList made;
    std::map<std::string, int> failing; // the call as recorded, and the errno that it gets
    int nextDescriptor = 70;
    std::string ownAddress = "10.9.8.7"; // what the interface is asked for
    ssize_t sent = -2;                   // what sendto answers; -2: the length it was given
    std::string datagram;                // what recvfrom gets, and what it answers
    ssize_t received = 0;
    bool readable = true; // what select leaves in its set
};

Calls calls;

/// Records the call.
/// @return whether it is to fail; errno is then set
bool Fails(const std::string& call)
{
    calls.made.push_back(call);
    const auto found = calls.failing.find(call);
    if (found == calls.failing.end())
        return false;
    errno = found->second;
    return true;
}

template <class Function> Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string Number(long value) { return " " + std::to_string(value); }

std::string Dotted(const in_addr& address)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

/// "10.9.8.7:4711"
std::string Endpoint(const sockaddr* address, socklen_t length)
{
    sockaddr_in in;
    if (length != sizeof in)
        return "a wrong length";
    std::memcpy(&in, address, sizeof in);
    if (in.sin_family != AF_INET)
        return "a wrong family";
    return Dotted(in.sin_addr) + ":" + std::to_string(ntohs(in.sin_port));
}

std::string OptionCall(int fd, int level, int option, const void* value, socklen_t length)
{
    std::string call = "setsockopt" + Number(fd);
    int number = 0;
    if (level == SOL_SOCKET && length == sizeof number) {
        std::memcpy(&number, value, sizeof number);
        call += option == SO_BROADCAST   ? " SO_BROADCAST"
                : option == SO_REUSEADDR ? " SO_REUSEADDR"
                                         : " another";
        return call + Number(number);
    }
    in_addr address;
    if (level == IPPROTO_IP && option == IP_MULTICAST_IF && length == sizeof address) {
        std::memcpy(&address, value, sizeof address);
        return call + " IP_MULTICAST_IF " + Dotted(address);
    }
    ip_mreq membership;
    if (level == IPPROTO_IP && option == IP_ADD_MEMBERSHIP && length == sizeof membership) {
        std::memcpy(&membership, value, sizeof membership);
        return call + " IP_ADD_MEMBERSHIP " + Dotted(membership.imr_multiaddr) + " " +
               Dotted(membership.imr_interface);
    }
    return call + " something else";
}

} // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    static auto* const next = Next<int(int, int, int)>("socket");
    if (!calls.recording)
        return next(domain, type, protocol);
    if (Fails(std::string("socket") + (domain == AF_INET ? " AF_INET" : " another") +
              (type == SOCK_STREAM  ? " SOCK_STREAM"
               : type == SOCK_DGRAM ? " SOCK_DGRAM"
                                    : Number(type)) +
              Number(protocol)))
        return -1;
    return calls.nextDescriptor++;
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t length) noexcept
{
    static auto* const next = Next<int(int, int, int, const void*, socklen_t)>("setsockopt");
    if (!calls.recording)
        return next(fd, level, option, value, length);
    return Fails(OptionCall(fd, level, option, value, length)) ? -1 : 0;
}

int bind(int fd, const sockaddr* address, socklen_t length) noexcept
{
    static auto* const next = Next<int(int, const sockaddr*, socklen_t)>("bind");
    if (!calls.recording)
        return next(fd, address, length);
    return Fails("bind" + Number(fd) + " " + Endpoint(address, length)) ? -1 : 0;
}

ssize_t sendto(int fd, const void* bytes, size_t count, int flags, const sockaddr* to,
               socklen_t length)
{
    static auto* const next =
        Next<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)>("sendto");
    if (!calls.recording)
        return next(fd, bytes, count, flags, to, length);
    if (Fails("sendto" + Number(fd) + " \"" +
              std::string(static_cast<const char*>(bytes), bytes ? count : 0) + "\"" +
              Number(flags) + " " + Endpoint(to, length)))
        return -1;
    return calls.sent == -2 ? static_cast<ssize_t>(count) : calls.sent;
}

ssize_t recvfrom(int fd, void* bytes, size_t count, int flags, sockaddr* from, socklen_t* length)
{
    static auto* const next =
        Next<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)>("recvfrom");
    if (!calls.recording)
        return next(fd, bytes, count, flags, from, length);
    if (Fails("recvfrom" + Number(fd) + Number(static_cast<long>(count)) + Number(flags) +
              Number(static_cast<long>(*length))))
        return -1;
    std::memcpy(bytes, calls.datagram.data(), std::min(count, calls.datagram.size()));
    sockaddr_in sender = {};
    sender.sin_family = AF_INET;
    sender.sin_port = htons(0x1234);
    sender.sin_addr.s_addr = htonl(0xC0A80002); // 192.168.0.2
    std::memcpy(from, &sender, sizeof sender);
    return calls.received;
}

int select(int count, fd_set* reads, fd_set* writes, fd_set* errors, timeval* timeout)
{
    static auto* const next = Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
    if (!calls.recording)
        return next(count, reads, writes, errors, timeout);
    std::string call = "select" + Number(count) + (writes || errors ? " too many sets" : "");
    for (int fd = 0; fd < count; ++fd)
        call += FD_ISSET(fd, reads) ? Number(fd) : "";
    call +=
        ", " + std::to_string(timeout->tv_sec) + " s " + std::to_string(timeout->tv_usec) + " us";
    if (Fails(call))
        return -1; // and the set stays as it is, as the system does it
    if (!calls.readable)
        FD_ZERO(reads);
    return calls.readable;
}

int shutdown(int fd, int how) noexcept
{
    static auto* const next = Next<int(int, int)>("shutdown");
    if (!calls.recording)
        return next(fd, how);
    return Fails("shutdown" + Number(fd) + (how == SHUT_RDWR ? " SHUT_RDWR" : " another")) ? -1 : 0;
}

int close(int fd)
{
    static auto* const next = Next<int(int)>("close");
    if (!calls.recording)
        return next(fd);
    return Fails("close" + Number(fd)) ? -1 : 0;
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    static auto* const next = Next<int(int, unsigned long, ...)>("ioctl");
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (!calls.recording)
        return next(fd, request, argument);
    std::string call = "ioctl" + Number(fd);
    if (request == FIONBIO) {
        call += " FIONBIO" + Number(*static_cast<int*>(argument));
        return Fails(call) ? -1 : 0;
    }
    if (request != SIOCGIFADDR)
        return Fails(call + " another") ? -1 : 0;
    ifreq* const asked = static_cast<ifreq*>(argument);
    call += std::string(" SIOCGIFADDR ") + asked->ifr_name +
            (asked->ifr_addr.sa_family == AF_INET ? " AF_INET" : " another family");
    if (Fails(call))
        return -1;
    sockaddr_in own = {};
    own.sin_family = AF_INET;
    inet_pton(AF_INET, calls.ownAddress.c_str(), &own.sin_addr);
    std::memcpy(&asked->ifr_addr, &own, sizeof own);
    return 0;
}

} // extern "C"

namespace {

class SocketCalls : public testing::Test {
protected:
    void SetUp() override { calls = Calls(); }

    void TearDown() override
    {
        socket.fd = -1; // there is nothing to close
        calls = Calls();
    }

    /// Runs `action` on answers that are all made up, and returns what it did.
    template <class Action> auto Watched(Action action)
    {
        calls.made.clear();
        calls.recording = true;
        const auto result = action();
        calls.recording = false;
        return result;
    }

    bool Open(SocketV4::Type type)
    {
        return Watched([&] { return socket.Open(type); });
    }

    /// A socket of descriptor 70, its calls forgotten.
    void Opened(SocketV4::Type type)
    {
        ASSERT_TRUE(Open(type));
        ASSERT_EQ(70, socket.fd);
        calls.made.clear();
    }

    bool Bind(unsigned short number, unsigned long group)
    {
        return Watched([&] { return socket.Bind(number, group); });
    }

    bool Send(const std::string& bytes)
    {
        std::string copy = bytes;
        const BufferBase range(reinterpret_cast<unsigned char*>(&copy[0]), copy.size());
        return Watched([&] { return socket.SendTo(range, 0xC0A80001, 4711); });
    }

    bool Receive()
    {
        return Watched([&] { return socket.ReceiveFrom(data, address, port); });
    }

    int Receive(unsigned milliseconds)
    {
        Clock timeout(milliseconds);
        return Watched([&] { return socket.ReceiveFrom(data, address, port, timeout); });
    }

    OpenSocket socket;
    Buffer data;
    unsigned long address = 5;
    unsigned short port = 6;
};

} // namespace

TEST_F(SocketCalls, OpenOfAStreamSetsNothingUp)
{
    EXPECT_TRUE(Open(SocketV4::TypeTcp));
    EXPECT_EQ((CallList{"socket AF_INET SOCK_STREAM 0", "setsockopt 70 SO_BROADCAST 1"}),
              calls.made);
    EXPECT_EQ(70, socket.fd);
}

TEST_F(SocketCalls, OpenForBroadcastsAllowsThemTwiceAndBlocks)
{
    EXPECT_TRUE(Open(SocketV4::TypeBroadcast));
    EXPECT_EQ((CallList{"socket AF_INET SOCK_DGRAM 0", "setsockopt 70 SO_BROADCAST 1",
                        "setsockopt 70 SO_BROADCAST 1", "ioctl 70 FIONBIO 0"}),
              calls.made);
}

TEST_F(SocketCalls, OpenForMulticastsNamesTheInterface)
{
    EXPECT_TRUE(Open(SocketV4::TypeMulticast));
    EXPECT_EQ((CallList{"socket AF_INET SOCK_DGRAM 0", "setsockopt 70 SO_BROADCAST 1",
                        "socket AF_INET SOCK_DGRAM 0", "ioctl 71 SIOCGIFADDR eth0 AF_INET",
                        "close 71", "setsockopt 70 IP_MULTICAST_IF 10.9.8.7"}),
              calls.made);
    EXPECT_EQ(70, socket.fd);
}

TEST_F(SocketCalls, OtherTypesAskForTheDefaultKind)
{
    for (const int type : {3, 100, -1}) {
        calls.nextDescriptor = 70;
        socket.fd = -1;
        EXPECT_TRUE(Open(static_cast<SocketV4::Type>(type)));
        EXPECT_EQ((CallList{"socket AF_INET 0 0", "setsockopt 70 SO_BROADCAST 1"}), calls.made);
        EXPECT_EQ(type, socket.type);
    }
}

TEST_F(SocketCalls, OpenClosesTheOldDescriptorBeforeAnythingElse)
{
    Opened(SocketV4::TypeBroadcast);
    EXPECT_TRUE(Open(SocketV4::TypeTcp));
    EXPECT_EQ((CallList{"shutdown 70 SHUT_RDWR", "close 70", "socket AF_INET SOCK_STREAM 0",
                        "setsockopt 71 SO_BROADCAST 1"}),
              calls.made);
    EXPECT_EQ(71, socket.fd);
}

TEST_F(SocketCalls, RefusedSocketStaysClosedAndKeepsItsType)
{
    Opened(SocketV4::TypeBroadcast);
    for (const int error :
         {EACCES, EAFNOSUPPORT, EINVAL, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPROTONOSUPPORT}) {
        calls.failing = {{"socket AF_INET SOCK_STREAM 0", error}};
        EXPECT_FALSE(Open(SocketV4::TypeTcp));
        EXPECT_EQ("socket AF_INET SOCK_STREAM 0", calls.made.back());
        EXPECT_EQ(-1, socket.fd);
        EXPECT_EQ(SocketV4::TypeBroadcast, socket.type);
    }
}

TEST_F(SocketCalls, RefusedBroadcastsCloseTheSocket)
{
    for (const int error : {EBADF, EINVAL, ENOPROTOOPT, ENOTSOCK}) {
        calls.nextDescriptor = 70;
        calls.failing = {{"setsockopt 70 SO_BROADCAST 1", error}};
        EXPECT_FALSE(Open(SocketV4::TypeBroadcast));
        EXPECT_EQ((CallList{"socket AF_INET SOCK_DGRAM 0", "setsockopt 70 SO_BROADCAST 1",
                            "setsockopt 70 SO_BROADCAST 1", "shutdown 70 SHUT_RDWR", "close 70"}),
                  calls.made);
        EXPECT_EQ(-1, socket.fd);
    }
}

TEST_F(SocketCalls, OtherTypesDoNotMindRefusedBroadcasts)
{
    calls.failing = {{"setsockopt 70 SO_BROADCAST 1", EINVAL}};
    EXPECT_TRUE(Open(SocketV4::TypeTcp));
    EXPECT_EQ(70, socket.fd);
}

TEST_F(SocketCalls, RefusedBlockingModeIsIgnored)
{
    for (const int error : {EBADF, EFAULT, EINVAL, ENOTTY}) {
        socket.fd = -1;
        calls.nextDescriptor = 70;
        calls.failing = {{"ioctl 70 FIONBIO 0", error}};
        EXPECT_TRUE(Open(SocketV4::TypeBroadcast));
        EXPECT_EQ(70, socket.fd);
    }
}

TEST_F(SocketCalls, RefusedInterfaceClosesTheSocket)
{
    for (const int error : {EADDRNOTAVAIL, EINVAL, ENODEV}) {
        calls.nextDescriptor = 70;
        calls.failing = {{"setsockopt 70 IP_MULTICAST_IF 10.9.8.7", error}};
        EXPECT_FALSE(Open(SocketV4::TypeMulticast));
        ASSERT_EQ(8u, calls.made.size());
        EXPECT_EQ("shutdown 70 SHUT_RDWR", calls.made[6]);
        EXPECT_EQ("close 70", calls.made[7]);
        EXPECT_EQ(-1, socket.fd);
    }
}

TEST_F(SocketCalls, InterfaceWithoutAnAddressCountsAs0)
{
    for (const int error : {EADDRNOTAVAIL, ENODEV}) {
        socket.fd = -1;
        calls.nextDescriptor = 70;
        calls.failing = {{"ioctl 71 SIOCGIFADDR eth0 AF_INET", error}};
        EXPECT_TRUE(Open(SocketV4::TypeMulticast));
        ASSERT_EQ(6u, calls.made.size());
        EXPECT_EQ("close 71", calls.made[4]);
        EXPECT_EQ("setsockopt 70 IP_MULTICAST_IF 0.0.0.0", calls.made[5]);
    }
}

TEST_F(SocketCalls, GetMyAddresTurnsTheReplyIntoHostOrder)
{
    EXPECT_EQ(0x0A090807ul, Watched([] { return SocketV4::GetMyAddres(); }));
    EXPECT_EQ(
        (CallList{"socket AF_INET SOCK_DGRAM 0", "ioctl 70 SIOCGIFADDR eth0 AF_INET", "close 70"}),
        calls.made);
}

TEST_F(SocketCalls, GetMyAddresIs0WithoutASocket)
{
    calls.failing = {{"socket AF_INET SOCK_DGRAM 0", EMFILE}};
    EXPECT_EQ(0ul, Watched([] { return SocketV4::GetMyAddres(); }));
    EXPECT_EQ(CallList{"socket AF_INET SOCK_DGRAM 0"}, calls.made); // and -1 is not closed
}

TEST_F(SocketCalls, BindOfAStreamTakesThePortOfAllInterfaces)
{
    Opened(SocketV4::TypeTcp);
    EXPECT_TRUE(Bind(0x1234, 0xEF010203));
    EXPECT_EQ((CallList{"setsockopt 70 SO_REUSEADDR 1", "bind 70 0.0.0.0:4660"}), calls.made);
    EXPECT_EQ(0x1234, socket.port);
}

TEST_F(SocketCalls, BindForBroadcastsAllowsThemOnceMore)
{
    Opened(SocketV4::TypeBroadcast);
    EXPECT_TRUE(Bind(4711, 0xEF010203));
    const CallList expected{"setsockopt 70 SO_REUSEADDR 1", "bind 70 0.0.0.0:4711",
                            "setsockopt 70 SO_BROADCAST 1"};
    EXPECT_EQ(expected, calls.made);
    calls.failing = {{"setsockopt 70 SO_BROADCAST 1", EINVAL},
                     {"setsockopt 70 SO_REUSEADDR 1", EINVAL}};
    EXPECT_TRUE(Bind(4711, 0)); // neither answer counts
    EXPECT_EQ(expected, calls.made);
}

TEST_F(SocketCalls, BindForMulticastsJoinsTheGroup)
{
    Opened(SocketV4::TypeMulticast);
    EXPECT_TRUE(Bind(4711, 0xEF010203));
    EXPECT_EQ((CallList{"setsockopt 70 SO_REUSEADDR 1", "bind 70 0.0.0.0:4711",
                        "setsockopt 70 IP_ADD_MEMBERSHIP 239.1.2.3 0.0.0.0"}),
              calls.made);
}

TEST_F(SocketCalls, RefusedPortIsNotRememberedAndNothingFollows)
{
    Opened(SocketV4::TypeMulticast);
    ASSERT_TRUE(Bind(4711, 0xEF010203));
    for (const int error : {EACCES, EADDRINUSE, EADDRNOTAVAIL, EBADF, EINVAL, ENOTSOCK}) {
        calls.failing = {{"bind 70 0.0.0.0:4712", error}};
        EXPECT_FALSE(Bind(4712, 0xEF010203));
        EXPECT_EQ("bind 70 0.0.0.0:4712", calls.made.back());
        EXPECT_EQ(4711, socket.port);
        EXPECT_EQ(70, socket.fd);
    }
}

TEST_F(SocketCalls, RefusedMembershipKeepsThePortAndTheSocket)
{
    Opened(SocketV4::TypeMulticast);
    for (const int error : {EADDRINUSE, EINVAL, ENOBUFS, ENODEV}) {
        socket.port = 0;
        calls.failing = {{"setsockopt 70 IP_ADD_MEMBERSHIP 239.1.2.3 0.0.0.0", error}};
        EXPECT_FALSE(Bind(4711, 0xEF010203));
        EXPECT_EQ(4711, socket.port);
        EXPECT_EQ(70, socket.fd);
    }
}

TEST_F(SocketCalls, SendIsOneCallWithTheWholeRange)
{
    Opened(SocketV4::TypeBroadcast);
    EXPECT_TRUE(Send("all of it"));
    EXPECT_EQ(CallList{"sendto 70 \"all of it\" 0 192.168.0.1:4711"}, calls.made);
    EXPECT_TRUE(Send(""));
    EXPECT_EQ(CallList{"sendto 70 \"\" 0 192.168.0.1:4711"}, calls.made);
}

TEST_F(SocketCalls, ShortSendIsAFailure)
{
    Opened(SocketV4::TypeBroadcast);
    for (const ssize_t sent : {0, 1, 8}) {
        calls.sent = sent;
        EXPECT_FALSE(Send("all of it"));
        EXPECT_EQ(1u, calls.made.size()); // and is not tried again
    }
}

TEST_F(SocketCalls, FailedSendIsAFailure)
{
    Opened(SocketV4::TypeBroadcast);
    for (const int error : {EACCES, EAGAIN, EBADF, EHOSTUNREACH, EINTR, EINVAL, EMSGSIZE, ENETDOWN,
                            ENETUNREACH, ENOBUFS, ENOMEM, ENOTCONN, EPERM, EPIPE}) {
        calls.failing = {{"sendto 70 \"x\" 0 192.168.0.1:4711", error}};
        EXPECT_FALSE(Send("x"));
        EXPECT_EQ(1u, calls.made.size());
    }
}

TEST_F(SocketCalls, ReceiveIsOneCallForAtMost1500Bytes)
{
    Opened(SocketV4::TypeBroadcast);
    calls.datagram = "four";
    calls.received = 4;
    EXPECT_TRUE(Receive());
    EXPECT_EQ(CallList{"recvfrom 70 1500 0 16"}, calls.made);
    EXPECT_EQ("four", std::string(reinterpret_cast<const char*>(data.Begin()), data.Length()));
    EXPECT_EQ(0xC0A80002ul, address);
    EXPECT_EQ(0x1234, port);
}

TEST_F(SocketCalls, BorrowedRangeIsLeftAloneAndNotReceivedInto)
{
    Opened(SocketV4::TypeBroadcast);
    calls.datagram = "four";
    calls.received = 4;
    for (const unsigned long length : {1ul, 1500ul, 4000ul}) {
        std::vector<unsigned char> lent(length, 0xEE);
        Buffer borrower;
        borrower.Replace(lent.data(), length);
        EXPECT_TRUE(Watched([&] { return socket.ReceiveFrom(borrower, address, port); }));
        EXPECT_EQ(4ul, borrower.Length());
        EXPECT_NE(lent.data(), borrower.Begin());
        EXPECT_EQ(static_cast<long>(length), std::count(lent.begin(), lent.end(), 0xEE));
    }
}

TEST_F(SocketCalls, AddressesBeyond32BitsAreCutToTheirLowBits)
{
    if (sizeof(unsigned long) == 4)
        GTEST_SKIP() << "unsigned long has 32 bits here";
    Opened(SocketV4::TypeBroadcast);
    const unsigned long above = static_cast<unsigned long>(0x700000000ull);
    Watched([&] { return socket.SendTo(BufferBase::Zero, above + 0xC0A80001, 4711); });
    EXPECT_EQ(CallList{"sendto 70 \"\" 0 192.168.0.1:4711"}, calls.made);
}

TEST_F(SocketCalls, ReceivedLengthsOutsideTheLimitsAreFailures)
{
    Opened(SocketV4::TypeBroadcast);
    for (const ssize_t received : {0, 1501, 65536}) {
        calls.received = received;
        EXPECT_FALSE(Receive()) << received;
        EXPECT_EQ(1500ul, data.Length());
        EXPECT_EQ(5ul, address);
        EXPECT_EQ(6, port);
    }
    calls.received = 1500;
    EXPECT_TRUE(Receive());
    EXPECT_EQ(1500ul, data.Length());
}

TEST_F(SocketCalls, FailedReceiveIsAFailureAndNotTriedAgain)
{
    Opened(SocketV4::TypeBroadcast);
    for (const int error : {EAGAIN, EBADF, ECONNREFUSED, EINTR, EINVAL, ENOMEM, ENOTCONN}) {
        calls.failing = {{"recvfrom 70 1500 0 16", error}};
        EXPECT_FALSE(Receive());
        EXPECT_EQ(1u, calls.made.size());
        EXPECT_EQ(1500ul, data.Length());
        EXPECT_EQ(5ul, address);
    }
}

TEST_F(SocketCalls, TimeoutIsRoundedUpToTicksAndSplit)
{
    const std::uint32_t old = Clock::MinimumClock;
    Clock::MinimumClock = 10; // 100 ticks a second
    Opened(SocketV4::TypeBroadcast);
    calls.readable = false;
    EXPECT_EQ(0, Receive(0));
    EXPECT_EQ(CallList{"select 71 70, 0 s 0 us"}, calls.made);
    EXPECT_EQ(0, Receive(1));
    EXPECT_EQ(CallList{"select 71 70, 0 s 10000 us"}, calls.made);
    EXPECT_EQ(0, Receive(991));
    EXPECT_EQ(CallList{"select 71 70, 1 s 0 us"}, calls.made);
    EXPECT_EQ(0, Receive(61234));
    EXPECT_EQ(CallList{"select 71 70, 61 s 240000 us"}, calls.made);
    EXPECT_EQ(0, Receive(4294967280u));
    EXPECT_EQ(CallList{"select 71 70, 4294967 s 280000 us"}, calls.made);
    Clock::MinimumClock = old;
    EXPECT_EQ(0ul, data.Length()); // nothing was received, nothing is touched
}

TEST_F(SocketCalls, ReadyDescriptorIsReceivedFrom)
{
    Opened(SocketV4::TypeBroadcast);
    calls.datagram = "x";
    calls.received = 1;
    EXPECT_EQ(1, Receive(0));
    EXPECT_EQ((CallList{"select 71 70, 0 s 0 us", "recvfrom 70 1500 0 16"}), calls.made);
    calls.failing = {{"recvfrom 70 1500 0 16", ECONNREFUSED}};
    EXPECT_EQ(2, Receive(0));
}

TEST_F(SocketCalls, FailedSelectCountsAsReady)
{
    Opened(SocketV4::TypeBroadcast);
    calls.readable = false;
    calls.datagram = "x";
    calls.received = 1;
    for (const int error : {EBADF, EINTR, EINVAL, ENOMEM}) {
        calls.failing = {{"select 71 70, 0 s 0 us", error}};
        EXPECT_EQ(1, Receive(0));
        EXPECT_EQ((CallList{"select 71 70, 0 s 0 us", "recvfrom 70 1500 0 16"}), calls.made);
        EXPECT_TRUE(Watched([&] { return socket.ReceiveCheck(); }));
    }
}

TEST_F(SocketCalls, ReceiveCheckPollsAndTakesNothing)
{
    Opened(SocketV4::TypeBroadcast);
    EXPECT_TRUE(Watched([&] { return socket.ReceiveCheck(); }));
    EXPECT_EQ(CallList{"select 71 70, 0 s 0 us"}, calls.made);
    calls.readable = false;
    EXPECT_FALSE(Watched([&] { return socket.ReceiveCheck(); }));
}

TEST_F(SocketCalls, ClosedSocketIsAnsweredWithoutSelect)
{
    calls.failing = {{"recvfrom -1 1500 0 16", EBADF}};
    EXPECT_TRUE(Watched([&] { return socket.ReceiveCheck(); }));
    EXPECT_TRUE(calls.made.empty());
    EXPECT_EQ(2, Receive(100));
    EXPECT_EQ(CallList{"recvfrom -1 1500 0 16"}, calls.made);
}

TEST_F(SocketCalls, ShutdownTellsWhetherItFailed)
{
    Opened(SocketV4::TypeBroadcast);
    EXPECT_TRUE(Watched([&] { return socket.Shutdown(); }));
    EXPECT_EQ(CallList{"shutdown 70 SHUT_RDWR"}, calls.made);
    for (const int error : {EBADF, EINVAL, ENOTCONN, ENOTSOCK}) {
        calls.failing = {{"shutdown 70 SHUT_RDWR", error}};
        EXPECT_FALSE(Watched([&] { return socket.Shutdown(); }));
        EXPECT_EQ(70, socket.fd);
    }
}

TEST_F(SocketCalls, CloseShutsDownFirstAndNeverComesBack)
{
    const CallList expected{"shutdown 70 SHUT_RDWR", "close 70"};
    for (const bool fails : {false, true}) {
        calls = Calls();
        Opened(SocketV4::TypeBroadcast);
        if (fails)
            calls.failing = {{"shutdown 70 SHUT_RDWR", ENOTCONN}, {"close 70", EINTR}};
        const auto close = [&] {
            socket.Close();
            return true;
        };
        Watched(close);
        EXPECT_EQ(expected, calls.made);
        EXPECT_EQ(-1, socket.fd);
        Watched(close);
        EXPECT_TRUE(calls.made.empty());
    }
}

TEST_F(SocketCalls, DestructorCloses)
{
    Watched([] {
        SocketV4 inner;
        return inner.Open(SocketV4::TypeTcp);
    });
    ASSERT_EQ(4u, calls.made.size());
    EXPECT_EQ("shutdown 70 SHUT_RDWR", calls.made[2]);
    EXPECT_EQ("close 70", calls.made[3]);
}
