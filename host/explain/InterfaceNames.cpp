#include "host/explain/InterfaceNames.h"

#include "host/InterfaceQueries.h"

#include <algorithm>

namespace zebhost {
namespace {

struct Named {
    Triple triple;
    const char* words;
};

// The first that fits: narrow ones before wide ones.
constexpr Named kRows[] = {
    {{255, 66, 1}, "USB debugging (ADB)"},
    {{255, 255, 0}, "file transfer (MTP), an accessory's channel, or something of the maker's own"},
    {{255}, "something of the maker's own"},
    {{6, 1, 1}, "pictures or file transfer (PTP or MTP)"},
    {{6}, "pictures"},
    {{224, 1, 3}, "network sharing (RNDIS)"},
    {{2, 2, 255}, "network sharing (RNDIS)"},
    {{239, 4, 1}, "network sharing (RNDIS, by a newer number)"},
    {{2, 13}, "network sharing or adapter (NCM)"},
    {{2, 6}, "network sharing or adapter (ECM)"},
    {{2, 14}, "mobile network (MBIM)"},
    {{2, 1}, "network sharing (direct line)"},
    {{2, 2}, "modem or serial line"},
    {{10}, "data of the interface before it"},
    {{224, 1, 1}, "Bluetooth"},
    {{224}, "wireless"},
    {{1, 3}, "MIDI"},
    {{1}, "audio"},
    {{3, 1, 1}, "keyboard"},
    {{3, 1, 2}, "mouse"},
    {{3}, "input device"},
    {{7}, "printer"},
    {{8}, "storage"},
    {{9}, "hub"},
    {{11}, "smart card"},
    {{14}, "video"},
};

} // namespace

std::string interfaceInWords(const UsbInterface& interface) {
    auto row = std::find_if(std::begin(kRows), std::end(kRows),
                            [&interface](const Named& r) { return r.triple.matches(interface); });
    return row == std::end(kRows) ? "unknown" : row->words;
}

} // namespace zebhost
