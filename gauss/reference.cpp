// A vertical pass keeps, for every column, three integrators over the source rows; whenever a destination row
// is due, a horizontal pass runs the same recurrence along the row of column sums.
#include "gauss/reference.h"

#include "frame/cleanup.h"
#include "gauss/kernel.h"
#include "gauss/request.h"
#include "gauss/running_sums.h"

#include <qbase/attention.h>

#include <algorithm>

namespace
{

// Everything that a run needs. The first two rows of sums begin at the first column that is read; the third
// begins at column firstColumn, which may lie outside the source: there it holds reflected values.
struct gauss_run {
    const qsImage* src;
    qsIRegion srcRegion;
    gauss_walk rows;
    gauss_walk columns;
    gauss_span sourceColumns; // the columns that are read
    gauss_normalisation scale;
    bool round;

    double* firstSums;
    double* secondSums;
    double* columnSums;
    int64_t firstColumn;
    const double* zeroSums;   // as long as a stretch can be
    const uint8_t* zeroBytes; // as long as a row that is read
};

// The third integrator of source column x.
double* gauss_columnSum(const gauss_run* run, int64_t x)
{
    return run->columnSums + (x - run->firstColumn);
}

// ---- from a sum to a pixel ----

// The kernel is trivial along the row: the column sum is scaled, and rounding adds one half at the end.
int64_t gauss_scaleColumnSum(const gauss_run* run, double sum)
{
    return gauss_truncate(run->scale.reciprocal * sum + (run->round ? 0.5 : 0.0));
}

// The last integrator started at half a divisor when rounding, so it is only scaled.
int64_t gauss_scaleRowSum(const gauss_run* run, double sum)
{
    return gauss_truncate(sum * run->scale.reciprocal);
}

// ---- horizontal pass ----

void gauss_reflectColumnSums(const gauss_run* run)
{
    const int64_t width = run->srcRegion.width;
    for (int64_t x = run->columns.first; x < 0; ++x)
        *gauss_columnSum(run, x) = *gauss_columnSum(run, gauss_reflect(x, width));
    for (int64_t x = width; x <= run->columns.last; ++x)
        *gauss_columnSum(run, x) = *gauss_columnSum(run, gauss_reflect(x, width));
}

template <class Pixel>
void gauss_writeColumnSums(const gauss_run* run, Pixel* out)
{
    const double* const sum = gauss_columnSum(run, run->columns.firstOutput);
    for (int64_t i = 0; i < run->columns.outputs; ++i)
        out[i] = static_cast<Pixel>(gauss_scaleColumnSum(run, sum[i * run->columns.step]));
}

// Where the horizontal pass stands.
template <class Pixel>
struct gauss_cursor {
    gauss_integrators sums;
    int64_t x;   // the next column
    int64_t due; // the column that completes the next output
    Pixel* out;
};

template <class Pixel>
void gauss_crossQuiet(const gauss_run* run, int64_t end, gauss_cursor<Pixel>* cursor)
{
    for (; cursor->due < end; cursor->due += run->columns.step) {
        gauss_integrateZeros(&cursor->sums, cursor->due + 1 - cursor->x);
        cursor->x = cursor->due + 1;
        *cursor->out++ = static_cast<Pixel>(gauss_scaleRowSum(run, cursor->sums.s3));
    }
    gauss_integrateZeros(&cursor->sums, end - cursor->x);
}

template <class Pixel>
void gauss_crossData(const gauss_run* run, const gauss_stretch* stretch, gauss_cursor<Pixel>* cursor)
{
    const double* tap[4];
    for (int j = 0; j < 4; ++j)
        tap[j] =
            stretch->inside[j] ? gauss_columnSum(run, cursor->x - j * run->columns.box) : run->zeroSums;
    gauss_integrators sums = cursor->sums;
    int64_t due = cursor->due - cursor->x;
    for (int64_t i = 0; i < stretch->length; ++i) {
        gauss_integrate(&sums, 3.0 * (tap[2][i] - tap[1][i]) + tap[0][i] - tap[3][i]);
        if (i == due) {
            *cursor->out++ = static_cast<Pixel>(gauss_scaleRowSum(run, sums.s3));
            due += run->columns.step;
        }
    }
    cursor->sums = sums;
    cursor->due = due + cursor->x;
}

template <class Pixel>
void gauss_writeRowSums(const gauss_run* run, Pixel* out)
{
    gauss_reflectColumnSums(run);
    // For gains that are not powers of two the half is rounded into the sum again and again: the integrator
    // that starts at it is the definition of the rounded value, not the sum plus the half.
    const gauss_integrators start = {0.0, 0.0, run->round ? run->scale.half : 0.0};
    gauss_cursor<Pixel> cursor = {start, run->columns.first, run->columns.firstOutput, out};
    const int64_t end = run->columns.firstOutput + (run->columns.outputs - 1) * run->columns.step + 1;
    while (cursor.x < end) {
        const gauss_stretch stretch = gauss_stretchAt(&run->columns, cursor.x, end - cursor.x);
        const int64_t next = cursor.x + stretch.length;
        if (stretch.quiet)
            gauss_crossQuiet(run, next, &cursor);
        else
            gauss_crossData(run, &stretch, &cursor);
        cursor.x = next;
    }
}

template <class Pixel>
void gauss_writeRow(const gauss_run* run, Pixel* out)
{
    if (run->columns.box == 1)
        gauss_writeColumnSums(run, out);
    else
        gauss_writeRowSums(run, out);
}

// ---- vertical pass ----

const uint8_t* gauss_sourceRow(const gauss_run* run, int64_t y)
{
    const int64_t row = run->srcRegion.y + gauss_reflect(y, run->srcRegion.height);
    const int64_t column = run->srcRegion.x + run->sourceColumns.start;
    return qsImagePixAddr(run->src, static_cast<int32_t>(column), static_cast<int32_t>(row));
}

void gauss_integrateRow(const gauss_run* run, const gauss_stretch* stretch, int64_t y)
{
    const uint8_t* tap[4];
    for (int j = 0; j < 4; ++j)
        tap[j] = stretch->inside[j] ? gauss_sourceRow(run, y - j * run->rows.box) : run->zeroBytes;
    double* __restrict const first = run->firstSums;
    double* __restrict const second = run->secondSums;
    double* __restrict const third = gauss_columnSum(run, run->sourceColumns.start);
    for (int64_t x = 0; x < run->sourceColumns.length; ++x) {
        const int32_t difference = 3 * (tap[2][x] - tap[1][x]) - tap[3][x] + tap[0][x];
        first[x] += difference;
        second[x] += first[x];
        third[x] += second[x];
    }
}

void gauss_integrateZeroRows(const gauss_run* run, int64_t count)
{
    double* const third = gauss_columnSum(run, run->sourceColumns.start);
    for (int64_t x = 0; x < run->sourceColumns.length; ++x) {
        gauss_integrators sums = {run->firstSums[x], run->secondSums[x], third[x]};
        gauss_integrateZeros(&sums, count);
        run->secondSums[x] = sums.s2;
        third[x] = sums.s3;
    }
}

// Integrates the rows from *y up to and including `due`.
qip_status gauss_integrateRows(const gauss_run* run, int64_t* y, int64_t due)
{
    while (*y <= due) {
        const gauss_stretch stretch = gauss_stretchAt(&run->rows, *y, due + 1 - *y);
        const int64_t end = *y + stretch.length;
        if (stretch.quiet) {
            gauss_integrateZeroRows(run, stretch.length);
            *y = end;
        }
        for (; *y < end; ++*y) {
            const qip_status status = (*y & 63) == 0 ? qsys_attention_check() : QIP_OK;
            if (status < 0)
                return status;
            gauss_integrateRow(run, &stretch, *y);
        }
    }
    return QIP_OK;
}

// ---- the run ----

uint8_t* gauss_dstRow(qsVImage* dst, gauss_area area, int64_t row, uint8_t)
{
    return qsImagePixAddr(qsImageVirt(dst), static_cast<int32_t>(area.x.start),
                          static_cast<int32_t>(area.y.start + row));
}

uint16_t* gauss_dstRow(qsVImage* dst, gauss_area area, int64_t row, uint16_t)
{
    return qsUSImagePixAddr(qsUSImageVirt(dst), static_cast<int32_t>(area.x.start),
                            static_cast<int32_t>(area.y.start + row));
}

template <class Pixel>
qip_status gauss_runRows(const gauss_run* run, qsVImage* dst, gauss_area area)
{
    int64_t y = run->rows.first;
    int64_t due = run->rows.firstOutput;
    for (int64_t row = 0; row < run->rows.outputs; ++row, due += run->rows.step) {
        Pixel* const out = gauss_dstRow(dst, area, row, Pixel{});
        if (!out)
            return QSYS_E_ARGUMENT;
        const qip_status status = gauss_integrateRows(run, &y, due);
        if (status < 0)
            return status;
        gauss_writeRow(run, out);
    }
    return QIP_OK;
}

// Three rows of sums, the third with its margins, and a stretch of zeros, in one block; a row of zero bytes
// in another. `sums` and `bytes` hold the blocks for the clean-up.
qip_status gauss_allocateRows(gauss_run* run, double** sums, uint8_t** bytes, frame_cleanup* cleanup)
{
    const gauss_span read = run->sourceColumns;
    run->firstColumn = std::min(run->columns.first, read.start);
    const int64_t extended = std::max(run->columns.last + 1, read.start + read.length) - run->firstColumn;
    qip_status status = frame_cleanupAllocClear(cleanup, 2 * read.length + 2 * extended, sums);
    if (status < 0)
        return status;
    status = frame_cleanupAllocClear(cleanup, read.length, bytes);
    if (status < 0)
        return status;
    run->firstSums = *sums;
    run->secondSums = run->firstSums + read.length;
    run->zeroSums = run->secondSums + read.length;
    run->columnSums = run->secondSums + read.length + extended;
    run->zeroBytes = *bytes;
    return QIP_OK;
}

// The rows that the clean-up releases must outlive gauss_smoothRequest: they stand in the caller's frame.
struct gauss_blocks {
    double* sums;
    uint8_t* bytes;
};

qip_status gauss_smoothRequest(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                               const gauss_request* request, gauss_blocks* blocks, frame_cleanup* cleanup)
{
    const gauss_grid grid = gauss_gridOf(params);
    gauss_run run = {};
    run.src = src;
    run.srcRegion = qsImageRegion(src);
    run.rows = gauss_walkOf(grid.y, request->dst.y, request->source.y);
    run.columns = gauss_walkOf(grid.x, request->dst.x, request->source.x);
    run.sourceColumns = gauss_walkSource(&run.columns, run.srcRegion.width);
    run.round = params->round != 0;
    qip_status status = gauss_allocateRows(&run, &blocks->sums, &blocks->bytes, cleanup);
    if (status < 0)
        return status;

    run.scale = gauss_normalisationOf(params);
    if (!params->peakNormalize)
        qsVImageSetClientZScale(dst, qsImageClientZScale(src) * params->gain);
    status = qsys_attention_check();
    if (status < 0)
        return status;
    return qsVImageType(dst) == QS_IMAGE_TYPE_8 ? gauss_runRows<uint8_t>(&run, dst, request->dst)
                                                : gauss_runRows<uint16_t>(&run, dst, request->dst);
}

} // namespace

qip_status gauss_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut)
{
    gauss_request request;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, dstOut, &request);
    if (status < 0 || gauss_areaIsNull(request.dst))
        return status;
    gauss_blocks blocks = {};
    frame_cleanup cleanup = {};
    status = gauss_smoothRequest(src, *dstOut, params, &request, &blocks, &cleanup);
    status = frame_cleanupEnd(&cleanup, status);
    if (status < 0 && !dst) {
        qsImageFree(*dstOut);
        *dstOut = nullptr;
    }
    return status;
}
