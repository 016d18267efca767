#include "usb/AAPConfiguration.h"
#include "tests/usb/SystemCalls.h"

#include <gtest/gtest.h>
#include <string>

using zebdiscoverer_usb::AAPConfiguration;
using zebtest::systemCalls;

namespace {

struct Row {
    const char* key;
    const char* byDefault;
    const char* (AAPConfiguration::*get)() const;
};

const Row kRows[] = {
    {"aapmanufacturer", "Example Company", &AAPConfiguration::getManufacturer},
    {"aapmodel", "AAPTest", &AAPConfiguration::getModel},
    {"aapdescription", "Example Company AAP Bearer", &AAPConfiguration::getDescription},
    {"aapversion", "0.1", &AAPConfiguration::getVersion},
    {"aapuri", "https://www.example.com/", &AAPConfiguration::getUri},
    {"aapserial", "serial_number", &AAPConfiguration::getSerial},
};

std::string valueOf(const AAPConfiguration& configuration, const Row& row) {
    return (configuration.*row.get)();
}

TEST(AnAccessoryIdentification, StartsWithItsDefaults) {
    const AAPConfiguration configuration;

    for (const Row& row : kRows)
        EXPECT_EQ(valueOf(configuration, row), row.byDefault) << row.key;
}

TEST(AnAccessoryIdentification, TakesEachValueByItsKeyAlone) {
    for (const Row& set : kRows) {
        AAPConfiguration configuration;

        EXPECT_EQ(configuration.setProperty(set.key, "X"), 0);

        for (const Row& row : kRows)
            EXPECT_EQ(valueOf(configuration, row), row.key == set.key ? "X" : row.byDefault)
                << row.key << " after " << set.key;
    }
}

TEST(AnAccessoryIdentification, CopiesItsValues) {
    AAPConfiguration configuration;
    std::string value = "before";

    configuration.setProperty("aapmodel", value.c_str());
    value = "behind";

    EXPECT_STREQ(configuration.getModel(), "before");
}

TEST(AnAccessoryIdentification, ReplacesValuesAndGoesBackToTheDefaults) {
    for (const Row& row : kRows) {
        AAPConfiguration configuration;
        EXPECT_EQ(configuration.setProperty(row.key, "X"), 0);
        EXPECT_EQ(configuration.setProperty(row.key, "a longer one"), 0);
        EXPECT_EQ(valueOf(configuration, row), "a longer one");

        EXPECT_EQ(configuration.setProperty(row.key, nullptr), 0);
        EXPECT_EQ(valueOf(configuration, row), row.byDefault);
        EXPECT_EQ(configuration.setProperty(row.key, nullptr), 0);
    }
}

TEST(AnAccessoryIdentification, KeepsAnEmptyValue) {
    for (const Row& row : kRows) {
        AAPConfiguration configuration;

        EXPECT_EQ(configuration.setProperty(row.key, ""), 0);

        EXPECT_EQ(valueOf(configuration, row), "");
    }
}

TEST(AnAccessoryIdentification, TakesValuesOfAnyLength) {
    AAPConfiguration configuration;
    const std::string value(100000, 'x');

    EXPECT_EQ(configuration.setProperty("aapuri", value.c_str()), 0);

    EXPECT_EQ(configuration.getUri(), value);
}

TEST(AnAccessoryIdentification, KnowsNoOtherKeys) {
    AAPConfiguration configuration;

    for (const char* key : {"AAPModel", "aapmode", "aapmodels", " aapmodel", "", "model"}) {
        EXPECT_EQ(configuration.setProperty(key, "X"), 9) << key;
        EXPECT_EQ(configuration.setProperty(key, nullptr), 9) << key;
    }

    EXPECT_STREQ(configuration.getModel(), "AAPTest");
}

TEST(AnAccessoryIdentification, KeepsTheOldValueWhenOutOfMemory) {
    AAPConfiguration configuration;
    configuration.setProperty("aapmodel", "old");

    systemCalls().failMallocAt = 1;
    const int error = configuration.setProperty("aapmodel", "new");
    const int unused = systemCalls().failMallocAt;
    systemCalls().failMallocAt = 0;

    EXPECT_EQ(unused, 0) << "malloc was called";
    EXPECT_EQ(error, 3);
    EXPECT_STREQ(configuration.getModel(), "old");
}

TEST(AnAccessoryIdentification, NeedsNoMemoryToGoBackToADefault) {
    AAPConfiguration configuration;
    configuration.setProperty("aapmodel", "old");

    systemCalls().failMallocAt = 1;
    const int error = configuration.setProperty("aapmodel", nullptr);
    systemCalls().failMallocAt = 0;

    EXPECT_EQ(error, 0);
    EXPECT_STREQ(configuration.getModel(), "AAPTest");
}

TEST(AnAccessoryIdentification, KnowsNoPropertyWithoutAName) {
    AAPConfiguration configuration;

    EXPECT_EQ(configuration.setProperty(nullptr, "value"), configuration.setProperty("unknown", "value"));
    EXPECT_STREQ(configuration.getManufacturer(), AAPConfiguration().getManufacturer());
}

} // namespace
