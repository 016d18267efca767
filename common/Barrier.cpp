#include "common/Barrier.h"

#include "common/DiscoveryException.h"
#include "mxcommon/StandardError.h"
#include "mxcommon/StringUtils.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>

namespace zebdiscovery {

namespace {

constexpr char kCategory[] = "ZEBDiscoverer";

std::string describeCurrentException(const char* failure) {
    try {
        throw;
    } catch (const std::exception& e) {
        return mxcommon::formatString("%s, got exception %s", failure, e.what());
    } catch (...) {
        return mxcommon::formatString("%s, got unknown exception", failure);
    }
}

} // namespace

Failure Barrier::logFailure(ZEBDiscovererImpl& self, const Operation& operation) {
    constexpr int32_t kError = ZEBDiscoveryLogSeverityError;
    try {
        throw;
    } catch (const DiscoveryException& e) {
        self.logFormatted(kError, "%s: %d (%s)", e.what(), e.error(), self.errorText(e.error()));
        return {Failure::Cause::DiscoveryException, e.error()};
    } catch (const std::exception& e) {
        if (operation.outOfMemoryLine == OutOfMemoryLine::Yes && dynamic_cast<const std::bad_alloc*>(&e)) {
            self.logFormatted(kError, "ZEBDiscoverer::%s failed, out of memory", operation.name);
            return {Failure::Cause::OutOfMemory, ZEBDiscoverySDKErrorOutOfMemory};
        }
        self.logFormatted(kError, "ZEBDiscoverer::%s caught exception: %s", operation.name, e.what());
        return {Failure::Cause::StandardException, ZEBDiscoverySDKErrorFailed};
    }
}

void Barrier::offerForProtocol(ZEBDiscovererImpl& self, const Operation& operation,
                               ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice,
                               char* protocol) {
    // Goes back when everything else is done, also when the log or the release throws.
    const auto freeProtocol = [&](char* string) noexcept {
        try {
            self.freeProtocolString(string);
        } catch (...) {
            lastResort(operation.failure);
        }
    };
    const std::unique_ptr<char, decltype(freeProtocol)> owned(protocol, freeProtocol);
    ReleaseDevice outcome(self, pProvider, pDevice);
    try {
        self.offerDeviceForProtocol(pProvider, pDevice, protocol);
    } catch (const std::exception&) {
        outcome.failed();
        logFailure(self, operation);
        outcome.release();
    } catch (...) {
        outcome.failed();
        self.logFormatted(ZEBDiscoveryLogSeverityError, "ZEBDiscoverer::%s caught unknown exception",
                          operation.name);
        outcome.release();
    }
}

void Barrier::lastResort(const char* failure) noexcept {
    try {
        mxcommon::logToStandardError(kCategory, describeCurrentException(failure).c_str());
    } catch (...) {
        mxcommon::logToStandardError(kCategory, "Got unknown exception, aborting...");
        std::abort();
    }
}

} // namespace zebdiscovery
