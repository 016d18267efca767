// A device node that can be polled as usbfs nodes are: a pseudo terminal.
//
// A plain file would always be ready for writing and never report an error. The slave
// of a terminal is not ready while its output is stopped, ready (POLLOUT) when it
// flows, and in error (POLLERR) once the master has been closed.
//
// Not locked: its device guards it.
#pragma once

#include <string>

namespace zebphones {

class DeviceNode {
public:
    // Makes the node at path; the folders above it are made as needed.
    explicit DeviceNode(std::string path);
    ~DeviceNode();
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    // POLLOUT for those who have it open: a finished request can be fetched.
    void setReady(bool ready);
    // POLLERR, for good.
    void hangUp();
    // It can't be opened any more; who has it open keeps it.
    void remove();

private:
    std::string mPath;
    int mMaster = -1;
    // Kept open so that the terminal's state outlives those who open and close the node.
    int mSlave = -1;
};

} // namespace zebphones
