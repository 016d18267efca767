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
    static const Loaded loaded;
    return loaded.mPlugin;
}

} // namespace zebtest
