// How many pixels under the kernel are valid, tested against a threshold: the count C of a footprint of
// reachX x reachY pixels, row by row. Kept are the counts down each column; the cost of a row does not
// depend on the kernel.
//
//     masked_validCount count = {};
//     status = masked_takeValidCount(&cleanup, &request, level, &count);
//     masked_changeCounts(&count, entering, leaving);     // for every row that comes under the footprint
//     masked_testCounts(&count, out);                     // for every row of outputs
#pragma once

#include "frame/cleanup.h"
#include "frame/level.h"
#include "masked/kernels/valid_count.h"

#include <qip/params.h>

// What is counted. Columns are counted from the first one of the rows and may lie beyond either end: there
// the row is reflected with the edge repeated, and beyond one reflection nothing is valid.
struct masked_countRequest {
    int64_t width;       // of the rows, at least 1
    int64_t firstColumn; // the first column under the footprint of output 0
    int64_t stepX;       // columns from one footprint to the next, at least 1
    int64_t columns;     // outputs in a row, at least 1
    int64_t reachX;      // columns of the footprint: 3 kernelSizeX + 1
    int64_t reachY;      // rows of the footprint: 3 kernelSizeY + 1
    int64_t threshold;   // an output is 255 where C >= threshold
    bool byTopBit;       // a byte from 128 on is valid; else the bytes are 1, valid, and 0
};

// One footprint on its way down. What it points to belongs to the clean-up.
struct masked_validCount {
    masked_countRequest request;
    const uint8_t* noRow; // a row without valid pixels

    // Private.
    const masked_countKernels* kernels; // null: plain code
    int64_t usedColumn;                 // the columns of a row that footprints cover, directly or reflected
    int64_t usedColumns;
    uint8_t* counts;     // down the columns, from column 0 on; borders stand before and behind
    int64_t* wideCounts; // the same for plain code, which needs no borders
    uint8_t* countBlock;
    uint16_t* sums;
};

// T = trunc(A * threshold + 0.5), but 1 where that is 0, A being the pixels under the kernel and the
// threshold that of maskParams: required arithmetic. Cut to 64 bits; not a number counts as 0.
int64_t masked_countThreshold(const qip_gaussParams* params);

// Takes the memory, some rows, and begins with a footprint that covers no row. `count` must outlive the
// clean-up.
// Errors:  QSYS_E_MEMORY, QSYS_E_RANGE.
qip_status masked_takeValidCount(frame_cleanup* cleanup, const masked_countRequest* request,
                                 frame_level level, masked_validCount* count);

// The footprint covers no row again.
void masked_clearCounts(masked_validCount* count);

// A row comes under the footprint, and one that was there leaves it. Either may be noRow.
void masked_changeCounts(masked_validCount* count, const uint8_t* entering, const uint8_t* leaving);

// Writes a row of outputs, each 255 or 0, for the rows that the footprint covers now, at most reachY.
void masked_testCounts(masked_validCount* count, uint8_t* out);
