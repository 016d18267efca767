#pragma once

#include "common/DiscoveryException.h"
#include "tests/common/Slots.h"
#include "tests/common/TestDiscoverer.h"
#include "tests/support/FailingNew.h"
#include "tests/support/StandardErrorCapture.h"

#include <new>
#include <ostream>
#include <stdexcept>

namespace zebtest {

using zebdiscovery::DiscoveryException;

/** What an operation throws. */
struct Thrown {
    const char* name;
    void (*raise)();
    bool standard;    // derived from std::exception
    const char* what; // its text
    int code;         // the error it becomes; out of memory only where the operation has that line
};

inline constexpr Thrown kDiscoveryException{"DiscoveryException",
                                            [] { throw DiscoveryException("the bus is closed", 77); }, true,
                                            "the bus is closed", 77};
inline constexpr Thrown kBadAlloc{"BadAlloc", [] { throw std::bad_alloc(); }, true, "std::bad_alloc", 3};
/** A class derived from std::bad_alloc. */
inline constexpr Thrown kBadArrayLength{"BadArrayLength", [] { throw std::bad_array_new_length(); }, true,
                                        "std::bad_array_new_length", 3};
inline constexpr Thrown kRuntimeError{"RuntimeError", [] { throw std::runtime_error("it broke"); }, true,
                                      "it broke", 15};
inline constexpr Thrown kInt{"Int", [] { throw 42; }, false, nullptr, 23};

inline std::ostream& operator<<(std::ostream& out, const Thrown& thrown) { return out << thrown.name; }

inline bool isCaughtInside(const Slot& slot, const Thrown& thrown) {
    return slot.innerBarrier && (thrown.standard || slot.outcome == Outcome::Protocol);
}

inline int codeFor(const Slot& slot, const Thrown& thrown) {
    return thrown.code == 3 && !slot.outOfMemoryLine ? 15 : thrown.code;
}

inline std::vector<LogLine> expectedLog(const Slot& slot, const Thrown& thrown) {
    const std::string operation = std::string("ZEBDiscoverer::") + slot.name;
    if (!isCaughtInside(slot, thrown))
        return {};
    if (thrown.code == 77)
        return {{10, "the bus is closed: 77 (error 77)"}};
    if (thrown.code == 3 && slot.outOfMemoryLine)
        return {{10, operation + " failed, out of memory"}};
    if (thrown.standard)
        return {{10, operation + " caught exception: " + thrown.what}};
    return {{10, operation + " caught unknown exception"}};
}

inline std::vector<Call> expectedCalls(const Slot& slot, const Thrown& thrown, ZEBDiscoverer* discoverer) {
    const int code = codeFor(slot, thrown);
    // An offered device goes back whatever was thrown.
    if (!isCaughtInside(slot, thrown) && slot.outcome != Outcome::Release)
        return {};
    switch (slot.outcome) {
    case Outcome::Fetch:
        return {{"fetchComplete", {kEntity, "k", kRequest, code, nullptr}}};
    case Outcome::Post:
        return {{"postComplete", {kEntity, "k", "v", kRequest, code}}};
    case Outcome::Publish:
        return {{"publishComplete", {kEntity, code}}};
    case Outcome::Unpublish:
        return {{"unpublishComplete", {kEntity, code}}};
    case Outcome::Release:
        return {{"releaseDevice", {kProvider, kDevice}}};
    case Outcome::Stop:
        return code == 15 ? std::vector<Call>{{"discovererStopped", {discoverer, 15}}} : std::vector<Call>{};
    case Outcome::Protocol:
        return {{"releaseDevice", {kProvider, kDevice}}, {"freeProtocolString", {"p"}}};
    default:
        return {};
    }
}

/** The level is asked for by the formatting and by the line itself. */
inline std::vector<Call> recordOf(const LogLine& line) {
    return {{"isLogLevelEnabled", {line.severity}},
            {"isLogLevelEnabled", {line.severity}},
            {"log", {line.severity, line.text}}};
}

inline std::vector<Call> operator+(std::vector<Call> first, const std::vector<Call>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** The strings that nobody is left to send back when something gets past the inner layer. */
inline std::vector<Call> expectedFrees(const Slot& slot) {
    if (slot.outcome == Outcome::Post)
        return {{"freeString", {"k"}}, {"freeString", {"v"}}};
    return slot.outcome == Outcome::Fetch ? std::vector<Call>{{"freeString", {"k"}}} : std::vector<Call>{};
}

/** Everything that the host and the operation must see, in order. */
inline std::vector<Call> expectedRecord(const Slot& slot, const Thrown& thrown, ZEBDiscoverer* discoverer) {
    std::vector<Call> record{{slot.operation.name, {}}};
    if (!isCaughtInside(slot, thrown))
        return record + expectedCalls(slot, thrown, discoverer) + expectedFrees(slot);
    if (thrown.code == 77)
        record.push_back({"errorText", {77}});
    for (const LogLine& line : expectedLog(slot, thrown))
        record = record + recordOf(line);
    return record + expectedCalls(slot, thrown, discoverer);
}

inline Argument expectedResult(const Slot& slot, const Thrown& thrown) {
    const bool isCode = slot.outcome == Outcome::Code && isCaughtInside(slot, thrown);
    return isCode ? Argument(codeFor(slot, thrown)) : slot.escaped;
}

inline std::string lastResort(const Slot& slot, const char* what) {
    const std::string start = std::string("[ZEBDiscoverer] [0] ") + slot.failure;
    return start + (what ? std::string(", got exception ") + what : ", got unknown exception") + "\n";
}

/** A host with a discoverer that has its context and has forgotten how it got there. */
struct Bench {
    explicit Bench(bool multipleHandles = true) : discoverer(host, multipleHandles) {
        host.setContext();
        host.takeRecord();
        discoverer.operations.clear();
    }
    explicit Bench(const Slot& slot) : Bench(!slot.isSingle()) {}

    FakeHost host;
    TestDiscoverer discoverer;
};

} // namespace zebtest
