#include "host/UsbLock.h"

#include "host/NodeAccess.h"
#include "host/Plugin.h"

#include <cerrno>
#include <sys/file.h>

namespace zebhost {

// By opendir: what plays device nodes takes whatever is opened below /dev for one.
UsbLock::UsbLock(const Machine& machine) : mpFolder(opendir(machine.at(kUsbNodes).c_str())) {
    if (mpFolder == nullptr || flock(dirfd(mpFolder), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK)
        return;
    closedir(mpFolder);
    throw HostError(
        "another zebhost drives the USB devices of this machine already, and two would ask the same "
        "phones: end it first (\"zebhost doctor\" says which process it is), or look only, with "
        "--dry-run");
}

UsbLock::~UsbLock() {
    if (mpFolder != nullptr)
        closedir(mpFolder);
}

} // namespace zebhost
