// The weights of this family, 1 4 6 4 1, stated once: for numbers, for the pairs of sums that masks call
// for, for lanes, and for whatever else can be added and multiplied by small numbers. Internal linkage, so
// that every processor level has functions of its own.
#pragma once

#include "gauss2/filter.h"

#include <cstdint>

namespace
{

// Required arithmetic: the weighted sum of five neighbours.
template <class Number>
inline Number gauss2_sumOfFive(Number a, Number b, Number c, Number d, Number e)
{
    return a + 4u * b + 6u * c + 4u * d + e;
}

// ---- along a row, from adjacent pairs ----

// The sums centred on the even columns, or on the odd ones, of some neighbouring columns. With x[0] the
// `column`-th of these (it may be negative), pairs(column, a, b) gives a * x[0] + b * x[1],
// a * x[2] + b * x[3], ...
template <gauss2_along columns, bool odd, class Pairs>
__attribute__((always_inline)) inline auto gauss2_sumAlong(const Pairs& pairs)
{
    if constexpr (columns == gauss2_along::nothing)
        return odd ? pairs(0, 0, 1) : pairs(0, 1, 0);
    else if constexpr (odd)
        return pairs(-2, 0, 1) + pairs(0, 4, 6) + pairs(2, 4, 1);
    else
        return pairs(-2, 1, 4) + pairs(0, 6, 4) + pairs(2, 1, 0);
}

// ---- down the columns, row after row ----

// How many sums of the rows before are kept, so that every row has to be read only once. They depend on the
// last four rows and on nothing earlier.
template <gauss2_along rows>
constexpr int gauss2_keptSums = rows == gauss2_along::all       ? 4
                                : rows == gauss2_along::sampled ? 2
                                                                : 0;

// Adds the rows fresh(0) .. fresh(freshRows - 1) and calls put(i, sum) for the sums that they complete, one
// for every row or for every second one. Where the filter leaves this direction alone, the sums are the
// rows.
template <gauss2_along rows, int freshRows, class Number, class Fresh, class Put>
__attribute__((always_inline)) inline void gauss2_sumDown([[maybe_unused]] Number* kept, const Fresh& fresh,
                                                          const Put& put)
{
    if constexpr (rows == gauss2_along::nothing) {
        for (int i = 0; i < freshRows; ++i)
            put(i, fresh(i));
    } else if constexpr (rows == gauss2_along::sampled) {
        // kept[0] is a + 4 b + 6 c of the next sum, and kept[1] is c; the rows d and e complete it. The sum
        // after that begins with c + 4 d + 6 e.
        Number sum = kept[0];
        Number last = kept[1];
        for (int i = 0; i < freshRows / 2; ++i) {
            const auto d = fresh(2 * i);
            const auto e = fresh(2 * i + 1);
            const Number both = (d << 2) + e;
            put(i, sum + both);
            sum = last + (both + ((e << 2) + e));
            last = e;
        }
        kept[0] = sum;
        kept[1] = last;
    } else {
        // 1 4 6 4 1 is made by four steps of 1 1: the first adds a row to the row before, the next adds
        // that sum to the one that the first step gave before, and so on. What enters a step is kept for
        // the next row. The copies tell the compiler that `put` does not write them.
        Number last[4] = {kept[0], kept[1], kept[2], kept[3]};
        for (int i = 0; i < freshRows; ++i) {
            Number sum = fresh(i);
            for (Number& before : last) {
                const Number next = sum + before;
                before = sum;
                sum = next;
            }
            put(i, sum);
        }
        for (int k = 0; k < 4; ++k)
            kept[k] = last[k];
    }
}

} // namespace
