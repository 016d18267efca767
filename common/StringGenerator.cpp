#include "common/StringGenerator.h"

#include "common/DiscoveryException.h"
#include "common/SlotCall.h"
#include "mxcommon/Assert.h"

namespace zebdiscovery {

namespace {

ZEBDiscoverySDKGenerator* createGenerator(const ZEBDiscoverySDKUtils* pUtils) {
    if (!pUtils)
        throw DiscoveryException("Unable to create Generator, Utils structure is NULL",
                                 ZEBDiscoverySDKErrorInvalidParameter);
    if (!pUtils->createGenerator)
        throw DiscoveryException("Unable to create Generator, the operation is not supported",
                                 ZEBDiscoverySDKErrorNotImplemented);
    ZEBDiscoverySDKGenerator* pGenerator = nullptr;
    const ZEBDiscoverySDKError err = pUtils->createGenerator(pUtils->context, &pGenerator);
    if (err != ZEBDiscoverySDKErrorNone) {
        ZEB_ASSERT(!pGenerator);
        throw DiscoveryException("Error when trying to create Generator", err);
    }
    if (!pGenerator)
        ZEB_ASSERT(false);
    return pGenerator;
}

} // namespace

StringGenerator::StringGenerator(const ZEBDiscoverySDKUtils* pUtils) :
    mpUtils(pUtils), mpGenerator(createGenerator(pUtils)) {
    ZEB_ASSERT(mpGenerator);
}

StringGenerator::~StringGenerator() {
    if (mpGenerator && mpUtils->destroyGenerator)
        mpUtils->destroyGenerator(mpGenerator);
}

ZEBDiscoverySDKError StringGenerator::operation8(const void* first, const void* second) {
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mpUtils->generatorOperation8, mpGenerator, first,
                  second);
}

ZEBDiscoverySDKError StringGenerator::operation12(const void* first, const void* second) {
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mpUtils->generatorOperation12, mpGenerator, first,
                  second);
}

ZEBDiscoverySDKError StringGenerator::bytes(const uint8_t* bytes, uint16_t length) {
    return callOr(ZEBDiscoverySDKErrorNotImplemented, mpUtils->generatorBytes, mpGenerator, bytes, length);
}

uintptr_t StringGenerator::result(ZEBDiscoverySDKError* pError) const {
    uintptr_t value = 0;
    const ZEBDiscoverySDKError err =
        callOr(ZEBDiscoverySDKErrorNotImplemented, mpUtils->generatorResult, mpGenerator, &value);
    if (pError)
        *pError = err;
    return value;
}

} // namespace zebdiscovery
