// Entry points of the plug-in through its table, with the barrier, against a bare table that makes the same
// virtual calls of the same discoverer.
#include "bench/support/BareHost.h"
#include "bench/support/BareTable.h"
#include "bench/support/UsbRecord.h"

#include <benchmark/benchmark.h>

namespace {

using namespace zebbench;

const UsbRecord kPhone(1, 1, 1, "18d1", "4ee2");

/** A host with one phone in the middle of its hand-shake. */
struct Stage {
    Stage() : host(pluginPath()) {
        host.setUp();
        entity = host.offer(kPhone.get());
        handle = *host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr);
    }
    ~Stage() {
        host.entry.destroyEntity(host.discoverer, entity);
        host.tearDown();
    }

    BareHost host;
    ZEBDiscovererEntity* entity;
    ZEBDiscovererEventHandle handle;
};

using Operation = void (*)(Stage& stage, const ZEBDiscovererInterface& table);

void getDescription(Stage& stage, const ZEBDiscovererInterface& table) {
    benchmark::DoNotOptimize(table.getDescription(stage.host.discoverer));
}

void getDeviceInterest(Stage& stage, const ZEBDiscovererInterface& table) {
    benchmark::DoNotOptimize(table.getDeviceInterest(stage.host.discoverer, nullptr, &kPhone.get(), nullptr));
}

void getMultipleEventHandlesEx(Stage& stage, const ZEBDiscovererInterface& table) {
    benchmark::DoNotOptimize(table.getMultipleEventHandlesEx(stage.host.discoverer, nullptr));
}

void handleSingleEvent(Stage& stage, const ZEBDiscovererInterface& table) {
    table.handleSingleEvent(stage.host.discoverer, &stage.handle);
}

void fetchEntityValue(Stage& stage, const ZEBDiscovererInterface& table) {
    table.fetchEntityValue(stage.host.discoverer, stage.entity, BareHost::allocString("type"), nullptr);
}

void byTheTable(benchmark::State& state, Operation operation) {
    Stage stage;
    for (auto _ : state)
        operation(stage, stage.host.entry);
}

void bare(benchmark::State& state, Operation operation) {
    Stage stage;
    for (auto _ : state)
        operation(stage, bareTable());
}

#define ZEB_COMPARE(operation)                                                                               \
    BENCHMARK_CAPTURE(byTheTable, operation, &operation);                                                    \
    BENCHMARK_CAPTURE(bare, operation, &operation)

ZEB_COMPARE(getDescription);
ZEB_COMPARE(getDeviceInterest);
ZEB_COMPARE(getMultipleEventHandlesEx);
ZEB_COMPARE(handleSingleEvent);
ZEB_COMPARE(fetchEntityValue);

} // namespace
