#pragma once

#include "tests/support/FakeHost.h"

#include <string>
#include <vector>

namespace zebtest {

/** Arguments that the tests give to entry points; only their addresses and texts count. */
extern ZEBDiscovererEntity* const kEntity;
extern ZEBDiscoverySDKRequest* const kRequest;
extern ZEBDiscovererDeviceProvider* const kProvider;
extern const ZEBDeviceInfo* const kDevice;
extern ZEBDiscovererEventHandle gHandle;
extern void* const kContext;

/** Which mode of a discoverer an entry point belongs to. */
enum class Mode { Both, Single, Multiple };

/** Where the result of a failed operation goes. */
enum class Outcome { Log, Code, Value, Fetch, Post, Publish, Unpublish, Release, Stop, Protocol };

/** What is known of one entry point. */
struct Slot {
    const char* name;
    Mode mode;
    bool innerBarrier;
    bool outOfMemoryLine;
    const char* failure; // the outer layer's text
    Outcome outcome;
    Argument escaped; // what is returned when an exception gets past the inner layer
    /** Call it through the host's table with the arguments above; what it returns, "void" for nothing. */
    Argument (*call)(FakeHost& host);
    /** How the operation must see the call. */
    Call operation;

    bool isSingle() const { return mode == Mode::Single; }
};

/** All entry points but destroyDiscoverer, whose operation is the destructor, in slot order. */
const std::vector<Slot>& slots();
const Slot& slotNamed(const std::string& name);
std::ostream& operator<<(std::ostream& out, const Slot& slot);

} // namespace zebtest
