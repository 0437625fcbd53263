// SPDX-License-Identifier: MIT
#include "OpenSocket.h"
#include "OwnNetwork.h"
#include "SystemLimits.h"

#include "Support/Descriptors.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <random>
#include <string>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Clock;
using ORVEX::SocketV4;

namespace {

const unsigned long Loopback = 0x7F000001;        // 127.0.0.1
const unsigned long Own = 0x0A090807;             // 10.9.8.7, eth0
const unsigned long NetBroadcast = 0x0A0908FF;    // 10.9.8.255
const unsigned long GlobalBroadcast = 0xFFFFFFFF; // 255.255.255.255
const unsigned long Group = 0xEF010203;           // 239.1.2.3
const unsigned short Port = 4711;

/// Long enough for any machine; no test that passes waits for it.
Clock Long() { return Clock(20000); }

BufferBase Range(std::string& bytes)
{
    return BufferBase(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
}

std::string Bytes(const BufferBase& range)
{
    return std::string(reinterpret_cast<const char*>(range.Begin()), range.Length());
}

std::string RandomBytes(std::size_t count)
{
    std::mt19937 random(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

/// A datagram socket by the system's own calls, to see what really goes over the network.
class PlainSocket {
public:
    explicit PlainSocket(unsigned short port, bool shares = true)
        : fd(socket(AF_INET, SOCK_DGRAM, 0))
    {
        const int on = 1;
        if (shares)
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        timeval limit = {20, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        const sockaddr_in any = Address(INADDR_ANY, port);
        if (bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
            ADD_FAILURE() << "port " << port << " cannot be had: " << std::strerror(errno);
    }
    ~PlainSocket() { close(fd); }
    PlainSocket(const PlainSocket&) = delete;
    PlainSocket& operator=(const PlainSocket&) = delete;

    void Send(const std::string& bytes, unsigned long address, unsigned short port)
    {
        const sockaddr_in to = Address(address, port);
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                         sizeof to));
    }

    /// "address:port:bytes" of the next datagram, the address in hexadecimal; empty without one.
    std::string Receive()
    {
        std::string bytes(70000, '\0');
        sockaddr_in from = {};
        socklen_t length = sizeof from;
        const ssize_t got =
            recvfrom(fd, &bytes[0], bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
        if (got < 0)
            return std::string();
        bytes.resize(static_cast<std::size_t>(got));
        return Label(ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)) + bytes;
    }

    static std::string Label(unsigned long address, unsigned short port)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%08lX:%u:", address, static_cast<unsigned>(port));
        return text;
    }

private:
    static sockaddr_in Address(unsigned long address, unsigned short port)
    {
        sockaddr_in result = {};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        result.sin_addr.s_addr = htonl(static_cast<std::uint32_t>(address));
        return result;
    }

    int fd;
};

/// What a timed receive got.
struct Received {
    explicit Received(SocketV4& socket, Clock timeout = Long())
        : result(socket.ReceiveFrom(data, address, port, timeout))
    {
    }

    std::string All() const { return PlainSocket::Label(address, port) + Bytes(data); }

    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    int result;
};

bool OpenAndBind(SocketV4& socket, SocketV4::Type type, unsigned short port)
{
    return socket.Open(type) && socket.Bind(port, Group);
}

/// A signal every millisecond that interrupts whatever waits.
class SignalStorm {
public:
    SignalStorm()
    {
        struct sigaction action = {};
        action.sa_handler = [](int) {}; // without SA_RESTART
        sigaction(SIGALRM, &action, &oldAction);
        Every(1000);
    }
    ~SignalStorm()
    {
        Every(0);
        sigaction(SIGALRM, &oldAction, nullptr);
    }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

private:
    static void Every(suseconds_t microseconds)
    {
        const itimerval timer = {{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction oldAction = {};
};

/// Takes descriptors until `count` are in use, so that the next one has at least that number.
class UsedDescriptors {
public:
    explicit UsedDescriptors(int count)
    {
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlim_t needed = static_cast<rlim_t>(count) + 16;
        if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < needed) {
            limit.rlim_cur = needed;
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        int fd;
        do {
            fd = open("/dev/null", O_RDONLY);
            if (fd != -1)
                taken.push_back(fd);
        } while (fd != -1 && fd < count - 1);
        reached = fd == count - 1;
    }
    ~UsedDescriptors()
    {
        for (const int fd : taken)
            close(fd);
    }
    UsedDescriptors(const UsedDescriptors&) = delete;
    UsedDescriptors& operator=(const UsedDescriptors&) = delete;

    bool Reached() const { return reached; }

private:
    std::vector<int> taken;
    bool reached = false;
};

class SocketNetwork : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string reason = EnterOwnNetwork();
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }
};

class SocketMulticast : public SocketNetwork {
protected:
    void SetUp() override
    {
        SocketNetwork::SetUp();
        if (!IsSkipped() && !TakesMulticastInterface())
            GTEST_SKIP() << "the system takes no IP_MULTICAST_IF";
    }
};

/// Takes a datagram on the descriptor `number`.
void WaitOnDescriptor(int number)
{
    const UsedDescriptors used(number);
    if (!used.Reached())
        GTEST_SKIP() << "no " << number << " descriptors can be had here";
    OpenSocket socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    EXPECT_EQ(number, socket.fd);
    EXPECT_FALSE(socket.ReceiveCheck()) << number;
    EXPECT_EQ(0, Received(socket, Clock(1)).result) << number;
    std::string bytes = "x";
    ASSERT_TRUE(socket.SendTo(Range(bytes), Own, Port));
    EXPECT_TRUE(socket.ReceiveCheck()) << number;
    EXPECT_EQ(1, Received(socket).result) << number;
    EXPECT_FALSE(socket.ReceiveCheck()) << number;
}

} // namespace

TEST_F(SocketNetwork, OwnAddressIsTheOneOfEth0) { EXPECT_EQ(Own, SocketV4::GetMyAddres()); }

TEST_F(SocketNetwork, OwnAddressIs0WhenEth0HasNone)
{
    const long before = OpenDescriptors();
    ASSERT_TRUE(Shell("ip address flush dev eth0"));
    EXPECT_EQ(0ul, SocketV4::GetMyAddres());
    ASSERT_TRUE(Shell("ip link delete eth0"));
    EXPECT_EQ(0ul, SocketV4::GetMyAddres());
    EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(SocketNetwork, SentDatagramsCarryBytesAndPortAsGiven)
{
    PlainSocket plain(Port);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, 0x1234));
    for (const std::size_t length : {1u, 2u, 1499u, 1500u, 1501u, 9000u}) {
        std::string bytes = RandomBytes(length);
        EXPECT_TRUE(socket.SendTo(Range(bytes), Own, Port));
        EXPECT_EQ(PlainSocket::Label(Own, 0x1234) + bytes, plain.Receive());
    }
    std::string bytes = "by the other way";
    EXPECT_TRUE(socket.SendTo(Range(bytes), Loopback, Port));
    EXPECT_EQ(PlainSocket::Label(Loopback, 0x1234) + bytes, plain.Receive());
}

TEST_F(SocketNetwork, EmptyRangeIsSentAsAnEmptyDatagram)
{
    PlainSocket plain(Port);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, 0x1234));
    EXPECT_TRUE(socket.SendTo(BufferBase::Zero, Own, Port));
    EXPECT_EQ(PlainSocket::Label(Own, 0x1234), plain.Receive());
}

TEST_F(SocketNetwork, ReceivedDatagramsComeWithSenderAndLength)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    for (const std::size_t length : {1u, 2u, 749u, 750u, 751u, 1499u, 1500u}) {
        const std::string bytes = RandomBytes(length);
        const std::string expected = PlainSocket::Label(Own, 0x1234) + bytes;
        plain.Send(bytes, Own, Port);
        Buffer data;
        unsigned long address = 0;
        unsigned short port = 0;
        ASSERT_TRUE(socket.ReceiveFrom(data, address, port));
        EXPECT_EQ(length, data.Length());
        EXPECT_EQ(expected, PlainSocket::Label(address, port) + Bytes(data));

        plain.Send(bytes, Own, Port);
        const Received timed(socket);
        EXPECT_EQ(1, timed.result);
        EXPECT_EQ(expected, timed.All());
    }
}

TEST_F(SocketNetwork, LongerDatagramsAreCutTo1500Bytes)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    for (const std::size_t length : {1501u, 9000u, 65507u}) {
        const std::string bytes = RandomBytes(length);
        plain.Send(bytes, Own, Port);
        plain.Send("next", Own, Port);
        const Received cut(socket);
        EXPECT_EQ(1, cut.result);
        EXPECT_EQ(PlainSocket::Label(Own, 0x1234) + bytes.substr(0, 1500), cut.All());
        EXPECT_EQ("next", Bytes(Received(socket).data)); // the rest is gone
    }
}

TEST_F(SocketNetwork, EmptyDatagramCountsAsAFailure)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    Buffer data;
    unsigned long address = 5;
    unsigned short port = 6;
    plain.Send("", Own, Port);
    EXPECT_FALSE(socket.ReceiveFrom(data, address, port));
    EXPECT_EQ(1500ul, data.Length());
    EXPECT_EQ(5ul, address);
    EXPECT_EQ(6, port);

    plain.Send("", Own, Port);
    const Received timed(socket);
    EXPECT_EQ(2, timed.result);
    EXPECT_EQ(1500ul, timed.data.Length());
    EXPECT_FALSE(socket.ReceiveCheck()); // it has been taken all the same
}

TEST_F(SocketNetwork, BuffersAreUsedAgainAndAgain)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    for (std::size_t round = 0; round < 200; ++round) {
        const std::string bytes = RandomBytes(1 + round * 37 % 1500);
        plain.Send(bytes, Own, Port);
        ASSERT_TRUE(socket.ReceiveFrom(data, address, port));
        ASSERT_EQ(bytes, Bytes(data));
    }
}

TEST_F(SocketNetwork, BroadcastsReachEverySocketOfThePort)
{
    SocketV4 sender;
    SocketV4 first;
    SocketV4 second;
    ASSERT_TRUE(OpenAndBind(sender, SocketV4::TypeBroadcast, 0x1234));
    ASSERT_TRUE(OpenAndBind(first, SocketV4::TypeBroadcast, Port));
    ASSERT_TRUE(OpenAndBind(second, SocketV4::TypeBroadcast, Port));
    for (const unsigned long address : {NetBroadcast, GlobalBroadcast}) {
        for (const std::size_t length : {1u, 1500u}) {
            std::string bytes = RandomBytes(length);
            ASSERT_TRUE(sender.SendTo(Range(bytes), address, Port));
            EXPECT_EQ(PlainSocket::Label(Own, 0x1234) + bytes, Received(first).All());
            EXPECT_EQ(PlainSocket::Label(Own, 0x1234) + bytes, Received(second).All());
        }
    }
}

TEST_F(SocketMulticast, MulticastsReachTheMembers)
{
    SocketV4 sender;
    SocketV4 first;
    SocketV4 second;
    ASSERT_TRUE(sender.Open(SocketV4::TypeMulticast));
    ASSERT_TRUE(OpenAndBind(first, SocketV4::TypeMulticast, Port));
    ASSERT_TRUE(OpenAndBind(second, SocketV4::TypeMulticast, Port));
    for (const std::size_t length : {1u, 1500u}) {
        std::string bytes = RandomBytes(length);
        ASSERT_TRUE(sender.SendTo(Range(bytes), Group, Port));
        const Received one(first);
        EXPECT_EQ(Own, one.address);
        EXPECT_EQ(bytes, Bytes(one.data));
        EXPECT_EQ(bytes, Bytes(Received(second).data));
    }
    std::string bytes = "other";
    ASSERT_TRUE(sender.SendTo(Range(bytes), Group + 1, Port));
    EXPECT_EQ(0, Received(first, Clock(50)).result); // a group that nobody has joined
}

TEST_F(SocketMulticast, MulticastsLeaveThroughEth0)
{
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeMulticast));
    in_addr address = {};
    socklen_t length = sizeof address;
    ASSERT_EQ(0, getsockopt(socket.fd, IPPROTO_IP, IP_MULTICAST_IF, &address, &length));
    EXPECT_EQ(Own, ntohl(address.s_addr));
}

TEST_F(SocketMulticast, FailedJoinLeavesTheSocketOpenAndBound)
{
    PlainSocket plain(0x1234);
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeMulticast));
    EXPECT_FALSE(socket.Bind(Port, Own)); // no group
    EXPECT_NE(-1, socket.fd);
    EXPECT_EQ(Port, socket.port);
    plain.Send("still here", Own, Port);
    EXPECT_EQ("still here", Bytes(Received(socket).data));
}

TEST_F(SocketNetwork, TakenPortIsRefusedAndNotRemembered)
{
    PlainSocket owner(Port, false);
    OpenSocket socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, 0x1234));
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    EXPECT_FALSE(socket.Bind(Port, 0));
    EXPECT_EQ(0x1234, socket.port);
    EXPECT_NE(-1, socket.fd);
    EXPECT_TRUE(socket.Bind(Port + 1, 0));
    EXPECT_EQ(Port + 1, socket.port);
}

TEST_F(SocketNetwork, RefusedSendsAnswerFalse)
{
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    std::string tooLong(65508, 'x'); // more than a datagram can hold
    EXPECT_FALSE(socket.SendTo(Range(tooLong), Own, Port));
    ASSERT_TRUE(Shell("ip route delete default"));
    std::string bytes = "x";
    EXPECT_FALSE(socket.SendTo(Range(bytes), 0xC0A80001, Port)); // no way leads there
    EXPECT_TRUE(socket.SendTo(Range(bytes), Own, Port));
}

TEST_F(SocketNetwork, StreamWithoutAPeerSendsNothing)
{
    const auto old = std::signal(SIGPIPE, SIG_IGN);
    SocketV4 socket;
    std::string bytes = "x";
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeTcp, Port));
    EXPECT_FALSE(socket.SendTo(Range(bytes), Loopback, Port));
    std::signal(SIGPIPE, old);
}

TEST_F(SocketNetwork, ShutdownOfAConnectedSocketSucceeds)
{
    OpenSocket socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    sockaddr_in self = {};
    self.sin_family = AF_INET;
    self.sin_port = htons(Port);
    self.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(0, connect(socket.fd, reinterpret_cast<const sockaddr*>(&self), sizeof self));
    EXPECT_TRUE(socket.Shutdown());
    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    EXPECT_FALSE(socket.ReceiveFrom(data, address, port)); // nothing comes any more
    EXPECT_NE(-1, socket.fd);
}

TEST_F(SocketNetwork, TimeoutOf0Polls)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    Buffer data;
    data.ResizeNoCopy(7);
    unsigned long address = 5;
    unsigned short port = 6;
    Clock none(0);
    EXPECT_EQ(0, socket.ReceiveFrom(data, address, port, none));
    EXPECT_EQ(7ul, data.Length()); // nothing has been touched
    EXPECT_EQ(5ul, address);
    EXPECT_EQ(6, port);
    plain.Send("x", Own, Port);
    EXPECT_EQ(1, socket.ReceiveFrom(data, address, port, none));
    EXPECT_EQ(0u, none.Get());
    EXPECT_EQ("x", Bytes(data));
}

TEST_F(SocketNetwork, TimeoutIsWaitedFor)
{
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    for (const unsigned milliseconds : {1u, 40u, 1050u}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(0, Received(socket, Clock(milliseconds)).result);
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_GE(waited, std::chrono::milliseconds(milliseconds));
        EXPECT_LT(waited, std::chrono::seconds(20));
    }
}

TEST_F(SocketNetwork, DatagramEndsTheWait)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        plain.Send("timed", Own, Port);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        plain.Send("blocking", Own, Port);
    });
    EXPECT_EQ("timed", Bytes(Received(socket).data));
    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    EXPECT_TRUE(socket.ReceiveFrom(data, address, port));
    EXPECT_EQ("blocking", Bytes(data));
    sender.join();
}

TEST_F(SocketNetwork, ReceiveCheckTellsWithoutTaking)
{
    PlainSocket plain(0x1234);
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    EXPECT_FALSE(socket.ReceiveCheck());
    plain.Send("x", Own, Port);
    EXPECT_TRUE(socket.ReceiveCheck());
    EXPECT_TRUE(socket.ReceiveCheck());
    EXPECT_EQ("x", Bytes(Received(socket).data));
    EXPECT_FALSE(socket.ReceiveCheck());
}

TEST_F(SocketNetwork, SignalEndsTheReceiveWithAFailure)
{
    SocketV4 socket;
    ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
    Buffer data;
    unsigned long address = 5;
    unsigned short port = 6;
    const SignalStorm storm;
    EXPECT_FALSE(socket.ReceiveFrom(data, address, port));
    EXPECT_EQ(1500ul, data.Length());
    Clock timeout = Long();
    // The interrupted wait counts as ready, and the receive behind it is interrupted as well.
    EXPECT_EQ(2, socket.ReceiveFrom(data, address, port, timeout));
    EXPECT_EQ(5ul, address);
    EXPECT_EQ(6, port);
}

TEST_F(SocketNetwork, DescriptorsAtTheEndsOfWordsAreWaitedFor)
{
    for (const int number : {31, 32, 33, 63, 64, 65, 1022, 1023})
        WaitOnDescriptor(number);
}

TEST_F(SocketNetwork, DescriptorsBehindAPlainSetAreWaitedFor)
{
    if (!SelectsFrom1024())
        GTEST_SKIP() << "the system's select ends at descriptor 1023";
    for (const int number : {1024, 1025, 1055, 1056, 1087, 1088, 3000})
        WaitOnDescriptor(number);
}

TEST_F(SocketNetwork, NoDescriptorStaysOpen)
{
    const long before = OpenDescriptors();
    {
        SocketV4 socket;
        std::string bytes = "x";
        for (int round = 0; round < 3; ++round) {
            ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeTcp, Port));
            socket.Open(SocketV4::TypeMulticast);
            socket.Bind(Port, Own); // no group
            ASSERT_TRUE(OpenAndBind(socket, SocketV4::TypeBroadcast, Port));
            EXPECT_TRUE(socket.SendTo(Range(bytes), Own, Port));
            EXPECT_EQ(1, Received(socket).result);
            EXPECT_EQ(0, Received(socket, Clock(0)).result);
            SocketV4::GetMyAddres();
        }
    }
    EXPECT_EQ(before, OpenDescriptors());
}
