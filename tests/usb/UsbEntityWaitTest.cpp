// What an entity awaits, and how many attempts it has left, when its command comes and goes.
#include "tests/support/FailingNew.h"
#include "tests/usb/EntityFixtures.h"

#include <unistd.h>

using namespace testing;
using namespace zebtest;

namespace {

class AnEntityWhoseCommandGoes : public AnEntityThatIsAsked {
protected:
    /** A fetch finds the link gone, while the entity is started: that drops the command and no more. */
    void dropCommand() {
        entity->ports = {Status::TryLater};
        fetch("zebcmd");
        forget();
    }
    void TearDown() override {
        entity->cancelPendingFetch();
        AnEntityThatIsAsked::TearDown();
    }
};

TEST_F(AnEntityWhoseCommandGoes, AwaitsNothingAndHasNoAttemptsAfterAStartWithIt) {
    entity->handleTimeout(); // awaits the command, though it is not started
    giveCommand(-1);
    entity->start();
    dropCommand();

    EXPECT_FALSE(entity->handleTimeout());

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(1000000))) << "the end of a wait opens nothing here";
}

TEST_F(AnEntityWhoseCommandGoes, AwaitsNothingAfterAStartThatBroughtIt) {
    entity->inOpenPort = [&] { entity->setZebCmd(-1); };
    entity->start();
    entity->inOpenPort = nullptr;
    dropCommand();

    for (int left = 9; left >= 1; --left)
        EXPECT_TRUE(entity->handleTimeout()) << left; // a wait would have cost one more

    EXPECT_FALSE(entity->handleTimeout());
}

TEST_F(AnEntityThatIsAsked, HasItsWaitOverWhenItsCommandIsThereAtTheTimeout) {
    entity->start(); // waits
    entity->setOwnEventHandle(dup(2));
    giveCommand(500000);

    EXPECT_TRUE(entity->handleTimeout());

    EXPECT_THAT(happened(), IsEmpty()) << "the handle that a wait in vain closes stays open";
}

TEST_F(AnEntityThatIsAsked, FreesItsCommandBeforeItForgetsItsHandles) {
    int handles[] = {7, 8, 9};
    const auto freedBeforeTheCommand = [&](int count) {
        entity = std::make_unique<ScriptedEntity>(*discoverer, *discoverer, device.get());
        entity->multipleHandles = true;
        for (int* handle = handles; handle != handles + count; ++handle)
            entity->addEventHandle(handle, false);
        giveCommand(-1);
        long left = 0;
        host.on["freeString"] = [&] { left = liveAllocations(); };
        const long before = liveAllocations();
        entity.reset();
        forget();
        for (int* handle = handles; handle != handles + count; ++handle)
            discoverer->removeEventHandle(handle);
        return before - left;
    };
    freedBeforeTheCommand(0); // what is made once

    EXPECT_EQ(freedBeforeTheCommand(3), freedBeforeTheCommand(0));
}

} // namespace
