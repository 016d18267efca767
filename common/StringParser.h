#pragma once

#include "zebdiscovery/utils.h"

namespace zebdiscovery {

/**
 * Owns one of the host's string parsers. [host-thread]
 *
 * Every query tells by its error argument (may be null) how it went: the host's
 * error, or NotImplemented when the host has no such query; the result is then
 * the default named beside it.
 */
class StringParser {
public:
    /** The utilities record stays the caller's and must outlive the parser. The text stays the caller's too:
     *  it is shown to the host's factory and not kept here. Throws DiscoveryException. */
    StringParser(const ZEBDiscoverySDKUtils* pUtils, const char* text);
    /** Ends the host's parser. Never throws: a host that does ends the process. */
    ~StringParser();
    StringParser(const StringParser&) = delete;
    StringParser& operator=(const StringParser&) = delete;

    /** By default 0. */
    uintptr_t value(const char* key, ZEBDiscoverySDKError* pError) const;
    /** By default the most negative 32-bit number. */
    int32_t int32(const char* key, ZEBDiscoverySDKError* pError) const;
    /** By default the most negative 16-bit number. */
    int16_t int16(const char* key, ZEBDiscoverySDKError* pError) const;
    /** By default -1. */
    int32_t query(const char* key, ZEBDiscoverySDKError* pError) const;

private:
    const ZEBDiscoverySDKUtils* mpUtils;
    ZEBDiscoverySDKParser* mpParser;
};

} // namespace zebdiscovery
