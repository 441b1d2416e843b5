// The masked kernels at the 256-bit level. Operations that work on the two halves of a vector separately are
// put in order here, so that the lanes of every vector are in the order of the columns.
#include <immintrin.h>

namespace
{
constexpr int vectorBytes = 32;
}

#include "gauss2/kernels/masked_vectors.h"

namespace
{

template <class Vector>
inline __m256i raw(Vector a)
{
    return reinterpret_cast<__m256i>(a);
}

template <class Vector>
inline __m256i inOrder(Vector a)
{
    return _mm256_permute4x64_epi64(raw(a), 0xd8);
}

inline words addPairs(bytes a, bytes weights)
{
    return reinterpret_cast<words>(_mm256_maddubs_epi16(raw(a), raw(weights)));
}

inline longs addPairs(words a, words b)
{
    return reinterpret_cast<longs>(_mm256_madd_epi16(raw(a), raw(b)));
}

inline words widened(const uint8_t* from)
{
    const __m128i half = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    return reinterpret_cast<words>(_mm256_cvtepu8_epi16(half));
}

inline words signWidened(const uint8_t* from)
{
    const __m128i half = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    return reinterpret_cast<words>(_mm256_cvtepi8_epi16(half));
}

inline words sequenced(words a)
{
    return reinterpret_cast<words>(inOrder(a));
}

inline longs lowLongs(words a, words b)
{
    return reinterpret_cast<longs>(_mm256_unpacklo_epi16(raw(a), raw(b)));
}

inline longs highLongs(words a, words b)
{
    return reinterpret_cast<longs>(_mm256_unpackhi_epi16(raw(a), raw(b)));
}

inline words narrowed(longs a, longs b)
{
    return reinterpret_cast<words>(inOrder(_mm256_packus_epi32(raw(a), raw(b))));
}

inline void storeBytes(uint8_t* to, words a)
{
    const __m256i half = inOrder(_mm256_packus_epi16(raw(a), raw(a)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(half));
}

inline void storeBytes(uint8_t* toA, uint8_t* toB, words a, words b)
{
    const __m256i both = inOrder(_mm256_packus_epi16(raw(a), raw(b)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(toA), _mm256_castsi256_si128(both));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(toB), _mm256_extracti128_si256(both, 1));
}

inline bool isEmpty(bytes a)
{
    return _mm256_testz_si256(raw(a), raw(a)) != 0;
}

} // namespace

#include "gauss2/kernels/masked_body.h"

void gauss2_maskedKernelsAvx2(gauss2_maskedKernels<uint8_t>* kernels)
{
    fillKernels(kernels);
}

void gauss2_maskedKernelsAvx2(gauss2_maskedKernels<uint16_t>* kernels)
{
    fillKernels(kernels);
}
