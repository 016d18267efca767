#include "host/trace/Transfers.h"

#include "host/Plugin.h"

#include <array>
#include <cstdio>
#include <dlfcn.h>

namespace zebhost {
namespace {

constexpr char kTapFile[] = "libzebhost-usbtap.so";
constexpr char kTransfer[] = "transfer";
constexpr int kSetupBytes = 8;
constexpr int kControl = 0;

constexpr const char* kStrings[] = {"manufacturer", "model", "description", "version", "uri", "serial"};
constexpr const char* kStatus[] = {"completed", "failed",      "timed out", "cancelled",
                                   "stalled",   "device gone", "overflow"};

struct Setup {
    unsigned type;
    unsigned request;
    unsigned value;
    unsigned index;
    unsigned length;
};

bool hasSetup(const ZebUsbTapTransfer& transfer) {
    return transfer.type == kControl && transfer.length >= kSetupBytes;
}

Setup setupOf(const ZebUsbTapTransfer& transfer) {
    const unsigned char* b = transfer.buffer;
    auto word = [b](int at) { return static_cast<unsigned>(b[at] | b[at + 1] << 8); };
    return {b[0], b[1], word(2), word(4), word(6)};
}

/** The data of a control transfer, of which so much is there. */
std::string_view dataOf(const ZebUsbTapTransfer& transfer, size_t length) {
    size_t room = static_cast<size_t>(transfer.length - kSetupBytes);
    return {reinterpret_cast<const char*>(transfer.buffer) + kSetupBytes, std::min(length, room)};
}

TraceArgs describe(const ZebUsbTapTransfer& transfer) {
    TraceArgs args;
    if (!hasSetup(transfer))
        return args.add("endpoint", transfer.endpoint).add("length", transfer.length);
    Setup setup = setupOf(transfer);
    args.add("request", setup.request).add("index", setup.index).add("length", setup.length);
    bool isOut = (setup.type & 0x80) == 0;
    return isOut && setup.length > 0 ? args.add("text", dataOf(transfer, setup.length)) : args;
}

TraceArgs outcome(const ZebUsbTapTransfer& transfer) {
    TraceArgs args;
    args.add("status", transferStatus(transfer.status)).add("moved", transfer.moved);
    if (!hasSetup(transfer) || setupOf(transfer).request != 51 || transfer.moved != 2)
        return args;
    std::string_view data = dataOf(transfer, 2);
    return args.add("protocol", static_cast<unsigned char>(data[0]) | static_cast<unsigned char>(data[1])
                                                                          << 8);
}

} // namespace

Transfers::Transfers(Trace& trace, BoundaryTrace& boundary, const std::string& tapPath) :
    mTrace(trace),
    mBoundary(boundary),
    // For all that is loaded later: that is how its functions come before libusb's.
    mTap(dlopen((tapPath.empty() ? besideProgram(kTapFile) : tapPath).c_str(), RTLD_NOW | RTLD_GLOBAL),
         dlclose) {
    if (mTap != nullptr)
        mObserve = reinterpret_cast<ZebUsbTapObserve>(dlsym(mTap.get(), ZEB_USB_TAP_OBSERVE));
    if (mObserve == nullptr) {
        mTrouble = std::string("transfers can't be seen: ") + dlerror();
        return;
    }
    auto tell = [](void* self, ZebUsbTapPhase phase, const ZebUsbTapTransfer* transfer) {
        static_cast<Transfers*>(self)->tell(phase, *transfer);
    };
    mObserve(tell, this);
}

Transfers::~Transfers() {
    if (mObserve != nullptr)
        mObserve(nullptr, nullptr);
}

void Transfers::tell(ZebUsbTapPhase phase, const ZebUsbTapTransfer& transfer) {
    if (phase == ZebUsbTapSubmitting)
        submitting(transfer);
    else if (phase == ZebUsbTapRefused)
        gone(transfer, TraceArgs().add("status", "refused").add("error", transfer.error));
    else
        gone(transfer, outcome(transfer));
}

void Transfers::submitting(const ZebUsbTapTransfer& transfer) {
    Track owner = mBoundary.owners().of(UsbAddress{transfer.bus, transfer.address});
    UnderWay under{transferName(transfer), owner != 0 ? owner : mBoundary.current(), ++mLastId};
    mTrace.open(under.track, kTransfer, under.name, under.id, describe(transfer).json());
    mUnderWay[transfer.transfer] = std::move(under);
}

void Transfers::gone(const ZebUsbTapTransfer& transfer, const TraceArgs& how) {
    auto found = mUnderWay.extract(transfer.transfer);
    if (found.empty())
        return;
    const UnderWay& under = found.mapped();
    mTrace.close(under.track, kTransfer, under.name, under.id, how.json());
}

std::string transferName(const ZebUsbTapTransfer& transfer) {
    if (!hasSetup(transfer))
        return "endpoint " + std::to_string(transfer.endpoint);
    Setup setup = setupOf(transfer);
    if (setup.request == 51)
        return "protocol version?";
    if (setup.request == 52 && setup.index < std::size(kStrings))
        return std::string("string ") + std::to_string(setup.index) + ": " + kStrings[setup.index];
    if (setup.request == 53)
        return "switch to accessory";
    return "request " + std::to_string(setup.request);
}

const char* transferStatus(int status) {
    return status >= 0 && status < static_cast<int>(std::size(kStatus)) ? kStatus[status] : "unknown";
}

} // namespace zebhost
