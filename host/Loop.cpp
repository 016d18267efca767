#include "host/Loop.h"

#include "host/Clock.h"

#include <csignal>
#include <cstddef>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <systemd/sd-event.h>
#include <unistd.h>

namespace zebhost {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/** One that is ignored at the start (nohup, a shell's background) stays so: blocked, it would be kept for us.
 */
bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// 0 would stand for sd-event's default of 250 ms.
constexpr uint64_t kAccuracyUs = 1;

int throwIfFailed(int result, const char* call) {
    if (result < 0)
        throw std::system_error(-result, std::generic_category(), call);
    return result;
}

} // namespace

void SourceDeleter::operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }

Loop::Loop() {
    throwIfFailed(sd_event_new(&mpEvent), "sd_event_new");
    mWakeHandle = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    auto drain = [](sd_event_source*, int handle, uint32_t, void*) {
        eventfd_t ignored;
        eventfd_read(handle, &ignored);
        return 0;
    };
    sd_event_source* source = nullptr;
    throwIfFailed(sd_event_add_io(mpEvent, &source, mWakeHandle, EPOLLIN, drain, nullptr), "sd_event_add_io");
    mWake.reset(source);
}

Loop::~Loop() {
    for (Source& source : mSignals)
        source.reset();
    mWake.reset();
    close(mWakeHandle);
    sd_event_unref(mpEvent);
}

void Loop::run(const std::function<void()>& beforeWait) {
    mQuit = false;
    while (true) {
        beforeWait();
        if (mQuit)
            return;
        turn();
    }
}

/** Wait until something is ready, and dispatch one event. */
void Loop::turn() {
    if (throwIfFailed(sd_event_prepare(mpEvent), "sd_event_prepare") == 0) {
        if (mWitness)
            mWitness(true);
        int ready = throwIfFailed(sd_event_wait(mpEvent, UINT64_MAX), "sd_event_wait");
        if (mWitness)
            mWitness(false);
        if (ready == 0)
            return;
    }
    throwIfFailed(sd_event_dispatch(mpEvent), "sd_event_dispatch");
}

void Loop::wake() { eventfd_write(mWakeHandle, 1); }

void Loop::watchSignals(std::function<void(int)> handler) {
    mOnSignal = std::move(handler);
    auto trampoline = [](sd_event_source*, const signalfd_siginfo* info, void* loop) {
        static_cast<Loop*>(loop)->mOnSignal(static_cast<int>(info->ssi_signo));
        return 0;
    };
    for (size_t i = 0; i < std::size(kEndingSignals); ++i) {
        if (isIgnored(kEndingSignals[i]))
            continue;
        sd_event_source* source = nullptr;
        throwIfFailed(sd_event_add_signal(mpEvent, &source, kEndingSignals[i], trampoline, this),
                      "sd_event_add_signal");
        mSignals[i].reset(source);
    }
}

Watch::Watch(Loop& loop, int descriptor, uint32_t events, std::function<void()> handler) :
    mHandler(std::move(handler)), mEvents(events) {
    auto trampoline = [](sd_event_source*, int, uint32_t, void* watch) {
        static_cast<Watch*>(watch)->mHandler();
        return 0;
    };
    sd_event_source* source = nullptr;
    throwIfFailed(sd_event_add_io(loop.event(), &source, descriptor, events, trampoline, this),
                  "sd_event_add_io");
    mSource.reset(source);
}

void Watch::setEvents(uint32_t events) {
    if (events != mEvents)
        throwIfFailed(sd_event_source_set_io_events(mSource.get(), events), "sd_event_source_set_io_events");
    mEvents = events;
}

Timer::Timer(Loop& loop, std::function<void()> handler) : mLoop(loop), mHandler(std::move(handler)) {}

void Timer::arm(uint64_t microseconds) {
    auto trampoline = [](sd_event_source*, uint64_t, void* timer) {
        static_cast<Timer*>(timer)->mHandler();
        return 0;
    };
    sd_event_source* source = nullptr;
    // From now, not from when the loop woke up: what the handler did since must not shorten the wait.
    uint64_t due = monotonicMicroseconds() + microseconds;
    throwIfFailed(
        sd_event_add_time(mLoop.event(), &source, CLOCK_MONOTONIC, due, kAccuracyUs, trampoline, this),
        "sd_event_add_time");
    mSource.reset(source);
}

void Timer::cancel() { mSource.reset(); }

void blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int signal : kEndingSignals) {
        if (!isIgnored(signal))
            sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace zebhost
