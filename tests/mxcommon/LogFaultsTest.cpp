// The order in which a line is made, and what when a part of that fails.
#include "tests/mxcommon/SystemFaults.h"

#include "mxcommon/Log.h"
#include "mxcommon/OStreamLogHandler.h"
#include "tests/mxcommon/RecordingLogHandler.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <sstream>
#include <stdexcept>

namespace {

using namespace mxcommon;
using namespace faults;
using testing::ElementsAre;

/** Notes what it is given; the first text may throw. */
class NotingBuffer : public std::stringbuf {
public:
    bool throws = false;

private:
    std::streamsize xsputn(const char* text, std::streamsize length) override {
        note("text");
        if (std::exchange(throws, false)) {
            throw std::runtime_error("no room");
        }
        return std::stringbuf::xsputn(text, length);
    }
    int sync() override {
        note(str().ends_with('\n') ? "flush the whole line" : "flush");
        return 0;
    }
};

TEST(TheCallsOfALine, ReadTheClockBeforeTheLockAndFlushUnderIt) {
    NotingBuffer buffer;
    std::ostream output(&buffer);

    EXPECT_THAT(callsOf([&] { OStreamLogHandler(&output).log(10, "Usb", "Ready"); }),
                ElementsAre("clock_gettime monotonic", "pthread_mutexattr_init", "pthread_mutex_init m1",
                            "clock_gettime monotonic", "pthread_mutex_lock m1", "vsnprintf", "text",
                            "flush the whole line", "pthread_mutex_unlock m1", "pthread_mutex_destroy m1"));
}

TEST(AStreamThatThrows, LeavesTheHandlerUnlocked) {
    NotingBuffer buffer;
    std::ostream output(&buffer);
    output.exceptions(std::ios::badbit);
    OStreamLogHandler handler(&output);
    buffer.throws = true;
    Thrown thrown;
    std::vector<std::string> made;
    {
        const Recording recording;
        thrown = thrownBy([&] { handler.log(10, "Usb", "Lost"); });
        made = calls();
    }
    output.clear();
    handler.log(10, "Usb", "Ready");

    EXPECT_EQ(thrown.text, "no room");
    EXPECT_THAT(made, ElementsAre("clock_gettime monotonic", "pthread_mutex_lock m1", "vsnprintf", "text",
                                  "pthread_mutex_unlock m1"));
    EXPECT_THAT(buffer.str(), testing::EndsWith("] [Usb] [10] Ready\n"));
}

TEST(ALineThatCannotBeFormatted, GoesOutWithoutText) {
    RecordingLogHandler handler;
    const Log log(&handler, "Usb");
    std::ostringstream output;
    OStreamLogHandler stamped(&output);
    {
        const Failing failing(kVsnprintf, EOVERFLOW);
        log.error("%d", 1);
        log.warning("%d", 2);
        log.info("%d", 3);
        log.debug("%d", 4);
        stamped.log(10, "Usb", "Ready");
    }

    EXPECT_THAT(handler.lines(), ElementsAre("10 Usb: ", "20 Usb: ", "30 Usb: ", "100 Usb: "));
    EXPECT_EQ(output.str(), "\n");
}

} // namespace
