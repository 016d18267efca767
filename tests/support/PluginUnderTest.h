#pragma once

#include "zebdiscovery/zebdiscovery.h"

namespace zebtest {

/**
 * The plug-in as a host sees it: loaded by dlopen, known by its one versioned symbol. Its path comes from
 * the environment variable ZEB_PLUGIN, else from the build. Unloaded with the object.
 */
class PluginUnderTest {
public:
    /** Throws std::runtime_error with dlerror's text. */
    PluginUnderTest();
    ~PluginUnderTest();
    PluginUnderTest(const PluginUnderTest&) = delete;
    PluginUnderTest& operator=(const PluginUnderTest&) = delete;

    static const char* path();
    ZEBDiscovererInitializeFunction initialize() const { return mpInitialize; }

private:
    void* mpLibrary;
    ZEBDiscovererInitializeFunction mpInitialize;
};

} // namespace zebtest
