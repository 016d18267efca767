#include "tests/common/BarrierCases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebtest;

namespace {

/** The callback that a slot's outcome goes to, and what else throws on the way. */
struct Completion {
    const char* slot;
    const char* callback;
};

const Completion kCompletions[] = {
    {"fetchEntityValue", "fetchComplete"},
    {"postEntityValue", "postComplete"},
    {"publishEntity", "publishComplete"},
    {"unpublishEntity", "unpublishComplete"},
    {"offerDevice", "releaseDevice"},
    {"offerDeviceForProtocol", "releaseDevice"},
    {"deviceProviderStopped", "discovererStopped"},
};

TEST(TheBarriersOutcome, IsSentOnceWhenItsCallbackThrows) {
    for (const Completion& completion : kCompletions) {
        SCOPED_TRACE(completion.slot);
        Bench bench;
        bench.discoverer.behaviour = kRuntimeError.raise;
        bench.host.on[completion.callback] = [] { throw std::runtime_error("the host broke"); };

        StandardErrorCapture standardError;
        slotNamed(completion.slot).call(bench.host);
        const std::string written = standardError.text();

        EXPECT_EQ(bench.host.callsOf(completion.callback).size(), 1U);
        EXPECT_EQ(written, lastResort(slotNamed(completion.slot), "the host broke"));
        EXPECT_THAT(bench.host.complaints(), IsEmpty());
    }
}

TEST(TheBarriersOutcome, IsNotSentWhenTheOperationSentItAndThenThrew) {
    const Completion own[] = {kCompletions[0], kCompletions[1], kCompletions[2], kCompletions[3]};
    for (const Completion& completion : own) {
        SCOPED_TRACE(completion.slot);
        Bench bench; // the base answers with 9, and the host throws into the operation
        bench.host.on[completion.callback] = [] { throw std::runtime_error("the host broke"); };

        slotNamed(completion.slot).call(bench.host);

        EXPECT_EQ(bench.host.callsOf(completion.callback).size(), 1U);
        EXPECT_THAT(bench.host.logLines(),
                    ElementsAre(LogLine{10, std::string("ZEBDiscoverer::") + completion.slot +
                                                " caught exception: the host broke"}));
        EXPECT_THAT(bench.host.complaints(), IsEmpty());
    }
}

TEST(TheBarriersOutcome, IsNotSentWhenTheOperationSentItAndThenThrewAnInt) {
    const Completion own[] = {kCompletions[0], kCompletions[1], kCompletions[2], kCompletions[3]};
    for (const Completion& completion : own) {
        SCOPED_TRACE(completion.slot);
        Bench bench;
        bench.host.on[completion.callback] = [] { throw 42; };

        StandardErrorCapture standardError;
        slotNamed(completion.slot).call(bench.host);
        const std::string written = standardError.text();

        EXPECT_EQ(bench.host.callsOf(completion.callback).size(), 1U);
        EXPECT_EQ(written, lastResort(slotNamed(completion.slot), nullptr));
        EXPECT_THAT(bench.host.complaints(), IsEmpty());
    }
}

/** An operation may have given its device back before it failed, or failed because the host threw at that. */
TEST(TheBarriersOutcome, ReleasesADeviceAgainWhoseReleaseThrew) {
    for (const char* name : {"offerDevice", "offerDeviceForProtocol"}) {
        SCOPED_TRACE(name);
        Bench bench;
        bench.host.on["releaseDevice"] = [&] {
            bench.host.on["releaseDevice"] = nullptr;
            throw std::runtime_error("the host broke");
        };
        bench.discoverer.behaviour = [&] { bench.discoverer.releaseDevice(kProvider, kDevice); };
        const Call release{"releaseDevice", {kProvider, kDevice}};

        slotNamed(name).call(bench.host);

        std::vector<Call> expected =
            std::vector<Call>{{name, {}}, release} +
            recordOf({10, std::string("ZEBDiscoverer::") + name + " caught exception: the host broke"}) +
            std::vector<Call>{release};
        if (name == std::string("offerDeviceForProtocol"))
            expected.push_back({"freeProtocolString", {"p"}});
        EXPECT_EQ(bench.host.takeRecord(), expected);
        EXPECT_THAT(bench.host.complaints(), IsEmpty());
    }
}

TEST(TheBarriersOutcome, IsNoSecondReleaseWhenItsOwnThrowsAfterAnInt) {
    Bench bench;
    bench.discoverer.behaviour = kInt.raise;
    bench.host.on["releaseDevice"] = [] { throw 43; };

    StandardErrorCapture standardError;
    slotNamed("offerDevice").call(bench.host);

    EXPECT_EQ(standardError.text(), lastResort(slotNamed("offerDevice"), nullptr));
    EXPECT_EQ(bench.host.callsOf("releaseDevice").size(), 1U);
}

TEST(TheBarriersOutcome, DoesNotGiveADeviceBackThatTheOperationGaveBackBeforeItThrew) {
    for (const char* slot : {"offerDevice", "offerDeviceForProtocol"}) {
        for (const Thrown& thrown : {kRuntimeError, kInt}) {
            SCOPED_TRACE(std::string(slot) + " " + thrown.name);
            Bench bench;
            bench.discoverer.behaviour = [&] {
                bench.discoverer.releaseDevice(kProvider, kDevice);
                thrown.raise();
            };

            StandardErrorCapture standardError;
            slotNamed(slot).call(bench.host);

            EXPECT_EQ(bench.host.callsOf("releaseDevice").size(), 1U);
        }
    }
}

TEST(TheBarriersOutcome, IsNotSentForAKeyThatTheOperationKept) {
    for (const Thrown& thrown : {kRuntimeError, kInt}) {
        SCOPED_TRACE(thrown.name);
        Bench bench;
        char* kept = bench.host.handOver("kept");
        bench.discoverer.behaviour = [&] {
            bench.discoverer.settle(kept, kRequest);
            thrown.raise();
        };

        StandardErrorCapture standardError;
        bench.host.entry.fetchEntityValue(bench.discoverer.handle(), kEntity, kept, kRequest);

        EXPECT_THAT(bench.host.calls(), IsEmpty());
        EXPECT_TRUE(bench.host.strings.isOutstanding(kept));
        bench.host.receive(kept);
    }
}

TEST(TheBarriersOutcome, IsNotSentForAnOperationThatWillAnswerLater) {
    Bench bench;
    bench.discoverer.answersLater = true;

    bench.host.fetch(kEntity, "key");
    bench.host.post(kEntity, "key", "value");

    EXPECT_THAT(bench.host.calls(), IsEmpty());
    EXPECT_THAT(bench.host.strings.outstanding(), UnorderedElementsAre("key", "key", "value"));
}

TEST(TheBarriersOutcome, IsNotConfusedByAnExceptionThatIsOnItsWayAlready) {
    Bench bench;
    bench.discoverer.answersLater = true;
    struct FetchesAsItGoes {
        FakeHost& host;
        ~FetchesAsItGoes() { host.fetch(kEntity, "key"); }
    };

    try {
        const FetchesAsItGoes guard{bench.host};
        throw 1;
    } catch (int) {
    }

    EXPECT_THAT(bench.host.strings.outstanding(), ElementsAre("key"));
}

TEST(TheBarriersOutcome, SurvivesAHostThatThrowsWhenAStringIsFreed) {
    Bench bench;
    bench.discoverer.behaviour = kInt.raise;
    bench.host.on["freeString"] = [] { throw std::runtime_error("can't free"); };

    StandardErrorCapture standardError;
    slotNamed("postEntityValue").call(bench.host);

    EXPECT_EQ(standardError.text(), lastResort(slotNamed("postEntityValue"), nullptr));
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST(TheBarriersOutcome, IsSentForANullKeyToo) {
    Bench bench;
    bench.discoverer.behaviour = kRuntimeError.raise;

    bench.host.entry.fetchEntityValue(bench.discoverer.handle(), kEntity, nullptr, kRequest);

    EXPECT_THAT(bench.host.calls(),
                ElementsAre(Call{"fetchComplete", {kEntity, nullptr, kRequest, 15, nullptr}}));
}

} // namespace
