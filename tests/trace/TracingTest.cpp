// What crosses the boundary, on a clock that the test turns.
#include "host/trace/Tracing.h"

#include "tests/host/TestHost.h"
#include "tests/trace/TraceReading.h"

using namespace testing;

namespace zebhost {
namespace {

class ATracedHost : public ::testing::Test {
protected:
    ATracedHost() {
        gCalls = Calls();
        gCalls.fetch = [](ZEBDiscovererEntity* entity, char* key, ZEBDiscoverySDKRequest* request) {
            gTraced.fetchComplete(gContext, entity, key, request, 0, gTraced.allocString("value", -1));
        };
        mHost.start(mTracing->around(initializeAndKeepCallbacks), {});
    }

    static ZEBDiscoverer* initializeAndKeepCallbacks(ZEBDiscovererInterface* table, size_t size,
                                                     const ZEBDiscovererCallbacks* callbacks, size_t length) {
        gTraced = *callbacks;
        return initialize(table, size, callbacks, length);
    }

    ZEBDiscovererEntity* entity() { return reinterpret_cast<ZEBDiscovererEntity*>(&mEntity); }
    /** A phone in whose offer this happens. */
    void plug(const std::function<void()>& inOffer) {
        gCalls.offer = [&](const ZEBDeviceInfo*) { inOffer(); };
        mHost.devices().seen(
            {"1-1.2", 1, 5, "Phone", 1, {0x18d1, 0x2d00, 0, {{1, {UsbInterface{255, 255, 0, 0}}}}}});
    }
    std::vector<nlohmann::json> events() const { return mFile.events(); }
    std::vector<std::string> onPhone() const { return onTrack(events(), "usb 1-1.2"); }

    static inline ZEBDiscovererCallbacks gTraced;
    AFile mFile;
    uint64_t mNow = 1'000'000'000;
    Lines mLines;
    Output mOutput{mLines.file(), Output::Form::Json};
    Loop mLoop;
    std::optional<Tracing> mTracing{std::in_place, TraceOptions{mFile.path(), USB_TAP}, mOutput, mLoop,
                                    [this] { return mNow += 1500; }};
    Host mHost{mLoop, mOutput};
    char mEntity = 0;
};

TEST_F(ATracedHost, TellsEachCallWithItsBeginningAndItsEnd) {
    auto all = events();

    auto begin = std::find_if(all.begin(), all.end(),
                              [](const auto& e) { return e.value("name", "") == "setContext"; });
    ASSERT_NE(begin, all.end());
    EXPECT_EQ((*begin)["ph"], "B");
    EXPECT_EQ((*begin)["cat"], "call");
    EXPECT_EQ(begin[1]["ph"], "E");
    EXPECT_DOUBLE_EQ(begin[1]["ts"].get<double>() - (*begin)["ts"].get<double>(), 1.5);
}

TEST_F(ATracedHost, TellsCallbacksWithTheirArguments) {
    plug([this] {
        gTraced.addEntity(gContext, nullptr, entity());
        gTraced.log(gContext, 30, "a \"line\"\n\xff");
    });

    std::vector<nlohmann::json> callbacks;
    for (const auto& event : events()) {
        if (event.value("cat", "") == "callback" &&
            (event.value("name", "") == "log" || event.value("name", "") == "addEntity"))
            callbacks.push_back(event["args"]);
    }
    EXPECT_THAT(callbacks, ElementsAre(nlohmann::json{{"entity", "new"}},
                                       nlohmann::json{{"severity", 30}, {"text", "a \"line\"\n\ufffd"}}));
}

TEST_F(ATracedHost, PutsWhatIsOfAPhoneOnItsTrack) {
    plug([this] { gTraced.addEntity(gContext, nullptr, entity()); });
    mHost.beforeWait();
    gTraced.entityLost(gContext, entity());
    mHost.beforeWait();

    EXPECT_THAT(onPhone(),
                AllOf(Contains("i device add"), Contains("i interest"), Contains("B getDeviceInterest"),
                      Contains("B offerDevice"), Contains("B addEntity"), Contains("i entity published"),
                      Contains("B fetchEntityValue").Times(5), Contains("i value zebcmd"),
                      Contains("B entityLost"), Contains("B destroyEntity"), Contains("i entity destroyed")));
    EXPECT_THAT(onTrack(events(), "host loop"),
                AllOf(Contains("B setContext"), Contains("B getMultipleEventHandlesEx"),
                      Not(Contains("B offerDevice"))));
}

TEST_F(ATracedHost, TellsHowEachTimerEnds) {
    std::optional<APipe> pipe;
    int handle = -1;
    plug([&] {
        pipe.emplace();
        handle = pipe->reader();
        gCalls.handles = {handle, ZEBDiscovererNoEventHandle};
        gCalls.writeFlags = {0};
        gTraced.addEntity(gContext, nullptr, entity());
        gTraced.setEntityTimer(gContext, entity(), 1000);
        gTraced.setEntityTimer(gContext, entity(), 2000);
        gTraced.setEntityTimer(gContext, entity(), -1);
        gTraced.setTimerForHandle(gContext, nullptr, &handle, 0);
    });
    gCalls.handleTimeout = [&](int) {
        gTraced.setTimerForHandle(gContext, nullptr, &handle, 5'000'000);
        gCalls.handles.clear();
        mLoop.wake();
    };
    Timer end(mLoop, [this] { mLoop.quit(); });
    end.arm(20'000);
    mLoop.run([this] { mHost.beforeWait(); });

    std::vector<std::string> ends;
    for (const auto& event : events()) {
        if (event.value("cat", "") == "timer" && event["ph"] == "e")
            ends.push_back(event["args"]["end"]);
    }
    EXPECT_THAT(ends, ElementsAre("armed again", "cancelled", "expired", "dropped"));
    EXPECT_THAT(onPhone(), Contains("b timer of descriptor " + std::to_string(handle)).Times(2));
}

TEST_F(ATracedHost, GivesADescriptorToThePhoneThatOpenedIt) {
    std::optional<APipe> pipe;
    plug([&] {
        pipe.emplace();
        gCalls.handles = {pipe->reader(), ZEBDiscovererNoEventHandle};
        gCalls.writeFlags = {0};
    });
    gCalls.event = [this](int) { mLoop.quit(); };
    ASSERT_TRUE(pipe.has_value());
    ASSERT_EQ(write(pipe->writer(), "!", 1), 1);
    mLoop.run([this] { mHost.beforeWait(); });

    EXPECT_THAT(onPhone(), Contains("B handleSingleEvent"));
    EXPECT_THAT(onTrack(events(), "host loop"), AllOf(Contains("i descriptors"), Contains("B wait")));
}

TEST_F(ATracedHost, GivesAnotherThreadATrackOfItsOwn) {
    std::thread([] { gTraced.log(gContext, 30, "from elsewhere"); }).join();

    EXPECT_THAT(trackNames(events()), Contains(Pair(_, StartsWith("thread "))));
    EXPECT_THAT(onTrack(events(), "host loop"), Not(Contains("B log")));
}

TEST_F(ATracedHost, KeepsTimesInOrder) {
    plug([this] { gTraced.addEntity(gContext, nullptr, entity()); });
    mHost.beforeWait();

    EXPECT_TRUE(timesNeverRunBack(events()));
    EXPECT_THAT(events(), SizeIs(Gt(50u)));
}

TEST_F(ATracedHost, LeavesTheTableAloneWhereAPluginHasNoFunction) {
    // The plug-in of this test lacks them; a null slot must still look like one.
    ZEBDiscovererInterface table{};
    mTracing->around([](ZEBDiscovererInterface*, size_t, const ZEBDiscovererCallbacks*, size_t) {
        return reinterpret_cast<ZEBDiscoverer*>(&gContext);
    })(&table, sizeof table, &gHost, sizeof gHost);

    EXPECT_EQ(table.start, nullptr);
}

TEST_F(ATracedHost, SaysOnceWhenTransfersCanNotBeSeen) {
    mTracing.reset();
    Tracing without(TraceOptions{mFile.path(), "/no/such/tap.so"}, mOutput, mLoop);

    without.check();
    without.check();

    EXPECT_THAT(mLines.of("advice", "text"), ElementsAre(HasSubstr("transfers can't be seen")));
}

} // namespace
} // namespace zebhost
