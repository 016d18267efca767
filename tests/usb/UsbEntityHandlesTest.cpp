#include "tests/support/FailingNew.h"
#include "tests/usb/EntityFixtures.h"

#include <cstdlib>

using namespace testing;
using namespace zebtest;

namespace {

TEST_F(AnEntity, HasOneHandleOfItsOwn) {
    EXPECT_FALSE(entity->UsbEntity::usesMultipleHandles());
    ASSERT_NE(entity->getEventHandle(), nullptr);
    EXPECT_EQ(*entity->getEventHandle(), -1);
    EXPECT_FALSE(entity->hasActiveHandles());

    giveHandle();

    EXPECT_TRUE(entity->hasActiveHandles());
    entity->closeEventHandle();
    EXPECT_FALSE(entity->hasActiveHandles());
}

TEST_F(AnEntity, ClosesNothingWithoutAHandle) {
    const int descriptor = dup(2);

    entity->closeEventHandle();

    EXPECT_TRUE(isOpen(descriptor));
    close(descriptor);
}

TEST_F(AnEntity, StopsTheProcessWhenItHidesItsHandle) {
    entity->hidesOwnHandle = true;

    EXPECT_ASSERTION(entity->hasActiveHandles(), "usb/UsbEntity\\.cpp", "getEventHandle()");
}

TEST_F(AnEntity, StopsTheProcessWhenItIsToRegisterHandles) {
    int handle = 5, none = -1;

    EXPECT_ASSERTION(entity->addEventHandle(&handle, false), "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
    EXPECT_ASSERTION(entity->removeEventHandle(&handle), "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
    EXPECT_ASSERTION(entity->setTimerForHandle(&handle, 1), "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
    EXPECT_ASSERTION(entity->ownsHandle(&handle), "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
    EXPECT_ASSERTION(entity->addEventHandle(nullptr, false), "usb/UsbEntity\\.cpp",
                     "pHandle && *pHandle != ZEBDiscovererNoEventHandle");
    EXPECT_ASSERTION(entity->addEventHandle(&none, false), "usb/UsbEntity\\.cpp",
                     "pHandle && *pHandle != ZEBDiscovererNoEventHandle");
    EXPECT_ASSERTION(entity->UsbEntity::doHandleTimeout(&handle), "usb/UsbEntity\\.cpp", "false");
}

class AnEntityWithHandles : public AnEntity {
protected:
    AnEntityWithHandles() { entity->multipleHandles = true; }
    int seven = 7, eight = 8;
};

TEST_F(AnEntityWithHandles, HasNoneOfItsOwn) { EXPECT_EQ(entity->getEventHandle(), nullptr); }

TEST_F(AnEntityWithHandles, RegistersThemWithTheDiscoverer) {
    EXPECT_FALSE(entity->hasActiveHandles());

    entity->addEventHandle(&seven, true);
    entity->addEventHandle(&eight, false);

    EXPECT_TRUE(entity->hasActiveHandles());
    EXPECT_THAT(host.handles(), ElementsAre(std::pair(7, 1), std::pair(8, 0)));
    entity->removeEventHandle(&seven);
    EXPECT_THAT(host.handles(), ElementsAre(std::pair(8, 0)));
    entity->removeEventHandle(&eight);
    EXPECT_FALSE(entity->hasActiveHandles());
    EXPECT_THAT(happened(), IsEmpty()) << "the host asks for them";
}

TEST_F(AnEntityWithHandles, OwnsThemByPointerAndByDescriptor) {
    entity->addEventHandle(&seven, false);
    const int copy = 7, other = 8;

    EXPECT_TRUE(entity->ownsHandle(&seven));
    EXPECT_TRUE(entity->ownsHandle(&copy));
    EXPECT_FALSE(entity->ownsHandle(&other));
    EXPECT_FALSE(entity->ownsHandle(nullptr));
    entity->removeEventHandle(&seven);
    EXPECT_FALSE(entity->ownsHandle(&seven));
}

TEST_F(AnEntityWithHandles, RemovesFromTheDiscovererWhatItDoesNotKnow) {
    entity->addEventHandle(&seven, false);
    int same = 7;

    entity->removeEventHandle(&same);

    EXPECT_THAT(host.handles(), IsEmpty());
    EXPECT_TRUE(entity->hasActiveHandles());
    entity->removeEventHandle(&seven);
}

TEST_F(AnEntityWithHandles, SetsTheirTimers) {
    entity->addEventHandle(&seven, false);

    entity->setTimerForHandle(&seven, 1000000);
    entity->setTimerForHandle(&seven, -1);

    EXPECT_THAT(happened(),
                ElementsAre(Call{"setTimerForHandle", {host.discoverer, static_cast<void*>(&seven), 1000000}},
                            Call{"setTimerForHandle", {host.discoverer, static_cast<void*>(&seven), -1}}));
    entity->removeEventHandle(&seven);
}

TEST_F(AnEntityWithHandles, StopsTheProcessWhenATimerIsForAStranger) {
    entity->addEventHandle(&seven, false);
    int same = 7;

    EXPECT_ASSERTION(
        {
            host.on["setTimerForHandle"] = [] { std::_Exit(EXIT_SUCCESS); };
            entity->setTimerForHandle(&same, 1);
        },
        "usb/UsbEntity\\.cpp", "false");
    entity->removeEventHandle(&seven);
}

/** Runs what the test says where the handles go, and notes them. */
class WatchingManager : public EntityManager {
public:
    std::function<void()> whenAdded, whenRemoved;

    void setEntityTimer(UsbEntity*, ZEBDiscoverySDKTimeoutMicroseconds) override {}
    void entityFetchComplete(UsbEntity*, char*, ZEBDiscoverySDKRequest*, ZEBDiscoverySDKError,
                             char*) override {}
    void entityPostComplete(UsbEntity*, char*, char*, ZEBDiscoverySDKRequest*,
                            ZEBDiscoverySDKError) override {}
    void entityLost(UsbEntity*) override {}
    void addEventHandle(ZEBDiscovererEventHandle* pHandle, bool writeNotifications) override {
        Record::note("addEventHandle", *pHandle, writeNotifications);
        if (whenAdded)
            whenAdded();
    }
    void removeEventHandle(ZEBDiscovererEventHandle* pHandle) override {
        Record::note("removeEventHandle", *pHandle);
        if (whenRemoved)
            whenRemoved();
    }
    void setTimerForHandle(ZEBDiscovererEventHandle*, ZEBDiscoverySDKTimeoutMicroseconds) override {}
};

class AWatchedEntity : public AnEntity {
protected:
    AWatchedEntity() {
        watched.multipleHandles = true;
        forget();
    }

    WatchingManager manager;
    ScriptedEntity watched{*discoverer, manager, device.get()};
    int handles[3] = {7, 8, 9};
};

TEST_F(AWatchedEntity, OwnsAHandleAsLongAsTheHostMayReportIt) {
    int asked = 0;
    manager.whenAdded = manager.whenRemoved = [&] {
        EXPECT_TRUE(watched.ownsHandle(&handles[0]));
        ++asked;
    };

    watched.addEventHandle(&handles[0], true);
    watched.removeEventHandle(&handles[0]);

    EXPECT_EQ(asked, 2);
    EXPECT_FALSE(watched.ownsHandle(&handles[0]));
    EXPECT_THAT(happened(), ElementsAre(Call{"addEventHandle", {7, true}}, Call{"removeEventHandle", {7}}));
}

TEST_F(AWatchedEntity, IsAskedWhetherItRegistersHandlesBeforeItTakesOrRemovesOne) {
    watched.multipleHandles = false;

    EXPECT_ASSERTION(
        {
            const FailingNew noMemory = FailingNew::always();
            watched.addEventHandle(&handles[0], false);
        },
        "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
    EXPECT_ASSERTION(
        {
            manager.whenRemoved = [] { std::_Exit(EXIT_SUCCESS); };
            watched.removeEventHandle(&handles[0]);
        },
        "usb/UsbEntity\\.cpp", "usesMultipleHandles()");
}

TEST_F(AWatchedEntity, OwnsAHandleThatWasAddedTwiceOnce) {
    watched.addEventHandle(&handles[0], false);
    watched.addEventHandle(&handles[0], true);
    watched.removeEventHandle(&handles[0]);

    EXPECT_FALSE(watched.hasActiveHandles());
    EXPECT_THAT(happened(), ElementsAre(Call{"addEventHandle", {7, false}}, Call{"addEventHandle", {7, true}},
                                        Call{"removeEventHandle", {7}}));
}

TEST_F(AWatchedEntity, RegistersNothingThatItHasNoMemoryFor) {
    {
        const FailingNew failing = FailingNew::at(1);
        EXPECT_THROW(watched.addEventHandle(&handles[0], false), std::bad_alloc);
    }

    EXPECT_THAT(happened(), IsEmpty());
    EXPECT_FALSE(watched.hasActiveHandles());
}

TEST_F(AWatchedEntity, NeedsNoMemoryToLetItsHandlesGo) {
    for (int& handle : handles)
        watched.addEventHandle(&handle, false);
    {
        const FailingNew failing = FailingNew::always();
        watched.removeEventHandle(&handles[1]);
        watched.dropEventHandles();
        EXPECT_FALSE(failing.hasFailed());
    }

    EXPECT_FALSE(watched.hasActiveHandles());
}

TEST_F(AWatchedEntity, DropsItsHandlesInTheirPlacesOrderWhateverARemovalThrows) {
    for (const int i : {1, 2, 0})
        watched.addEventHandle(&handles[i], false);
    forget();
    manager.whenRemoved = [&] {
        EXPECT_FALSE(watched.hasActiveHandles()) << "none of them is its own any more";
        throw 1;
    };

    watched.dropEventHandles();

    EXPECT_THAT(happened(), ElementsAre(Call{"removeEventHandle", {7}}, Call{"removeEventHandle", {8}},
                                        Call{"removeEventHandle", {9}}));
}

TEST_F(AWatchedEntity, KeepsAHandleThatCouldNotBeRemoved) {
    watched.addEventHandle(&handles[0], false);
    manager.whenRemoved = [] { throw 1; };

    EXPECT_THROW(watched.removeEventHandle(&handles[0]), int);

    EXPECT_TRUE(watched.ownsHandle(&handles[0]));
}

TEST_F(AnEntity, GivesItsPublishFlagOnce) {
    EXPECT_TRUE(entity->takePublishFlag());
    EXPECT_FALSE(entity->takePublishFlag());
    EXPECT_EQ(entity->getDevice(), device.get());
}

TEST_F(AnEntity, HasNoPublishFlagOnceItWasCleared) {
    entity->clearPublishFlag();

    EXPECT_FALSE(entity->takePublishFlag());
}

} // namespace
