// A network of this process's own and its children's, in which it may give interfaces
// any address, without privilege.
#pragma once

namespace zebphones {

class NetworkSpace {
public:
    // Leaves the machine's network. Only a process with a single thread can do so: make
    // it first of all in main. Throws std::system_error where name spaces are forbidden.
    NetworkSpace();
};

} // namespace zebphones
