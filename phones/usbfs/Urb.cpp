#include "phones/usbfs/Urb.h"

#include <algorithm>
#include <cstddef>
#include <linux/usbdevice_fs.h>

namespace zebphones {
namespace {

constexpr std::size_t kSetupSize = 8;

GObjectPtr<UMockdevIoctlData> resolve(UMockdevIoctlData* parent, std::size_t offset, std::size_t size) {
    return GObjectPtr<UMockdevIoctlData>(umockdev_ioctl_data_resolve(parent, offset, size, nullptr));
}

} // namespace

Urb::Urb(UMockdevIoctlData* argument) : mUrb(resolve(argument, 0, sizeof(usbdevfs_urb))) {
    if (mUrb && fields().buffer_length > 0) {
        mBuffer = resolve(mUrb.get(), offsetof(usbdevfs_urb, buffer),
                          static_cast<std::size_t>(fields().buffer_length));
    }
}

usbdevfs_urb& Urb::fields() const { return *reinterpret_cast<usbdevfs_urb*>(mUrb->data); }

bool Urb::isControl() const {
    return mUrb && mBuffer && fields().type == USBDEVFS_URB_TYPE_CONTROL &&
           static_cast<std::size_t>(mBuffer->data_len) >= kSetupSize &&
           static_cast<std::size_t>(mBuffer->data_len) >= kSetupSize + setup().length;
}

SetupPacket Urb::setup() const {
    return SetupPacket::fromBytes(std::span<const std::uint8_t, kSetupSize>(mBuffer->data, kSetupSize));
}

std::vector<std::uint8_t> Urb::outgoingData() const {
    if (setup().toHost())
        return {};
    const std::uint8_t* data = mBuffer->data + kSetupSize;
    return {data, data + setup().length};
}

bool Urb::isDue() const {
    return mResponse.delay.count() > 0 && std::chrono::steady_clock::now() - mSubmitted >= mResponse.delay;
}

void Urb::finish(int status, bool dataMoved) {
    fields().status = status;
    // Data bytes only: usbfs does not count the setup packet.
    fields().actual_length = dataMoved ? static_cast<int>(mResponse.moved) : 0;
    if (dataMoved)
        std::copy(mResponse.data.begin(), mResponse.data.end(), mBuffer->data + kSetupSize);
}

void Urb::handOver(UMockdevIoctlData* argument) const {
    const auto pointer = resolve(argument, 0, sizeof(void*));
    umockdev_ioctl_data_set_ptr(pointer.get(), 0, mUrb.get());
}

} // namespace zebphones
