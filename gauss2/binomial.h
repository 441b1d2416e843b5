// The kernel of this family, 1 4 6 4 1, stated once: for numbers, for the pair of sums that a mask calls
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

// The sums centred on the even columns, or on the odd ones, of a stretch of columns. pairs(column, a, b)
// gives a * x[0] + b * x[1], a * x[2] + b * x[3], ... from `column` columns beside the stretch on.
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

// Instead of the rows before, a few sums of them are kept, so that every row enters once. They depend on
// the last four rows and on nothing earlier.
template <gauss2_along rows>
constexpr int gauss2_keptSums = rows == gauss2_along::all       ? 4
                                : rows == gauss2_along::sampled ? 2
                                                                : 0;

// Takes the rows fresh(0) .. fresh(freshRows - 1) and calls put(i, sum) for the sums that they complete:
// one for every row, or for every second one. Where the filter does nothing along the rows, the sums are
// the rows.
template <gauss2_along rows, int freshRows, class Number, class Fresh, class Put>
__attribute__((always_inline)) inline void gauss2_sumDown([[maybe_unused]] Number* kept, const Fresh& fresh,
                                                          const Put& put)
{
    if constexpr (rows == gauss2_along::nothing) {
        for (int i = 0; i < freshRows; ++i)
            put(i, fresh(i));
    } else if constexpr (rows == gauss2_along::sampled) {
        // kept: r[-2] + 4 r[-1] + 6 r[0], and r[0], from where the rows d and e lead to r[2].
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
        // 1 4 6 4 1 is four times 1 1: a row adds itself to the row before, that sum adds itself to the one
        // before, and so on. kept: the last of each. The copies tell the compiler that `put` does not write
        // them.
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
