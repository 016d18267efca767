// How a discoverer gets the host's parsers and generators.
#include "tests/common/TestDiscoverer.h"
#include "tests/support/FailingNew.h"

using namespace testing;
using namespace zebtest;

namespace {

ZEBDiscoverySDKError gFactoryError;

void lendFactories(ZEBDiscoverySDKUtils& utils, FakeHost* context) {
    gFactoryError = 0;
    utils.context = context;
    utils.createParser = [](void* host, const char* text, ZEBDiscoverySDKParser** out) {
        EXPECT_STREQ(text, "the text");
        if (gFactoryError == 0)
            *out = static_cast<ZEBDiscoverySDKParser*>(host);
        return gFactoryError;
    };
    utils.createGenerator = [](void* host, ZEBDiscoverySDKGenerator** out) {
        if (gFactoryError == 0)
            *out = static_cast<ZEBDiscoverySDKGenerator*>(host);
        return gFactoryError;
    };
}

class ADiscoverersFactory : public WithDiscoverer {
protected:
    ADiscoverersFactory() {
        lendFactories(host.utils, &host);
        host.setContext();
        host.takeCalls();
    }

    ZEBDiscoverySDKError error = 99;
};

TEST_F(ADiscoverersFactory, MakesAParserAndAGenerator) {
    EXPECT_NE(discoverer.createParser("the text", &error), nullptr);
    EXPECT_EQ(error, 0);
    error = 99;
    EXPECT_NE(discoverer.createGenerator(&error), nullptr);
    EXPECT_EQ(error, 0);

    EXPECT_NE(discoverer.createParser("the text", nullptr), nullptr);
    EXPECT_NE(discoverer.createGenerator(nullptr), nullptr);
    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST_F(ADiscoverersFactory, LogsAndReportsTheHostsFailure) {
    gFactoryError = 44;

    EXPECT_EQ(discoverer.createParser("the text", &error), nullptr);
    EXPECT_EQ(error, 44);
    error = 99;
    EXPECT_EQ(discoverer.createGenerator(&error), nullptr);
    EXPECT_EQ(error, 44);
    EXPECT_EQ(discoverer.createParser("the text", nullptr), nullptr);

    EXPECT_THAT(host.logLines(),
                ElementsAre(LogLine{10, "Error when trying to create Parser: 44 (error 44)"},
                            LogLine{10, "Error when trying to create Generator: 44 (error 44)"},
                            LogLine{10, "Error when trying to create Parser: 44 (error 44)"}));
}

TEST_F(ADiscoverersFactory, LogsAndReportsThatTheHostHasNone) {
    host.utils = {};
    host.setContext();

    EXPECT_EQ(discoverer.createParser("the text", &error), nullptr);
    EXPECT_EQ(error, 9);
    error = 99;
    EXPECT_EQ(discoverer.createGenerator(&error), nullptr);
    EXPECT_EQ(error, 9);

    EXPECT_THAT(
        host.logLines(),
        ElementsAre(LogLine{10, "Unable to create Parser, the operation is not supported: 9 (error 9)"},
                    LogLine{10, "Unable to create Generator, the operation is not supported: 9 (error 9)"}));
}

TEST_F(ADiscoverersFactory, LogsAndReportsThatThereIsNoMemory) {
    bool made = true;
    {
        const FailingNew failing = FailingNew::at(1);
        made = discoverer.createParser("the text", &error) != nullptr;
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(error, 3);
    error = 99;
    {
        const FailingNew failing = FailingNew::at(1);
        made = discoverer.createGenerator(&error) != nullptr;
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(error, 3);

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, "Unable to create Parser: out of memory"},
                                             LogLine{10, "Unable to create Generator: out of memory"}));
}

} // namespace
