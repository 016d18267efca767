#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zebhost {

/**
 * A file with a JSON array that grows, and that is valid JSON at every moment: also when the process is
 * killed while it writes.
 *
 * The closing bracket stands at the end of the file from the beginning, and the room before it is
 * filled with spaces. An object is put into that room by one write that stays inside one page: a kill
 * can cut a write short between two pages, never inside one. When the room is used up, and when the file
 * is closed, a copy of the right size takes the file's place.
 */
class TraceFile {
public:
    static constexpr size_t kPageBytes = 4096;
    static constexpr size_t kMostBytes = size_t{64} << 20;

    /** Replaces the file at path, or behind the link there. Throws HostError when nothing can be written. */
    explicit TraceFile(std::string path, size_t mostBytes = kMostBytes);
    /** Leaves the array without spare room. */
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    /** Append one JSON object. Nothing happens after something went wrong. */
    void append(std::string_view object);

    /** Why nothing more is written; empty while all is well. */
    const std::string& trouble() const { return mTrouble; }
    /** Something went wrong: it is not just as large as it may be. */
    bool hasFailed() const { return mHasFailed; }

private:
    bool write(std::string_view text, size_t at);
    bool grow(size_t wanted);
    bool replaceByCopy(std::string_view appended, size_t size);
    bool copyTo(int file, std::string_view appended, size_t size);
    void giveUp(const std::string& what);

    const std::string mPath;
    const size_t mMostBytes;
    int mFile = -1;
    /** Where the last object ends, and where the file does. */
    size_t mEnd = 0;
    size_t mSize = 0;
    bool mIsEmpty = true;
    std::string mTrouble;
    bool mHasFailed = false;
};

} // namespace zebhost
