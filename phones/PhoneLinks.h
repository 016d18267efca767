// The network interfaces that tethering phones bring, played by aliases of the loopback
// interface: what matters to a host is that there is one with an address. For a process
// that has a network of its own and may change it.
#pragma once

#include <string>

namespace zebphones {

class PhoneLinks {
public:
    // The interface of the phone at a port appears ("lo:PORT") with this IPv4 address.
    // Throws std::system_error where it can't be made.
    void add(int port, const std::string& address);
    void remove(int port);
};

} // namespace zebphones
