#include "tests/fuzz/Targets.h"

#include "host/Configuration.h"
#include "host/DeviceRecord.h"
#include "phones/PhoneFile.h"
#include "tests/fuzz/AnyOrder.h"

#include <stdexcept>
#include <string>

namespace zebtest {

ZEBDiscovererInitializeFunction gpInitialize = nullptr;

namespace {

constexpr int kMostCalls = 300;

/** Any record: what the plug-in takes it for, and what becomes of it. */
void deviceRecords(const std::uint8_t* bytes, std::size_t size) {
    Choices choices(bytes, size);
    AnyOrder(gpInitialize, choices).offerRecords(kMostCalls);
}

void callSequences(const std::uint8_t* bytes, std::size_t size) {
    Choices choices(bytes, size);
    AnyOrder(gpInitialize, choices).live(kMostCalls);
}

/** Tables of any size with any slots, and a life with what is in them. */
void tables(const std::uint8_t* bytes, std::size_t size) {
    Choices choices(bytes, size);
    AnyOrder(gpInitialize, choices, AnyOrder::Tables::Any).live(kMostCalls);
}

/** One phone that is to be switched, and all that libusb may do meanwhile. */
void transfers(const std::uint8_t* bytes, std::size_t size) {
    Choices choices(bytes, size);
    AnyOrder(gpInitialize, choices).shakeHands(kMostCalls);
}

void expectReadable(const ZEBDeviceDescriptor& record) {
    for (std::uint32_t i = 0; i < record.propertiesCount; ++i) {
        if (std::string(record.properties[i]).empty())
            fail("an empty property");
    }
    for (std::uint32_t i = 0; i < record.childrenCount; ++i)
        expectReadable(record.children[i]);
}

/** The host's parser of a device's descriptors, and the record that is made of them. */
void descriptors(const std::uint8_t* bytes, std::size_t size) {
    zebhost::UsbDevice device;
    device.activeConfiguration = size > 0 ? bytes[size - 1] : 0;
    const std::optional<zebhost::UsbDescriptors> parsed = zebhost::parseDescriptors({bytes, size});
    if (!parsed)
        return;
    device.descriptors = *parsed;
    const zebhost::DeviceRecord record(1, device);
    const ZEBDeviceInfo& info = *record.info();
    if (info.propertiesCount != 5 || info.descriptorsCount != parsed->configurations.size())
        fail("%u properties, %u configurations", info.propertiesCount, info.descriptorsCount);
    for (std::uint32_t i = 0; i < info.descriptorsCount; ++i)
        expectReadable(info.descriptors[i]);
}

/** A face comes out of the host's parser as it went in. */
void expectSameFace(const zebphones::UsbFace& face) {
    const std::vector<std::uint8_t> bytes = zebphones::descriptors(face);
    const std::optional<zebhost::UsbDescriptors> parsed = zebhost::parseDescriptors(bytes);
    if (!parsed || parsed->vendor != face.vendor || parsed->product != face.product ||
        parsed->deviceClass != face.deviceClass || parsed->configurations.size() != 1)
        fail("a phone's descriptors are read as another device's");
    std::size_t interfaces = 0;
    for (const auto& part : parsed->configurations[0].parts)
        interfaces += std::holds_alternative<zebhost::UsbInterface>(part) ? 1 : 0;
    if (interfaces != face.interfaces.size())
        fail("%zu of %zu interfaces are read", interfaces, face.interfaces.size());
}

/** A phone's file is one, or is refused with a text for people. */
void phoneFiles(const std::uint8_t* bytes, std::size_t size) {
    try {
        const std::string text(reinterpret_cast<const char*>(bytes), size);
        const zebphones::PhoneFile file = zebphones::parsePhoneFile(text, "any.toml");
        expectSameFace(file.phone.normal);
        expectSameFace(file.phone.accessory);
    } catch (const std::runtime_error& refused) {
        if (!std::string_view(refused.what()).starts_with("any.toml:"))
            fail("a refusal without a place: %s", refused.what());
    }
}

/** A configuration is one, or is refused with a text for people. */
void configuration(const std::uint8_t* bytes, std::size_t size) {
    const auto read = zebhost::parseConfiguration({reinterpret_cast<const char*>(bytes), size});
    const auto* fault = std::get_if<zebhost::ConfigurationFault>(&read);
    if (fault && (fault->line == 0 || fault->column == 0 || fault->text.empty()))
        fail("a refusal at line %u, column %u: %s", fault->line, fault->column, fault->text.c_str());
}

constexpr Target kTargets[] = {
    {"device-records", deviceRecords}, {"call-sequences", callSequences}, {"tables", tables},
    {"transfers", transfers},          {"descriptors", descriptors},      {"configuration", configuration},
    {"phone-files", phoneFiles},
};

} // namespace

std::span<const Target> targets() { return kTargets; }

} // namespace zebtest
