#include "common/EntryPoints.h"
#include "tests/common/Slots.h"
#include "tests/common/TestDiscoverer.h"
#include "tests/support/StandardErrorCapture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

using namespace testing;
using namespace zebtest;

namespace {

constexpr std::size_t kSlot = sizeof(void*);
constexpr std::size_t kBeyond = 4 * kSlot;
using Bytes = std::array<unsigned char, sizeof(ZEBDiscovererInterface) + kBeyond>;

/** A host's memory of which the discoverer is told that size bytes are the table. */
Bytes tableOfSize(std::size_t size, bool multipleHandles) {
    Bytes bytes;
    bytes.fill(FakeHost::kUntouched);
    const TestDiscoverer discoverer(bytes.data(), size, nullptr, 0, multipleHandles);
    return bytes;
}

bool isUntouched(const Bytes& bytes, std::size_t from, std::size_t to) {
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                       bytes.begin() + static_cast<std::ptrdiff_t>(to),
                       [](unsigned char byte) { return byte == FakeHost::kUntouched; });
}

/** By the contract: which slots, as indices, a discoverer of that mode writes. */
bool isWritten(std::size_t index, bool multipleHandles) {
    const std::size_t offset = index * 4;
    const bool single = offset == 4 || offset == 8 || offset == 12;
    const bool multiple = offset == 92 || offset == 96 || offset == 128;
    return offset != 88 && !(multipleHandles ? single : multiple);
}

class TheEntryPointTable : public TestWithParam<bool> {};

std::string modeOf(const TestParamInfo<bool>& mode) { return mode.param ? "Multiple" : "Single"; }

INSTANTIATE_TEST_SUITE_P(EachMode, TheEntryPointTable, Bool(), modeOf);

TEST_P(TheEntryPointTable, IsFilledSlotBySlotForEverySize) {
    const Bytes complete = tableOfSize(sizeof(ZEBDiscovererInterface), GetParam());
    for (std::size_t size = 0; size <= sizeof(ZEBDiscovererInterface) + kBeyond; ++size) {
        SCOPED_TRACE(size);
        const Bytes bytes = tableOfSize(size, GetParam());

        for (std::size_t i = 0; i < 35; ++i) {
            const bool fits = size > i * kSlot + kSlot - 1;
            if (fits && isWritten(i, GetParam()))
                EXPECT_EQ(std::memcmp(&bytes[i * kSlot], &complete[i * kSlot], kSlot), 0) << "slot " << i;
            else
                EXPECT_TRUE(isUntouched(bytes, i * kSlot, (i + 1) * kSlot)) << "slot " << i;
        }
        EXPECT_TRUE(isUntouched(bytes, 35 * kSlot, bytes.size())) << "beyond the table";
    }
}

TEST_P(TheEntryPointTable, WritesEverySlotOfItsModeWhenComplete) {
    const Bytes bytes = tableOfSize(sizeof(ZEBDiscovererInterface), GetParam());

    for (std::size_t i = 0; i < 35; ++i)
        EXPECT_NE(isUntouched(bytes, i * kSlot, (i + 1) * kSlot), isWritten(i, GetParam())) << "slot " << i;
}

TEST_P(TheEntryPointTable, TouchesNoMemoryThatTheHostDoesNotHave) {
    for (std::size_t size = 0; size <= sizeof(ZEBDiscovererInterface); ++size) {
        // An allocation of just that size: a sanitizer sees each byte beyond.
        const auto memory = std::make_unique<unsigned char[]>(size);
        const auto callbacks = std::make_unique<unsigned char[]>(size);
        const TestDiscoverer discoverer(memory.get(), size, callbacks.get(), size, GetParam());
    }
}

TEST(AnEntryPointTable, OfSizeZeroMayBeNull) {
    const TestDiscoverer discoverer(nullptr, 0, nullptr, 0, true);

    EXPECT_TRUE(discoverer.isUsingMultipleHandles());
}

// The way back: what is copied of the host's callbacks.

using CallbackBytes = std::array<unsigned char, sizeof(ZEBDiscovererCallbacks) + kBeyond>;

/** A host's table of callbacks, and what lies behind it: no byte like its neighbours. */
CallbackBytes hostsCallbacks() {
    CallbackBytes bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i + 1);
    return bytes;
}

TEST(TheCopiedCallbacks, AreTheWholeSlotsOfEverySizeAndNullBehind) {
    const CallbackBytes host = hostsCallbacks();
    for (std::size_t size = 0; size <= host.size(); ++size) {
        SCOPED_TRACE(size);
        CallbackBytes memory;
        memory.fill(FakeHost::kUntouched);

        // Made in its place, so that a copy of too much would show behind it.
        new (memory.data()) ZEBDiscovererCallbacks(
            zebdiscovery::copyCallbacks(reinterpret_cast<const ZEBDiscovererCallbacks*>(host.data()), size));

        CallbackBytes expected{};
        const std::size_t slots = std::min<std::size_t>(size / kSlot, 38);
        std::copy_n(host.begin(), slots * kSlot, expected.begin());
        std::fill(expected.begin() + 38 * kSlot, expected.end(), FakeHost::kUntouched);
        EXPECT_EQ(memory, expected);
    }
}

TEST(TheCopiedCallbacks, AreThoseThatWereThereBeforeTheSameMemoryGotTheEntryPoints) {
    FakeHost host;
    std::array<void*, 38> both;
    std::memcpy(&both, &host.callbacks, sizeof(both));

    TestDiscoverer discoverer(&both, sizeof(ZEBDiscovererInterface), &both, sizeof(both), true);
    discoverer.Base::setContext(&host);
    discoverer.notifyStarted(5);

    EXPECT_THAT(host.callsOf("discovererStarted"),
                ElementsAre(Call{"discovererStarted", {discoverer.handle(), 5}}));
    EXPECT_NE(std::memcmp(&both, &host.callbacks, sizeof(void*)), 0) << "and the entry points are there";
}

TEST(AnEntryPointTable, LeadsEachSlotToItsOwnOperation) {
    for (const Slot& slot : slots()) {
        SCOPED_TRACE(slot.name);
        FakeHost host;
        TestDiscoverer discoverer(host, !slot.isSingle());
        if (slot.operation.name == "offerDevice")
            discoverer.behaviour = [] { throw 0; }; // the base has none

        StandardErrorCapture standardError;
        slot.call(host);

        EXPECT_THAT(discoverer.operations, ElementsAre(slot.operation));
    }
}

} // namespace
