// What a gadget of the kernel can show of a phone, and what it can't.
#pragma once

#include "phones/PhoneModel.h"

#include <string>

namespace zebphones {

struct GadgetLimits {
    // False: there is no way to show the phone, because of what is lacking.
    bool possible = true;
    // What of the phone is not shown; empty: nothing.
    std::string lacks{};
};

GadgetLimits gadgetLimits(const PhoneDescription& phone);

} // namespace zebphones
