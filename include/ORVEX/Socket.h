// SPDX-License-Identifier: MIT
#ifndef ORVEX_SOCKET_H
#define ORVEX_SOCKET_H

#include <ORVEX/Buffer.h>
#include <ORVEX/Clock.h>
#include <ORVEX/String.h>

#include <cstdint>

namespace ORVEX {

/// An IPv4 datagram socket for the local network: broadcast and multicast on the interface
/// "eth0", one whole buffer out, one datagram in.
///
/// Owns its descriptor and cannot be copied. Addresses and ports are numbers in host byte order:
/// 192.168.0.1 is 0xC0A80001. One thread at a time. Failures of the system are results, never
/// raised; only the buffer of a receive can raise. Calls are not repeated when a signal interrupts
/// them. Invariant: the descriptor is -1 exactly when the socket is closed.
class SocketV4 {
public:
    /// What the socket is for. Any other value makes a socket of the system's default kind, if the
    /// system has one.
    enum Type : std::int32_t {
        TypeTcp = 0, ///< A stream socket; nothing is set up. Without a peer SendTo gets SIGPIPE.
        TypeBroadcast = 1, ///< Datagrams, also to broadcast addresses; blocking.
        TypeMulticast = 2  ///< Datagrams; those to groups leave through "eth0".
    };

    /// The hook for what a process has to set up before its first socket: nothing here.
    class Reset {
    public:
        Reset();  ///< Does nothing.
        ~Reset(); ///< Does nothing.
    };

    static Reset SockInit; ///< Constructed and destroyed with the library.

    SocketV4() = default; ///< Closed.
    SocketV4(const SocketV4&) = delete;
    SocketV4& operator=(const SocketV4&) = delete;
    ~SocketV4(); ///< Close().

    /// Makes a new socket, after closing the one that is open.
    /// @return false when the system refuses the socket or what its type needs; it is then closed
    bool Open(Type kind);

    /// Binds the socket to a port of all interfaces, which other sockets may share (SO_REUSEADDR).
    /// @param portNumber  the port; 0 lets the system choose one
    /// @param group       address of the group that a multicast socket joins; others ignore it
    /// @return false when the port cannot be had or the group not be joined; the socket stays open,
    /// in the second case bound
    bool Bind(unsigned short portNumber, unsigned long group);

    /// Sends all bytes as one datagram. An empty range makes an empty datagram.
    /// @param data        the bytes
    /// @param address     the receiver's address; the low 32 bits count
    /// @param portNumber  the receiver's port
    /// @return whether every byte was sent
    bool SendTo(const BufferBase& data, unsigned long address, unsigned short portNumber);

    /// Waits for one datagram, however long it takes, and takes at most 1500 bytes of it; what is
    /// longer is cut.
    /// @param data        receives the bytes; after a failure it is 1500 bytes of any value long
    /// @param address     receives the sender's address; stays as it is after a failure
    /// @param portNumber  receives the sender's port; stays as it is after a failure
    /// @return false when the system fails or a signal interrupts the wait, and for an empty
    /// datagram
    /// @throws Err  ERR_MEMORY from src/Buffer/Buffer: data 1500 before anything is received, or
    /// the size of the block to which the buffer should have shrunk; it then has 1500 bytes, and
    /// the datagram is in the first of them
    bool ReceiveFrom(Buffer& data, unsigned long& address, unsigned short& portNumber);

    /// The same, but waits at most `timeout`, rounded up to whole system ticks; 0 does not wait.
    ///
    /// Only the descriptor's readiness decides: a wait that fails, for one because a signal
    /// interrupts it, counts as ready, and the receive that follows may block.
    /// @return 0 when the time is over, 1 when a datagram was received, 2 when there was one but
    /// the receive failed, which includes the empty one and the closed socket
    /// @throws Err  as the other ReceiveFrom
    int ReceiveFrom(Buffer& data, unsigned long& address, unsigned short& portNumber,
                    Clock& timeout);

    /// Whether a datagram is waiting, without waiting for one. True as well when the system cannot
    /// tell, as for a closed socket.
    bool ReceiveCheck();

    /// Ends sending and receiving; the descriptor stays.
    /// @return false when the system refuses, as it does for a socket without a peer
    bool Shutdown();

    void Close(); ///< Shutdown() and release of the descriptor; nothing on a closed socket.

    /// Reads an address like "192.168.0.1".
    /// @return the address; 0 when the text is anything else
    static unsigned long InetAdder(const String& text);

    /// The address of the interface "eth0".
    /// @return 0 when there is no such interface or it has no address
    static unsigned long GetMyAddres();

protected:
    std::int32_t fd = -1;   ///< Owned descriptor; -1 when closed.
    Type type = TypeTcp;    ///< Of the last Open that got a socket.
    std::uint16_t port = 0; ///< Of the last Bind that got its port.
};

} // namespace ORVEX

#endif
