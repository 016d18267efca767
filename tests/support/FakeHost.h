#pragma once

#include "tests/support/HostStrings.h"
#include "tests/support/Record.h"
#include "zebdiscovery/zebdiscovery.h"

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zebtest {

struct LogLine {
    int severity;
    std::string text;

    bool operator==(const LogLine& other) const = default;
};
std::ostream& operator<<(std::ostream& out, const LogLine& line);

/**
 * A host in memory: provides every callback, keeps one record of all that happens, counts every string, and
 * has a clock that only a test moves. It drives a discoverer through the tables alone, be it the plug-in
 * (PluginUnderTest) or one that is linked in.
 *
 * Three callbacks have no context, so there is at most one fake host at a time.
 *
 * What a host may rightly complain about (a string freed twice or never, a request answered twice or
 * never, a call with the wrong context or after the end) is collected in complaints(), which each test
 * should find empty.
 */
class FakeHost {
public:
    FakeHost();
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    // --- What a test may change before initialize ---

    /** The table that is handed over; set a slot to null to be a host without it. */
    ZEBDiscovererCallbacks callbacks;
    std::size_t callbackSize = sizeof(ZEBDiscovererCallbacks);
    std::size_t interfaceSize = sizeof(ZEBDiscovererInterface);

    // --- What a test may change at any time ---

    /** Copied into the discoverer's record by fillUtils. */
    ZEBDiscoverySDKUtils utils{};
    /** Lines up to this severity are wanted; all by default. */
    int logLevel = 1000;
    /** Run inside the callback of that name, after it was recorded; may throw or call back in. */
    std::map<std::string, std::function<void()>, std::less<>> on;
    /** Run inside every callback, after it was recorded and before its own; gets its name. */
    std::function<void(const char*)> onEvery;
    /** What the callbacks that return an error return, by name; 0 unless set. */
    std::map<std::string, ZEBDiscoverySDKError, std::less<>> results;
    /** The texts of error codes; others read "error <code>". */
    std::map<ZEBDiscoverySDKError, std::string> errorTexts;
    /** What subscribeToDeviceProvider hands out on success. */
    ZEBDiscovererDeviceProvider* provider;
    /** allocString returns null at its n-th call from now on; 0: never. */
    int failAllocationAt = 0;
    /** Every allocString returns null. */
    bool failAllocations = false;

    // --- Driving a discoverer ---

    /** The entry points; until a discoverer writes them every byte is kUntouched. */
    ZEBDiscovererInterface entry;
    static constexpr unsigned char kUntouched = 0xa5;
    ZEBDiscoverer* discoverer = nullptr;

    /** Call the function with both tables; remembers the discoverer. */
    ZEBDiscoverer* initialize(ZEBDiscovererInitializeFunction function);
    /** For a discoverer made by the test, with this host's tables. */
    void adopt(ZEBDiscoverer* made) { discoverer = made; }
    void setContext() { entry.setContext(discoverer, this); }
    /** setContext, init and start. */
    void bringUp();
    /** Slot destroyDiscoverer; whatever calls back afterwards is a complaint. */
    void destroy();

    /** Ask for a value or hand one over; the strings are made and counted here. Returns the request. */
    ZEBDiscoverySDKRequest* fetch(ZEBDiscovererEntity* entity, const char* key);
    ZEBDiscoverySDKRequest* post(ZEBDiscovererEntity* entity, const char* key, const char* value);
    /** Slot destroyEntity. */
    void destroyEntity(ZEBDiscovererEntity* entity);

    /** A new string of the host's, counted as handed to the discoverer; null gives null. */
    char* handOver(const char* text) { return text ? strings.make(text, -1) : nullptr; }
    /** The text of a string that the discoverer gave; takes it back. */
    std::string receive(char* string);

    /** The handles to wait on, each with its write flag. */
    std::vector<std::pair<int, int>> handles();
    /** Wait for those handles and pass on each that is ready; returns how many were. */
    int dispatch(int timeoutMilliseconds);

    /** Timers that are armed, with what is left of them in microseconds. */
    std::map<ZEBDiscovererEntity*, std::int64_t> entityTimers() const;
    std::map<ZEBDiscovererEventHandle*, std::int64_t> handleTimers() const;
    /** Move the clock; timers that come due expire in the order of their times. */
    void advance(std::int64_t microseconds);
    /** Let one timer expire now, whatever the clock says. */
    void expireEntityTimer(ZEBDiscovererEntity* entity);
    void expireHandleTimer(ZEBDiscovererEventHandle* handle);

    // --- What was seen ---

    /** Everything in the order in which it happened: every callback, and what the doubles below the
     * discoverer have seen. What follows is picked out of it. */
    Record record;
    /** The whole record so far but the kinds named, which is then forgotten. */
    std::vector<Call> takeRecord(std::initializer_list<Kind> without = {}) { return record.take(without); }

    /** Every call but the log, the level query, string handling, errorText and what doubles note, in order.
     */
    std::vector<Call> calls() const;
    std::vector<Call> callsOf(const std::string& name) const;
    /** The calls so far, which are then forgotten. */
    std::vector<Call> takeCalls();
    std::vector<LogLine> logLines() const;
    std::vector<LogLine> takeLogLines();
    bool hasLogged(int severity, const std::string& text) const;
    /** How often the level query was asked. */
    int levelQueries() const { return static_cast<int>(record.of(Kind::LevelQuery).size()); }
    /** Entities, added or added unpublished, that are not destroyed yet; the one last told of is the last. */
    const std::vector<ZEBDiscovererEntity*>& entities() const { return mEntities; }

    std::vector<std::string> complaints() const;
    /** Requests that were made and have not been answered. */
    std::size_t openRequests() const { return mOpenRequests.size(); }

private:
    struct Callbacks;
    struct Timer {
        std::int64_t due;
        std::uint64_t order;
    };
    template <class Key>
    using Timers = std::map<Key, Timer>;

    std::vector<std::string> mViolations;

public:
    HostStrings strings{mViolations};

private:
    static FakeHost& from(void* context, const char* name);
    static FakeHost& only();
    template <class... Arguments>
    void noteCallback(const char* name, const Arguments&... arguments) {
        if (mDestroyed)
            complain(std::string(name) + ": called after the end");
        record.write(Kind::Callback, name, arguments...);
    }
    void keepAsLast(ZEBDiscovererEntity* entity);
    void runHook(const char* name);
    ZEBDiscoverySDKError resultOf(const char* name) const;
    void complain(const std::string& text);
    void closeRequest(ZEBDiscoverySDKRequest* request, const char* name);
    ZEBDiscoverySDKRequest* newRequest();
    bool nextAllocationFails();
    template <class Key>
    void arm(Timers<Key>& timers, Key key, ZEBDiscoverySDKTimeoutMicroseconds timeout);
    template <class Key>
    std::map<Key, std::int64_t> remaining(const Timers<Key>& timers) const;
    bool expireNext(std::int64_t until);

    mutable std::recursive_mutex mMutex; // log and string callbacks may come from any thread
    std::vector<ZEBDiscovererEntity*> mEntities;
    std::set<ZEBDiscoverySDKRequest*> mOpenRequests;
    std::set<ZEBDiscoverySDKRequest*> mClosedRequests;
    std::uintptr_t mLastRequest = 0x1000;
    Timers<ZEBDiscovererEntity*> mEntityTimers;
    Timers<ZEBDiscovererEventHandle*> mHandleTimers;
    std::int64_t mNow = 0;
    std::uint64_t mTimerOrder = 0;
    bool mDestroyed = false;
};

} // namespace zebtest
