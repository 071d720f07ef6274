#include "tests/support/counted_allocations.h"

#include <algorithm>
#include <cstdlib>
#include <new>

long CountedAllocations::live = 0;
long CountedAllocations::until_failure = -1;

using Counted = CountedAllocations;

// Sizes beyond this fail as they would on a phone, without asking the sanitizer's allocator.
constexpr std::size_t largest = std::size_t(1) << 36;

extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);

void* __wrap_malloc(std::size_t size) {
    if (Counted::until_failure >= 0 && Counted::until_failure-- == 0) return nullptr;
    return size < largest ? __real_malloc(size) : nullptr;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    void* const p = std::malloc(std::max(size, std::size_t(1)));
    Counted::live += p != nullptr;
    return p;
}
void operator delete(void* p) noexcept {
    Counted::live -= p != nullptr;
    std::free(p);
}
void* operator new(std::size_t size) {
    if (void* const p = operator new(size, std::nothrow)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete(void* p, std::size_t) noexcept { operator delete(p); }
void operator delete[](void* p, std::size_t) noexcept { operator delete(p); }
