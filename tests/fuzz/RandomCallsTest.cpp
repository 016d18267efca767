// Every entry point in any order that a host could, against a model of what must come out.
//
//   random-calls-test [--seed N] [--calls M]    live through M calls, from seed N on
//
// A run is a row of lives, the n-th from seed N + n. When one fails its seed is printed, with which the same
// life is lived again, alone.
#include "tests/fuzz/AnyOrder.h"
#include "tests/support/PluginUnderTest.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

namespace zebtest {
namespace {

// Where a processor is emulated or a sanitizer watches a run is shorter; it says how long it was.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
long gCalls = 200'000;
#elif defined(__x86_64__) || defined(__i386__)
long gCalls = 1'000'000;
#else
long gCalls = 100'000;
#endif
std::uint64_t gSeed = 1;
constexpr int kCallsOfALife = 400;

// The life that is being lived, for the last words.
std::uint64_t gLife = 0;
int gCallsOfIt = 0;

extern "C" void tellSeed(int signal) {
    char text[160];
    const int length =
        std::snprintf(text, sizeof(text), "\nOnce more: random-calls-test --seed %llu --calls %d\n",
                      static_cast<unsigned long long>(gLife), gCallsOfIt);
    [[maybe_unused]] const auto written = write(2, text, static_cast<std::size_t>(length));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

TEST(ThePlugin, DoesWhatTheModelSaysInAnyOrderOfCalls) {
    const PluginUnderTest plugin;
    for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE})
        std::signal(signal, tellSeed);
    const long share = gCalls / 5;

    long made = 0;
    for (gLife = gSeed; made < gCalls; ++gLife) {
        Choices choices(gLife);
        gCallsOfIt = static_cast<int>(std::min<long>(gCalls - made, kCallsOfALife));
        const long before = made;
        made += AnyOrder(plugin.initialize(), choices).live(gCallsOfIt);
        if (before / share != made / share)
            std::printf("%ld calls made, in %llu lives\n", made,
                        static_cast<unsigned long long>(gLife - gSeed + 1));
    }

    EXPECT_EQ(made, gCalls);
    RecordProperty("calls", std::to_string(made));
}

} // namespace
} // namespace zebtest

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--seed"))
            zebtest::gSeed = std::strtoull(argv[i + 1], nullptr, 10);
        else if (!std::strcmp(argv[i], "--calls"))
            zebtest::gCalls = std::strtol(argv[i + 1], nullptr, 10);
    }
    return RUN_ALL_TESTS();
}
