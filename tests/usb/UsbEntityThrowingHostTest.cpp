// An entity of a host whose callbacks throw: how far it has come then.
#include "tests/usb/EntityFixtures.h"

#include <stdexcept>
#include <unistd.h>

using namespace testing;
using namespace zebtest;

namespace {

class AnEntityOfAThrowingHost : public AnEntityThatIsAsked {
protected:
    /** Throw at the n-th call of that callback from now on, and never again. */
    void throwAt(const char* callback, int n) {
        onceInside(callback, n, [] { throw std::runtime_error("host"); });
    }
    /** How many attempts fail before one is the last. */
    int attemptsLeft() {
        entity->ports = {Status::TryLater};
        int attempts = 1;
        while (entity->handleTimeout())
            ++attempts;
        return attempts;
    }
    static Call caught(const char* operation) {
        return {"log", {10, "ZEBDiscoverer::" + std::string(operation) + " caught exception: host"}};
    }
};

TEST_F(AnEntityOfAThrowingHost, HasItsAttemptsBeforeItCancelsItsTimer) {
    throwAt("setEntityTimer", 1);

    EXPECT_THROW(entity->start(), std::runtime_error);

    EXPECT_THAT(happened(), ElementsAre(timer(-1)));
    EXPECT_EQ(attemptsLeft(), 10);
}

TEST_F(AnEntityOfAThrowingHost, HasMoreAttemptsAfterItHasArmedItsTimer) {
    entity->ports = {Status::TryLater};
    throwAt("setEntityTimer", 2);

    EXPECT_THROW(entity->start(), std::runtime_error);

    EXPECT_THAT(happened(),
                ElementsAre(timer(-1), kOpenPort, logged(80, "Can't open the port, waiting for interval"),
                            timer(1000000)));
    EXPECT_EQ(attemptsLeft(), 10);
}

TEST_F(AnEntityOfAThrowingHost, SaysThatItIsNotSupportedBeforeItGivesUp) {
    entity->ports = {Status::NotSupported};
    throwAt("log", 1);

    EXPECT_THROW(entity->start(), std::runtime_error);

    EXPECT_THAT(happened(),
                ElementsAre(timer(-1), kOpenPort, logged(80, "Open port returned not supported")));
    EXPECT_EQ(attemptsLeft(), 10);
}

TEST_F(AnEntityOfAThrowingHost, WaitsStillWhenAnEventCantCancelItsTimer) {
    entity->start(); // waits
    const int descriptor = dup(2);
    entity->setOwnEventHandle(descriptor);
    int handle = 5;
    throwAt("setEntityTimer", 1);
    EXPECT_THROW(entity->handleEvent(&handle), std::runtime_error);
    forget();

    entity->handleTimeout();

    EXPECT_THAT(happened(), ElementsAre(Call{"close", {descriptor}}, kOpenPort, timer(3000000)));
}

TEST_F(AnEntityOfAThrowingHost, AnswersLaterWhatItCouldNotAnswer) {
    const void* request = fetch("zebcmd");
    giveCommand(500000);
    throwAt("allocString", 1);

    host.expireEntityTimer(handle());
    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), caught("handleEntityTimeout")));
    host.expireEntityTimer(handle());

    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answer("zebcmd", request, 0, "zebcmd:test")));
}

TEST_F(AnEntityOfAThrowingHost, KeepsAnOlderFetchWhenItCantAnswerANewerOne) {
    const void* older = fetch("zebcmd");
    giveCommand(500000);
    entity->stop();
    forget();
    throwAt("allocString", 1);

    const void* newer = fetch("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(kOpenPort, timer(-1), copied("zebcmd:test"),
                                        caught("fetchEntityValue"), answer("zebcmd", newer, 15, nullptr)));
    entity->completePendingFetch();
    EXPECT_THAT(happened(), ElementsAre(copied("zebcmd:test"), answer("zebcmd", older, 0, "zebcmd:test")));
}

TEST_F(AnEntityOfAThrowingHost, DropsASecondFetchOnceThoughItsKeyCouldNotBeFreed) {
    const void* request = fetch("zebcmd");
    forget();
    throwAt("freeString", 1);

    fetchQuietly("zebcmd");

    EXPECT_THAT(happened(), ElementsAre(freed("zebcmd"), caught("fetchEntityValue")));
    entity->cancelPendingFetch();
    EXPECT_THAT(happened(), ElementsAre(answer("zebcmd", request, 11, nullptr)));
}

} // namespace
