#include "host/Plugin.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/commands/Json.h"
#include "host/doctor/Checks.h"

#include <algorithm>
#include <iterator>

namespace zebhost {
namespace {

Colour colourOf(Level level) {
    return level == Level::Ok ? Colour::Good : level == Level::Warning ? Colour::Notable : Colour::Bad;
}

void show(const Finding& finding, bool colours, std::FILE* out) {
    std::string level = nameOf(finding.level);
    level.resize(9, ' ');
    std::fprintf(out, "%s%-9s%s\n", painted(level, colourOf(finding.level), colours).c_str(), finding.check,
                 printable(finding.text).c_str());
    if (!finding.advice.empty())
        std::fprintf(out, "%18s-> %s\n", "", finding.advice.c_str());
}

std::string counted(size_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

Findings examine(const DoctorOptions& options) {
    Machine machine;
    machine.root = options.root;
    Findings all;
    for (Findings some : {checkNodes(machine), checkUdev(machine), checkModules(machine),
                          checkDaemons(machine), checkLibusb(askLibusb()),
                          checkPlugin(options.plugin.empty() ? defaultPluginPath() : options.plugin)})
        std::move(some.begin(), some.end(), std::back_inserter(all));
    return all;
}

} // namespace

ExitStatus perform(const DoctorOptions& options, std::FILE* out) {
    const Findings findings = examine(options);
    const bool colours = coloursWanted(out);
    for (const Finding& finding : findings) {
        if (options.json)
            std::fprintf(out, "%s\n", jsonOf(finding).c_str());
        else
            show(finding, colours, out);
    }
    auto count = [&](Level level) {
        return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                                 [level](const Finding& f) { return f.level == level; }));
    };
    if (!options.json)
        std::fprintf(out, "\n%s, %s\n", counted(count(Level::Problem), "problem").c_str(),
                     counted(count(Level::Warning), "warning").c_str());
    return count(Level::Problem) > 0 ? kExitFailed : kExitDone;
}

} // namespace zebhost
