// The reference smoothing. A vertical pass keeps, for every column, three integrators over the source rows;
// whenever a destination row is due, a horizontal pass runs the same recurrence along the row of column
// sums.
#include "gauss/reference.h"

#include "frame/cleanup.h"
#include "frame/poll.h"
#include "gauss/kernel.h"
#include "gauss/request.h"
#include "gauss/running_sums.h"

#include <algorithm>

namespace
{

// Everything that a run needs. Element 0 of firstSums and secondSums belongs to the first column that is
// read, that of columnSums to firstColumn; this may lie outside the source, where columnSums holds
// reflected values.
struct referenceRun {
    const qsImage* src;
    qsVImage* dst;
    qsIRegion srcRegion;
    gauss_area area; // of the destination, to be written
    gauss_walk rows;
    gauss_walk columns;
    gauss_span sourceColumns; // the columns that are read
    gauss_normalisation scale;
    bool round;

    double* firstSums; // the first of the rows of numbers in one block of memory
    double* secondSums;
    double* columnSums;
    int64_t firstColumn;
    const double* zeroSums; // zeros, as many as the longest stretch of columns
    uint8_t* zeroBytes;     // zeros, as many as the columns that are read
};

// The third integrator of source column x.
double* columnSum(const referenceRun* run, int64_t x)
{
    return run->columnSums + (x - run->firstColumn);
}

// ---- from a sum to a pixel ----

// For a kernel of one pixel along the row: the column sum is scaled, and rounding adds one half at the end.
int64_t scaleColumnSum(const referenceRun* run, double sum)
{
    return gauss_truncate(run->scale.reciprocal * sum + (run->round ? 0.5 : 0.0));
}

// For all other kernels: when rounding, the last integrator started at half a divisor, so the sum is only
// scaled.
int64_t scaleRowSum(const referenceRun* run, double sum)
{
    return gauss_truncate(sum * run->scale.reciprocal);
}

// ---- horizontal pass ----

void reflectColumnSums(const referenceRun* run)
{
    const int64_t width = run->srcRegion.width;
    for (int64_t x = run->columns.first; x < 0; ++x)
        *columnSum(run, x) = *columnSum(run, gauss_reflect(x, width));
    for (int64_t x = width; x <= run->columns.last; ++x)
        *columnSum(run, x) = *columnSum(run, gauss_reflect(x, width));
}

template <class Pixel>
void writeColumnSums(const referenceRun* run, Pixel* out)
{
    const double* const sum = columnSum(run, run->columns.firstOutput);
    for (int64_t i = 0; i < run->columns.outputs; ++i)
        out[i] = static_cast<Pixel>(scaleColumnSum(run, sum[i * run->columns.step]));
}

// How far the horizontal pass has come in a row.
template <class Pixel>
struct rowCursor {
    gauss_integrators sums;
    int64_t x;   // the next column
    int64_t due; // the column that completes the next output
    Pixel* out;
};

template <class Pixel>
void crossEmpty(const referenceRun* run, int64_t end, rowCursor<Pixel>* cursor)
{
    for (; cursor->due < end; cursor->due += run->columns.step) {
        gauss_integrateZeros(&cursor->sums, cursor->due + 1 - cursor->x);
        cursor->x = cursor->due + 1;
        *cursor->out++ = static_cast<Pixel>(scaleRowSum(run, cursor->sums.s3));
    }
    gauss_integrateZeros(&cursor->sums, end - cursor->x);
}

template <class Pixel>
void crossData(const referenceRun* run, const gauss_stretch* stretch, rowCursor<Pixel>* cursor)
{
    const double* tap[4];
    for (int j = 0; j < 4; ++j)
        tap[j] = stretch->inside[j] ? columnSum(run, cursor->x - j * run->columns.box) : run->zeroSums;
    gauss_integrators sums = cursor->sums;
    int64_t due = cursor->due - cursor->x;
    for (int64_t i = 0; i < stretch->length; ++i) {
        gauss_integrate(&sums, 3.0 * (tap[2][i] - tap[1][i]) + tap[0][i] - tap[3][i]);
        if (i == due) {
            *cursor->out++ = static_cast<Pixel>(scaleRowSum(run, sums.s3));
            due += run->columns.step;
        }
    }
    cursor->sums = sums;
    cursor->due = due + cursor->x;
}

template <class Pixel>
void writeRowSums(const referenceRun* run, Pixel* out)
{
    reflectColumnSums(run);
    // For gains that are not powers of two the half is not exact and every step rounds it into the sum
    // again. The integrator that starts at the half is the definition, not the sum plus the half.
    const gauss_integrators start = {0.0, 0.0, run->round ? run->scale.half : 0.0};
    rowCursor<Pixel> cursor = {start, run->columns.first, run->columns.firstOutput, out};
    const int64_t end = run->columns.firstOutput + (run->columns.outputs - 1) * run->columns.step + 1;
    while (cursor.x < end) {
        const gauss_stretch stretch = gauss_stretchAt(&run->columns, cursor.x, end - cursor.x);
        const int64_t next = cursor.x + stretch.length;
        if (stretch.isEmpty)
            crossEmpty(run, next, &cursor);
        else
            crossData(run, &stretch, &cursor);
        cursor.x = next;
    }
}

template <class Pixel>
void writeRow(const referenceRun* run, Pixel* out)
{
    if (run->columns.box == 1)
        writeColumnSums(run, out);
    else
        writeRowSums(run, out);
}

// ---- vertical pass ----

const uint8_t* sourceRow(const referenceRun* run, int64_t y)
{
    const int64_t row = run->srcRegion.y + gauss_reflect(y, run->srcRegion.height);
    const int64_t column = run->srcRegion.x + run->sourceColumns.start;
    return qsImagePixAddr(run->src, static_cast<int32_t>(column), static_cast<int32_t>(row));
}

void integrateRow(const referenceRun* run, const gauss_stretch* stretch, int64_t y)
{
    const uint8_t* tap[4];
    for (int j = 0; j < 4; ++j)
        tap[j] = stretch->inside[j] ? sourceRow(run, y - j * run->rows.box) : run->zeroBytes;
    double* __restrict const first = run->firstSums;
    double* __restrict const second = run->secondSums;
    double* __restrict const third = columnSum(run, run->sourceColumns.start);
    for (int64_t x = 0; x < run->sourceColumns.length; ++x) {
        const int32_t difference = 3 * (tap[2][x] - tap[1][x]) - tap[3][x] + tap[0][x];
        first[x] += difference;
        second[x] += first[x];
        third[x] += second[x];
    }
}

void integrateZeroRows(const referenceRun* run, int64_t count)
{
    double* const third = columnSum(run, run->sourceColumns.start);
    for (int64_t x = 0; x < run->sourceColumns.length; ++x) {
        gauss_integrators sums = {run->firstSums[x], run->secondSums[x], third[x]};
        gauss_integrateZeros(&sums, count);
        run->secondSums[x] = sums.s2;
        third[x] = sums.s3;
    }
}

// Integrates the rows from *y up to and including `due`.
qip_status integrateRows(const referenceRun* run, int64_t* y, int64_t due)
{
    while (*y <= due) {
        const gauss_stretch stretch = gauss_stretchAt(&run->rows, *y, due + 1 - *y);
        const int64_t end = *y + stretch.length;
        if (stretch.isEmpty) {
            integrateZeroRows(run, stretch.length);
            *y = end;
        }
        for (; *y < end; ++*y) {
            const qip_status status = frame_pollAtRow(*y);
            if (status < 0)
                return status;
            integrateRow(run, &stretch, *y);
        }
    }
    return QIP_OK;
}

// ---- the run ----

// Null when the destination is of the other depth.
template <class Pixel>
Pixel* dstRow(const referenceRun* run, int64_t row)
{
    const auto x = static_cast<int32_t>(run->area.x.start);
    const auto y = static_cast<int32_t>(run->area.y.start + row);
    if constexpr (sizeof(Pixel) == 1)
        return qsImagePixAddr(qsImageVirt(run->dst), x, y);
    else
        return qsUSImagePixAddr(qsUSImageVirt(run->dst), x, y);
}

template <class Pixel>
qip_status runRows(const referenceRun* run)
{
    int64_t y = run->rows.first;
    int64_t due = run->rows.firstOutput;
    for (int64_t row = 0; row < run->rows.outputs; ++row, due += run->rows.step) {
        Pixel* const out = dstRow<Pixel>(run, row);
        if (!out)
            return QSYS_E_ARGUMENT;
        const qip_status status = integrateRows(run, &y, due);
        if (status < 0)
            return status;
        writeRow(run, out);
    }
    return QIP_OK;
}

referenceRun runOf(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                   const gauss_request* request)
{
    const gauss_grid grid = gauss_gridOf(params);
    referenceRun run = {};
    run.src = src;
    run.dst = dst;
    run.srcRegion = qsImageRegion(src);
    run.area = request->dst;
    run.rows = gauss_walkOf(grid.y, request->dst.y, request->source.y);
    run.columns = gauss_walkOf(grid.x, request->dst.x, request->source.x);
    run.sourceColumns = gauss_walkSource(&run.columns, run.srcRegion.width);
    run.scale = gauss_normalisationOf(params);
    run.round = params->round != 0;
    return run;
}

// Takes memory for the rows of sums and for the zeros.
qip_status takeRows(referenceRun* run, frame_cleanup* cleanup)
{
    const gauss_span read = run->sourceColumns;
    run->firstColumn = std::min(run->columns.first, read.start);
    const int64_t extended = std::max(run->columns.last + 1, read.start + read.length) - run->firstColumn;
    const qip_status status =
        frame_cleanupAllocClear(cleanup, 2 * read.length + 2 * extended, &run->firstSums);
    if (status < 0)
        return status;
    run->secondSums = run->firstSums + read.length;
    run->zeroSums = run->secondSums + read.length;
    run->columnSums = run->secondSums + read.length + extended;
    return frame_cleanupAllocClear(cleanup, read.length, &run->zeroBytes);
}

qip_status smooth(referenceRun* run, const qsGaussParams* params, frame_cleanup* cleanup)
{
    qip_status status = takeRows(run, cleanup);
    if (status < 0)
        return status;
    if (!params->peakNormalize)
        qsVImageSetClientZScale(run->dst, qsImageClientZScale(run->src) * params->gain);
    status = qsys_attention_check();
    if (status < 0)
        return status;
    return qsVImageType(run->dst) == QS_IMAGE_TYPE_8 ? runRows<uint8_t>(run) : runRows<uint16_t>(run);
}

} // namespace

qip_status gauss_smoothReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                 qsIRegion* dstRegion, qsVImage** dstOut)
{
    gauss_request request;
    qip_status status = gauss_setupReference(src, dst, params, dstRegion, dstOut, &request);
    if (status < 0 || gauss_areaIsNull(request.dst))
        return status;
    referenceRun run = runOf(src, *dstOut, params, &request);
    frame_cleanup cleanup = {};
    status = frame_cleanupEnd(&cleanup, smooth(&run, params, &cleanup));
    if (status < 0 && !dst) {
        qsImageFree(*dstOut);
        *dstOut = nullptr;
    }
    return status;
}
