// A host and, in the place of its plug-in, functions of the test's own.
#pragma once

#include "host/Host.h"
#include "host/HostTables.h"
#include "tests/host/Lines.h"

#include <functional>
#include <gmock/gmock.h>
#include <unistd.h>

namespace zebhost {

/** What the host calls; a test replaces what it wants to see. */
struct Calls {
    std::vector<std::string> made;
    std::vector<ZEBDiscovererEventHandle> handles;
    std::vector<int> writeFlags;
    ZEBDiscovererEventHandle entityHandle = ZEBDiscovererNoEventHandle;
    std::function<void(const ZEBDeviceInfo*)> offer = [](const ZEBDeviceInfo*) {};
    std::function<void()> remove = [] {};
    std::function<void(ZEBDiscovererEntity*)> destroy = [](ZEBDiscovererEntity*) {};
    std::function<void(ZEBDiscovererEntity*, char*, ZEBDiscoverySDKRequest*)> fetch;
    std::function<void(ZEBDiscovererEntity*)> entityTimeout = [](ZEBDiscovererEntity*) {};
    std::function<void(int)> handleTimeout = [](int) {};
    std::function<void(int)> event = [](int) {};
    ZEBDeviceInterestLevel interest = 15;
    /** One handle and one timer, in the place of the array. */
    bool isSingle = false;
    ZEBDiscovererEventHandle singleHandle = ZEBDiscovererNoEventHandle;
    std::function<void()> timeout = [] {};
    ZEBDiscoverySDKError initResult = ZEBDiscoverySDKErrorNone;
};

extern Calls gCalls;
/** The host's callbacks and the context that it gave. */
extern const ZEBDiscovererCallbacks& gHost;
extern void* gContext;

/** The entry function of a plug-in that does what gCalls says. */
ZEBDiscoverer* initialize(ZEBDiscovererInterface* table, size_t, const ZEBDiscovererCallbacks*, size_t);

class APipe {
public:
    APipe() { EXPECT_EQ(pipe(mEnds), 0); }
    ~APipe() {
        close(mEnds[0]);
        close(mEnds[1]);
    }
    int reader() const { return mEnds[0]; }
    int writer() const { return mEnds[1]; }

private:
    int mEnds[2];
};

class AHost : public ::testing::Test {
protected:
    explicit AHost(bool isSingle = false) {
        gCalls = Calls();
        gCalls.isSingle = isSingle;
        gCalls.fetch = [](ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request) {
            gHost.fetchComplete(gContext, entity, key, request, 0, gHost.allocString("value", -1));
        };
        mHost.start(initialize, {});
    }

    ZEBDiscovererEntity* entity(int number) {
        return reinterpret_cast<ZEBDiscovererEntity*>(&mEntities[number]);
    }
    void addEntity(int number) { gHost.addEntity(gContext, nullptr, entity(number)); }

    /** Watch a descriptor of the plug-in's from the next wait on. */
    void list(int descriptor, int writeFlag = 0) {
        gCalls.handles = {descriptor, ZEBDiscovererNoEventHandle};
        gCalls.writeFlags = {writeFlag};
    }
    void runUntilQuit() {
        mLoop.run([this] { mHost.beforeWait(); });
    }
    void runFor(uint64_t microseconds) {
        Timer end(mLoop, [this] { mLoop.quit(); });
        end.arm(microseconds);
        runUntilQuit();
    }

    Lines mLines;
    Output mOutput{mLines.file(), Output::Form::Json};
    Loop mLoop;
    Host mHost{mLoop, mOutput};
    char mEntities[4] = {};
};

class AHostOfOneHandle : public AHost {
protected:
    AHostOfOneHandle() : AHost(true) {}
};

} // namespace zebhost
