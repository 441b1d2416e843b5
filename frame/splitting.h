// The destination rows of a call, worked on in one piece, or in bands on several threads when the
// application asks for that (qsys_jobs_setSplitting).
//
//     frame_split split = {};
//     status = frame_planSplit(&cleanup, rows, columns, &split);
//     ... memory for split.count bands ...
//     status = frame_runSplit<band, runBand>(&split, {0, rows},
//                                            [&](int64_t i, frame_rowRange rows) { return band{...}; });
//
// Memory is taken for all bands before the first one runs: so a call that cannot have it writes nothing.
#pragma once

#include "frame/bands.h"

#include <algorithm>
#include <cstdint>

// The rows first .. end - 1.
struct frame_rowRange {
    int64_t first;
    int64_t end;
};

struct frame_split {
    int64_t count = 1;          // of bands
    frame_threads threads = {}; // taken when there are several
};

// Decides into how many bands a call of so many rows and columns is split: one for each thread, but no more
// than one for each row, and one for each `leastPixels` pixels of the setting. Nothing is taken while the
// setting is off or the call is small. `split`, a new record, must outlive the clean-up.
// Errors:  QSYS_E_MEMORY.
inline qip_status frame_planSplit(frame_cleanup* cleanup, int64_t rows, int64_t columns, frame_split* split)
{
    const int64_t leastPixels = qsys_jobs_getSplitting();
    const int64_t most = leastPixels > 0 ? std::min(rows, rows * columns / leastPixels) : 1;
    if (most <= 1)
        return QIP_OK;
    const qip_status status = frame_takeThreads(cleanup, &split->threads);
    if (status >= 0)
        split->count = std::min<int64_t>(most, split->threads.count);
    return status;
}

// The rows of band i when `rows` are shared among `count` bands; bands differ by one row at most.
inline frame_rowRange frame_rowsOfBand(frame_rowRange rows, int64_t count, int64_t i)
{
    const int64_t length = rows.end - rows.first;
    return {rows.first + length * i / count, rows.first + length * (i + 1) / count};
}

// Runs some rows, at least one, of the call that was split, in bands; make(i, rows) gives the i-th of them,
// i being below split->count. A single band runs on the calling thread, without the job service.
// Result:  as frame_runBands.
template <class Band, qip_status (*run)(const Band*), class Make>
qip_status frame_runSplit(frame_split* split, frame_rowRange rows, const Make& make)
{
    const int64_t count = std::min(split->count, rows.end - rows.first);
    if (count == 1) {
        const Band whole = make(0, rows);
        return run(&whole);
    }
    return frame_runBands<Band, run>(&split->threads, count, [&](int64_t i, Band* band) {
        *band = make(i, frame_rowsOfBand(rows, count, i));
        return QIP_OK;
    });
}
