// The build puts this header before every file of both libraries. It refuses compiler flags that would change
// pixels without a word: their values rest on every operation on floating-point numbers being rounded once, to
// its own type, in the order written. It declares nothing.
#pragma once

#if defined(__FAST_MATH__) || defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__) ||             \
    (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__)
#error "qip-gauss: -ffast-math, -Ofast and their parts reorder and replace operations, which changes pixels"
#endif

#if defined(__FLT_EVAL_METHOD__) && __FLT_EVAL_METHOD__ != 0
#error                                                                                                     \
    "qip-gauss: x87 arithmetic (-mfpmath=387) rounds to more digits than a double has, which changes pixels"
#endif

static_assert(0.1 != 0.1F, "qip-gauss: -fsingle-precision-constant rounds constants, which changes pixels");
