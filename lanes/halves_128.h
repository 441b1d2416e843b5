// For the two 128-bit levels: bodies that are written for registers of several halves, where there is but one.
// What loads or stores two halves at the 256-bit level does so here with the first address alone.
#pragma once

#include "lanes/lanes.h"

namespace
{

template <class Number>
lanes_inline lanesOf<Number> loadHalves(const Number* low, const Number*)
{
    return load(low);
}

template <class Number, class Lanes>
lanes_inline void storeHalves(Number* low, Number*, Lanes a)
{
    std::memcpy(low, &a, sizeof a);
}

lanes_inline u8s loadTwice(const uint8_t* from)
{
    return load(from);
}

} // namespace
