#pragma once

#include "bench/counts/Tracer.h"

#include <functional>
#include <string>

namespace zebbench {

/** Counts what operations do, and prints a line for each. */
class Counts {
public:
    /** undo: puts things back, so that the operation can be run again; not counted. */
    void of(
        const std::string& name, const std::function<void()>& operation,
        const std::function<void()>& undo = [] {});

private:
    Tracer mTracer;
};

} // namespace zebbench
