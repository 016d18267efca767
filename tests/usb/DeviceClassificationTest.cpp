#include "usb/DeviceClassification.h"
#include "tests/support/DeviceRecord.h"

#include <gtest/gtest.h>

using namespace zebtest;
using namespace zebdiscoverer_usb;

namespace {

using Records = std::vector<Descriptor>;
constexpr bool kInactive = false;

const Descriptor kVendorAcm = interface({"2", "2", "255", "0"});
const Descriptor kPlain = interface({"255", "66", "1", "0"});

Descriptor numbered(const char* number) { return interface({"2", "2", "255", number}); }
Descriptor ranged(const char* first, const char* count, const char* protocol = "0") {
    return association({"2", "6", protocol, first, count});
}

struct KindRow {
    const char* what;
    Records records;
    Properties properties;
    DeviceKind kind;
    bool flagA;
    bool flagB;
};

const Properties kIds = usbProperties("04e8", "6860");
constexpr auto None = DeviceKind::None;
constexpr auto Tethering = DeviceKind::Tethering;
constexpr auto Accessory = DeviceKind::Accessory;

// clang-format off
const KindRow kKinds[] = {
    // The gate.
    {"no records", {}, kIds, None, false, false},
    {"an inactive interface", {interface({"224", "1", "3"}, kInactive)}, kIds, None, false, false},
    {"an active interface in an inactive configuration", {configuration({interface({"224", "1", "3"})}, kInactive)}, kIds, None, false, false},
    {"an inactive interface in an active configuration", {configuration({interface({"224", "1", "3"}, kInactive)})}, kIds, None, false, false},
    {"an empty active configuration", {configuration({})}, kIds, None, false, false},
    {"an active association alone", {ranged("0", "2")}, kIds, None, false, false},
    {"an unknown kind alone", {{8, true, {"224", "1", "3"}, {}}}, kIds, None, false, false},
    {"a configuration with a child of unknown kind", {configuration({{8, true, {}, {}}})}, kIds, Accessory, false, true},
    {"a configuration with an association only", {configuration({ranged("0", "2")})}, kIds, Accessory, false, true},
    {"an unusable record before a usable one", {configuration({}, kInactive), kPlain}, kIds, Accessory, false, true},
    // Tethering, first rule.
    {"an association 2/6/255 around its interface", {configuration({ranged("0", "2", "255"), kVendorAcm})}, kIds, Tethering, true, false},
    {"an association 2/6/0 around its interface", {configuration({ranged("0", "2"), kVendorAcm})}, kIds, Tethering, true, false},
    {"all of it at the top level", {ranged("0", "2"), kVendorAcm}, kIds, Tethering, true, false},
    {"an association 2/6/1", {configuration({ranged("0", "2", "1"), kVendorAcm})}, kIds, Accessory, false, true},
    {"the interface outside the range", {configuration({ranged("0", "2"), numbered("2")})}, kIds, Accessory, false, true},
    {"the interface before the range", {configuration({ranged("1", "2"), kVendorAcm})}, kIds, Accessory, false, true},
    {"the association without an interface", {configuration({ranged("0", "2"), interface({"2", "2", "1", "0"})})}, kIds, Accessory, false, true},
    {"the interface without an association", {configuration({kVendorAcm})}, kIds, Accessory, false, true},
    {"an inactive association", {configuration({association({"2", "6", "0", "0", "2"}, kInactive), kVendorAcm})}, kIds, Accessory, false, true},
    {"an inactive interface in the association", {configuration({ranged("0", "2"), interface({"2", "2", "255", "0"}, kInactive), kPlain})}, kIds, Accessory, false, true},
    {"2/6/255 wins over 2/6/0 though it does not fit", {configuration({ranged("0", "2"), ranged("5", "2", "255"), kVendorAcm})}, kIds, Accessory, false, true},
    {"only the first interface is looked at", {configuration({ranged("1", "1"), kVendorAcm, numbered("1")})}, kIds, Accessory, false, true},
    {"association and interface in different configurations", {configuration({ranged("0", "2")}), configuration({kVendorAcm})}, kIds, Tethering, true, false},
    // Second and third rule.
    {"an interface 2/1/0", {configuration({interface({"2", "1", "0"})})}, kIds, Tethering, true, false},
    {"an interface 2/1 of any protocol", {interface({"2", "1", std::nullopt})}, kIds, Tethering, true, false},
    {"an interface 224/1/3", {configuration({interface({"224", "1", "3"})})}, kIds, Tethering, true, false},
    {"an interface 224/1/1", {configuration({interface({"224", "1", "1"})})}, kIds, Accessory, false, true},
    {"an interface 224/1 without protocol", {configuration({interface({"224", "1", std::nullopt})})}, kIds, Accessory, false, true},
    {"an association 224/1/3", {configuration({association({"224", "1", "3"}), kPlain})}, kIds, Accessory, false, true},
    {"too few properties", {configuration({interface({"2", "1"}), kPlain})}, kIds, Accessory, false, true},
    {"a tethering phone with accessory ids", {configuration({interface({"224", "1", "3"})})}, usbProperties("18d1", "2d00"), Tethering, true, false},
    // Accessories.
    {"18d1:2d00", {kPlain}, usbProperties("18d1", "2d00"), Accessory, true, true},
    {"18d1:2d01", {kPlain}, usbProperties("18d1", "2d01"), Accessory, true, true},
    {"18d1:2d02", {kPlain}, usbProperties("18d1", "2d02"), Accessory, false, true},
    {"18d1:4ee2", {kPlain}, usbProperties("18d1", "4ee2"), Accessory, false, true},
    {"18D1:2d00", {kPlain}, usbProperties("18D1", "2d00"), Accessory, false, true},
    {"18d1:2D00", {kPlain}, usbProperties("18d1", "2D00"), Accessory, false, true},
    {"04e8:2d00", {kPlain}, usbProperties("04e8", "2d00"), Accessory, false, true},
    {"no vendor", {kPlain}, {"1", "4", std::nullopt, "2d00"}, None, false, false},
    {"no product", {kPlain}, {"1", "4", "18d1", std::nullopt}, None, false, false},
    {"two properties", {kPlain}, {"1", "4"}, None, false, false},
    {"no properties", {kPlain}, {}, None, false, false},
};
// clang-format on

TEST(ADevice, IsWhatItsRecordsSay) {
    for (const KindRow& row : kKinds) {
        SCOPED_TRACE(row.what);
        const DeviceRecord device(1, row.properties, row.records);
        bool flagA = false, flagB = false;

        EXPECT_EQ(classify(*device.get(), flagA, flagB), row.kind);
        EXPECT_EQ(flagA, row.flagA);
        EXPECT_EQ(flagB, row.flagB);
    }
}

TEST(ADevice, ThatTethersClearsWhatWasSetForAnAccessory) {
    const DeviceRecord device(1, kIds, tetheringDescriptors());
    bool flagA = false, flagB = true;

    EXPECT_EQ(classify(*device.get(), flagA, flagB), Tethering);
    EXPECT_TRUE(flagA);
    EXPECT_FALSE(flagB);
}

TEST(ADevice, IsReadUpToItsProductWhenItClaimsThreeProperties) {
    DeviceRecord device(1, usbProperties("18d1", "2d00"), {kPlain});
    device.claimPropertiesCount(3);
    bool flagA = false, flagB = false;

    EXPECT_EQ(classify(*device.get(), flagA, flagB), DeviceKind::Accessory);
    EXPECT_TRUE(flagA) << "the fourth property was read";
    device.claimPropertiesCount(2);
    EXPECT_EQ(classify(*device.get(), flagA, flagB), DeviceKind::None);
}

TEST(ATetheringDevice, TakesBackWhatAnotherDeviceLeftInTheFlags) {
    const DeviceRecord device(1, usbProperties("18d1", "2d00"), tetheringDescriptors());
    bool flagA = false, flagB = true;

    EXPECT_EQ(classify(*device.get(), flagA, flagB), DeviceKind::Tethering);
    EXPECT_TRUE(flagA);
    EXPECT_FALSE(flagB);
}

TEST(ADevice, HasNothingOfWhatItCountsWithoutAnArray) {
    ZEBDeviceDescriptor record{ZEBDeviceDescriptorInterface, 1, 3, nullptr, 0, nullptr};
    ZEBDeviceInfo device{0, 1, 0, nullptr, 1, &record};
    bool flagA = false, flagB = false;

    EXPECT_EQ(classify(device, flagA, flagB), DeviceKind::None) << "no properties";
    EXPECT_FALSE(findInterface(device, "224", "1", nullptr, false));
    record = {ZEBDeviceDescriptorConfiguration, 1, 0, nullptr, 1, nullptr};
    EXPECT_EQ(classify(device, flagA, flagB), DeviceKind::None) << "no children";
    device.descriptors = nullptr;
    EXPECT_EQ(classify(device, flagA, flagB), DeviceKind::None) << "no records";
}

// The searches.

const ZEBDeviceDescriptor* at(const DeviceRecord& device, unsigned record) {
    return &device.get()->descriptors[record];
}
const ZEBDeviceDescriptor* at(const DeviceRecord& device, unsigned record, unsigned child) {
    return &device.get()->descriptors[record].children[child];
}

TEST(ASearch, TakesTheFirstInRecordOrderAndDescendsAtItsPlace) {
    const Descriptor match = interface({"1", "2", "3"});
    const DeviceRecord nested(1, {}, {kPlain, configuration({kPlain, match, match}), match});
    const DeviceRecord before(1, {}, {match, configuration({match})});
    const DeviceRecord behind(1, {}, {configuration({match}, kInactive), configuration({kPlain}), match});

    EXPECT_EQ(findInterface(*nested.get(), "1", "2", "3", false), at(nested, 1, 1));
    EXPECT_EQ(findInterface(*before.get(), "1", "2", "3", false), at(before, 0));
    EXPECT_EQ(findInterface(*behind.get(), "1", "2", "3", false), at(behind, 2));
}

TEST(ASearch, DescendsIntoConfigurationsOnlyAndOnlyOnce) {
    const Descriptor match = interface({"1", "2", "3"});
    Descriptor parent = interface({"9", "9", "9"});
    parent.children = {match};
    const DeviceRecord inInterface(1, {}, {parent});
    const DeviceRecord twice(1, {}, {configuration({configuration({match})})});

    EXPECT_EQ(findInterface(*inInterface.get(), "1", "2", "3", false), nullptr);
    EXPECT_EQ(findInterface(*twice.get(), "1", "2", "3", false), nullptr);
}

struct MatchRow {
    const char* what;
    Descriptor record;
    const char* protocol;
    bool requireExtra;
    bool isInterface;
    bool isAssociation;
};

// clang-format off
const MatchRow kMatches[] = {
    {"the triple", interface({"1", "2", "3"}), "3", false, true, false},
    {"any protocol", interface({"1", "2", "9"}), nullptr, false, true, false},
    {"any protocol, even none", interface({"1", "2", std::nullopt}), nullptr, false, true, false},
    {"another class", interface({"9", "2", "3"}), "3", false, false, false},
    {"another subclass", interface({"1", "9", "3"}), "3", false, false, false},
    {"another protocol", interface({"1", "2", "9"}), "3", false, false, false},
    {"a longer class", interface({"11", "2", "3"}), "3", false, false, false},
    {"no class", interface({std::nullopt, "2", "3"}), "3", false, false, false},
    {"no subclass", interface({"1", std::nullopt, "3"}), "3", false, false, false},
    {"no protocol", interface({"1", "2", std::nullopt}), "3", false, false, false},
    {"too few properties", interface({"1", "2"}), nullptr, false, false, false},
    {"inactive", interface({"1", "2", "3"}, kInactive), "3", false, false, false},
    {"an association", association({"1", "2", "3"}), "3", false, false, true},
    {"an association of any protocol", association({"1", "2", "9"}), nullptr, false, false, true},
    {"an inactive association", association({"1", "2", "3"}, kInactive), "3", false, false, false},
    {"an association with too few properties", association({"1", "2"}), nullptr, false, false, false},
    {"a configuration", {1, true, {"1", "2", "3"}, {}}, "3", false, false, false},
    {"an unknown kind", {3, true, {"1", "2", "3"}, {}}, "3", false, false, false},
    {"the extra value", interface({"1", "2", "3", "0", "0", "extra"}), "3", true, true, false},
    {"a null extra value", interface({"1", "2", "3", "0", "0", std::nullopt}), "3", true, false, false},
    {"five properties", interface({"1", "2", "3", "0", "0"}), "3", true, false, false},
    {"a null extra value that is not needed", interface({"1", "2", "3", "0", "0", std::nullopt}), "3", false, true, false},
};
// clang-format on

TEST(ASearch, ComparesKindFlagAndTriple) {
    for (const MatchRow& row : kMatches) {
        SCOPED_TRACE(row.what);
        const DeviceRecord top(1, {}, {row.record});
        const DeviceRecord nested(1, {}, {configuration({row.record})});

        EXPECT_EQ(findInterface(*top.get(), "1", "2", row.protocol, row.requireExtra),
                  row.isInterface ? at(top, 0) : nullptr);
        EXPECT_EQ(findInterface(*nested.get(), "1", "2", row.protocol, row.requireExtra),
                  row.isInterface ? at(nested, 0, 0) : nullptr);
        if (!row.requireExtra) {
            EXPECT_EQ(findAssociation(*top.get(), "1", "2", row.protocol),
                      row.isAssociation ? at(top, 0) : nullptr);
            EXPECT_EQ(findAssociation(*nested.get(), "1", "2", row.protocol),
                      row.isAssociation ? at(nested, 0, 0) : nullptr);
        }
    }
}

struct RangeRow {
    std::optional<std::string> first, count, number;
    bool inside;
};

const RangeRow kRanges[] = {
    {"0", "2", "0", true},
    {"0", "2", "1", true},
    {"0", "2", "2", false},
    {"3", "2", "2", false},
    {"3", "2", "3", true},
    {"3", "2", "5", false},
    {"0", "0", "0", false},
    {"9", "2", "10", true}, // decimal
    {"9", "2", "11", false},
    {"-1", "2", "-1", true},
    {"-1", "2", "1", false},
    {"0", "-1", "0", false},
    {"x", "1", "0", true}, // no digits are 0
    {" 1", "1x", "1", true},
    {"2147483647", "2147483647", "2147483647", true}, // the end of the range is beyond an int
    {"2147483646", "2", "2147483647", true},
    {"-2147483648", "-2147483648", "-2147483648", false},
    {"99999999999", "1", "99999999999", true},
    {"99999999999", "1", "2147483647", true}, // the largest int
    {"-99999999999", "1", "-2147483648", true},
    {std::nullopt, "2", "0", false},
    {"0", std::nullopt, "0", false},
    {"0", "2", std::nullopt, false},
};

TEST(AnAssociation, HoldsTheInterfacesOfItsRange) {
    for (const RangeRow& row : kRanges) {
        SCOPED_TRACE(row.first.value_or("-") + " " + row.count.value_or("-") + " " +
                     row.number.value_or("-"));
        const DeviceRecord device(
            1, {},
            {association({"2", "6", "0", row.first, row.count}), interface({"2", "2", "255", row.number})});

        EXPECT_EQ(interfaceInAssociation(at(device, 0), at(device, 1)), row.inside);
    }
}

TEST(AnAssociation, HoldsNothingThatIsNotWhole) {
    const DeviceRecord device(1, {},
                              {association({"2", "6", "0", "0", "2"}), interface({"2", "2", "255", "0"}),
                               association({"2", "6", "0", "0"}), interface({"2", "2", "255"}),
                               configuration({}), interface({"2", "6", "0", "0", "2"})});

    EXPECT_TRUE(interfaceInAssociation(at(device, 0), at(device, 1)));
    EXPECT_FALSE(interfaceInAssociation(nullptr, at(device, 1)));
    EXPECT_FALSE(interfaceInAssociation(at(device, 0), nullptr));
    EXPECT_FALSE(interfaceInAssociation(at(device, 2), at(device, 1))) << "no count";
    EXPECT_FALSE(interfaceInAssociation(at(device, 0), at(device, 3))) << "no number";
    EXPECT_FALSE(interfaceInAssociation(at(device, 0), at(device, 0))) << "no interface";
    EXPECT_FALSE(interfaceInAssociation(at(device, 1), at(device, 1))) << "no association";
    EXPECT_FALSE(interfaceInAssociation(at(device, 5), at(device, 1))) << "one in all but its kind";
}

} // namespace
