#include "host/DeviceRecord.h"

#include <gmock/gmock.h>
#include <memory>

using namespace testing;

namespace zebhost {
namespace {

using Bytes = std::vector<uint8_t>;

const Bytes kDevice = {18, 1, 0, 2, 0, 0, 0, 64, 0xd1, 0x18, 0xe7, 0x4e, 0, 1, 1, 2, 3, 2};
const Bytes kFirst = {9, 2, 62, 0, 2, 1, 0, 0x80, 250};
const Bytes kAssociation = {8, 11, 0, 2, 2, 6, 255, 0};
const Bytes kControl = {9, 4, 0, 0, 1, 2, 2, 255, 0};
const Bytes kFunctional = {5, 0x24, 0, 0x10, 1};
const Bytes kEndpoint = {7, 5, 0x81, 3, 8, 0, 9};
const Bytes kData = {9, 4, 1, 0, 0, 10, 0, 0, 0};
const Bytes kDataAlternate = {9, 4, 1, 1, 2, 10, 0, 1, 0};
const Bytes kSecond = {9, 2, 18, 0, 1, 7, 0, 0x80, 250};
const Bytes kStorage = {9, 4, 0, 0, 0, 8, 6, 80, 0};

Bytes join(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

const Bytes kWhole = join({kDevice, kFirst, kAssociation, kControl, kFunctional, kEndpoint, kData,
                           kDataAlternate, kEndpoint, kSecond, kStorage});
const UsbDescriptors kParsed = {
    0x18d1,
    0x4ee7,
    0,
    {{1, {UsbAssociation{2, 6, 255, 0, 2}, UsbInterface{2, 2, 255, 0}, UsbInterface{10, 0, 0, 1}}},
     {7, {UsbInterface{8, 6, 80, 0}}}}};

/** Parsed from memory of exactly that length, so that a sanitizer sees a step beyond it. */
std::optional<UsbDescriptors> parseExact(const Bytes& bytes, size_t length) {
    auto exact = std::make_unique<uint8_t[]>(length);
    std::copy_n(bytes.begin(), length, exact.get());
    return parseDescriptors({exact.get(), length});
}

TEST(Descriptors, AreReadInTheOrderOfTheDevice) { EXPECT_EQ(parseDescriptors(kWhole), kParsed); }

TEST(Descriptors, CarryTheClassOfTheDevice) {
    Bytes hub = kDevice;
    hub[4] = 9;

    EXPECT_EQ(parseDescriptors(hub)->deviceClass, 9);
}

TEST(Descriptors, OfEveryPrefixAreThoseThatAreWhole) {
    for (size_t length = 0; length <= kWhole.size(); ++length) {
        std::optional<UsbDescriptors> parsed = parseExact(kWhole, length);

        ASSERT_EQ(parsed.has_value(), length >= kDevice.size()) << length;
        if (!parsed)
            continue;
        ASSERT_LE(parsed->configurations.size(), kParsed.configurations.size()) << length;
        for (size_t i = 0; i < parsed->configurations.size(); ++i) {
            auto& parts = parsed->configurations[i].parts;
            auto& whole = kParsed.configurations[i].parts;
            ASSERT_LE(parts.size(), whole.size()) << length;
            EXPECT_TRUE(std::equal(parts.begin(), parts.end(), whole.begin())) << length;
        }
    }
}

TEST(Descriptors, OfAnyBytesAreParsedWithinThem) {
    for (size_t at = 0; at < kWhole.size(); ++at) {
        for (int value : {0, 1, 2, 4, 8, 9, 11, 127, 255}) {
            Bytes garbled = kWhole;
            garbled[at] = static_cast<uint8_t>(value);

            std::optional<UsbDescriptors> parsed = parseExact(garbled, garbled.size());

            EXPECT_TRUE(parsed.has_value() || at < 2) << at << " = " << value;
        }
    }
}

struct Broken {
    const char* name;
    Bytes bytes;
    std::optional<UsbDescriptors> parsed;
};

const UsbDescriptors kNoConfiguration = {0x18d1, 0x4ee7, 0, {}};
const UsbDescriptors kEmptyConfiguration = {0x18d1, 0x4ee7, 0, {{1, {}}}};

const Broken kBroken[] = {
    {"nothing", {}, std::nullopt},
    {"another descriptor in front", join({kFirst, kDevice}), std::nullopt},
    {"a short device descriptor", {4, 1, 0, 2}, std::nullopt},
    {"a length of 0", join({kDevice, kFirst, {0, 4}, kControl}), kEmptyConfiguration},
    {"a length of 1", join({kDevice, kFirst, {1}, kControl}), kEmptyConfiguration},
    {"a length beyond the end", join({kDevice, kFirst, {9, 4, 0, 0}}), kEmptyConfiguration},
    {"a short configuration", join({kDevice, {4, 2, 62, 0}, kControl}), kNoConfiguration},
    {"a short interface", join({kDevice, kFirst, {8, 4, 0, 0, 1, 2, 2, 255}}), kEmptyConfiguration},
    {"a short association", join({kDevice, kFirst, {7, 11, 0, 2, 2, 6, 255}}), kEmptyConfiguration},
    {"an interface in front of all configurations", join({kDevice, kControl, kFirst}), kEmptyConfiguration},
    {"a second device descriptor", join({kDevice, kFirst, kDevice}), kEmptyConfiguration},
};

TEST(Descriptors, ThatCannotBeRightAreLeftOut) {
    for (const Broken& row : kBroken)
        EXPECT_EQ(parseExact(row.bytes, row.bytes.size()), row.parsed) << row.name;
}

UsbDevice phone(int activeConfiguration) { return {"1-1.2", 3, 14, "Phone", activeConfiguration, kParsed}; }

std::vector<std::string> texts(uint32_t count, const char* const* properties) {
    return {properties, properties + count};
}

TEST(ADeviceRecord, HasTheFivePropertiesOfTheProvider) {
    DeviceRecord record(5, phone(1));

    const ZEBDeviceInfo& info = *record.info();
    EXPECT_EQ(info.deviceId, 5u);
    EXPECT_THAT(texts(info.propertiesCount, info.properties),
                ElementsAre("3", "14", "18d1", "4ee7", "Phone (usb 1-1.2)"));
}

TEST(ADeviceRecord, NamesANamelessDeviceByItsIds) {
    UsbDevice nameless = phone(1);
    nameless.productName.clear();
    nameless.descriptors.vendor = 0xab;

    EXPECT_STREQ(DeviceRecord(5, nameless).info()->properties[4], "00ab:4ee7 (usb 1-1.2)");
}

TEST(ADeviceRecord, ListsWhatAConfigurationHoldsInOrder) {
    DeviceRecord record(5, phone(1));

    ASSERT_EQ(record.info()->descriptorsCount, 2u);
    const ZEBDeviceDescriptor& first = record.info()->descriptors[0];
    EXPECT_EQ(first.kind, uint32_t{ZEBDeviceDescriptorConfiguration});
    ASSERT_EQ(first.childrenCount, 3u);
    EXPECT_EQ(first.children[0].kind, uint32_t{ZEBDeviceDescriptorInterfaceAssociation});
    EXPECT_THAT(texts(first.children[0].propertiesCount, first.children[0].properties),
                ElementsAre("2", "6", "255", "0", "2"));
    EXPECT_EQ(first.children[1].kind, uint32_t{ZEBDeviceDescriptorInterface});
    EXPECT_THAT(texts(first.children[1].propertiesCount, first.children[1].properties),
                ElementsAre("2", "2", "255", "0"));
    EXPECT_EQ(first.children[1].childrenCount, 0u);
}

std::vector<uint32_t> activeFlags(const DeviceRecord& record) {
    std::vector<uint32_t> flags;
    for (uint32_t i = 0; i < record.info()->descriptorsCount; ++i) {
        const ZEBDeviceDescriptor& configuration = record.info()->descriptors[i];
        flags.push_back(configuration.active);
        for (uint32_t k = 0; k < configuration.childrenCount; ++k)
            flags.push_back(configuration.children[k].active);
    }
    return flags;
}

TEST(ADeviceRecord, IsActiveInTheActiveConfigurationOnly) {
    EXPECT_THAT(activeFlags(DeviceRecord(5, phone(1))), ElementsAre(1, 1, 1, 1, 0, 0));
    EXPECT_THAT(activeFlags(DeviceRecord(5, phone(7))), ElementsAre(0, 0, 0, 0, 1, 1));
    EXPECT_THAT(activeFlags(DeviceRecord(5, phone(0))), Each(0));
}

} // namespace
} // namespace zebhost
