// libusb tells when the descriptors it needs change: what becomes of each word of it.
#include "tests/handshake/LibUsbSpy.h"
#include "tests/handshake/Rig.h"
#include "tests/support/FailingNew.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libusb.h>
#include <poll.h>
#include <unistd.h>

using namespace testing;

namespace zebtest {
namespace {

class ADescriptorOfLibusb : public Test {
protected:
    ADescriptorOfLibusb() {
        LibUsbSpy::reset();
        EXPECT_EQ(pipe(mEnds), 0);
        mRig.offer();
        mBefore = mRig.host.handles();
    }
    ~ADescriptorOfLibusb() override {
        close(mEnds[0]);
        close(mEnds[1]);
    }

    void add(int descriptor, short events) {
        const LibUsbSpy::Notifiers& notifiers = LibUsbSpy::instance().notifiers;
        notifiers.added(descriptor, events, notifiers.user);
    }
    void remove(int descriptor) {
        const LibUsbSpy::Notifiers& notifiers = LibUsbSpy::instance().notifiers;
        notifiers.removed(descriptor, notifiers.user);
    }

    Rig mRig;
    int mEnds[2] = {-1, -1};
    std::vector<std::pair<int, int>> mBefore;
};

TEST_F(ADescriptorOfLibusb, ThatIsNewIsWatchedForWhatLibusbWants) {
    add(mEnds[0], POLLIN);
    add(mEnds[1], POLLOUT);

    EXPECT_THAT(mRig.host.handles(),
                AllOf(IsSupersetOf(mBefore), Contains(Pair(mEnds[0], 0)), Contains(Pair(mEnds[1], 1))));
}

TEST_F(ADescriptorOfLibusb, ThatIsGivenUpIsNotWatchedAnyMore) {
    add(mEnds[0], POLLIN);

    remove(mEnds[0]);

    EXPECT_THAT(mRig.host.handles(), UnorderedElementsAreArray(mBefore));
}

TEST_F(ADescriptorOfLibusb, ThatWasNeverWatchedIsGivenUpInSilence) {
    remove(mEnds[0]);

    EXPECT_THAT(mRig.host.handles(), UnorderedElementsAreArray(mBefore));
    EXPECT_THAT(mRig.logged(10), IsEmpty());
}

TEST_F(ADescriptorOfLibusb, ThatCannotBeAddedCostsALineAndNotTheHost) {
    {
        const auto failing = FailingNew::at(1);
        add(mEnds[0], POLLIN);
    }

    EXPECT_THAT(mRig.logged(10), ElementsAre("Unable to add libusb event handle: 'std::bad_alloc'"));
    EXPECT_THAT(mRig.host.handles(), UnorderedElementsAreArray(mBefore));
}

} // namespace
} // namespace zebtest
