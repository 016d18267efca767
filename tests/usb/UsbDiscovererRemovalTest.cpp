// Devices that go, and entities that the host destroys: when it is told of them, or from inside.
#include "tests/support/FailingNew.h"
#include "tests/usb/DiscovererFixture.h"

using namespace testing;
using namespace zebtest;

namespace {

TEST_F(TheUsbDiscoverer, StopsThenReportsTheEntityOfARemovedDevice) {
    ZEBDiscovererEntity* entity = offer(phone);
    offer(second);
    forget();

    host.entry.removeDevice(host.discoverer, host.provider, phone);

    EXPECT_THAT(happened(), ElementsAre(cancelled(entity), lost(entity)));
}

TEST_F(TheUsbDiscoverer, KnowsARemovedDeviceByItsIdToo) {
    ZEBDiscovererEntity* entity = offer(phone);
    const DeviceRecord same(1, {});
    const DeviceRecord other(77, {});
    forget();

    host.entry.removeDevice(host.discoverer, host.provider, other);
    EXPECT_THAT(happened(), IsEmpty());
    host.entry.removeDevice(host.discoverer, host.provider, same);

    EXPECT_THAT(happened(), ElementsAre(cancelled(entity), lost(entity)));
    host.entry.removeDevice(host.discoverer, host.provider, same);
    EXPECT_THAT(happened(), ElementsAre(cancelled(entity), lost(entity))) << "it is there still";
}

TEST_F(TheUsbDiscoverer, ReportsAnEntityLostEachTimeItsDeviceIsRemoved) {
    ZEBDiscovererEntity* entity = offer(phone);
    forget();

    host.entry.removeDevice(host.discoverer, host.provider, phone);
    host.entry.removeDevice(host.discoverer, host.provider, phone);

    EXPECT_THAT(happened(), ElementsAre(cancelled(entity), lost(entity), cancelled(entity), lost(entity)));
    host.destroyEntity(entity);
    forget();
    host.entry.removeDevice(host.discoverer, host.provider, phone);
    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(TheUsbDiscoverer, ReleasesTheDeviceOfADestroyedEntityThenDeletesIt) {
    ZEBDiscovererEntity* entity = offer(phone);
    forget();

    host.destroyEntity(entity);

    EXPECT_THAT(happened(), ElementsAre(released(phone), cancelled(entity)));
}

TEST_F(TheUsbDiscoverer, ForgetsADestroyedEntityBeforeItReleasesItsDevice) {
    ZEBDiscovererEntity* entity = offer(phone);
    host.on["releaseDevice"] = [&] { host.entry.removeDevice(host.discoverer, host.provider, phone); };
    forget();

    host.destroyEntity(entity);

    EXPECT_THAT(happened(), ElementsAre(released(phone), cancelled(entity)));
}

TEST_F(TheUsbDiscoverer, DeletesADestroyedEntityThoughTheReleaseThrows) {
    ZEBDiscovererEntity* entity = offer(phone);
    host.on["releaseDevice"] = [] { throw std::runtime_error("not mine"); };
    forget();

    host.destroyEntity(entity);

    EXPECT_THAT(told(), ElementsAre(released(phone), cancelled(entity),
                                    logged(10, "ZEBDiscoverer::destroyEntity caught exception: not mine")));
}

// Destroyed from inside a callback: the entity that it is about, those before it and those behind it.

class TheHostDestroys : public TheUsbDiscoverer {
protected:
    /** Three entities of one device, in the order of the set. */
    TheHostDestroys() {
        for (int i = 0; i < 3; ++i)
            offer(phone);
        all = inOrder();
        forget();
    }
    std::vector<Call> destroyed(ZEBDiscovererEntity* entity) { return {released(phone), cancelled(entity)}; }
    static std::vector<Call> joined(std::initializer_list<std::vector<Call>> parts) {
        std::vector<Call> whole;
        for (const std::vector<Call>& part : parts)
            whole.insert(whole.end(), part.begin(), part.end());
        return whole;
    }
    std::vector<Call> removed(ZEBDiscovererEntity* entity) { return {cancelled(entity), lost(entity)}; }
    void remove() { host.entry.removeDevice(host.discoverer, host.provider, phone); }

    std::vector<ZEBDiscovererEntity*> all;
};

TEST_F(TheHostDestroys, ALostEntityFromInsideEachLoss) {
    std::size_t next = 0;
    host.on["entityLost"] = [&] { host.destroyEntity(all[next++]); };

    remove();

    EXPECT_EQ(happened(), joined({removed(all[0]), destroyed(all[0]), removed(all[1]), destroyed(all[1]),
                                  removed(all[2]), destroyed(all[2])}));
}

TEST_F(TheHostDestroys, TheNextEntityFromInsideALoss) {
    destroyInside("entityLost", {all[1]});

    remove();

    EXPECT_EQ(happened(), joined({removed(all[0]), destroyed(all[1]), removed(all[2])}));
}

TEST_F(TheHostDestroys, TheLastEntityFromInsideALoss) {
    destroyInside("entityLost", {all[2]});

    remove();

    EXPECT_EQ(happened(), joined({removed(all[0]), destroyed(all[2]), removed(all[1])}));
}

TEST_F(TheHostDestroys, AllEntitiesFromInsideTheFirstLoss) {
    destroyInside("entityLost", all);

    remove();

    EXPECT_EQ(happened(), joined({removed(all[0]), destroyed(all[0]), destroyed(all[1]), destroyed(all[2])}));
}

TEST_F(TheHostDestroys, TheOneBeforeFromInsideALoss) {
    host.on["entityLost"] = [&] { destroyInside("entityLost", {all[0], all[1]}); }; // in the second

    remove();

    EXPECT_EQ(happened(), joined({removed(all[0]), removed(all[1]), destroyed(all[0]), destroyed(all[1]),
                                  removed(all[2])}));
}

TEST_F(TheHostDestroys, AnotherEntityFromInsideAnAnswer) {
    destroyInside("fetchComplete", {all[0], all[2]});

    const void* request = host.fetch(all[1], "type");
    EXPECT_EQ(happened(),
              joined({{{"allocString", {"usb", -1}}, {"fetchComplete", {all[1], "type", request, 0, "usb"}}},
                      destroyed(all[0]),
                      destroyed(all[2])}));

    remove();
    EXPECT_EQ(happened(), removed(all[1]));
}

TEST_F(TheHostDestroys, AnEntityFromInsideItsAnswers) {
    destroyInside("fetchComplete", {all[1]});
    host.fetch(all[1], "unknown");
    destroyInside("postComplete", {all[0]});
    host.post(all[0], "password", "x");
    forget();

    remove();

    EXPECT_EQ(happened(), removed(all[2]));
}

TEST_F(TheHostDestroys, AnEntityFromInsideTheAnswerThatItsTimeoutBrought) {
    ZEBDiscovererEntity* entity = offer(accessory);
    const void* request = host.fetch(entity, "zebcmd");
    forget();
    destroyInside("fetchComplete", {entity});

    host.expireEntityTimer(entity);

    const char* const command = "zebcmd:v=1;t=USBAAP;bus=1;dev=4";
    EXPECT_EQ(told(), joined({{{"allocString", {command, -1}},
                               {"fetchComplete", {entity, "zebcmd", request, 0, command}},
                               released(accessory),
                               cancelled(entity),
                               cancelled(entity),
                               {"freeString", {command}}}}));
}

TEST_F(TheHostDestroys, AnEntityAndOthersFromInsideTheLossThatItsTimeoutBrought) {
    for (int attempt = 2; attempt <= 20; ++attempt)
        host.expireEntityTimer(all[1]);
    forget();
    destroyInside("entityLost", {all[2], all[1]});

    host.expireEntityTimer(all[1]);

    EXPECT_EQ(told(), joined({{armed(all[1], 1000000), lost(all[1])}, destroyed(all[2]), destroyed(all[1])}));
    remove();
    EXPECT_EQ(happened(), removed(all[0]));
}

TEST_F(TheHostDestroys, AnEntityFromInsideTheLossThatItsEventBrought) {
    for (int attempt = 2; attempt <= 20; ++attempt)
        host.expireEntityTimer(all[1]);
    forget();
    destroyInside("entityLost", {all[1]});

    host.entry.handleEntityEvent(host.discoverer, all[1]);

    EXPECT_EQ(told(), joined({removed(all[1]), destroyed(all[1])}));
}

// Where it is brought: it is not started then.

TEST_F(TheHostDestroys, ANewEntityFromInsideTheCallbackThatBringsIt) {
    const auto destroyTheNewest = [&] { host.destroyEntity(host.entities().back()); };
    for (const char* callback : {"addEntity", "addUnpublishedEntity"})
        host.on[callback] = destroyTheNewest;
    const struct {
        const DeviceRecord& device;
        const char* callback;
        std::vector<Call> found;
        std::size_t stops;
    } rows[] = {{second, "addEntity", {kFoundTethering}, 1},
                {accessory, "addEntity", {kFoundCandidate, kSwitched}, 2},
                {switchable, "addUnpublishedEntity", {kFoundCandidate}, 2}};

    for (const auto& row : rows) {
        // Started it would find no flag that it has been.
        const FreedMemory cleared = FreedMemory::isOverwrittenWith(0);
        host.entry.offerDevice(host.discoverer, host.provider, row.device);

        std::vector<Call> calls = told();
        const Argument entity = calls.back().arguments.at(0);
        std::vector<Call> expected = row.found;
        expected.push_back({row.callback, {host.discoverer, entity}});
        expected.push_back(released(row.device));
        expected.insert(expected.end(), row.stops, Call{"setEntityTimer", {entity, -1}});
        EXPECT_EQ(calls, expected);
    }
    EXPECT_EQ(inOrder(), all);
}

TEST_F(TheHostDestroys, AnotherEntityFromInsideTheCallbackThatBringsANewOne) {
    destroyInside("addEntity", {all[0]});

    ZEBDiscovererEntity* entity = offer(second);

    EXPECT_EQ(told(), joined({{kFoundTethering, added(entity)},
                              destroyed(all[0]),
                              {cancelled(entity), kWaiting, armed(entity, 1000000)}}));
}

} // namespace
