#include "host/Plugin.h"
#include "host/commands/Commands.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace zebhost {

ExitStatus perform(const DemoOptions& options, std::FILE*) {
    std::error_code ignored;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    const std::string program = folder / "zebphones-demo";
    std::vector<std::string> words = {program};
    if (!options.phone.empty())
        words.insert(words.end(), {"--phone", options.phone});
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    // What is ignored stays so in the program that takes this one's place.
    std::signal(SIGPIPE, SIG_DFL);
    execv(program.c_str(), arguments.data());
    if (errno == ENOENT)
        throw HostError("the demonstration is not installed: " + program +
                        " comes with the package zebphones");
    throw HostError("the demonstration " + program + " can't be started: " + std::strerror(errno));
}

} // namespace zebhost
