// The sums over rows of the masked filters, for one number or a vector of them. All of it has internal
// linkage, so that every level has its own.
//
// Instead of the rows before the fresh ones, a few sums of those are kept, so every row enters once.
#pragma once

#include "gauss2/masked_kernels.h"

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
constexpr int keptWeights<along::all>[4] = {1, 2, 4, 8};
template <>
constexpr int keptWeights<along::sampled>[4] = {11, 1};

// Takes the fresh rows, fresh(0) .. fresh(gauss2_maskedRows - 1), and gives rowsOut(rows) sums.
template <along rows, class Number, class Fresh>
inline void sumRows(Number* kept, const Fresh& fresh, Number* out)
{
    if constexpr (rows == along::nothing) {
        for (int i = 0; i < gauss2_maskedRows; ++i)
            out[i] = fresh(i);
    } else if constexpr (rows == along::sampled) {
        // kept: r[-2] + 4 r[-1] + 6 r[0], and r[0], from where the rows d and e lead to r[2].
        for (int i = 0; i < gauss2_maskedRows / 2; ++i) {
            const Number d = fresh(2 * i);
            const Number e = fresh(2 * i + 1);
            const Number both = (d << 2) + e;
            out[i] = kept[0] + both;
            kept[0] = kept[1] + (both + ((e << 2) + e));
            kept[1] = e;
        }
    } else {
        // 1 4 6 4 1 is four times 1 1: a row adds itself to the row before, that sum adds itself to the one
        // before, and so on. kept: the last of each.
        for (int i = 0; i < gauss2_maskedRows; ++i) {
            Number sum = fresh(i);
            for (int k = 0; k < 4; ++k) {
                const Number before = kept[k];
                kept[k] = sum;
                sum = sum + before;
            }
            out[i] = sum;
        }
    }
}

} // namespace
