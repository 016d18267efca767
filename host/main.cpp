#include "host/commands/CommandLine.h"

#include <csignal>
#include <cstdio>
#include <exception>

namespace zebhost {
namespace {

ExitStatus perform(const ExitNow& exit, std::FILE*) { return exit.status; }

} // namespace
} // namespace zebhost

int main(int argc, char** argv) {
    using namespace zebhost;
    // A reader that goes away is noticed at the next line.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        ExitStatus status = std::visit([](const auto& request) { return perform(request, stdout); },
                                       parseCommandLine(argc, argv));
        // What could not be written was not done.
        return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? status : kExitFailed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zebhost: %s\n", error.what());
        return kExitFailed;
    }
}
