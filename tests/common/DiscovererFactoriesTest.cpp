// How a discoverer gets the host's parsers and generators.
#include "tests/common/TestDiscoverer.h"
#include "tests/support/FailingNew.h"

#include <new>
#include <stdexcept>
#include <utility>

using namespace testing;
using namespace zebtest;

namespace {

ZEBDiscoverySDKError gFactoryError;

void lendFactories(ZEBDiscoverySDKUtils& utils, FakeHost* context) {
    gFactoryError = 0;
    utils.context = context;
    utils.createParser = [](void* host, const char* text, ZEBDiscoverySDKParser** out) {
        EXPECT_STREQ(text, "the text");
        Record::note("createParser");
        if (gFactoryError == 0)
            *out = static_cast<ZEBDiscoverySDKParser*>(host);
        return gFactoryError;
    };
    utils.destroyParser = [](ZEBDiscoverySDKParser*) { Record::note("destroyParser"); };
    utils.createGenerator = [](void* host, ZEBDiscoverySDKGenerator** out) {
        Record::note("createGenerator");
        if (gFactoryError == 0)
            *out = static_cast<ZEBDiscoverySDKGenerator*>(host);
        return gFactoryError;
    };
    utils.destroyGenerator = [](ZEBDiscoverySDKGenerator*) { Record::note("destroyGenerator"); };
}

class ADiscoverersFactory : public WithDiscoverer {
protected:
    ADiscoverersFactory() {
        lendFactories(host.utils, &host);
        host.setContext();
        host.takeRecord();
        host.on["log"] = [this] { errorsAtTheLine.push_back(error); };
    }

    ZEBDiscoverySDKError error = 99;
    /** What the error was when each line came. */
    std::vector<ZEBDiscoverySDKError> errorsAtTheLine;
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

TEST_F(ADiscoverersFactory, AsksTheHostOnceAndEndsWhatItMade) {
    discoverer.createParser("the text", &error);
    discoverer.createGenerator(&error);

    EXPECT_THAT(host.takeRecord(), ElementsAre(Call{"createParser", {}}, Call{"destroyParser", {}},
                                               Call{"createGenerator", {}}, Call{"destroyGenerator", {}}));
}

/** The host is asked, then its text for the error, then come the line and the code. */
TEST_F(ADiscoverersFactory, LogsTheHostsFailureBeforeItReportsIt) {
    gFactoryError = 44;

    discoverer.createParser("the text", &error);
    const ZEBDiscoverySDKError parsers = std::exchange(error, 98);
    discoverer.createGenerator(&error);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"createParser", {}}, Call{"errorText", {44}},
                            Call{"isLogLevelEnabled", {10}}, Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Error when trying to create Parser: 44 (error 44)"}},
                            Call{"createGenerator", {}}, Call{"errorText", {44}},
                            Call{"isLogLevelEnabled", {10}}, Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Error when trying to create Generator: 44 (error 44)"}}));
    EXPECT_THAT(errorsAtTheLine, ElementsAre(99, 98));
    EXPECT_EQ(parsers, 44);
    EXPECT_EQ(error, 44);
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

TEST_F(ADiscoverersFactory, LogsThatThereIsNoMemoryBeforeItReportsIt) {
    bool made = true;
    {
        const FailingNew failing = FailingNew::at(1);
        made = discoverer.createParser("the text", &error) != nullptr;
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(error, 3);
    error = 98;
    {
        const FailingNew failing = FailingNew::at(1);
        made = discoverer.createGenerator(&error) != nullptr;
    }
    EXPECT_FALSE(made);
    EXPECT_EQ(error, 3);

    EXPECT_THAT(host.takeRecord(),
                ElementsAre(Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Unable to create Parser: out of memory"}},
                            Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Unable to create Generator: out of memory"}}));
    EXPECT_THAT(errorsAtTheLine, ElementsAre(99, 98));
}

/** What the host's factory throws: a class derived from std::bad_alloc is out of memory, the rest passes. */
TEST_F(ADiscoverersFactory, TellsAnyLackOfMemoryFromOtherFailures) {
    host.utils.createParser = [](void*, const char*, ZEBDiscoverySDKParser**) -> ZEBDiscoverySDKError {
        throw std::bad_array_new_length();
    };
    host.utils.createGenerator = [](void*, ZEBDiscoverySDKGenerator**) -> ZEBDiscoverySDKError {
        throw std::runtime_error("it broke");
    };
    host.setContext();
    host.takeRecord();

    EXPECT_EQ(discoverer.createParser("the text", &error), nullptr);
    EXPECT_EQ(error, 3);
    error = 98;
    EXPECT_THROW(discoverer.createGenerator(&error), std::runtime_error);
    EXPECT_EQ(error, 98);

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, "Unable to create Parser: out of memory"}));
}

} // namespace
