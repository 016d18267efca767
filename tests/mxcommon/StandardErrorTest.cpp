#include "mxcommon/StandardError.h"

#include "tests/mxcommon/SystemFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

using namespace faults;

/** Runs an action with a file as standard error and returns what the file then holds. */
template <class Action>
std::string standardErrorOf(Action action) {
    FILE* const pFile = std::tmpfile();
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(::fileno(pFile), STDERR_FILENO);
    action();
    state() = State();
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
    std::rewind(pFile);
    std::string text;
    for (int c = std::fgetc(pFile); c != EOF; c = std::fgetc(pFile)) {
        text += static_cast<char>(c);
    }
    std::fclose(pFile);
    return text;
}

void failMemory() {
    state() = State();
    state().fails[kMemory] = INT_MAX;
    state().error[kMemory] = ENOMEM;
}

TEST(TheLastResortLog, WritesOneLine) {
    EXPECT_EQ(standardErrorOf([] { mxcommon::logToStandardError("ZEBDiscoverer", "50% broken, %s"); }),
              "[ZEBDiscoverer] [0] 50% broken, %s\n");
}

TEST(TheLastResortLog, WritesLinesOfEveryLength) {
    for (const std::size_t length : {0u, 1'000u, 1'014u, 1'015u, 1'016u, 1'017u, 5'000u, 600'000u}) {
        const std::string text(length, 'x');

        EXPECT_EQ(standardErrorOf([&] { mxcommon::logToStandardError("C", text.c_str()); }),
                  "[C] [0] " + text + "\n")
            << length;
    }
}

TEST(TheLastResortLog, WritesTheRestAfterAPartialWrite) {
    const std::string expected = "[Category] [0] and text\n";
    for (const std::size_t limit : {1u, 7u, 23u}) {
        int writes = 0;

        const std::string line = standardErrorOf([&] {
            state().writeLimit = limit;
            mxcommon::logToStandardError("Category", "and text");
            writes = state().count[kWrite];
        });

        EXPECT_EQ(line, expected) << limit;
        EXPECT_EQ(writes, (expected.size() + limit - 1) / limit) << limit;
    }
}

TEST(TheLastResortLog, StopsSilentlyWithTheFirstWriteThatWritesNothing) {
    // EAGAIN stands for a write that returns 0.
    for (const int error : {EIO, EINTR, EAGAIN}) {
        int writes = 0;

        const std::string line = standardErrorOf([&] {
            const Failing failing(kWrite, error);
            mxcommon::logToStandardError("Category", "text");
            writes = state().count[kWrite];
        });

        EXPECT_EQ(line, "");
        EXPECT_EQ(writes, 1);
    }
}

TEST(TheLastResortLog, WritesNothingWhenTheLineCannotBeFormatted) {
    std::vector<std::string> made;

    const std::string line = standardErrorOf([&] {
        made = callsOf([] { mxcommon::logToStandardError("Category", "text"); }, kSnprintf, EOVERFLOW);
    });

    EXPECT_EQ(line, "");
    EXPECT_EQ(made, std::vector<std::string>());
}

TEST(TheLastResortLog, WritesToStandardErrorAlone) {
    EXPECT_EQ(callsOf([] { mxcommon::logToStandardError("Category", "text"); }, kWrite, EIO),
              std::vector<std::string>{"write standard error"});
}

TEST(TheLastResortLog, ReturnsWhenStandardErrorIsClosed) {
    const int saved = ::dup(STDERR_FILENO);
    ::close(STDERR_FILENO);
    mxcommon::logToStandardError("Category", "text");
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
}

TEST(TheLastResortLog, NeedsNoMemoryForAnOrdinaryLine) {
    int allocations = -1;

    const std::string line = standardErrorOf([&] {
        failMemory();
        mxcommon::logToStandardError("Category", "text");
        allocations = state().count[kMemory];
    });

    EXPECT_EQ(line, "[Category] [0] text\n");
    EXPECT_EQ(allocations, 0);
}

TEST(TheLastResortLog, CutsALongLineWhenThereIsNoMemory) {
    const std::string text(5'000, 'x');

    const std::string line = standardErrorOf([&] {
        failMemory();
        mxcommon::logToStandardError("C", text.c_str());
    });

    EXPECT_EQ(line, "[C] [0] " + std::string(1'015, 'x') + "\n");
}

} // namespace
