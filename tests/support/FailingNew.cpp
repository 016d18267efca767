#include "tests/support/FailingNew.h"

#include "tests/support/OwnMemory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

namespace {

constexpr std::size_t kMaxSizes = 64;
constexpr unsigned char kFreed = 0x5a;

// Plain data: operator new runs before and after everything else.
struct State {
    int countdown;
    bool always;
    bool failed;
    bool recording;
    std::size_t sizesCount;
    std::size_t sizes[kMaxSizes];
};

thread_local State tState{};
std::atomic<long> gLive{0};
std::atomic<unsigned char> gFreed{kFreed};

bool fails(std::size_t size) {
    State& state = tState;
    if (!state.recording || zebtest::OwnMemory::isBeingAsked())
        return false;
    if (state.sizesCount < kMaxSizes)
        state.sizes[state.sizesCount++] = size;
    const bool isTheOne = state.countdown == 1;
    if (state.countdown > 0 && !state.always)
        --state.countdown;
    state.failed |= isTheOne;
    return isTheOne;
}

void* allocate(std::size_t size) noexcept {
    if (fails(size))
        return nullptr;
    void* memory = std::malloc(size > 0 ? size : 1);
    if (memory)
        ++gLive;
    return memory;
}

/** What is freed is overwritten first, so that whoever goes on reading it is found out. */
void release(void* memory) noexcept {
    if (memory) {
        --gLive;
        std::memset(memory, gFreed, malloc_usable_size(memory));
        asm volatile("" : : "r"(memory) : "memory"); // or the compiler leaves it out
    }
    std::free(memory);
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace zebtest {

FailingNew::FailingNew(int n, bool always) {
    tState = {};
    tState.countdown = n;
    tState.always = always;
    tState.recording = true;
}

FailingNew::~FailingNew() { tState = {}; }

std::vector<std::size_t> FailingNew::sizes() const {
    tState.recording = false;
    std::vector<std::size_t> copy(tState.sizes, tState.sizes + tState.sizesCount);
    tState.recording = true;
    return copy;
}

bool FailingNew::hasFailed() const { return tState.failed; }

long liveAllocations() { return gLive; }

FreedMemory::FreedMemory(unsigned char byte) { gFreed = byte; }

FreedMemory::~FreedMemory() { gFreed = kFreed; }

} // namespace zebtest
