// libFuzzer's entry: one program for all targets, of which it fuzzes the one named by --target=NAME.
#include "tests/fuzz/Targets.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

const zebtest::Target* gpTarget = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    constexpr std::string_view kOption = "--target=";
    zebtest::gpInitialize = ZEBDiscovererInitialize;
    for (int i = 1; i < *argc; ++i) {
        const std::string_view word = (*argv)[i];
        for (const zebtest::Target& target : zebtest::targets()) {
            if (word.starts_with(kOption) && word.substr(kOption.size()) == target.name)
                gpTarget = &target;
        }
    }
    if (gpTarget)
        return 0;
    std::fputs("usage: fuzz --target=NAME [libFuzzer's words], with NAME one of", stderr);
    for (const zebtest::Target& target : zebtest::targets())
        std::fprintf(stderr, " %s", target.name.data());
    std::fputs("\n", stderr);
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    gpTarget->run(bytes, size);
    return 0;
}
