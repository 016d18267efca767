// A host whose callbacks throw: each offered device is given back once, and nothing else of it is left.
#include "tests/support/StandardErrorCapture.h"
#include "tests/usb/DiscovererFixture.h"

#include <new>
#include <stdexcept>

using namespace testing;
using namespace zebtest;

namespace {

struct WhatIsThrown {
    const char* name;
    void (*raise)();
};

const WhatIsThrown kStandardException{"a std::exception", [] { throw std::runtime_error("host"); }};
const WhatIsThrown kNoMemory{"a std::bad_alloc", [] { throw std::bad_alloc(); }};
const WhatIsThrown kNoException{"no std::exception", [] { throw 42; }};

class TheUsbDiscovererOfAThrowingHost : public TheUsbDiscoverer {
protected:
    /** Throw at the n-th call of that callback from now on, and never again. */
    void throwAt(
        const char* callback, int n, const WhatIsThrown& kind, const std::function<void()>& before = [] {}) {
        onceInside(callback, n, [&kind, before] {
            before();
            kind.raise();
        });
    }
    /** No entity: none is started or stopped. */
    void expectNoEntity() {
        host.takeRecord();
        host.entry.start(host.discoverer);
        host.entry.stop(host.discoverer);
        EXPECT_THAT(happened(), ElementsAre(Call{"discovererStarted", {host.discoverer, 0}},
                                            Call{"discovererStopped", {host.discoverer, 0}}));
    }

    StandardErrorCapture standardError;
};

TEST_F(TheUsbDiscovererOfAThrowingHost, DeletesTheEntityThenLeavesTheReleaseToTheBarrier) {
    throwAt("addEntity", 1, kStandardException);

    ZEBDiscovererEntity* entity = offer(phone);

    // The entity goes with its device, whose record is the provider's again.
    EXPECT_THAT(told(), ElementsAre(kFoundTethering, added(entity), cancelled(entity),
                                    logged(10, "ZEBDiscoverer::offerDevice caught exception: host"),
                                    released(phone)));
    expectNoEntity();
}

TEST_F(TheUsbDiscovererOfAThrowingHost, DoesTheSameForWhatIsNoException) {
    throwAt("addEntity", 1, kNoException);

    ZEBDiscovererEntity* entity = offer(phone);

    EXPECT_THAT(told(), ElementsAre(kFoundTethering, added(entity), cancelled(entity), released(phone)));
    EXPECT_EQ(standardError.text(), "[ZEBDiscoverer] [0] Failed to offer device, got unknown exception\n");
    expectNoEntity();
}

TEST_F(TheUsbDiscovererOfAThrowingHost, GivesADeviceBackOnceWhicheverCallThrows) {
    const char* const callbacks[] = {"isLogLevelEnabled", "log",        "addEntity", "addUnpublishedEntity",
                                     "setEntityTimer",    "allocString"};
    for (const DeviceRecord* device : {&phone, &accessory, &switchable}) {
        for (const char* callback : callbacks) {
            for (const WhatIsThrown& kind : {kStandardException, kNoMemory, kNoException}) {
                for (int n = 1;; ++n) {
                    SCOPED_TRACE(std::string(callback) + " throws " + kind.name + " at call " +
                                 std::to_string(n) + " for " + std::to_string(device->get()->deviceId));
                    throwAt(callback, n, kind);
                    host.entry.offerDevice(host.discoverer, host.provider, *device);
                    const bool wasReached = !host.on[callback];
                    host.on[callback] = nullptr;
                    if (!wasReached) {
                        host.destroyEntity(host.entities().back());
                        break;
                    }
                    EXPECT_THAT(host.callsOf("releaseDevice"), ElementsAre(released(*device)));
                    expectNoEntity();
                }
                forget();
            }
        }
    }
}

TEST_F(TheUsbDiscovererOfAThrowingHost, GivesADeviceBackThoughTheLogThrowsEachTime) {
    for (const WhatIsThrown& kind : {kStandardException, kNoMemory, kNoException}) {
        SCOPED_TRACE(kind.name);
        host.on["log"] = kind.raise;

        host.entry.offerDevice(host.discoverer, host.provider, phone);

        host.on["log"] = nullptr;
        EXPECT_THAT(host.callsOf("releaseDevice"), ElementsAre(released(phone)));
        expectNoEntity();
    }
}

TEST_F(TheUsbDiscovererOfAThrowingHost, RepeatsAReleaseThatThrewOnce) {
    for (const WhatIsThrown& kind : {kStandardException, kNoMemory, kNoException}) {
        SCOPED_TRACE(kind.name);
        host.on["releaseDevice"] = kind.raise;

        offer(unusable);

        EXPECT_THAT(host.callsOf("releaseDevice"), ElementsAre(released(unusable), released(unusable)));
        forget();
    }
}

TEST_F(TheUsbDiscovererOfAThrowingHost, LeavesADeviceToItsDestroyedEntity) {
    for (const WhatIsThrown& kind : {kStandardException, kNoMemory, kNoException}) {
        SCOPED_TRACE(kind.name);
        throwAt("addEntity", 1, kind, [&] { host.destroyEntity(host.entities().back()); });

        host.entry.offerDevice(host.discoverer, host.provider, phone);

        EXPECT_THAT(host.callsOf("releaseDevice"), ElementsAre(released(phone))) << "by destroyEntity";
        expectNoEntity();
    }
}

TEST_F(TheUsbDiscovererOfAThrowingHost, KnowsNoEntityThatItCouldNotStart) {
    for (const WhatIsThrown& kind : {kStandardException, kNoMemory, kNoException}) {
        SCOPED_TRACE(kind.name);
        throwAt("setEntityTimer", 1, kind);
        ZEBDiscovererEntity* entity = offer(phone);
        forget();

        const void* request = host.fetch(entity, "id");

        EXPECT_THAT(told(), ElementsAre(Call{"errorText", {1}}, logged(10, "Unknown entity: 1 (error 1)"),
                                        Call{"fetchComplete", {entity, "id", request, 1, nullptr}}));
    }
}

TEST_F(TheUsbDiscovererOfAThrowingHost, KnowsANewEntityWhereOneWasThatItCouldNotStart) {
    throwAt("setEntityTimer", 1, kNoException);
    offer(phone);
    forget();
    const void* request = nullptr;
    host.on["addEntity"] = [&] { request = host.fetch(host.entities().back(), "type"); };

    ZEBDiscovererEntity* entity = offer(phone); // where the other was, unless a sanitizer keeps that place

    EXPECT_THAT(told(), ElementsAre(kFoundTethering, added(entity), Call{"allocString", {"usb", -1}},
                                    Call{"fetchComplete", {entity, "type", request, 0, "usb"}},
                                    cancelled(entity), kWaiting, armed(entity, 1000000)));
}

TEST_F(TheUsbDiscovererOfAThrowingHost, GoesOnDeletingWhenItCantUnsubscribe) {
    offer(phone);
    offer(second);
    const std::vector<ZEBDiscovererEntity*> all = inOrder();
    forget();
    host.on["unsubscribeFromDeviceProvider"] = kNoException.raise;

    host.destroy();

    EXPECT_THAT(happened(), ElementsAre(Call{"unsubscribeFromDeviceProvider", {host.provider}},
                                        cancelled(all[0]), cancelled(all[1])));
    EXPECT_EQ(standardError.text(), "");
}

} // namespace
