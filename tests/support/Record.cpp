#include "tests/support/Record.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace zebtest {

namespace {

// One for all: a double finds out which record there is and writes into it in one step.
std::mutex gMutex;
Record* gpCurrent = nullptr;

} // namespace

Record::Record() {
    const std::lock_guard lock(gMutex);
    if (gpCurrent)
        throw std::logic_error("there is a record already");
    gpCurrent = this;
}

Record::~Record() {
    const std::lock_guard lock(gMutex);
    gpCurrent = nullptr;
}

void Record::add(Kind kind, Call call) {
    const std::lock_guard lock(gMutex);
    mEntries.push_back({kind, std::move(call)});
}

void Record::noteCall(Call call) {
    const std::lock_guard lock(gMutex);
    if (gpCurrent)
        gpCurrent->mEntries.push_back({Kind::Below, std::move(call)});
}

std::vector<Call> Record::all(std::initializer_list<Kind> without) const {
    const std::lock_guard lock(gMutex);
    std::vector<Call> calls;
    for (const Entry& entry : mEntries) {
        if (std::find(without.begin(), without.end(), entry.kind) == without.end())
            calls.push_back(entry.call);
    }
    return calls;
}

std::vector<Call> Record::take(std::initializer_list<Kind> without) {
    std::vector<Call> calls = all(without);
    const std::lock_guard lock(gMutex);
    mEntries.clear();
    return calls;
}

std::vector<Call> Record::of(Kind kind) const {
    const std::lock_guard lock(gMutex);
    std::vector<Call> calls;
    for (const Entry& entry : mEntries) {
        if (entry.kind == kind)
            calls.push_back(entry.call);
    }
    return calls;
}

std::vector<Call> Record::takeOf(Kind kind) {
    std::vector<Call> calls = of(kind);
    const std::lock_guard lock(gMutex);
    std::erase_if(mEntries, [kind](const Entry& entry) { return entry.kind == kind; });
    return calls;
}

} // namespace zebtest
