// Kernels that are compiled twice on x86-64: plainly, and for processors with AVX2 and fused
// multiply-adds. Everywhere else, NEON included, the plain form is all there is; the compiler
// vectorises both. It fuses nothing by itself, so both give the same bytes. What no loop compiles
// to is in ff/shuffle.h.
//
//   DSCM_KERNEL void kernel(...) { loops }            // the body, always inlined
//   DSCM_AVX2 void kernel_avx2(...) { kernel(...); }  // only #ifdef DSCM_HAS_AVX2
//   if (ff::cpu_has_avx2()) kernel_avx2(...); else kernel(...);
//
// A build with DSCM_PLAIN_KERNELS defined has no second form; a test assigns to cpu_has_avx2() to
// compare the two.
#pragma once

#if defined(__GNUC__)
#define DSCM_KERNEL inline __attribute__((always_inline))
#else
#define DSCM_KERNEL inline
#endif

#if defined(__GNUC__) && defined(__x86_64__) && !defined(DSCM_PLAIN_KERNELS)
#define DSCM_HAS_AVX2 1
#define DSCM_AVX2 __attribute__((target("avx2,fma")))
namespace ff {
inline bool& cpu_has_avx2() {
    static bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return has;
}
}  // namespace ff
#endif
