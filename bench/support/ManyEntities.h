#pragma once

#include "bench/support/BareHost.h"
#include "bench/support/UsbRecord.h"

#include <deque>
#include <vector>

namespace zebbench {

/** So many phones in the middle of their hand-shakes, kept by a host; with the fake libusb. */
class ManyEntities {
public:
    ManyEntities(BareHost& host, int count);
    ~ManyEntities();
    ManyEntities(const ManyEntities&) = delete;
    ManyEntities& operator=(const ManyEntities&) = delete;

    /** The one that is found last, and a handle of its. */
    ZEBDiscovererEntity* entity() const { return mpLast; }
    ZEBDiscovererEventHandle* handle() { return &mHandle; }
    /** A device that is none of theirs. */
    const ZEBDeviceInfo& noDevice() const { return mNoDevice.get(); }

private:
    BareHost& mHost;
    std::deque<UsbRecord> mRecords;
    UsbRecord mNoDevice{0, 1, 1, "18d1", "4ee2"};
    std::vector<ZEBDiscovererEntity*> mEntities;
    ZEBDiscovererEntity* mpLast = nullptr;
    ZEBDiscovererEventHandle mHandle = ZEBDiscovererNoEventHandle;
};

} // namespace zebbench
