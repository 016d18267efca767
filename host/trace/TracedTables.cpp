#include "host/trace/TracedTables.h"

#include <algorithm>
#include <optional>
#include <type_traits>

namespace zebhost {
namespace {

using Calls = ZEBDiscovererInterface;
using Callbacks = ZEBDiscovererCallbacks;
using Effects = BoundaryTrace;

BoundaryTrace* gTrace = nullptr;
ZEBDiscovererInitializeFunction gInitialize = nullptr;

/** The functions that were in a table before ours. */
template <class Table>
Table gReal{};

template <class Table>
constexpr const char* kCategory = std::is_same_v<Table, Calls> ? "call" : "callback";

/**
 * A slot's words: its name, then a name for each argument, "-" for one that is not shown. A name of a
 * slot that starts with "+" says that the plug-in may open descriptors there.
 */
template <size_t N>
struct Words {
    constexpr Words(const char (&literal)[N]) { std::copy_n(literal, N, text); } // NOLINT: implicit, as meant

    constexpr std::string_view at(size_t index) const {
        std::string_view rest(text, N - 1);
        for (; index > 0; --index)
            rest.remove_prefix(rest.find(' ') + 1);
        return rest.substr(0, rest.find(' '));
    }
    constexpr bool opens() const { return text[0] == '+'; }
    constexpr std::string_view name() const { return at(0).substr(opens() ? 1 : 0); }

    char text[N];
};

// How a value of the boundary is told.

void tell(TraceArgs& args, std::string_view name, int32_t number) { args.add(name, int64_t{number}); }

void tell(TraceArgs& args, std::string_view name, const char* text) {
    if (text != nullptr)
        args.add(name, text);
}

void tell(TraceArgs& args, std::string_view name, char* text) {
    tell(args, name, static_cast<const char*>(text));
}

void tell(TraceArgs& args, std::string_view name, ZEBDiscovererEntity* entity) {
    uint32_t number = gTrace->owners().number(entity);
    args.add(name, number == 0 ? "new" : "#" + std::to_string(number));
}

void tell(TraceArgs& args, std::string_view name, const ZEBDeviceInfo* device) {
    args.add(name, gTrace->owners().nameOf(device));
}

void tell(TraceArgs& args, std::string_view name, ZEBDiscovererEventHandle* handle) {
    if (handle != nullptr)
        args.add(name, describeDescriptor(*handle));
}

/** Contexts, requests and places for results are not told. */
template <class T>
void tell(TraceArgs&, std::string_view, const T&) {}

// What a call hands to the plug-in is sound; what a callback brings back may be anything.

void learn(const ZEBDeviceInfo* device) { gTrace->owners().offered(device); }

template <class T>
void learn(const T&) {}

// Whose an argument is.

Track ownerOf(const ZEBDeviceInfo* device) { return gTrace->owners().of(device); }

Track ownerOf(ZEBDiscovererEntity* entity) { return gTrace->owners().of(entity); }

Track ownerOf(ZEBDiscovererEventHandle* handle) {
    return handle == nullptr ? 0 : gTrace->owners().ofDescriptor(*handle);
}

template <class T>
Track ownerOf(const T&) {
    return 0;
}

/** The call that runs: it ends with this. */
template <class Table, Words words>
class Running {
public:
    template <class... Args>
    explicit Running(Args... args) {
        TraceArgs told;
        Track owner = 0;
        [[maybe_unused]] size_t index = 0;
        [[maybe_unused]] auto look = [&](auto arg) {
            if constexpr (std::is_same_v<Table, Calls>)
                learn(arg);
            if (std::string_view name = words.at(++index); name != "-")
                tell(told, name, arg);
            owner = owner != 0 ? owner : ownerOf(arg);
        };
        (look(args), ...);
        mTrack = gTrace->enter(kCategory<Table>, words.name(), owner, told);
        if constexpr (words.opens())
            mOpening.emplace(*gTrace, mTrack);
    }
    ~Running() {
        mOpening.reset();
        gTrace->leave(mTrack, mResult);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    template <class R>
    R returning(R result) {
        if constexpr (std::is_integral_v<R>)
            mResult.add("result", int64_t{result});
        return result;
    }

private:
    Track mTrack;
    std::optional<OpeningCall> mOpening;
    TraceArgs mResult;
};

/** Do what goes with a slot, if anything does. */
template <auto Effect, class... Args>
void effect(Args... args) {
    if constexpr (!std::is_null_pointer_v<decltype(Effect)>)
        Effect(*gTrace, args...);
}

/** The function that stands in a slot's place. */
template <auto Slot, Words words, auto Before, auto After, class Table, class R, class... Args>
constexpr auto tracedSlot(R (*Table::*)(Args...)) {
    return +[](Args... args) noexcept -> R {
        Running<Table, words> running(args...);
        effect<Before>(args...);
        if constexpr (std::is_void_v<R>) {
            (gReal<Table>.*Slot)(args...);
            effect<After>(args...);
        } else {
            R result = running.returning((gReal<Table>.*Slot)(args...));
            effect<After>(result);
            return result;
        }
    };
}

template <class Table>
using TracedSlot = void (*)(Table&);

/** Puts the traced function into a slot that is there. Before gets the slot's arguments; After gets them
 *  too, or the result of a slot that has one. */
template <auto Slot, Words words, auto Before = nullptr, auto After = nullptr, class Table>
void row(Table& table) {
    if (table.*Slot != nullptr)
        table.*Slot = tracedSlot<Slot, words, Before, After>(Slot);
}

// The boundary. What this host neither calls nor offers is not here.

constexpr TracedSlot<Calls> kCalls[] = {
    row<&Calls::setContext, "setContext - -">,
    row<&Calls::getEventHandle, "getEventHandle -">,
    row<&Calls::handleEvent, "handleEvent -">,
    row<&Calls::handleTimeout, "handleTimeout -", &Effects::discovererTimeout>,
    row<&Calls::getEntityEventHandle, "getEntityEventHandle - entity">,
    row<&Calls::handleEntityEvent, "handleEntityEvent - entity">,
    row<&Calls::handleEntityTimeout, "+handleEntityTimeout - entity", &Effects::entityTimeout>,
    row<&Calls::setProperty, "setProperty - key value">,
    row<&Calls::start, "start -">,
    row<&Calls::stop, "stop -">,
    row<&Calls::fetchEntityValue, "fetchEntityValue - entity key -">,
    row<&Calls::destroyEntity, "destroyEntity - entity", nullptr, &Effects::destroyed>,
    row<&Calls::destroyDiscoverer, "destroyDiscoverer -">,
    row<&Calls::handleSingleEvent, "handleSingleEvent - descriptor">,
    row<&Calls::handleTimeoutForEventHandle, "handleTimeoutForEventHandle - descriptor",
        &Effects::handleTimeout>,
    row<&Calls::init, "init -">,
    row<&Calls::deviceProviderStarted, "deviceProviderStarted - - error">,
    row<&Calls::getDeviceInterest, "getDeviceInterest - - device -">,
    row<&Calls::offerDevice, "+offerDevice - - device">,
    row<&Calls::removeDevice, "removeDevice - - device">,
    row<&Calls::getMultipleEventHandlesEx, "getMultipleEventHandlesEx - -", nullptr, &Effects::listed>,
};

constexpr TracedSlot<Callbacks> kCallbacks[] = {
    row<&Callbacks::discovererStarted, "discovererStarted - - error">,
    row<&Callbacks::discovererStopped, "discovererStopped - - error">,
    row<&Callbacks::setTimer, "setTimer - - us", &Effects::discovererTimer>,
    row<&Callbacks::addEntity, "addEntity - - entity", &Effects::announced>,
    row<&Callbacks::setEntityTimer, "setEntityTimer - entity us", &Effects::entityTimer>,
    row<&Callbacks::entityLost, "entityLost - entity">,
    row<&Callbacks::fetchComplete, "fetchComplete - entity - - error -">,
    row<&Callbacks::postComplete, "postComplete - entity - - - error">,
    row<&Callbacks::publishComplete, "publishComplete - entity error">,
    row<&Callbacks::unpublishComplete, "unpublishComplete - entity error">,
    row<&Callbacks::log, "log - severity text">,
    row<&Callbacks::allocString, "allocString - length">,
    row<&Callbacks::freeString, "freeString -">,
    row<&Callbacks::addUnpublishedEntity, "addUnpublishedEntity - - entity", &Effects::announced>,
    row<&Callbacks::isLogLevelEnabled, "isLogLevelEnabled - severity">,
    row<&Callbacks::setTimerForHandle, "setTimerForHandle - - descriptor us", &Effects::handleTimer>,
    row<&Callbacks::eventHandlesChanged, "eventHandlesChanged - -">,
    row<&Callbacks::subscribeToDeviceProvider, "subscribeToDeviceProvider - name -">,
    row<&Callbacks::unsubscribeFromDeviceProvider, "unsubscribeFromDeviceProvider - -">,
    row<&Callbacks::setDeviceProviderProperty, "setDeviceProviderProperty - - key value">,
    row<&Callbacks::getDeviceProviderProperty, "getDeviceProviderProperty - - key -">,
    row<&Callbacks::releaseDevice, "releaseDevice - - device">,
    row<&Callbacks::errorText, "errorText error">,
    row<&Callbacks::freeProtocolString, "freeProtocolString -">,
};

template <class Table>
void trace(Table& table, const auto& rows) {
    gReal<Table> = table;
    for (TracedSlot<Table> put : rows)
        put(table);
}

ZEBDiscoverer* initialize(Calls* calls, size_t callsSize, const Callbacks* callbacks, size_t callbacksSize) {
    Callbacks ours = *callbacks;
    trace(ours, kCallbacks);
    Running<Calls, "ZEBDiscovererInitialize"> running;
    ZEBDiscoverer* discoverer = gInitialize(calls, callsSize, &ours, callbacksSize);
    trace(*calls, kCalls);
    return discoverer;
}

} // namespace

ZEBDiscovererInitializeFunction traced(ZEBDiscovererInitializeFunction real, BoundaryTrace& trace) {
    gTrace = &trace;
    gInitialize = real;
    return initialize;
}

} // namespace zebhost
