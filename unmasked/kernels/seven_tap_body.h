// The kernels of unmasked/kernels/seven_tap.h, over the lanes of the level that the including file has
// chosen. All of it has internal linkage.
//
// Rows come first: the weights 1 3 6 7 6 3 1 on bytes, by multiplying and adding pairs, into 16-bit lanes.
// When all columns are wanted, those at even places are in one register and those at odd places in another,
// until the result is stored. Then columns: the seven weights are three boxes of three, one after the
// other.
#pragma once

#include "unmasked/kernels/quotient.h"
#include "unmasked/kernels/seven_tap.h"

namespace
{

// ---- along a row ----

enum class columnsKept { all, second, any };

lanes_inline uint64_t eightAt(const uint8_t* from)
{
    uint64_t bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
}

// A register of outputs, two in each half: `first` and the one after it, and those `half` outputs further.
lanes_inline u16s pairsOfTwice(const uint8_t* first, int64_t step, int64_t half)
{
    const uint8_t* const second = first + half * step;
    const u64s bytes = {eightAt(first), eightAt(first + step), eightAt(second), eightAt(second + step)};
    const u8s weights = (u8s)filled(uint64_t{0x0001030607060301});
    return addPairs((u8s)bytes, weights);
}

// The weighted sums of a row, at most 27 x 255 = 6885: of the outputs 0, 2, 4, ... or, when `odd` is 1, 1,
// 3, 5, ... of a block with all columns; else of all outputs.
template <columnsKept kept, int odd>
lanes_inline u16s rowSums(const uint8_t* row, int64_t step)
{
    if constexpr (kept == columnsKept::any) {
        const u16s a = pairsOfTwice(row, step, 8);
        const u16s b = pairsOfTwice(row + 2 * step, step, 8);
        const u16s c = pairsOfTwice(row + 4 * step, step, 8);
        const u16s d = pairsOfTwice(row + 6 * step, step, 8);
        return neighboursAdded(neighboursAdded(a, b), neighboursAdded(c, d));
    } else if constexpr (odd) {
        return addPairs(load(row + 1), pairsOf<uint8_t>(1, 3)) +
               addPairs(load(row + 3), pairsOf<uint8_t>(6, 7)) +
               addPairs(load(row + 5), pairsOf<uint8_t>(6, 3)) + evens(load(row + 7));
    } else {
        return evens(load(row)) + addPairs(load(row + 1), pairsOf<uint8_t>(3, 6)) +
               addPairs(load(row + 3), pairsOf<uint8_t>(7, 6)) +
               addPairs(load(row + 5), pairsOf<uint8_t>(3, 1));
    }
}

// ---- down the columns ----

// out[i] = in[i] + in[i + 1] + in[i + 2], for `count` of them; two neighbours share a sum.
template <int count>
lanes_inline void boxesOfThree(const u16s* in, u16s* out)
{
    for (int i = 0; i < count; i += 2) {
        const u16s shared = in[i + 1] + in[i + 2];
        out[i] = in[i] + shared;
        if (i + 1 < count)
            out[i + 1] = shared + in[i + 3];
    }
}

// ---- one block ----

// What is done with the fresh rows of a run.
struct rowUse {
    int rows;
    bool goesOn; // from kept sums
    bool keeps;  // sums to go on from
    int step;    // output rows end with the last fresh row and every step-th before it
};

// For each box the last two of the numbers that went into it: what the boxes of the next rows need.
struct keptSums {
    u16s sums[3][2];
};

// The quotients of one register of outputs, one for each output row.
template <columnsKept kept, int odd, rowUse use>
lanes_inline void columnsOfHalf(const unmasked_sevenTapRun& run, int64_t offset, i16s mostLeft,
                                keptSums* keptOfHalf, u16s* quotients)
{
    constexpr int before = use.goesOn ? 2 : 0;
    constexpr int counts[] = {before + use.rows, 2 * before + use.rows - 2, 3 * before + use.rows - 4};
    u16s sums[3][2 + 7];
    for (int i = 0; i < before; ++i)
        for (int box = 0; box < 3; ++box)
            sums[box][i] = keptOfHalf->sums[box][i];
    for (int i = 0; i < use.rows; ++i)
        sums[0][before + i] = rowSums<kept, odd>(run.source[i] + offset, run.stepX);
    boxesOfThree<counts[0] - 2>(sums[0], sums[1] + before);
    boxesOfThree<counts[1] - 2>(sums[1], sums[2] + before); // at most 9 x 6885 = 61965
    if constexpr (use.keeps)
        for (int i = 0; i < 2; ++i)
            for (int box = 0; box < 3; ++box)
                keptOfHalf->sums[box][i] = sums[box][counts[box] - 2 + i];

    // The third box does not fit. Its quarters do: 3 x 15491 = 46473.
    constexpr int outputs = counts[2] - 2;
    u16s quartered[2 + 7];
    for (int i = 0; i < counts[2]; ++i)
        quartered[i] = sums[2][i] >> 2;
    u16s wholes[7];
    u16s quarters[7];
    boxesOfThree<outputs>(sums[2], wholes);
    boxesOfThree<outputs>(quartered, quarters);
    for (int i = (outputs + use.step - 1) % use.step; i < outputs; i += use.step)
        *quotients++ = dividedBy729(wholes[i], quarters[i], mostLeft);
}

// The output rows of the next run are asked for early: a short piece of each row gives the processor no
// pattern to see them coming by. Source rows asked for in the same way took longer, not less.
template <columnsKept kept, rowUse use>
void makeRun(const unmasked_sevenTapRun* argument)
{
    const unmasked_sevenTapRun run = *argument;
    constexpr int halves = kept == columnsKept::all ? 2 : 1;
    constexpr int64_t outputs = halves * laneCount<uint16_t>;
    constexpr int outputRows = use.rows / use.step;
    constexpr int64_t cacheLine = 64;
    const i16s mostLeft = mostLeftBy729(run.round);
    auto* keptOfBlock = reinterpret_cast<keptSums*>(run.kept);
    for (int64_t block = 0; block < run.blocks; ++block) {
        const int64_t offset = block * outputs * run.stepX;
        if (halves == 2 && block * outputs % cacheLine == 0)
            for (int i = 0; i < outputRows; ++i)
                __builtin_prefetch(run.out[i] + block * outputs + run.ahead);
        u16s quotients[2][7];
        columnsOfHalf<kept, 0, use>(run, offset, mostLeft, keptOfBlock++, quotients[0]);
        if constexpr (halves == 2)
            columnsOfHalf<kept, 1, use>(run, offset, mostLeft, keptOfBlock++, quotients[1]);
        for (int i = 0; i < outputRows; ++i)
            if constexpr (halves == 2)
                store(run.out[i] + block * outputs, merged(quotients[0][i], quotients[1][i]));
            else
                storeNarrowed(run.out[i] + block * outputs, quotients[0][i]);
    }
}

// ---- the table ----

template <columnsKept kept>
constexpr unmasked_sevenTapKernel sevenTapKernel()
{
    static_assert(sizeof(keptSums) == laneCount<uint16_t> * unmasked_sevenTapKeptBytes);
    return {
        .outputs = (kept == columnsKept::all ? 2 : 1) * laneCount<uint16_t>,
        .prepare = makeRun<kept, rowUse{6, false, true, 7}>,
        .everyRow = makeRun<kept, rowUse{4, true, true, 1}>,
        .everySecond = makeRun<kept, rowUse{4, true, true, 2}>,
        .everyThird = makeRun<kept, rowUse{3, true, true, 3}>,
        .alone = makeRun<kept, rowUse{7, false, false, 7}>,
    };
}

constexpr unmasked_sevenTapKernels sevenTapKernels()
{
    return {sevenTapKernel<columnsKept::all>(), sevenTapKernel<columnsKept::second>(),
            sevenTapKernel<columnsKept::any>()};
}

} // namespace
