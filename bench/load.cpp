// From dlopen to dlclose: the plug-in with its whole life in between, and an empty library with the same
// dependencies. libusb is loaded and unloaded with them, unless it is kept.
#include "bench/support/BareHost.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>

namespace {

void liveOnce() {
    zebbench::BareHost host(zebbench::pluginPath());
    host.setUp();
    host.tearDown();
}

void loadEmpty() {
    void* const library = dlopen(ZEB_EMPTY_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    auto* const function = reinterpret_cast<int (*)(int)>(dlsym(library, "emptyPlugin"));
    benchmark::DoNotOptimize(function(1));
    dlclose(library);
}

template <class Do>
void withLibUsbKept(benchmark::State& state, const Do& once) {
    void* const kept = dlopen("libusb-1.0.so.0", RTLD_NOW);
    for (auto _ : state)
        once();
    dlclose(kept);
}

void plugin(benchmark::State& state) {
    for (auto _ : state)
        liveOnce();
}
BENCHMARK(plugin);

void empty(benchmark::State& state) {
    for (auto _ : state)
        loadEmpty();
}
BENCHMARK(empty);

void pluginWithLibUsbThere(benchmark::State& state) { withLibUsbKept(state, liveOnce); }
BENCHMARK(pluginWithLibUsbThere);

void emptyWithLibUsbThere(benchmark::State& state) { withLibUsbKept(state, loadEmpty); }
BENCHMARK(emptyWithLibUsbThere);

} // namespace

BENCHMARK_MAIN();
