// SPDX-License-Identifier: MIT
#ifndef ORVEX_TESTS_OWNNETWORK_H
#define ORVEX_TESTS_OWNNETWORK_H

#include <string>

/// Moves the process into a new network namespace, from which nothing gets out, and gives it an
/// interface "eth0" with the address 10.9.8.7/24 that takes broadcasts and every route, and
/// "lo" with 127.0.0.1. Each call makes another one; sockets stay in the one in which they were
/// opened.
/// @return why that cannot be done here; empty when it is done
std::string EnterOwnNetwork();

/// Runs a command of the shell, without its output.
/// @return whether it succeeded
bool Shell(const std::string& command);

#endif
