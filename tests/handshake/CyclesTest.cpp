// Load, plug, shake hands, unplug, unload, over and over: nothing may stay behind.
#include "phones/Catalogue.h"
#include "phones/DeviceRecord.h"
#include "phones/usbfs/Testbed.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>

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

struct Held {
    std::ptrdiff_t descriptors;
    std::ptrdiff_t threads;
    std::ptrdiff_t bytes;

    bool operator==(const Held&) const = default;
};

std::ptrdiff_t countOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

// The sanitizers' allocators report no bytes; the leak sanitizer looks for them instead.
Held held() {
    return {countOf("/proc/self/fd"), countOf("/proc/self/task"),
            static_cast<std::ptrdiff_t>(mallinfo2().uordblks)};
}

// The bed's thread puts its ends of things away a little later: look until nothing changes any more.
Held heldAtRest() {
    Held last = held();
    for (int same = 0, looks = 0; same < 5 && looks < 200; ++looks) {
        ::poll(nullptr, 0, 10);
        const Held now = held();
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

void turnUntil(FakeHost& host, const std::function<bool()>& condition) {
    for (int turn = 0; turn < 500 && !condition(); ++turn)
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

TEST(ThePlugin, ZEB_CYCLES) {
    const PhoneDescription accessory = loadPhone("accessory");
    Testbed bed;
    for (int i = 0; i < kDeviceNumbers; ++i) {
        bed.plug(accessory);
        bed.unplug(1);
    }
    for (int i = 0; i < kWarmUp; ++i)
        cycle(bed, accessory, i % 2 == 0);
    const Held before = heldAtRest();

    // What each cycle loses grows in every round; glib's own stores grow in some.
    std::ptrdiff_t leastGrowth = PTRDIFF_MAX;
    std::ptrdiff_t bytes = before.bytes;
    for (int i = 1; i <= kCycles; ++i) {
        ASSERT_NO_FATAL_FAILURE(cycle(bed, accessory, i % 2 == 0));
        if (i % (kCycles / kRounds) != 0)
            continue;
        const std::ptrdiff_t now = heldAtRest().bytes;
        leastGrowth = std::min(leastGrowth, now - std::exchange(bytes, now));
    }

    const Held after = heldAtRest();
    std::printf("%d cycles: %td descriptors, %td threads, %td bytes more; in the best fifth %td bytes\n",
                kCycles, after.descriptors - before.descriptors, after.threads - before.threads,
                after.bytes - before.bytes, leastGrowth);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    if (kJudgeBytes) {
        EXPECT_LT(leastGrowth, kCycles / kRounds * kHalfTheSmallestBlock);
    }
}

} // namespace
} // namespace zebtest
