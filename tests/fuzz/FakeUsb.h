#pragma once

#include "tests/fuzz/Choices.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>

struct libusb_context;
struct libusb_device;
struct libusb_device_handle;
struct libusb_pollfd;
struct libusb_transfer;

namespace zebtest {

/**
 * libusb for the plug-in of this process: where phones answer, fail, go or say nothing as the choices have
 * it, and descriptors come and go. Holds the plug-in to libusb's rules: what breaks one ends the process.
 */
class FakeUsb {
public:
    static FakeUsb& instance();

    /** A new machine: nothing plugged, all choices from this source, which must outlive its use. */
    void reset(Choices& choices);
    /** From now on every call works and every phone answers at once, or no more so. */
    void setHealthy(bool healthy) { mHealthy = healthy; }
    void plug(int bus, int address) { mPlugged.emplace(bus, address); }
    void unplug(int bus, int address) { mPlugged.erase({bus, address}); }
    bool isHealthy() const { return mHealthy; }

    /** The text of the n-th identification string as the host has set it. */
    std::function<std::string(int index)> identifier;

    /** Is this a descriptor that libusb has listed and not taken back, and with which events? */
    const short* eventsOf(int descriptor) const;
    /** The phones that were asked to switch. */
    const std::set<std::pair<int, int>>& switched() const { return mSwitched; }
    /** A moment at which libusb doesn't let its user close anything. */
    bool isHandlingEvents() const { return mHandlingEvents; }
    /** Nothing of a user that has ended is left. */
    void expectNothingLeft() const;

    // What the libusb_* functions do.
    int init(libusb_context** out);
    void exit(libusb_context* context);
    long list(libusb_context* context, libusb_device*** out);
    int open(libusb_device* device, libusb_device_handle** out);
    void close(libusb_device_handle* handle);
    libusb_transfer* allocate();
    void free(libusb_transfer* transfer);
    int submit(libusb_transfer* transfer);
    int cancel(libusb_transfer* transfer);
    int handleEvents(libusb_context* context);
    const libusb_pollfd** descriptors(libusb_context* context);

private:
    struct Flight {
        libusb_context* context = nullptr; // null: not submitted
        bool cancelled = false;
    };

    bool fails(std::uint32_t n);
    void check(const libusb_transfer& transfer);
    void complete(libusb_transfer& transfer);
    void completeSome(libusb_context* context);
    void changeDescriptors(libusb_context& context);
    void addDescriptor(libusb_context& context, short events, bool announce);
    void removeDescriptor(libusb_context& context, int descriptor);

    Choices* mpChoices = nullptr;
    bool mHealthy = false;
    bool mHandlingEvents = false;
    int mLastDescriptor = 0;
    std::set<std::pair<int, int>> mPlugged;
    std::set<std::pair<int, int>> mSwitched;
    std::set<libusb_context*> mContexts;
    std::set<libusb_device_handle*> mHandles;
    std::map<libusb_transfer*, Flight> mTransfers;
};

} // namespace zebtest
