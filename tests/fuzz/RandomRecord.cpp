#include "tests/fuzz/RandomRecord.h"

#include <cstdlib>

namespace zebtest {

namespace {

using Records = std::vector<Descriptor>;
using Text = std::optional<std::string>;

constexpr const char* kNumbers[] = {"2", "0",  "255", "6",  "1",  "224",
                                    "3", "10", "",    "-1", "02", "2147483647"};
constexpr const char* kVendors[] = {"04e8", "18d1", "18D1", "18d", ""};
constexpr const char* kProducts[] = {"6860", "2d00", "2d01", "2D00", "4ee2", ""};
constexpr const char* kPlaces[] = {"1", "2", "3", "007", "", "-3", "abc"};

template <std::size_t N>
Text textOf(Choices& choices, const char* const (&values)[N]) {
    if (choices.rarely(16))
        return {};
    if (!choices.rarely(16))
        return choices.of(values);
    std::string text(choices.below(8), ' ');
    for (char& c : text)
        c = static_cast<char>(1 + choices.below(255));
    return text;
}

Descriptor anyDescriptor(Choices& choices, int depth) {
    constexpr unsigned kKinds[] = {2, 1, 4, 8};
    Descriptor descriptor{choices.of(kKinds), !choices.rarely(5)};
    // Both triples are common, so that the rules that need two records are met as well.
    constexpr const char* kTriples[][3] = {
        {"2", "2", "255"}, {"2", "6", "0"}, {"2", "6", "255"}, {"2", "1", "7"}, {"224", "1", "3"}};
    if (choices.below(2) == 0) {
        for (const char* text : choices.of(kTriples))
            descriptor.properties.emplace_back(text);
    }
    for (std::uint32_t more = choices.below(5); more > 0; --more)
        descriptor.properties.push_back(textOf(choices, kNumbers));
    for (std::uint32_t more = depth > 0 ? choices.below(4) : 0; more > 0; --more)
        descriptor.children.push_back(anyDescriptor(choices, depth - 1));
    return descriptor;
}

Records anyDescriptors(Choices& choices) {
    switch (choices.below(4)) {
    case 0:
        return tetheringDescriptors();
    case 1:
        return plainDescriptors();
    default:
        Records records;
        for (std::uint32_t more = choices.below(5); more > 0; --more)
            records.push_back(anyDescriptor(choices, 2));
        return records;
    }
}

Properties anyProperties(Choices& choices) {
    Properties properties = {textOf(choices, kPlaces), textOf(choices, kPlaces), textOf(choices, kVendors),
                             textOf(choices, kProducts)};
    if (choices.rarely(2))
        properties.push_back(choices.rarely(4) ? Text() : Text("My phone"));
    if (choices.rarely(16))
        properties.resize(choices.below(3));
    return properties;
}

// --- What it must be taken for ---

const std::string& at(const Properties& properties, std::size_t n) {
    static const std::string none = "(none)";
    return n < properties.size() && properties[n] ? *properties[n] : none;
}

/** Active top-level records and active children of active configurations, in order. */
Records usable(const Records& all) {
    Records found;
    for (const Descriptor& record : all) {
        if (!record.active)
            continue;
        found.push_back(record);
        for (const Descriptor& child : record.children) {
            if (record.kind == 1 && child.active)
                found.push_back(child);
        }
    }
    return found;
}

const Descriptor* find(const Records& all, unsigned kind, const char* a, const char* b, const char* c) {
    for (const Descriptor& record : all) {
        const Properties& p = record.properties;
        if (record.kind == kind && p.size() >= 3 && at(p, 0) == a && at(p, 1) == b && (!c || at(p, 2) == c))
            return &record;
    }
    return nullptr;
}

long long valueOf(const Properties& properties, std::size_t n) {
    return std::atoll(at(properties, n).c_str());
}

bool covers(const Descriptor* association, const Descriptor* interface) {
    if (!association || !interface || association->properties.size() < 5 || interface->properties.size() < 4)
        return false;
    for (const std::size_t n : {3U, 4U}) {
        if (!association->properties[n] || !interface->properties[3])
            return false;
    }
    const long long first = valueOf(association->properties, 3);
    const long long number = valueOf(interface->properties, 3);
    return first <= number && number < first + valueOf(association->properties, 4);
}

bool isGateOpen(const Records& all) {
    for (const Descriptor& record : all) {
        if (!record.active)
            continue;
        if (record.kind == 2)
            return true;
        for (const Descriptor& child : record.children) {
            if (record.kind == 1 && child.active)
                return true;
        }
    }
    return false;
}

Taken takenFor(const Properties& properties, const Records& all) {
    if (!isGateOpen(all))
        return Taken::Not;
    const Records records = usable(all);
    const Descriptor* association = find(records, 4, "2", "6", "255");
    if (!association)
        association = find(records, 4, "2", "6", "0");
    if (covers(association, find(records, 2, "2", "2", "255")) || find(records, 2, "2", "1", nullptr) ||
        find(records, 2, "224", "1", "3"))
        return Taken::Tethering;
    if (properties.size() < 3 || !properties[2] || !properties[3])
        return Taken::Not;
    const bool isSwitched =
        *properties[2] == "18d1" && (*properties[3] == "2d00" || *properties[3] == "2d01");
    return isSwitched ? Taken::Switched : Taken::ToBeSwitched;
}

} // namespace

Interest interestIn(Taken taken) {
    constexpr Interest kInterests[] = {{100, nullptr}, {15, "103"}, {30, "105"}, {10, "106"}};
    return kInterests[static_cast<int>(taken)];
}

RandomRecord::RandomRecord(Choices& choices, unsigned deviceId) :
    RandomRecord(deviceId, anyProperties(choices), anyDescriptors(choices)) {}

RandomRecord::RandomRecord(unsigned deviceId, Properties all, std::vector<Descriptor> records) :
    id(deviceId),
    properties(std::move(all)),
    descriptors(std::move(records)),
    taken(takenFor(properties, descriptors)),
    record(id, properties, descriptors) {}

std::string RandomRecord::property(std::size_t n) const {
    return n < properties.size() && properties[n] ? *properties[n] : "";
}

int RandomRecord::number(std::size_t n) const { return std::atoi(property(n).c_str()); }

bool RandomRecord::mayBeOffered() const {
    const bool isAccessory = taken == Taken::ToBeSwitched || taken == Taken::Switched;
    return !isAccessory || (properties[0] && properties[1]);
}

} // namespace zebtest
