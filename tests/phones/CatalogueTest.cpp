// Every phone of the catalogue is what its file says: to the policy, to the plug-in, and in a whole run.
#include "host/Loop.h"
#include "phones/DeviceRecord.h"
#include "tests/phones/CatalogueRun.h"
#include "tests/support/FakeHost.h"
#include "tests/support/PluginUnderTest.h"

#include <algorithm>
#include <gmock/gmock.h>

using namespace testing;
using namespace zebphones;

namespace zebtest {
namespace {

zebhost::UsbDevice asTheKernelTells(const UsbFace& face) {
    zebhost::UsbDevice device;
    device.port = "1-1";
    device.productName = face.productName;
    device.activeConfiguration = 1;
    device.descriptors = zebhost::parseDescriptors(descriptors(face)).value();
    return device;
}

class APhoneOfTheCatalogue : public TestWithParam<std::string> {
protected:
    const PhoneFile file = Catalogue().load(GetParam());

    static const CatalogueRun::Result& result() { return CatalogueRun::instance().of(GetParam()); }
};

TEST_P(APhoneOfTheCatalogue, IsJudgedByThePolicyAsItsFileSays) {
    const zebhost::Verdict verdict = zebhost::judge(asTheKernelTells(file.phone.normal), {});

    EXPECT_EQ(verdict.rule, file.expect.rule);
    EXPECT_EQ(verdict.isOffered, file.expect.offered);
}

// Also of those that the policy withholds.
TEST_P(APhoneOfTheCatalogue, InterestsThePluginAsItsFileSays) {
    const PluginUnderTest plugin;
    FakeHost host;
    host.initialize(plugin.initialize());
    host.bringUp();
    const zebphones::DeviceRecord record(file.phone.normal, 1, 2, 1);
    char* description = nullptr;

    const int level =
        host.entry.getDeviceInterest(host.discoverer, host.provider, record.get(), &description);

    EXPECT_EQ(level, file.expect.interest);
    EXPECT_EQ(description == nullptr ? "" : host.receive(description), file.expect.reason);
    host.destroy();
}

TEST_P(APhoneOfTheCatalogue, ComesToTheEndThatItsFileSays) {
    const Story& story = result().story;

    EXPECT_EQ(result().outcome, file.expect.outcome) << PrintToString(story.entities);
    ASSERT_THAT(story.verdicts, Not(IsEmpty()));
    EXPECT_EQ(story.verdicts.front().rule, file.expect.rule);
    EXPECT_EQ(story.verdicts.front().offered, file.expect.offered);
    ASSERT_EQ(story.interests.empty(), !file.expect.offered);
    if (file.expect.offered) {
        EXPECT_EQ(story.interests.front().level, file.expect.interest);
        EXPECT_EQ(story.interests.front().description, file.expect.reason);
    }
}

TEST_P(APhoneOfTheCatalogue, IsSentRequestsOnlyWhenItIsACandidate) {
    const CatalogueRun::Result& what = result();
    const bool isCandidate = file.expect.offered && file.expect.interest == 30;

    EXPECT_EQ(!what.received.empty(), isCandidate);
    if (!isCandidate) {
        EXPECT_EQ(what.calls, 0U) << "it was opened";
    }
}

INSTANTIATE_TEST_SUITE_P(All, APhoneOfTheCatalogue, ValuesIn(Catalogue().names()), [](const auto& test) {
    std::string name = test.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(TheWholeCatalogue, BringsNoBreachOfTheContract) {
    EXPECT_EQ(CatalogueRun::instance().status(), zebhost::kExitDone);
    EXPECT_THAT(CatalogueRun::instance().violations(), IsEmpty());
}

// The record would show a request to a stranger: here it must.
TEST(TheRecordOfTheBus, ShowsWhatStrangersAreAskedWhenEverythingIsOffered) {
    Testbed bed;
    const auto mouse = bed.plug(loadPhone("mouse"), 1);
    const auto cable = bed.plug(loadPhone("midi-cable"), 2);
    zebhost::RunOptions options;
    options.plugin = PluginUnderTest::path();
    options.policy.offerAll = true;
    zebhost::LiveRun run(options);

    for (int i = 0; i < 2; ++i)
        run.waitFor({{"event", "entity"}, {"action", "lost"}});
    run.end();

    for (const auto& stranger : {mouse, cable}) {
        EXPECT_GT(stranger->calls(), 0U);
        ASSERT_THAT(stranger->received(), SizeIs(1));
        EXPECT_EQ(stranger->received().front().setup.request, kGetProtocol);
    }
}

} // namespace
} // namespace zebtest

int main(int argc, char** argv) {
    zebhost::blockSignals();
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
