#include "tests/support/PluginUnderTest.h"

#include <cstdlib>
#include <dlfcn.h>
#include <stdexcept>

namespace zebtest {

namespace {

[[noreturn]] void fail() {
    const char* text = dlerror();
    throw std::runtime_error(text ? text : "dlopen failed");
}

} // namespace

const char* PluginUnderTest::path() {
    const char* fromEnvironment = std::getenv("ZEB_PLUGIN");
    return fromEnvironment ? fromEnvironment : ZEB_PLUGIN_PATH;
}

PluginUnderTest::PluginUnderTest() : mpLibrary(dlopen(path(), RTLD_NOW | RTLD_LOCAL)), mpInitialize(nullptr) {
    if (!mpLibrary)
        fail();
    void* symbol = dlvsym(mpLibrary, "ZEBDiscovererInitialize", ZEBDISCOVERER_SYMBOL_VERSION);
    if (!symbol)
        fail(); // leaves the library loaded: the process has nothing left to test
    mpInitialize = reinterpret_cast<ZEBDiscovererInitializeFunction>(symbol);
}

PluginUnderTest::~PluginUnderTest() { dlclose(mpLibrary); }

} // namespace zebtest
