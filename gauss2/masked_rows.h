// The sums over rows of the masked filters, for one number or a vector of them. All of it has internal
// linkage, so that every level has its own.
//
// Two fresh rows d and e enter at a time. Instead of the rows before them, a few sums of those are kept, so
// every row enters once. 1 4 6 4 1 is four times 1 1: every row adds itself to the row before, that sum adds
// itself to the one before, and so on.
#pragma once

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
    return rows == along::sampled ? 1 : 2;
}

// The whole weight that has entered a kept sum.
template <along rows>
constexpr int keptWeights[4] = {};
template <>
constexpr int keptWeights<along::all>[4] = {1, 2, 4, 8};
template <>
constexpr int keptWeights<along::sampled>[4] = {11, 1};

template <along rows, class Number>
inline void sumRows(Number* kept, Number d, Number e, Number* out)
{
    if constexpr (rows == along::nothing) {
        out[0] = d;
        out[1] = e;
    } else if constexpr (rows == along::sampled) {
        // kept: r[-2] + 4 r[-1] + 6 r[0], and r[0]; d and e are r[1] and r[2].
        const Number both = (d << 2) + e;
        out[0] = kept[0] + both;
        kept[0] = kept[1] + (both + ((e << 2) + e));
        kept[1] = e;
    } else {
        // kept: r[3], r[2] + r[3], r[1] + 2 r[2] + r[3], r[0] + 3 r[1] + 3 r[2] + r[3]; d and e are r[4], r[5].
        const Number d1 = kept[0] + d;
        const Number d2 = kept[1] + d1;
        const Number d3 = kept[2] + d2;
        const Number e1 = d + e;
        const Number e2 = d1 + e1;
        const Number e3 = d2 + e2;
        out[0] = kept[3] + d3;
        out[1] = d3 + e3;
        kept[0] = e;
        kept[1] = e1;
        kept[2] = e2;
        kept[3] = e3;
    }
}

} // namespace
