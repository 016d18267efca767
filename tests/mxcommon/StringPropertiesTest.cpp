// The string utilities against second, simple implementations, on random texts.
#include "mxcommon/StringUtils.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>

namespace {

using namespace mxcommon;

using Strings = std::vector<std::string>;

// Second implementations, byte by byte and without a care for speed.
namespace simple {

Strings split(const std::string& text, char delimiter, unsigned maximum) {
    Strings pieces;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (pieces.empty()) {
            pieces.emplace_back();
        }
        if (text[i] == delimiter && pieces.size() < maximum) {
            pieces.emplace_back();
        } else {
            pieces.back() += text[i];
        }
    }
    return pieces;
}

Strings every(const std::string& text, std::size_t length) {
    Strings pieces;
    for (const char c : text) {
        if (pieces.empty() || pieces.back().size() == length) {
            pieces.emplace_back();
        }
        pieces.back() += c;
    }
    return pieces;
}

Strings between(const std::string& text, const std::string& open, const std::string& close) {
    Strings found;
    std::string rest = text;
    while (true) {
        while (!rest.empty() && !rest.starts_with(open)) {
            rest.erase(0, 1);
        }
        if (!rest.starts_with(open)) {
            return found;
        }
        rest.erase(0, open.size());
        std::string inner;
        while (!rest.empty() && !rest.starts_with(close)) {
            inner += rest[0];
            rest.erase(0, 1);
        }
        if (!rest.starts_with(close)) {
            return found;
        }
        rest.erase(0, close.size());
        found.push_back(inner);
    }
}

std::string trim(std::string text) {
    const std::string space = " \t\n\v\f\r";
    while (!text.empty() && space.find(text.front()) != std::string::npos) {
        text.erase(0, 1);
    }
    while (!text.empty() && space.find(text.back()) != std::string::npos) {
        text.pop_back();
    }
    return text;
}

std::optional<long long> number(const std::string& text) {
    const std::string digits = text.starts_with('-') || text.starts_with('+') ? text.substr(1) : text;
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    long long value = 0;
    for (const char c : digits) {
        value = value * 10 + (c - '0');
    }
    return text.starts_with('-') ? -value : value;
}

} // namespace simple

/** Short texts of few different characters, so that delimiters meet often. */
class RandomTexts : public testing::Test {
protected:
    std::string text(const std::string& characters, std::size_t longest) {
        std::string result(upTo(longest), ' ');
        for (char& c : result) {
            c = characters[upTo(characters.size() - 1)];
        }
        return result;
    }

    std::size_t upTo(std::size_t largest) {
        return std::uniform_int_distribution<std::size_t>(0, largest)(mRandom);
    }

    static constexpr int kRounds = 20'000;
    std::mt19937 mRandom{20'240'229};
};

TEST_F(RandomTexts, AreSplitAsTheSimpleWayDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::string given = text("a,b", 12);
        const auto maximum = static_cast<unsigned>(1 + upTo(6));

        ASSERT_EQ(splitString(given, ','), simple::split(given, ',', UINT_MAX)) << given;
        ASSERT_EQ(splitString(given, ',', maximum), simple::split(given, ',', maximum)) << given;
        ASSERT_EQ(splitEvery(given, maximum), simple::every(given, maximum)) << given;
    }
}

TEST_F(RandomTexts, AreSearchedAsTheSimpleWayDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::string given = text("<>a", 16);
        const std::string open = "<" + text("<a", 1);
        const std::string close = ">" + text(">a", 1);

        ASSERT_EQ(findAllBetween(given, open, close), simple::between(given, open, close))
            << given << ' ' << open << ' ' << close;
    }
}

TEST_F(RandomTexts, AreTrimmedAsTheSimpleWayDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::string given = text(" \t\n\v\f\rab", 10);

        ASSERT_EQ(trim(given), simple::trim(given));
    }
}

TEST_F(RandomTexts, AreParsedAsTheSimpleWayDoes) {
    for (int round = 0; round < kRounds; ++round) {
        const std::string given = text("0123456789-+x", 8);

        ASSERT_EQ(parseLongLong(given, 10), simple::number(given)) << given;
        ASSERT_EQ(parseLong(given, 10), simple::number(given)) << given;
    }
}

TEST_F(RandomTexts, AreFormattedWhole) {
    for (int round = 0; round < 2'000; ++round) {
        const std::string first = text("ab%\xC3\xA9", 700);
        const std::string second = text("xy", 700);

        ASSERT_EQ(formatString("%s-%s", first.c_str(), second.c_str()), first + "-" + second);
    }
}

TEST_F(RandomTexts, ComeBackFromHexadecimalDigits) {
    for (int round = 0; round < 2'000; ++round) {
        std::vector<std::uint8_t> bytes(upTo(20));
        for (auto& byte : bytes) {
            byte = static_cast<std::uint8_t>(upTo(255));
        }
        const std::string digits = toHexString(bytes);

        ASSERT_EQ(digits.size(), bytes.size() * 2);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_EQ(*hexDigitValue(digits[2 * i]) * 16 + *hexDigitValue(digits[2 * i + 1]), bytes[i]);
        }
    }
}

} // namespace
