#include "host/doctor/Machine.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zebhost {
namespace {

std::string userName(uid_t id) {
    const passwd* user = getpwuid(id);
    return user != nullptr ? user->pw_name : std::to_string(id);
}

std::string groupName(gid_t id) {
    const group* found = getgrgid(id);
    return found != nullptr ? found->gr_name : std::to_string(id);
}

std::string describeRights(const struct stat& status) {
    std::string letters = "rwxrwxrwx";
    for (size_t i = 0; i < letters.size(); ++i) {
        if ((status.st_mode >> (letters.size() - 1 - i) & 1) == 0)
            letters[i] = '-';
    }
    return userName(status.st_uid) + ":" + groupName(status.st_gid) + ", " + letters;
}

} // namespace

Machine::Machine() :
    isRoot(geteuid() == 0), mayOpen([](const auto& path) {
        // As the plug-in asks.
        return euidaccess(path.c_str(), R_OK | W_OK) == 0;
    }) {}

std::string Machine::firstLine(const std::string& path) const {
    std::ifstream file(at(path));
    std::string line;
    std::getline(file, line);
    return line;
}

DeviceNode deviceNode(const Machine& machine, int bus, int device) {
    std::array<char, 64> path;
    std::snprintf(path.data(), path.size(), "/dev/bus/usb/%03d/%03d", bus, device);
    DeviceNode node;
    node.path = path.data();
    struct stat status {};
    if (stat(machine.at(node.path).c_str(), &status) != 0)
        return node;
    node.exists = true;
    node.rights = describeRights(status);
    node.canBeOpened = machine.mayOpen(machine.at(node.path));
    return node;
}

} // namespace zebhost
