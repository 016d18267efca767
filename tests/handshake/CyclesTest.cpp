// Load, plug, shake hands, unplug, unload, over and over: nothing may stay behind.
#include "phones/DeviceRecord.h"
#include "phones/Phones.h"
#include "phones/usbfs/Testbed.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

#if defined(__x86_64__) || defined(__i386__)
constexpr int kCycles = 1000;
#define ZEB_CYCLES LeavesNothingBehindAfterAThousandCycles
#else
// A processor that is emulated here.
constexpr int kCycles = 100;
#define ZEB_CYCLES LeavesNothingBehindAfterAHundredCycles
#endif
// What is made only once: of the plug-in's libraries, and by the bed for each of 126 device numbers.
constexpr int kWarmUp = 20;
constexpr int kDeviceNumbers = 126;

// One block lost a cycle would be twice this or more; glib's own queues sway by a few blocks in all.
constexpr int kHalfTheSmallestBlock = 8;

struct Held {
    std::ptrdiff_t descriptors;
    std::ptrdiff_t threads;
    std::ptrdiff_t bytes;
};

std::ptrdiff_t countOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

// The sanitizers' allocators report no bytes; the leak sanitizer looks for them instead.
Held held() {
    return {countOf("/proc/self/fd"), countOf("/proc/self/task"),
            static_cast<std::ptrdiff_t>(mallinfo2().uordblks)};
}

void turnUntil(FakeHost& host, const std::function<bool()>& condition) {
    for (int turn = 0; turn < 500 && !condition(); ++turn)
        host.dispatch(20);
    ASSERT_TRUE(condition());
}

// Even cycles end with the phone switched, odd ones with it pulled in mid-transfer.
void cycle(Testbed& bed, bool switched) {
    PluginUnderTest plugin;
    FakeHost host;
    host.initialize(plugin.initialize());
    host.bringUp();
    PhoneDescription description = accessoryPhone();
    if (!switched)
        description.faults = {{.request = kSendString, .index = 3, .reaction = Reaction::Unplug}};
    const auto phone = bed.plug(std::move(description));
    const zebphones::DeviceRecord record(accessoryPhone().normal, phone->bus(), phone->address(), 1);

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

TEST(ThePlugin, ZEB_CYCLES) {
    Testbed bed;
    for (int i = 0; i < kDeviceNumbers; ++i) {
        bed.plug(accessoryPhone());
        bed.unplug(1);
    }
    for (int i = 0; i < kWarmUp; ++i)
        cycle(bed, i % 2 == 0);
    const Held before = held();

    for (int i = 0; i < kCycles; ++i)
        ASSERT_NO_FATAL_FAILURE(cycle(bed, i % 2 == 0));

    const Held after = held();
    std::printf("%d cycles: %td descriptors, %td threads, %td bytes more\n", kCycles,
                after.descriptors - before.descriptors, after.threads - before.threads,
                after.bytes - before.bytes);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.bytes - before.bytes, kCycles * kHalfTheSmallestBlock);
}

} // namespace
} // namespace zebtest
