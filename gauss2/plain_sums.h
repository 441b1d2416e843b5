// The arithmetic that decides the pixels of this family, once for both depths, masked or not: the border
// rule, the sums, and the step from a sum to a pixel. The filters in plain.cpp are made of it.
//
// A sum is a number; with a mask it is a pair, the sum of the weighted pixels and that of the weights.
#pragma once

#include "gauss2/binomial.h"
#include "gauss2/planes.h"

#include <algorithm>
#include <cstdint>

// In two directions `weights` reaches 256 * 255 = 65280 and `pixels` 256 * 255 * 65535 = 4278124800; with
// the rounding of half of `weights` that is 4278157440, which fits 32 bits only unsigned.
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

template <class Planes>
using gauss2_sum = std::conditional_t<Planes::masked, gauss2_maskedSum, uint32_t>;

// ---- rows ----

template <class Planes>
struct gauss2_sourceRow {
    const typename Planes::Pixel* pixels;
    const uint8_t* mask; // null in planes without masks
};

template <class Planes>
struct gauss2_destRow {
    typename Planes::Pixel* pixels;
    uint8_t* mask; // null when absent
};

// The border rule: beyond an edge the edge itself repeats.
inline int64_t gauss2_clampIndex(int64_t i, int64_t size)
{
    return std::clamp<int64_t>(i, 0, size - 1);
}

// Source row y; beyond an edge, the row at the edge.
template <class Planes>
gauss2_sourceRow<Planes> gauss2_sourceRowAt(const Planes& planes, int64_t y)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const int64_t inside = gauss2_clampIndex(y, pixels.height);
    const auto* const row = gauss2_row(pixels.src, pixels.srcStride, inside);
    if constexpr (Planes::masked)
        return {row, gauss2_row(planes.mask, planes.maskStride, inside)};
    else
        return {row, nullptr};
}

template <class Planes>
gauss2_destRow<Planes> gauss2_destRowAt(const Planes& planes, int64_t y)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    auto* const row = gauss2_row(pixels.dst, pixels.dstStride, y);
    if constexpr (Planes::masked)
        return {row, planes.dstMask ? gauss2_row(planes.dstMask, planes.dstMaskStride, y) : nullptr};
    else
        return {row, nullptr};
}

// ---- pixels to sums ----

// What pixel x of a source row adds at weight 1.
template <class Planes>
gauss2_sum<Planes> gauss2_valueAt(const gauss2_sourceRow<Planes>& row, int64_t x)
{
    const uint32_t pixel = row.pixels[x];
    if constexpr (Planes::masked)
        return {row.mask[x] * pixel, row.mask[x]};
    else
        return pixel;
}

// The five pixels around column x of a row.
template <class Planes>
gauss2_sum<Planes> gauss2_sumAcross(const gauss2_sourceRow<Planes>& row, int64_t x, int64_t width)
{
    const auto at = [&](int64_t i) {
        return gauss2_valueAt(row, gauss2_clampIndex(x + i, width));
    };
    return gauss2_sumOfFive(at(-2), at(-1), at(0), at(1), at(2));
}

// ---- sums to pixels ----

// `shift` is the binary logarithm of the kernel's sum: 4 in one direction, 8 in two. Rounded half up.
inline uint32_t gauss2_roundedShift(uint32_t sum, int shift)
{
    return (sum + (1u << (shift - 1))) >> shift;
}

template <class Planes>
void gauss2_store(const gauss2_destRow<Planes>& row, int64_t x, gauss2_sum<Planes> sum, int shift)
{
    using Pixel = typename Planes::Pixel;
    if constexpr (Planes::masked) {
        // The pixel is 0 where no weight is present. That is decided on the sum of the weights and not on
        // the mask written, which is 0 for small sums too: required behaviour.
        const uint32_t weights = sum.weights;
        row.pixels[x] = static_cast<Pixel>(weights ? (sum.pixels + (weights >> 1)) / weights : 0);
        if (row.mask)
            row.mask[x] = static_cast<uint8_t>(gauss2_roundedShift(weights, shift));
    } else {
        row.pixels[x] = static_cast<Pixel>(gauss2_roundedShift(sum, shift));
    }
}
