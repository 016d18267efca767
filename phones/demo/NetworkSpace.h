// A network of this process's own and its children's, in which it may give interfaces
// any address, without privilege.
#pragma once

#include <string>

namespace zebphones {

class NetworkSpace {
public:
    // Leaves the machine's network. Only a process with a single thread can do so: make
    // it first of all in main. Throws std::system_error where name spaces are forbidden.
    NetworkSpace();

    // An interface ("lo:1") with this IPv4 address appears, as that of a phone's link would.
    void addInterface(const std::string& address);
    void removeInterface();

private:
    void setAddress(const std::string& address);
};

} // namespace zebphones
