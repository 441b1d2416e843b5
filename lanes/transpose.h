// Four registers of 32-bit lanes, transposed, for the levels that have interleaveHalves. Such a level's header
// includes this one after it.
#pragma once

#include "lanes/lanes.h"

namespace
{

// Lanes 0 .. 3 of register i become lane i of registers 0 .. 3; in longer registers lanes 4 .. 7 likewise
// become lane 4 + i.
lanes_inline void transposeQuads(u32s* quads)
{
    u32s low[2];
    u32s high[2];
    interleaveHalves(quads[0], quads[2], low);
    interleaveHalves(quads[1], quads[3], high);
    interleaveHalves(low[0], high[0], quads);
    interleaveHalves(low[1], high[1], quads + 2);
}

} // namespace
