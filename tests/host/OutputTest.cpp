#include "host/Output.h"
#include "tests/host/Lines.h"

#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>

using namespace testing;

namespace zebhost {
namespace {

struct Row {
    Event event;
    const char* json;
    const char* plain;
};

const Row kRows[] = {
    {RunEvent{1, "1.0.0"}, R"~({"time_us":7,"event":"run","schema":1,"zebhost":"1.0.0"})~",
     "    0.007  zebhost    1.0.0"},
    {DeviceEvent{"add", {1, 4, "1-1"}, "18d1", "4ee7", "Phone (usb 1-1)"},
     R"~({"time_us":7,"event":"device","action":"add","bus":1,"device":4,"port":"1-1","vendor":"18d1","product":"4ee7","name":"Phone (usb 1-1)"})~",
     "    0.007  plugged    001/004  18d1:4ee7  Phone (usb 1-1)"},
    {DeviceEvent{"remove", {1, 4, "1-1"}, "18d1", "4ee7", "Phone (usb 1-1)"},
     R"~({"time_us":7,"event":"device","action":"remove","bus":1,"device":4,"port":"1-1","vendor":"18d1","product":"4ee7","name":"Phone (usb 1-1)"})~",
     "    0.007  unplugged  001/004  18d1:4ee7  Phone (usb 1-1)"},
    {VerdictEvent{{1, 4, "1-1"}, true, false, "phone-adb", "a phone"},
     R"~({"time_us":7,"event":"verdict","bus":1,"device":4,"port":"1-1","offered":true,"dry_run":false,"rule":"phone-adb","reason":"a phone"})~",
     "    0.007  verdict    001/004  offered (phone-adb): a phone"},
    {VerdictEvent{{1, 4, "1-1"}, false, false, "hid", "a mouse"},
     R"~({"time_us":7,"event":"verdict","bus":1,"device":4,"port":"1-1","offered":false,"dry_run":false,"rule":"hid","reason":"a mouse"})~",
     "    0.007  verdict    001/004  withheld (hid): a mouse"},
    {VerdictEvent{{1, 4, "1-1"}, true, true, "phone-adb", "a phone"},
     R"~({"time_us":7,"event":"verdict","bus":1,"device":4,"port":"1-1","offered":true,"dry_run":true,"rule":"phone-adb","reason":"a phone"})~",
     "    0.007  verdict    001/004  would be offered (phone-adb): a phone"},
    {VerdictEvent{{1, 4, "1-1"}, false, true, "hid", "a mouse"},
     R"~({"time_us":7,"event":"verdict","bus":1,"device":4,"port":"1-1","offered":false,"dry_run":true,"rule":"hid","reason":"a mouse"})~",
     "    0.007  verdict    001/004  would be withheld (hid): a mouse"},
    {AdviceEvent{"node-access", {1, 4, "1-1"}, "do this"},
     R"~({"time_us":7,"event":"advice","topic":"node-access","bus":1,"device":4,"port":"1-1","text":"do this"})~",
     "    0.007  advice     001/004  do this"},
    {AdviceEvent{"offer-all", {}, "careful"},
     R"~({"time_us":7,"event":"advice","topic":"offer-all","bus":0,"device":0,"port":"","text":"careful"})~",
     "    0.007  advice     careful"},
    {InterestEvent{{1, 4, "1-1"}, 15, "103"},
     R"~({"time_us":7,"event":"interest","bus":1,"device":4,"port":"1-1","level":15,"description":"103"})~",
     "    0.007  interest   001/004  level 15, \"103\": a phone that shares its network"},
    {InterestEvent{{1, 4, "1-1"}, 100, ""},
     R"~({"time_us":7,"event":"interest","bus":1,"device":4,"port":"1-1","level":100,"description":""})~",
     "    0.007  interest   001/004  none"},
    {OfferEvent{{1, 4, "1-1"}}, R"~({"time_us":7,"event":"offer","bus":1,"device":4,"port":"1-1"})~",
     "    0.007  offer      001/004  at port 1-1"},
    {StoryEvent{{1, 5, "1-1"}, "accessory", {{"interest", 1000}, {"back", 1500000}, {"command", 2500400}}},
     R"~({"time_us":7,"event":"story","bus":1,"device":5,"port":"1-1","kind":"accessory","stages_us":{"interest":1000,"back":1500000,"command":2500400}})~",
     "    0.007  story      001/005  accessory at port 1-1, seconds since it was plugged in: interest 0.001, "
     "back 1.500, command 2.500"},
    {EntityEvent{"added", 2, {1, 4, "1-1"}},
     R"~({"time_us":7,"event":"entity","action":"added","id":2,"bus":1,"device":4,"port":"1-1"})~",
     "    0.007  entity     #2 added (not shown to clients)  001/004"},
    {ValueEvent{2, "zebcmd", 0, "zebcmd:v=1;t=USBAND"},
     R"~({"time_us":7,"event":"value","id":2,"key":"zebcmd","error":0,"value":"zebcmd:v=1;t=USBAND"})~",
     "    0.007  value      #2 zebcmd = zebcmd:v=1;t=USBAND"},
    {ValueEvent{2, "colour", 9, std::nullopt},
     R"~({"time_us":7,"event":"value","id":2,"key":"colour","error":9,"value":null})~",
     "    0.007  value      #2 colour: none (error 9)"},
    {LogEvent{30, "text"}, R"~({"time_us":7,"event":"log","severity":30,"text":"text"})~",
     "    0.007  plug-in    [30] text"},
    {StartedEvent{0}, R"~({"time_us":7,"event":"started","error":0})~",
     "    0.007  started    waiting for devices, Ctrl-C ends"},
    {StoppedEvent{15}, R"~({"time_us":7,"event":"stopped","error":15})~",
     "    0.007  stopped    with error 15"},
    {ViolationEvent{"twice"}, R"~({"time_us":7,"event":"violation","text":"twice"})~",
     "    0.007  VIOLATION  twice"},
};

TEST(AJsonLine, HasTheMembersOfItsEvent) {
    for (const Row& row : kRows)
        EXPECT_EQ(jsonLine(7, row.event), row.json);
    for (const Row& row : kRows)
        keepLines(row.json);
}

TEST(APlainLine, TellsAPersonWhatHappened) {
    for (const Row& row : kRows)
        EXPECT_EQ(plainLine(7000, row.event, false), row.plain);
}

TEST(AJsonLine, ReplacesWhatIsNoUtf8) {
    EXPECT_EQ(nlohmann::json::parse(jsonLine(0, LogEvent{30, "a\xff"
                                                             "b"}))["text"],
              "a\xef\xbf\xbd"
              "b");
}

TEST(AJsonLine, StaysOneLineWhateverADeviceIsCalled) {
    std::string line = jsonLine(0, DeviceEvent{"add", {1, 4}, "18d1", "4ee7", "a\n\"b\""});

    EXPECT_THAT(line, Not(HasSubstr("\n")));
    EXPECT_EQ(nlohmann::json::parse(line)["name"], "a\n\"b\"");
}

TEST(APlainLine, LetsNoDeviceTouchTheTerminal) {
    std::string line = plainLine(0,
                                 DeviceEvent{"add",
                                             {1, 4},
                                             "18d1",
                                             "4ee7",
                                             "a\033[2J\nb\x7f\xc2\x9b"
                                             "c\xc3\xa9"},
                                 false);

    EXPECT_THAT(line, EndsWith("a?[2J?b???c\xc3\xa9"));
}

TEST(APlainLine, ReplacesWhatIsNoUtf8AsAJsonLineDoes) {
    // A control character of one byte, a character that is cut short, one that is too long, half of a pair.
    for (const char* bytes : {"\x9b", "\xe2\x82", "\xc0\xaf", "\xed\xa0\x80", "\xff\xfe"}) {
        LogEvent event{30, std::string("a") + bytes + "b"};

        std::string asJson = nlohmann::json::parse(jsonLine(0, event))["text"];
        EXPECT_THAT(plainLine(0, event, false), EndsWith("[30] " + asJson));
        EXPECT_THAT(asJson, AllOf(StartsWith("a\xef\xbf\xbd"), EndsWith("b")));
    }
}

TEST(APlainLine, IsColouredOnlyWhenAsked) {
    EXPECT_EQ(plainLine(0, ViolationEvent{"x"}, true), "    0.000  \033[31mVIOLATION  x\033[0m");
    EXPECT_EQ(plainLine(0, ViolationEvent{"x"}, false), "    0.000  VIOLATION  x");
}

TEST(AnOutput, IsNeverColouredInAFile) {
    Lines lines;

    EXPECT_EQ(plainFormFor(lines.file()), Output::Form::Plain);
}

TEST(AnOutput, IsColouredOnATerminalThatIsNotDumb) {
    int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(fdopen(terminal, "w"), std::fclose);
    unsetenv("NO_COLOR");

    setenv("TERM", "xterm", 1);
    EXPECT_EQ(plainFormFor(file.get()), Output::Form::Coloured);
    setenv("TERM", "dumb", 1);
    EXPECT_EQ(plainFormFor(file.get()), Output::Form::Plain);
    unsetenv("TERM");
    EXPECT_EQ(plainFormFor(file.get()), Output::Form::Coloured);
}

TEST(AnOutput, WritesEachLineAtOnce) {
    Lines lines;
    Output output(lines.file(), Output::Form::Json);

    output.report(StartedEvent{0});

    EXPECT_THAT(lines.text(), AllOf(HasSubstr("started"), EndsWith("\n")));
}

TEST(AnOutput, CountsViolations) {
    Lines lines;
    Output output(lines.file(), Output::Form::Json);

    output.report(StartedEvent{0});
    output.violation("one");
    output.violation("two");

    EXPECT_EQ(output.violations(), 2u);
}

TEST(AnOutput, IsBrokenWhenNothingCanBeWritten) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> full(std::fopen("/dev/full", "w"), std::fclose);
    Output output(full.get(), Output::Form::Json);

    output.report(StartedEvent{0});

    EXPECT_TRUE(output.broken());
}

} // namespace
} // namespace zebhost
