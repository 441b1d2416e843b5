// The exact sums of the cube of a box along the rows, for kernels: a cursor that goes from column to column
// of the sums down the columns (gauss/box_sums.h). A file that has included the lanes of its level includes
// this one; all of it has internal linkage.
#pragma once

#include "gauss/box_sums.h"
#include "lanes/lanes.h"

namespace
{

// The sums of all rows of a group: modulo 2^32 in one register, modulo 2^64 in two.
template <class Number>
struct gauss_groupSums {
    static constexpr int parts = sizeof(Number) == 4 ? 1 : 2;
    lanesOf<Number> part[parts];

    lanes_inline void add(const gauss_groupSums& sums)
    {
        for (int i = 0; i < parts; ++i)
            part[i] += sums.part[i];
    }
};

lanes_inline u32s gauss_shifted(const gauss_groupSums<uint32_t>& sums, int32_t bits)
{
    return shiftedRight(sums.part[0], bits);
}

// What is left has 32 bits.
lanes_inline u32s gauss_shifted(const gauss_groupSums<uint64_t>& sums, int32_t bits)
{
    return lowHalves(sums.part[0] >> bits, sums.part[1] >> bits);
}

lanes_inline gauss_groupSums<uint64_t> gauss_widened(const gauss_groupSums<uint32_t>& sums)
{
    gauss_groupSums<uint64_t> wide;
    widen(sums.part[0], wide.part);
    return wide;
}

lanes_inline gauss_groupSums<uint64_t> gauss_widened(const gauss_groupSums<uint64_t>& sums)
{
    return sums;
}

// Number is that of the sums. With wide columns the third differences of the columns have more than 32 bits:
// boxes of 16-bit pixels wider than gauss_mostBoxSigned.
template <class Number, bool wideColumns = false>
struct gauss_alongCursor {
    const uint32_t* column; // the next one
    int64_t box;            // in numbers, not in columns
    gauss_groupSums<Number> integrators[3];

    explicit lanes_inline gauss_alongCursor(const gauss_alongState& state)
        : column(state.column), box(state.box * laneCount<uint32_t>)
    {
        std::memcpy(&integrators, state.integrators, sizeof integrators);
    }

    lanes_inline void keep(gauss_alongState* state) const
    {
        state->column = column;
        std::memcpy(state->integrators, &integrators, sizeof integrators);
    }

    lanes_inline void addColumn()
    {
        gauss_groupSums<Number> first;
        if constexpr (wideColumns) {
            const auto wide = [this](int64_t back) lanes_inlined {
                return gauss_widened(gauss_groupSums<uint32_t>{{load(column - back)}});
            };
            const gauss_groupSums<uint64_t> taps[4] = {wide(0), wide(box), wide(2 * box), wide(3 * box)};
            for (int i = 0; i < 2; ++i) {
                const u64s inner = taps[2].part[i] - taps[1].part[i];
                first.part[i] = taps[0].part[i] - taps[3].part[i] + inner + (inner + inner);
            }
        } else {
            const u32s inner = load(column - 2 * box) - load(column - box);
            const u32s outer = load(column) - load(column - 3 * box);
            const u32s difference = outer + inner + (inner + inner);
            if constexpr (sizeof(Number) == sizeof(uint32_t))
                first.part[0] = difference;
            else
                widenSigned(difference, first.part);
        }
        integrators[0].add(first);
        integrators[1].add(integrators[0]);
        integrators[2].add(integrators[1]);
        column += laneCount<uint32_t>;
    }

    lanes_inline gauss_groupSums<Number> sums() const
    {
        return integrators[2];
    }
};

} // namespace
