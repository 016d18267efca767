#pragma once

#include <stdexcept>

namespace zebdiscovery {

/** An error with the code that the host is to see: one of the SDK's, or an errno value of the wake-up pipe.
 */
class DiscoveryException : public std::runtime_error {
public:
    DiscoveryException(const char* message, int error);
    ~DiscoveryException() override;
    DiscoveryException(const DiscoveryException&) = default;
    DiscoveryException& operator=(const DiscoveryException&) = default;

    int error() const noexcept { return mError; }

private:
    int mError;
};

} // namespace zebdiscovery
