#include "host/Options.h"

#include <CLI/CLI.hpp>

namespace zebhost {
namespace {

constexpr char kAbout[] =
    "zebhost loads a discoverer plug-in and drives it as a device's own host does: it offers it the\n"
    "USB devices of this machine and prints what it finds.";

constexpr char kExamples[] = R"(Examples:
  zebhost run                      watch what is plugged in, until Ctrl-C
  zebhost run --for 30 --json      for half a minute, one JSON object a line
  zebhost run --log debug          with everything that the plug-in has to say
  zebhost run --property aapmodel=Bench --property aapserial=0001
                                   tell phones another name for this accessory
  zebhost run --plugin build/asan/libzebdiscoverer-usb.so
                                   drive another build of the plug-in

A phone that could be switched to accessory mode is asked to. Reading USB devices needs the right
to open /dev/bus/usb/BUS/DEVICE: run as root, or give your user access by a udev rule.

Exit status: 0 ended as asked; 1 could not run, or the plug-in stopped by itself; 2 wrong command
line; 3 the plug-in broke its contract (see the lines marked "violation").)";

/** "KEY=VALUE"; the value may be empty and may contain more of "=". */
std::pair<std::string, std::string> splitProperty(const std::string& text) {
    size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw CLI::ValidationError("--property", "\"" + text + "\" is not KEY=VALUE");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

const std::map<std::string, int32_t> kLevels = {{"fatal", ZEBDiscoveryLogSeverityFatal},
                                                {"error", ZEBDiscoveryLogSeverityError},
                                                {"info", ZEBDiscoveryLogSeverityInfo},
                                                {"debug", ZEBDiscoveryLogSeverityDebug}};

void addRun(CLI::App& app, RunOptions& options) {
    CLI::App* run = app.add_subcommand("run", "Drive the plug-in and print what happens");
    run->add_option("--plugin", options.plugin,
                    "The plug-in to load; by default libzebdiscoverer-usb.so beside this program, then in "
                    "the library path")
        ->type_name("PATH");
    run->add_flag("--json", options.json, "One JSON object a line instead of text for people");
    run->add_option("--for", options.seconds, "End after so many seconds; by default at Ctrl-C or SIGTERM")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e9).description(""));
    run->add_option_function<std::vector<std::string>>(
           "--property",
           [&options](const std::vector<std::string>& texts) {
               for (const std::string& text : texts)
                   options.properties.push_back(splitProperty(text));
           },
           "Set a property of the plug-in; may be given again")
        ->type_name("KEY=VALUE")
        ->type_size(1)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    run->add_option("--log", options.logLevel, "How much of the plug-in's log: fatal, error, info, debug")
        ->type_name("LEVEL")
        ->default_str("info")
        ->transform(CLI::CheckedTransformer(kLevels, CLI::ignore_case).description(""));
    run->footer(kExamples);
}

} // namespace

std::variant<RunOptions, ExitNow> parseCommandLine(int argc, char** argv) {
    RunOptions options;
    CLI::App app(kAbout, "zebhost");
    app.set_version_flag("--version", "zebhost " ZEBHOST_VERSION);
    app.require_subcommand(1);
    app.footer(kExamples);
    addRun(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return ExitNow{app.exit(error) == 0 ? kExitDone : kExitUsage};
    }
    return options;
}

} // namespace zebhost
