// What a host may ask of its entities, and what must come of it.

#include "tests/fuzz/FakeUsb.h"
#include "tests/fuzz/ModelHost.h"

#include <algorithm>

namespace zebtest {

namespace {

using Interface = ZEBDiscovererInterface;

} // namespace

/** The entity has become what the mirror has: the same timer, the same fetch pending, the same answers. */
void ModelHost::expectMirrored(ZEBDiscovererEntity* entity, Mirror mirror) {
    const std::optional<Mirror::Answer> owed = mirror.takeAnswer();
    const auto given = mRun.answered.find(entity);
    owe(owed.has_value() == (given != mRun.answered.end()),
        "\"zebcmd\" is answered too early, late or never");
    if (owed && given != mRun.answered.end())
        owe(given->second.error == owed->error && given->second.hasValue == owed->hasValue,
            "the answer to \"zebcmd\" is another one");
    const auto known = mEntities.find(entity);
    if (known == mEntities.end())
        return; // destroyed from inside
    owe(known->second.timer == mirror.timer, "the entity's timer is another one");
    const bool isHeld = std::any_of(mFetches.begin(), mFetches.end(),
                                    [=](const auto& fetch) { return fetch.second.entity == entity; });
    owe(isHeld == mirror.isPending(), "a fetch of \"zebcmd\" is not held as it should be");
    known->second.mirror = mirror;
}

void ModelHost::expectStep(ZEBDiscovererEntity* entity, Mirror mirror, bool keep) {
    owe(mRun.lost.count(entity) == (keep ? 0 : 1) && mRun.lost.size() == mRun.lost.count(entity),
        "lost too early, late or by mistake");
    expectMirrored(entity, std::move(mirror));
}

void ModelHost::fetch(ZEBDiscovererEntity* entity, const char* key) {
    if (!has(&Interface::fetchEntityValue))
        return;
    const Scope scope(*this, "fetchEntityValue", mEntities.at(entity).record, entity);
    const bool isCommand = key && std::string(key) == "zebcmd";
    // Requests are the host's own: any value will do, also twice and null.
    auto* const request =
        reinterpret_cast<ZEBDiscoverySDKRequest*>(mChoices.rarely(8) ? mLastRequest / 2 : ++mLastRequest);
    char* const handedOver = handOver(key);
    if (isCommand)
        mFetches[handedOver] = {entity, request};
    mRun.key = handedOver;
    mRun.request = request;
    std::optional<Mirror> mirror = mEntities.at(entity).mirror;
    call(&Interface::fetchEntityValue, entity, handedOver, request);
    if (!isCommand)
        return owe(mRun.completed == 1, "not answered once");
    Met met = takeMet();
    if (!mirror)
        return owe(mRun.completed == 0, "the command of a phone that is not switched");
    mirror->fetch(met);
    expectMirrored(entity, *mirror);
}

void ModelHost::post(ZEBDiscovererEntity* entity, const char* key, const char* value) {
    if (!has(&Interface::postEntityValue))
        return;
    const Scope scope(*this, "postEntityValue", nullptr, entity);
    mRun.key = handOver(key);
    mRun.value = handOver(value);
    mRun.request = reinterpret_cast<ZEBDiscoverySDKRequest*>(++mLastRequest);
    call(&Interface::postEntityValue, entity, mRun.key, mRun.value, mRun.request);
    owe(mRun.completed == 1, "not answered once");
}

void ModelHost::expireTimer(ZEBDiscovererEntity* entity) {
    if (!has(&Interface::handleEntityTimeout))
        return;
    const Scope scope(*this, "handleEntityTimeout", nullptr, entity);
    KnownEntity& known = mEntities.at(entity);
    known.timer.reset();
    std::optional<Mirror> mirror = known.mirror;
    call(&Interface::handleEntityTimeout, entity);
    Met met = takeMet();
    if (!mirror)
        return owe(mRun.lost.size() == mRun.lost.count(entity), "another entity is lost");
    mirror->timer.reset();
    const bool keep = mirror->timeout(met);
    expectStep(entity, *mirror, keep);
}

void ModelHost::entityEvent(ZEBDiscovererEntity* entity) {
    // Only entities with a handle of their own have such events.
    if (mEntities.at(entity).record->taken != Taken::Tethering || !has(&Interface::handleEntityEvent))
        return;
    const Scope scope(*this, "handleEntityEvent", nullptr, entity);
    std::optional<Mirror> mirror = mEntities.at(entity).mirror;
    call(&Interface::handleEntityEvent, entity);
    if (!mirror)
        return;
    const bool keep = mirror->event();
    expectStep(entity, *mirror, keep);
}

void ModelHost::event(int handle) {
    if (!has(&Interface::handleSingleEvent))
        return;
    const Scope scope(*this, "handleSingleEvent");
    call(&Interface::handleSingleEvent, &handle);
    owe(mRun.lost.size() <= 1, "more than one entity is lost");
}

void ModelHost::expireHandleTimer(int handle) {
    if (!has(&Interface::handleTimeoutForEventHandle))
        return;
    const Scope scope(*this, "handleTimeoutForEventHandle");
    mHandleTimers.erase(handle);
    call(&Interface::handleTimeoutForEventHandle, &handle);
    owe(mRun.lost.size() <= 1, "more than one entity is lost");
}

void ModelHost::start() {
    if (!has(&Interface::start))
        return;
    const Scope scope(*this, "start");
    call(&Interface::start);
    owe(mRun.started == 1 && mRun.lastError == 0, "not reported started once");
    Met met = takeMet();
    for (const auto& [entity, known] : mEntities) {
        if (!known.mirror)
            continue;
        Mirror mirror = *known.mirror;
        mirror.start(met);
        expectMirrored(entity, mirror);
    }
}

void ModelHost::stop() {
    if (!has(&Interface::stop))
        return;
    const Scope scope(*this, "stop");
    call(&Interface::stop);
    expectStopped();
}

void ModelHost::expectStopped() {
    owe(mRun.stopped == 1 && mRun.lastError == 0, "not reported stopped once");
    for (const auto& [entity, known] : mEntities) {
        owe(!known.timer, "a timer of an entity is still armed");
        if (!known.mirror)
            continue;
        Mirror mirror = *known.mirror;
        mirror.stop();
        expectMirrored(entity, mirror);
    }
    refreshHandles();
    owe(mHandles.empty(), "there are handles left");
}

void ModelHost::providerStarted(int error) {
    if (!has(&Interface::deviceProviderStarted))
        return;
    const Scope scope(*this, "deviceProviderStarted");
    call(&Interface::deviceProviderStarted, mpProvider, error);
    owe(mRun.stopped == (error ? 1 : 0) && mRun.lastError == error, "stopped is not what it says");
}

void ModelHost::providerStopped(int error) {
    if (!has(&Interface::deviceProviderStopped))
        return;
    const Scope scope(*this, "deviceProviderStopped");
    call(&Interface::deviceProviderStopped, mpProvider, error);
    expectStopped();
}

void ModelHost::unsupported(unsigned which, ZEBDiscovererEntity* entity) {
    const Scope scope(*this, "an operation that is not supported", nullptr, entity);
    char* text = nullptr;
    void* first = this;
    void* second = this;
    const void* data = this;
    const auto refused = [&](auto slot, auto... arguments) {
        if (has(slot) && call(slot, arguments...) != 9)
            fail("an operation that is not supported does not say so");
    };
    switch (which) {
    case 0:
        return refused(&Interface::getProperty, "aapmodel", &text);
    case 1:
        return refused(&Interface::cancelRequest, reinterpret_cast<ZEBDiscoverySDKRequest*>(mLastRequest));
    case 2:
        return refused(&Interface::createEntity, entity);
    case 3:
        return refused(&Interface::destroyUnpublishedEntity, entity);
    case 4:
        if (has(&Interface::publishEntity))
            call(&Interface::publishEntity, entity);
        return owe(mRun.completed == 1 && mRun.lastError == 9, "not answered once");
    case 5:
        if (has(&Interface::unpublishEntity))
            call(&Interface::unpublishEntity, entity);
        return owe(mRun.completed == 1 && mRun.lastError == 9, "not answered once");
    case 6:
        if (has(&Interface::getViewerParameters) &&
            (call(&Interface::getViewerParameters, entity, &first, &second) != 0 || first || second))
            fail("viewer parameters");
        return;
    case 7:
        if (has(&Interface::getEntityBinaryData) &&
            (call(&Interface::getEntityBinaryData, entity, "any", &data) != 0 || data))
            fail("binary data");
        return;
    case 8:
        if (has(&Interface::getDescription) && std::string(call(&Interface::getDescription)) != "100")
            fail("another description");
        return;
    case 9:
        if (has(&Interface::setExternalContext))
            call(&Interface::setExternalContext, first);
        return;
    default:
        expectOwnHandle(entity);
    }
}

/** A tethering phone's entity has a handle of its own, which is none; others have theirs in the list. */
void ModelHost::expectOwnHandle(ZEBDiscovererEntity* entity) {
    if (!mEntities.contains(entity) || !has(&Interface::getEntityEventHandle))
        return;
    const int* handle = call(&Interface::getEntityEventHandle, entity);
    const bool isTethering = mEntities.at(entity).record->taken == Taken::Tethering;
    if (isTethering != (handle != nullptr) || (handle && *handle != ZEBDiscovererNoEventHandle))
        fail("the entity's own handle");
}

} // namespace zebtest
