// SPDX-License-Identifier: MIT
#include <ORVEX/Socket.h>

#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <new>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace ORVEX {

namespace {

const char Interface[] = "eth0";
const unsigned long ReceiveLimit = 1500; // bytes; the payload of one Ethernet frame

in_addr NetworkAddress(unsigned long address)
{
    in_addr result;
    result.s_addr = htonl(static_cast<std::uint32_t>(address));
    return result;
}

sockaddr_in SocketAddress(unsigned long address, unsigned short port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr = NetworkAddress(address);
    return result;
}

template <class T> bool SetOption(int fd, int level, int option, const T& value)
{
    return setsockopt(fd, level, option, &value, sizeof value) != -1;
}

bool AllowBroadcast(int fd) { return SetOption(fd, SOL_SOCKET, SO_BROADCAST, 1); }

int SocketKind(SocketV4::Type type)
{
    static const int Kinds[] = {SOCK_STREAM, SOCK_DGRAM, SOCK_DGRAM};
    const std::uint32_t at = static_cast<std::uint32_t>(type);
    return at < sizeof Kinds / sizeof *Kinds ? Kinds[at] : 0;
}

/// What select is to watch: one descriptor. A plain fd_set ends at descriptor 1023, so the bits
/// are laid out here, as many words as the descriptor needs.
class ReadSet {
public:
    explicit ReadSet(int descriptor)
        : fd(descriptor), at(static_cast<unsigned long>(fd) / WordBits),
          mask(1ul << (static_cast<unsigned long>(fd) % WordBits)),
          words(at < FewWords ? few : new (std::nothrow) unsigned long[at + 1]())
    {
        if (words)
            words[at] = mask;
    }
    ~ReadSet()
    {
        if (words != few)
            delete[] words;
    }
    ReadSet(const ReadSet&) = delete;
    ReadSet& operator=(const ReadSet&) = delete;

    /// Waits until the descriptor is readable or the time is over. The call's own result does not
    /// count: when it fails it leaves the bit as it was set. A set that could not be had is
    /// answered in the same way.
    bool Wait(timeval time)
    {
        if (!words)
            return true;
        select(fd + 1, reinterpret_cast<fd_set*>(words), nullptr, nullptr, &time);
        return (words[at] & mask) != 0;
    }

private:
    static const unsigned long WordBits = 8 * sizeof(unsigned long);
    static const unsigned long FewWords = FD_SETSIZE / WordBits;

    int fd;
    unsigned long at;   // the word that holds the descriptor's bit
    unsigned long mask; // the bit in that word
    unsigned long few[FewWords] = {};
    unsigned long* words; // the set: `few`, or an owned array; null when that could not be had
};

bool Readable(int fd, std::uint32_t milliseconds)
{
    if (fd < 0) // no set has a bit for it; select would have failed
        return true;
    timeval time;
    time.tv_sec = milliseconds / 1000;
    time.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    return ReadSet(fd).Wait(time);
}

} // namespace

SocketV4::Reset SocketV4::SockInit;

SocketV4::Reset::Reset() {}

SocketV4::Reset::~Reset() {}

SocketV4::~SocketV4() { Close(); }

bool SocketV4::Open(Type kind)
{
    Close();
    fd = socket(AF_INET, SocketKind(kind), 0);
    if (fd == -1)
        return false;
    AllowBroadcast(fd);
    type = kind;
    bool ready = true;
    if (type == TypeBroadcast) {
        ready = AllowBroadcast(fd);
        int nonBlocking = 0;
        if (ready)
            ioctl(fd, FIONBIO, &nonBlocking);
    } else if (type == TypeMulticast) {
        ready = SetOption(fd, IPPROTO_IP, IP_MULTICAST_IF, NetworkAddress(GetMyAddres()));
    }
    if (!ready)
        Close();
    return ready;
}

bool SocketV4::Bind(unsigned short portNumber, unsigned long group)
{
    SetOption(fd, SOL_SOCKET, SO_REUSEADDR, 1);
    const sockaddr_in any = SocketAddress(INADDR_ANY, portNumber);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) == -1)
        return false;
    port = portNumber;
    if (type == TypeBroadcast)
        AllowBroadcast(fd);
    if (type != TypeMulticast)
        return true;
    ip_mreq membership;
    membership.imr_multiaddr = NetworkAddress(group);
    membership.imr_interface = NetworkAddress(INADDR_ANY);
    return SetOption(fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership);
}

bool SocketV4::SendTo(const BufferBase& data, unsigned long address, unsigned short portNumber)
{
    const sockaddr_in to = SocketAddress(address, portNumber);
    const ssize_t sent = sendto(fd, data.Begin(), data.Length(), 0,
                                reinterpret_cast<const sockaddr*>(&to), sizeof to);
    return sent != -1 && static_cast<unsigned long>(sent) == data.Length();
}

bool SocketV4::ReceiveFrom(Buffer& data, unsigned long& address, unsigned short& portNumber)
{
    // Without a block the range is lent, or what a refused request left of it: a datagram is
    // received into neither.
    if (data.Capacity() == 0)
        data.Replace(nullptr, 0);
    data.ResizeNoCopy(ReceiveLimit);
    sockaddr_in from = {};
    socklen_t fromLength = sizeof from;
    const ssize_t received = recvfrom(fd, data.Begin(), ReceiveLimit, 0,
                                      reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (received <= 0 || static_cast<unsigned long>(received) > ReceiveLimit)
        return false;
    address = ntohl(from.sin_addr.s_addr);
    portNumber = ntohs(from.sin_port);
    data.Resize(static_cast<unsigned long>(received));
    return true;
}

int SocketV4::ReceiveFrom(Buffer& data, unsigned long& address, unsigned short& portNumber,
                          Clock& timeout)
{
    if (!Readable(fd, timeout.GetRoundupSystemClock().Get()))
        return 0;
    return ReceiveFrom(data, address, portNumber) ? 1 : 2;
}

bool SocketV4::ReceiveCheck() { return Readable(fd, 0); }

bool SocketV4::Shutdown() { return shutdown(fd, SHUT_RDWR) != -1; }

void SocketV4::Close()
{
    if (fd == -1)
        return;
    Shutdown();
    close(fd);
    fd = -1;
}

unsigned long SocketV4::InetAdder(const String& text)
{
    in_addr address;
    if (inet_pton(AF_INET, text.CStr(), &address) != 1)
        return 0;
    return ntohl(address.s_addr);
}

unsigned long SocketV4::GetMyAddres()
{
    const int query = socket(AF_INET, SOCK_DGRAM, 0);
    if (query == -1)
        return 0;
    ifreq request = {};
    std::strncpy(request.ifr_name, Interface, IFNAMSIZ - 1);
    request.ifr_addr.sa_family = AF_INET;
    const bool answered = ioctl(query, SIOCGIFADDR, &request) != -1;
    close(query);
    if (!answered)
        return 0;
    sockaddr_in own;
    std::memcpy(&own, &request.ifr_addr, sizeof own);
    return ntohl(own.sin_addr.s_addr);
}

} // namespace ORVEX
