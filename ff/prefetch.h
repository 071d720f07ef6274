// Asking for memory before it is read. Processors do that by themselves for what is read in order,
// but not before they have seen some of it, and anew on every page.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ff {

// The cache line `ahead` bytes from p. Any address will do: none is read.
inline void fetch_line(const void* p, std::ptrdiff_t ahead) {
#if defined(__GNUC__)
    const auto address = reinterpret_cast<std::uintptr_t>(p) + std::uintptr_t(ahead);
    // No pointer may be moved that far out of its object. NOLINTNEXTLINE(performance-no-int-to-ptr)
    __builtin_prefetch(reinterpret_cast<const void*>(address));
#else
    (void)p, (void)ahead;
#endif
}

}  // namespace ff
