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
    /** The name is no more than that. */
    bool isWhole = false;
};

constexpr char kOptOut[] =
    "stop it, or install zebhost's optional udev marks that tell it to leave phones alone";

// adb, for one, begins as the name of another does, that of the device's side.
bool isNamed(const std::string& name, const Daemon& daemon) {
    return daemon.isWhole ? name == daemon.process : name.starts_with(daemon.process);
}

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
    {"adb", "holds the debugging interface of phones", "run \"adb kill-server\" when phones are not found",
     true},
};

/** Names of processes, each with their numbers. */
std::map<std::string, std::set<int>> processes(const Machine& machine) {
    std::map<std::string, std::set<int>> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(machine.at("/proc"), none)) {
        std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::string name = machine.firstLine("/proc/" + number + "/comm");
        found[name].insert(std::atoi(number.c_str()));
    }
    return found;
}

// Of the device's side: they serve whoever this machine is plugged into.
constexpr std::string_view kServers[] = {"adbd", "umtprd"};

/** "run" is what drives a plug-in; the other commands ask no device anything. */
bool drivesPlugin(const Machine& machine, int pid) {
    const std::string words = machine.firstLine("/proc/" + std::to_string(pid) + "/cmdline");
    const size_t command = words.find('\0') + 1;
    return words.substr(command, words.find('\0', command) - command) == "run";
}

std::string process(const std::string& name, int pid) {
    return name + " (process " + std::to_string(pid) + ") ";
}

void addHosts(const Machine& machine, const std::string& name, const std::set<int>& pids,
              Findings& findings) {
    for (int pid : pids) {
        if (name == "zebhost" && drivesPlugin(machine, pid))
            findings.push_back({"daemons", Level::Warning,
                                process(name, pid) + "drives the USB devices already",
                                "end it before you start another"});
    }
}

/** Of several processes of the same name the first stands for all. */
void addDaemon(const std::string& name, int pid, Findings& findings) {
    auto daemon = std::find_if(std::begin(kDaemons), std::end(kDaemons),
                               [&name](const Daemon& d) { return isNamed(name, d); });
    if (daemon != std::end(kDaemons))
        findings.push_back({"daemons", Level::Warning, process(name, pid) + daemon->does, daemon->advice});
}

void addServer(const std::string& name, int pid, Findings& findings) {
    if (std::find(std::begin(kServers), std::end(kServers), name) != std::end(kServers))
        findings.push_back(
            {"daemons", Level::Ok,
             process(name, pid) + "serves whoever this machine is plugged into, and grabs no phone"});
}

} // namespace

Findings checkDaemons(const Machine& machine) {
    Findings findings;
    Findings serving;
    for (const auto& [name, pids] : processes(machine)) {
        addHosts(machine, name, pids, findings);
        addDaemon(name, *pids.begin(), findings);
        addServer(name, *pids.begin(), serving);
    }
    if (findings.empty())
        findings.push_back({"daemons", Level::Ok, "no other program that grabs phones is running"});
    findings.insert(findings.end(), serving.begin(), serving.end());
    return findings;
}

} // namespace zebhost
