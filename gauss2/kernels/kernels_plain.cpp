// The kernels in portable code: vectors of 16 bytes of the compiler's own, which become whatever the baseline
// processor has.
#include <cstdint>
#include <cstring>

namespace
{

typedef uint8_t lanes8 __attribute__((vector_size(16)));
typedef uint16_t lanes16 __attribute__((vector_size(16)));
typedef uint32_t lanes32 __attribute__((vector_size(16)));

template <class Pixel>
struct pixels;
template <>
struct pixels<uint8_t> {
    lanes8 v;
};
template <>
struct pixels<uint16_t> {
    lanes16 v;
};

template <class Pixel>
struct sums;
template <>
struct sums<uint8_t> {
    lanes16 v;
};
template <>
struct sums<uint16_t> {
    lanes32 v;
};

template <class Pixel>
constexpr int32_t rowBias = 0;

// Lanes of twice the width; both parts of one lie in one lane of the other on a little-endian processor, and
// the other way about on a big-endian one.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

inline sums<uint8_t> paired(pixels<uint8_t> a)
{
    return {reinterpret_cast<lanes16>(a.v)};
}

inline sums<uint16_t> paired(pixels<uint16_t> a)
{
    return {reinterpret_cast<lanes32>(a.v)};
}

// ---- loads and stores ----

template <class Pixel>
inline pixels<Pixel> load(const Pixel* from)
{
    pixels<Pixel> a;
    std::memcpy(&a, from, sizeof a);
    return a;
}

template <class Pixel>
inline void store(Pixel* to, pixels<Pixel> a)
{
    std::memcpy(to, &a, sizeof a);
}

template <class Pixel>
inline pixels<Pixel> filled(Pixel value)
{
    return {decltype(pixels<Pixel>::v){} + value};
}

// The vectors that begin so many columns to the left or to the right; what comes in is `in`.
template <int Columns, class Pixel>
inline pixels<Pixel> movedUp(pixels<Pixel> a, pixels<Pixel> in)
{
    const pixels<Pixel> both[2] = {in, a};
    return load(reinterpret_cast<const Pixel*>(both + 1) - Columns);
}

template <int Columns, class Pixel>
inline pixels<Pixel> movedDown(pixels<Pixel> a, pixels<Pixel> in)
{
    const pixels<Pixel> both[2] = {a, in};
    return load(reinterpret_cast<const Pixel*>(both) + Columns);
}

// ---- from pixels to sums of even and odd columns ----

template <class Pixel>
constexpr int pixelBits = 8 * sizeof(Pixel);

template <class Pixel>
inline sums<Pixel> evens(pixels<Pixel> a)
{
    return {paired(a).v & static_cast<Pixel>(~Pixel{0})};
}

template <class Pixel>
inline sums<Pixel> odds(pixels<Pixel> a)
{
    return {paired(a).v >> pixelBits<Pixel>};
}

template <int Even, int Odd, class Pixel>
inline sums<Pixel> pairs(pixels<Pixel> a)
{
    return {evens(a).v * Even + odds(a).v * Odd};
}

// ---- sums ----

template <class Pixel>
inline sums<Pixel> everywhere(uint16_t value)
{
    return {decltype(sums<Pixel>::v){} + value};
}

template <class Pixel>
inline sums<Pixel> operator+(sums<Pixel> a, sums<Pixel> b)
{
    return {a.v + b.v};
}

template <int Left, class Pixel>
inline sums<Pixel> shifted(sums<Pixel> a)
{
    return {a.v << Left};
}

// ---- from sums to pixels: sum >> Right ----

// Sums of the even and of the odd columns of one vector, column by column.
template <int Right, class Pixel>
inline pixels<Pixel> merged(sums<Pixel> even, sums<Pixel> odd)
{
    const sums<Pixel> both = {even.v >> Right | odd.v >> Right << pixelBits<Pixel>};
    pixels<Pixel> a;
    std::memcpy(&a, &both, sizeof a);
    return a;
}

// Sums of the even columns of two vectors, side by side.
template <int Right, class Pixel>
inline pixels<Pixel> narrowed(sums<Pixel> a, sums<Pixel> b)
{
    constexpr int count = sizeof(sums<Pixel>) / (2 * sizeof(Pixel));
    pixels<Pixel> both;
    for (int i = 0; i < count; ++i) {
        both.v[i] = static_cast<Pixel>(a.v[i] >> Right);
        both.v[count + i] = static_cast<Pixel>(b.v[i] >> Right);
    }
    return both;
}

// ---- pixels ----

template <class Pixel>
inline pixels<Pixel> average(pixels<Pixel> a, pixels<Pixel> b) // rounded up
{
    return {(a.v | b.v) - ((a.v ^ b.v) >> 1)};
}

template <class Pixel>
inline pixels<Pixel> operator-(pixels<Pixel> a, pixels<Pixel> b)
{
    return {a.v - b.v};
}

template <class Pixel>
inline pixels<Pixel> ones()
{
    return filled(Pixel{1});
}

template <class Pixel>
inline pixels<Pixel> operator&(pixels<Pixel> a, pixels<Pixel> b)
{
    return {a.v & b.v};
}

template <class Pixel>
inline pixels<Pixel> operator^(pixels<Pixel> a, pixels<Pixel> b)
{
    return {a.v ^ b.v};
}

template <class Pixel>
inline pixels<Pixel> operator~(pixels<Pixel> a)
{
    return {~a.v};
}

template <class Pixel>
inline pixels<Pixel> andNot(pixels<Pixel> a, pixels<Pixel> b) // a and not b
{
    return {a.v & ~b.v};
}

} // namespace

#include "gauss2/kernels/kernels_body.h"

void gauss2_kernelsPlain(gauss2_kernels<uint8_t>* kernels)
{
    *kernels = kernelsOfThisLevel<uint8_t>();
}

void gauss2_kernelsPlain(gauss2_kernels<uint16_t>* kernels)
{
    *kernels = kernelsOfThisLevel<uint16_t>();
}
