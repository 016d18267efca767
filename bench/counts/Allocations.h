#pragma once

namespace zebbench {

/** What the C library's allocator has been asked for, by the whole program, since it started. Linking this
 *  replaces malloc and its kin by ones that count. */
struct Allocations {
    long count = 0;
    /** Not freed yet. */
    long bytes = 0;

    static Allocations now();
};

} // namespace zebbench
