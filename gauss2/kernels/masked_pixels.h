// From the sums of a masked kernel to pixels and mask values. Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_state.h"
#include "lanes/quotient.h"

namespace
{

constexpr int shiftOf(int weights)
{
    return weights == 256 ? 8 : 4;
}

// The sums of the columns of one parity, for one output row of a block.
template <class Pixel>
struct binarySums {
    binaryLanes<Pixel> s[binaryParts<Pixel>]; // 16 bits: S - 32768 V
    u16s v;
};

struct mixedSums {
    u32s n[mixedParts]; // 8 bits: N - 32768 w, w the sum of all weights; 16 bits: N - 32768 W
    u16s w;
};

// Pixels, each in the lane in which its sum was.
template <class Pixel>
struct pixelLanes {
    binaryLanes<Pixel> part[binaryParts<Pixel>];
};

// ---- full blocks: N = 255 S and W = 255 w, w the sum of all weights; the pixel is (S + w / 2) / w ----

template <int weights>
lanes_inline pixelLanes<uint8_t> fullPixels(const u16s* s)
{
    return {(s[0] + uint16_t{weights / 2}) >> shiftOf(weights)};
}

template <int weights>
lanes_inline pixelLanes<uint16_t> fullPixels(const u32s* s)
{
    constexpr uint32_t add = weights / 2 + 32768 * weights;
    return {(s[0] + add) >> shiftOf(weights), (s[1] + add) >> shiftOf(weights)};
}

// ---- binary blocks: N = 255 S and W = 255 V; the pixel is (S + (V >> 1)) / V, and 0 where V is 0 ----

lanes_inline pixelLanes<uint8_t> binaryPixels(const binarySums<uint8_t>& sums)
{
    const u16s dividend = sums.s[0] + (sums.v >> 1); // at most 255 * 256 + 128
    u32s n[2];
    u32s v[2];
    spread(dividend, n);
    spread(larger(sums.v, filled(uint16_t{1})), v);
    const u32s pixels[2] = {dividedSmall(n[0], v[0]), dividedSmall(n[1], v[1])};
    return {gathered(pixels)};
}

lanes_inline pixelLanes<uint16_t> binaryPixels(const binarySums<uint16_t>& sums)
{
    // S + (V >> 1) is at most 65535 * 256 + 128.
    u32s v[2];
    widen(sums.v, v);
    pixelLanes<uint16_t> pixels;
    for (int i = 0; i < 2; ++i) {
        const u32s dividend = sums.s[i] + (v[i] << 15) + (v[i] >> 1);
        pixels.part[i] = dividedSmall(dividend, larger(v[i], filled(uint32_t{1})));
    }
    return pixels;
}

// (255 V + w / 2) / w, which with w = 16 is 16 V, less 1 for V > 8.
template <int weights>
lanes_inline u16s binaryMask(u16s v)
{
    if constexpr (weights == 256)
        return mulRounded(v, 255 << 7);
    else
        return (v << 4) + (u16s)((i16s)v > int16_t{8});
}

// ---- mixed blocks: the pixel is (N + (W >> 1)) / W, and 0 where W is 0 ----

template <int weights>
lanes_inline pixelLanes<uint8_t> mixedPixels(const mixedSums& sums, uint8_t)
{
    // N + (W >> 1) is at most 256 * 255 * 255 + 32640 < 2^24.
    u32s half[2];
    u32s divisor[2];
    interleave(sums.w >> 1, filled(uint16_t{weights / 2}), half); // 32768 w is w / 2 in the upper half
    widen(larger(sums.w, filled(uint16_t{1})), divisor);
    return {narrowed(dividedSmall(sums.n[0] + half[0], divisor[0]),
                     dividedSmall(sums.n[1] + half[1], divisor[1]))};
}

template <int weights>
lanes_inline pixelLanes<uint16_t> mixedPixels(const mixedSums& sums, uint16_t)
{
    // Where W is 0, N is 0 too, and -32768 / 1 stands for the pixel 0.
    const u16s isZero = (u16s)(sums.w == 0);
    u32s half[2];
    u32s divisor[2];
    interleave((sums.w >> 1) | (isZero << 15), isZero, half);
    widen(sums.w - isZero, divisor);
    return {dividedCentred(sums.n[0] + half[0], divisor[0]),
            dividedCentred(sums.n[1] + half[1], divisor[1])};
}

template <int weights>
lanes_inline u16s mixedMask(u16s w)
{
    return (w + uint16_t{weights / 2}) >> shiftOf(weights);
}

} // namespace
