#pragma once

#include "zebdiscovery/callbacks.h"

namespace zebhost {

/** The callbacks of every host here; their context is the Host. */
const ZEBDiscovererCallbacks& hostCallbacks();

/** The text of an error code. */
const char* errorText(ZEBDiscoverySDKError error);

} // namespace zebhost
