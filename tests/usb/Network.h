#pragma once

#include <string>
#include <vector>

namespace zebtest {

/**
 * IPv4 addresses on the loopback interface of a network name space of the test's own. They are gone with
 * the object. Throws std::runtime_error where that is not the case: outside a name space there would be
 * addresses already.
 */
class Network {
public:
    Network();
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /** Take away what was added. */
    void clear();
    /** Each as an interface record of its own. */
    void add(const std::string& address);
    /** The addresses of all records, in the system's order. */
    static std::vector<std::string> addresses();

private:
    int mSocket;
    int mCount = 0;
};

} // namespace zebtest
