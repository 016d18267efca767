#include "host/Output.h"
#include "host/Terminal.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace zebhost {
namespace {

struct Line {
    Colour colour;
    std::string text;
};

std::string show(const UsbAddress& address) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%03d/%03d", address.bus, address.device);
    return text.data();
}

Line lineFor(const RunEvent& e) { return {Colour::None, "zebhost    " + e.version}; }

Line lineFor(const DeviceEvent& e) {
    bool add = std::string_view(e.action) == "add";
    return {Colour::Notable, std::string(add ? "plugged    " : "unplugged  ") + show(e.address) + "  " +
                                 e.vendor + ":" + e.product + "  " + printable(e.name)};
}

const char* outcome(const VerdictEvent& e) {
    if (e.dryRun)
        return e.offered ? "would be offered" : "would be withheld";
    return e.offered ? "offered" : "withheld";
}

Line lineFor(const VerdictEvent& e) {
    return {e.offered ? Colour::None : Colour::Faint, "verdict    " + show(e.address) + "  " + outcome(e) +
                                                          " (" + e.rule + "): " + printable(e.reason)};
}

Line lineFor(const AdviceEvent& e) {
    std::string where = e.address.port.empty() ? "" : show(e.address) + "  ";
    return {Colour::Notable, "advice     " + where + printable(e.text)};
}

Line lineFor(const InterestEvent& e) {
    const std::string words = interestInWords(e.description);
    if (e.level >= 100)
        return {Colour::Faint, "interest   " + show(e.address) + "  none"};
    return {Colour::None, "interest   " + show(e.address) + "  level " + std::to_string(e.level) + ", \"" +
                              printable(e.description) + "\"" + (words.empty() ? "" : ": " + words)};
}

Line lineFor(const OfferEvent& e) {
    return {Colour::None, "offer      " + show(e.address) + "  at port " + e.address.port};
}

std::string seconds(uint64_t microseconds) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.3f", static_cast<double>(microseconds) / 1e6);
    return text.data();
}

Line lineFor(const StoryEvent& e) {
    std::string text;
    for (const StoryEvent::Stage& stage : e.stages)
        text += (text.empty() ? "" : ", ") + std::string(stage.name) + " " + seconds(stage.afterUs);
    return {Colour::Good, "story      " + show(e.address) + "  " + e.kind + " at port " + e.address.port +
                              ", seconds since "
                              "it was plugged in: " +
                              text};
}

Line lineFor(const EntityEvent& e) {
    std::string_view action = e.action;
    Colour colour = action == "published" ? Colour::Good : Colour::None;
    std::string_view note = action == "added" ? " (not shown to clients)" : "";
    return {colour, "entity     #" + std::to_string(e.id) + " " + e.action + std::string(note) + "  " +
                        show(e.address)};
}

Line lineFor(const ValueEvent& e) {
    std::string start = "value      #" + std::to_string(e.id) + " " + printable(e.key);
    if (!e.value)
        return {Colour::Faint, start + ": none (error " + std::to_string(e.error) + ")"};
    return {e.key == "zebcmd" ? Colour::Good : Colour::None, start + " = " + printable(*e.value)};
}

Line lineFor(const LogEvent& e) {
    return {e.severity <= 10 ? Colour::Bad : Colour::Faint,
            "plug-in    [" + std::to_string(e.severity) + "] " + printable(e.text)};
}

Line lineFor(const StartedEvent& e) {
    return {Colour::None, e.error == 0 ? "started    waiting for devices, Ctrl-C ends"
                                       : "started    with error " + std::to_string(e.error)};
}

Line lineFor(const StoppedEvent& e) {
    return {Colour::None, e.error == 0 ? "stopped" : "stopped    with error " + std::to_string(e.error)};
}

Line lineFor(const ViolationEvent& e) { return {Colour::Bad, "VIOLATION  " + printable(e.text)}; }

} // namespace

std::string interestInWords(std::string_view code) {
    if (code == "103")
        return "a phone that shares its network";
    if (code == "105")
        return "perhaps a phone that can be switched to accessory mode";
    if (code == "106")
        return "a phone in accessory mode";
    return "";
}

std::string plainLine(uint64_t sinceStartUs, const Event& event, bool colours) {
    Line line = std::visit([](const auto& e) { return lineFor(e); }, event);
    std::array<char, 32> time;
    std::snprintf(time.data(), time.size(), "%9.3f  ", static_cast<double>(sinceStartUs) / 1e6);
    return time.data() + painted(std::move(line.text), line.colour, colours);
}

} // namespace zebhost
