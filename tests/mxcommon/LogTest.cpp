#include "mxcommon/Log.h"

#include "mxcommon/LogStream.h"
#include "mxcommon/OStreamLogHandler.h"
#include "tests/mxcommon/RecordingLogHandler.h"

#include <gmock/gmock.h>

#include <iomanip>
#include <set>
#include <stdexcept>
#include <thread>

namespace {

using namespace mxcommon;
using testing::ElementsAre;
using testing::IsEmpty;

/** Leaves nothing on the stack that a call could take for its own arguments. */
void overwriteStack() {
    volatile char used[4096];
    for (volatile char& byte : used)
        byte = 0x7f;
}

TEST(ALog, WritesItsFourLevelsUnderItsCategory) {
    RecordingLogHandler handler;
    const Log log(&handler, "Usb");

    log.error("%d %s", 1, "failed");
    overwriteStack();
    log.warning("%d", 2);
    overwriteStack();
    log.info("%d", 3);
    overwriteStack();
    log.debug("%d", 4);

    EXPECT_THAT(handler.lines(), ElementsAre("10 Usb: 1 failed", "20 Usb: 2", "30 Usb: 3", "100 Usb: 4"));
}

TEST(ALog, MadeFromAnotherNamesBothInItsCategory) {
    RecordingLogHandler handler;
    const Log parent(&handler, "A");
    const Log child(parent, "B");

    child.error("x");
    Log(child, "C").error("y");

    EXPECT_THAT(handler.lines(), ElementsAre("10 A::B: x", "10 A::B::C: y"));
}

TEST(ALogStream, EmitsItsLineWhenItDies) {
    RecordingLogHandler handler;
    {
        LogStream stream(&handler, "Usb", 30);
        stream << "bus " << 1 << std::setw(4) << std::setfill('0') << 7;
        EXPECT_THAT(handler.lines(), IsEmpty());
    }

    EXPECT_THAT(handler.lines(), ElementsAre("30 Usb: bus 10007"));
}

TEST(ALogStream, MadeFromALogIsForDebugging) {
    RecordingLogHandler handler;

    LogStream(Log(&handler, "Usb")) << "x";

    EXPECT_THAT(handler.lines(), ElementsAre("100 Usb: x"));
}

TEST(ALogStream, EmitsAnEmptyLineToo) {
    RecordingLogHandler handler;

    { LogStream stream(&handler, "Usb", 20); }

    EXPECT_THAT(handler.lines(), ElementsAre("20 Usb: "));
}

TEST(ALogStream, OwesNothingAnyMoreOnceItWasMoved) {
    RecordingLogHandler handler;
    {
        LogStream target = [&] {
            LogStream source(&handler, "Usb", 20);
            source << "begun, ";
            LogStream moved(std::move(source));
            moved << "carried on, ";
            return moved;
        }();
        EXPECT_THAT(handler.lines(), IsEmpty());
        target << "ended";
    }

    EXPECT_THAT(handler.lines(), ElementsAre("20 Usb: begun, carried on, ended"));
}

TEST(ALogStream, OwesALineOnceItIsMovedToWhateverItsSourceDid) {
    RecordingLogHandler handler;
    LogStream source(&handler, "Usb", 20);
    source << "first";
    { const LogStream first(std::move(source)); }
    {
        LogStream second(std::move(source));
        second << "second";
    }

    EXPECT_THAT(handler.lines(), ElementsAre("20 Usb: first", "20 Usb: second"));
}

TEST(ALogStream, TakesManipulators) {
    RecordingLogHandler handler;

    { LogStream(&handler, "Usb", 30) << std::hex << 255 << std::endl << "behind" << std::flush << std::ends; }

    EXPECT_THAT(handler.lines(), ElementsAre("30 Usb: ff\nbehind"));
}

TEST(ALogStream, SwallowsWhatItsHandlerThrows) {
    ThrowingLogHandler handler(1, std::runtime_error("no log"));

    EXPECT_NO_THROW(LogStream(&handler, "Usb", 10) << "x");
}

/** Lets others in between the two halves of what it is given. */
class YieldingBuffer : public std::stringbuf {
private:
    std::streamsize xsputn(const char* text, std::streamsize length) override {
        const std::streamsize half = length / 2;
        std::stringbuf::xsputn(text, half);
        std::this_thread::yield();
        std::stringbuf::xsputn(text + half, length - half);
        return length;
    }
};

TEST(AnOStreamLogHandler, NeverMixesTheLinesOfItsThreads) {
    YieldingBuffer buffer;
    std::ostream output(&buffer);
    OStreamLogHandler handler(&output);
    std::vector<std::thread> threads;

    for (const char c : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([&handler, text = std::string(100, c)] {
            for (int i = 0; i < 200; ++i) {
                handler.log(30, "Usb", text.c_str());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }

    std::multiset<std::string> texts;
    std::istringstream lines(buffer.str());
    for (std::string line; std::getline(lines, line);) {
        texts.insert(line.substr(line.find("] [")));
    }
    EXPECT_EQ(texts.size(), 800u);
    for (const char c : {'a', 'b', 'c', 'd'}) {
        EXPECT_EQ(texts.count("] [Usb] [30] " + std::string(100, c)), 200u);
    }
}

} // namespace
