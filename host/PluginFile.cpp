#include "host/PluginFile.h"

#include "zebdiscovery/zebdiscovery.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zebhost {
namespace {

// A release build with debug information has less than a tenth of it.
constexpr size_t kMostBytes = 256 * 1024 * 1024;

class File {
public:
    // Without O_NONBLOCK a FIFO would be waited for.
    explicit File(const std::string& path) :
        mDescriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        if (mDescriptor >= 0 && fstat(mDescriptor, &mStatus) != 0)
            mStatus = {};
    }
    ~File() {
        if (mpBytes != MAP_FAILED)
            munmap(mpBytes, mMapped);
        if (mDescriptor >= 0)
            close(mDescriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isOpen() const { return mDescriptor >= 0; }
    bool isFolder() const { return S_ISDIR(mStatus.st_mode); }
    bool isRegular() const { return S_ISREG(mStatus.st_mode); }
    uint64_t size() const { return static_cast<uint64_t>(std::max<off_t>(mStatus.st_size, 0)); }
    /** Its bytes, for as long as this lives; none, and errno, when they can't be had. Mapped, so that of a
     * large file with debug information only what is looked at is read. */
    std::optional<std::string_view> bytes() {
        mMapped = static_cast<size_t>(std::min<uint64_t>(size(), kMostBytes));
        if (mMapped == 0) {
            // Nothing that can be loaded has no size; but why it can't is to be told.
            char byte = 0;
            return ::read(mDescriptor, &byte, 1) < 0 ? std::nullopt : std::optional<std::string_view>("");
        }
        mpBytes = mmap(nullptr, mMapped, PROT_READ, MAP_PRIVATE, mDescriptor, 0);
        if (mpBytes == MAP_FAILED)
            return std::nullopt;
        return std::string_view(static_cast<const char*>(mpBytes), mMapped);
    }

private:
    int mDescriptor;
    struct stat mStatus {};
    size_t mMapped = 0;
    void* mpBytes = MAP_FAILED;
};

std::string faultOfSystem(const std::string& path, const ElfIdentity& elf) {
    ElfIdentity own = ownElfIdentity();
    if (elf.bits != own.bits)
        return path + " is a " + elf.name() + " plug-in, and this zebhost is a " + own.name() +
               " program: a process loads its own width only, so use the zebhost that was built with it";
    if (elf.machine != own.machine || elf.isLittleEndian != own.isLittleEndian)
        return path + " is made for " + elf.name() + ", and this machine's programs for " + own.name() +
               ": use the plug-in that was built for this machine";
    if (!elf.isSharedObject())
        return path + " is no plug-in: it is an ELF file, but no shared library";
    return "";
}

/** What the bytes show, of a file of this size; the fault stays empty when they are fine. */
void look(PluginFile& file, std::string_view bytes, uint64_t size) {
    file.elf = elfIdentity(bytes);
    if (!file.elf) {
        file.fault = file.path + " is no plug-in: it is not an ELF file";
        return;
    }
    file.fault = faultOfSystem(file.path, *file.elf);
    file.isHarmful = file.fault.empty() && endsBeforeItsSegments(bytes, size);
    if (file.isHarmful)
        file.fault = file.path + " is cut off: the file ends before its segments do; copy it again";
    file.entryVersions = exportedVersions(bytes, kEntryFunction);
    if (file.fault.empty() && file.entryVersions)
        file.fault = entryFault(file.path, *file.entryVersions);
}

} // namespace

const char kEntryFunction[] = "ZEBDiscovererInitialize";

PluginFile inspectPlugin(const std::string& path) {
    PluginFile found;
    found.path = path;
    File file(path);
    std::optional<std::string_view> bytes;
    found.isHarmful = file.isOpen() && !file.isFolder() && !file.isRegular();
    if (!file.isOpen() && (errno == ENOENT || errno == ENOTDIR))
        found.fault = "there is no plug-in " + path;
    else if (file.isOpen() && file.isFolder())
        found.fault = path + " is a folder: name the plug-in's file in it";
    else if (found.isHarmful)
        found.fault = path + " is no plug-in: it is no file, but a device, a FIFO or a socket";
    else if (!file.isOpen() || !(bytes = file.bytes()))
        found.fault = "the plug-in " + path + " can't be read: " + std::strerror(errno);
    else
        look(found, *bytes, file.size());
    return found;
}

std::string entryFault(const std::string& path, const std::vector<std::string>& versions) {
    if (std::find(versions.begin(), versions.end(), ZEBDISCOVERER_SYMBOL_VERSION) != versions.end())
        return "";
    if (versions.empty())
        return path + " is no discoverer plug-in: it does not export " + kEntryFunction;
    if (versions.front().empty())
        return path + " exports " + kEntryFunction +
               " without a version: link it with a version script that " + "gives it " +
               ZEBDISCOVERER_SYMBOL_VERSION;
    return path + " has " + kEntryFunction + " in the version " + versions.front() +
           ", but not in the version " + ZEBDISCOVERER_SYMBOL_VERSION +
           ": it was made for another kind of host";
}

} // namespace zebhost
