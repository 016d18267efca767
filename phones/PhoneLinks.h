// The network interfaces that tethering phones bring: what matters to a host is that there is one with an
// address. For a process that has a network of its own and may change it.
#pragma once

#include <map>
#include <string>

namespace zebphones {

class PhoneLinks {
public:
    PhoneLinks() = default;
    ~PhoneLinks();
    PhoneLinks(const PhoneLinks&) = delete;
    PhoneLinks& operator=(const PhoneLinks&) = delete;

    // An interface of its own for the phone at a port, "usb0" for port 1, without an address yet: a bridge
    // without anything behind it. Its name; "lo" where the kernel makes no bridges.
    std::string make(int port);
    // The interface of the phone at a port has this IPv4 address: the one that was made, else an alias of the
    // loopback interface ("lo:PORT"). Throws std::system_error where that can't be.
    void add(int port, const std::string& address);
    void remove(int port);

private:
    std::map<int, std::string> mMade;
};

} // namespace zebphones
