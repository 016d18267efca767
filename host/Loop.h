#pragma once

#include <cstdint>
#include <functional>
#include <memory>

struct sd_event;
struct sd_event_source;

namespace zebhost {

struct SourceDeleter {
    void operator()(sd_event_source* source) const;
};
/** A source is taken out of its loop when this goes. */
using Source = std::unique_ptr<sd_event_source, SourceDeleter>;

/** The main loop, on sd-event. Everything of it but wake() is used on one thread. */
class Loop {
public:
    Loop();
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /** Call beforeWait, then wait and dispatch one event, again and again until quit. Here is where
     *  watches and timers may be made and destroyed that are not destroyed by their own handler. */
    void run(const std::function<void()>& beforeWait);

    /** End run() before it waits again; from inside of it. */
    void quit() { mQuit = true; }

    /** Have beforeWait called soon. [any-thread] */
    void wake();

    /** Have handler called for SIGINT, SIGTERM and SIGHUP, but for those that the process ignores. They must
     *  be blocked on every thread. */
    void watchSignals(std::function<void(int)> handler);

    /** Have it told when the loop starts to wait (true) and when it ends to; null ends that. */
    void setWitness(std::function<void(bool waits)> witness) { mWitness = std::move(witness); }

    sd_event* event() const { return mpEvent; }

private:
    void turn();

    sd_event* mpEvent = nullptr;
    int mWakeHandle = -1;
    Source mWake;
    Source mSignals[3];
    std::function<void(int)> mOnSignal;
    std::function<void(bool)> mWitness;
    bool mQuit = false;
};

/** A descriptor that is watched; the descriptor stays the caller's. */
class Watch {
public:
    /** events as for epoll. Throws std::system_error when the descriptor can't be watched. */
    Watch(Loop& loop, int descriptor, uint32_t events, std::function<void()> handler);

    void setEvents(uint32_t events);

private:
    std::function<void()> mHandler;
    uint32_t mEvents;
    Source mSource;
};

/** A one-shot timer on CLOCK_MONOTONIC with an accuracy of 1 µs. */
class Timer {
public:
    Timer(Loop& loop, std::function<void()> handler);

    /** Call the handler from the loop, never from in here, after so many µs. Replaces what was armed. */
    void arm(uint64_t microseconds);
    void cancel();

private:
    Loop& mLoop;
    std::function<void()> mHandler;
    Source mSource;
};

/** Block the signals that end a run, but for those that the process ignores, on this thread and those that it
 * will start. So they never interrupt a system call of the plug-in: libusb fails an event call that a signal
 * interrupts. */
void blockSignals();

} // namespace zebhost
