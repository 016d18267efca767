#include "host/trace/TraceFile.h"

#include "host/Plugin.h"
#include "host/Replacement.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace zebhost {
namespace {

constexpr std::string_view kOpening = "[";
constexpr std::string_view kClosing = "\n]\n";
constexpr size_t kFirstBytes = 16 * TraceFile::kPageBytes;

bool writeSpaces(int file, size_t count) {
    std::array<char, TraceFile::kPageBytes> spaces;
    spaces.fill(' ');
    for (; count > 0; count -= std::min(count, spaces.size())) {
        if (!writeWhole(file, {spaces.data(), std::min(count, spaces.size())}))
            return false;
    }
    return true;
}

} // namespace

TraceFile::TraceFile(std::string path, size_t mostBytes) : mPath(std::move(path)), mMostBytes(mostBytes) {
    if (!replaceByCopy(kOpening, kFirstBytes))
        throw HostError(mTrouble);
}

TraceFile::~TraceFile() {
    if (mTrouble.empty())
        replaceByCopy("", mEnd + kClosing.size());
    close(mFile);
}

void TraceFile::append(std::string_view object) {
    if (!mTrouble.empty())
        return;
    std::string text = (mIsEmpty ? "\n" : ",\n") + std::string(object);
    size_t leftOfPage = kPageBytes - mEnd % kPageBytes;
    size_t at = text.size() <= leftOfPage ? mEnd : mEnd + leftOfPage;
    size_t end = at + text.size() + kClosing.size();

    bool fits = text.size() <= kPageBytes && end <= mSize;
    bool done = fits ? write(text, at) : grow(mEnd + text.size()) && replaceByCopy(text, mSize);
    mIsEmpty = mIsEmpty && !done;
}

bool TraceFile::write(std::string_view text, size_t at) {
    ssize_t written = pwrite(mFile, text.data(), text.size(), static_cast<off_t>(at));
    if (written != static_cast<ssize_t>(text.size())) {
        giveUp(written < 0 ? std::strerror(errno) : "only a part of it was taken");
        // Nothing half: what was taken of it becomes spare room again.
        std::string spaces(written < 0 ? 0 : static_cast<size_t>(written), ' ');
        [[maybe_unused]] ssize_t cleared =
            pwrite(mFile, spaces.data(), spaces.size(), static_cast<off_t>(at));
        return false;
    }
    mEnd = at + text.size();
    return true;
}

/** Choose the size of the next copy: twice as much, so that copying costs little in the long run. */
bool TraceFile::grow(size_t wanted) {
    size_t size = mSize * 2;
    while (size < wanted + kPageBytes)
        size *= 2;
    if (size > mMostBytes) {
        mTrouble =
            "the trace " + mPath + " ends here: it has reached " + std::to_string(mMostBytes >> 20) + " MiB";
        return false;
    }
    mSize = size;
    return true;
}

bool TraceFile::replaceByCopy(std::string_view appended, size_t size) try {
    Replacement copy(mPath, "trace");
    if (!copyTo(copy.descriptor(), appended, size))
        copy.fail();
    int file = copy.takePlace();
    if (mFile >= 0)
        close(mFile);
    mFile = file;
    mEnd += appended.size();
    mSize = size;
    return true;
} catch (const HostError& error) {
    mTrouble = error.what();
    mHasFailed = true;
    return false;
}

bool TraceFile::copyTo(int file, std::string_view appended, size_t size) {
    std::array<char, 16 * kPageBytes> part;
    for (size_t at = 0; at < mEnd;) {
        ssize_t length = pread(mFile, part.data(), std::min(part.size(), mEnd - at), static_cast<off_t>(at));
        if (length <= 0 || !writeWhole(file, {part.data(), static_cast<size_t>(length)}))
            return false;
        at += static_cast<size_t>(length);
    }
    return writeWhole(file, appended) && writeSpaces(file, size - mEnd - appended.size() - kClosing.size()) &&
           writeWhole(file, kClosing);
}

void TraceFile::giveUp(const std::string& what) {
    mTrouble = "the trace " + mPath + " can't be written any more: " + what;
    mHasFailed = true;
}

} // namespace zebhost
