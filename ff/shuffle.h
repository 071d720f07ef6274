// Sixteen bytes put in any order by one instruction, which no loop of ours compiles to: SSSE3's
// pshufb and NEON's tbl. Callers have a plain form for everything else and ask first.
//
//   DSCM_SHUFFLES void kernel(...) { ... shuffle_bytes(from, order, to); ... }
//   if (ff::can_shuffle()) kernel(...); else plain_form(...);
#pragma once

#include "ff/multiversion.h"

#if defined(DSCM_HAS_AVX2)
#include <immintrin.h>
#elif defined(__aarch64__) && !defined(DSCM_PLAIN_KERNELS)
#include <arm_neon.h>
#define DSCM_HAS_TBL 1
#endif

namespace ff {

constexpr int shuffle_width = 16;

// shuffle_bytes: to[i] = from[order[i]] for i below 16, all of order below 16; `to` may overlap
// neither.
#if defined(DSCM_HAS_AVX2)
#define DSCM_SHUFFLES DSCM_AVX2
inline bool can_shuffle() { return cpu_has_avx2(); }
DSCM_SHUFFLES inline void shuffle_bytes(const unsigned char* from, const unsigned char* order,
                                        unsigned char* to) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i places = _mm_loadu_si128(reinterpret_cast<const __m128i*>(order));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(bytes, places));
}
#elif defined(DSCM_HAS_TBL)
#define DSCM_SHUFFLES
// Always, but for a test that assigns to it to compare the two forms.
inline bool& can_shuffle() {
    static bool can = true;
    return can;
}
inline void shuffle_bytes(const unsigned char* from, const unsigned char* order,
                          unsigned char* to) {
    vst1q_u8(to, vqtbl1q_u8(vld1q_u8(from), vld1q_u8(order)));
}
#else
#define DSCM_SHUFFLES
inline bool can_shuffle() { return false; }
inline void shuffle_bytes(const unsigned char* from, const unsigned char* order,
                          unsigned char* to) {
    for (int i = 0; i < shuffle_width; ++i) to[i] = from[order[i]];
}
#endif

}  // namespace ff
