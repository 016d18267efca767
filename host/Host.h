#pragma once

#include "host/Devices.h"
#include "host/Discoverer.h"
#include "host/Entities.h"
#include "host/HandleTimers.h"
#include "host/HandleWatches.h"
#include "host/Loop.h"
#include "host/Output.h"
#include "host/Strings.h"

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zebhost {

/**
 * A host of one discoverer: drives it through its table, and is what the callbacks (HostTables)
 * reach. Strict: whatever breaks the contract is reported as a violation, and then ignored.
 *
 * There is one at a time in a process, because allocString and freeString come without a context.
 */
class Host {
public:
    using Properties = std::vector<std::pair<std::string, std::string>>;

    /** loop and output must outlive this, and so must the loaded plug-in. */
    Host(Loop& loop, Output& output);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /** Lines of this severity and more severe ones are wanted. */
    void setLogLevel(int32_t level) { mLogLevel = level; }

    /** Make the discoverer and start it. Throws HostError with a sentence when it does not work. */
    void start(ZEBDiscovererInitializeFunction initialize, const Properties& properties);

    /** The provider "usb" runs, or (error not 0) will not. */
    void providerStarted(ZEBDiscoverySDKError error);

    /** Before each wait: finish what callbacks asked for, then watch the handles there are now. */
    void beforeWait();

    /** Stop the discoverer, destroy its entities and then itself. The plug-in may be unloaded after. */
    void end();

    /** Call after unloading: violations for what is still missing, and as the last line that the discoverer
     *  has stopped. */
    void conclude();

    /** The discoverer stopped by itself. */
    bool hasStopped() const { return mHasStopped; }

    Devices& devices() { return mDevices; }

    // For the callbacks.

    /** The one that exists, or null. */
    static Host* current();

    /** May a callback of this name come now? A violation when not. [any-thread] */
    bool mayCall(const char* callback);
    bool mayCallOnHostThread(const char* callback);

    void discovererStarted(ZEBDiscoverySDKError error) { mOutput.report(StartedEvent{error}); }
    void discovererStopped(ZEBDiscoverySDKError error);
    void log(int32_t severity, const char* text);
    bool isLogLevelEnabled(int32_t severity) const { return severity <= mLogLevel; }
    void freeString(char* string);
    ZEBDiscoverySDKError subscribe(const char* provider, ZEBDiscovererDeviceProvider** out);
    void unsubscribe(const ZEBDiscovererDeviceProvider* provider);
    void handlesChanged();
    void setTimer(ZEBDiscoverySDKTimeoutMicroseconds timeout);
    void announce(ZEBDiscovererEntity* entity, bool publish);
    void unasked(const char* callback) {
        mOutput.violation(std::string(callback) + ": nobody asked for this");
    }

    Strings& strings() { return mStrings; }
    Entities& entities() { return mEntities; }
    HandleTimers& handleTimers() { return mHandleTimers; }

private:
    enum class Phase { Alive, Destroyed };

    bool isHostThread() const { return std::this_thread::get_id() == mThread; }
    void refreshHandles();
    void initialize(ZEBDiscovererInitializeFunction initialize);
    void setProperties(const Properties& properties);

    Loop& mLoop;
    Output& mOutput;
    const std::thread::id mThread = std::this_thread::get_id();
    std::atomic<Phase> mPhase{Phase::Alive};
    std::atomic<int32_t> mLogLevel{ZEBDiscoveryLogSeverityInfo};
    bool mIsStarted = false;
    bool mIsEnding = false;
    bool mHasStopped = false;
    /** Told by the discoverer, and not yet by us. */
    std::vector<ZEBDiscoverySDKError> mStops;
    bool mIsSubscribed = false;

    Discoverer mDiscoverer;
    Strings mStrings;
    Entities mEntities;
    Devices mDevices;
    HandleWatches mWatches;
    HandleTimers mHandleTimers;
    /** The one of a discoverer with a single handle. */
    Timer mTimer;
};

} // namespace zebhost
