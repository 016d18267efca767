#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zebhost {

/** What the header of an ELF file says of the system that it is for. */
struct ElfIdentity {
    /** 32 or 64; 0 for a class that does not exist. */
    int bits = 0;
    bool isLittleEndian = true;
    uint16_t type = 0;
    uint16_t machine = 0;

    bool isSharedObject() const;
    /** "64-bit x86-64", "32-bit ARM". */
    std::string name() const;
};

/** None when these are not the bytes of an ELF file, or not even its whole header. */
std::optional<ElfIdentity> elfIdentity(std::string_view file);

/** This program's own. */
ElfIdentity ownElfIdentity();

/**
 * The versions in which the file exports a symbol, "" standing for none at all; no version when it
 * does not export it. Nothing when the file has no (or a damaged) table of sections, or another byte
 * order than this machine. The bytes are a stranger's: nothing outside of them is read.
 */
std::optional<std::vector<std::string>> exportedVersions(std::string_view file, std::string_view symbol);

/**
 * Is an ELF file of this machine's byte order cut off before the end of what the loader maps? Such a file
 * ends a process that loads it. start are its first bytes, or all, and size is how many there are.
 */
bool endsBeforeItsSegments(std::string_view start, uint64_t size);

} // namespace zebhost
