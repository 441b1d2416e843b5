// The kernel of unmasked/kernels/look_up.h, over the lanes of the level that the including file has chosen.
// All of it has internal linkage.
#pragma once

#include "unmasked/kernels/look_up.h"

namespace
{

// A register can pick from 16 bytes, so it picks from each sixteenth of the table. What belongs to others
// has a number of 128 or more there and gives 0: with the upper four bits of its own sixteenth taken off, a
// number is below 16 and ends up below 128.
lanes_inline u8s lookedUp(const uint8_t* pixel, u8s numbers)
{
    u8s found = {};
    for (int sixteenth = 0; sixteenth < 256; sixteenth += 16) {
        const u8s index =
            addSaturating(numbers ^ static_cast<uint8_t>(sixteenth), filled(uint8_t{128 - 16}));
        found |= picked(loadTwice(pixel + sixteenth), index);
    }
    return found;
}

inline void lookUpRow(const unmasked_pixelTable* table, uint8_t* row, int64_t count)
{
    const uint8_t* const pixel = table->pixel;
    int64_t i = 0;
    for (; i + laneBytes <= count; i += laneBytes)
        store(row + i, lookedUp(pixel, load(row + i)));
    for (; i < count; ++i)
        row[i] = pixel[row[i]];
}

} // namespace
