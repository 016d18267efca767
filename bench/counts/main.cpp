// speed-counts: what the plug-in's operations do, counted: instructions, system calls and allocations. Each
// line is a JSON object; what can't be counted here is null. libusb is a fake that does nothing at all, so
// what is counted is the plug-in's own.
#include "bench/counts/Counts.h"
#include "bench/support/BareHost.h"
#include "bench/support/BareTable.h"
#include "bench/support/InterestLoop.h"
#include "bench/support/ManyEntities.h"
#include "bench/support/UsbRecord.h"
#include "common/EventHandles.h"

namespace zebbench {
namespace {

const UsbRecord kPhone(1, 1, 1, "18d1", "4ee2");

/** The plug-in's own table and the bare one, at the same discoverer, with their operations' real bodies. */
void countEntryPoints(Counts& counts, BareHost& host, const ZEBDiscovererInterface& table,
                      const std::string& name) {
    ZEBDiscoverer* const self = host.discoverer;
    ZEBDiscovererEntity* const entity = host.offer(kPhone.get());
    ZEBDiscovererEventHandle handle = *host.entry.getMultipleEventHandlesEx(self, nullptr);
    counts.of("getDescription " + name, [&] { table.getDescription(self); });
    counts.of("getDeviceInterest " + name,
              [&] { table.getDeviceInterest(self, nullptr, &kPhone.get(), nullptr); });
    counts.of("getMultipleEventHandlesEx " + name, [&] { table.getMultipleEventHandlesEx(self, nullptr); });
    counts.of("handleSingleEvent " + name, [&] { table.handleSingleEvent(self, &handle); });
    counts.of("fetchEntityValue " + name,
              [&] { table.fetchEntityValue(self, entity, host.allocString("type"), nullptr); });
    host.entry.destroyEntity(self, entity);
}

/** A record with as many interfaces as there can reasonably be, none of which is a phone's: told at the first
 *  text (a printer's), or only at the last. */
void countInterest(Counts& counts, BareHost& host, const char* deviceClass, const std::string& name) {
    UsbRecord large(1, 1, 1, "18d1", "4ee2");
    for (int configuration = 0; configuration < 8; ++configuration)
        large.addConfiguration(32, deviceClass, "2", "1");
    counts.of("interest in 8x32 interfaces, " + name,
              [&] { host.entry.getDeviceInterest(host.discoverer, nullptr, &large.get(), nullptr); });
    counts.of("bare loop over 8x32 interfaces, " + name, [&] { hasTriple(large.get(), "2", "2", "255"); });
}

void countLife(Counts& counts, BareHost& host) {
    counts.of(
        "set up", [&] { host.setUp(); }, [&] { host.tearDown(); });
    host.setUp();
}

/** What a phone is kept in, once it is known and its hand-shake is on its way. */
void countPhones(Counts& counts, BareHost& host) {
    ZEBDiscovererEntity* entity = nullptr;
    const auto offer = [&] { entity = host.offer(kPhone.get()); };
    const auto forget = [&] { host.entry.destroyEntity(host.discoverer, entity); };
    // The handle set keeps the room that it once had: made before, it is not counted as the phone's.
    offer();
    host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr);
    forget();
    host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr);
    counts.of("accessory phone", offer, forget);
}

void countEntities(Counts& counts, BareHost& host) {
    for (const int count : {1, 10, 100}) {
        ManyEntities all(host, count);
        const std::string among = " among " + std::to_string(count);
        counts.of("device removed" + among,
                  [&] { host.entry.removeDevice(host.discoverer, nullptr, &all.noDevice()); });
        counts.of("single event" + among,
                  [&] { host.entry.handleSingleEvent(host.discoverer, all.handle()); });
        counts.of("entity timeout" + among,
                  [&] { host.entry.handleEntityTimeout(host.discoverer, all.entity()); });
        counts.of("asking for handles" + among,
                  [&] { host.entry.getMultipleEventHandlesEx(host.discoverer, nullptr); });
    }
}

void countHandleSets(Counts& counts) {
    for (const int count : {1, 10, 100}) {
        zebdiscovery::EventHandles handles;
        for (int handle = 0; handle < count; ++handle)
            handles.addHandle(&handle, false);
        counts.of("handle added and removed among " + std::to_string(count), [&] {
            handles.addHandle(&count, false);
            handles.removeHandle(&count);
        });
    }
}

void run() {
    Counts counts;
    BareHost host(pluginPath());
    countLife(counts, host);
    countEntryPoints(counts, host, host.entry, "by the table");
    countEntryPoints(counts, host, bareTable(), "bare");
    countInterest(counts, host, "7", "other class");
    countInterest(counts, host, "2", "other protocol");
    countPhones(counts, host);
    countEntities(counts, host);
    countHandleSets(counts);
    host.tearDown();
}

} // namespace
} // namespace zebbench

int main() { zebbench::run(); }
