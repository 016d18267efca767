// What an operation costs where there are so many entities, each in the middle of its hand-shake with four
// handles. libusb is a fake that does nothing.
#include "bench/support/ManyEntities.h"

#include <benchmark/benchmark.h>
#include <memory>

namespace {

using namespace zebbench;

const UsbRecord kPhone(1, 1, 1, "18d1", "4ee2");

/** Made once for each number: a thousand phones take their time to come. */
ManyEntities& many(BareHost*& host, int64_t count) {
    static std::unique_ptr<BareHost> theHost;
    static std::unique_ptr<ManyEntities> all;
    static int64_t allCount = 0;
    if (allCount != count) {
        all.reset();
        if (!theHost) {
            theHost = std::make_unique<BareHost>(pluginPath());
            theHost->setUp();
        }
        all = std::make_unique<ManyEntities>(*theHost, static_cast<int>(count));
        allCount = count;
    }
    host = theHost.get();
    return *all;
}

template <class Do>
void among(benchmark::State& state, const Do& operation) {
    BareHost* host = nullptr;
    ManyEntities& all = many(host, state.range(0));
    for (auto _ : state)
        operation(*host, all);
}

void offerAndDestroy(benchmark::State& state) {
    among(state, [](BareHost& host, ManyEntities&) {
        host.entry.destroyEntity(host.discoverer, host.offer(kPhone.get()));
    });
}

void removeDevice(benchmark::State& state) {
    among(state, [](BareHost& host, ManyEntities& all) {
        host.entry.removeDevice(host.discoverer, nullptr, &all.noDevice());
    });
}

void singleEvent(benchmark::State& state) {
    among(state, [](BareHost& host, ManyEntities& all) {
        host.entry.handleSingleEvent(host.discoverer, all.handle());
    });
}

void entityTimeout(benchmark::State& state) {
    among(state, [](BareHost& host, ManyEntities& all) {
        host.entry.handleEntityTimeout(host.discoverer, all.entity());
    });
}

void askForHandles(benchmark::State& state) {
    among(state, [](BareHost& host, ManyEntities&) {
        benchmark::DoNotOptimize(host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr));
    });
}

// By numbers, so that each crowd is made once.
const int registered = [] {
    for (const int64_t count : {1, 10, 100, 1000}) {
        benchmark::RegisterBenchmark("offerAndDestroy", offerAndDestroy)->Arg(count);
        benchmark::RegisterBenchmark("removeDevice", removeDevice)->Arg(count);
        benchmark::RegisterBenchmark("singleEvent", singleEvent)->Arg(count);
        benchmark::RegisterBenchmark("entityTimeout", entityTimeout)->Arg(count);
        benchmark::RegisterBenchmark("askForHandles", askForHandles)->Arg(count);
    }
    return 0;
}();

} // namespace
