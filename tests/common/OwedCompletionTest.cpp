// Which completion is owed when several entry points, or several operations on one entity, are about.
#include "common/OwedCompletion.h"
#include "tests/common/BarrierCases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace testing;
using namespace zebtest;
using zebdiscovery::Completion;

namespace {

TEST(WhatAnEntryPointOwes, BelongsToTheInnermostOfNestedFetches) {
    Bench bench;
    bench.host.on["fetchComplete"] = [&] {
        bench.host.on["fetchComplete"] = nullptr;
        bench.discoverer.behaviour = kRuntimeError.raise;
        bench.host.fetch(kEntity, "inner");
        bench.discoverer.behaviour = nullptr;
        throw DiscoveryException("after the inner one", 5);
    };

    bench.host.fetch(kEntity, "outer");

    const auto calls = bench.host.calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].arguments[1], Argument("outer"));
    EXPECT_EQ(calls[0].arguments[3], Argument(9));
    EXPECT_EQ(calls[1].arguments[1], Argument("inner"));
    EXPECT_EQ(calls[1].arguments[3], Argument(15));
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST(WhatAnEntryPointOwes, IsSettledOnceForEachOfTwoThatAreAlike) {
    zebdiscovery::OwedCompletions all;
    const zebdiscovery::OwedCompletion outer(all, Completion::Publish, kEntity, nullptr);
    const zebdiscovery::OwedCompletion inner(all, Completion::Publish, kEntity, nullptr);

    EXPECT_TRUE(all.settle(Completion::Publish, kEntity, nullptr));
    EXPECT_FALSE(inner.isOwed());
    EXPECT_TRUE(outer.isOwed());
    EXPECT_TRUE(all.settle(Completion::Publish, kEntity, nullptr));
    EXPECT_FALSE(outer.isOwed());
    EXPECT_FALSE(all.settle(Completion::Publish, kEntity, nullptr));
}

TEST(WhatAnEntryPointOwes, IsToldApartByOperationKeyAndRequest) {
    zebdiscovery::OwedCompletions all;
    const char key{};
    const char other{};
    const zebdiscovery::OwedCompletion owed(all, Completion::Fetch, &key, kRequest);

    EXPECT_FALSE(all.settle(Completion::Post, &key, kRequest));
    EXPECT_FALSE(all.settle(Completion::Fetch, &other, kRequest));
    EXPECT_FALSE(all.settle(Completion::Fetch, &key, &other));
    EXPECT_TRUE(owed.isOwed());
    EXPECT_TRUE(all.settle(Completion::Fetch, &key, kRequest));
}

/** Completes, for the same entity or request, what another operation owed it, and then fails. */
struct OlderDebt {
    const char* slot;
    const char* older;
    const char* own;
    void (*call)(FakeHost& host);
    void (*settle)(TestDiscoverer& discoverer);
};

// With null keys: nothing but the operation tells a fetch from a post.
const OlderDebt kOlderDebts[] = {
    {"publishEntity", "unpublishComplete", "publishComplete",
     [](FakeHost& h) { h.entry.publishEntity(h.discoverer, kEntity); },
     [](TestDiscoverer& d) { d.entityUnpublishComplete(kEntity, 0); }},
    {"unpublishEntity", "publishComplete", "unpublishComplete",
     [](FakeHost& h) { h.entry.unpublishEntity(h.discoverer, kEntity); },
     [](TestDiscoverer& d) { d.entityPublishComplete(kEntity, 0); }},
    {"fetchEntityValue", "postComplete", "fetchComplete",
     [](FakeHost& h) { h.entry.fetchEntityValue(h.discoverer, kEntity, nullptr, kRequest); },
     [](TestDiscoverer& d) { d.entityPostComplete(kEntity, nullptr, nullptr, kRequest, 0); }},
    {"postEntityValue", "fetchComplete", "postComplete",
     [](FakeHost& h) { h.entry.postEntityValue(h.discoverer, kEntity, nullptr, nullptr, kRequest); },
     [](TestDiscoverer& d) { d.entityFetchComplete(kEntity, nullptr, kRequest, 0, nullptr); }},
};

TEST(WhatAnEntryPointOwes, IsSentAfterTheOperationSettledWhatAnotherOneOwedTheSameEntity) {
    for (const OlderDebt& debt : kOlderDebts) {
        SCOPED_TRACE(debt.slot);
        Bench bench;
        bench.discoverer.behaviour = [&] {
            debt.settle(bench.discoverer);
            throw std::runtime_error("it broke");
        };

        debt.call(bench.host);

        EXPECT_EQ(bench.host.callsOf(debt.older).size(), 1U);
        EXPECT_EQ(bench.host.callsOf(debt.own).size(), 1U);
        EXPECT_THAT(bench.host.logLines(),
                    ElementsAre(LogLine{10, std::string("ZEBDiscoverer::") + debt.slot +
                                                " caught exception: it broke"}));
    }
}

TEST(WhatAnEntryPointOwes, IsNotSentForAPostThatTheOperationKept) {
    Bench bench;
    char* key = bench.host.handOver("kept");
    char* value = bench.host.handOver("value");
    bench.discoverer.behaviour = [&] {
        bench.discoverer.settle(key, kRequest);
        throw 42;
    };

    StandardErrorCapture standardError;
    bench.host.entry.postEntityValue(bench.discoverer.handle(), kEntity, key, value, kRequest);

    EXPECT_THAT(bench.host.calls(), IsEmpty());
    EXPECT_THAT(bench.host.strings.outstanding(), UnorderedElementsAre("kept", "value"));
}

TEST(WhatAnEntryPointOwes, IsStillKnownAsSentAfterAnotherEntryPointCameAndWent) {
    Bench bench;
    bench.discoverer.behaviour = [&] {
        bench.discoverer.behaviour = nullptr;
        bench.host.entry.unpublishEntity(bench.discoverer.handle(), kEntity);
        bench.discoverer.entityPublishComplete(kEntity, 0);
        throw std::runtime_error("it broke");
    };

    bench.host.entry.publishEntity(bench.discoverer.handle(), kEntity);

    EXPECT_THAT(bench.host.calls(),
                ElementsAre(Call{"unpublishComplete", {kEntity, 9}}, Call{"publishComplete", {kEntity, 0}}));
}

TEST(WhatAnEntryPointOwes, IsSettledForTheOuterOfTwoThatAreAlikeBySendingItTwice) {
    Bench bench;
    bench.discoverer.behaviour = [&] {
        bench.discoverer.behaviour = [&] { bench.discoverer.entityPublishComplete(kEntity, 0); };
        bench.host.entry.publishEntity(bench.discoverer.handle(), kEntity); // and the base answers as well
        throw std::runtime_error("it broke");
    };

    bench.host.entry.publishEntity(bench.discoverer.handle(), kEntity);

    EXPECT_THAT(bench.host.calls(),
                ElementsAre(Call{"publishComplete", {kEntity, 0}}, Call{"publishComplete", {kEntity, 9}}));
}

} // namespace
