#include "host/Replacement.h"

#include "host/Plugin.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zebhost {
namespace {

// As many as the kernel follows.
constexpr int kMostLinks = 40;

/** What the process's mask leaves of a new file's rights. */
mode_t newFileMode() {
    mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

/** As the file has it that is replaced. Its owner too, where we may give it away. */
void takeRights(int file, const std::string& from) {
    struct stat old {};
    bool isThere = stat(from.c_str(), &old) == 0;
    if (isThere) [[maybe_unused]]
        int given = fchown(file, old.st_uid, old.st_gid);
    fchmod(file, isThere ? old.st_mode & 0777 : newFileMode());
}

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace

Replacement::Replacement(const std::string& path, const std::string& what) :
    mPath(behindLinks(path)), mWhat(what), mTemporary(mPath + ".XXXXXX") {
    // A link of /proc may lead to what has no name any more.
    bool isThere = access(path.c_str(), F_OK) == 0;
    if (isThere && (isNoRegularFile(path) || !isSameFile(path, mPath)))
        throw HostError("a " + what + " needs a file that can be rewritten, and " + path + " is none");
    mDescriptor = mkostemp(mTemporary.data(), O_CLOEXEC);
    if (mDescriptor < 0)
        fail();
    takeRights(mDescriptor, mPath);
}

Replacement::~Replacement() {
    if (mDescriptor < 0)
        return;
    unlink(mTemporary.c_str());
    close(mDescriptor);
}

int Replacement::takePlace() {
    if (rename(mTemporary.c_str(), mPath.c_str()) != 0)
        fail();
    return std::exchange(mDescriptor, -1);
}

void Replacement::fail() const {
    throw HostError("the " + mWhat + " " + mPath + " can't be written: " + std::strerror(errno));
}

std::string behindLinks(const std::string& path) {
    std::filesystem::path found = path;
    std::error_code none;
    for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(found, none); ++links)
        found = found.parent_path() / std::filesystem::read_symlink(found, none);
    return found;
}

bool isNoRegularFile(const std::string& path) {
    struct stat there {};
    return stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode);
}

bool isSameFile(const std::string& one, const std::string& other) {
    struct stat first {
    }, second{};
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 && isSame(first, second);
}

bool isSameFile(const std::string& path, int descriptor) {
    struct stat first {
    }, second{};
    return stat(path.c_str(), &first) == 0 && fstat(descriptor, &second) == 0 && isSame(first, second);
}

bool writeWhole(int file, std::string_view text) {
    while (!text.empty()) {
        ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0)
            return false;
        text.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

} // namespace zebhost
