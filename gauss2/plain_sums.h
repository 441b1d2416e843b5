// The arithmetic that decides the pixels of this family, once for both depths, masked or not: the kernel, the
// border rule, the sums, and the way from a sum to a pixel. The filters in plain_*.cpp are written on it.
//
// A sum is a plain number without a mask; with a mask it is the pair of the weighted pixels and the weights.
#pragma once

#include "gauss2/planes.h"

#include <qip/status.h>

#include <qbase/attention.h>

#include <algorithm>
#include <cstdint>

// In two directions `weights` reaches 256 * 255 = 65280 and `pixels` 256 * 255 * 65535 = 4278124800; with the
// rounding of half of `weights` that is 4278157440, which fits 32 bits only unsigned.
struct gauss2_maskedSum {
    uint32_t pixels;
    uint32_t weights;
};

inline gauss2_maskedSum operator+(gauss2_maskedSum a, gauss2_maskedSum b)
{
    return {a.pixels + b.pixels, a.weights + b.weights};
}

inline gauss2_maskedSum operator*(uint32_t factor, gauss2_maskedSum sum)
{
    return {factor * sum.pixels, factor * sum.weights};
}

inline gauss2_maskedSum operator/(gauss2_maskedSum sum, uint32_t divisor)
{
    return {sum.pixels / divisor, sum.weights / divisor};
}

// ---- rows of either kind of planes ----

// `Stored` holds a sum over one row, also four times it (4 * 16 * 255 fits 16 bits). `Source` and `Dest` are
// one row of each side.
template <class Planes>
struct gauss2_rows;

template <class Pixel>
struct gauss2_rows<gauss2_planes<Pixel>> {
    using Stored = std::conditional_t<sizeof(Pixel) == 1, uint16_t, uint32_t>;
    struct Source {
        const Pixel* pixels;
    };
    struct Dest {
        Pixel* pixels;
    };
};

template <class Pixel>
struct gauss2_rows<gauss2_maskedPlanes<Pixel>> {
    using Stored = gauss2_maskedSum;
    struct Source {
        const Pixel* pixels;
        const uint8_t* mask;
    };
    struct Dest {
        Pixel* pixels;
        uint8_t* mask; // null when absent
    };
};

template <class Planes>
typename gauss2_rows<Planes>::Source gauss2_sourceRow(const Planes& planes, int64_t y)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    if constexpr (gauss2_kind<Planes>::masked)
        return {gauss2_row(pixels.src, pixels.srcStride, y), gauss2_row(planes.mask, planes.maskStride, y)};
    else
        return {gauss2_row(pixels.src, pixels.srcStride, y)};
}

template <class Planes>
typename gauss2_rows<Planes>::Dest gauss2_destRow(const Planes& planes, int64_t y)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    if constexpr (gauss2_kind<Planes>::masked)
        return {gauss2_row(pixels.dst, pixels.dstStride, y),
                planes.dstMask ? gauss2_row(planes.dstMask, planes.dstMaskStride, y) : nullptr};
    else
        return {gauss2_row(pixels.dst, pixels.dstStride, y)};
}

// ---- pixels to sums ----

// What pixel x of a source row adds at weight 1.
template <class Planes>
auto gauss2_valueAt(const typename gauss2_rows<Planes>::Source& row, int64_t x)
{
    const uint32_t pixel = row.pixels[x];
    if constexpr (gauss2_kind<Planes>::masked) {
        const uint32_t weight = row.mask[x];
        return gauss2_maskedSum{weight * pixel, weight};
    } else {
        return pixel;
    }
}

// The kernel.
template <class Sum>
auto gauss2_weigh(Sum a, Sum b, Sum c, Sum d, Sum e)
{
    return a + 4u * b + 6u * c + 4u * d + e;
}

// The border rule: beyond an edge the edge itself repeats.
inline int64_t gauss2_clampIndex(int64_t i, int64_t size)
{
    return std::clamp<int64_t>(i, 0, size - 1);
}

// The five taps around column x of a row.
template <class Planes>
auto gauss2_weighRow(const typename gauss2_rows<Planes>::Source& row, int64_t x, int64_t width)
{
    const auto at = [&](int64_t i) {
        return gauss2_valueAt<Planes>(row, gauss2_clampIndex(x + i, width));
    };
    return gauss2_weigh(at(-2), at(-1), at(0), at(1), at(2));
}

// ---- sums to pixels ----

// `shift` is the binary logarithm of the kernel's sum: 4 in one direction, 8 in two. Rounded half up.
inline uint32_t gauss2_roundedShift(uint32_t sum, int shift)
{
    return (sum + (1u << (shift - 1))) >> shift;
}

template <class Planes, class Sum>
void gauss2_store(const typename gauss2_rows<Planes>::Dest& row, int64_t x, Sum sum, int shift)
{
    using Pixel = typename gauss2_kind<Planes>::Pixel;
    if constexpr (gauss2_kind<Planes>::masked) {
        // The pixel is 0 where no weight is present. That is decided on the sum of the weights and not on the
        // mask written, which is 0 for small sums too: required behaviour.
        const uint32_t weights = sum.weights;
        row.pixels[x] = static_cast<Pixel>(weights ? (sum.pixels + (weights >> 1)) / weights : 0);
        if (row.mask)
            row.mask[x] = static_cast<uint8_t>(gauss2_roundedShift(weights, shift));
    } else {
        row.pixels[x] = static_cast<Pixel>(gauss2_roundedShift(sum, shift));
    }
}

// ---- the common loop ----

// Every filter polls before rows 0, 64, 128, ...
inline qip_status gauss2_poll(int64_t row)
{
    return row % 64 == 0 ? qsys_attention_check() : QIP_OK;
}
