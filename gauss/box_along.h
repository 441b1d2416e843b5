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

template <class Number>
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
        const u32s inner = load(column - 2 * box) - load(column - box);
        const u32s outer = load(column) - load(column - 3 * box);
        const u32s difference = outer + inner + (inner + inner);
        gauss_groupSums<Number> first;
        if constexpr (sizeof(Number) == sizeof(uint32_t))
            first.part[0] = difference;
        else
            widenSigned(difference, first.part);
        integrators[0].add(first);
        integrators[1].add(integrators[0]);
        integrators[2].add(integrators[1]);
        column += laneCount<uint32_t>;
    }
};

} // namespace
