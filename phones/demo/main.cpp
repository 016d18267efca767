// zebphones-demo: zebhost and the plug-in against two simulated phones. Needs neither
// USB nor privilege. Exits with 0 only if everything happened as told.
#include "phones/demo/NetworkSpace.h"
#include "phones/demo/Play.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string_view>

namespace {

constexpr char kUsage[] = "usage: zebphones-demo [-- ZEBHOST-ARGUMENT...]\n\n"
                          "Plugs two simulated phones into an emulated USB bus and shows how zebhost finds\n"
                          "them. Further arguments go to 'zebhost run', for example: -- --json\n";

void noteSignal(int) {}

// Ctrl-C interrupts the wait that the play is in, so that it ends with everything put away.
void endOnInterrupt() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    for (const int signal : {SIGINT, SIGTERM})
        ::sigaction(signal, &action, nullptr);
}

// Beside the program, as they are built, or where they are installed with it.
zebphones::DemoFiles filesOf(const std::filesystem::path& program) {
    const auto folder = program.parent_path();
    auto library = folder / "libzebphones-euidaccess.so";
    if (!exists(library))
        library = folder / ZEB_PLUGIN_WAY / library.filename();
    return {.zebhost = folder / "zebhost", .preload = "libumockdev-preload.so.0:" + library.string()};
}

int play(const std::vector<std::string>& hostArguments) {
    const auto begin = std::chrono::steady_clock::now();
    zebphones::Play(filesOf(std::filesystem::read_symlink("/proc/self/exe")), hostArguments).run();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::printf("\nBoth phones were found, switched and withdrawn as they should, in %.1f seconds.\n",
                took.count());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 1 && std::string_view(argv[1]) != "--") {
            std::fputs(kUsage, stderr);
            return std::string_view(argv[1]) == "--help" ? 0 : 2;
        }
        const std::vector<std::string> hostArguments(argv + (argc > 1 ? 2 : 1), argv + argc);
        const zebphones::NetworkSpace network;
        endOnInterrupt();
        return play(hostArguments);
    } catch (const std::exception& e) {
        std::cout << std::flush;
        std::fprintf(stderr, "\nzebphones-demo: %s\n", e.what());
        return 1;
    }
}
