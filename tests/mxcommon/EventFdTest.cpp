#include "common/EventFd.h"

#include "common/DiscoveryException.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>

namespace {

using zebdiscovery::DiscoveryException;
using zebdiscovery::EventFd;

bool isReadable(int fd) {
    pollfd poll{fd, POLLIN, 0};
    return ::poll(&poll, 1, 0) == 1;
}

TEST(AnEventFd, GivesBackOneOccurrenceForEachSignal) {
    EventFd event;

    EXPECT_EQ(event.signal(), 1);
    EXPECT_EQ(event.signal(), 1);

    EXPECT_TRUE(event.consume());
    EXPECT_TRUE(event.consume());
    EXPECT_FALSE(event.consume());
}

TEST(AnEventFd, IsReadableWhileThereIsAnOccurrence) {
    EventFd event;

    EXPECT_FALSE(isReadable(event.readFd()));
    event.signal();
    EXPECT_TRUE(isReadable(event.readFd()));
    event.consume();
    EXPECT_FALSE(isReadable(event.readFd()));
}

TEST(AnEventFd, CarriesZeroBytes) {
    EventFd event;
    event.signal();
    char byte = 'x';

    EXPECT_EQ(::read(event.readFd(), &byte, 1), 1);
    EXPECT_EQ(byte, '\0');
}

TEST(AnEventFd, BlocksOnlyWhereItWrites) {
    EventFd event;

    EXPECT_NE(::fcntl(event.readFd(), F_GETFL) & O_NONBLOCK, 0);
    // The write end is the descriptor that pipe() made next.
    EXPECT_EQ(::fcntl(event.readFd() + 1, F_GETFL) & O_NONBLOCK, 0);
}

TEST(AnEventFd, BlocksNotWhereItReadsWhateverItsNumbersAre) {
    const EventFd lower;
    EventFd higher; // not 3, which is F_GETFL as well

    EXPECT_EQ(::fcntl(higher.readFd(), F_GETFL) & (O_NONBLOCK | O_ACCMODE), O_NONBLOCK | O_RDONLY);
}

TEST(AnEventFd, ClosesBothEnds) {
    int readFd = -1;
    {
        EventFd event;
        readFd = event.readFd();
    }

    EXPECT_EQ(::fcntl(readFd, F_GETFD), -1);
    EXPECT_EQ(::fcntl(readFd + 1, F_GETFD), -1);
}

TEST(ADiscoveryException, KeepsItsMessageUnchangedAndItsCode) {
    const DiscoveryException exception("The text", 17);

    EXPECT_STREQ(exception.what(), "The text");
    EXPECT_EQ(exception.error(), 17);
    EXPECT_NE(dynamic_cast<const std::runtime_error*>(&exception), nullptr);
}

} // namespace
