// The sums over rows of the masked filters, for one number or a vector of them. All of it has internal
// linkage, so that every level has its own.
//
// Instead of the rows before the fresh ones, a few sums of those are kept, so every row enters once.
#pragma once

#include "gauss2/kernels/masked_kernels.h"

namespace
{

// How a filter goes along columns or rows.
enum class along { nothing, all, sampled };

// Sums that are kept, and rows that come out of a step.
constexpr int keptSums(along rows)
{
    return rows == along::all ? 4 : rows == along::sampled ? 2 : 0;
}
constexpr int rowsOut(along rows)
{
    return rows == along::sampled ? gauss2_maskedRows / 2 : gauss2_maskedRows;
}

// The whole weight that has entered a kept sum.
template <along rows>
constexpr int keptWeights[4] = {};
template <>
inline constexpr int keptWeights<along::all>[4] = {1, 2, 4, 8};
template <>
inline constexpr int keptWeights<along::sampled>[4] = {11, 1};

// Takes the fresh rows, fresh(0) .. fresh(gauss2_maskedRows - 1), and gives rowsOut(rows) sums. The kept sums go
// through a copy, which no load of a pixel can be thought to read.
template <along rows, class Number, class Fresh>
inline void sumRows(Number* kept, const Fresh& fresh, Number* out)
{
    if constexpr (rows == along::nothing) {
        for (int i = 0; i < gauss2_maskedRows; ++i)
            out[i] = fresh(i);
    } else if constexpr (rows == along::sampled) {
        // kept: r[-2] + 4 r[-1] + 6 r[0], and r[0], from where the rows d and e lead to r[2].
        Number sum = kept[0];
        Number last = kept[1];
        for (int i = 0; i < gauss2_maskedRows / 2; ++i) {
            const Number d = fresh(2 * i);
            const Number e = fresh(2 * i + 1);
            const Number both = (d << 2) + e;
            out[i] = sum + both;
            sum = last + (both + ((e << 2) + e));
            last = e;
        }
        kept[0] = sum;
        kept[1] = last;
    } else {
        // 1 4 6 4 1 is four times 1 1: a row adds itself to the row before, that sum adds itself to the one
        // before, and so on. kept: the last of each.
        Number last[4] = {kept[0], kept[1], kept[2], kept[3]};
        for (int i = 0; i < gauss2_maskedRows; ++i) {
            Number sum = fresh(i);
            for (Number& before : last) {
                const Number next = sum + before;
                before = sum;
                sum = next;
            }
            out[i] = sum;
        }
        for (int k = 0; k < 4; ++k)
            kept[k] = last[k];
    }
}

} // namespace
