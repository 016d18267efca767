#pragma once

#include "host/report/Visit.h"

namespace zebhost {

/** The timeline of a visit as values for the template: bars and labels with their places. */
nlohmann::json drawTimeline(const Visit& visit);

/** The stages of a visit against the times after which devices give a phone up. */
nlohmann::json drawBudget(const Visit& visit);

/** "1.234 s", "12.3 ms", "45 µs". */
std::string duration(double microseconds);

} // namespace zebhost
