/*
 * Compile-time checks of the boundary's layout, in C and in C++. A table of the
 * boundary is a run of pointer-sized slots, without padding.
 */
#ifndef ZEBDISCOVERY_LAYOUT_H
#define ZEBDISCOVERY_LAYOUT_H

#ifdef __cplusplus
#define ZEB_STATIC_ASSERT static_assert
#else
#define ZEB_STATIC_ASSERT _Static_assert
#endif

#define ZEB_LAYOUT_IS_POINTERS(type, count)                                                                  \
    ZEB_STATIC_ASSERT(sizeof(type) == (count) * sizeof(void*), #type " must be " #count " pointers")

#endif
