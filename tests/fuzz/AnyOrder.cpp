#include "tests/fuzz/AnyOrder.h"

#include <algorithm>

namespace zebtest {

namespace {

constexpr std::size_t kMostRecords = 12;
constexpr std::size_t kMostEntities = 10;
constexpr const char* kKeys[] = {"zebcmd", "id", "name",    "type", "connectionPassPossible",
                                 "Zebcmd", "",   "password"};
constexpr const char* kIdentifiers[] = {"aapmanufacturer", "aapmodel", "aapdescription",
                                        "aapversion",      "aapuri",   "aapserial"};

/** Stands for a pointer that the plug-in only passes back. */
auto* const kForeign = reinterpret_cast<ZEBDiscovererEntity*>(16);

} // namespace

AnyOrder::AnyOrder(ZEBDiscovererInitializeFunction function, Choices& choices, Tables tables) :
    mpFunction(function),
    mChoices(choices),
    mTables(tables),
    mUsb(FakeUsb::instance()),
    mSystem(FakeSystem::instance()) {
    mUsb.reset(choices);
    mSystem.reset(choices);
}

AnyOrder::~AnyOrder() { mSystem.release(); }

std::size_t AnyOrder::anySize(std::size_t whole) {
    switch (mChoices.below(8)) {
    case 0:
        return whole;
    case 1:
        return whole + mChoices.below(64);
    case 2:
        return mChoices.below(0x10000);
    default:
        return mChoices.below(static_cast<std::uint32_t>(whole) + 1);
    }
}

void AnyOrder::begin() {
    constexpr int kLevels[] = {30, 80, 10, 0, -1};
    mpHost = std::make_unique<ModelHost>(mChoices);
    mpHost->logLevel = mChoices.of(kLevels);
    const bool isWhole = mTables == Tables::Usual && !mChoices.rarely(8);
    const std::size_t interfaceSize = sizeof(ZEBDiscovererInterface);
    const std::size_t callbackSize = sizeof(ZEBDiscovererCallbacks);
    mpHost->initialize(mpFunction, isWhole ? interfaceSize : anySize(interfaceSize),
                       isWhole ? callbackSize : anySize(callbackSize), !isWhole && mChoices.rarely(2));
    mpHost->setContext();
    // A provider that can't be subscribed to may be asked again.
    for (int tries = 0; !mRuns && tries < 4; ++tries)
        mRuns = mpHost->init();
}

int AnyOrder::live(int calls) {
    begin();
    int made = 0;
    while (made < calls && !mChoices.isUsedUp()) {
        anyCall();
        ++made;
    }
    end();
    return made;
}

void AnyOrder::end() {
    if (mRuns && mpHost->isWhole())
        expectNextPhonesWork();
    mpHost->destroy();
    mUsb.expectNothingLeft();
    mSystem.expectNothingLeft();
    mpHost.reset();
}

void AnyOrder::offerRecords(int calls) {
    begin();
    for (int made = 0; mRuns && made < calls && !mChoices.isUsedUp(); ++made) {
        const RandomRecord& record = newRecord();
        mpHost->getInterest(record, true);
        if (record.mayBeOffered())
            mpHost->offer(record);
        ZEBDiscovererEntity* const entity = anyEntity();
        if (!entity)
            continue;
        mpHost->fetch(entity, mChoices.of(kKeys));
        mpHost->unsupported(10, entity);
        if (mpHost->entities().contains(entity))
            mpHost->destroyEntity(entity);
    }
    end();
}

void AnyOrder::shakeHands(int calls) {
    begin();
    RandomRecord& phone = *mRecords.emplace_back(
        std::make_unique<RandomRecord>(1, usbProperties("04e8", "6860"), plainDescriptors()));
    for (int made = 0; mRuns && made < calls && !mChoices.isUsedUp(); ++made) {
        if (mpHost->entities().empty()) {
            mUsb.plug(phone.number(0), phone.number(1));
            mpHost->offer(phone);
        }
        switch (ZEBDiscovererEntity* const entity = anyEntity(); entity ? mChoices.below(16) : 11) {
        case 12:
            mpHost->destroyEntity(entity);
            break;
        case 13:
            mpHost->remove(phone);
            break;
        case 14:
            mChoices.rarely(2) ? mpHost->start() : mpHost->stop();
            break;
        case 15:
            mpHost->expireTimer(entity);
            break;
        default:
            handleCall();
        }
    }
    end();
}

void AnyOrder::anyCall() {
    if (!mRuns) {
        // Without a provider only some calls are a host's to make.
        mpHost->unsupported(mChoices.below(10), nullptr);
        return mpHost->setProperty(nullptr, "value");
    }
    if (mPatience > 0 && --mPatience > 0 && mpHost->entities().contains(mpPatient))
        return mpHost->expireTimer(mpPatient);
    switch (mChoices.below(8)) {
    case 0:
    case 1:
        return deviceCall();
    case 2:
    case 3:
    case 4:
        return entityCall();
    case 5:
    case 6:
        return handleCall();
    default:
        return discovererCall();
    }
}

RandomRecord& AnyOrder::newRecord() {
    forgetRecords();
    // Few numbers, so that some devices share one.
    mRecords.push_back(std::make_unique<RandomRecord>(mChoices, 0x1a00 + mChoices.below(12)));
    RandomRecord& record = *mRecords.back();
    if (!mChoices.rarely(8))
        mUsb.plug(record.number(0), record.number(1));
    return record;
}

RandomRecord& AnyOrder::anyRecord() {
    if (mRecords.empty() || mChoices.rarely(2))
        return newRecord();
    return *mRecords[mChoices.below(static_cast<std::uint32_t>(mRecords.size()))];
}

/** A record goes as soon as nobody may read it any more, so that a sanitizer finds who does. */
void AnyOrder::forgetRecords() {
    while (mRecords.size() >= kMostRecords) {
        const auto unused = std::find_if(mRecords.begin(), mRecords.end(),
                                         [this](const auto& record) { return !mpHost->isInUse(*record); });
        if (unused == mRecords.end())
            return;
        mRecords.erase(unused);
    }
}

ZEBDiscovererEntity* AnyOrder::anyEntity() {
    const auto& all = mpHost->entities();
    if (all.empty())
        return nullptr;
    auto entity = all.begin();
    std::advance(entity, static_cast<int>(mChoices.below(static_cast<std::uint32_t>(all.size()))));
    return entity->first;
}

void AnyOrder::deviceCall() {
    RandomRecord& record = anyRecord();
    switch (mChoices.below(6)) {
    case 0:
    case 1:
        if (record.mayBeOffered() && mpHost->entities().size() < kMostEntities)
            mpHost->offer(record);
        break;
    case 2:
        mpHost->getInterest(record, !mChoices.rarely(4));
        break;
    case 3:
        mpHost->remove(record);
        break;
    case 4: {
        // Another record of the same number, or of none.
        const RandomRecord other(mChoices, record.id + (mChoices.rarely(2) ? 0x100 : 0));
        mpHost->remove(other);
        break;
    }
    default:
        mpHost->offerForProtocol(record, "protocol");
    }
}

void AnyOrder::entityCall() {
    ZEBDiscovererEntity* entity = anyEntity();
    if (!entity)
        return deviceCall();
    switch (mChoices.below(8)) {
    case 0:
    case 1:
        return mpHost->fetch(entity, "zebcmd");
    case 2:
        return mpHost->fetch(entity, mChoices.rarely(8) ? nullptr : mChoices.of(kKeys));
    case 3:
    case 4:
        mpPatient = entity;
        mPatience = mChoices.rarely(8) ? mChoices.below(24) : 0;
        return mpHost->expireTimer(entity);
    case 5:
        return mpHost->post(entity, mChoices.of(kKeys), mChoices.rarely(4) ? nullptr : "value");
    case 6:
        return mChoices.rarely(3) ? mpHost->destroyEntity(entity) : mpHost->unsupported(10, entity);
    default:
        return mpHost->entityEvent(entity);
    }
}

void AnyOrder::handleCall() {
    const std::vector<int>& handles = mpHost->handles();
    if (handles.empty())
        return changeWorld();
    const std::set<int>& timers = mpHost->handleTimers();
    if (!timers.empty() && mChoices.rarely(2))
        return mpHost->expireHandleTimer(*timers.begin());
    const int handle = handles[mChoices.below(static_cast<std::uint32_t>(handles.size()))];
    if (mChoices.rarely(8))
        return mpHost->expireHandleTimer(handle);
    mpHost->event(handle);
}

void AnyOrder::discovererCall() {
    switch (mChoices.below(10)) {
    case 0:
        return changeWorld();
    case 1:
        return mpHost->start();
    case 2:
        return mpHost->stop();
    case 3:
        return mpHost->providerStarted(static_cast<int>(mChoices.below(3)));
    case 4:
        return mChoices.rarely(4) ? mpHost->providerStopped(static_cast<int>(mChoices.below(3)))
                                  : mpHost->setContext();
    case 5:
    case 6: {
        const std::string value(mChoices.rarely(4) ? mChoices.below(256) : mChoices.below(8), 'x');
        return mpHost->setProperty(mChoices.of(kIdentifiers), mChoices.rarely(4) ? nullptr : value.c_str());
    }
    case 7: {
        constexpr const char* kOthers[] = {"aapModel", "", "latency", nullptr};
        return mpHost->setProperty(mChoices.of(kOthers), "value");
    }
    default:
        ZEBDiscovererEntity* const entity = anyEntity();
        return mpHost->unsupported(mChoices.below(11), entity ? entity : kForeign);
    }
}

/** No call, but what happens between two. */
void AnyOrder::changeWorld() {
    switch (mChoices.below(4)) {
    case 0:
        return mSystem.setNetwork(true);
    case 1:
        return mSystem.setNetwork(false);
    case 2:
        return mRecords.empty() ? void() : mUsb.unplug(mRecords[0]->number(0), mRecords[0]->number(1));
    default:
        mpHost->destroysInside = !mpHost->destroysInside;
    }
}

void AnyOrder::expectNextPhonesWork() {
    mUsb.setHealthy(true);
    mSystem.setHealthy(true);
    mSystem.setNetwork(true);
    mpHost->failsAllocations = false;
    mpHost->destroysInside = false;
    while (!mpHost->entities().empty())
        mpHost->destroyEntity(mpHost->entities().begin()->first);
    if (!mpHost->handles().empty())
        fail("handles without entities");
    expectSwitched();
    expectCommand(RandomRecord(0x2001, {"5", "9", "18d1", "2d00"}, plainDescriptors()));
    expectCommand(RandomRecord(0x2002, {"5", "9", "04e8", "6860"}, tetheringDescriptors()));
}

void AnyOrder::expectSwitched() {
    const RandomRecord record(0x2000, {"5", "8", "04e8", "6860"}, plainDescriptors());
    mUsb.plug(5, 8);
    mpHost->offer(record);
    for (int turns = 0; turns < 20 && !mUsb.switched().contains({5, 8}); ++turns) {
        if (!mpHost->handleTimers().empty())
            mpHost->expireHandleTimer(*mpHost->handleTimers().begin());
        else if (!mpHost->handles().empty())
            mpHost->event(mpHost->handles().front());
    }
    if (!mUsb.switched().contains({5, 8}))
        fail("the next phone is not switched");
    mpHost->remove(record);
    mpHost->destroyEntity(anyEntity());
}

void AnyOrder::expectCommand(const RandomRecord& record) {
    mpHost->offer(record);
    ZEBDiscovererEntity* const entity = mpHost->entities().begin()->first;
    const int before = mpHost->commandsReceived();
    mpHost->fetch(entity, "zebcmd");
    mpHost->expireTimer(entity);
    if (mpHost->commandsReceived() != before + 1)
        fail("the next phone's command does not come");
    mpHost->destroyEntity(entity);
}

} // namespace zebtest
