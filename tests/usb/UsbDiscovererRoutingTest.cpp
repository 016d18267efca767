// Events and timeouts: which entity they go to, and what becomes of it afterwards.
#include "tests/usb/DiscovererFixture.h"
#include "tests/usb/OwnEntities.h"

#include <functional>

using namespace testing;
using namespace zebtest;

namespace {

// Phones.

TEST_F(TheUsbDiscoverer, GivesTheOwnHandleOfAnEntityThatHasOne) {
    ZEBDiscovererEntity* entity = offer(phone);
    ZEBDiscovererEntity* other = offer(accessory);
    forget();

    const int* handle = host.entry.getEntityEventHandle(host.discoverer, entity);

    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(*handle, -1);
    EXPECT_EQ(host.entry.getEntityEventHandle(host.discoverer, other), nullptr);
    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(TheUsbDiscoverer, ReportsAnEntityLostWhenAnEventOrATimeoutEndsIt) {
    ZEBDiscovererEntity* entity = offer(phone);
    forget();
    host.entry.handleEntityEvent(host.discoverer, entity);
    EXPECT_THAT(told(), ElementsAre(cancelled(entity), armed(entity, 1000000)));
    for (int attempt = 3; attempt <= 20; ++attempt) {
        host.expireEntityTimer(entity);
        EXPECT_THAT(told(), ElementsAre(armed(entity, 1000000))) << "announced once, and not lost yet";
    }

    host.expireEntityTimer(entity);
    EXPECT_THAT(told(), ElementsAre(armed(entity, 1000000), lost(entity)));
    host.entry.handleEntityEvent(host.discoverer, entity);
    EXPECT_THAT(told(), ElementsAre(cancelled(entity), lost(entity)));
}

TEST_F(TheUsbDiscoverer, PublishesASwitchedPhonesCommandAfterASecond) {
    ZEBDiscovererEntity* entity = offer(accessory);
    const void* request = host.fetch(entity, "zebcmd");
    forget();

    host.advance(999'999);
    EXPECT_THAT(happened(), IsEmpty());
    host.advance(1);

    const char* const command = "zebcmd:v=1;t=USBAAP;bus=1;dev=4";
    EXPECT_THAT(happened(), ElementsAre(Call{"allocString", {command, -1}},
                                        Call{"fetchComplete", {entity, "zebcmd", request, 0, command}}));
}

TEST_F(TheUsbDiscoverer, StopsTheProcessForAnEntityEventOfAnEntityWithManyHandles) {
    ZEBDiscovererEntity* entity = offer(accessory);

    EXPECT_ASSERTION(
        {
            tellNothingBut(host, "");
            host.entry.handleEntityEvent(host.discoverer, entity);
        },
        "usb/UsbDiscoverer\\.cpp", "!entity.usesMultipleHandles()");
}

TEST_F(TheUsbDiscoverer, StopsTheProcessForAHandleThatNobodyOwns) {
    offer(phone);
    offer(accessory);
    int handle = 5, none = -1; // a phone's own handle is not among those that are owned

    for (int* unowned : {&handle, &none, static_cast<int*>(nullptr)}) {
        for (const auto slot : {host.entry.handleSingleEvent, host.entry.handleTimeoutForEventHandle}) {
            EXPECT_ASSERTION(
                {
                    tellNothingBut(host, "");
                    slot(host.discoverer, unowned);
                },
                "usb/UsbDiscoverer\\.cpp", "false");
        }
    }
}

// Entities whose steps turn out as the test says. None has been shown to clients.

class TheUsbDiscovererOfScriptedEntities : public TheUsbDiscoverer {
protected:
    TheUsbDiscovererOfScriptedEntities() {
        for (int i = 0; i < 3; ++i)
            all.push_back(new ScriptedEntity(*discoverer, *discoverer, phone));
        std::sort(all.begin(), all.end(), std::less<>());
        entitiesOf(*discoverer).insert(all.begin(), all.end()); // which deletes them
    }
    void giveHandle(ScriptedEntity* entity, int& handle) {
        entity->multipleHandles = true;
        entity->addEventHandle(&handle, false);
        forget();
    }
    void event(int& handle) { host.entry.handleSingleEvent(host.discoverer, &handle); }
    void timeout(int& handle) { host.entry.handleTimeoutForEventHandle(host.discoverer, &handle); }
    static void setOutcome(ScriptedEntity* entity, Status status) {
        entity->ports = {status};
        entity->eventResult = status;
        entity->timeoutResult = status;
    }
    /** A step that ends the entity, one that turns out well, and another. */
    void expectToBeShownOnce(ScriptedEntity* entity, const std::function<void()>& step,
                             const std::vector<Call>& failing, const std::vector<Call>& good) {
        const auto with = [](std::vector<Call> calls, Call last) {
            calls.push_back(std::move(last));
            return calls;
        };
        setOutcome(entity, Status::NotSupported);
        step();
        EXPECT_EQ(happened(), with(failing, lost(toHost(entity)))) << "and is not shown";
        setOutcome(entity, Status::Done);
        step();
        EXPECT_EQ(happened(), with(good, added(toHost(entity))));
        step();
        EXPECT_EQ(happened(), good) << "shown already";
    }
    Call cancelled(ScriptedEntity* entity) { return TheUsbDiscoverer::cancelled(toHost(entity)); }
    Call armed(ScriptedEntity* entity) { return TheUsbDiscoverer::armed(toHost(entity), 3000000); }
    static Call handled(int* handle) { return {"doHandleEvent", {static_cast<const void*>(handle)}}; }
    static Call timedOut(int* handle) { return {"doHandleTimeout", {static_cast<const void*>(handle)}}; }

    std::vector<ScriptedEntity*> all;
    int seven = 7, eight = 8;
};

TEST_F(TheUsbDiscovererOfScriptedEntities, ShowsAnEntityToClientsAfterAnEventOfItsOwnHandle) {
    ScriptedEntity* entity = all[1];
    const Call step = handled(entity->getEventHandle());

    expectToBeShownOnce(entity, [&] { host.entry.handleEntityEvent(host.discoverer, toHost(entity)); },
                        {cancelled(entity), step}, {cancelled(entity), step, armed(entity)});
}

TEST_F(TheUsbDiscovererOfScriptedEntities, ShowsAnEntityToClientsAfterItsTimeout) {
    ScriptedEntity* entity = all[1];
    const auto step = [&] {
        entity->stop(); // it awaits nothing from the step before
        forget();
        host.entry.handleEntityTimeout(host.discoverer, toHost(entity));
    };

    expectToBeShownOnce(entity, step, {kOpenPort}, {kOpenPort, armed(entity)});
}

TEST_F(TheUsbDiscovererOfScriptedEntities, ShowsAnEntityToClientsAfterAnEventOfAHandle) {
    giveHandle(all[1], seven);

    expectToBeShownOnce(all[1], [&] { event(seven); }, {cancelled(all[1]), handled(&seven)},
                        {cancelled(all[1]), handled(&seven), armed(all[1])});
}

TEST_F(TheUsbDiscovererOfScriptedEntities, ShowsAnEntityToClientsAfterATimeoutOfAHandle) {
    giveHandle(all[1], seven);

    expectToBeShownOnce(all[1], [&] { timeout(seven); }, {timedOut(&seven)}, {timedOut(&seven)});
}

TEST_F(TheUsbDiscovererOfScriptedEntities, LeavesAnEntityThatIsNotToBeShownYet) {
    all[1]->clearPublishFlag();

    host.entry.handleEntityEvent(host.discoverer, toHost(all[1]));

    EXPECT_THAT(happened(), ElementsAre(cancelled(all[1]), handled(all[1]->getEventHandle()), armed(all[1])));
}

TEST_F(TheUsbDiscovererOfScriptedEntities, DoesNotShowOneThatWasDestroyedFromInsideItsAnswer) {
    ScriptedEntity* entity = all[1];
    entity->setZebCmd(500000);
    const void* request = host.fetch(toHost(entity), "zebcmd");
    forget();
    destroyInside("fetchComplete", {toHost(entity)});

    host.expireEntityTimer(toHost(entity));

    EXPECT_THAT(happened(),
                ElementsAre(Call{"allocString", {"zebcmd:test", -1}},
                            Call{"fetchComplete", {toHost(entity), "zebcmd", request, 0, "zebcmd:test"}},
                            released(phone), cancelled(entity), Call{"freeString", {"zebcmd:test"}}));
}

// Which entity it is.

TEST_F(TheUsbDiscovererOfScriptedEntities, PassesOverThoseThatOwnAnotherHandleOrRegisterNone) {
    int copy = 8;
    giveHandle(all[1], seven);
    giveHandle(all[2], eight); // the first would stop the process if it were asked

    event(copy);
    EXPECT_THAT(happened(),
                ElementsAre(cancelled(all[2]), handled(&copy), armed(all[2]), added(toHost(all[2]))));
    setOutcome(all[2], Status::NotSupported);
    timeout(eight);
    EXPECT_THAT(happened(), ElementsAre(timedOut(&eight), lost(toHost(all[2]))));

    EXPECT_EQ(all[0]->lastHandle, nullptr);
    EXPECT_EQ(all[1]->lastHandle, nullptr);
}

TEST_F(TheUsbDiscovererOfScriptedEntities, TakesTheFirstOfTwoOwners) {
    int another = 7;
    giveHandle(all[2], seven);
    giveHandle(all[1], another);

    event(seven);
    EXPECT_THAT(happened(),
                ElementsAre(cancelled(all[1]), handled(&seven), armed(all[1]), added(toHost(all[1]))));
    all[1]->timeoutResult = Status::NotSupported;
    timeout(seven);
    EXPECT_THAT(happened(), ElementsAre(timedOut(&seven), lost(toHost(all[1]))));
    all[1]->removeEventHandle(&another);
}

} // namespace
