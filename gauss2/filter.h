// The six filters of this family. A filter is named by what it does in each direction.
#pragma once

// What a filter does along the columns of a row, or along the rows of an image.
enum class gauss2_along {
    nothing, // leaves that direction alone
    all,     // sums with 1 4 6 4 1
    sampled, // the same, and keeps every second sum
};

struct gauss2_filter {
    gauss2_along x;
    gauss2_along y;
};

inline constexpr gauss2_filter gauss2_half = {gauss2_along::sampled, gauss2_along::sampled};
inline constexpr gauss2_filter gauss2_halfX = {gauss2_along::sampled, gauss2_along::nothing};
inline constexpr gauss2_filter gauss2_halfY = {gauss2_along::nothing, gauss2_along::sampled};
inline constexpr gauss2_filter gauss2_full5x5 = {gauss2_along::all, gauss2_along::all};
inline constexpr gauss2_filter gauss2_full5x1 = {gauss2_along::all, gauss2_along::nothing};
inline constexpr gauss2_filter gauss2_full1x5 = {gauss2_along::nothing, gauss2_along::all};

// Source pixels for each pixel of the result.
constexpr int gauss2_stepOf(gauss2_along direction)
{
    return direction == gauss2_along::sampled ? 2 : 1;
}

// The sum of the weights.
constexpr int gauss2_weightOf(gauss2_along direction)
{
    return direction == gauss2_along::nothing ? 1 : 16;
}

// Half resolution in one direction: these filters must have asked the attention handler for the last time
// before they write anything.
constexpr bool gauss2_halvesOneDirection(gauss2_filter filter)
{
    return gauss2_stepOf(filter.x) * gauss2_stepOf(filter.y) == 2;
}
