#pragma once

#include "host/ElfFile.h"

#include <optional>
#include <string>
#include <vector>

namespace zebhost {

/** A plug-in's file, looked at without loading it. */
struct PluginFile {
    std::string path;
    /** None when it is no ELF file. */
    std::optional<ElfIdentity> elf;
    /** In which versions it exports the entry function; none when that can't be told. */
    std::optional<std::vector<std::string>> entryVersions;
    /** Why this host can't load it, as a sentence; empty when nothing speaks against it. */
    std::string fault;
    /** Loading it would not just fail: it would end the process, or never return. */
    bool isHarmful = false;
};

PluginFile inspectPlugin(const std::string& path);

/** The fault of an entry function that was looked for and not found. */
std::string entryFault(const std::string& path, const std::vector<std::string>& versions);

/** Of the entry function. */
extern const char kEntryFunction[];

} // namespace zebhost
