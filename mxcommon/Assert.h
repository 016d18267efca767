#pragma once

// Assertions that are live in every build type. NDEBUG would take away the
// declaration of the C library's own reporter, so it is undone for this include.
#undef NDEBUG
#include <cassert>

/**
 * Stop the process when a condition that only a programming error can break does
 * not hold: writes the condition as it stands in the source, with file, line and
 * function, to standard error and aborts. The text is part of the behaviour:
 * keep the formatter away from conditions that it would respace.
 */
#define ZEB_ASSERT(condition)                                                                                \
    (static_cast<bool>(condition) ? void(0)                                                                  \
                                  : __assert_fail(#condition, __FILE__, __LINE__, __PRETTY_FUNCTION__))
