#include "common/DiscoveryException.h"

namespace zebdiscovery {

DiscoveryException::DiscoveryException(const char* message, int error) :
    std::runtime_error(message), mError(error) {}

DiscoveryException::~DiscoveryException() = default;

} // namespace zebdiscovery
