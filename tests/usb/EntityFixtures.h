#pragma once

#include "tests/support/Assertions.h"
#include "tests/usb/ScriptedEntity.h"

#include <fcntl.h>
#include <unistd.h>

namespace zebtest {

/** An entity, before the host knows it. */
class AnEntity : public testing::Test, protected EntityRig {
protected:
    void TearDown() override {
        entity.reset();
        EXPECT_THAT(host.complaints(), testing::IsEmpty());
    }

    /** Give it a descriptor of its own to close. */
    int giveHandle() {
        const int descriptor = dup(2);
        entity->setOwnEventHandle(descriptor);
        return descriptor;
    }
    static bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }
};

/** An entity that is asked through the entry points. */
class AnEntityThatIsAsked : public testing::Test, protected EntityRig {
protected:
    void TearDown() override {
        entity.reset();
        EXPECT_THAT(host.complaints(), testing::IsEmpty());
    }
    static Call copied(const char* text) { return {"allocString", {text, -1}}; }
    static Call freed(const char* text) { return {"freeString", {text}}; }
    /** Form the command and answer what is pending; all that happens meanwhile. */
    std::vector<Call> setCommand() {
        forget();
        entity->setZebCmd(-1);
        return happened();
    }
    /** The same as expected: the command is formed, and copied for a first answer. */
    static std::vector<Call> withCommand(std::vector<Call> answers) {
        const Call formed = copied("zebcmd:test");
        answers.insert(answers.begin(), {{"doSetZebCmd", {}}, formed, formed});
        return answers;
    }
    /** The host asks for the command once more, from inside an answer. */
    void askAgainInside(const void*& request) {
        host.on["fetchComplete"] = [this, &request] {
            host.on["fetchComplete"] = nullptr;
            request = fetch("zebcmd");
        };
    }
    /** A request that is never answered is not a fault of these tests. */
    ZEBDiscoverySDKRequest* fetchQuietly(const char* key) {
        static char made[8];
        auto* request = reinterpret_cast<ZEBDiscoverySDKRequest*>(&made[++mMade]);
        host.entry.fetchEntityValue(host.discoverer, handle(), host.handOver(key), request);
        return request;
    }

private:
    int mMade = 0;
};

} // namespace zebtest
