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

// Whether to use the shuffles. A test assigns to it to compare the two forms; on x86-64 it is the
// switch of all kernels.
inline bool& can_shuffle() {
#if defined(DSCM_HAS_AVX2)
    return cpu_has_avx2();
#elif defined(DSCM_HAS_TBL)
    static bool can = true;
    return can;
#else
    static bool can = false;
    return can;
#endif
}

// shuffle_bytes: to[i] = from[order[i]] for i below 16, all of order below 16; `to` may overlap
// neither.
#if defined(DSCM_HAS_AVX2)
#define DSCM_SHUFFLES DSCM_AVX2
DSCM_SHUFFLES inline void shuffle_bytes(const unsigned char* from, const unsigned char* order,
                                        unsigned char* to) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i places = _mm_loadu_si128(reinterpret_cast<const __m128i*>(order));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_shuffle_epi8(bytes, places));
}
#else
#define DSCM_SHUFFLES
inline void shuffle_bytes(const unsigned char* from, const unsigned char* order,
                          unsigned char* to) {
#ifdef DSCM_HAS_TBL
    vst1q_u8(to, vqtbl1q_u8(vld1q_u8(from), vld1q_u8(order)));
#else
    for (int i = 0; i < shuffle_width; ++i) to[i] = from[order[i]];
#endif
}
#endif

}  // namespace ff
