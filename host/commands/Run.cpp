#include "host/Loop.h"
#include "host/commands/Commands.h"

namespace zebhost {

ExitStatus perform(const RunOptions& options, std::FILE* out) {
    // Before any thread, the plug-in's included.
    blockSignals();
    return run(options, out);
}

} // namespace zebhost
