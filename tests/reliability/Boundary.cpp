#include "tests/reliability/Boundary.h"

namespace zebtest {
namespace {

thread_local bool tInside = false;

/** One function of a table; the tag makes each a type of its own, so that each has its own place. */
template <bool Inside, class Tag, class R, class... Args>
void guardSlot(Tag, R (*&slot)(Args...)) {
    static R (*behind)(Args...);
    if (!slot)
        return;
    behind = slot;
    slot = [](Args... args) -> R {
        const Boundary::Side side(Inside);
        return behind(args...);
    };
}

} // namespace

bool Boundary::isInside() { return tInside; }

Boundary::Side::Side(bool inside) : mBefore(tInside) { tInside = inside; }

Boundary::Side::~Side() { tInside = mBefore; }

#define ZEB_OUTSIDE(slot) guardSlot<false>([] {}, t.slot)
#define ZEB_INSIDE(slot) guardSlot<true>([] {}, t.slot)

void Boundary::guard(ZEBDiscovererCallbacks& t) {
    ZEB_OUTSIDE(discovererStarted);
    ZEB_OUTSIDE(discovererStopped);
    ZEB_OUTSIDE(addEntity);
    ZEB_OUTSIDE(setEntityTimer);
    ZEB_OUTSIDE(entityLost);
    ZEB_OUTSIDE(fetchComplete);
    ZEB_OUTSIDE(postComplete);
    ZEB_OUTSIDE(publishComplete);
    ZEB_OUTSIDE(unpublishComplete);
    ZEB_OUTSIDE(log);
    ZEB_OUTSIDE(allocString);
    ZEB_OUTSIDE(freeString);
    ZEB_OUTSIDE(addUnpublishedEntity);
    ZEB_OUTSIDE(isLogLevelEnabled);
    ZEB_OUTSIDE(setTimerForHandle);
    ZEB_OUTSIDE(eventHandlesChanged);
    ZEB_OUTSIDE(subscribeToDeviceProvider);
    ZEB_OUTSIDE(unsubscribeFromDeviceProvider);
    ZEB_OUTSIDE(setDeviceProviderProperty);
    ZEB_OUTSIDE(getDeviceProviderProperty);
    ZEB_OUTSIDE(releaseDevice);
    ZEB_OUTSIDE(fillUtils);
    ZEB_OUTSIDE(errorText);
    ZEB_OUTSIDE(freeProtocolString);
}

void Boundary::guard(ZEBDiscovererInterface& t) {
    ZEB_INSIDE(setContext);
    ZEB_INSIDE(getEntityEventHandle);
    ZEB_INSIDE(handleEntityEvent);
    ZEB_INSIDE(handleEntityTimeout);
    ZEB_INSIDE(setProperty);
    ZEB_INSIDE(getProperty);
    ZEB_INSIDE(getViewerParameters);
    ZEB_INSIDE(start);
    ZEB_INSIDE(stop);
    ZEB_INSIDE(fetchEntityValue);
    ZEB_INSIDE(getEntityBinaryData);
    ZEB_INSIDE(postEntityValue);
    ZEB_INSIDE(cancelRequest);
    ZEB_INSIDE(destroyEntity);
    ZEB_INSIDE(createEntity);
    ZEB_INSIDE(publishEntity);
    ZEB_INSIDE(unpublishEntity);
    ZEB_INSIDE(destroyUnpublishedEntity);
    ZEB_INSIDE(destroyDiscoverer);
    ZEB_INSIDE(handleSingleEvent);
    ZEB_INSIDE(handleTimeoutForEventHandle);
    ZEB_INSIDE(init);
    ZEB_INSIDE(deviceProviderStarted);
    ZEB_INSIDE(getDeviceInterest);
    ZEB_INSIDE(offerDevice);
    ZEB_INSIDE(removeDevice);
    ZEB_INSIDE(deviceProviderStopped);
    ZEB_INSIDE(getDescription);
    ZEB_INSIDE(getMultipleEventHandlesEx);
    ZEB_INSIDE(setExternalContext);
    ZEB_INSIDE(offerDeviceForProtocol);
}

} // namespace zebtest
