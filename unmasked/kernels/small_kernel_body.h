// The kernels of unmasked/kernels/small_kernel.h. A file that has included the lanes of its level includes
// this one and gets the kernels; all of it has internal linkage. Written for registers of 32 bytes.
//
// Rows first, on bytes, by adding weighted pairs; then columns, in lanes of 16 bits. The weights of both
// directions add up to 64, so that all sums, at most 64 x 255 = 16320, fit signed 16-bit lanes. No sum is
// kept from sweep to sweep: the three rows that two sweeps share are summed twice, which costs less than to
// store their sums and load them again.
#pragma once

#include "unmasked/kernels/small_kernel.h"

namespace
{

// ---- along the rows ----

// A block is 32 output columns, and this is how many source columns are loaded for it.
inline constexpr int64_t blockColumns = 32;
template <int stepX>
constexpr int64_t columnsRead = stepX == 1   ? 35
                                : stepX == 2 ? 66
                                             : 100;

// The sums of a row for a block: those of its even and of its odd columns where it has all columns, else
// those of its first and of its second half.
struct blockSums {
    u16s part[2];
};

lanes_inline blockSums operator+(const blockSums& a, const blockSums& b)
{
    return {{a.part[0] + b.part[0], a.part[1] + b.part[1]}};
}

// The 16 sums of four pixels each that begin at the columns 0, 2, 4, ...
lanes_inline u16s sumsAtSeconds(const uint8_t* row)
{
    return addPairs(load(row), pairsOf<uint8_t>(1, 3)) + addPairs(load(row + 2), pairsOf<uint8_t>(3, 1));
}

// The 16 sums of four pixels each that begin at the columns 0, 3, 6, ... Half a register holds the pixels
// of four sums.
lanes_inline u16s sumsAtThirds(const uint8_t* row)
{
    const u8s weights = (u8s)filled(uint32_t{0x01030301});
    u32s sums[2];
    for (int i = 0; i < 2; ++i) {
        const u8s pixels = loadHalves(row + 12 * i, row + 12 * i + 24);
        const u8s taps = pickedInHalves<0, 1, 2, 3, 3, 4, 5, 6, 6, 7, 8, 9, 9, 10, 11, 12>(pixels);
        sums[i] = addPairs(addPairs(taps, weights), pairsOf<uint16_t>(1, 1));
    }
    return gathered(sums);
}

template <int stepX>
lanes_inline blockSums sumsAlong(const uint8_t* row)
{
    if constexpr (stepX == 1)
        return {{sumsAtSeconds(row), sumsAtSeconds(row + 1)}};
    else if constexpr (stepX == 2)
        return {{sumsAtSeconds(row), sumsAtSeconds(row + 32)}};
    else
        return {{sumsAtThirds(row), sumsAtThirds(row + 48)}};
}

// ---- down the columns ----

// Calls put(j, sum) for the sums 0 .. count - 1 of four rows each that begin at the rows 0, stepY, ...
template <int stepY, class RowAt, class Put>
lanes_inline void sumDown(int count, const RowAt& rowAt, const Put& put)
{
    if constexpr (stepY == 1) {
        // 1 3 3 1 is made by three steps of 1 1; what enters a step is kept for the next row.
        blockSums last = rowAt(1);
        blockSums two = rowAt(0) + last;
        const blockSums third = rowAt(2);
        blockSums three = two + (last + third);
        two = last + third;
        last = third;
        for (int j = 0; j < count; ++j) {
            const blockSums row = rowAt(j + 3);
            const blockSums nextTwo = last + row;
            const blockSums nextThree = two + nextTwo;
            put(j, three + nextThree);
            last = row;
            two = nextTwo;
            three = nextThree;
        }
    } else if constexpr (stepY == 2) {
        // The last two rows of a sum, c and d, are the first two of the next one.
        const blockSums second = rowAt(1);
        blockSums begun = rowAt(0) + (second + (second + second));
        for (int j = 0; j < count; ++j) {
            const blockSums c = rowAt(2 * j + 2);
            const blockSums d = rowAt(2 * j + 3);
            const blockSums both = c + d;
            put(j, begun + (both + (c + c)));
            begun = both + (d + d);
        }
    } else {
        blockSums first = rowAt(0);
        for (int j = 0; j < count; ++j) {
            const blockSums inner = rowAt(3 * j + 1) + rowAt(3 * j + 2);
            const blockSums last = rowAt(3 * j + 3);
            put(j, (first + last) + (inner + (inner + inner)));
            first = last;
        }
    }
}

// ---- from the sums to the pixels ----

template <int stepX, bool rounds>
lanes_inline void storePixels(const blockSums& sums, uint8_t* to)
{
    constexpr int16_t roundedOver64 = 1 << 9;
    const u16s first = rounds ? mulRounded(sums.part[0], roundedOver64) : sums.part[0] >> 6;
    if constexpr (stepX == 1)
        store(to, rounds ? merged(first, mulRounded(sums.part[1], roundedOver64))
                         : mergedUpper(first, sums.part[1] << 2));
    else
        store(to, narrowed(first, rounds ? mulRounded(sums.part[1], roundedOver64) : sums.part[1] >> 6));
}

// ---- the ends of the rows ----

// Copies of the rows' ends with their borders. A block that reaches beyond an end reads these.
template <int stepX>
struct rowEnds {
    // All that such a block can read. Copies have this length, a constant, so that they are fast.
    static constexpr int64_t length = (columnsRead<stepX> + 31) / 32 * 32;
    static constexpr int64_t margin = 64; // of a block's first column, on either side of what is copied

    const uint8_t* row[unmasked_smallMostSourceRows];
    uint8_t pixels[unmasked_smallMostSourceRows][margin + length + margin];
};

// Four pixels in reverse order.
lanes_inline void copyReversed(const uint8_t* from, uint8_t* to)
{
    static_assert(unmasked_smallMostOutside == 4);
    uint32_t pixels;
    std::memcpy(&pixels, from, sizeof pixels);
    pixels = __builtin_bswap32(pixels);
    std::memcpy(to, &pixels, sizeof pixels);
}

// Copies `count` pixels, at least as many as a Piece has, piece by piece. The compiler's own copy of a
// number of bytes that varies takes longer than all that is made of these few pixels.
template <class Piece>
lanes_inline void copyPieces(const uint8_t* from, int64_t count, uint8_t* to)
{
    constexpr int64_t size = sizeof(Piece);
    for (int64_t i = 0; i < count; i += size) {
        const int64_t at = i + size < count ? i : count - size;
        Piece piece;
        std::memcpy(&piece, from + at, sizeof piece);
        std::memcpy(to + at, &piece, sizeof piece);
    }
}

// Makes the columns of a row that a block loads, from `first` on, one of them outside the row. What lies
// further outside than kernels reach is left as it is, since no output depends on it.
template <int stepX>
lanes_inline void copyEnd(const uint8_t* row, int64_t width, int64_t first, uint8_t* to)
{
    constexpr int64_t length = rowEnds<stepX>::length;
    const int64_t count = width < length ? width : length;
    const int64_t from = first < 0 ? 0 : width - count;
    if (count < laneBytes)
        copyPieces<uint32_t>(row + from, count, to + (from - first));
    else
        copyPieces<u8s>(row + from, count, to + (from - first));
    if (first < 0)
        copyReversed(row, to - first - 4);
    if (first + length > width)
        copyReversed(row + width - 4, to + (width - first));
}

// ---- a sweep ----

// Makes a block from source rows at any place.
template <int stepX, int stepY, bool rounds>
lanes_inline void makeBlock(int rows, const uint8_t* const* source, int64_t sourceColumn,
                            uint8_t* const* out, int64_t column)
{
    sumDown<stepY>(
        rows, [=](int i) lanes_inlined { return sumsAlong<stepX>(source[i] + sourceColumn); },
        [=](int j, const blockSums& sums)
            lanes_inlined { storePixels<stepX, rounds>(sums, out[j] + column); });
}

template <int stepX, int stepY, bool rounds>
void makeRows(const unmasked_smallSweep* sweep)
{
    const unmasked_smallSweep& rows = *sweep;
    // Rows shorter than a block are made here first.
    const bool isNarrow = rows.columns < blockColumns;
    uint8_t narrow[unmasked_smallMostRows][blockColumns];
    uint8_t* narrowOut[unmasked_smallMostRows];
    for (int j = 0; isNarrow && j < rows.rows; ++j)
        narrowOut[j] = narrow[j];
    uint8_t* const* const out = isNarrow ? narrowOut : rows.out;

    rowEnds<stepX> ends;
    // The last block may overlap the one before it.
    const int64_t lastColumn = isNarrow ? 0 : rows.columns - blockColumns;
    for (int64_t column = 0;;
         column = column + blockColumns < lastColumn ? column + blockColumns : lastColumn) {
        int64_t first = rows.firstColumn + stepX * column;
        const uint8_t* const* source = rows.source;
        if (first < 0 || first + columnsRead < stepX >> rows.srcWidth) {
            for (int i = 0; i < stepY * (rows.rows - 1) + 4; ++i) {
                ends.row[i] = ends.pixels[i] + ends.margin;
                copyEnd<stepX>(rows.source[i], rows.srcWidth, first, ends.pixels[i] + ends.margin);
            }
            source = ends.row;
            first = 0;
        }
        // With a constant number of rows the compiler unrolls the loop over them.
        if (rows.rows == unmasked_smallMostRows)
            makeBlock<stepX, stepY, rounds>(unmasked_smallMostRows, source, first, out, column);
        else
            makeBlock<stepX, stepY, rounds>(rows.rows, source, first, out, column);
        if (column == lastColumn)
            break;
    }
    for (int j = 0; isNarrow && j < rows.rows; ++j)
        std::memcpy(rows.out[j], narrow[j], static_cast<size_t>(rows.columns));
}

// ---- the table ----

constexpr unmasked_smallKernels smallKernels()
{
    return {{{{makeRows<1, 1, false>, makeRows<2, 1, false>, makeRows<3, 1, false>},
              {makeRows<1, 2, false>, makeRows<2, 2, false>, makeRows<3, 2, false>},
              {makeRows<1, 3, false>, makeRows<2, 3, false>, makeRows<3, 3, false>}},
             {{makeRows<1, 1, true>, makeRows<2, 1, true>, makeRows<3, 1, true>},
              {makeRows<1, 2, true>, makeRows<2, 2, true>, makeRows<3, 2, true>},
              {makeRows<1, 3, true>, makeRows<2, 3, true>, makeRows<3, 3, true>}}}};
}

} // namespace
