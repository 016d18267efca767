// Every input that is kept, those that once found a bug among them, is played to its target again.
#include "tests/fuzz/Targets.h"
#include "tests/support/PluginUnderTest.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace zebtest {
namespace {

class ATarget : public testing::TestWithParam<Target> {};

TEST_P(ATarget, ComesThroughEveryInputThatIsKept) {
    const PluginUnderTest plugin;
    gpInitialize = plugin.initialize();
    const std::filesystem::path folder = std::filesystem::path(ZEB_CORPUS) / GetParam().name;

    int played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        SCOPED_TRACE(entry.path());
        GetParam().run(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++played;
    }

    std::cout << played << " inputs\n";
    EXPECT_GT(played, 0);
}

std::string nameOf(const testing::TestParamInfo<Target>& target) {
    std::string name(target.param.name);
    std::erase(name, '-');
    return name;
}

INSTANTIATE_TEST_SUITE_P(OfTheFuzzers, ATarget, testing::ValuesIn(targets()), nameOf);

} // namespace
} // namespace zebtest
