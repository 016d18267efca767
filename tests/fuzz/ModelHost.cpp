#include "tests/fuzz/ModelHost.h"

#include "tests/fuzz/FakeUsb.h"
#include "tests/fuzz/ModelCallbacks.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <poll.h>

namespace zebtest {

namespace {

using Interface = ZEBDiscovererInterface;

constexpr unsigned char kUntouched = 0xa5;
constexpr const char* kIdentifierKeys[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                                           "aapversion",      "aapuri",   "aapserial"};
constexpr const char* kDefaults[] = {
    "Example Company",          "AAPTest",      "Example Company AAP Bearer", "0.1",
    "https://www.example.com/", "serial_number"};

std::string commandOf(const RandomRecord& record) {
    if (record.taken == Taken::Tethering)
        return "zebcmd:v=1;t=USBAND";
    return "zebcmd:v=1;t=USBAAP;bus=" + std::to_string(record.number(0)) +
           ";dev=" + std::to_string(record.number(1));
}

} // namespace

ModelHost::Scope::Scope(ModelHost& host, const char* name, const RandomRecord* record,
                        ZEBDiscovererEntity* entity) :
    mHost(host), mOuter(std::exchange(host.mRun, {.name = name, .record = record, .entity = entity})) {
    ++mHost.mDepth;
}

ModelHost::Scope::~Scope() {
    mHost.mRun = mOuter;
    if (--mHost.mDepth == 0)
        mHost.afterCall();
}

ModelHost::ModelHost(Choices& choices) :
    mChoices(choices), mpProvider(reinterpret_cast<ZEBDiscovererDeviceProvider*>(&mProviderResult)) {
    std::memset(static_cast<void*>(&mUntouched), kUntouched, sizeof(mUntouched));
    mEntry = mUntouched;
    ModelCallbacks::pHost = this;
    FakeUsb::instance().identifier = [this](int n) { return identifier(n); };
}

ModelHost::~ModelHost() { ModelCallbacks::pHost = nullptr; }

void ModelHost::owe(bool condition, const char* what) const {
    if (mWhole && !condition)
        fail("%s: %s", mRun.name, what);
}

// --- Life ---

namespace {

/** The slot destroyDiscoverer of another discoverer, made with a whole table. */
auto destroyOf(ZEBDiscovererInitializeFunction function) {
    Interface table{};
    ZEBDiscoverer* discoverer = function(&table, sizeof(table), nullptr, 0);
    table.destroyDiscoverer(nullptr);
    table.destroyDiscoverer(discoverer);
    return table.destroyDiscoverer;
}

} // namespace

/** The table that a plug-in filled: only its own slots, and nothing beyond what it was given. */
void ModelHost::takeTable(const std::vector<unsigned char>& bytes) {
    constexpr std::size_t kSlot = sizeof(void*);
    for (std::size_t i = 0; i * kSlot < bytes.size(); ++i) {
        const std::size_t end = std::min((i + 1) * kSlot, bytes.size());
        const bool isUntouched = std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(i * kSlot),
                                             bytes.begin() + static_cast<std::ptrdiff_t>(end),
                                             [](auto b) { return b == kUntouched; });
        const bool isOfTheirs =
            i < sizeof(mEntry) / kSlot && (i + 1) * kSlot <= bytes.size() && (i < 1 || i > 3) && i != 22;
        if (isUntouched == isOfTheirs)
            fail("slot %zu of %zu bytes is%s written", i, bytes.size(), isUntouched ? " not" : "");
        if (isOfTheirs)
            std::memcpy(reinterpret_cast<unsigned char*>(&mEntry) + i * kSlot, bytes.data() + i * kSlot,
                        kSlot);
    }
}

void ModelHost::initialize(ZEBDiscovererInitializeFunction function, std::size_t interfaceSize,
                           std::size_t callbackSize, bool dropSlots) {
    mWhole =
        interfaceSize >= sizeof(Interface) && callbackSize >= sizeof(ZEBDiscovererCallbacks) && !dropSlots;
    const ZEBDiscovererCallbacks all = ModelCallbacks::table();
    // Of exactly the size that is told, so that a sanitizer finds whoever goes beyond it.
    std::vector<unsigned char> callbacks(callbackSize, 0);
    std::vector<unsigned char> entries(interfaceSize, kUntouched);
    if (callbackSize > 0)
        std::memcpy(callbacks.data(), &all, std::min(callbackSize, sizeof(all)));
    for (std::size_t i = 0; dropSlots && (i + 1) * sizeof(void*) <= callbackSize; ++i) {
        if (mChoices.rarely(8))
            std::memset(callbacks.data() + i * sizeof(void*), 0, sizeof(void*));
    }
    mpDestroy = destroyOf(function);
    const Scope scope(*this, "ZEBDiscovererInitialize");
    mpDiscoverer = function(reinterpret_cast<Interface*>(entries.data()), interfaceSize,
                            reinterpret_cast<const ZEBDiscovererCallbacks*>(callbacks.data()), callbackSize);
    if (!mpDiscoverer)
        fail("no discoverer");
    takeTable(entries);
}

void ModelHost::setContext() {
    const Scope scope(*this, "setContext");
    if (has(&Interface::setContext))
        call(&Interface::setContext, static_cast<void*>(this));
}

bool ModelHost::init() {
    const Scope scope(*this, "init");
    if (!has(&Interface::init))
        return false;
    const ZEBDiscoverySDKError error = call(&Interface::init);
    owe(error == mRun.lastError, "the result is not the subscription's");
    return error == 0;
}

void ModelHost::destroy() {
    {
        const Scope scope(*this, "destroyDiscoverer");
        // A host with too short a table can't end its discoverer; here it may.
        mpDestroy(mpDiscoverer);
        owe(mRun.released == 0, "a device was released");
        owe(!mSubscribed, "the provider is still subscribed to");
        mpDiscoverer = nullptr;
        mEntities.clear();
        mHandles.clear();
    }
    if (mWhole && !(mStrings.empty() && mFetches.empty()))
        fail("%zu strings never came back", mStrings.size());
}

void ModelHost::afterCall() {
    takeMet();
    if (!mpDiscoverer)
        return;
    expectFetchesHeld();
    refreshHandles();
}

/** Between calls every open fetch is held by an entity, which holds only one. */
void ModelHost::expectFetchesHeld() const {
    std::set<ZEBDiscovererEntity*> holders;
    for (const auto& [key, fetch] : mFetches) {
        owe(mEntities.contains(fetch.entity), "the key of a fetch outlived its entity");
        owe(holders.insert(fetch.entity).second, "an entity keeps two fetches");
    }
}

/** Every handle is open and of somebody, with the right flag; timers of others are forgotten. */
void ModelHost::refreshHandles() {
    mHandles.clear();
    if (!has(&Interface::getMultipleEventHandlesEx))
        return;
    int* flags = nullptr;
    const int* handle = call(&Interface::getMultipleEventHandlesEx, &flags);
    for (; handle && *handle != ZEBDiscovererNoEventHandle; ++handle, ++flags) {
        const short* events = FakeUsb::instance().eventsOf(*handle);
        if (events ? (*flags != 0) != ((*events & POLLOUT) != 0) : *flags != 0)
            fail("handle %d has the write flag %d", *handle, *flags);
        if (!events && fcntl(*handle, F_GETFD) == -1)
            fail("handle %d is nobody's", *handle);
        mHandles.push_back(*handle);
    }
    std::erase_if(mHandleTimers, [this](int timer) {
        return std::find(mHandles.begin(), mHandles.end(), timer) == mHandles.end();
    });
}

Met ModelHost::takeMet() {
    const std::vector<FakeSystem::Search> searches = FakeSystem::instance().takeSearches();
    return {{searches.begin(), searches.end()}, std::exchange(mAllocations, {})};
}

bool ModelHost::isInUse(const RandomRecord& record) const {
    return !mWhole || std::any_of(mEntities.begin(), mEntities.end(),
                                  [&](const auto& entry) { return entry.second.record == &record; });
}

std::string ModelHost::identifier(int n) const { return mIdentifiers[n].value_or(kDefaults[n]); }

// --- Devices ---

void ModelHost::getInterest(const RandomRecord& record, bool withReason) {
    if (!has(&Interface::getDeviceInterest))
        return;
    const Scope scope(*this, "getDeviceInterest", &record);
    char* const untouched = reinterpret_cast<char*>(&mRun);
    char* reason = untouched;
    const int level =
        call(&Interface::getDeviceInterest, mpProvider, record.record.get(), withReason ? &reason : nullptr);
    const Interest expected = interestIn(record.taken);
    if (level != expected.level)
        fail("interest %d instead of %d", level, expected.level);
    if (!withReason || !expected.reason) {
        if (reason != untouched)
            fail("a reason without an interest");
        return;
    }
    owe(reason ? !std::strcmp(reason, expected.reason) : mRun.allocationFailed, "the reason is another one");
    receive(reason);
}

void ModelHost::offer(const RandomRecord& record) {
    if (!has(&Interface::offerDevice))
        return;
    const Scope scope(*this, "offerDevice", &record);
    call(&Interface::offerDevice, mpProvider, record.record.get());
    owe(mRun.released == (mRun.added ? 0 : 1), "neither an entity nor released once");
    owe(!mRun.added || record.taken != Taken::Not, "an entity of nothing");
    Met met = takeMet();
    if (!mWhole || !mRun.added || record.taken == Taken::ToBeSwitched)
        return;
    Mirror mirror(record.taken == Taken::Tethering, commandOf(record));
    mEntities.at(mRun.added).mirror = mirror;
    mirror.start(met);
    expectMirrored(mRun.added, mirror);
}

void ModelHost::offerForProtocol(const RandomRecord& record, const char* protocol) {
    if (!protocol)
        return offer(record);
    if (!has(&Interface::offerDeviceForProtocol))
        return;
    const Scope scope(*this, "offerDeviceForProtocol", &record);
    call(&Interface::offerDeviceForProtocol, mpProvider, record.record.get(), handOver(protocol));
    owe(mRun.released == 1 && !mRun.added, "not released once");
    owe(mRun.protocolsFreed == 1, "the protocol was not freed once");
}

void ModelHost::remove(const RandomRecord& record) {
    if (!has(&Interface::removeDevice))
        return;
    std::set<ZEBDiscovererEntity*> theirs;
    for (const auto& [entity, known] : mEntities) {
        if (known.record == &record || known.record->id == record.id)
            theirs.insert(entity);
    }
    const Scope scope(*this, "removeDevice");
    call(&Interface::removeDevice, mpProvider, record.record.get());
    for (ZEBDiscovererEntity* entity : mRun.lost) {
        owe(theirs.contains(entity), "lost, but of another device");
        owe(mRun.lost.count(entity) == 1, "lost twice");
    }
    for (ZEBDiscovererEntity* entity : theirs) {
        const auto known = mEntities.find(entity);
        owe(mRun.lost.contains(entity) || known == mEntities.end(), "an entity is not reported lost");
        if (known == mEntities.end() || !known->second.mirror)
            continue;
        known->second.mirror->stop();
        expectMirrored(entity, *known->second.mirror);
    }
}

void ModelHost::destroyEntity(ZEBDiscovererEntity* entity) {
    if (!has(&Interface::destroyEntity))
        return;
    KnownEntity& known = mEntities.at(entity);
    known.isEnding = true;
    const Scope scope(*this, "destroyEntity", known.record, entity);
    call(&Interface::destroyEntity, entity);
    owe(mRun.released == 1, "its device was not released once");
    owe(!known.timer, "its timer is still armed");
    mEntities.erase(entity);
}

void ModelHost::setProperty(const char* key, const char* value) {
    if (!has(&Interface::setProperty))
        return;
    const Scope scope(*this, "setProperty");
    mProviderResult = 9;
    const ZEBDiscoverySDKError error = call(&Interface::setProperty, key, value);
    ZEBDiscoverySDKError expected = key ? mProviderResult : 1;
    for (int n = 0; expected == 9 && n < 6; ++n) {
        if (std::strcmp(key, kIdentifierKeys[n]) != 0)
            continue;
        expected = 0;
        mIdentifiers[n] = value ? std::optional<std::string>(value) : std::nullopt;
    }
    if (error != expected)
        fail("setProperty(%s): %d instead of %d", key ? key : "null", error, expected);
}

} // namespace zebtest
