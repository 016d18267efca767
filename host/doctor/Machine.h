#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace zebhost {

/** The system that is looked at: this one, or (in a test) a folder that stands for its "/". */
struct Machine {
    Machine();

    std::filesystem::path root = "/";
    bool isRoot;
    /** May this process open the file for reading and writing? */
    std::function<bool(const std::filesystem::path&)> mayOpen;

    /** Where the system's file is; path is absolute. */
    std::filesystem::path at(const std::string& path) const { return root / path.substr(1); }
    /** The first line of a file, "" when it can't be read. */
    std::string firstLine(const std::string& path) const;
};

/** A device's node under /dev/bus/usb. */
struct DeviceNode {
    std::string path;
    bool exists = false;
    bool canBeOpened = false;
    /** "root:plugdev, rw-rw-r--"; empty when it does not exist. */
    std::string rights;
};

DeviceNode deviceNode(const Machine& machine, int bus, int device);

} // namespace zebhost
