#include "common/EventHandles.h"

#include <benchmark/benchmark.h>

namespace {

/** Add and remove as many handles as told, the invariants checked as always. */
void addAndRemove(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        zebdiscovery::EventHandles handles;
        for (int handle = 0; handle < count; ++handle)
            handles.addHandle(&handle, false);
        for (int handle = 0; handle < count; ++handle)
            handles.removeHandle(&handle);
    }
    state.SetComplexityN(count);
}
BENCHMARK(addAndRemove)->Arg(10)->Arg(30)->Arg(100)->Arg(300)->Arg(1000)->Complexity();

} // namespace

BENCHMARK_MAIN();
