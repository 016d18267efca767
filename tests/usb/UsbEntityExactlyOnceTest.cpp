#include "common/DiscoveryException.h"
#include "tests/support/StandardErrorCapture.h"
#include "tests/usb/EntityFixtures.h"

#include <new>
#include <stdexcept>

using namespace testing;
using namespace zebtest;

namespace {

// Exactly once, whatever goes wrong.

TEST_F(AnEntityThatIsAsked, LeavesTheAnswerToTheBarrierWhenTheLinkThrows) {
    giveCommand(-1);
    entity->inOpenPort = [] { throw zebdiscovery::DiscoveryException("no link", 77); };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, Call{"errorText", {77}}, logged(10, "no link: 77 (error 77)"),
                            answer("zebcmd", request, 77, nullptr)));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhenAskingForTheCommandThrows) {
    entity->inRequestZebCmd = [] { throw std::runtime_error("no command"); };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(Call{"requestZebCmd", {}},
                            logged(10, "ZEBDiscoverer::fetchEntityValue caught exception: no command")));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", request, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhenStartingAgainThrows) {
    giveCommand(-1);
    entity->ports = {Status::TryLater};
    entity->inOpenPort = [&] {
        if (entity->portsOpened == 2)
            throw std::bad_alloc();
    };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, freed("zebcmd:test"), timer(-1), kOpenPort,
                                        logged(10, "ZEBDiscoverer::fetchEntityValue failed, out of memory")));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", request, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, FreesBothStringsOfAPostThatThrowsAnInt) {
    entity->password = [](const char*) -> ZEBDiscoverySDKError { throw 42; };
    StandardErrorCapture standardError;

    host.entry.postEntityValue(host.discoverer, handle(), host.handOver("password"), host.handOver("v"),
                               nullptr);

    EXPECT_THAT(happened(), ElementsAre(Call{"setPassword", {"v"}}, freed("password"), freed("v")));
    EXPECT_EQ(standardError.text(),
              "[ZEBDiscoverer] [0] Failed to post entity value, got unknown exception\n");
}

TEST_F(AnEntityThatIsAsked, AnswersAPostThatThrowsOnce) {
    entity->password = [](const char*) -> ZEBDiscoverySDKError { throw std::bad_alloc(); };

    const void* request = host.post(handle(), "password", "v");

    EXPECT_THAT(happened(), ElementsAre(Call{"setPassword", {"v"}},
                                        logged(10, "ZEBDiscoverer::postEntityValue failed, out of memory"),
                                        Call{"postComplete", {handle(), "password", "v", request, 3}}));
}

TEST_F(AnEntityThatIsAsked, DoesNotAnswerTwiceWhenTheHostThrows) {
    entity->start();
    giveCommand(-1);
    host.on["fetchComplete"] = [] { throw std::runtime_error("host"); };
    const Call caught = logged(10, "ZEBDiscoverer::fetchEntityValue caught exception: host");

    const void* request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                                        answer("zebcmd", request, 0, "zebcmd:test"), caught));
    entity->ports = {Status::NotSupported};
    request = fetch("zebcmd");
    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test"),
                            freed("zebcmd:test"), caught));
    request = fetch("type");
    EXPECT_THAT(happened(), ElementsAre(copied("usb"), answer("type", request, 0, "usb"), caught));
    request = fetch("nothing");
    EXPECT_THAT(happened(), ElementsAre(answer("nothing", request, 9, nullptr), caught));
}

TEST_F(AnEntityThatIsAsked, DoesNotAnswerTwiceWhenTheHostThrowsAtTheTimeout) {
    const void* request = fetch("zebcmd");
    giveCommand(500000);
    host.on["fetchComplete"] = [] { throw std::runtime_error("host"); };

    host.entry.handleEntityTimeout(host.discoverer, handle());
    EXPECT_THAT(happened(),
                ElementsAre(copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test"),
                            logged(10, "ZEBDiscoverer::handleEntityTimeout caught exception: host")));
    host.entry.handleEntityTimeout(host.discoverer, handle());
    EXPECT_THAT(happened(), IsEmpty());
}

TEST_F(AnEntityThatIsAsked, LeavesTheAnswerToTheBarrierWhenAllocatingThrows) {
    giveCommand(-1);
    entity->stop();
    forget();
    host.on["allocString"] = [] { throw std::runtime_error("no heap"); };

    const Call caught = logged(10, "ZEBDiscoverer::fetchEntityValue caught exception: no heap");

    const void* request = fetch("type");
    EXPECT_THAT(happened(), ElementsAre(copied("usb"), caught, answer("type", request, 15, nullptr)));
    request = fetch("zebcmd");
    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"), caught,
                                        answer("zebcmd", request, 15, nullptr)));
}

// From inside an answer.

TEST_F(AnEntityThatIsAsked, MayBeAskedAgainFromInsideAnAnswer) {
    const void* first = fetch("zebcmd");
    forget();
    const void* second = nullptr;
    askAgainInside(second);

    const std::vector<Call> calls = setCommand();

    EXPECT_EQ(calls, withCommand({answer("zebcmd", first, 0, "zebcmd:test"), kOpenPort, timer(-1),
                                  copied("zebcmd:test"), answer("zebcmd", second, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchThatIsMadeFromInsideTheLastAnswer) {
    giveCommand(-1);
    entity->ports = {Status::NotSupported};
    const void* second = nullptr;
    askAgainInside(second);

    const void* first = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, copied("zebcmd:test"), answer("zebcmd", first, 0, "zebcmd:test"),
                            Call{"requestZebCmd", {}}, freed("zebcmd:test")));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", second, 0, "zebcmd:test")}));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchThatIsMadeFromInsideAnAnswerAndFindsTheLinkGone) {
    giveCommand(-1);
    entity->ports = {Status::Done, Status::TryLater};
    const void* second = nullptr;
    askAgainInside(second);

    const void* first = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                            answer("zebcmd", first, 0, "zebcmd:test"), kOpenPort, freed("zebcmd:test"),
                            timer(-1), kOpenPort, logged(80, "Can't open the port, waiting for interval"),
                            timer(1000000)));
    EXPECT_EQ(setCommand(), withCommand({answer("zebcmd", second, 0, "zebcmd:test")}));
}

class AnEntityThatIsDestroyed : public AnEntityThatIsAsked {
protected:
    AnEntityThatIsDestroyed() {
        host.on["fetchComplete"] = [this] { host.destroyEntity(toHost(entity.release())); };
    }
    void TearDown() override {
        EXPECT_EQ(entity, nullptr);
        AnEntityThatIsAsked::TearDown();
    }
    Call answered(const char* key, const void* request, const char* value) {
        return {"fetchComplete", {mOwn, key, request, 0, value}};
    }

    const Call kReleased{"releaseDevice", {host.provider, device.get()}};
    const Call kCancelled = timer(-1);

private:
    const Argument mOwn = handle();
};

TEST_F(AnEntityThatIsDestroyed, FromInsideAnAnswerIsNotTouchedAgain) {
    const void* request = fetch("id");

    EXPECT_THAT(happened(), ElementsAre(copied("0x00001a2b"), answered("id", request, "0x00001a2b"),
                                        kReleased, kCancelled));
}

TEST_F(AnEntityThatIsDestroyed, FromInsideTheAnswerWithItsCommandIsNotTouchedAgain) {
    giveCommand(-1);

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, kCancelled, copied("zebcmd:test"),
                                        answered("zebcmd", request, "zebcmd:test"), kReleased, kCancelled,
                                        freed("zebcmd:test")));
}

TEST_F(AnEntityThatIsDestroyed, FromInsideItsLastAnswerIsNotTouchedAgain) {
    giveCommand(-1);
    entity->ports = {Status::NotSupported};

    const void* request = fetch("zebcmd");

    EXPECT_THAT(happened(),
                ElementsAre(kOpenPort, copied("zebcmd:test"), answered("zebcmd", request, "zebcmd:test"),
                            kReleased, kCancelled, freed("zebcmd:test")));
}

TEST_F(AnEntityThatIsDestroyed, FromInsideTheAnswerOfItsTimeoutIsNotTouchedAgain) {
    const void* request = fetch("zebcmd");
    giveCommand(500000);

    host.expireEntityTimer(handle());

    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answered("zebcmd", request, "zebcmd:test"),
                                        kReleased, kCancelled, freed("zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, StopsThenFreesItsKeyThenItsCommandWhenItGoes) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    const Call cancelled = timer(-1);

    entity.reset();

    EXPECT_THAT(happened(), ElementsAre(cancelled, freed("zebcmd"), freed("zebcmd:test")));
}

} // namespace
