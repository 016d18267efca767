#include "host/Terminal.h"
#include "host/commands/CommandLine.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace zebhost {
namespace {

ExitStatus perform(const ExitNow& exit, std::FILE*) { return exit.status; }

/** Whether all of it was written. Says why when it was not, but for a reader who has gone, as "head" does. */
bool isWritten(std::FILE* file) {
    bool isCut = std::ferror(file) != 0;
    errno = 0;
    // What was wrong then is not kept: the line feed that ends the cut line meets it again.
    if (isCut)
        std::fputc('\n', file);
    if (std::fflush(file) == 0 && !isCut)
        return true;
    std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
    if (errno != EPIPE)
        complain("the output can't be written" + reason);
    return false;
}

} // namespace
} // namespace zebhost

int main(int argc, char** argv) {
    using namespace zebhost;
    // A reader that goes away is noticed at the next line.
    std::signal(SIGPIPE, SIG_IGN);
    // A file that may not grow is one that can't be written, no reason to die without a word.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        ExitStatus status = std::visit([](const auto& request) { return perform(request, stdout); },
                                       parseCommandLine(argc, argv));
        // What could not be written was not done.
        return isWritten(stdout) ? status : kExitFailed;
    } catch (const std::exception& error) {
        complain(error.what());
        return kExitFailed;
    }
}
