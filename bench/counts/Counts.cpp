#include "bench/counts/Counts.h"

#include "bench/counts/Allocations.h"

#include <cstdio>

namespace zebbench {

void Counts::of(const std::string& name, const std::function<void()>& operation,
                const std::function<void()>& undo) {
    // The first time of all may set up what stays.
    operation();
    undo();
    const Allocations before = Allocations::now();
    operation();
    const Allocations after = Allocations::now();
    undo();
    const Traced traced = mTracer.count(operation, undo);
    std::printf("{\"name\":\"%s\",\"allocations\":%ld,\"bytes\":%ld,", name.c_str(),
                after.count - before.count, after.bytes - before.bytes);
    if (traced.isKnown)
        std::printf("\"instructions\":%ld,\"system_calls\":%ld}\n", traced.instructions, traced.systemCalls);
    else
        std::printf("\"instructions\":null,\"system_calls\":null}\n");
    std::fflush(stdout);
}

} // namespace zebbench
