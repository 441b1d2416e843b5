// The kernels at the 256-bit level.
#include <immintrin.h>

#include <cstdint>

namespace
{

template <class Pixel>
struct pixels {
    __m256i v;
};
template <class Pixel>
struct sums {
    __m256i v;
};

template <class Pixel>
constexpr int32_t rowBias = 0;
// 16-bit pixels are multiplied as signed numbers, 32768 less than they are; one of the sixteen is not
// multiplied.
template <>
constexpr int32_t rowBias<uint16_t> = -15 * 32768;

// ---- loads and stores ----

template <class Pixel>
inline pixels<Pixel> load(const Pixel* from)
{
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from))};
}

template <class Pixel>
inline void store(Pixel* to, pixels<Pixel> a)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), a.v);
}

inline pixels<uint8_t> filled(uint8_t value)
{
    return {_mm256_set1_epi8(static_cast<char>(value))};
}

inline pixels<uint16_t> filled(uint16_t value)
{
    return {_mm256_set1_epi16(static_cast<short>(value))};
}

// The vectors that begin so many columns to the left or to the right; what comes in is `in`.
template <int Columns, class Pixel>
inline pixels<Pixel> movedUp(pixels<Pixel> a, pixels<Pixel> in)
{
    return {
        _mm256_alignr_epi8(a.v, _mm256_permute2x128_si256(in.v, a.v, 0x20), 16 - Columns * sizeof(Pixel))};
}

template <int Columns, class Pixel>
inline pixels<Pixel> movedDown(pixels<Pixel> a, pixels<Pixel> in)
{
    return {_mm256_alignr_epi8(_mm256_permute2x128_si256(a.v, in.v, 0x21), a.v, Columns * sizeof(Pixel))};
}

// ---- from pixels to sums of even and odd columns ----

template <int Even, int Odd>
inline sums<uint8_t> pairs(pixels<uint8_t> a)
{
    return {_mm256_maddubs_epi16(a.v, _mm256_set1_epi16(Odd * 256 + Even))};
}

template <int Even, int Odd>
inline sums<uint16_t> pairs(pixels<uint16_t> a)
{
    const __m256i centred = _mm256_xor_si256(a.v, _mm256_set1_epi16(-32768));
    return {_mm256_madd_epi16(centred, _mm256_set1_epi32(Odd * 65536 + Even))};
}

inline sums<uint8_t> evens(pixels<uint8_t> a)
{
    return {_mm256_and_si256(a.v, _mm256_set1_epi16(0x00ff))};
}

inline sums<uint16_t> evens(pixels<uint16_t> a)
{
    return {_mm256_and_si256(a.v, _mm256_set1_epi32(0x0000ffff))};
}

inline sums<uint8_t> odds(pixels<uint8_t> a)
{
    return {_mm256_srli_epi16(a.v, 8)};
}

inline sums<uint16_t> odds(pixels<uint16_t> a)
{
    return {_mm256_srli_epi32(a.v, 16)};
}

// ---- sums ----

template <class Pixel>
sums<Pixel> everywhere(int32_t value);

template <>
inline sums<uint8_t> everywhere<uint8_t>(int32_t value)
{
    return {_mm256_set1_epi16(static_cast<short>(value))};
}

template <>
inline sums<uint16_t> everywhere<uint16_t>(int32_t value)
{
    return {_mm256_set1_epi32(value)};
}

inline sums<uint8_t> operator+(sums<uint8_t> a, sums<uint8_t> b)
{
    return {_mm256_add_epi16(a.v, b.v)};
}

inline sums<uint16_t> operator+(sums<uint16_t> a, sums<uint16_t> b)
{
    return {_mm256_add_epi32(a.v, b.v)};
}

template <int Left>
inline sums<uint8_t> shifted(sums<uint8_t> a)
{
    return {_mm256_slli_epi16(a.v, Left)};
}

template <int Left>
inline sums<uint16_t> shifted(sums<uint16_t> a)
{
    return {_mm256_slli_epi32(a.v, Left)};
}

// ---- from sums to pixels: sum >> Right ----

// Sums of the even columns of two vectors, side by side.
template <int Right>
inline pixels<uint8_t> narrowed(sums<uint8_t> a, sums<uint8_t> b)
{
    const __m256i packed =
        _mm256_packus_epi16(_mm256_srli_epi16(a.v, Right), _mm256_srli_epi16(b.v, Right));
    return {_mm256_permute4x64_epi64(packed, 0xd8)};
}

template <int Right>
inline pixels<uint16_t> narrowed(sums<uint16_t> a, sums<uint16_t> b)
{
    const __m256i packed =
        _mm256_packus_epi32(_mm256_srli_epi32(a.v, Right), _mm256_srli_epi32(b.v, Right));
    return {_mm256_permute4x64_epi64(packed, 0xd8)};
}

// Sums of the even and of the odd columns of one vector, column by column.
template <int Right>
inline pixels<uint8_t> merged(sums<uint8_t> even, sums<uint8_t> odd)
{
    const __m256i high = _mm256_and_si256(_mm256_slli_epi16(odd.v, 8 - Right), _mm256_set1_epi16(-256));
    return {_mm256_or_si256(_mm256_srli_epi16(even.v, Right), high)};
}

template <int Right>
inline pixels<uint16_t> merged(sums<uint16_t> even, sums<uint16_t> odd)
{
    return {
        _mm256_blend_epi16(_mm256_srli_epi32(even.v, Right), _mm256_slli_epi32(odd.v, 16 - Right), 0xaa)};
}

// ---- pixels ----

inline pixels<uint8_t> average(pixels<uint8_t> a, pixels<uint8_t> b)
{
    return {_mm256_avg_epu8(a.v, b.v)};
}

inline pixels<uint16_t> average(pixels<uint16_t> a, pixels<uint16_t> b)
{
    return {_mm256_avg_epu16(a.v, b.v)};
}

inline pixels<uint8_t> operator-(pixels<uint8_t> a, pixels<uint8_t> b)
{
    return {_mm256_sub_epi8(a.v, b.v)};
}

inline pixels<uint16_t> operator-(pixels<uint16_t> a, pixels<uint16_t> b)
{
    return {_mm256_sub_epi16(a.v, b.v)};
}

template <class Pixel>
inline pixels<Pixel> ones()
{
    return filled(Pixel{1});
}

template <class Pixel>
inline pixels<Pixel> operator&(pixels<Pixel> a, pixels<Pixel> b)
{
    return {_mm256_and_si256(a.v, b.v)};
}

template <class Pixel>
inline pixels<Pixel> operator^(pixels<Pixel> a, pixels<Pixel> b)
{
    return {_mm256_xor_si256(a.v, b.v)};
}

template <class Pixel>
inline pixels<Pixel> operator~(pixels<Pixel> a)
{
    return {_mm256_xor_si256(a.v, _mm256_set1_epi32(-1))};
}

template <class Pixel>
inline pixels<Pixel> andNot(pixels<Pixel> a, pixels<Pixel> b) // a and not b
{
    return {_mm256_andnot_si256(b.v, a.v)};
}

} // namespace

#include "gauss2/kernels/kernels_body.h"

void gauss2_kernelsAvx2(gauss2_kernels<uint8_t>* kernels)
{
    *kernels = kernelsOfThisLevel<uint8_t>();
}

void gauss2_kernelsAvx2(gauss2_kernels<uint16_t>* kernels)
{
    *kernels = kernelsOfThisLevel<uint16_t>();
}
