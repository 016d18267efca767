// zebphones-demo: zebhost and the plug-in against simulated phones. Exits with 0 only if
// everything happened as told.
#include "phones/demo/NetworkSpace.h"
#include "phones/demo/Play.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr char kUsage[] =
    "usage: zebphones-demo [--phone NAME | --list] [--models DIR] [-- ZEBHOST-ARGUMENT...]\n\n"
    "Plugs simulated phones into an emulated USB bus and shows how zebhost finds them, or why\n"
    "it does not. Needs neither USB nor privilege.\n\n"
    "  --phone NAME   one phone of the catalogue, to its end; by default a mouse and two phones\n"
    "  --list         the phones of the catalogue, and what becomes of them\n"
    "  --models DIR   another catalogue\n"
    "  -- ...         further arguments for 'zebhost run', for example: -- --json\n";

struct Options {
    std::string phone{};
    std::string models{};
    bool list = false;
    std::vector<std::string> hostArguments{};
};

// None: the words are wrong.
std::optional<Options> parse(std::span<char*> words) {
    Options options;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view word = words[i];
        const bool takesValue = word == "--phone" || word == "--models";
        if (takesValue && i + 1 < words.size())
            (word == "--phone" ? options.phone : options.models) = words[++i];
        else if (word == "--list")
            options.list = true;
        else if (word == "--") {
            options.hostArguments.assign(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            break;
        } else
            return std::nullopt;
    }
    return options;
}

void noteSignal(int) {}

// Ctrl-C interrupts the wait that the play is in, so that it ends with everything put away.
void endOnInterrupt() {
    struct sigaction action {};
    action.sa_handler = noteSignal;
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM}) {
        ::sigaction(signal, &action, nullptr);
        sigaddset(&ending, signal);
    }
    // Who started this may have blocked them.
    ::sigprocmask(SIG_UNBLOCK, &ending, nullptr);
}

// Beside the program, as they are built, or where they are installed with it.
zebphones::DemoFiles filesOf(const std::filesystem::path& program) {
    const auto folder = program.parent_path();
    auto library = folder / "libzebphones-preload.so";
    if (!exists(library))
        library = folder / ZEB_PLUGIN_WAY / library.filename();
    return {.zebhost = folder / "zebhost", .preload = library.string() + ":libumockdev-preload.so.0"};
}

int list(const zebphones::Catalogue& catalogue) {
    for (const std::string& name : catalogue.names()) {
        const zebphones::PhoneFile file = catalogue.load(name);
        std::printf("%-26s %s\n%-26s   -> %s\n", name.c_str(), file.about.c_str(), "",
                    file.expect.outcome.c_str());
    }
    return 0;
}

int play(const Options& options, const zebphones::Catalogue& catalogue) {
    const auto begin = std::chrono::steady_clock::now();
    // Read before anything is started: a wrong name is known at once.
    const auto file = options.phone.empty() ? std::nullopt : std::optional(catalogue.load(options.phone));
    zebphones::Scene scene(filesOf(std::filesystem::read_symlink("/proc/self/exe")), options.hostArguments,
                           file ? file->properties : zebphones::Scene::Properties());
    const std::string end = file ? playOne(scene, *file) : playAll(scene, catalogue);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::printf("\n%s; %.1f seconds.\n", end.c_str(), took.count());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const auto options = parse({argv + 1, argv + argc});
        if (!options) {
            const bool asked = argc > 1 && std::string_view(argv[1]) == "--help";
            std::fputs(kUsage, asked ? stdout : stderr);
            return asked ? 0 : 2;
        }
        const zebphones::Catalogue catalogue(options->models);
        if (options->list)
            return list(catalogue);
        const zebphones::NetworkSpace network;
        endOnInterrupt();
        return play(*options, catalogue);
    } catch (const std::exception& e) {
        std::cout << std::flush;
        std::fprintf(stderr, "\nzebphones-demo: %s\n", e.what());
        return 1;
    }
}
