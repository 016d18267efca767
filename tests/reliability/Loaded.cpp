#include "tests/reliability/Loaded.h"

#include "tests/reliability/Bus.h"
#include "tests/reliability/Faults.h"
#include "tests/reliability/Stage.h"

namespace zebtest {

Loaded::Loaded() {
    Faults::install(PluginUnderTest::path());
    // What is made once in a process is made before anything is counted.
    Stage stage(mPlugin.initialize());
    stage.initialize();
    stage.setUp();
    stage.expectNextPhonesWork();
    stage.end();
    Bus::instance().plugAll();
}

const PluginUnderTest& Loaded::plugin() {
    // Never unloaded, so that a leak's report can name the library that it comes from.
    static const Loaded* const loaded = new Loaded;
    return loaded->mPlugin;
}

} // namespace zebtest

/** What libusb keeps for itself when its own calls fail is counted by the test, and none of the plug-in's. */
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libusb-1.0.so"; }
