// Whether two sets of evenly spaced rows have a byte in common.
#pragma once

#include <cstdint>

// Row i covers rowSize bytes from first + i * stride. Both counts are at least 1 and below 2^31, |stride|
// is at most 2^31 and rowSize below 2^32.
struct base_pixelRows {
    uint64_t first;
    int64_t stride;
    int64_t rowSize;
    int64_t rowCount;
};

bool base_pixelRows_overlap(base_pixelRows a, base_pixelRows b);
