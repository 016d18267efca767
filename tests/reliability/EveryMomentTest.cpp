// A host ends an entity at every moment of its life, in each way that it has and in each order of them, with
// the phone plugged and pulled, and from inside the callbacks in which it may.
#include "phones/Catalogue.h"
#include "tests/reliability/Bus.h"
#include "tests/reliability/Faults.h"
#include "tests/reliability/Loaded.h"
#include "tests/reliability/Stage.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

constexpr int kLastString = 6;
constexpr int kStart = 7;

struct Actor {
    Plugged* phone = nullptr;
    ZEBDiscovererEntity* entity = nullptr;
};

void turnUntil(Stage& stage, const std::function<bool()>& condition) {
    for (int turn = 0; turn < 5000 && !condition(); ++turn)
        stage.host.dispatch(20);
    ASSERT_TRUE(condition()) << "the moment is not reached";
}

Actor pendingAt(Stage& stage, int transfer) {
    Actor actor{&stage.plug()};
    actor.entity = stage.offer(*actor.phone);
    EXPECT_TRUE(stage.advanceTo(*actor.phone, static_cast<std::size_t>(transfer)));
    return actor;
}

Actor completedAt(Stage& stage, int transfer) {
    const Actor actor = pendingAt(stage, transfer);
    actor.phone->device->completeNext();
    turnUntil(stage, [&] { return transfer == kStart || !stage.host.handleTimers().empty(); });
    stage.settle();
    return actor;
}

Actor failedAt(Stage& stage, Fault fault, const std::function<bool()>& happened) {
    Actor actor{&stage.plug()};
    actor.phone->device->withModel([&](PhoneModel& model) { model.setFaults({fault}); });
    actor.entity = stage.offer(*actor.phone);
    turnUntil(stage, happened);
    return actor;
}

Actor unopened(Stage& stage, const UsbFace& face, bool isNetworkUp) {
    Faults::setInterfacePresent(isNetworkUp);
    Actor actor{&stage.plugUnopened(face)};
    actor.entity = stage.offer(*actor.phone);
    Faults::setInterfacePresent(true);
    stage.host.fetch(actor.entity, "zebcmd");
    EXPECT_EQ(stage.host.openRequests(), 1U);
    return actor;
}

struct Moment {
    std::string name;
    std::function<Actor(Stage&)> reach;
    bool onBus = true;
};

void PrintTo(const Moment& moment, std::ostream* out) { *out << moment.name; }

std::vector<Moment> moments() {
    std::vector<Moment> all;
    for (int transfer = 0; transfer <= kStart; ++transfer)
        all.push_back({"Transfer" + std::to_string(transfer + 1) + "IsPending",
                       [transfer](Stage& stage) { return pendingAt(stage, transfer); }});
    all.push_back({"TheAccessoryTimerRuns", [](Stage& stage) { return completedAt(stage, kLastString); }});
    all.push_back({"AllIsSent", [](Stage& stage) { return completedAt(stage, kStart); }});
    all.push_back({"ItFailedAndTheRetryTimerRuns", [](Stage& stage) {
                       const Fault fault{.request = kSendString, .index = 1, .reaction = Reaction::BusError};
                       const auto failed = [&] {
                           return stage.host.hasLogged(10, "USB transfer failed with status 1");
                       };
                       return failedAt(stage, fault, failed);
                   }});
    all.push_back({"ItIsLost", [](Stage& stage) {
                       const Fault fault{.request = kGetProtocol, .reaction = Reaction::Stall};
                       const auto lost = [&] { return !stage.host.callsOf("entityLost").empty(); };
                       return failedAt(stage, fault, lost);
                   }});
    // On no bus, so that there is nothing to open.
    all.push_back({"ItCantBeOpenedAndItsEndIsDue",
                   [](Stage& stage) { return unopened(stage, loadPhone("accessory").normal, true); }, false});
    all.push_back({"TheSwitchedPhonesCommandIsDueInASecond",
                   [](Stage& stage) { return unopened(stage, loadPhone("accessory").accessory, true); },
                   false});
    all.push_back({"TheNetworkIsAwaited",
                   [](Stage& stage) { return unopened(stage, loadPhone("rndis").normal, false); }, false});
    all.push_back({"TheNetworksCommandIsDueInHalfASecond",
                   [](Stage& stage) { return unopened(stage, loadPhone("rndis").normal, true); }, false});
    return all;
}

enum class Step { Stop, Remove, Destroy };
using Steps = std::vector<Step>;

void PrintTo(Step step, std::ostream* out) {
    constexpr const char* kNames[] = {"stop", "removeDevice", "destroyEntity"};
    *out << kNames[static_cast<int>(step)];
}

std::vector<Steps> everyOrder() {
    std::vector<Steps> all;
    Steps steps = {Step::Stop, Step::Remove, Step::Destroy};
    do
        all.push_back(steps);
    while (std::next_permutation(steps.begin(), steps.end()));
    return all;
}

std::size_t lost(Stage& stage) { return stage.host.callsOf("entityLost").size(); }

/** Nothing is pending, watched or armed any more. */
void expectQuiet(Stage& stage, const Actor& actor) {
    if (actor.phone->device) {
        EXPECT_EQ(actor.phone->device->pending(), 0U);
    }
    EXPECT_THAT(stage.host.handles(), IsEmpty());
    EXPECT_THAT(stage.host.entityTimers(), IsEmpty());
}

void take(Step step, Stage& stage, const Actor& actor) {
    const bool wasAlive = stage.isAlive(actor.entity);
    const std::size_t lostBefore = lost(stage);
    const std::size_t stoppedBefore = stage.host.callsOf("discovererStopped").size();
    switch (step) {
    case Step::Stop:
        stage.host.entry.stop(stage.host.discoverer);
        EXPECT_EQ(stage.host.callsOf("discovererStopped").size(), stoppedBefore + 1);
        break;
    case Step::Remove:
        stage.host.entry.removeDevice(stage.host.discoverer, stage.host.provider, actor.phone->record->get());
        EXPECT_EQ(lost(stage), lostBefore + (wasAlive ? 1 : 0));
        break;
    case Step::Destroy:
        stage.host.destroyEntity(actor.entity);
        EXPECT_EQ(stage.releases(*actor.phone), 1);
        break;
    }
    EXPECT_EQ(lost(stage), lostBefore + (step == Step::Remove && wasAlive ? 1 : 0));
    expectQuiet(stage, actor);
}

class AtTheMomentThat : public TestWithParam<Moment> {
protected:
    /** Pulled or not; who is on no bus can't be pulled. */
    static std::vector<bool> plugs() {
        return GetParam().onBus ? std::vector<bool>{false, true} : std::vector<bool>{false};
    }

    /** A life that is brought to the moment and then ended; nothing may be left of it. */
    void play(bool pulled, const std::function<void(Stage&, const Actor&)>& end) {
        Stage stage(Loaded::plugin().initialize());
        ASSERT_TRUE(stage.initialize());
        stage.setUp();
        const Actor actor = GetParam().reach(stage);
        ASSERT_NE(actor.entity, nullptr);
        if (pulled)
            stage.unplug(*actor.phone);
        stage.host.takeLogLines();
        end(stage, actor);
        // A transfer that its phone took along may be logged as failed.
        for (const LogLine& line : stage.host.logLines())
            EXPECT_TRUE(pulled || line.severity > 10) << line.text;
        stage.end();
        Bus::instance().tidy();
    }
};

TEST_P(AtTheMomentThat, ItEndsInEveryOrder) {
    for (const bool pulled : plugs()) {
        for (const Steps& steps : everyOrder()) {
            SCOPED_TRACE(PrintToString(steps) + (pulled ? ", pulled" : ""));
            play(pulled, [&](Stage& stage, const Actor& actor) {
                for (const Step step : steps)
                    take(step, stage, actor);
            });
        }
    }

    EXPECT_EQ(Faults::closedInsideCallback(), 0);
}

TEST_P(AtTheMomentThat, TheDiscovererMayGoWithAll) {
    for (const bool pulled : plugs()) {
        play(pulled, [](Stage& stage, const Actor& actor) {
            stage.host.destroy();
            // Devices are given back for entities that the host destroys, and for no others.
            EXPECT_EQ(stage.releases(*actor.phone), 0);
        });
    }

    EXPECT_EQ(Faults::closedInsideCallback(), 0);
}

TEST_P(AtTheMomentThat, ItMayBeDestroyedFromInsideItsLoss) {
    for (const bool pulled : plugs()) {
        play(pulled, [](Stage& stage, const Actor& actor) {
            const std::size_t before = lost(stage);
            stage.host.on["entityLost"] = [&] { stage.host.destroyEntity(actor.entity); };
            stage.host.entry.removeDevice(stage.host.discoverer, stage.host.provider,
                                          actor.phone->record->get());
            EXPECT_EQ(lost(stage), before + 1);
            EXPECT_EQ(stage.releases(*actor.phone), 1);
            expectQuiet(stage, actor);
        });
    }

    EXPECT_EQ(Faults::closedInsideCallback(), 0);
}

TEST_P(AtTheMomentThat, ItMayBeDestroyedFromInsideAnAnswer) {
    for (const bool pulled : plugs()) {
        play(pulled, [](Stage& stage, const Actor& actor) {
            stage.host.on["fetchComplete"] = [&] { stage.host.destroyEntity(actor.entity); };
            stage.host.fetch(actor.entity, "id");
            EXPECT_FALSE(stage.isAlive(actor.entity));
            EXPECT_EQ(stage.releases(*actor.phone), 1);
            expectQuiet(stage, actor);
        });
    }

    EXPECT_EQ(Faults::closedInsideCallback(), 0);
}

std::string nameOf(const TestParamInfo<Moment>& moment) { return moment.param.name; }

INSTANTIATE_TEST_SUITE_P(OfAnEntitysLife, AtTheMomentThat, ValuesIn(moments()), nameOf);

} // namespace
} // namespace zebtest
