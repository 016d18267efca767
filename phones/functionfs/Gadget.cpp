#include "phones/functionfs/Gadget.h"

#include "phones/functionfs/FunctionFsDescriptors.h"

#include <fcntl.h>
#include <linux/usb/functionfs.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zebphones {
namespace fs = std::filesystem;
namespace {

void check(bool good, const std::string& what) {
    if (!good)
        throw std::system_error(errno, std::generic_category(), what);
}

void writeAll(int fd, std::span<const std::uint8_t> bytes, const std::string& what) {
    check(::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), what);
}

// An attribute of configfs: one write, and its result is the kernel's verdict.
void setAttribute(const fs::path& file, const std::string& text) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    check(fd >= 0, file);
    const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    ::close(fd);
    errno = error;
    check(written, file);
}

// What a transfer on ep0 says when a newer request of the host has replaced this one.
bool survived(ssize_t result, const char* what) {
    check(result >= 0 || errno == EIDRM, what);
    return result >= 0;
}

} // namespace

Gadget::Gadget(const std::string& name, const UsbFace& face) :
    mName(name),
    mGadget("/sys/kernel/config/usb_gadget/" + name),
    mFunction(mGadget / "functions" / ("ffs." + name)),
    mMountPoint("/run/functionfs-" + name) {
    try {
        describe(face);
        openFunction(face);
    } catch (...) {
        remove();
        throw;
    }
}

Gadget::~Gadget() { remove(); }

void Gadget::describe(const UsbFace& face) {
    fs::create_directory(mGadget);
    setAttribute(mGadget / "idVendor", "0x" + hexId(face.vendor));
    setAttribute(mGadget / "idProduct", "0x" + hexId(face.product));
    setAttribute(mGadget / "bDeviceClass", std::to_string(face.deviceClass));
    const fs::path strings = mGadget / "strings/0x409";
    fs::create_directory(strings);
    setAttribute(strings / "manufacturer", face.manufacturer);
    setAttribute(strings / "product", face.productName);
    setAttribute(strings / "serialnumber", face.serial);
    fs::create_directory(mFunction);
    fs::create_directory(mGadget / "configs/c.1");
    fs::create_symlink(mFunction, mGadget / "configs/c.1/f1");
}

void Gadget::openFunction(const UsbFace& face) {
    fs::create_directory(mMountPoint);
    check(::mount(mName.c_str(), mMountPoint.c_str(), "functionfs", 0, nullptr) == 0, "mount functionfs");
    mControl = ::open((mMountPoint / "ep0").c_str(), O_RDWR | O_CLOEXEC);
    check(mControl >= 0, "open ep0");
    writeAll(mControl, functionFsDescriptors(face), "FunctionFS descriptors");
    writeAll(mControl, functionFsStrings(), "FunctionFS strings");
}

// In the order that the kernel allows. What was never made is not there to be removed.
void Gadget::remove() noexcept {
    std::error_code ignored;
    if (mPlugged)
        unplug();
    fs::remove(mGadget / "configs/c.1/f1", ignored);
    if (mControl >= 0)
        ::close(mControl);
    ::umount(mMountPoint.c_str());
    for (const fs::path& folder :
         {mMountPoint, mGadget / "configs/c.1", mFunction, mGadget / "strings/0x409", mGadget})
        fs::remove(folder, ignored);
}

void Gadget::plug(const std::string& controller) {
    setAttribute(mGadget / "UDC", controller);
    mPlugged = true;
}

void Gadget::unplug() {
    setAttribute(mGadget / "UDC", "\n");
    mPlugged = false;
}

std::optional<SetupPacket> Gadget::nextRequest() {
    usb_functionfs_event event{};
    const ssize_t got = ::read(mControl, &event, sizeof event);
    if (!survived(got, "read ep0") || event.type != FUNCTIONFS_SETUP)
        return std::nullopt;
    const std::span<const std::uint8_t, 8> bytes(reinterpret_cast<const std::uint8_t*>(&event.u.setup), 8);
    return SetupPacket::fromBytes(bytes);
}

bool Gadget::send(std::span<const std::uint8_t> data) {
    return survived(::write(mControl, data.data(), data.size()), "answer on ep0");
}

bool Gadget::receive(std::vector<std::uint8_t>& data) {
    const ssize_t got = ::read(mControl, data.data(), data.size());
    if (!survived(got, "read data on ep0"))
        return false;
    data.resize(static_cast<std::size_t>(got));
    return true;
}

// A transfer against the request's direction stalls it, and says so with EL2HLT.
bool Gadget::stall(const SetupPacket& setup) {
    std::uint8_t none = 0;
    const ssize_t result = setup.toHost() ? ::read(mControl, &none, 0) : ::write(mControl, &none, 0);
    return survived(result < 0 && errno == EL2HLT ? 0 : result, "stall on ep0");
}

} // namespace zebphones
