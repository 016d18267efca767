// Filling and emptying a set of handles, the invariants checked at every step as always.
#include "common/EventHandles.h"

#include <benchmark/benchmark.h>

namespace {

void addAndRemoveAll(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        zebdiscovery::EventHandles handles;
        for (int handle = 0; handle < count; ++handle)
            handles.addHandle(&handle, false);
        for (int handle = 0; handle < count; ++handle)
            handles.removeHandle(&handle);
    }
}
BENCHMARK(addAndRemoveAll)->RangeMultiplier(10)->Range(1, 1000);

} // namespace
