// One control request of a client of the emulated usbfs, from its submission until it
// is fetched. It stands for memory of the client, which is only read or written while
// the client waits in an ioctl.
#pragma once

#include "phones/PhoneModel.h"
#include "phones/usbfs/GObjectPtr.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <umockdev.h>
#include <vector>

struct usbdevfs_urb;

namespace zebphones {

class Urb {
public:
    // From the argument of SUBMITURB.
    explicit Urb(UMockdevIoctlData* argument);

    // A control request with its whole buffer there.
    bool isControl() const;
    SetupPacket setup() const;
    std::vector<std::uint8_t> outgoingData() const;

    // How the phone reacts; played when the request ends.
    void setResponse(Response response) { mResponse = std::move(response); }
    const Response& response() const { return mResponse; }
    // The phone takes its time for the answer, and that time is over.
    bool isDue() const;

    // Ends with a status (0 or a negative errno), having moved the response's data or nothing.
    void finish(int status, bool dataMoved);
    // Is it the one the argument of DISCARDURB points at?
    bool isAt(gulong clientAddress) const { return mUrb->client_addr == clientAddress; }
    // The result, into the pointer that the argument of REAPURB points at.
    void handOver(UMockdevIoctlData* argument) const;

private:
    usbdevfs_urb& fields() const;

    GObjectPtr<UMockdevIoctlData> mUrb;
    GObjectPtr<UMockdevIoctlData> mBuffer;
    Response mResponse;
    std::chrono::steady_clock::time_point mSubmitted = std::chrono::steady_clock::now();
};

} // namespace zebphones
