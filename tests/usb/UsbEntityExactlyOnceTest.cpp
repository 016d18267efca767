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

    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 77, nullptr)));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhenAskingForTheCommandThrows) {
    entity->inRequestZebCmd = [] { throw std::runtime_error("no command"); };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(host.calls(), IsEmpty());
    EXPECT_TRUE(host.hasLogged(10, "ZEBDiscoverer::fetchEntityValue caught exception: no command"));
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchWhenStartingAgainThrows) {
    giveCommand(-1);
    entity->ports = {Status::TryLater};
    entity->inOpenPort = [&] {
        if (entity->portsOpened == 2)
            throw std::bad_alloc();
    };

    const void* request = fetch("zebcmd");

    EXPECT_THAT(answers(), IsEmpty());
    host.takeCalls();
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, FreesBothStringsOfAPostThatThrowsAnInt) {
    entity->password = [](const char*) -> ZEBDiscoverySDKError { throw 42; };
    StandardErrorCapture standardError;

    host.entry.postEntityValue(host.discoverer, handle(), host.handOver("password"), host.handOver("v"),
                               nullptr);

    EXPECT_THAT(host.calls(), IsEmpty());
}

TEST_F(AnEntityThatIsAsked, AnswersAPostThatThrowsOnce) {
    entity->password = [](const char*) -> ZEBDiscoverySDKError { throw std::bad_alloc(); };

    const void* request = host.post(handle(), "password", "v");

    EXPECT_THAT(host.calls(), ElementsAre(Call{"postComplete", {handle(), "password", "v", request, 3}}));
}

TEST_F(AnEntityThatIsAsked, DoesNotAnswerTwiceWhenTheHostThrows) {
    entity->start();
    giveCommand(-1);
    host.on["fetchComplete"] = [] { throw std::runtime_error("host"); };

    for (const Status status : {Status::Done, Status::NotSupported}) {
        entity->ports = {status};
        fetch("zebcmd");
    }
    fetch("id");
    fetch("nothing");

    EXPECT_EQ(answers().size(), 4U);
}

TEST_F(AnEntityThatIsAsked, DoesNotAnswerTwiceWhenTheHostThrowsAtTheTimeout) {
    fetch("zebcmd");
    giveCommand(500000);
    host.on["fetchComplete"] = [] { throw std::runtime_error("host"); };

    host.entry.handleEntityTimeout(host.discoverer, handle());
    host.entry.handleEntityTimeout(host.discoverer, handle());

    EXPECT_EQ(answers().size(), 1U);
}

TEST_F(AnEntityThatIsAsked, LeavesTheAnswerToTheBarrierWhenAllocatingThrows) {
    giveCommand(-1);
    entity->stop();
    host.takeCalls();
    host.on["allocString"] = [] { throw std::runtime_error("no heap"); };

    const void* first = fetch("type");
    const void* second = fetch("zebcmd");

    EXPECT_THAT(answers(),
                ElementsAre(answer("type", first, 15, nullptr), answer("zebcmd", second, 15, nullptr)));
}

// From inside an answer.

TEST_F(AnEntityThatIsAsked, MayBeAskedAgainFromInsideAnAnswer) {
    const void* first = fetch("zebcmd");
    const void* second = nullptr;
    host.on["fetchComplete"] = [&] {
        host.on["fetchComplete"] = nullptr;
        second = fetch("zebcmd");
    };

    entity->setZebCmd(-1);

    EXPECT_THAT(answers(), ElementsAre(answer("zebcmd", first, 0, "zebcmd:test"),
                                       answer("zebcmd", second, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, KeepsAFetchThatIsMadeFromInsideTheLastAnswer) {
    giveCommand(-1);
    entity->ports = {Status::NotSupported};
    const void* second = nullptr;
    host.on["fetchComplete"] = [&] {
        host.on["fetchComplete"] = nullptr;
        second = fetch("zebcmd");
    };

    fetch("zebcmd");

    EXPECT_EQ(answers().size(), 1U);
    host.takeCalls();
    entity->setZebCmd(-1);
    EXPECT_THAT(host.calls(), ElementsAre(answer("zebcmd", second, 0, "zebcmd:test")));
}

TEST_F(AnEntityThatIsAsked, MayBeDestroyedFromInsideAnAnswer) {
    const auto destroy = [&] { host.destroyEntity(toHost(entity.release())); };
    const auto remake = [&] {
        entity = std::make_unique<ScriptedEntity>(*discoverer, *discoverer, device.get());
        host.on["fetchComplete"] = destroy;
        host.takeCalls();
    };

    for (const Status status : {Status::Done, Status::NotSupported}) {
        remake();
        giveCommand(-1);
        entity->ports = {status};
        fetch("zebcmd");
        EXPECT_EQ(answers().size(), 1U);
    }
    remake();
    fetch("id");
    remake();
    fetch("zebcmd");
    giveCommand(500000);
    host.entry.handleEntityTimeout(host.discoverer, handle());

    EXPECT_EQ(entity, nullptr);
    EXPECT_THAT(host.callsOf("entityLost"), IsEmpty());
}

TEST_F(AnEntityThatIsAsked, StopsThenFreesItsKeyThenItsCommandWhenItGoes) {
    fetchQuietly("zebcmd");
    giveCommand(500000);
    std::vector<std::vector<std::string>> left;
    host.on["freeString"] = [&] { left.push_back(host.strings.outstanding()); };
    std::size_t freedBeforeStop = 99;
    host.on["setEntityTimer"] = [&] { freedBeforeStop = left.size(); };

    const Call cancelled = timer(-1);
    entity.reset();

    EXPECT_EQ(freedBeforeStop, 0U);
    EXPECT_THAT(host.calls(), ElementsAre(cancelled));
    EXPECT_THAT(left, ElementsAre(ElementsAre("zebcmd:test"), IsEmpty()));
}

} // namespace
