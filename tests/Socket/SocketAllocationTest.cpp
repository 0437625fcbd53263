// SPDX-License-Identifier: MIT
#include "OpenSocket.h"
#include "SystemLimits.h"

#include "Support/FailingNew.h"
#include "Support/Raised.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Clock;
using ORVEX::Err;
using ORVEX::SocketV4;

namespace {

const unsigned long Loopback = 0x7F000001;

/// A socket on a port of the system's choice that has sent itself one byte, if there is a loopback
/// interface to do it.
class Self : public OpenSocket {
public:
    Self() { usable = Open(TypeBroadcast) && Bind(0, 0) && ReadPort(); }

    bool SendOne()
    {
        unsigned char byte = 'x';
        return usable && SendTo(BufferBase(&byte, 1), Loopback, port);
    }

private:
    bool ReadPort()
    {
        sockaddr_in own = {};
        socklen_t length = sizeof own;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&own), &length) != 0)
            return false;
        port = ntohs(own.sin_port);
        return true;
    }

    bool usable = false;
};

} // namespace

TEST(SocketV4, ReceiveRaisesBeforeItTakesTheDatagram)
{
    Self socket;
    if (!socket.SendOne())
        GTEST_SKIP() << "127.0.0.1 cannot be reached here";
    Buffer data;
    unsigned long address = 5;
    unsigned short port = 6;
    const Err err = Raised([&] {
        FailingNew failing;
        socket.ReceiveFrom(data, address, port);
    });
    EXPECT_STREQ("src/Buffer/Buffer", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(1500, err.data);
    EXPECT_EQ(5ul, address);
    EXPECT_TRUE(socket.ReceiveFrom(data, address, port)); // it is still there
    EXPECT_EQ(1ul, data.Length());
    EXPECT_EQ(Loopback, address);
    EXPECT_EQ(socket.port, port);
}

TEST(SocketV4, FailedShrinkKeepsTheDatagram)
{
    Self socket;
    if (!socket.SendOne())
        GTEST_SKIP() << "127.0.0.1 cannot be reached here";
    Buffer data;
    unsigned long address = 0;
    unsigned short port = 0;
    const Err err = Raised([&] {
        FailingNew failing(2);
        socket.ReceiveFrom(data, address, port);
    });
    EXPECT_STREQ("src/Buffer/Buffer", err.file);
    EXPECT_EQ(Err::ERR_MEMORY, err.code);
    EXPECT_EQ(128, err.data);
    EXPECT_EQ(Loopback, address);
    EXPECT_EQ(socket.port, port);
    EXPECT_EQ(1500ul, data.Length());
    EXPECT_EQ('x', data[0]);
}

TEST(SocketV4, ReceiveAfterARefusedRequestTakesABlockOfItsOwn)
{
    Self socket;
    if (!socket.SendOne())
        GTEST_SKIP() << "127.0.0.1 cannot be reached here";
    Buffer data;
    data.Resize(1500);
    Raised([&] {
        FailingNew failing;
        data.ResizeNoCopy(4000);
    });
    ASSERT_EQ(1500ul, data.Length()); // bytes that are gone
    unsigned long address = 0;
    unsigned short port = 0;
    EXPECT_TRUE(socket.ReceiveFrom(data, address, port));
    EXPECT_EQ(1ul, data.Length());
    EXPECT_EQ('x', data[0]);
}

TEST(SocketV4, NothingButTheBufferTakesMemory)
{
    SocketV4 socket;
    const long before = AllocationsSoFar();
    ASSERT_TRUE(socket.Open(SocketV4::TypeBroadcast));
    ASSERT_TRUE(socket.Bind(0, 0));
    socket.ReceiveCheck();
    SocketV4::GetMyAddres();
    socket.Close();
    EXPECT_EQ(before, AllocationsSoFar());
}

TEST(SocketV4, SetThatCannotBeHadCountsAsAFailedSelect)
{
    if (!SelectsFrom1024())
        GTEST_SKIP() << "the system's select ends at descriptor 1023";
    rlimit limit;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    Self socket;
    const int low = socket.fd;
    socket.fd = dup2(low, 1100);
    ASSERT_EQ(1100, socket.fd);
    close(low);
    EXPECT_FALSE(socket.ReceiveCheck());
    const long blocks = LiveBlocks();
    {
        FailingNew failing;
        EXPECT_TRUE(socket.ReceiveCheck());
        EXPECT_TRUE(failing.Hit());
    }
    EXPECT_EQ(blocks, LiveBlocks());
}
