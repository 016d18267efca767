// What is left when even standard error can't be told what went wrong.
#include "tests/common/BarrierCases.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebtest;

namespace {

/** In an operation without an inner layer, or with one, throw what is ready, and from then on have no memory.
 */
template <class Exception>
void throwWithoutMemory(const char* slot, const Exception& ready) {
    Bench bench;
    bench.discoverer.behaviour = [&] { // lives on: the exception leaves the scope of any object here
        static const FailingNew failing = FailingNew::always();
        throw ready;
    };
    slotNamed(slot).call(bench.host);
}

// What an emulated processor adds may follow.
constexpr char kAborting[] = "^\\[ZEBDiscoverer\\] \\[0\\] Got unknown exception, aborting\\.\\.\\.\n";

TEST(TheLastResort, AbortsWithALineWhenItCantFormatTheUnknown) {
    EXPECT_EXIT(throwWithoutMemory("handleSingleEvent", 42), KilledBySignal(SIGABRT), kAborting);
    EXPECT_EXIT(throwWithoutMemory("setContext", 'x'), KilledBySignal(SIGABRT), kAborting);
}

TEST(TheLastResort, AbortsWithALineWhenItCantFormatAStandardException) {
    EXPECT_EXIT(throwWithoutMemory("setContext", std::runtime_error("it broke")), KilledBySignal(SIGABRT),
                kAborting);
    EXPECT_EXIT(throwWithoutMemory("getMultipleEventHandlesEx", DiscoveryException("closed", 77)),
                KilledBySignal(SIGABRT), kAborting);
}

} // namespace
