// Several threads look at the bed at once, as libusb's and a host's own do when a device comes.
#include "phones/usbfs/Testbed.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <thread>
#include <unistd.h>

namespace zebphones {
namespace {

constexpr int kQuestions = 5000;

/** How many of the answers to a thread that asks again and again about one folder are wrong. */
int wrongAnswers(const char* folder, bool isInSysfs) {
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int wrong = 0;
    for (int i = 0; i < kQuestions; ++i) {
        struct statfs answer {};
        const bool isTold = fstatfs(descriptor, &answer) == 0 && answer.f_type == SYSFS_MAGIC;
        wrong += isTold == isInSysfs ? 0 : 1;
    }
    close(descriptor);
    return wrong;
}

TEST(TheBed, TellsEachOfTwoThreadsThatAskAtOnceWhetherItsFolderIsInSysfs) {
    const Testbed bed;
    int wrong = 0;
    std::thread other([&wrong] { wrong = wrongAnswers("/", false); });

    EXPECT_EQ(wrongAnswers("/sys/devices", true), 0);

    other.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace zebphones
