#include "host/trace/TraceFile.h"

#include "host/Plugin.h"
#include "tests/trace/TraceReading.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>

using namespace testing;

namespace zebhost {
namespace {

std::string object(int number, size_t padding = 60) {
    return "{\"number\":" + std::to_string(number) + ",\"padding\":\"" + std::string(padding, 'x') + "\"}";
}

std::vector<int> numbers(const AFile& file) {
    std::vector<int> found;
    for (const nlohmann::json& event : file.events())
        found.push_back(event["number"]);
    return found;
}

std::vector<int> upTo(int count) {
    std::vector<int> all(static_cast<size_t>(count));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

TEST(ATraceFile, IsValidAfterEveryObject) {
    AFile file;
    TraceFile trace(file.path());
    EXPECT_THAT(numbers(file), IsEmpty());

    // Through many pages, and more than once into a larger file.
    for (int number = 0; number < 900; ++number) {
        trace.append(object(number, 150));
        if (number % 100 == 0 || number < 10) {
            ASSERT_EQ(numbers(file), upTo(number + 1));
        }
    }

    EXPECT_EQ(trace.trouble(), "");
}

TEST(ATraceFile, NeverWritesAcrossAPageInPlace) {
    AFile file;
    TraceFile trace(file.path());

    for (int number = 0; number < 300; ++number)
        trace.append(object(number, static_cast<size_t>(number)));

    // A kill can cut a write between two pages: so no object lies in two.
    std::string text = file.text();
    for (size_t page = TraceFile::kPageBytes; page < text.size(); page += TraceFile::kPageBytes)
        EXPECT_THAT(text.substr(page - 1, 2), AnyOf("  ", " ,", "} ", "},")) << page;
}

TEST(ATraceFile, TakesAnObjectThatIsLargerThanAPage) {
    AFile file;
    TraceFile trace(file.path());

    trace.append(object(0, 3 * TraceFile::kPageBytes));
    trace.append(object(1, 40 * TraceFile::kPageBytes));
    trace.append(object(2));

    EXPECT_EQ(numbers(file), upTo(3));
}

TEST(ATraceFile, HasNoSpareRoomOnceItIsClosed) {
    AFile file;
    {
        TraceFile trace(file.path());
        trace.append("{}");
        trace.append("{}");
    }

    EXPECT_EQ(file.text(), "[\n{},\n{}\n]\n");
}

/** What is left when a writer is killed after it has written so many objects. */
void writeAndBeKilled(const AFile& file, int count) {
    pid_t writer = fork();
    if (writer == 0) {
        TraceFile trace(file.path());
        for (int number = 0; number < count; ++number)
            trace.append(object(number));
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(writer, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

TEST(ATraceFile, IsValidWhenItsWriterIsKilledAfterAnyObject) {
    for (int count = 0; count < 30; ++count) {
        AFile file;

        writeAndBeKilled(file, count);

        ASSERT_EQ(numbers(file), upTo(count));
    }
}

TEST(ATraceFile, StopsAtItsLimitAndStaysValid) {
    AFile file;
    TraceFile trace(file.path(), size_t{1} << 17);

    for (int number = 0; number < 3000; ++number)
        trace.append(object(number));

    EXPECT_THAT(trace.trouble(), HasSubstr("has reached"));
    EXPECT_THAT(numbers(file).size(), AllOf(Gt(1000u), Lt(2000u)));
}

TEST(ATraceFile, SaysWhereItCanNotBe) {
    EXPECT_THAT([] { TraceFile trace("/no/such/folder/trace.json"); },
                ThrowsMessage<HostError>(HasSubstr("No such file or directory")));
    EXPECT_THAT([] { TraceFile trace("/tmp"); }, ThrowsMessage<HostError>(HasSubstr("/tmp is none")));
}

} // namespace
} // namespace zebhost
