// SPDX-License-Identifier: MIT
#include "OpenSocket.h"
#include "SystemLimits.h"

#include "Support/Descriptors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <type_traits>

using ORVEX::Buffer;
using ORVEX::Clock;
using ORVEX::SocketV4;
using ORVEX::String;

static_assert(!std::is_copy_constructible<SocketV4>::value, "a descriptor has one owner");
static_assert(!std::is_copy_assignable<SocketV4>::value, "a descriptor has one owner");
static_assert(!std::is_polymorphic<SocketV4>::value, "no virtual operations");
static_assert(sizeof(SocketV4) == 12, "three fields, the last of 16 bits");
static_assert(std::is_same<decltype(OpenSocket::fd), std::int32_t>::value, "32 bits, signed");
static_assert(std::is_same<decltype(OpenSocket::port), std::uint16_t>::value, "16 bits, unsigned");
static_assert(std::is_empty<SocketV4::Reset>::value, "a hook and nothing else");
static_assert(std::is_same<decltype(SocketV4::SockInit), SocketV4::Reset>::value, "one instance");

namespace {

unsigned long Address(const char* text) { return SocketV4::InetAdder(String::ChangeCharStr(text)); }

int IntOption(const OpenSocket& socket, int option)
{
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt(socket.fd, SOL_SOCKET, option, &value, &length);
    return value;
}

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

} // namespace

TEST(SocketV4, TypesHaveTheirNumbers)
{
    EXPECT_EQ(0, SocketV4::TypeTcp);
    EXPECT_EQ(1, SocketV4::TypeBroadcast);
    EXPECT_EQ(2, SocketV4::TypeMulticast);
}

TEST(SocketV4, FieldsStandInOrder)
{
    const OpenSocket socket;
    const char* const start = reinterpret_cast<const char*>(&socket);
    EXPECT_EQ(start, reinterpret_cast<const char*>(&socket.fd));
    EXPECT_EQ(start + 4, reinterpret_cast<const char*>(&socket.type));
    EXPECT_EQ(start + 8, reinterpret_cast<const char*>(&socket.port));
}

TEST(SocketV4, StartsClosed)
{
    const long before = OpenDescriptors();
    const OpenSocket socket;
    EXPECT_EQ(-1, socket.fd);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SocketV4, InetAdderReadsDottedQuads)
{
    EXPECT_EQ(3232235521ul, Address("192.168.0.1"));
    EXPECT_EQ(0xC0A80001ul, Address("192.168.0.1"));
    EXPECT_EQ(0x01020304ul, Address("1.2.3.4"));
    EXPECT_EQ(0x7F000001ul, Address("127.0.0.1"));
    EXPECT_EQ(0xFFFFFFFFul, Address("255.255.255.255"));
    EXPECT_EQ(0ul, Address("0.0.0.0"));
}

TEST(SocketV4, InetAdderAnswersOtherTextWith0)
{
    for (const char* text :
         {"abc", "", " ", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.4 ", " 1.2.3.4", "1.2.3.-4",
          "0x7F.0.0.1", "1.2.3.4x", "::1", "localhost", "1..2.3", "\xFF\xFE", "16909060"})
        EXPECT_EQ(0ul, Address(text)) << text;
}

TEST(SocketV4, EveryOperationOfAClosedSocketAnswers)
{
    OpenSocket socket;
    Buffer data;
    unsigned long address = 5;
    unsigned short port = 6;
    Clock none(0);
    Clock some(50);
    socket.Close();
    EXPECT_FALSE(socket.Shutdown());
    EXPECT_FALSE(socket.Bind(0, 0));
    EXPECT_FALSE(socket.SendTo(data, 0x7F000001, 9));
    EXPECT_FALSE(socket.ReceiveFrom(data, address, port));
    EXPECT_EQ(1500ul, data.Length());
    EXPECT_EQ(2, socket.ReceiveFrom(data, address, port, none)); // as if select had failed
    EXPECT_EQ(2, socket.ReceiveFrom(data, address, port, some));
    EXPECT_TRUE(socket.ReceiveCheck());
    EXPECT_EQ(5ul, address);
    EXPECT_EQ(6, port);
    EXPECT_EQ(-1, socket.fd);
}

TEST(SocketV4, OpenMakesTheKindOfItsType)
{
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeTcp));
    EXPECT_EQ(SocketV4::TypeTcp, socket.type);
    EXPECT_EQ(SOCK_STREAM, IntOption(socket, SO_TYPE));
    EXPECT_NE(0, IntOption(socket, SO_BROADCAST));
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    EXPECT_EQ(SocketV4::TypeBroadcast, socket.type);
    EXPECT_EQ(SOCK_DGRAM, IntOption(socket, SO_TYPE));
    EXPECT_NE(0, IntOption(socket, SO_BROADCAST));
    EXPECT_EQ(0, fcntl(socket.fd, F_GETFL) & O_NONBLOCK);
}

TEST(SocketV4, OpenForMulticastsMakesADatagramSocket)
{
    if (!TakesMulticastInterface())
        GTEST_SKIP() << "the system takes no IP_MULTICAST_IF";
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeMulticast));
    EXPECT_EQ(SocketV4::TypeMulticast, socket.type);
    EXPECT_EQ(SOCK_DGRAM, IntOption(socket, SO_TYPE));
    EXPECT_NE(0, IntOption(socket, SO_BROADCAST));
}

TEST(SocketV4, OpenClosesTheOldDescriptorFirst)
{
    OpenSocket socket;
    const long before = OpenDescriptors();
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    const int old = socket.fd;
    ASSERT_TRUE(socket.Open(SocketV4::TypeTcp));
    EXPECT_EQ(old, socket.fd); // the lowest free number again
    EXPECT_EQ(before + 1, OpenDescriptors());
    socket.Close();
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SocketV4, RefusedTypeLeavesTheSocketClosed)
{
    OpenSocket socket;
    const long before = OpenDescriptors();
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    EXPECT_FALSE(socket.Open(static_cast<SocketV4::Type>(3))); // no default kind for IPv4 on Linux
    EXPECT_EQ(-1, socket.fd);
    EXPECT_EQ(SocketV4::TypeBroadcast, socket.type);
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SocketV4, CloseReleasesTheDescriptorOnce)
{
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    const int fd = socket.fd;
    EXPECT_TRUE(IsOpen(fd));
    socket.Close();
    EXPECT_EQ(-1, socket.fd);
    EXPECT_FALSE(IsOpen(fd));
    const int other = open("/dev/null", O_RDONLY);
    EXPECT_EQ(fd, other);
    socket.Close(); // a second time it closes nothing
    EXPECT_TRUE(IsOpen(other));
    close(other);
}

TEST(SocketV4, DestructorCloses)
{
    const long before = OpenDescriptors();
    {
        SocketV4 socket;
        ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
        EXPECT_EQ(before + 1, OpenDescriptors());
    }
    EXPECT_EQ(before, OpenDescriptors());
}

TEST(SocketV4, ShutdownOfASocketWithoutAPeerIsRefused)
{
    OpenSocket socket;
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    EXPECT_FALSE(socket.Shutdown());
    EXPECT_TRUE(IsOpen(socket.fd));
}

TEST(SocketV4, GetMyAddresLeavesNoDescriptorOpen)
{
    const long before = OpenDescriptors();
    SocketV4::GetMyAddres();
    EXPECT_EQ(before, OpenDescriptors());
}
