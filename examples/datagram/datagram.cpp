// SPDX-License-Identifier: MIT
// Sends a text as one datagram, or waits for one and prints it with its sender.
//
//   datagram send ADDRESS PORT TEXT
//   datagram receive PORT MILLISECONDS [GROUP]
//
// ADDRESS may be a host's, a broadcast address or a group from 224.0.0.0 to 239.255.255.255. The
// result is 0 when the datagram went out or came in, 1 when it did not, 2 for a wrong call.
#include <ORVEX/Socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

using ORVEX::Buffer;
using ORVEX::BufferBase;
using ORVEX::Clock;
using ORVEX::SocketV4;
using ORVEX::String;

namespace {

unsigned short Port(const char* text)
{
    return static_cast<unsigned short>(std::strtoul(text, nullptr, 10));
}

unsigned long Address(const char* text) { return SocketV4::InetAdder(String::ChangeCharStr(text)); }

bool IsGroup(unsigned long address) { return address >> 28 == 0xE; }

SocketV4::Type TypeFor(unsigned long address)
{
    return IsGroup(address) ? SocketV4::TypeMulticast : SocketV4::TypeBroadcast;
}

int Fail(const char* what)
{
    std::perror(what);
    return 1;
}

int Send(unsigned long address, unsigned short port, char* text)
{
    SocketV4 socket;
    if (!socket.Open(TypeFor(address)))
        return Fail("open");
    const BufferBase data(reinterpret_cast<unsigned char*>(text), std::strlen(text));
    if (!socket.SendTo(data, address, port))
        return Fail("send");
    return 0;
}

int Receive(unsigned short port, Clock timeout, unsigned long group)
{
    SocketV4 socket;
    if (!socket.Open(TypeFor(group)))
        return Fail("open");
    if (!socket.Bind(port, group))
        return Fail("bind");
    std::puts("waiting");
    std::fflush(stdout);

    Buffer data;
    unsigned long sender = 0;
    unsigned short senderPort = 0;
    const int result = socket.ReceiveFrom(data, sender, senderPort, timeout);
    if (result == 0) {
        std::puts("nothing came");
        return 1;
    }
    if (result == 2)
        return Fail("receive");
    std::printf("%lu bytes from %lu.%lu.%lu.%lu: ", data.Length(), sender >> 24 & 0xFF,
                sender >> 16 & 0xFF, sender >> 8 & 0xFF, sender & 0xFF);
    std::fwrite(data.Begin(), 1, data.Length(), stdout);
    std::puts("");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "send") == 0)
        return Send(Address(argv[2]), Port(argv[3]), argv[4]);
    if ((argc == 4 || argc == 5) && std::strcmp(argv[1], "receive") == 0) {
        const Clock timeout(static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10)));
        return Receive(Port(argv[2]), timeout, argc == 5 ? Address(argv[4]) : 0);
    }
    std::fputs("usage: datagram send ADDRESS PORT TEXT\n"
               "       datagram receive PORT MILLISECONDS [GROUP]\n",
               stderr);
    return 2;
}
