// The output of a block of a masked kernel, and its way into memory. Internal linkage; needs the lanes of a
// level.
#pragma once

#include "gauss2/kernels/masked_pixels.h"

namespace
{

// The pixels and mask values of one row of a block.
template <class Pixel, along columns>
struct outputRow {
    pixelLanes<Pixel> pixels[parities<columns>];
    u16s mask[parities<columns>];
};

template <class Pixel, along columns>
lanes_inline void put(const outputRow<Pixel, columns>& row, Pixel* dst, uint8_t* mask)
{
    if constexpr (columns != along::sampled) {
        for (int part = 0; part < binaryParts<Pixel>; ++part)
            store(dst + part * halfBlock, merged(row.pixels[0].part[part], row.pixels[1].part[part]));
        store(mask, merged(row.mask[0], row.mask[1]));
    } else if constexpr (sizeof(Pixel) == 1) {
        storeNarrowed(dst, row.pixels[0].part[0], mask, row.mask[0]);
    } else {
        store(dst, narrowed(row.pixels[0].part[0], row.pixels[0].part[1]));
        storeNarrowed(mask, row.mask[0]);
    }
}

// ---- where the rows go ----

// The output rows of a sweep: a copy, as inputRows is.
template <class Pixel>
struct outputRows {
    Pixel* dst[freshRows];
    uint8_t* mask[freshRows];

    explicit outputRows(const gauss2_maskedSweep<Pixel>& sweep)
    {
        for (int i = 0; i < freshRows; ++i) {
            dst[i] = sweep.out[i];
            mask[i] = sweep.outMask[i];
        }
    }
};

// Into the rows of the sweep.
template <class Pixel, along columns>
struct rowOutput {
    const outputRows<Pixel>& rows;
    int64_t block;

    Pixel* dst(int i) const
    {
        return rows.dst[i] + block * (blockColumns / gauss2_stepOf(columns));
    }
    uint8_t* mask(int i) const
    {
        return rows.mask[i] + block * (blockColumns / gauss2_stepOf(columns));
    }
};

// Into a copy, for a last block that reaches beyond the row.
template <class Pixel>
struct copiedOutput {
    Pixel dstCopy[freshRows][blockColumns];
    uint8_t maskCopy[freshRows][blockColumns];

    Pixel* dst(int i)
    {
        return dstCopy[i];
    }
    uint8_t* mask(int i)
    {
        return maskCopy[i];
    }
};

} // namespace
