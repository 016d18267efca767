#include "bench/counts/Allocations.h"

#include <cstddef>
#include <malloc.h>

// The C library's own, behind the names that are replaced here.
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void __libc_free(void* block);
}

namespace zebbench {
namespace {

// One thread alone measures.
Allocations all;

void* noteNew(void* block) {
    ++all.count;
    all.bytes += static_cast<long>(malloc_usable_size(block));
    return block;
}

void noteOld(void* block) { all.bytes -= static_cast<long>(malloc_usable_size(block)); }

} // namespace

Allocations Allocations::now() { return all; }

} // namespace zebbench

extern "C" {

void* malloc(size_t bytes) noexcept { return zebbench::noteNew(__libc_malloc(bytes)); }

void* calloc(size_t count, size_t bytes) noexcept { return zebbench::noteNew(__libc_calloc(count, bytes)); }

void* realloc(void* block, size_t bytes) noexcept {
    zebbench::noteOld(block);
    return zebbench::noteNew(__libc_realloc(block, bytes));
}

void free(void* block) noexcept {
    zebbench::noteOld(block);
    __libc_free(block);
}
}
