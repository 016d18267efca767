#pragma once

#include "zebdiscovery/utils.h"

namespace zebdiscovery {

/**
 * Owns one of the host's string generators. [host-thread]
 *
 * An operation that the host does not have returns NotImplemented.
 */
class StringGenerator {
public:
    /** The utilities record stays the caller's and must outlive the generator. Throws
     *  DiscoveryException. */
    explicit StringGenerator(const ZEBDiscoverySDKUtils* pUtils);
    /** Ends the host's generator. Never throws: a host that does ends the process. */
    ~StringGenerator();
    StringGenerator(const StringGenerator&) = delete;
    StringGenerator& operator=(const StringGenerator&) = delete;

    /** The operations of the slots at 8 and 12; what they mean is the host's. */
    ZEBDiscoverySDKError operation8(const void* first, const void* second);
    ZEBDiscoverySDKError operation12(const void* first, const void* second);
    /** Add bytes; they stay the caller's. */
    ZEBDiscoverySDKError bytes(const uint8_t* bytes, uint16_t length);
    /** The result, 0 by default; pError (may be null) as for the parser's queries. */
    uintptr_t result(ZEBDiscoverySDKError* pError) const;

private:
    const ZEBDiscoverySDKUtils* mpUtils;
    ZEBDiscoverySDKGenerator* mpGenerator;
};

} // namespace zebdiscovery
