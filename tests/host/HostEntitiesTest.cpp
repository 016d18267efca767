#include "tests/host/TestHost.h"

using namespace testing;

namespace zebhost {
namespace {

TEST_F(AHost, FetchesTheFiveValuesOfAnEntityBeforeItWaits) {
    addEntity(0);
    EXPECT_THAT(mLines.of("value", "key"), IsEmpty());

    mHost.beforeWait();

    EXPECT_THAT(mLines.of("value", "key"),
                ElementsAre("id", "name", "type", "connectionPassPossible", "zebcmd"));
    EXPECT_THAT(mLines.of("entity", "action"), ElementsAre("published"));
}

TEST_F(AHost, NumbersEntities) {
    addEntity(0);
    addEntity(1);

    EXPECT_THAT(mLines.of("entity", "id"), ElementsAre("1", "2"));
}

TEST_F(AHost, FetchesAgainWhenAnAddedEntityIsPublished) {
    gHost.addUnpublishedEntity(gContext, nullptr, entity(0));
    mHost.beforeWait();

    addEntity(0);
    mHost.beforeWait();

    EXPECT_THAT(mLines.of("entity", "action"), ElementsAre("added", "published"));
    EXPECT_THAT(mLines.of("value", "key"), SizeIs(10));
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, DestroysALostEntityBeforeItWaits) {
    gCalls.destroy = [](ZEBDiscovererEntity* entity) { gHost.setEntityTimer(gContext, entity, -1); };
    addEntity(0);
    mHost.beforeWait();

    gHost.entityLost(gContext, entity(0));
    gHost.entityLost(gContext, entity(0));
    mHost.beforeWait();

    EXPECT_THAT(mLines.of("entity", "action"), ElementsAre("published", "lost", "destroyed"));
    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, ReportsAnEntityThatIsAnnouncedTwice) {
    addEntity(0);
    addEntity(0);

    EXPECT_THAT(mLines.violations(), ElementsAre(HasSubstr("announced before")));
}

TEST_F(AHost, ReportsAnUnknownEntity) {
    gHost.entityLost(gContext, entity(0));
    gHost.setEntityTimer(gContext, entity(0), 0);

    EXPECT_THAT(mLines.violations(), ElementsAre("entityLost: an entity that is unknown or destroyed",
                                                 "setEntityTimer: an entity that is unknown or destroyed"));
}

TEST_F(AHost, ReportsAnEntityThatIsLostAfterItWasDestroyed) {
    addEntity(0);
    gHost.entityLost(gContext, entity(0));
    mHost.beforeWait();

    gHost.entityLost(gContext, entity(0));

    EXPECT_THAT(mLines.violations(), ElementsAre(HasSubstr("unknown or destroyed")));
}

TEST_F(AHost, LetsAnUnknownEntityCancelItsTimer) {
    gHost.setEntityTimer(gContext, entity(0), -1);

    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHost, ReportsAFetchThatIsCompletedTwice) {
    gCalls.fetch = [](ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request) {
        gHost.fetchComplete(gContext, entity, key, request, 0, nullptr);
        gHost.fetchComplete(gContext, entity, key, request, 0, nullptr);
    };
    addEntity(0);

    mHost.beforeWait();

    EXPECT_THAT(mLines.violations(), AllOf(SizeIs(5), Each("fetchComplete: a fetch was completed twice")));
}

TEST_F(AHost, ReportsACompletionThatNobodyAskedFor) {
    addEntity(0);
    mHost.beforeWait();

    gHost.fetchComplete(gContext, entity(0), nullptr, reinterpret_cast<ZEBDiscoverySDKRequest*>(99), 0,
                        nullptr);
    gHost.postComplete(gContext, entity(0), nullptr, nullptr, nullptr, 0);

    EXPECT_THAT(mLines.violations(),
                ElementsAre("fetchComplete: nobody asked for this", "postComplete: nobody asked for this"));
}

TEST_F(AHost, ReportsACompletionWithAnotherKey) {
    gCalls.fetch = [](ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request) {
        gHost.fetchComplete(gContext, entity, gHost.allocString(key, -1), request, 0, nullptr);
        gHost.freeString(key);
    };
    addEntity(0);

    mHost.beforeWait();

    EXPECT_THAT(mLines.violations(), AllOf(SizeIs(5), Each(HasSubstr("not with the entity and the key"))));
}

TEST_F(AHost, ReportsAFetchThatWasNeverCompleted) {
    gCalls.fetch = [](ZEBDiscovererEntity*, char*, ZEBDiscoverySDKRequest*) {};
    addEntity(0);
    mHost.beforeWait();

    mHost.end();

    EXPECT_THAT(mLines.violations(), AllOf(SizeIs(5), Each(HasSubstr("was never completed"))));
}

class AHostWithAFetchPending : public AHost {
protected:
    AHostWithAFetchPending() {
        gCalls.fetch = [this](ZEBDiscovererEntity*, char* key, ZEBDiscoverySDKRequest*) {
            mKeys.push_back(key);
        };
        gHost.addUnpublishedEntity(gContext, nullptr, entity(0));
        mHost.beforeWait();
    }

    std::vector<char*> mKeys;
};

TEST_F(AHostWithAFetchPending, AcceptsThatItsKeyIsFreedWithTheEntity) {
    gCalls.destroy = [this](ZEBDiscovererEntity*) {
        for (char* key : mKeys)
            gHost.freeString(key);
    };

    mHost.end();
    mHost.conclude();

    EXPECT_THAT(mLines.violations(), IsEmpty());
}

TEST_F(AHostWithAFetchPending, ReportsThatItsKeyIsFreedBefore) {
    gHost.freeString(mKeys[4]);

    EXPECT_THAT(mLines.violations(), ElementsAre("a fetch of \"zebcmd\" was dropped without an answer"));
}

TEST_F(AHostWithAFetchPending, AsksForNothingTwice) {
    addEntity(0);
    mHost.beforeWait();

    EXPECT_THAT(mKeys, SizeIs(5));
}

} // namespace
} // namespace zebhost
