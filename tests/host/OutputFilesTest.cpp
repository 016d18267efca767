// Where a run's trace and page go, and what becomes of what is there.
#include "tests/host/Command.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

const std::string kRun = "run --json --for 0.05 --plugin " TEST_PLUGIN;

class AnOutputFile : public Test {
protected:
    AnOutputFile() { mFolder = mkdtemp(mFolder.data()); }
    ~AnOutputFile() override { std::filesystem::remove_all(mFolder); }

    std::string at(const std::string& name) const { return mFolder + "/" + name; }
    void write(const std::string& name, const std::string& text) { std::ofstream(at(name)) << text; }
    std::string text(const std::string& name) const {
        std::ifstream file(at(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool holdsATrace(const std::string& name) const {
        return text(name).starts_with("[\n{\"ph\":") && text(name).ends_with("\n]\n");
    }
    bool holdsAPage(const std::string& name) const {
        return text(name).starts_with("<!DOCTYPE html>") && text(name).ends_with("</html>\n");
    }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder))
            found.push_back(entry.path().filename());
        return found;
    }
    /** The program with files that may not grow beyond so many times 512 bytes. */
    Result withLimit(int blocks, const std::string& arguments) const {
        return shell("ulimit -f " + std::to_string(blocks) + "; " ZEBHOST_COMMAND " " + arguments);
    }

    std::string mFolder = "/tmp/outputs.XXXXXX";
};

TEST_F(AnOutputFile, IsReplacedBehindItsLinkAndKeepsItsMode) {
    for (const char* name : {"real.json", "real.html"}) {
        write(name, "old");
        chmod(at(name).c_str(), 0600);
    }
    std::filesystem::create_symlink("real.json", at("link.json"));
    std::filesystem::create_symlink(at("real.html"), at("link.html"));

    Result result = zebhost(kRun + " --trace " + at("link.json") + " --report " + at("link.html"));

    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(holdsATrace("real.json") && holdsAPage("real.html"));
    for (const char* name : {"real.json", "real.html"})
        EXPECT_EQ(std::filesystem::status(at(name)).permissions(), std::filesystem::perms{0600}) << name;
    EXPECT_THAT(names(), UnorderedElementsAre("real.json", "real.html", "link.json", "link.html"));
    EXPECT_EQ(std::filesystem::read_symlink(at("link.json")), "real.json");
}

TEST_F(AnOutputFile, IsMadeWhereALinkLeadsThatLeadsNowhereYet) {
    std::filesystem::create_symlink("new.json", at("link.json"));

    EXPECT_EQ(zebhost(kRun + " --trace " + at("link.json")).status, 0);

    EXPECT_TRUE(holdsATrace("new.json"));
    EXPECT_THAT(names(), UnorderedElementsAre("new.json", "link.json"));
}

TEST_F(AnOutputFile, GetsTheRightsOfAnyNewFile) {
    Result result = shell("umask 027; " ZEBHOST_COMMAND " " + kRun + " --trace " + at("run.json") +
                          " --report " + at("page.html"));

    EXPECT_EQ(result.status, 0) << result.output;
    for (const char* name : {"run.json", "page.html"})
        EXPECT_EQ(std::filesystem::status(at(name)).permissions(), std::filesystem::perms{0640}) << name;
}

TEST_F(AnOutputFile, CostsNoFileBesideIt) {
    for (const char* name : {"run.json.new", "page.html.trace", "page.html.new"})
        write(name, "mine");

    Result traced = zebhost(kRun + " --trace " + at("run.json"));
    Result reported = zebhost(kRun + " --report " + at("page.html"));

    EXPECT_EQ(traced.status + reported.status, 0) << traced.output << reported.output;
    for (const char* name : {"run.json.new", "page.html.trace", "page.html.new"})
        EXPECT_EQ(text(name), "mine") << name;
    EXPECT_TRUE(holdsATrace("run.json") && holdsAPage("page.html"));
    EXPECT_THAT(names(), SizeIs(5));
}

// The device is a terminal, whose folder takes no files: whoever breaks the rule as root breaks nothing else.
TEST_F(AnOutputFile, IsNoneOfTheThingsThatCanNotBeReplaced) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
    const std::string terminal = ptsname(master);
    ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink(terminal, at("link"));
    for (const char* option : {"--trace ", "--report "}) {
        for (const std::string& path : {at("fifo"), at("link"), mFolder, terminal}) {
            Result result = zebhost(kRun + " " + option + path);

            EXPECT_EQ(result.status, 1) << option << path;
            EXPECT_THAT(result.output,
                        AllOf(HasSubstr("needs a file that can be rewritten, and " + path + " is none"),
                              Not(HasSubstr("started"))));
        }
    }
    close(master);
    EXPECT_TRUE(std::filesystem::is_fifo(at("fifo")));
    EXPECT_THAT(names(), UnorderedElementsAre("fifo", "link"));
}

TEST_F(AnOutputFile, IsNotOneThatHasLostItsName) {
    for (const char* option : {"--trace ", "--report "}) {
        Result result = shell("exec 3>" + at("gone") + "; rm " + at("gone") + "; " ZEBHOST_COMMAND " " +
                              kRun + " " + option + "/dev/fd/3");

        EXPECT_EQ(result.status, 1) << option;
        EXPECT_THAT(result.output, HasSubstr("a file that can be rewritten, and /dev/fd/3 is none"));
        EXPECT_THAT(names(), IsEmpty());
    }
}

TEST_F(AnOutputFile, IsNotTheOneThatTheLinesGoTo) {
    for (const char* option : {"--trace ", "--report "}) {
        for (const char* stream : {"1 /dev/stdout", "2 /dev/stderr"}) {
            std::string path = std::string(stream).substr(2);
            Result result = zebhost(kRun + " " + option + path + " " + stream[0] + ">" + at("lines") +
                                    "; echo status $?");

            EXPECT_THAT(result.output + text("lines"),
                        AllOf(HasSubstr("status 2"),
                              HasSubstr(option + path + " is where the lines of this run go")));
        }
    }
}

TEST_F(AnOutputFile, IsNotBothTraceAndPage) {
    write("run.json", "mine");
    std::filesystem::create_symlink("run.json", at("link"));
    for (const std::string& other : {at("run.json"), at("link"), at("./run.json")}) {
        Result result = zebhost(kRun + " --trace " + at("run.json") + " --report " + other);

        EXPECT_EQ(result.status, 2) << other;
        EXPECT_THAT(result.output, HasSubstr("--trace and --report name the same file"));
    }
    EXPECT_EQ(zebhost(kRun + " --trace " + at("new") + " --report " + at("./new")).status, 2);
    EXPECT_EQ(text("run.json"), "mine");
}

TEST_F(AnOutputFile, IsNotTheTraceThatAPageIsMadeOf) {
    ASSERT_EQ(zebhost(kRun + " --trace " + at("run.json")).status, 0);
    std::filesystem::create_symlink("run.json", at("link"));
    for (const char* other : {"run.json", "link"}) {
        Result result = zebhost("report " + at("run.json") + " -o " + at(other));

        EXPECT_EQ(result.status, 2) << other;
        EXPECT_THAT(result.output, HasSubstr("the page would take the place of its own trace"));
    }
    EXPECT_TRUE(holdsATrace("run.json"));
}

TEST_F(AnOutputFile, OfAReportMayBeAPipe) {
    ASSERT_EQ(zebhost(kRun + " --trace " + at("run.json")).status, 0);
    write("before", "before\n");

    std::string piped = zebhost("report " + at("run.json") + " -o /dev/stdout").output;
    zebhost("report " + at("run.json") + " -o /dev/stdout >>" + at("before"));
    Result full = zebhost("report " + at("run.json") + " -o /dev/full");

    EXPECT_THAT(piped, AllOf(StartsWith("<!DOCTYPE html>"), EndsWith("</html>\n")));
    EXPECT_EQ(text("before"), "before\n" + piped);
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.output, "zebhost: the report /dev/full can't be written: No space left on device\n");
}

// Files that may not grow stand for a disk that is full.

TEST_F(AnOutputFile, EndsValidWhenItCanNotGrow) {
    std::string properties;
    for (int i = 0; i < 500; ++i)
        properties += " --property misbehave=no";

    Result result = withLimit(160, kRun + properties + " --trace " + at("run.json"));

    EXPECT_EQ(result.status, 1);
    std::string sentence = "the trace " + at("run.json") + " can't be written: File too large";
    EXPECT_THAT(result.output, AllOf(HasSubstr("\"event\":\"advice\",\"topic\":\"trace\""),
                                     HasSubstr("\"text\":\"" + sentence), HasSubstr("zebhost: " + sentence),
                                     HasSubstr("\"event\":\"stopped\"")));
    EXPECT_TRUE(holdsATrace("run.json"));
    EXPECT_GT(text("run.json").find_last_of('}'), 60000u);
    EXPECT_THAT(names(), ElementsAre("run.json"));
}

TEST_F(AnOutputFile, IsRefusedAtTheStartWhenThereIsNoRoomAtAll) {
    Result result = withLimit(8, kRun + " --trace " + at("run.json"));

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "zebhost: the trace " + at("run.json") + " can't be written: File too large\n");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(AnOutputFile, IsNoHalfPage) {
    ASSERT_EQ(zebhost(kRun + " --trace " + at("run.json")).status, 0);
    write("page.html", "old");

    Result result = withLimit(8, "report " + at("run.json") + " -o " + at("page.html"));

    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              "zebhost: the report " + at("page.html") + " can't be written: File too large\n");
    EXPECT_EQ(text("page.html"), "old");
    EXPECT_THAT(names(), UnorderedElementsAre("run.json", "page.html"));
}

TEST_F(AnOutputFile, OfAReportThatFailsInTheEndIsItsTrace) {
    ASSERT_EQ(mkfifo(at("lines").c_str(), 0600), 0);
    const std::string run = "run --plugin " TEST_PLUGIN " --report " + at("page.html");

    Result result =
        shell(ZEBHOST_COMMAND " " + run + " >" + at("lines") + " & { read line; mkdir " + at("page.html") +
              "; kill $!; cat >/dev/null; } <" + at("lines") + "; wait $!; echo status $?");

    std::filesystem::remove(at("lines"));
    std::filesystem::remove(at("page.html"));
    ASSERT_THAT(names(), ElementsAre(StartsWith("page.html.trace.")));
    const std::string trace = names().front();
    EXPECT_TRUE(holdsATrace(trace));
    EXPECT_EQ(result.output,
              "zebhost: the report " + at("page.html") +
                  " can't be written: Is a directory; the trace of the run is kept: zebhost report " +
                  at(trace) + " -o FILE.html\nstatus 1\n");
}

TEST_F(AnOutputFile, IsKnownToBeImpossibleBeforeTheRun) {
    for (const char* option : {"--trace ", "--report "}) {
        Result result = zebhost(kRun + " " + option + at("no/such/file"));

        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.output, AllOf(HasSubstr("can't be written: No such file or directory"),
                                         Not(HasSubstr("started"))));
    }
}

TEST_F(AnOutputFile, OfARunThatCanNotStartIsNone) {
    Result result = zebhost("run --plugin /no/such.so --report " + at("page.html"));

    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(names(), IsEmpty());
}

} // namespace
} // namespace zebhost
