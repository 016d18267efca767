#include "host/doctor/Checks.h"

#include <fstream>

namespace zebhost {
namespace {

constexpr const char* kRuleFolders[] = {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                                        "/lib/udev/rules.d"};

/** A file of rules that is ours by its name. */
std::optional<std::string> ruleFile(const Machine& machine) {
    for (const char* folder : kRuleFolders) {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(machine.at(folder), none)) {
            std::string name = entry.path().filename();
            if (name.find("zeb") != std::string::npos && name.ends_with(".rules"))
                return std::string(folder) + "/" + name;
        }
    }
    return std::nullopt;
}

Finding checkRules(const Machine& machine) {
    if (std::optional<std::string> file = ruleFile(machine))
        return {"rules", Level::Ok, "udev rules are installed: " + *file};
    if (machine.isRoot)
        return {"rules", Level::Ok, "no udev rules of zebhost are installed; root needs none"};
    return {"rules", Level::Warning,
            "no udev rules of zebhost are installed: they give a group access to phones",
            "install the package zebhost, or copy its rules to /etc/udev/rules.d and run "
            "\"udevadm control --reload\""};
}

Finding checkUdevd(const Machine& machine) {
    std::error_code none;
    if (std::filesystem::exists(machine.at("/run/udev/control"), none))
        return {"udevd", Level::Ok, "udevd runs: devices are taken when its rules are done"};
    return {
        "udevd", Level::Warning,
        "udevd does not run: devices are taken as the kernel announces them, and no rule sets their rights",
        "start udevd, or run zebhost as root"};
}

/** Is a module named in a list of the kernel's, "kernel/drivers/net/usb/rndis_host.ko.xz: ..."? */
bool isListed(const Machine& machine, const std::string& list, const std::string& module) {
    std::ifstream file(machine.at(list));
    for (std::string line; std::getline(file, line);) {
        // Up to the colon: behind it stands what it depends on.
        if (line.substr(0, line.find(':')).find("/" + module + ".ko") != std::string::npos)
            return true;
    }
    return false;
}

struct TetherModule {
    const char* name;
    const char* phones;
    const char* option;
};

constexpr TetherModule kModules[] = {
    {"rndis_host", "phones that tether by RNDIS (most)", "CONFIG_USB_NET_RNDIS_HOST"},
    {"cdc_ether", "phones that tether by CDC Ethernet", "CONFIG_USB_NET_CDCETHER"},
    {"cdc_ncm", "phones that tether by CDC NCM (many newer ones)", "CONFIG_USB_NET_CDC_NCM"},
};

Finding checkModule(const Machine& machine, const TetherModule& module) {
    const std::string name = module.name;
    const std::string folder = "/lib/modules/" + machine.firstLine("/proc/sys/kernel/osrelease") + "/";
    std::error_code none;
    if (isListed(machine, folder + "modules.builtin", name))
        return {"modules", Level::Ok, "the driver " + name + " is built into the kernel"};
    if (std::filesystem::exists(machine.at("/sys/module/" + name), none))
        return {"modules", Level::Ok, "the driver " + name + " is loaded"};
    if (isListed(machine, folder + "modules.dep", name))
        return {"modules", Level::Ok,
                "the driver " + name + " is there and will be loaded when it is needed"};
    return {"modules", Level::Warning,
            "this kernel has no driver " + name + ": " + module.phones + " get no network interface",
            "install the kernel's module " + name + ", or build the kernel with " + module.option};
}

} // namespace

Findings checkUdev(const Machine& machine) { return {checkRules(machine), checkUdevd(machine)}; }

Findings checkModules(const Machine& machine) {
    Findings findings;
    for (const TetherModule& module : kModules)
        findings.push_back(checkModule(machine, module));
    return findings;
}

} // namespace zebhost
