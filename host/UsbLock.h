#pragma once

#include "host/doctor/Machine.h"

#include <dirent.h>

namespace zebhost {

/**
 * Keeps a machine's USB devices to one zebhost for as long as this lives: two would ask the same phones at
 * the same time. What is locked is the folder of the nodes, /dev/bus/usb itself, so that whoever sees the
 * same devices sees the lock, in a container too, and nothing is left behind.
 */
class UsbLock {
public:
    /** Throws HostError when another has it. Where there is no such folder, or it can't be locked, there is
     * nothing to share. */
    explicit UsbLock(const Machine& machine);
    ~UsbLock();
    UsbLock(const UsbLock&) = delete;
    UsbLock& operator=(const UsbLock&) = delete;

private:
    DIR* mpFolder;
};

} // namespace zebhost
