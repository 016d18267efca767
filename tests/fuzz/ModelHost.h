#pragma once

#include "tests/fuzz/Choices.h"
#include "tests/fuzz/Mirror.h"
#include "tests/fuzz/RandomRecord.h"
#include "zebdiscovery/zebdiscovery.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace zebtest {

/** An entity as the host knows it. */
struct KnownEntity {
    const RandomRecord* record;
    /** None for a phone that is to be switched: its hand-shake is watched by FakeUsb. */
    std::optional<Mirror> mirror;
    std::optional<int> timer;
    bool isEnding = false;
};

/** A fetch of "zebcmd" that has not been answered. */
struct OpenFetch {
    ZEBDiscovererEntity* entity;
    ZEBDiscoverySDKRequest* request;
};

/**
 * A host that drives a discoverer through the tables and knows what must come out of each call: results,
 * callbacks that are owed, strings, devices, timers and handles. What is otherwise ends the process.
 *
 * With tables that lack slots it only knows what must not happen.
 */
class ModelHost {
public:
    explicit ModelHost(Choices& choices);
    ~ModelHost();
    ModelHost(const ModelHost&) = delete;
    ModelHost& operator=(const ModelHost&) = delete;

    // --- Life. The tables have exactly the given numbers of bytes. ---
    void initialize(ZEBDiscovererInitializeFunction function, std::size_t interfaceSize,
                    std::size_t callbackSize, bool dropSlots);
    void setContext();
    /** Did the provider's subscription work? */
    bool init();
    /** destroyDiscoverer; everything must be settled then. */
    void destroy();

    // --- Calls, each of which may be made at any time after init. Absent slots are not called. ---
    void getInterest(const RandomRecord& record, bool withReason);
    void offer(const RandomRecord& record);
    void offerForProtocol(const RandomRecord& record, const char* protocol);
    void remove(const RandomRecord& record);
    void destroyEntity(ZEBDiscovererEntity* entity);
    void fetch(ZEBDiscovererEntity* entity, const char* key);
    void post(ZEBDiscovererEntity* entity, const char* key, const char* value);
    void expireTimer(ZEBDiscovererEntity* entity);
    void expireHandleTimer(int handle);
    void entityEvent(ZEBDiscovererEntity* entity);
    void event(int handle);
    void start();
    void stop();
    void providerStarted(int error);
    void providerStopped(int error);
    void setProperty(const char* key, const char* value);
    /** The operations that a USB discoverer does not have, by number. */
    void unsupported(unsigned which, ZEBDiscovererEntity* entity);

    const std::map<ZEBDiscovererEntity*, KnownEntity>& entities() const { return mEntities; }
    const std::vector<int>& handles() const { return mHandles; }
    const std::set<int>& handleTimers() const { return mHandleTimers; }
    /** Are all slots of both tables there? */
    bool isWhole() const { return mWhole; }
    /** Who asked for the record's entities must still keep it? */
    bool isInUse(const RandomRecord& record) const;
    /** The n-th identification string. */
    std::string identifier(int n) const;
    /** Answers of "zebcmd" with a value so far. */
    int commandsReceived() const { return mCommandsReceived; }

    /** Lines up to this severity are wanted. */
    int logLevel = 30;
    /** The host's own string allocation fails now and then. */
    bool failsAllocations = true;
    /** Entities are destroyed from inside callbacks now and then. */
    bool destroysInside = true;

private:
    friend struct ModelCallbacks;

    /** What the running entry point has brought so far. */
    struct Running {
        const char* name = "";
        const RandomRecord* record = nullptr;
        ZEBDiscovererEntity* entity = nullptr;
        ZEBDiscovererEntity* added = nullptr;
        int released = 0;
        int completed = 0;
        int stopped = 0;
        int started = 0;
        int protocolsFreed = 0;
        bool allocationFailed = false;
        std::multiset<ZEBDiscovererEntity*> lost{};
        std::map<ZEBDiscovererEntity*, Mirror::Answer> answered{};
        ZEBDiscoverySDKError lastError = 0;
        // What was handed over with a fetch or post.
        char* key = nullptr;
        char* value = nullptr;
        ZEBDiscoverySDKRequest* request = nullptr;
    };
    /** While an entry point runs, also one that is called from inside a callback. */
    class Scope {
    public:
        Scope(ModelHost& host, const char* name, const RandomRecord* record = nullptr,
              ZEBDiscovererEntity* entity = nullptr);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        ModelHost& mHost;
        const Running mOuter;
    };

    /** Was the slot written? */
    template <class Slot>
    bool has(Slot ZEBDiscovererInterface::*slot) const {
        return mpDiscoverer && mEntry.*slot != mUntouched.*slot;
    }
    template <class R, class... P, class... A>
    R call(R (*ZEBDiscovererInterface::*slot)(ZEBDiscoverer*, P...), A... arguments) {
        return (mEntry.*slot)(mpDiscoverer, arguments...);
    }
    void takeTable(const std::vector<unsigned char>& bytes);
    void afterCall();
    void refreshHandles();
    Met takeMet();
    /** What whole tables owe the host. */
    void owe(bool condition, const char* what) const;
    void expectStep(ZEBDiscovererEntity* entity, Mirror mirror, bool keep);
    void expectMirrored(ZEBDiscovererEntity* entity, Mirror mirror);
    void expectFetchesHeld() const;
    void expectStopped();
    void expectOwnHandle(ZEBDiscovererEntity* entity);

    char* handOver(const char* text);
    void takeBack(char* string, const char* who);
    void receive(char* string) { takeBack(string, "a result"); }
    void completed(ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request,
                   ZEBDiscoverySDKError error, char* value);
    void expectAnswer(const KnownEntity& known, const std::string& key, ZEBDiscoverySDKError error,
                      const char* value) const;
    void destroyInside(ZEBDiscovererEntity* entity);

    Choices& mChoices;
    ZEBDiscovererInterface mUntouched;
    ZEBDiscovererInterface mEntry;
    void (*mpDestroy)(ZEBDiscoverer*) = nullptr;
    ZEBDiscoverer* mpDiscoverer = nullptr;
    ZEBDiscovererDeviceProvider* const mpProvider;
    bool mWhole = true;
    bool mSubscribed = false;
    Running mRun;
    int mDepth = 0;
    std::map<ZEBDiscovererEntity*, KnownEntity> mEntities;
    std::vector<int> mHandles;
    std::vector<bool> mWriteFlags;
    std::set<int> mHandleTimers;
    std::unordered_map<char*, std::unique_ptr<char[]>> mStrings;
    std::map<char*, OpenFetch> mFetches;
    std::deque<Met::Allocation> mAllocations;
    std::optional<std::string> mIdentifiers[6];
    int mProviderResult = 0;
    int mCommandsReceived = 0;
    std::uintptr_t mLastRequest = 0;
};

} // namespace zebtest
