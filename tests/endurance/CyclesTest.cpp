// Load, plug, shake hands, unplug, unload, over and over: nothing may stay behind.
#include "phones/Catalogue.h"
#include "phones/DeviceRecord.h"
#include "phones/usbfs/Testbed.h"
#include "tests/endurance/Held.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string_view>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

#if defined(__x86_64__) || defined(__i386__)
constexpr int kCycles = 1000;
constexpr bool kJudgeBytes = true;
#define ZEB_CYCLES LeavesNothingBehindAfterAThousandCycles
#else
// A processor that is emulated here: too few cycles for glib's stores to come to rest.
constexpr int kCycles = 100;
constexpr bool kJudgeBytes = false;
#define ZEB_CYCLES LeavesNoDescriptorOrThreadBehindAfterAHundredCycles
#endif
// What is made only once: of the plug-in's libraries, and by the bed for each of 126 device numbers.
constexpr int kWarmUp = 20;
constexpr int kDeviceNumbers = 126;

// One block lost a cycle would be twice this or more.
constexpr int kHalfTheSmallestBlock = 8;
constexpr int kRounds = 5;

/** How many cycles are asked for on the command line, for hours of them. */
int gCycles = kCycles;

double processorUs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

void turnUntil(FakeHost& host, const std::function<bool()>& condition) {
    for (int turn = 0; turn < 5000 && !condition(); ++turn)
        host.dispatch(20);
    ASSERT_TRUE(condition());
}

// Even cycles end with the phone switched, odd ones with it pulled in mid-transfer.
void cycle(Testbed& bed, const PhoneDescription& accessory, bool switched) {
    PluginUnderTest plugin;
    FakeHost host;
    host.initialize(plugin.initialize());
    host.bringUp();
    PhoneDescription description = accessory;
    if (!switched)
        description.faults = {{.request = kSendString, .index = 3, .reaction = Reaction::Unplug}};
    const auto phone = bed.plug(std::move(description));
    const zebphones::DeviceRecord record(accessory.normal, phone->bus(), phone->address(), 1);

    host.entry.offerDevice(host.discoverer, host.provider, record.get());
    if (switched) {
        turnUntil(host, [&] { return !host.handleTimers().empty(); });
        host.advance(1'000'000);
        turnUntil(host, [&] { return phone->switchRequested(); });
    } else {
        turnUntil(host, [&] { return host.hasLogged(10, "USB transfer failed with status 5"); });
    }
    bed.unplug(1);
    host.entry.removeDevice(host.discoverer, host.provider, record.get());
    host.destroyEntity(host.entities().front());
    host.entry.stop(host.discoverer);
    host.destroy();

    ASSERT_THAT(host.complaints(), IsEmpty());
}

void warmUp(Testbed& bed, const PhoneDescription& accessory) {
    for (int i = 0; i < kDeviceNumbers; ++i) {
        bed.plug(accessory);
        bed.unplug(1);
    }
    for (int i = 0; i < kWarmUp; ++i)
        cycle(bed, accessory, i % 2 == 0);
}

/** So many cycles more, and a look. */
Sample runCycles(Testbed& bed, const PhoneDescription& accessory, int from, int count) {
    const double begin = processorUs();
    for (int i = 1; i <= count; ++i)
        cycle(bed, accessory, i % 2 == 0);
    const double used = processorUs() - begin;
    bed.rest();
    return {from + count, heldAtRest(), residentBytes(), used / count};
}

/** What each cycle loses grows in every round; glib's own stores grow in some. */
std::ptrdiff_t leastGrowth(const std::vector<Sample>& samples) {
    std::ptrdiff_t least = PTRDIFF_MAX;
    for (std::size_t i = 1; i < samples.size(); ++i)
        least = std::min(least, samples[i].held.bytes - samples[i - 1].held.bytes);
    return least;
}

TEST(ThePlugin, ZEB_CYCLES) {
    const PhoneDescription accessory = loadPhone("accessory");
    Testbed bed;
    warmUp(bed, accessory);
    bed.rest();
    std::vector<Sample> samples = {{0, heldAtRest(), residentBytes(), 0}};

    for (int round = 0; round < kRounds && !HasFatalFailure(); ++round)
        samples.push_back(runCycles(bed, accessory, samples.back().cycles, gCycles / kRounds));
    samples.front().cycleUs = samples[1].cycleUs; // the first look has no cycles behind it

    printTable(samples);
    EXPECT_EQ(samples.back().held.descriptors, samples.front().held.descriptors);
    EXPECT_EQ(samples.back().held.threads, samples.front().held.threads);
    if (kJudgeBytes) {
        EXPECT_LT(leastGrowth(samples), gCycles / kRounds * kHalfTheSmallestBlock);
    }
}

TEST(ASlope, IsThatOfTheLineThroughTheSamples) {
    std::vector<Sample> samples;
    for (const int cycles : {0, 100, 200, 300})
        samples.push_back({.cycles = cycles, .resident = 4096 + 3 * cycles, .cycleUs = 7});

    EXPECT_DOUBLE_EQ(slope(samples, [](const Sample& s) { return static_cast<double>(s.resident); }), 3);
    EXPECT_DOUBLE_EQ(slope(samples, [](const Sample& s) { return s.cycleUs; }), 0);
}

} // namespace

void setCycles(int cycles) { gCycles = cycles; }

} // namespace zebtest

// "cycles-test --cycles=100000" for the long form.
int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    constexpr std::string_view kOption = "--cycles=";
    if (argc > 1 && std::string_view(argv[1]).starts_with(kOption))
        zebtest::setCycles(std::atoi(argv[1] + kOption.size()));
    return RUN_ALL_TESTS();
}
