// The masked kernels at the 128-bit level.
#include <smmintrin.h>

namespace
{
constexpr int vectorBytes = 16;
}

#include "gauss2/kernels/masked_vectors.h"

namespace
{

template <class Vector>
inline __m128i raw(Vector a)
{
    return reinterpret_cast<__m128i>(a);
}

inline words addPairs(bytes a, bytes weights)
{
    return reinterpret_cast<words>(_mm_maddubs_epi16(raw(a), raw(weights)));
}

inline longs addPairs(words a, words b)
{
    return reinterpret_cast<longs>(_mm_madd_epi16(raw(a), raw(b)));
}

inline words widened(const uint8_t* from)
{
    return reinterpret_cast<words>(
        _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
}

inline words signWidened(const uint8_t* from)
{
    return reinterpret_cast<words>(
        _mm_cvtepi8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from))));
}

inline words sequenced(words a)
{
    return a;
}

inline longs lowLongs(words a, words b)
{
    return reinterpret_cast<longs>(_mm_unpacklo_epi16(raw(a), raw(b)));
}

inline longs highLongs(words a, words b)
{
    return reinterpret_cast<longs>(_mm_unpackhi_epi16(raw(a), raw(b)));
}

inline words narrowed(longs a, longs b)
{
    return reinterpret_cast<words>(_mm_packus_epi32(raw(a), raw(b)));
}

inline void storeBytes(uint8_t* to, words a)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(raw(a), raw(a)));
}

inline void storeBytes(uint8_t* toA, uint8_t* toB, words a, words b)
{
    storeBytes(toA, a);
    storeBytes(toB, b);
}

inline bool isEmpty(bytes a)
{
    return _mm_testz_si128(raw(a), raw(a)) != 0;
}

} // namespace

#include "gauss2/kernels/masked_body.h"

void gauss2_maskedKernelsSse41(gauss2_maskedKernels<uint8_t>* kernels)
{
    fillKernels(kernels);
}

void gauss2_maskedKernelsSse41(gauss2_maskedKernels<uint16_t>* kernels)
{
    fillKernels(kernels);
}
