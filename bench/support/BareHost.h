#pragma once

#include "zebdiscovery/zebdiscovery.h"

#include <string>
#include <vector>

namespace zebbench {

/**
 * The least host there can be: it loads a plug-in, gives it every callback that a host must have, says
 * nothing and looks at nothing. What a measurement costs is the plug-in's then. One at a time.
 */
class BareHost {
public:
    /** Loads the plug-in; throws std::runtime_error when it can't. */
    explicit BareHost(const char* plugin);
    /** Unloads it, after tearDown(). */
    ~BareHost();
    BareHost(const BareHost&) = delete;
    BareHost& operator=(const BareHost&) = delete;

    /** From the plug-in's own function to start. */
    void setUp();
    /** From stop to destroyDiscoverer. */
    void tearDown();

    /** Have it take a device; the entity that was made of it, or null. */
    ZEBDiscovererEntity* offer(const ZEBDeviceInfo& device);
    /** A string as the plug-in is handed them. */
    static char* allocString(const char* text);
    /** Wait, for so many milliseconds at most, and hand over the handles that are ready. */
    void dispatch(int milliseconds);

    ZEBDiscovererInterface entry{};
    ZEBDiscoverer* discoverer = nullptr;
    /** Called when the plug-in arms a handle's timer. */
    void (*onHandleTimer)(ZEBDiscovererEventHandle* handle) = nullptr;

private:
    friend struct BareCallbacks;

    void* mpLibrary;
    ZEBDiscovererInitializeFunction mInitialize;
    ZEBDiscovererEntity* mpLastEntity = nullptr;
};

/** The plug-in of this build, or the one that the environment variable ZEB_PLUGIN names. */
const char* pluginPath();

} // namespace zebbench
