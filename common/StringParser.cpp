#include "common/StringParser.h"

#include "common/DiscoveryException.h"
#include "mxcommon/Assert.h"

#include <limits>

namespace zebdiscovery {

namespace {

ZEBDiscoverySDKParser* createParser(const ZEBDiscoverySDKUtils* pUtils, const char* text) {
    if (!pUtils)
        throw DiscoveryException("Unable to create Parser, Utils structure is NULL",
                                 ZEBDiscoverySDKErrorInvalidParameter);
    if (!pUtils->createParser)
        throw DiscoveryException("Unable to create Parser, the operation is not supported",
                                 ZEBDiscoverySDKErrorNotImplemented);
    ZEBDiscoverySDKParser* pParser = nullptr;
    const ZEBDiscoverySDKError err = pUtils->createParser(pUtils->context, text, &pParser);
    if (err != ZEBDiscoverySDKErrorNone) {
        ZEB_ASSERT(!pParser);
        throw DiscoveryException("Error when trying to create Parser", err);
    }
    if (!pParser)
        ZEB_ASSERT(false);
    return pParser;
}

template <class T>
T ask(ZEBDiscoverySDKError (*slot)(ZEBDiscoverySDKParser*, const char*, T*), ZEBDiscoverySDKParser* pParser,
      const char* key, T absent, ZEBDiscoverySDKError* pError) {
    T value = absent;
    const ZEBDiscoverySDKError err = slot ? slot(pParser, key, &value) : ZEBDiscoverySDKErrorNotImplemented;
    if (pError)
        *pError = err;
    return value;
}

} // namespace

StringParser::StringParser(const ZEBDiscoverySDKUtils* pUtils, const char* text) :
    mpUtils(pUtils), mpParser(createParser(pUtils, text)) {
    ZEB_ASSERT(mpParser);
}

StringParser::~StringParser() {
    if (mpParser && mpUtils->destroyParser)
        mpUtils->destroyParser(mpParser);
}

uintptr_t StringParser::value(const char* key, ZEBDiscoverySDKError* pError) const {
    return ask<uintptr_t>(mpUtils->parserValue, mpParser, key, 0, pError);
}

int32_t StringParser::int32(const char* key, ZEBDiscoverySDKError* pError) const {
    return ask<int32_t>(mpUtils->parserInt32, mpParser, key, std::numeric_limits<int32_t>::min(), pError);
}

int16_t StringParser::int16(const char* key, ZEBDiscoverySDKError* pError) const {
    return ask<int16_t>(mpUtils->parserInt16, mpParser, key, std::numeric_limits<int16_t>::min(), pError);
}

int32_t StringParser::query(const char* key, ZEBDiscoverySDKError* pError) const {
    const bool present = mpUtils->parserQuery != nullptr;
    if (pError)
        *pError = present ? ZEBDiscoverySDKErrorNone : ZEBDiscoverySDKErrorNotImplemented;
    return present ? mpUtils->parserQuery(mpParser, key) : -1;
}

} // namespace zebdiscovery
