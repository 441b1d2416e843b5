// The unmasked smoothing worked out the slow way: every pixel by a direct convolution with explicit integer
// weights, every rectangle by trying positions one by one. Nothing here uses running sums, differences or
// the library's own geometry.
//
// Sums are 64-bit integers: exact for box widths up to 500 in both axes.
#pragma once

#include "support/compare.h"

#include <cstdint>
#include <vector>

// A rectangle in 64 bits; width or height <= 0 means no pixels.
struct oracle_rect {
    int64_t x, y, width, height;

    bool operator==(const oracle_rect&) const = default;
    bool isNull() const
    {
        return width <= 0 || height <= 0;
    }
    // This one, or four zeros when it is null.
    oracle_rect orZeros() const
    {
        return isNull() ? oracle_rect{0, 0, 0, 0} : *this;
    }
};

// A record of the library with these fields.
template <class Rect>
oracle_rect oracle_rectOf(const Rect& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

// What both cover; null when that is nothing.
oracle_rect oracle_intersection(const oracle_rect& a, const oracle_rect& b);

// Success when both cover the same pixels: null rectangles are equal whatever their numbers.
testing::AssertionResult test_sameRect(const oracle_rect& expected, const oracle_rect& actual);

// What to compute. A record like {.kernelX = 2, .kernelY = 2} is the plain case.
struct oracle_gauss {
    int64_t sampleX = 1;
    int64_t sampleY = 1;
    int64_t kernelX = 0;
    int64_t kernelY = 0;
    bool round = false;
    float gain = 1.0F;
    bool peak = false;      // divide by the product of the peaks instead
    bool validOnly = false; // only where the kernel lies inside the source (implied by peak)
};

// The source index that stands for index i: one reflection with the edge repeated; -1 beyond it.
inline int64_t oracle_reflected(int64_t i, int64_t count)
{
    if (i < -count || i >= 2 * count)
        return -1;
    if (i < 0)
        return -i - 1;
    return i < count ? i : 2 * count - 1 - i;
}

// Source position on which destination pixel i is centred.
int64_t oracle_centre(int64_t i, int64_t sample, int64_t kernel);

// The middle of the source pixels under the kernel of destination pixel i; pixel p covers p .. p + 1.
double oracle_supportCentre(int64_t i, int64_t sample, int64_t kernel);

// The coefficients of (1 + z + ... + z^(width-1))^power, by repeated multiplication; index j is z^j.
std::vector<int64_t> oracle_boxPower(int64_t width, int64_t power);

// All i whose centre lies in start .. start + length - 1 (or, with validOnly, whose whole kernel does), as
// start and length; length 0 when there is none.
struct oracle_span {
    int64_t start, length;
};
oracle_span oracle_destinationSpan(int64_t start, int64_t length, int64_t sample, int64_t kernel,
                                   bool validOnly = false);

// The rectangle that a source yields, and the part of a given destination that is written.
oracle_rect oracle_destination(const oracle_rect& source, const oracle_gauss& request);
oracle_rect oracle_written(const oracle_rect& source, const oracle_gauss& request,
                           const oracle_rect& destination);

// What the sums are multiplied by, and what rounding adds to them first.
struct oracle_scale {
    double recip, half;
};
oracle_scale oracle_scaleOf(const oracle_gauss& request);

// The truncated value as an integer; 0 when it does not fit one.
int64_t oracle_truncated(double value);

// The values of a rectangle of destination pixels, before they are cut to 8 or 16 bits.
struct oracle_values {
    oracle_rect rect;
    std::vector<int64_t> values;

    int64_t at(int64_t x, int64_t y) const; // destination coordinates
};

// Smooths the pixels of `source`, the first of which is at (sourceX, sourceY). `rect` is the rectangle that
// one call writes: with rounding the accumulator of a row starts at its first column, and for gains that
// are not powers of two its value depends on that.
oracle_values oracle_smooth(const test_view& source, int64_t sourceX, int64_t sourceY,
                            const oracle_gauss& request, const oracle_rect& rect);

// The older smoothing: `passes` boxes per axis around the pixel itself, only where the kernel fits, divided
// by the sum of the weights or by the product of the weights at offset 0.
oracle_rect oracle_boxesValid(const oracle_rect& source, int64_t passes, int64_t kernelX, int64_t kernelY);
oracle_values oracle_boxes(const test_view& source, int64_t sourceX, int64_t sourceY, int64_t passes,
                           int64_t kernelX, int64_t kernelY, bool peak, const oracle_rect& rect);
