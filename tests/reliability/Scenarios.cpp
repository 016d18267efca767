#include "tests/reliability/Scenarios.h"

namespace zebtest {

using namespace zebphones;

namespace {

constexpr std::size_t kTransferCount = 8;

/** The phone that the scenario is about is the first that was plugged. */
struct Actor {
    Plugged* phone = nullptr;
    ZEBDiscovererEntity* entity = nullptr;
};

void bringUp(Stage& stage) {
    stage.initialize();
    stage.setUp();
}

/** Whatever became of the phone: it goes, and with it what the host still has of it. */
void takeLeave(Stage& stage, const Actor& actor) {
    stage.remove(*actor.phone);
    if (actor.entity && stage.isAlive(actor.entity))
        stage.host.destroyEntity(actor.entity);
}

void fetchAll(Stage& stage, ZEBDiscovererEntity* entity) {
    for (const char* key : {"id", "name", "type", "connectionPassPossible", "zebcmd", "zebcmd", "other"})
        stage.host.fetch(entity, key);
    stage.host.fetch(entity, nullptr);
    stage.host.post(entity, "password", "secret");
    stage.host.post(entity, "other", nullptr);
}

std::size_t answers(Stage& stage) { return stage.host.callsOf("fetchComplete").size(); }

void tether(Stage& stage) {
    Actor actor{&stage.plugUnopened(loadPhone("rndis").normal)};
    actor.entity = stage.offer(*actor.phone);
    if (actor.entity) {
        fetchAll(stage, actor.entity);
        // All but the pending one are answered at once.
        stage.liveUntil([&] { return answers(stage) >= 7 || !stage.isAlive(actor.entity); });
        if (stage.isAlive(actor.entity))
            stage.host.fetch(actor.entity, "zebcmd");
    }
    takeLeave(stage, actor);
}

void offerForProtocol(Stage& stage) {
    Actor actor{&stage.plugUnopened(loadPhone("rndis").normal)};
    stage.host.entry.offerDeviceForProtocol(stage.host.discoverer, stage.host.provider,
                                            actor.phone->record->get(), stage.host.handOver("protocol"));
    takeLeave(stage, actor);
}

void shakeHands(Stage& stage) {
    Actor actor{&stage.plug()};
    actor.entity = stage.offer(*actor.phone);
    stage.liveUntil([&] { return actor.phone->device->switchRequested() || !stage.isAlive(actor.entity); });
    takeLeave(stage, actor);
}

void publishSwitched(Stage& stage) {
    Actor actor{&stage.plugUnopened(loadPhone("accessory").accessory)};
    actor.entity = stage.offer(*actor.phone);
    if (actor.entity) {
        fetchAll(stage, actor.entity);
        stage.liveUntil([&] { return answers(stage) >= 7 || !stage.isAlive(actor.entity); });
    }
    takeLeave(stage, actor);
}

Scenario unplugAt(std::size_t transfer) {
    auto actor = std::make_shared<Actor>();
    return {"unplug at transfer " + std::to_string(transfer + 1),
            [=](Stage& stage) {
                bringUp(stage);
                actor->phone = &stage.plug();
                actor->entity = stage.offer(*actor->phone);
                stage.advanceTo(*actor->phone, transfer);
            },
            [=](Stage& stage) {
                stage.unplug(*actor->phone);
                stage.host.dispatch(0);
                takeLeave(stage, *actor);
            }};
}

/** Phones of both kinds are there, one of them in the middle of its hand-shake. */
void bringUpWithPhones(Stage& stage) {
    bringUp(stage);
    stage.offer(stage.plugUnopened(loadPhone("rndis").normal));
    Plugged& phone = stage.plug();
    stage.offer(phone);
    stage.advanceTo(phone, kTransferCount / 2);
}

void stopAndStart(Stage& stage) {
    stage.host.entry.stop(stage.host.discoverer);
    stage.host.entry.start(stage.host.discoverer);
    stage.settle();
    stage.host.entry.deviceProviderStopped(stage.host.discoverer, stage.host.provider, 0);
    stage.host.entry.start(stage.host.discoverer);
}

void destroyEverything(Stage& stage) {
    stage.host.entry.stop(stage.host.discoverer);
    while (!stage.host.entities().empty())
        stage.host.destroyEntity(stage.host.entities().back());
    stage.host.destroy();
}

} // namespace

std::vector<Scenario> scenarios() {
    std::vector<Scenario> all = {
        {"load and set up", [](Stage&) {},
         [](Stage& stage) {
             if (stage.initialize())
                 stage.setUp();
         }},
        {"tethering phone, fetch and post", bringUp, tether},
        {"offer for a protocol", bringUp, offerForProtocol},
        {"hand-shake", bringUp, shakeHands},
        {"phone in accessory mode, fetch and post", bringUp, publishSwitched},
    };
    for (std::size_t transfer = 0; transfer < kTransferCount; ++transfer)
        all.push_back(unplugAt(transfer));
    all.push_back({"stop and start", bringUpWithPhones, stopAndStart});
    all.push_back({"destroy everything", bringUpWithPhones, destroyEverything});
    return all;
}

} // namespace zebtest
