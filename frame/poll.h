// When a loop over rows polls, that is, asks the attention handler whether to go on: before the rows 0, 64,
// 128, ...
#pragma once

#include <qbase/attention.h>

#include <cstdint>

constexpr int64_t frame_rowsPerPoll = 64;

// The number of polls for `rows` rows.
constexpr int64_t frame_pollsIn(int64_t rows)
{
    return rows <= 0 ? 0 : (rows + frame_rowsPerPoll - 1) / frame_rowsPerPoll;
}

// Polls when `row` is one of those rows.
inline qsys_status frame_pollAtRow(int64_t row)
{
    return row % frame_rowsPerPoll == 0 ? qsys_attention_check() : 0;
}

// All polls for `rows` rows, one right after the other; stops at the first negative answer and returns it.
inline qsys_status frame_pollForRows(int64_t rows)
{
    qsys_status status = 0;
    for (int64_t left = frame_pollsIn(rows); left > 0 && status >= 0; --left)
        status = qsys_attention_check();
    return status;
}
