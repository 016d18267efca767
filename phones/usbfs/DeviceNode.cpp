#include "phones/usbfs/DeviceNode.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <pty.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace zebphones {
namespace {

void closeIfOpen(int& fd) {
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

void check(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

DeviceNode::DeviceNode(std::string path) : mPath(std::move(path)) {
    std::array<char, 64> slaveName{};
    check(::openpty(&mMaster, &mSlave, slaveName.data(), nullptr, nullptr),
          "openpty (each emulated device takes three descriptors)");
    for (const int fd : {mMaster, mSlave})
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    setReady(false);
    std::filesystem::create_directories(std::filesystem::path(mPath).parent_path());
    std::filesystem::create_symlink(slaveName.data(), mPath);
}

DeviceNode::~DeviceNode() {
    remove();
    closeIfOpen(mMaster);
    closeIfOpen(mSlave);
}

void DeviceNode::setReady(bool ready) {
    if (mMaster >= 0)
        check(::tcflow(mSlave, ready ? TCOON : TCOOFF), "tcflow");
}

void DeviceNode::hangUp() { closeIfOpen(mMaster); }

void DeviceNode::remove() {
    std::error_code ignored;
    std::filesystem::remove(mPath, ignored);
}

} // namespace zebphones
