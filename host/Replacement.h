#pragma once

#include <string>
#include <string_view>

namespace zebhost {

/**
 * A file that is going to take the place of the one at a path, at once and whole, or not at all. Where there
 * is a link, what it leads to is replaced; the new file gets the rights of the old one. Until then it stands
 * beside it under a name that nothing else has.
 */
class Replacement {
public:
    /** what it is ("trace") is said when it can't be there: throws HostError. Only a regular file is
     *  replaced. */
    Replacement(const std::string& path, const std::string& what);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    /** To write to; stays this one's. */
    int descriptor() const { return mDescriptor; }

    /** Put it there. The descriptor becomes the caller's. Throws HostError. */
    int takePlace();

    /** errno as a HostError of this file. */
    [[noreturn]] void fail() const;

private:
    const std::string mPath;
    const std::string mWhat;
    std::string mTemporary;
    int mDescriptor = -1;
};

/** Where a path leads in the end: links are followed, also one to what does not exist yet. */
std::string behindLinks(const std::string& path);

/** Is there something at the path that can be written to, but not replaced? */
bool isNoRegularFile(const std::string& path);

/** Are these the same file, whatever leads there? Not when one does not exist. */
bool isSameFile(const std::string& one, const std::string& other);
bool isSameFile(const std::string& path, int descriptor);

/** Write all of it; false, with errno, when that fails. */
bool writeWhole(int file, std::string_view text);

} // namespace zebhost
