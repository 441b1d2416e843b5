// The kernel of this family, 1 4 6 4 1, for whatever can be added and multiplied by small numbers: a number, the
// pair of sums that a mask calls for, or a vector of them. Internal linkage, so that every processor level has
// functions of its own.
#pragma once

namespace
{

// Required arithmetic: the weighted sum of five neighbours.
template <class Number>
inline Number gauss2_sumOfFive(Number a, Number b, Number c, Number d, Number e)
{
    return a + 4u * b + 6u * c + 4u * d + e;
}

} // namespace
