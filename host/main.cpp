#include "host/Loop.h"
#include "host/Options.h"

#include <csignal>
#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    using namespace zebhost;
    auto parsed = parseCommandLine(argc, argv);
    if (const auto* exit = std::get_if<ExitNow>(&parsed))
        return exit->status;

    // Before any thread, the plug-in's included. A reader that goes away is noticed at the next line.
    blockSignals();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return run(std::get<RunOptions>(parsed), stdout);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zebhost: %s\n", error.what());
        return kExitFailed;
    }
}
