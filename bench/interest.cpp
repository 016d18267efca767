// How long the plug-in looks at a record of 8 configurations with 32 interfaces each, none of them a phone's,
// and how long a bare loop over the same strings does.
#include "bench/support/BareHost.h"
#include "bench/support/InterestLoop.h"
#include "bench/support/UsbRecord.h"

#include <benchmark/benchmark.h>

namespace {

using namespace zebbench;

/** Told from a phone's at the first text (a printer's), or only at the last. */
UsbRecord& largeRecord(const char* deviceClass) {
    static UsbRecord printer(1, 1, 1, "18d1", "4ee2");
    static UsbRecord nearPhone(1, 1, 1, "18d1", "4ee2");
    UsbRecord& record = *deviceClass == '7' ? printer : nearPhone;
    while (record.get().descriptorsCount <= 8)
        record.addConfiguration(32, deviceClass, "2", "1");
    return record;
}

void interest(benchmark::State& state, const char* deviceClass) {
    const UsbRecord& record = largeRecord(deviceClass);
    BareHost host(pluginPath());
    host.setUp();
    for (auto _ : state)
        benchmark::DoNotOptimize(
            host.entry.getDeviceInterest(host.discoverer, nullptr, &record.get(), nullptr));
    host.tearDown();
}
BENCHMARK_CAPTURE(interest, otherClass, "7");
BENCHMARK_CAPTURE(interest, otherProtocol, "2");

void bareLoop(benchmark::State& state, const char* deviceClass) {
    const UsbRecord& record = largeRecord(deviceClass);
    for (auto _ : state)
        benchmark::DoNotOptimize(hasTriple(record.get(), "2", "2", "255"));
}
BENCHMARK_CAPTURE(bareLoop, otherClass, "7");
BENCHMARK_CAPTURE(bareLoop, otherProtocol, "2");

} // namespace
