#include "tests/common/BarrierCases.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>

using namespace testing;
using namespace zebtest;

namespace {

class TheBarrier : public TestWithParam<std::tuple<Slot, Thrown>> {
protected:
    const Slot& slot() const { return std::get<0>(mParameter); }
    const Thrown& thrown() const { return std::get<1>(mParameter); }

private:
    const ParamType mParameter = GetParam();
};

std::string nameOf(const TestParamInfo<TheBarrier::ParamType>& info) {
    return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(EverySlot, TheBarrier,
                         Combine(ValuesIn(slots()), Values(kDiscoveryException, kBadAlloc, kBadArrayLength,
                                                           kRuntimeError, kInt)),
                         nameOf);

TEST_P(TheBarrier, TurnsAnExceptionIntoItsLineThenItsCallAndItsResult) {
    Bench bench(slot());
    bench.discoverer.behaviour = thrown().raise;

    StandardErrorCapture standardError;
    const Argument result = slot().call(bench.host);
    const std::string written = standardError.text();

    EXPECT_EQ(bench.host.takeRecord(), expectedRecord(slot(), thrown(), bench.discoverer.handle()));
    EXPECT_EQ(result, expectedResult(slot(), thrown()));
    EXPECT_EQ(written, isCaughtInside(slot(), thrown()) ? "" : lastResort(slot(), thrown().what));
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST_P(TheBarrier, LeavesTheDiscovererUsable) {
    Bench bench(slot());
    bench.discoverer.behaviour = thrown().raise;
    StandardErrorCapture standardError;
    slot().call(bench.host);
    bench.discoverer.behaviour = nullptr;
    bench.discoverer.operations.clear();

    const ZEBDiscoverySDKError error = bench.host.entry.setProperty(bench.discoverer.handle(), "a", "b");

    EXPECT_EQ(error, 9);
    EXPECT_THAT(bench.discoverer.operations, ElementsAre(Call{"setProperty", {"a", "b"}}));
}

TEST_P(TheBarrier, FallsBackToStandardErrorWhenTheLogThrows) {
    Bench bench(slot());
    bench.discoverer.behaviour = thrown().raise;
    bench.host.on["log"] = [] { throw std::runtime_error("the log is full"); };

    StandardErrorCapture standardError;
    const Argument result = slot().call(bench.host);
    const std::string written = standardError.text();

    const bool caught = isCaughtInside(slot(), thrown());
    EXPECT_EQ(written, lastResort(slot(), caught ? "the log is full" : thrown().what));
    EXPECT_EQ(result, slot().escaped);
    // Only what is the provider's and the host's goes back.
    std::vector<Call> givenBack;
    if (slot().outcome == Outcome::Release || slot().outcome == Outcome::Protocol)
        givenBack = {{"releaseDevice", {kProvider, kDevice}}};
    if (slot().outcome == Outcome::Protocol)
        givenBack.push_back({"freeProtocolString", {"p"}});
    EXPECT_EQ(bench.host.calls(), givenBack);
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST_P(TheBarrier, FallsBackToStandardErrorWhenTheLevelQueryThrowsSomethingUnknown) {
    Bench bench(slot());
    bench.discoverer.behaviour = thrown().raise;
    bench.host.on["isLogLevelEnabled"] = [] { throw 'x'; };

    StandardErrorCapture standardError;
    const Argument result = slot().call(bench.host);
    const std::string written = standardError.text();

    const bool caught = isCaughtInside(slot(), thrown());
    EXPECT_EQ(written, lastResort(slot(), caught ? nullptr : thrown().what));
    EXPECT_EQ(result, slot().escaped);
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST_P(TheBarrier, ReturnsAsUsualWhenDescriptorTwoIsClosed) {
    Bench bench(slot());
    bench.discoverer.behaviour = thrown().raise;

    Argument result = nullptr;
    {
        const StandardErrorCapture closed(StandardErrorCapture::Closed);
        result = slot().call(bench.host);
    }

    EXPECT_EQ(result, expectedResult(slot(), thrown()));
}

TEST_P(TheBarrier, DoesTheSameForAHostThatLogsNothing) {
    Bench bench(slot());
    bench.host.logLevel = -1;
    bench.discoverer.behaviour = thrown().raise;

    StandardErrorCapture standardError;
    const Argument result = slot().call(bench.host);

    EXPECT_THAT(bench.host.logLines(), IsEmpty());
    EXPECT_EQ(bench.host.calls(), expectedCalls(slot(), thrown(), bench.discoverer.handle()));
    EXPECT_EQ(result, expectedResult(slot(), thrown()));
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST_P(TheBarrier, NeedsNoCallbackAtAll) {
    FakeHost host;
    host.callbackSize = 0;
    TestDiscoverer discoverer(host, !slot().isSingle());
    discoverer.behaviour = thrown().raise;

    StandardErrorCapture standardError;
    const Argument result = slot().call(host);

    EXPECT_EQ(result, expectedResult(slot(), thrown()));
    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST(TheBarrier, CutsItsLinesAt511Characters) {
    Bench bench;
    const std::string longText(600, 'x');
    bench.discoverer.behaviour = [&] { throw DiscoveryException(longText.c_str(), 77); };

    bench.host.entry.setProperty(bench.discoverer.handle(), "k", "v");

    EXPECT_THAT(bench.host.logLines(), ElementsAre(LogLine{10, std::string(511, 'x')}));
}

TEST(TheBarrier, SaysUnknownWhenTheHostHasNoErrorTexts) {
    FakeHost host;
    host.callbacks.errorText = nullptr;
    TestDiscoverer discoverer(host);
    host.setContext();
    discoverer.behaviour = kDiscoveryException.raise;

    host.entry.start(discoverer.handle());

    EXPECT_THAT(host.logLines(), ElementsAre(LogLine{10, "the bus is closed: 77 (<unknown>)"}));
}

TEST(TheBarrier, PassesAnErrnoOfTheWakeUpPipeOnUnchanged) {
    Bench bench;
    bench.discoverer.behaviour = [] { throw DiscoveryException("pipe failed", 24); };

    EXPECT_EQ(bench.host.entry.init(bench.discoverer.handle()), 24);
}

TEST(TheBarrier, PassesSuccessfulResultsThrough) {
    for (const Slot& slot : slots()) {
        SCOPED_TRACE(slot.name);
        if (slot.operation.name == "offerDevice")
            continue; // the base has none
        Bench bench(slot);

        StandardErrorCapture standardError;
        const Argument result = slot.call(bench.host);

        const bool isNotImplemented = slot.outcome == Outcome::Code && slot.operation.name != "init" &&
                                      slot.operation.name != "getViewerParameters";
        const Argument good = slot.outcome == Outcome::Code ? Argument(0) : slot.escaped;
        EXPECT_EQ(result, isNotImplemented ? Argument(9) : good);
        EXPECT_THAT(bench.discoverer.operations, ElementsAre(slot.operation));
        EXPECT_EQ(standardError.text(), "");
    }
}

TEST(OfferingADeviceForAProtocol, WithoutAProtocolIsOfferingADevice) {
    for (const Thrown& thrown : {kDiscoveryException, kBadAlloc, kRuntimeError, kInt}) {
        SCOPED_TRACE(thrown.name);
        Bench bench;
        bench.discoverer.behaviour = thrown.raise;
        const Slot& offer = slotNamed("offerDevice");

        StandardErrorCapture standardError;
        bench.host.entry.offerDeviceForProtocol(bench.discoverer.handle(), kProvider, kDevice, nullptr);
        const std::string written = standardError.text();

        EXPECT_THAT(bench.discoverer.operations, ElementsAre(Call{"offerDevice", {kProvider, kDevice}}));
        EXPECT_EQ(bench.host.logLines(), expectedLog(offer, thrown));
        EXPECT_EQ(bench.host.calls(), expectedCalls(offer, thrown, nullptr)) << "nothing is freed";
        EXPECT_EQ(written, thrown.standard ? "" : lastResort(offer, nullptr));
    }
}

TEST(OfferingADeviceForAProtocol, FreesTheProtocolLastAfterSuccessToo) {
    Bench bench;

    slotNamed("offerDeviceForProtocol").call(bench.host);

    EXPECT_THAT(bench.host.takeRecord(),
                ElementsAre(Call{"offerDeviceForProtocol", {}}, Call{"isLogLevelEnabled", {10}},
                            Call{"log", {10, "Unknown protocol offered to discoverer"}},
                            Call{"releaseDevice", {kProvider, kDevice}}, Call{"freeProtocolString", {"p"}}));
    EXPECT_THAT(bench.host.complaints(), IsEmpty());
}

TEST(OfferingADeviceForAProtocol, SurvivesAHostThatThrowsWhenItFreesTheProtocol) {
    Bench bench;
    bench.host.on["freeProtocolString"] = [] { throw std::runtime_error("can't free"); };

    StandardErrorCapture standardError;
    slotNamed("offerDeviceForProtocol").call(bench.host);

    EXPECT_EQ(standardError.text(), lastResort(slotNamed("offerDeviceForProtocol"), "can't free"));
    EXPECT_EQ(bench.host.callsOf("freeProtocolString").size(), 1U);
}

TEST(OfferingADeviceForAProtocol, FreesTheProtocolBeforeTheLastResortSpeaks) {
    Bench bench;
    bench.host.on["releaseDevice"] = [] { throw std::runtime_error("can't release"); };
    StandardErrorCapture standardError;
    std::string spokenBefore = "not freed";
    bench.host.on["freeProtocolString"] = [&] { spokenBefore = standardError.text(); };

    slotNamed("offerDeviceForProtocol").call(bench.host);

    EXPECT_EQ(spokenBefore, "");
    EXPECT_EQ(standardError.text(), lastResort(slotNamed("offerDeviceForProtocol"), "can't release"));
}

TEST(OfferingADeviceForAProtocol, TellsOfAHostThatThrowsWhenTheDeviceIsReleasedAfterAnInt) {
    Bench bench;
    bench.discoverer.behaviour = kInt.raise;
    bench.host.on["releaseDevice"] = [] { throw std::runtime_error("can't release"); };

    StandardErrorCapture standardError;
    slotNamed("offerDeviceForProtocol").call(bench.host);

    EXPECT_EQ(standardError.text(), lastResort(slotNamed("offerDeviceForProtocol"), "can't release"));
    EXPECT_EQ(bench.host.callsOf("releaseDevice").size(), 1U);
}

TEST(DestroyingADiscoverer, DeletesIt) {
    FakeHost host;
    bool destroyed = false;
    auto* discoverer = new TestDiscoverer(host);
    discoverer->atTheEnd = [&] { destroyed = true; };
    const long before = liveAllocations();

    host.destroy();

    EXPECT_TRUE(destroyed);
    EXPECT_LT(liveAllocations(), before);
}

TEST(DestroyingADiscoverer, TellsStandardErrorOfWhateverItsDestructorThrows) {
    for (const Thrown& thrown : {kDiscoveryException, kBadAlloc, kRuntimeError, kInt}) {
        SCOPED_TRACE(thrown.name);
        FakeHost host;
        auto* discoverer = new TestDiscoverer(host);
        host.setContext();
        host.takeCalls();
        discoverer->atTheEnd = thrown.raise;

        StandardErrorCapture standardError;
        host.destroy();
        const std::string written = standardError.text();

        const std::string how = thrown.what ? std::string("exception ") + thrown.what : "unknown exception";
        EXPECT_EQ(written, "[ZEBDiscoverer] [0] Failed to destroy discoverer, got " + how + "\n");
        EXPECT_THAT(host.logLines(), IsEmpty());
        EXPECT_THAT(host.calls(), IsEmpty());
    }
}

TEST(DestroyingADiscoverer, DoesNothingForNull) {
    Bench bench;

    StandardErrorCapture standardError;
    bench.host.entry.destroyDiscoverer(nullptr);

    EXPECT_EQ(standardError.text(), "");
}

} // namespace
