#pragma once

#include "host/Loop.h"

#include <functional>
#include <memory>

namespace zebhost {

/** Tells when an IPv4 address comes to, or leaves, an interface of this machine. */
class AddressWatch {
public:
    /** The handler is called from the loop, without detail. Where the kernel's news can't be had, never. */
    AddressWatch(Loop& loop, std::function<void()> handler);
    ~AddressWatch();
    AddressWatch(const AddressWatch&) = delete;
    AddressWatch& operator=(const AddressWatch&) = delete;

private:
    void drain();

    std::function<void()> mHandler;
    int mSocket = -1;
    std::unique_ptr<Watch> mWatch;
};

} // namespace zebhost
