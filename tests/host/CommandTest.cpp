// The program as it is started from a shell.
#include "tests/host/Command.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

struct Row {
    const char* arguments;
    int status;
    const char* says;
};

const Row kRows[] = {
    {"--version", 0, "zebhost 1.0.0"},
    {"--help", 0, "zebhost run --for 30 --json"},
    {"run --help", 0, "--property KEY=VALUE"},
    {"", 2, "zebhost: what should it do? The commands are: run"},
    {"fly", 2, "zebhost: there is no command \"fly\". The commands are: run"},
    {"rum", 2, "Did you mean \"run\"?"},
    {"run --nonsense", 2, "--nonsense"},
    {"run --for soon", 2, "soon"},
    {"run --for -1", 2, "-1"},
    {"run --log loud", 2, "loud"},
    {"run --property nothing", 2, "\"nothing\" is not KEY=VALUE"},
    {"run --property =value", 2, "is not KEY=VALUE"},
    {"list --help", 0, "zebhost list --json"},
    {"list --deny phone", 2, "\"phone\" is not VID or VID:PID"},
    {"list 2>&1 >/dev/full; echo status $?", 0,
     "zebhost: the output can't be written: No space left on device\nstatus 1"},
    {"phones --json 2>&1 >/dev/full; echo status $?", 0,
     "zebhost: the output can't be written: No space left on device\nstatus 1"},
    {"run --plugin " TEST_PLUGIN " 2>&1 >/dev/full; echo status $?", 0,
     "zebhost: the output can't be written: No space left on device\nstatus 1"},
    {"explain --help", 0, "zebhost explain 1-1.2"},
    {"explain", 2, "DEVICE is required"},
    {"explain 9-9", 1, "zebhost: there is no device \"9-9\": give BUS/DEV or a port"},
    {"phones --help", 0, "zebhost demo --phone ncm"},
    {"phones", 0, "To see one at work: zebhost demo --phone NAME"},
    {"phones --json", 0,
     "\"record\":\"phone\",\"name\":\"mouse\",\"about\":\"a mouse: must never be asked\""},
    {"demo --help", 0, "zebhost demo --phone ncm"},
    {"version --help", 0, "zebhost version --json"},
    {"version --plugin " TEST_PLUGIN, 0, "plug-in   " TEST_PLUGIN " (DISCOVERY_1.0)\nlibusb    1.0."},
    {"version --plugin /no/such.so", 0, "plug-in   there is no plug-in /no/such.so"},
    {"version --plugin " TEST_PLUGIN " --json", 0, "\"record\":\"version\",\"zebhost\":\"1.0.0\""},
    {"version --plugin /no/such.so --json", 0, "\"fault\":\"there is no plug-in /no/such.so\""},
    {"doctor --help", 0, "Exit status: 0 no problem"},
    {"doctor --root /no/such", 2, "/no/such"},
    {"doctor --plugin /no/such.so", 1, "there is no plug-in /no/such.so"},
    {"doctor --plugin /no/such.so --json", 1,
     "\"level\":\"problem\",\"text\":\"there is no plug-in /no/such.so\""},
    {"run --allow phone", 2, "--allow: \"phone\" is not VID or VID:PID, as in 18d1:4ee7"},
    {"run --deny 18d1:", 2, "--deny: \"18d1:\" is not VID or VID:PID"},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --allow 18d1 --allow 1209:1 --deny 4e8 --allow-port 1-1 "
     "--switch-tethers --dry-run --max-switches 0 --reset-stale",
     0, "stopped"},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --offer-all", 0,
     "advice     with --offer-all the plug-in asks"},
    {"report $(printf '/no/\\233such')", 1, "zebhost: there is no trace /no/\xef\xbf\xbdsuch"},
    {"run --plugin /no/such.so", 1, "zebhost: there is no plug-in /no/such.so"},
    {"run --plugin " TEST_PLUGIN " --property strange=1", 1, "does not take the property \"strange\""},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --json", 0, "\"event\":\"stopped\""},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --json", 0,
     "\"event\":\"run\",\"schema\":1,\"zebhost\":\"1.0.0\""},
    {"run --plugin " TEST_PLUGIN " --for 0.05", 0, "started    waiting for devices"},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --log error", 0, "stopped"},
    {"run --plugin " TEST_PLUGIN " --for 0.05 --property misbehave=call-after-destroy", 3, "VIOLATION"},
};

TEST(TheCommand, AnswersInWordsAndInItsExitStatus) {
    for (const Row& row : kRows) {
        Result result = zebhost(row.arguments);

        EXPECT_EQ(result.status, row.status) << row.arguments << "\n" << result.output;
        EXPECT_THAT(result.output, HasSubstr(row.says)) << row.arguments;
    }
}

TEST(TheCommand, IsSilentWhenItsReaderHasGone) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    ASSERT_EQ(dup2(ends[1], 9), 9);

    std::string small = zebhost("list 2>&1 >&9; echo status $?").output;
    std::string large = zebhost("phones --json 2>&1 >&9; echo status $?").output;

    close(ends[1]);
    close(9);
    EXPECT_EQ(small, "status 1\n");
    EXPECT_EQ(large, "status 1\n");
}

struct Misuse {
    std::string arguments;
    const char* sentence;
};

const Misuse kMisuses[] = {
    {"run --log verbose", "--log: \"verbose\" is no level; there are: fatal, error, info, debug"},
    {"run --log infoo", "(did you mean \"info\"?)"},
    {"run --alow 18d1", "\"zebhost run\" has no option \"--alow\" (did you mean \"--allow\"?)"},
    {"run --alow=18d1", "\"zebhost run\" has no option \"--alow\" (did you mean \"--allow\"?)"},
    {"run -x", "\"zebhost run\" has no option \"-x\". \"zebhost run --help\" says more."},
    {"--versoin", "\"zebhost\" has no option \"--versoin\" (did you mean \"--version\"?)"},
    {"run 18d1 --alow", "\"18d1\" is one word too many for \"zebhost run\""},
    {"explain 1-1 1-2", "\"1-2\" is one word too many for \"zebhost explain\""},
    {"explain --plugn x 1-1", "has no option \"--plugn\" (did you mean \"--plugin\"?)"},
    {"run $(printf '\\033')", "is one word too many"},
    {"run --for soon", "--for: \"soon\" is no number of seconds from 0 to 1000000000"},
    {"run --for nan", "--for: \"nan\" is no number"},
    {"run --for 1e10", "--for: \"1e10\" is no number"},
    {"run --for ''", "--for: \"\" is no number"},
    {"run --max-switches 1001", "--max-switches: \"1001\" is no whole number from 0 to 1000"},
    {"run --max-switches 1x", "--max-switches: \"1x\" is no whole number"},
    {"run --json=maybe", "--json takes no value"},
    {"run --dry-run=3", "--dry-run takes no value"},
    {"run --for 1 --for 2", "--for is given more than once"},
    {"run --plugin", "--plugin wants PATH"},
    {"list --allow", "--allow wants VID[:PID]"},
    {"run --plugin ''", "--plugin: \"\" is no path"},
    {"list --config ''", "--config: \"\" is no file"},
    {"run --trace ''", "--trace: \"\" is no file"},
    {"run --report ''", "--report: \"\" is no file"},
    {"report ''", "TRACE: \"\" is no trace"},
    {"report x -o ''", "--output: \"\" is no file"},
    {"explain ''", "DEVICE: \"\" is no device"},
    {"demo --phone ''", "--phone: \"\" is no phone"},
    {"doctor --root /no/such", "--root: there is no folder \"/no/such\""},
    {"list --allow-port foo", "--allow-port: \"foo\" is no port, as in 1-1.2"},
    {"run --for 0 --property aapserial=" + std::string(256, 's'),
     "--property: \"aapserial\" has 256 bytes: a phone can be sent at most 255"},
};

TEST(TheCommand, SaysInOneSentenceOfItsOwnHowItIsMisused) {
    for (const Misuse& misuse : kMisuses) {
        Result result = zebhost(misuse.arguments);

        EXPECT_EQ(result.status, 2) << misuse.arguments;
        EXPECT_THAT(result.output, AllOf(StartsWith("zebhost: "), HasSubstr(misuse.sentence),
                                         EndsWith(" --help\" says more.\n"), Not(HasSubstr("\033"))));
    }
}

TEST(TheCommand, TellsPhonesStringsAsLongAsTheyTake) {
    EXPECT_THAT(
        zebhost("run --plugin " TEST_PLUGIN " --for 0 --property aapserial=" + std::string(255, 's')).output,
        HasSubstr("does not take the property"));
    EXPECT_THAT(
        zebhost("run --plugin " TEST_PLUGIN " --for 0 --property folder=" + std::string(256, 's')).output,
        HasSubstr("does not take the property"));
}

TEST(TheCommand, ShowsTheLogUpToTheLevelThatWasAsked) {
    std::string start = "run --plugin " TEST_PLUGIN " --for 0.05 --json --log ";

    EXPECT_THAT(zebhost(start + "info").output, HasSubstr("handle timer"));
    EXPECT_THAT(zebhost(start + "ERROR").output, Not(HasSubstr("handle timer")));
}

TEST(TheCommand, KeepsAnEqualsSignInAValue) {
    EXPECT_EQ(zebhost("run --plugin " TEST_PLUGIN " --for 0 --property misbehave=a=b").status, 0);
}

TEST(TheCommand, EndsWithSuccessWhenItIsTerminated) {
    std::FILE* pipe = popen("echo $$; exec " ZEBHOST_COMMAND " run --json --plugin " TEST_PLUGIN, "r");
    std::array<char, 1024> line{};
    ASSERT_TRUE(std::fgets(line.data(), line.size(), pipe));
    const pid_t process = std::atoi(line.data());
    std::string output;

    while (std::fgets(line.data(), line.size(), pipe)) {
        output += line.data();
        if (std::strstr(line.data(), R"("event":"started")"))
            kill(process, SIGTERM);
    }

    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_THAT(output, HasSubstr(R"("event":"stopped")"));
    keepLines(output);
}

// Named without a folder it is the loader's to find, which would map it, or wait for it. A program that is
// started by a loader's command line has the folders that are named there.
#ifndef ZEBHOST_HAS_A_LAUNCHER
TEST(TheCommand, LooksAtAPluginInTheLibraryPathBeforeTheLoaderDoes) {
    std::string folder = "/tmp/library.XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::filesystem::copy(TEST_PLUGIN, folder + "/cut.so");
    std::filesystem::resize_file(folder + "/cut.so", 5000);
    ASSERT_EQ(mkfifo((folder + "/fifo.so").c_str(), 0600), 0);
    setenv("LD_LIBRARY_PATH", folder.c_str(), 1);

    Result cut = zebhost("doctor --plugin cut.so");
    Result fifo = zebhost("doctor --plugin fifo.so");

    unsetenv("LD_LIBRARY_PATH");
    std::filesystem::remove_all(folder);
    EXPECT_THAT(cut.output, HasSubstr(folder + "/cut.so is cut off: the file ends before its segments do"));
    EXPECT_THAT(fifo.output, HasSubstr(folder + "/fifo.so is no plug-in: it is no file"));
    EXPECT_THAT((std::vector{cut.status, fifo.status}), Each(1));
}
#endif

/** A configuration file for as long as this lives. */
class AConfiguration {
public:
    explicit AConfiguration(const std::string& text) {
        close(mkstemp(mPath.data()));
        std::ofstream(mPath) << text;
    }
    ~AConfiguration() { std::filesystem::remove(mPath); }
    std::string option() const { return " --config " + mPath; }

private:
    std::string mPath = "/tmp/configuration.XXXXXX";
};

TEST(TheCommand, TakesFromTheConfigurationWhatItIsNotTold) {
    const AConfiguration configuration("log = \"error\"\n[plugin]\npath = \"" TEST_PLUGIN "\"\n");

    std::string asConfigured = zebhost("run --for 0.05" + configuration.option()).output;
    std::string asTold = zebhost("run --for 0.05 --log info" + configuration.option()).output;

    EXPECT_THAT(asConfigured, AllOf(HasSubstr("stopped"), Not(HasSubstr("handle timer"))));
    EXPECT_THAT(asTold, HasSubstr("handle timer"));
}

TEST(TheCommand, AddsPropertiesToThoseOfTheConfiguration) {
    const AConfiguration configuration("[plugin]\npath = \"" TEST_PLUGIN
                                       "\"\n[plugin.properties]\nmisbehave = \"call-after-destroy\"\n");

    EXPECT_EQ(zebhost("run --for 0.05" + configuration.option()).status, 3);
    EXPECT_EQ(zebhost("run --for 0.05 --property misbehave=no" + configuration.option()).status, 0);
}

TEST(TheCommand, EndsAtAWrongConfiguration) {
    const AConfiguration wrong("[policy]\nalow = []\n");

    for (const char* command : {"run", "list", "explain 1-1", "doctor"}) {
        Result result = zebhost(command + wrong.option());

        EXPECT_EQ(result.status, 2) << command;
        EXPECT_THAT(result.output,
                    HasSubstr(":2:1: there is no \"alow\" in [policy] (did you mean \"allow\"?)"));
    }
    EXPECT_THAT(zebhost("list --config /no/such").output, HasSubstr("there is no configuration /no/such"));
}

// 0x9b begins a command to a terminal as ESC [ does, and is no UTF-8.
TEST(TheCommand, ShowsNoTerminalWhatItWasGiven) {
    const AConfiguration wrong("\"\x9b\" = 1\n");
    const std::string given = "$(printf '/no/such/a\\233\\033')";
    const std::string run = "run --for 0.05 --plugin " TEST_PLUGIN;
    for (const std::string& arguments :
         {given, "list --config " + given, "list" + wrong.option(), "run " + given, "explain " + given,
          "report " + given, run + " --trace " + given, run + " --trace " + given + " --report " + given,
          run + " --plugin " + given}) {
        Result result = zebhost(arguments);

        EXPECT_NE(result.status, 0) << arguments;
        EXPECT_THAT(result.output,
                    AllOf(HasSubstr("zebhost: "), Not(HasSubstr("\033")), Not(HasSubstr("\x9b"))))
            << arguments;
    }
}

TEST(TheCommand, FindsNoProblemOnAMachineWithoutOne) {
    char root[] = "/tmp/machine.XXXXXX";
    std::filesystem::create_directories(std::string(mkdtemp(root)) + "/dev/bus/usb");

    Result result = zebhost("doctor --plugin " TEST_PLUGIN " --root " + std::string(root));

    std::filesystem::remove_all(root);
    EXPECT_THAT(result.output, HasSubstr("\n0 problems, "));
    EXPECT_EQ(result.status, 0);
}

TEST(TheCommand, IsNotColouredInAPipe) {
    EXPECT_THAT(zebhost("run --plugin " TEST_PLUGIN " --for 0.05").output, Not(HasSubstr("\033")));
}

} // namespace
} // namespace zebhost
