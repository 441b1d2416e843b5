// The kernels of masked/kernels/prepare.h, over the lanes of the level that the including file has chosen.
#pragma once

#include "lanes/lanes.h"
#include "masked/kernels/prepare.h"

namespace
{

lanes_inline void preparePixels(const masked_prepareStep<uint8_t>* step, int64_t column, u8s invalid)
{
    store(step->pixels + column, andNot(load(step->src + column), invalid));
}

lanes_inline void preparePixels(const masked_prepareStep<uint16_t>* step, int64_t column, u8s)
{
    for (int half = 0; half < 2; ++half, column += laneCount<uint16_t>) {
        const auto invalid = (u16s)(loadWidened(step->mask + column) == 0);
        store(step->pixels + column, andNot(load(step->src + column), invalid));
    }
}

template <class Pixel>
void prepareRow(const masked_prepareStep<Pixel>* given)
{
    // A copy, so that stores of bytes are not taken for changes of it.
    const masked_prepareStep<Pixel> row = *given;
    const masked_prepareStep<Pixel>* const step = &row;
    constexpr int64_t columns = laneCount<uint8_t>;
    const int64_t blocks = (step->width + columns - 1) / columns;
    for (int64_t block = 0; block < blocks; ++block) {
        const int64_t column =
            block * columns + columns <= step->width ? block * columns : step->width - columns;
        const auto invalid = (u8s)(load(step->mask + column) == 0);
        const u8s valid = andNot(filled(uint8_t{1}), invalid);
        store(step->valid + column, valid);
        preparePixels(step, column, invalid);
        if (!isZero(invalid))
            step->lastInvalid[block] = step->row;
        if (!isZero(valid))
            step->lastValid[block] = step->row;
    }
}

} // namespace
