// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_OPENSOCKET_H
#define ORVEX_TESTS_OPENSOCKET_H

#include <ORVEX/Socket.h>

/// A socket that shows its fields.
class OpenSocket : public ORVEX::SocketV4 {
public:
    using SocketV4::fd;
    using SocketV4::port;
    using SocketV4::type;
};

#endif
