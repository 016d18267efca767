// The phones and strangers that tests and the demonstration plug in.
#pragma once

#include "phones/PhoneModel.h"

namespace zebphones {

// File transfer and debugging on; switches to accessory mode (18d1:2d00).
PhoneDescription accessoryPhone();
// RNDIS tethering: association 2/6/0 over interfaces 0 and 1, interface 0 being 2/2/255.
PhoneDescription tetheringPhone();
// Devices that must never be asked anything.
PhoneDescription mouse();
PhoneDescription hub();
PhoneDescription storageStick();

} // namespace zebphones
