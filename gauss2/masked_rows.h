// The sums over rows of the masked filters, for one number or a vector of them. All of it has internal
// linkage, so that every level has its own.
//
// Two fresh rows d and e enter at a time. Instead of the rows before them, sums of those are kept, with just
// the weights that the coming output rows need; so every row enters once, without its history.
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
constexpr int keptWeights<along::all>[4] = {15, 11, 5, 1};
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
        // kept, with d = r[4] and e = r[5]: r[0] + 4 r[1] + 6 r[2] + 4 r[3]; r[1] + 4 r[2] + 6 r[3];
        // r[2] + 4 r[3]; r[3].
        const Number fourD = d << 2;
        const Number fourE = e << 2;
        const Number both = fourD + e;
        const Number tail = d + fourE;
        out[0] = kept[0] + d;
        out[1] = kept[1] + both;
        kept[0] = (kept[2] + tail) + (fourD + d);
        kept[1] = (kept[3] + both) + (fourE + e);
        kept[2] = tail;
        kept[3] = e;
    }
}

} // namespace
