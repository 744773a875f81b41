/// Sockets that listen.
#pragma once

#include <string>
#include <vector>

#include "server.h"

namespace qvcmsd {

/// The sockets that systemd hands over.
std::vector<Listener> HandedOverListeners();

/// Listens on "ADDR:PORT", "[ADDR]:PORT"; port 0 is one that is free. Throws `std::runtime_error`.
Listener ListenOn(const std::string& address);

/// Whether only this machine can reach the socket.
bool IsLoopback(const Listener& listener);

}  // namespace qvcmsd
