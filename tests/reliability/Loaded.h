#pragma once

#include "tests/support/PluginUnderTest.h"

namespace zebtest {

/** The plug-in, loaded once for all that a program plays, with Faults between it and what it imports. */
class Loaded {
public:
    static const PluginUnderTest& plugin();

private:
    Loaded();
    PluginUnderTest mPlugin;
};

} // namespace zebtest
