#pragma once

#include "host/trace/BoundaryTrace.h"
#include "host/trace/UsbTap.h"

#include <memory>

namespace zebhost {

/** The plug-in's USB transfers, as the tap between it and libusb sees them. */
class Transfers {
public:
    /** boundary says whose a transfer is. Load before the plug-in, and unload after it. An empty path:
     *  the tap beside this program. Without a tap no transfer is told of. */
    Transfers(Trace& trace, BoundaryTrace& boundary, const std::string& tapPath);
    ~Transfers();
    Transfers(const Transfers&) = delete;
    Transfers& operator=(const Transfers&) = delete;

    /** Why no transfer can be seen; empty when they can. */
    const std::string& trouble() const { return mTrouble; }

    /** For the tap. */
    void tell(ZebUsbTapPhase phase, const ZebUsbTapTransfer& transfer);

private:
    struct UnderWay {
        std::string name;
        Track track;
        uint64_t id;
    };

    void submitting(const ZebUsbTapTransfer& transfer);
    void gone(const ZebUsbTapTransfer& transfer, const TraceArgs& how);

    Trace& mTrace;
    BoundaryTrace& mBoundary;
    std::unique_ptr<void, int (*)(void*)> mTap;
    ZebUsbTapObserve mObserve = nullptr;
    std::string mTrouble;
    std::map<const void*, UnderWay> mUnderWay;
    uint64_t mLastId = 0;
};

/** What a transfer is for, from its setup packet: "string 1 (model)". */
std::string transferName(const ZebUsbTapTransfer& transfer);

/** What libusb calls a status, in words. */
const char* transferStatus(int status);

} // namespace zebhost
