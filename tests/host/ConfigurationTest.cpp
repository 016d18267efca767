#include "host/Configuration.h"
#include "host/Nearest.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

Settings settingsOf(const std::string& text) {
    auto read = parseConfiguration(text);
    if (const auto* fault = std::get_if<ConfigurationFault>(&read)) {
        ADD_FAILURE() << fault->line << ":" << fault->column << ": " << fault->text;
        return {};
    }
    return std::get<Settings>(read);
}

TEST(AConfiguration, SetsWhatItNames) {
    Settings settings = settingsOf(R"(
        log = "debug"
        [plugin]
        path = "/opt/plugin.so"
        properties = { aapmodel = "Bench", aapserial = "" }
        [policy]
        allow = ["18d1", "1209:0001"]
        deny = ["abcd"]
        allow-ports = ["1-1.2"]
        switch-tethers = true
        offer-all = true
        max-switches = 7
        reset-stale = true
    )");

    EXPECT_EQ(settings.logLevel, ZEBDiscoveryLogSeverityDebug);
    EXPECT_EQ(settings.plugin, "/opt/plugin.so");
    EXPECT_THAT(settings.properties, ElementsAre(Pair("aapmodel", "Bench"), Pair("aapserial", "")));
    EXPECT_THAT(settings.policy.allow, ElementsAre(IdPattern{0x18d1}, IdPattern{0x1209, 1}));
    EXPECT_THAT(settings.policy.deny, ElementsAre(IdPattern{0xabcd}));
    EXPECT_THAT(settings.policy.allowPorts, ElementsAre("1-1.2"));
    EXPECT_TRUE(settings.policy.switchTethers);
    EXPECT_TRUE(settings.policy.offerAll);
    EXPECT_EQ(settings.policy.maxSwitches, 7u);
    EXPECT_TRUE(settings.policy.resetStale);
}

TEST(AConfiguration, ThatIsEmptyLeavesTheDefaults) {
    Settings settings = settingsOf("");

    EXPECT_EQ(settings.logLevel, ZEBDiscoveryLogSeverityInfo);
    EXPECT_FALSE(settings.policy.offerAll);
}

struct Mistake {
    std::string text;
    unsigned line, column;
    const char* says;
};

const Mistake kMistakes[] = {
    {"log = \"loud\"", 1, 7, "\"log\" in the file wants one of \"fatal\", \"error\", \"info\", \"debug\""},
    {"log = 3", 1, 7, "\"log\" in the file wants one of"},
    {"\nlgo = \"info\"", 2, 1,
     "there is no \"lgo\" in the file (did you mean \"log\"?); it may have: log, plugin"},
    {"[police]", 1, 2, "there is no \"police\" in the file (did you mean \"policy\"?)"},
    {"[policy]\nfrobnicate = 1", 2, 1, "there is no \"frobnicate\" in [policy]; it may have: allow, deny, "},
    {"[policy]\n  alow = []", 2, 3, "did you mean \"allow\"?"},
    {"[policy]\nallow = \"18d1\"", 2, 9, "\"allow\" in [policy] wants a list of \"VID\" or \"VID:PID\""},
    {"[policy]\nallow = [\n \"18d1\",\n \"phone\" ]", 4, 2, "wants a list of \"VID\""},
    {"[policy]\nallow = [1]", 2, 10, "wants a list of"},
    {"[policy]\nallow-ports = [1.2]", 2, 16, "wants a list of ports"},
    {"[policy]\noffer-all = \"true\"", 2, 13, "wants true or false"},
    {"[policy]\nmax-switches = -1", 2, 16, "wants a number from 0 to 1000"},
    {"[policy]\nmax-switches = 1001", 2, 16, "wants a number from 0 to 1000"},
    {"[policy]\nswitch-tethers = 1", 2, 18, "wants true or false"},
    {"[policy]\nallow-ports = [\"1-1\", \"\"]", 2, 23, "wants a list of ports"},
    {"[policy]\nallow-ports = [\"usb1\"]", 2, 16, "wants a list of ports, for example [\"1-1.2\"]"},
    {"[plugin]\npath = 1", 2, 8, "wants a path in quotes"},
    {"[plugin]\npath = \"\"", 2, 8, "wants a path in quotes"},
    {"[plugin]\nproperties = 1", 2, 14, "wants a table of texts"},
    {"[plugin.properties]\naapversion = 1", 2, 14, "wants a table of texts"},
    {"[plugin.properties]\naapuri = \"" + std::string(256, 'u') + "\"", 2, 10,
     "\"aapuri\" has 256 bytes: a phone can be sent at most 255"},
    {"policy = 1", 1, 10, "\"policy\" is a section: write [policy]"},
    {"[[policy]]", 1, 1, "\"policy\" is a section"},
    {"log = ", 1, 7, "this is no TOML: "},
    {"log = \"info\"\nlog = \"debug\"", 2, 7, "this is no TOML: "},
};

TEST(AConfiguration, SaysWhereItIsWrongAndWhatIsAllowed) {
    for (const Mistake& mistake : kMistakes) {
        auto read = parseConfiguration(mistake.text);

        const auto* fault = std::get_if<ConfigurationFault>(&read);
        ASSERT_NE(fault, nullptr) << mistake.text;
        EXPECT_THAT(fault->text, HasSubstr(mistake.says)) << mistake.text;
        EXPECT_EQ(std::pair(fault->line, fault->column), std::pair(mistake.line, mistake.column))
            << mistake.text;
    }
}

TEST(AConfiguration, MayBeAnyBytes) {
    const std::string text = "[policy]\nallow = [\"18d1\"]\n";
    for (int byte : {0, 10, 34, 91, 128, 255}) {
        for (size_t at = 0; at < text.size(); ++at) {
            std::string altered = text;
            altered[at] = static_cast<char>(byte);

            EXPECT_NO_THROW(parseConfiguration(altered)) << byte << " at " << at;
        }
    }
}

TEST(AConfigurationFile, IsTheAskedOneElseTheStandardOneElseNone) {
    char folder[] = "/tmp/configuration.XXXXXX";
    const std::filesystem::path root = mkdtemp(folder);
    std::ofstream(root / "asked") << "log = \"debug\"\n";
    std::ofstream(root / "standard") << "log = \"fatal\"\n";
    std::ofstream(root / "wrong") << "log = 1\n";

    EXPECT_EQ(readSettings(root / "asked", root / "standard").logLevel, ZEBDiscoveryLogSeverityDebug);
    EXPECT_EQ(readSettings(std::nullopt, root / "standard").logLevel, ZEBDiscoveryLogSeverityFatal);
    EXPECT_EQ(readSettings(std::nullopt, root / "none").logLevel, ZEBDiscoveryLogSeverityInfo);
    EXPECT_THAT([&] { readSettings(root / "none", root / "standard"); },
                ThrowsMessage<ConfigurationError>(StartsWith("there is no configuration ")));
    EXPECT_THAT([&] { readSettings(root, root / "standard"); },
                ThrowsMessage<ConfigurationError>(HasSubstr("can't be read")));
    EXPECT_THAT([&] { readSettings(std::nullopt, root / "wrong"); },
                ThrowsMessage<ConfigurationError>(HasSubstr("/wrong:1:7: \"log\" in the file wants")));
    std::filesystem::remove_all(root);
}

TEST(TheNearestWord, IsTheOneThatWasProbablyMeant) {
    const std::vector<std::string> words = {"list", "explain", "doctor"};

    EXPECT_EQ(nearest("lst", words), "list");
    EXPECT_EQ(nearest("explian", words), "explain");
    EXPECT_EQ(nearest("lits", words), "list");
    EXPECT_EQ(nearest("tsil", words), std::nullopt);
    EXPECT_EQ(nearest("docs", words), std::nullopt);
    EXPECT_EQ(nearest("", words), std::nullopt);
    EXPECT_EQ(nearest("list", {}), std::nullopt);
}

} // namespace
} // namespace zebhost
