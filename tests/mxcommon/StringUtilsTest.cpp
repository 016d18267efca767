#include "mxcommon/StringUtils.h"

#include <gmock/gmock.h>

#include <array>
#include <climits>
#include <stdexcept>

namespace {

using namespace mxcommon;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FormatString, FormatsAsPrintfDoes) {
    EXPECT_EQ(formatString("%s=%d (%03u, %c)", "bus", -4, 7u, 'x'), "bus=-4 (007, x)");
}

TEST(FormatString, GivesNothingForANullFormat) {
    const char* const format = nullptr;

    EXPECT_EQ(formatString(format), "");
}

TEST(FormatString, EndsAtTheFirstNul) { EXPECT_EQ(formatString("ab%ccd", '\0'), "ab"); }

TEST(FormatString, KeepsEveryLengthAroundTheBufferSizes) {
    for (const std::size_t size : {1u, 256u, 512u, 1024u, 131'072u, 524'288u}) {
        for (const std::size_t length : {size - 1, size, size + 1}) {
            const std::string text(std::min<std::size_t>(length, 524'287), 'x');

            EXPECT_EQ(formatString("%s", text.c_str()), text) << length;
        }
    }
}

TEST(FormatString, GivesEachAttemptTheSameArguments) {
    const std::string middle(3000, '-');

    EXPECT_EQ(formatString("%d%s%d", 1, middle.c_str(), 2), "1" + middle + "2");
}

struct Cut {
    const char* name;
    std::size_t position;
    std::string character;
    std::size_t length;
};

class ATooLongText : public testing::TestWithParam<Cut> {};

TEST_P(ATooLongText, IsCutBeforeACharacterThatMightNotBeWhole) {
    const auto& [name, position, character, length] = GetParam();
    std::string text(600'000, 'a');
    text.replace(position, character.size(), character);

    const std::string cut = formatString("%s", text.c_str());

    EXPECT_EQ(cut.size(), length);
    EXPECT_TRUE(text.starts_with(cut));
}

INSTANTIATE_TEST_SUITE_P(
    AtEachKindOfByte, ATooLongText,
    testing::Values(Cut{"Ascii", 0, "a", 524'287}, Cut{"AsciiBehindACharacter", 524'284, "\xC3\xA9", 524'287},
                    Cut{"LeadOfTwo", 524'286, "\xC3\xA9", 524'286},
                    Cut{"SecondOfTwo", 524'285, "\xC3\xA9", 524'285},
                    Cut{"LeadOfThree", 524'286, "\xE2\x82\xAC", 524'286},
                    Cut{"SecondOfThree", 524'285, "\xE2\x82\xAC", 524'285},
                    Cut{"LastOfThree", 524'284, "\xE2\x82\xAC", 524'284},
                    Cut{"LeadOfFour", 524'286, "\xF0\x9F\x93\xB1", 524'286},
                    Cut{"SecondOfFour", 524'285, "\xF0\x9F\x93\xB1", 524'285},
                    Cut{"ThirdOfFour", 524'284, "\xF0\x9F\x93\xB1", 524'284},
                    Cut{"LastOfFour", 524'283, "\xF0\x9F\x93\xB1", 524'283},
                    Cut{"LeadBehindACharacter", 524'284, "\xC3\xA9\xC3\xA9", 524'286},
                    Cut{"OnlyContinuations", 0, std::string(600'000, '\x80'), 0},
                    Cut{"ContinuationsBehindOneByte", 1, std::string(599'999, '\x80'), 0},
                    Cut{"ContinuationsBehindTwoBytes", 2, std::string(599'998, '\x80'), 1}),
    [](const auto& row) { return row.param.name; });

TEST(SplitString, CutsAtEveryDelimiterAndKeepsEmptyPieces) {
    EXPECT_THAT(splitString("a,b,c", ','), ElementsAre("a", "b", "c"));
    EXPECT_THAT(splitString("a,", ','), ElementsAre("a", ""));
    EXPECT_THAT(splitString(",a", ','), ElementsAre("", "a"));
    EXPECT_THAT(splitString("a,,b", ','), ElementsAre("a", "", "b"));
    EXPECT_THAT(splitString(",", ','), ElementsAre("", ""));
    EXPECT_THAT(splitString("abc", ','), ElementsAre("abc"));
}

TEST(SplitString, GivesNothingForAnEmptyText) {
    EXPECT_THAT(splitString("", ','), IsEmpty());
    EXPECT_THAT(splitString("", ',', 0), IsEmpty());
    EXPECT_THAT(splitString("", ',', 1), IsEmpty());
}

TEST(SplitString, LeavesTheRestUncutBeyondAMaximum) {
    EXPECT_THAT(splitString("a,b,c", ',', 1), ElementsAre("a,b,c"));
    EXPECT_THAT(splitString("a,b,c", ',', 2), ElementsAre("a", "b,c"));
    EXPECT_THAT(splitString("a,b,c", ',', 3), ElementsAre("a", "b", "c"));
    EXPECT_THAT(splitString("a,b,c", ',', 4), ElementsAre("a", "b", "c"));
    EXPECT_THAT(splitString("a,,c,", ',', 2), ElementsAre("a", ",c,"));
    EXPECT_THAT(splitString("a,b", ',', UINT_MAX), ElementsAre("a", "b"));
}

TEST(SplitString, RefusesAMaximumOfNone) {
    try {
        splitString("a,b", ',', 0);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Invalid value 0 for maxElemToSplit");
    }
}

TEST(SplitEvery, CutsIntoPiecesOfOneLength) {
    EXPECT_THAT(splitEvery("", 3), IsEmpty());
    EXPECT_THAT(splitEvery("ab", 3), ElementsAre("ab"));
    EXPECT_THAT(splitEvery("abcdef", 3), ElementsAre("abc", "def"));
    EXPECT_THAT(splitEvery("abcdefg", 3), ElementsAre("abc", "def", "g"));
    EXPECT_THAT(splitEvery("abc", SIZE_MAX), ElementsAre("abc"));
}

TEST(SplitEveryDeathTest, StopsAtPiecesOfNoLength) {
    EXPECT_DEATH(splitEvery("abc", 0), "Assertion `chunkLength != 0' failed");
}

TEST(FindAllBetween, FindsWhatLiesBetweenTheMarks) {
    EXPECT_THAT(findAllBetween("<a><b>", "<", ">"), ElementsAre("a", "b"));
    EXPECT_THAT(findAllBetween("<<a>>", "<", ">"), ElementsAre("<a"));
    EXPECT_THAT(findAllBetween("<>", "<", ">"), ElementsAre(""));
    EXPECT_THAT(findAllBetween("|a|b|c|", "|", "|"), ElementsAre("a", "c"));
    EXPECT_THAT(findAllBetween("x{{y}}z", "{{", "}}"), ElementsAre("y"));
    EXPECT_THAT(findAllBetween("<a", "<", ">"), IsEmpty());
    EXPECT_THAT(findAllBetween("a>", "<", ">"), IsEmpty());
    EXPECT_THAT(findAllBetween(">a<", "<", ">"), IsEmpty());
}

TEST(FindAllBetween, FindsNothingInATextShorterThanBothMarks) {
    EXPECT_THAT(findAllBetween("ab", "ab", "b"), IsEmpty());
    EXPECT_THAT(findAllBetween("", "<", ">"), IsEmpty());
}

TEST(FindAllBetween, EndsWithEmptyMarks) {
    EXPECT_THAT(findAllBetween("abab", "", "b"), ElementsAre("a", "a"));
    EXPECT_THAT(findAllBetween("abab", "a", ""), ElementsAre("", ""));
    EXPECT_THAT(findAllBetween("abab", "", ""), IsEmpty());
}

TEST(Trim, TakesTheWhiteSpaceOfBothEnds) {
    EXPECT_EQ(trim(" \t\n\v\f\ra b \t\n\v\f\r"), "a b");
    EXPECT_EQ(trim("a"), "a");
    EXPECT_EQ(trim(" \t "), "");
    EXPECT_EQ(trim(""), "");
    EXPECT_EQ(trim("\xA0 \xE9 "), "\xA0 \xE9");
}

TEST(ToLowerAndToUpper, ChangeOnlyAsciiLetters) {
    std::string every;
    std::string lower;
    std::string upper;
    for (int i = 0; i < 256; ++i) {
        const bool isUpper = i >= 'A' && i <= 'Z';
        const bool isLower = i >= 'a' && i <= 'z';
        every += static_cast<char>(i);
        lower += static_cast<char>(isUpper ? i + 32 : i);
        upper += static_cast<char>(isLower ? i - 32 : i);
    }

    EXPECT_EQ(toLower(every), lower);
    EXPECT_EQ(toUpper(every), upper);
    EXPECT_EQ(toLower(""), "");
}

TEST(ToHexString, WritesTwoUppercaseDigitsForEachByte) {
    EXPECT_EQ(toHexString({}), "");
    EXPECT_EQ(toHexString(std::array<std::uint8_t, 4>{0x00, 0x0A, 0x9F, 0xFF}), "000A9FFF");
    EXPECT_EQ(toHexString(std::vector<std::uint8_t>{0x18, 0xD1}), "18D1");
}

TEST(ParseLong, TakesTheWholeTextOrNothing) {
    EXPECT_EQ(parseLong("42", 10), 42);
    EXPECT_EQ(parseLong("-42", 10), -42);
    EXPECT_EQ(parseLong(" +7", 10), 7);
    EXPECT_EQ(parseLong("ff", 16), 255);
    EXPECT_EQ(parseLong("0x10", 0), 16);
    EXPECT_EQ(parseLong("", 10), std::nullopt);
    EXPECT_EQ(parseLong(" ", 10), std::nullopt);
    EXPECT_EQ(parseLong("-", 10), std::nullopt);
    EXPECT_EQ(parseLong("42 ", 10), std::nullopt);
    EXPECT_EQ(parseLong("4x2", 10), std::nullopt);
    EXPECT_EQ(parseLong(std::string("4\0002", 3), 10), std::nullopt);
    EXPECT_EQ(parseLong("42", 1), std::nullopt);
}

TEST(ParseNumbers, TakeTheirWholeRangeAndNotMore) {
    const auto beyond = [](auto number) { return std::to_string(number) + "0"; };

    EXPECT_EQ(parseLong(std::to_string(LONG_MAX), 10), LONG_MAX);
    EXPECT_EQ(parseLong(std::to_string(LONG_MIN), 10), LONG_MIN);
    EXPECT_EQ(parseLong(beyond(LONG_MAX), 10), std::nullopt);
    EXPECT_EQ(parseLong(beyond(LONG_MIN), 10), std::nullopt);
    EXPECT_EQ(parseUnsignedLong(std::to_string(ULONG_MAX), 10), ULONG_MAX);
    EXPECT_EQ(parseUnsignedLong(beyond(ULONG_MAX), 10), std::nullopt);
    EXPECT_EQ(parseLongLong(std::to_string(LLONG_MAX), 10), LLONG_MAX);
    EXPECT_EQ(parseLongLong(std::to_string(LLONG_MIN), 10), LLONG_MIN);
    EXPECT_EQ(parseLongLong(beyond(LLONG_MAX), 10), std::nullopt);
}

TEST(ParseNumbers, AreNotMisledByAnOldError) {
    errno = ERANGE;

    EXPECT_EQ(parseLong("1", 10), 1);
}

TEST(ParseUnsignedLong, TakesTheWholeTextOrNothing) {
    EXPECT_EQ(parseUnsignedLong("42", 10), 42u);
    EXPECT_EQ(parseUnsignedLong("", 10), std::nullopt);
    EXPECT_EQ(parseUnsignedLong("42z", 10), std::nullopt);
    EXPECT_EQ(parseLongLong("42", 10), 42);
    EXPECT_EQ(parseLongLong("", 10), std::nullopt);
    EXPECT_EQ(parseLongLong("42z", 10), std::nullopt);
}

TEST(ParseHexLong, WantsAPrefixAndADigit) {
    EXPECT_EQ(parseHexLong("0x1f"), 31);
    EXPECT_EQ(parseHexLong("0X1f"), 31);
    EXPECT_EQ(parseHexLong("0x7"), 7);
    EXPECT_EQ(parseHexLong("0x"), std::nullopt);
    EXPECT_EQ(parseHexLong("0x1G"), std::nullopt);
    EXPECT_EQ(parseHexLong("1f"), std::nullopt);
    EXPECT_EQ(parseHexLong("01f"), std::nullopt);
    EXPECT_EQ(parseHexLong("-0x1f"), std::nullopt);
    EXPECT_EQ(parseHexLong(""), std::nullopt);
    EXPECT_EQ(parseHexUnsignedLong("0xFFFFFFFF"), 0xFFFFFFFFu);
    EXPECT_EQ(parseHexUnsignedLong("0x"), std::nullopt);
    EXPECT_EQ(parseHexUnsignedLong("FFFF"), std::nullopt);
    EXPECT_EQ(parseHexUnsignedLong("0x" + std::string(17, 'F')), std::nullopt);
}

TEST(HexDigitValue, KnowsTheDigitsOfBothCasesAndNoOthers) {
    for (int i = 0; i < 256; ++i) {
        const std::size_t lower = std::string("0123456789abcdef").find(static_cast<char>(i));
        const std::size_t upper = std::string("0123456789ABCDEF").find(static_cast<char>(i));
        const std::size_t expected = std::min(lower, upper);

        const auto value = hexDigitValue(static_cast<char>(i));

        EXPECT_EQ(value.has_value(), expected != std::string::npos) << i;
        EXPECT_EQ(value.value_or(0), expected == std::string::npos ? 0 : expected) << i;
    }
}

TEST(OptionalString, IsEmptyForANullPointerOnly) {
    EXPECT_EQ(optionalString(nullptr), std::nullopt);
    EXPECT_EQ(optionalString(""), "");
    EXPECT_EQ(optionalString("usb"), "usb");
}

} // namespace
