// Pixels through a table: how the two fixed paths apply a gain to the quotients that their kernels make.
#pragma once

#include <cstdint>

// The pixel of each quotient.
struct unmasked_pixelTable {
    uint8_t pixel[256];
};

// row[i] = table->pixel[row[i]] for the first `count` pixels of a row, which does not overlap the table.
// Reads and writes nothing else.
using unmasked_lookUp = void (*)(const unmasked_pixelTable* table, uint8_t* row, int64_t count);

// Data, so that nothing of a level runs before it is chosen.
extern const unmasked_lookUp unmasked_lookUp256;
