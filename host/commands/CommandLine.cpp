#include "host/commands/CommandLine.h"

#include "host/Configuration.h"
#include "host/Nearest.h"
#include "host/PropertyAdvice.h"
#include "host/Terminal.h"
#include "host/commands/Help.h"
#include "host/commands/OptionChecks.h"
#include "host/commands/UsageFault.h"

#include <CLI/CLI.hpp>

namespace zebhost {
namespace {

/** "KEY=VALUE"; the value may be empty and may contain more of "=". */
std::pair<std::string, std::string> splitProperty(const std::string& text) {
    size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw CLI::ValidationError("--property", "\"" + text + "\" is not KEY=VALUE");
    std::pair<std::string, std::string> property(text.substr(0, equals), text.substr(equals + 1));
    if (std::optional<std::string> fault = propertyFault(property.first, property.second))
        throw CLI::ValidationError("--property", *fault);
    return property;
}

/** An option that may be given again; each time its text is handed to take. */
void addRepeatable(CLI::App& command, const char* name, const char* type, const char* description,
                   std::function<void(const std::string&)> take) {
    command
        .add_option_function<std::vector<std::string>>(
            name,
            [take = std::move(take)](const std::vector<std::string>& texts) {
                std::for_each(texts.begin(), texts.end(), take);
            },
            description)
        ->type_name(type)
        ->type_size(1)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

/** It takes no value. */
void addFlag(CLI::App& command, const char* name, bool& flag, const char* description) {
    command.add_flag(name, flag, description)->disable_flag_override();
}

void addPlugin(CLI::App& command, Settings& settings) {
    command
        .add_option("--plugin", settings.plugin,
                    "The plug-in to load; by default libzebdiscoverer-usb.so beside this program, then where "
                    "it is installed with it, then in the library path")
        ->type_name("PATH")
        ->check(notEmpty("path"));
}

void addPluginSettings(CLI::App& command, Settings& settings) {
    addPlugin(command, settings);
    addRepeatable(
        command, "--property", "KEY=VALUE", "Set a property of the plug-in; may be given again",
        [&settings](const std::string& text) { settings.properties.push_back(splitProperty(text)); });
    command
        .add_option("--log", settings.logLevel, "How much of the plug-in's log: fatal, error, info, debug")
        ->type_name("LEVEL")
        ->default_str("info")
        ->transform(logLevel());
}

IdPattern idPattern(const char* option, const std::string& text) {
    if (std::optional<IdPattern> pattern = parseIdPattern(text))
        return *pattern;
    throw CLI::ValidationError(option, "\"" + text + "\" is not VID or VID:PID, as in 18d1:4ee7");
}

std::string portName(const std::string& text) {
    if (isPortName(text))
        return text;
    throw CLI::ValidationError("--allow-port", "\"" + text + "\" is no port, as in 1-1.2");
}

void addPolicy(CLI::App& command, PolicySettings& policy) {
    addRepeatable(command, "--allow", "VID[:PID]",
                  "Offer these devices, whatever they look like; may be given again",
                  [&policy](const std::string& text) { policy.allow.push_back(idPattern("--allow", text)); });
    addRepeatable(command, "--deny", "VID[:PID]",
                  "Never offer these, whatever else allows them; may be given again",
                  [&policy](const std::string& text) { policy.deny.push_back(idPattern("--deny", text)); });
    addRepeatable(command, "--allow-port", "PORT",
                  "Offer whatever is plugged in there (named as in /sys/bus/usb/devices: 1-1.2)",
                  [&policy](const std::string& text) { policy.allowPorts.push_back(portName(text)); });
    addFlag(command, "--switch-tethers", policy.switchTethers,
            "Offer phones that tether by NCM, ECM or RNDIS 239/4/1 too: it ends their network");
    addFlag(command, "--offer-all", policy.offerAll,
            "Offer everything but hubs. Careful: being asked can upset what is no phone");
}

void addSwitchLimits(CLI::App& command, PolicySettings& policy) {
    command
        .add_option(
            "--max-switches", policy.maxSwitches,
            "How often a phone may be offered for the switch at one port within a minute; 0: any number")
        ->type_name("N")
        ->default_str("3")
        ->check(wholeNumber(1000));
    addFlag(command, "--reset-stale", policy.resetStale,
            "Reset the port, once, of a phone that is in accessory mode at the start");
}

void addJson(CLI::App& command, bool& json) {
    addFlag(command, "--json", json, "One JSON object a line instead of text for people");
}

/** One reading of the command line. */
struct Reading {
    /** What the options start from. */
    Settings settings;
    /** The file that --config names. */
    std::optional<std::string> configuration{};
    Request request{};
};

/** A command; the request becomes its options when it is the one that was given. */
template <class Options>
std::pair<CLI::App&, Options&> addCommand(CLI::App& app, Reading& reading, const char* name,
                                          const char* description, const char* examples) {
    auto options = std::make_shared<Options>();
    static_cast<Settings&>(*options) = reading.settings;
    CLI::App* command = app.add_subcommand(name, description);
    command->footer(examples);
    command->callback([&reading, options] { reading.request = *options; });
    addJson(*command, options->json);
    command
        ->add_option("--config", reading.configuration,
                     std::string("Read settings from this file; by default from ") + kStandardConfiguration +
                         " when it is there")
        ->type_name("FILE")
        ->check(notEmpty("file"));
    return {*command, *options};
}

void addRun(CLI::App& app, Reading& reading) {
    auto [run, options] =
        addCommand<RunOptions>(app, reading, "run", "Drive the plug-in and print what happens", help::kRun);
    addPluginSettings(run, options);
    addPolicy(run, options.policy);
    addSwitchLimits(run, options.policy);
    addFlag(run, "--dry-run", options.policy.dryRun, "Say what would be offered and why; offer nothing");
    run.add_option("--for", options.seconds, "End after so many seconds; by default at Ctrl-C or SIGTERM")
        ->type_name("SECONDS")
        ->check(seconds());
    run.add_option("--trace", options.trace,
                   "Write everything that happens to this file, for ui.perfetto.dev or chrome://tracing")
        ->type_name("FILE")
        ->check(notEmpty("file"));
    run.add_option("--report", options.report, "At the end write a page about the run, for a browser")
        ->type_name("FILE.html")
        ->check(notEmpty("file"));
}

void addList(CLI::App& app, Reading& reading) {
    auto [list, options] = addCommand<ListOptions>(
        app, reading, "list", "What is plugged in, and what of it the plug-in would be offered", help::kList);
    addPolicy(list, options.policy);
}

void addExplain(CLI::App& app, Reading& reading) {
    auto [explain, options] = addCommand<ExplainOptions>(
        app, reading, "explain", "Why a device is or isn't found, and what to do next", help::kExplain);
    explain.add_option("DEVICE", options.device, "BUS/DEV or a port, as \"zebhost list\" shows them")
        ->type_name(" ")
        ->check(notEmpty("device"))
        ->required();
    addPlugin(explain, options);
    addPolicy(explain, options.policy);
}

void addDoctor(CLI::App& app, Reading& reading) {
    auto [doctor, options] = addCommand<DoctorOptions>(
        app, reading, "doctor", "Look for what keeps this machine from finding phones", help::kDoctor);
    addPlugin(doctor, options);
    doctor.add_option("--root", options.root, "Look at the system whose files are below this folder")
        ->type_name("FOLDER")
        ->default_str("/")
        ->check(existingFolder());
}

void addPhones(CLI::App& app, Reading& reading) {
    addCommand<PhonesOptions>(app, reading, "phones",
                              "The simulated phones, what each stands for, and what becomes of it",
                              help::kPhones);
}

void addDemo(CLI::App& app, Reading& reading) {
    auto options = std::make_shared<DemoOptions>();
    CLI::App* demo = app.add_subcommand("demo", "Watch simulated phones being found; needs no USB");
    demo->footer(help::kDemo);
    demo->callback([&reading, options] { reading.request = *options; });
    demo->add_option("--phone", options->phone, "Only this one of \"zebhost phones\"")
        ->type_name("NAME")
        ->check(notEmpty("phone"));
}

void addVersion(CLI::App& app, Reading& reading) {
    auto [version, options] = addCommand<VersionOptions>(
        app, reading, "version", "The versions of this program, the plug-in and libusb", help::kVersion);
    addPlugin(version, options);
}

/** It neither reads a configuration nor has lines to print. */
void addReport(CLI::App& app, Reading& reading) {
    auto options = std::make_shared<ReportOptions>();
    CLI::App* report = app.add_subcommand("report", "Make a page of the trace of a run, for a browser");
    report->footer(help::kReport);
    report->callback([&reading, options] { reading.request = *options; });
    report->add_option("TRACE", options->trace, "What \"zebhost run --trace\" wrote")
        ->type_name(" ")
        ->check(notEmpty("trace"))
        ->required();
    report->add_option("-o,--output", options->page, "Where the page goes; by default TRACE.html")
        ->type_name("FILE.html")
        ->check(notEmpty("file"));
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands(nullptr))
        names.push_back(command->get_name());
    return names;
}

/** Whether the first word is a command or an option; says what is wrong when it is not. */
bool namesACommand(const CLI::App& app, int argc, char** argv) {
    std::vector<std::string> names = commandNames(app);
    std::string all;
    for (const std::string& name : names)
        all += " " + name;
    std::string word = argc > 1 ? argv[1] : "";
    if (word.starts_with('-') || std::find(names.begin(), names.end(), word) != names.end())
        return true;
    std::string wrong = word.empty() ? "what should it do?" : "there is no command \"" + word + "\".";
    if (std::optional<std::string> close = nearest(word, names))
        wrong += " Did you mean \"" + *close + "\"?";
    complain(wrong + " The commands are:" + all + ". \"zebhost --help\" explains them.");
    return false;
}

void read(Reading& reading, int argc, char** argv) {
    CLI::App app(help::kAbout, "zebhost");
    app.set_version_flag("--version", "zebhost " ZEBHOST_VERSION);
    app.require_subcommand(1);
    app.footer(help::kCommands);
    for (auto* add : {addRun, addList, addExplain, addDoctor, addPhones, addDemo, addVersion, addReport})
        add(app, reading);
    reading.request = ExitNow{kExitUsage};
    if (!namesACommand(app, argc, argv))
        return;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Help and version are such errors too.
        reading.request = ExitNow{kExitUsage};
        if (error.get_exit_code() == 0)
            reading.request = ExitNow{app.exit(error) == 0 ? kExitDone : kExitUsage};
        else
            complain(usageFault(app, error));
    }
}

} // namespace

// Read twice: the first time tells which configuration to start from, and whether it is right at all.
Request parseCommandLine(int argc, char** argv) try {
    Reading first{};
    read(first, argc, argv);
    if (std::holds_alternative<ExitNow>(first.request))
        return first.request;
    Reading second{readSettings(first.configuration)};
    read(second, argc, argv);
    return second.request;
} catch (const ConfigurationError& error) {
    complain(error.what());
    return ExitNow{kExitUsage};
}

} // namespace zebhost
