#include "tests/support/FakeHost.h"

#include "tests/support/FakeHostCallbacks.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <poll.h>
#include <stdexcept>

namespace zebtest {

namespace {

FakeHost* gpOnly = nullptr;

std::vector<LogLine> linesOf(const std::vector<Call>& logged) {
    std::vector<LogLine> lines;
    for (const Call& call : logged)
        lines.push_back({static_cast<int>(call.arguments[0].number()), call.arguments[1].text()});
    return lines;
}

} // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    return out << '[' << line.severity << "] \"" << line.text << '"';
}

FakeHost::FakeHost() : callbacks(Callbacks::table()), provider(nullptr) {
    if (gpOnly)
        throw std::logic_error("there is a fake host already");
    gpOnly = this;
    provider = reinterpret_cast<ZEBDiscovererDeviceProvider*>(&provider);
    std::memset(&entry, kUntouched, sizeof(entry));
}

FakeHost::~FakeHost() { gpOnly = nullptr; }

FakeHost& FakeHost::only() {
    if (!gpOnly)
        throw std::logic_error("there is no fake host");
    return *gpOnly;
}

FakeHost& FakeHost::from(void* context, const char* name) {
    FakeHost& self = only();
    if (context != &self)
        self.complain(std::string(name) + ": not the host's context");
    return self;
}

ZEBDiscoverer* FakeHost::initialize(ZEBDiscovererInitializeFunction function) {
    discoverer = function(&entry, interfaceSize, &callbacks, callbackSize);
    return discoverer;
}

void FakeHost::bringUp() {
    setContext();
    if (entry.init(discoverer) != ZEBDiscoverySDKErrorNone)
        complain("init failed");
    entry.start(discoverer);
}

void FakeHost::destroy() {
    entry.destroyDiscoverer(discoverer);
    discoverer = nullptr;
    mEntities.clear();
    mDestroyed = true;
}

/** Not the second time that it is told of: it was unpublished, or this is another one at the same address. */
void FakeHost::keepAsLast(ZEBDiscovererEntity* entity) {
    std::erase(mEntities, entity);
    mEntities.push_back(entity);
}

void FakeHost::runHook(const char* name) {
    if (onEvery)
        onEvery(name);
    const auto found = on.find(name);
    if (found == on.end() || !found->second)
        return;
    const std::function<void()> hook = found->second; // the hook may replace itself
    hook();
}

ZEBDiscoverySDKError FakeHost::resultOf(const char* name) const {
    const auto found = results.find(name);
    return found == results.end() ? ZEBDiscoverySDKErrorNone : found->second;
}

void FakeHost::complain(const std::string& text) {
    std::lock_guard lock(mMutex);
    mViolations.push_back(text);
}

ZEBDiscoverySDKRequest* FakeHost::newRequest() {
    mLastRequest += 16;
    auto* request = reinterpret_cast<ZEBDiscoverySDKRequest*>(mLastRequest);
    mOpenRequests.insert(request);
    return request;
}

/** Requests that a test made up itself are not watched. */
void FakeHost::closeRequest(ZEBDiscoverySDKRequest* request, const char* name) {
    if (mOpenRequests.erase(request))
        mClosedRequests.insert(request);
    else if (mClosedRequests.count(request))
        complain(std::string(name) + ": answered twice");
}

bool FakeHost::nextAllocationFails() {
    const bool isTheOne = failAllocationAt == 1;
    if (failAllocationAt > 0)
        --failAllocationAt;
    return failAllocations || isTheOne;
}

ZEBDiscoverySDKRequest* FakeHost::fetch(ZEBDiscovererEntity* entity, const char* key) {
    ZEBDiscoverySDKRequest* request = newRequest();
    entry.fetchEntityValue(discoverer, entity, handOver(key), request);
    return request;
}

ZEBDiscoverySDKRequest* FakeHost::post(ZEBDiscovererEntity* entity, const char* key, const char* value) {
    ZEBDiscoverySDKRequest* request = newRequest();
    entry.postEntityValue(discoverer, entity, handOver(key), handOver(value), request);
    return request;
}

void FakeHost::destroyEntity(ZEBDiscovererEntity* entity) {
    entry.destroyEntity(discoverer, entity);
    if (mEntityTimers.erase(entity))
        complain("destroyEntity: a timer of the entity is still armed");
    std::erase(mEntities, entity);
}

std::string FakeHost::receive(char* string) {
    if (!string)
        return "(null)";
    std::string text = string;
    strings.takeBack(string, "receive");
    return text;
}

std::vector<std::pair<int, int>> FakeHost::handles() {
    int* flags = nullptr;
    std::vector<std::pair<int, int>> all;
    for (const int* handle = entry.getMultipleEventHandlesEx(discoverer, &flags);
         handle && *handle != ZEBDiscovererNoEventHandle; ++handle)
        all.emplace_back(*handle, *flags++);
    return all;
}

int FakeHost::dispatch(int timeoutMilliseconds) {
    std::vector<pollfd> fds;
    for (const auto& [handle, write] : handles())
        fds.push_back({handle, static_cast<short>(write ? POLLIN | POLLOUT : POLLIN), 0});
    poll(fds.data(), fds.size(), timeoutMilliseconds);
    int passedOn = 0;
    for (pollfd& fd : fds) {
        const auto current = handles();
        const auto same = [&](const auto& pair) { return pair.first == fd.fd; };
        if (fd.revents == 0 || std::none_of(current.begin(), current.end(), same))
            continue; // not ready, or gone because of an event before it
        entry.handleSingleEvent(discoverer, &fd.fd);
        ++passedOn;
    }
    return passedOn;
}

template <class Key>
void FakeHost::arm(Timers<Key>& timers, Key key, ZEBDiscoverySDKTimeoutMicroseconds timeout) {
    if (timeout < ZEBDiscoverySDKTimeoutCancel)
        complain("a timeout below -1");
    if (timeout < 0)
        timers.erase(key);
    else
        timers[key] = {mNow + timeout, ++mTimerOrder};
}

template void FakeHost::arm(Timers<ZEBDiscovererEntity*>&, ZEBDiscovererEntity*,
                            ZEBDiscoverySDKTimeoutMicroseconds);
template void FakeHost::arm(Timers<ZEBDiscovererEventHandle*>&, ZEBDiscovererEventHandle*,
                            ZEBDiscoverySDKTimeoutMicroseconds);

template <class Key>
std::map<Key, std::int64_t> FakeHost::remaining(const Timers<Key>& timers) const {
    std::map<Key, std::int64_t> left;
    for (const auto& [key, timer] : timers)
        left[key] = timer.due - mNow;
    return left;
}

std::map<ZEBDiscovererEntity*, std::int64_t> FakeHost::entityTimers() const {
    return remaining(mEntityTimers);
}

std::map<ZEBDiscovererEventHandle*, std::int64_t> FakeHost::handleTimers() const {
    return remaining(mHandleTimers);
}

void FakeHost::expireEntityTimer(ZEBDiscovererEntity* entity) {
    mEntityTimers.erase(entity);
    entry.handleEntityTimeout(discoverer, entity);
}

void FakeHost::expireHandleTimer(ZEBDiscovererEventHandle* handle) {
    mHandleTimers.erase(handle);
    entry.handleTimeoutForEventHandle(discoverer, handle);
}

/** Expire the earliest timer that is due; equal times in the order they were armed. */
bool FakeHost::expireNext(std::int64_t until) {
    const auto earlier = [](const auto& a, const auto& b) {
        return std::pair(a.second.due, a.second.order) < std::pair(b.second.due, b.second.order);
    };
    const auto entity = std::min_element(mEntityTimers.begin(), mEntityTimers.end(), earlier);
    const auto handle = std::min_element(mHandleTimers.begin(), mHandleTimers.end(), earlier);
    const Timer never{INT64_MAX, 0};
    const Timer first = entity == mEntityTimers.end() ? never : entity->second;
    const Timer second = handle == mHandleTimers.end() ? never : handle->second;
    if (std::min(first.due, second.due) > until)
        return false;
    mNow = std::max(mNow, std::min(first.due, second.due));
    if (std::pair(first.due, first.order) < std::pair(second.due, second.order))
        expireEntityTimer(entity->first);
    else
        expireHandleTimer(handle->first);
    return true;
}

void FakeHost::advance(std::int64_t microseconds) {
    const std::int64_t until = mNow + microseconds;
    while (expireNext(until)) {
    }
    mNow = until;
}

std::vector<Call> FakeHost::calls() const { return record.of(Kind::Callback); }

std::vector<Call> FakeHost::callsOf(const std::string& name) const {
    std::vector<Call> found = calls();
    std::erase_if(found, [&](const Call& call) { return call.name != name; });
    return found;
}

std::vector<Call> FakeHost::takeCalls() { return record.takeOf(Kind::Callback); }

std::vector<LogLine> FakeHost::logLines() const { return linesOf(record.of(Kind::Log)); }

std::vector<LogLine> FakeHost::takeLogLines() { return linesOf(record.takeOf(Kind::Log)); }

bool FakeHost::hasLogged(int severity, const std::string& text) const {
    const std::vector<LogLine> lines = logLines();
    return std::find(lines.begin(), lines.end(), LogLine{severity, text}) != lines.end();
}

std::vector<std::string> FakeHost::complaints() const {
    std::lock_guard lock(mMutex);
    std::vector<std::string> all = mViolations;
    for (const std::string& text : strings.outstanding())
        all.push_back("string never came back: \"" + text + '"');
    if (!mOpenRequests.empty())
        all.push_back(std::to_string(mOpenRequests.size()) + " requests never answered");
    return all;
}

} // namespace zebtest
