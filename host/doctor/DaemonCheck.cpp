#include "host/doctor/Checks.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

namespace zebhost {
namespace {

struct Daemon {
    /** How the process's name begins; the kernel keeps 15 letters of it. */
    const char* process;
    const char* does;
    const char* advice;
};

constexpr char kOptOut[] =
    "stop it, or install zebhost's optional udev marks that tell it to leave phones alone";

constexpr Daemon kDaemons[] = {
    {"gvfs-mtp", "opens phones to show their files", kOptOut},
    {"gvfs-gphoto2", "opens phones to show their pictures", kOptOut},
    {"gvfsd-mtp", "holds a phone open to show its files", "unmount the phone in the file manager"},
    {"gvfsd-gphoto2", "holds a phone open to show its pictures", "unmount the phone in the file manager"},
    {"kiod", "opens phones to show their files", kOptOut},
    {"kio_mtp", "holds a phone open to show its files", "close the file manager's view of the phone"},
    {"mtp-probe", "asks each new device whether it is a phone", kOptOut},
    {"jmtpfs", "holds a phone open to show its files", "unmount it"},
    {"simple-mtpfs", "holds a phone open to show its files", "unmount it"},
    {"ModemManager", "asks new devices whether they are modems", kOptOut},
    {"usbguard", "decides which devices may be used, and sees each mode of a phone as a new device",
     "allow both modes of the phone in its policy"},
    {"adb", "holds the debugging interface of phones", "run \"adb kill-server\" when phones are not found"},
};

/** Names of processes, each with the lowest number that has it. */
std::map<std::string, int> processes(const Machine& machine) {
    std::map<std::string, int> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(machine.at("/proc"), none)) {
        std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::string name = machine.firstLine("/proc/" + number + "/comm");
        int pid = std::atoi(number.c_str());
        auto [known, isNew] = found.emplace(name, pid);
        known->second = std::min(known->second, pid);
    }
    return found;
}

} // namespace

Findings checkDaemons(const Machine& machine) {
    Findings findings;
    for (const auto& [name, pid] : processes(machine)) {
        auto daemon = std::find_if(std::begin(kDaemons), std::end(kDaemons),
                                   [&name = name](const Daemon& d) { return name.starts_with(d.process); });
        if (daemon != std::end(kDaemons))
            findings.push_back({"daemons", Level::Warning,
                                name + " (process " + std::to_string(pid) + ") " + daemon->does,
                                daemon->advice});
    }
    if (findings.empty())
        findings.push_back({"daemons", Level::Ok, "no other program that grabs phones is running"});
    return findings;
}

} // namespace zebhost
