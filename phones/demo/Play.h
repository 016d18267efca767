// The demonstrations. Each throws std::runtime_error at the first thing that does not
// happen as it should, and says at the end what became of the phones.
#pragma once

#include "phones/demo/Scene.h"

namespace zebphones {

// A mouse, a tethering phone and one that is switched, all on one machine; zebhost, which
// knows nothing of it, finds the phones and leaves the mouse alone.
std::string playAll(Scene& scene, const Catalogue& catalogue);

// One phone of the catalogue, to the end that its file tells, or that was asked for.
std::string playOne(Scene& scene, const PhoneFile& file);

} // namespace zebphones
