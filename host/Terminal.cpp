#include "host/Terminal.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace zebhost {
namespace {

const char* sequence(Colour colour) {
    switch (colour) {
    case Colour::Good:
        return "\033[32m";
    case Colour::Notable:
        return "\033[1m";
    case Colour::Bad:
        return "\033[31m";
    case Colour::Faint:
        return "\033[2m";
    case Colour::None:
        break;
    }
    return "";
}

} // namespace

bool coloursWanted(std::FILE* file) {
    const char* noColour = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    bool wanted = noColour == nullptr || *noColour == '\0';
    bool isDumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return wanted && !isDumb && isatty(fileno(file));
}

std::string painted(std::string text, Colour colour, bool colours) {
    if (!colours || colour == Colour::None)
        return text;
    return sequence(colour) + text + "\033[0m";
}

std::string asUtf8(std::string_view text) {
    using Json = nlohmann::json;
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

std::string printable(std::string_view text) {
    std::string shown = asUtf8(text);
    unsigned previous = 0;
    for (char& c : shown) {
        unsigned byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f)
            c = '?';
        if (previous == 0xc2 && byte >= 0x80 && byte < 0xa0)
            c = *(&c - 1) = '?';
        previous = byte;
    }
    return shown;
}

void complain(const std::string& sentence) {
    std::fprintf(stderr, "zebhost: %s\n", printable(sentence).c_str());
}

size_t shownWidth(std::string_view text) {
    // All bytes but those that continue a character.
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

} // namespace zebhost
