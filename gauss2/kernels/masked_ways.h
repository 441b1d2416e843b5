// From rows to output: the four ways in which a masked kernel makes a block (empty, full, partly valid,
// mixed). Internal linkage; needs the lanes of a level.
#pragma once

#include "gauss2/kernels/masked_output.h"
#include "gauss2/kernels/masked_sums.h"

namespace
{

template <class Pixel, along columns, along rows>
struct maskedRun {
    const gauss2_maskedSweep<Pixel>& sweep;
    inputRows<Pixel> input; // the fresh rows
    int64_t endOfInners;    // of the row
    maskedState<Pixel, columns, rows> state;
};

template <along columns, along rows>
constexpr int weightsOf = gauss2_weightOf(columns) * gauss2_weightOf(rows);

// ---- the rows of a block, in one or several turns ----

// A turn sums the four fresh rows together when the filter sums down the columns. Otherwise each row has a
// turn of its own, so that few registers are in use at a time.
template <along rows>
constexpr int turnRows = rows == along::nothing ? 1 : freshRows;
template <along rows>
constexpr int turnOutputs = turnRows<rows> / gauss2_stepOf(rows);

// In every turn, calls make<odd>(first, output) for the even columns and, where they are wanted, for the
// odd ones, with `first` the first row of the turn; then stores the output.
template <class Pixel, along columns, along rows, class Make, class Out>
lanes_inline void makeRows(const Make& make, Out&& out)
{
    for (int first = 0; first < rowsOut(rows); first += turnOutputs<rows>) {
        outputRow<Pixel, columns> output[turnOutputs<rows>];
        make.template operator()<false>(first, output);
        if constexpr (parities<columns> == 2)
            make.template operator()<true>(first, output);
        for (int i = 0; i < turnOutputs<rows>; ++i)
            put(output[i], out.dst(first + i), out.mask(first + i));
    }
}

// S of the columns of one parity, from the rows rowAt(0), ... of a turn. Calls put(row, part, sum) for each
// output row.
template <bool odd, bool isPrepared, along columns, class Pixel, along rows, class Row, class Put>
lanes_inline void sumBinaryRows(const Row& rowAt, keptBinary<Pixel, rows>* kept, const Put& put)
{
    for (int part = 0; part < binaryParts<Pixel>; ++part)
        gauss2_sumDown<rows, turnRows<rows>>(
            kept->s[part],
            [&](int i) lanes_inlined { return sumBinary<columns, odd, isPrepared>(rowAt(i), part); },
            [&](int i, binaryLanes<Pixel> s) lanes_inlined { put(i, part, s); });
}

// N and W of the columns of one parity, from the rows rowAt(0), ... and maskAt(0), ... of a turn, for each
// output row.
template <class Pixel, bool odd, bool isPrepared, along columns, along rows, class Row, class Mask>
lanes_inline void sumMixedRows(const Row& rowAt, const Mask& maskAt, keptMixed<rows>* kept, mixedSums* sums)
{
    for (int part = 0; part < mixedParts; ++part)
        gauss2_sumDown<rows, turnRows<rows>>(
            kept->n[part],
            [&](int i) lanes_inlined {
                return sumMixed<Pixel, columns, odd, isPrepared>(rowAt(i), maskAt(i), part);
            },
            [&](int i, u32s n) lanes_inlined { sums[i].n[part] = n; });
    gauss2_sumDown<rows, turnRows<rows>>(
        kept->w, [&](int i) lanes_inlined { return sumBytes<columns, odd>(maskAt(i)); },
        [&](int i, u16s w) lanes_inlined { sums[i].w = w; });
}

// ---- the ways ----

template <class Pixel, along columns, along rows, class Out>
lanes_inline void runEmpty(const maskedRun<Pixel, columns, rows>& run, int64_t block, Out&& out)
{
    constexpr size_t count = blockColumns / gauss2_stepOf(columns);
    for (int i = 0; i < rowsOut(rows); ++i) {
        std::memset(out.dst(i), 0, count * sizeof(Pixel));
        std::memset(out.mask(i), 0, count);
    }
    if constexpr (rows != along::nothing)
        std::memset(&run.state.binary[block], 0, sizeof run.state.binary[block]);
}

// From the four rows rowAt(0), ..., which are prepared rows or the source rows themselves.
template <bool isPrepared, class Pixel, along columns, along rows, class Row, class Out>
lanes_inline void runFull(const Row& rowAt, keptBinary<Pixel, rows> (*kept)[parities<columns>], Out&& out)
{
    const auto make = [&]<bool odd>(int first, outputRow<Pixel, columns>* output) lanes_inlined {
        binaryLanes<Pixel> s[turnOutputs<rows>][binaryParts<Pixel>];
        sumBinaryRows<odd, isPrepared, columns>(
            [&](int i) lanes_inlined { return rowAt(first + i); }, *kept + odd,
            [&](int i, int part, binaryLanes<Pixel> sum) lanes_inlined { s[i][part] = sum; });
        for (int i = 0; i < turnOutputs<rows>; ++i) {
            output[i].pixels[odd] = fullPixels<weightsOf<columns, rows>>(s[i]);
            output[i].mask[odd] = filled(uint16_t{255});
        }
    };
    makeRows<Pixel, columns, rows>(make, out);
}

template <class Pixel, along columns, along rows, class Out>
lanes_inline void runPartly(const maskedRun<Pixel, columns, rows>& run, int64_t block, Out&& out)
{
    const int64_t column = block * blockColumns;
    const auto make = [&]<bool odd>(int first, outputRow<Pixel, columns>* output) lanes_inlined {
        binarySums<Pixel> sums[turnOutputs<rows>];
        sumBinaryRows<odd, true, columns>(
            [&](int i) lanes_inlined { return run.state.pixels.row(first + i) + column; },
            run.state.binary[block] + odd,
            [&](int i, int part, binaryLanes<Pixel> sum) lanes_inlined { sums[i].s[part] = sum; });
        for (int i = 0; i < turnOutputs<rows>; ++i) {
            sums[i].v = sumBytes<columns, odd>(run.state.valid.row(first + i) + column);
            output[i].pixels[odd] = binaryPixels(sums[i]);
            output[i].mask[odd] = binaryMask<weightsOf<columns, rows>>(sums[i].v);
        }
    };
    makeRows<Pixel, columns, rows>(make, out);
}

template <bool isPrepared, class Pixel, along columns, along rows, class Row, class Mask, class Out>
lanes_inline void runMixed(const Row& rowAt, const Mask& maskAt, keptMixed<rows> (*kept)[parities<columns>],
                           Out&& out)
{
    const auto make = [&]<bool odd>(int first, outputRow<Pixel, columns>* output) lanes_inlined {
        mixedSums sums[turnOutputs<rows>];
        sumMixedRows<Pixel, odd, isPrepared, columns>(
            [&](int i) lanes_inlined { return rowAt(first + i); },
            [&](int i) lanes_inlined { return maskAt(first + i); }, *kept + odd, sums);
        for (int i = 0; i < turnOutputs<rows>; ++i) {
            output[i].pixels[odd] = mixedPixels<weightsOf<columns, rows>>(sums[i], Pixel{});
            output[i].mask[odd] = mixedMask<weightsOf<columns, rows>>(sums[i].w);
        }
    };
    makeRows<Pixel, columns, rows>(make, out);
}

} // namespace
