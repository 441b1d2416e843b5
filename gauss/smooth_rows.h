// Smoothing in plain code: the exact sums of the cube of a box, for any kernel and sampling, and a rule
// that makes pixels of them. A vertical pass keeps, for every column, three integrators over the source
// rows; whenever a destination row is due, a horizontal pass runs the same recurrence along the row of
// column sums.
//
// Paths that are required to give different pixels differ in their rule. A rule has
//     double start() const                      what the last integrator along a row begins with
//     int64_t pixel(double sum) const           the value of that integrator as a pixel, whose low 8 or 16
//                                               bits are stored
//     int64_t columnPixel(double sum) const     the same for a kernel of one pixel along the row, where the
//                                               column's integrator is the sum
//     qip_status begin() const                  called once before the first row of a request
//     qip_status pollAtRow(int64_t y) const     called before each source row; y counts from the source's
//                                               first row
//     qip_status pollAlong(int64_t y, int64_t count) const
//                                               called once for `count` rows that all lie beyond the data
// A negative status from any of the last three ends the run.
//
// The rows of a request may be split into bands. A band is a run of its own: its column sums start anew
// above it, so they are the same as long as they are exact, and each row depends on its column sums alone.
#pragma once

#include "frame/cleanup.h"
#include "frame/splitting.h"
#include "gauss/kernel.h"
#include "gauss/request.h"
#include "gauss/running_sums.h"

#include <algorithm>

// Everything that a run needs. Element 0 of firstSums and secondSums belongs to the first column that is
// read, that of columnSums to firstColumn; this may lie outside the source, where columnSums holds
// reflected values.
template <class Rule>
struct gauss_rowsRun {
    const qsImage* src;
    qsVImage* dst;
    const qsGaussParams* params;
    qsIRegion srcRegion;
    gauss_area area; // of the destination, to be written
    bool isTop;      // it begins with the first row of the request
    gauss_walk rows;
    gauss_walk columns;
    gauss_span sourceColumns; // the columns that are read
    Rule rule;

    double* firstSums; // the first of the rows of numbers in one block of memory
    double* secondSums;
    double* columnSums;
    int64_t firstColumn;
    int64_t extendedColumns; // of columnSums
    const double* zeroSums;  // zeros, as many as the longest stretch of columns
    uint8_t* zeroBytes;      // zeros, as many as the columns that are read
};

// All of a request, without memory.
template <class Rule>
gauss_rowsRun<Rule> gauss_rowsRunOf(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                    const gauss_request* request, const Rule& rule)
{
    gauss_rowsRun<Rule> run = {};
    run.src = src;
    run.dst = dst;
    run.params = params;
    run.srcRegion = qsImageRegion(src);
    run.area = request->dst;
    run.isTop = true;
    run.rows = gauss_walkOf(gauss_gridOf(params).y, request->dst.y, request->source.y);
    run.columns = gauss_walkOf(gauss_gridOf(params).x, request->dst.x, request->source.x);
    run.sourceColumns = gauss_walkSource(&run.columns, run.srcRegion.width);
    run.rule = rule;
    const gauss_span read = run.sourceColumns;
    run.firstColumn = std::min(run.columns.first, read.start);
    run.extendedColumns = std::max(run.columns.last + 1, read.start + read.length) - run.firstColumn;
    return run;
}

// Takes zeroed memory for the sums of `count` bands, and for the zero bytes.
template <class Rule>
qip_status gauss_takeSums(gauss_rowsRun<Rule>* run, int64_t count, frame_cleanup* cleanup)
{
    const int64_t columns = run->sourceColumns.length;
    const qip_status status =
        frame_cleanupAllocClear(cleanup, count * 2 * (columns + run->extendedColumns), &run->firstSums);
    return status < 0 ? status : frame_cleanupAllocClear(cleanup, columns, &run->zeroBytes);
}

// Band i: some rows of a run that has its memory.
template <class Rule>
gauss_rowsRun<Rule> gauss_bandOf(const gauss_rowsRun<Rule>* run, int64_t i, frame_rowRange rows)
{
    gauss_rowsRun<Rule> band = *run;
    band.area.y = {run->area.y.start + rows.first, rows.end - rows.first};
    band.isTop = rows.first == 0;
    band.rows = gauss_walkOf(gauss_gridOf(run->params).y, band.area.y, gauss_areaOf(&run->srcRegion).y);
    const int64_t columns = run->sourceColumns.length;
    band.firstSums = run->firstSums + i * 2 * (columns + run->extendedColumns);
    band.secondSums = band.firstSums + columns;
    band.zeroSums = band.secondSums + columns;
    band.columnSums = band.secondSums + columns + run->extendedColumns;
    return band;
}

// The third integrator of source column x.
template <class Rule>
double* gauss_columnSum(const gauss_rowsRun<Rule>* run, int64_t x)
{
    return run->columnSums + (x - run->firstColumn);
}

// ---- horizontal pass ----

template <class Rule>
void gauss_reflectColumnSums(const gauss_rowsRun<Rule>* run)
{
    const int64_t width = run->srcRegion.width;
    for (int64_t x = run->columns.first; x < 0; ++x)
        *gauss_columnSum(run, x) = *gauss_columnSum(run, gauss_reflect(x, width));
    for (int64_t x = width; x <= run->columns.last; ++x)
        *gauss_columnSum(run, x) = *gauss_columnSum(run, gauss_reflect(x, width));
}

template <class Pixel, class Rule>
void gauss_writeColumnSums(const gauss_rowsRun<Rule>* run, Pixel* out)
{
    const double* const sum = gauss_columnSum(run, run->columns.firstOutput);
    for (int64_t i = 0; i < run->columns.outputs; ++i)
        out[i] = static_cast<Pixel>(run->rule.columnPixel(sum[i * run->columns.step]));
}

// How far the horizontal pass has come in a row.
template <class Pixel>
struct gauss_rowCursor {
    gauss_integrators sums;
    int64_t x;   // the next column
    int64_t due; // the column that completes the next output
    Pixel* out;
};

template <class Pixel, class Rule>
void gauss_crossEmpty(const gauss_rowsRun<Rule>* run, int64_t end, gauss_rowCursor<Pixel>* cursor)
{
    for (; cursor->due < end; cursor->due += run->columns.step) {
        gauss_integrateZeros(&cursor->sums, cursor->due + 1 - cursor->x);
        cursor->x = cursor->due + 1;
        *cursor->out++ = static_cast<Pixel>(run->rule.pixel(cursor->sums.s3));
    }
    gauss_integrateZeros(&cursor->sums, end - cursor->x);
}

template <class Pixel, class Rule>
void gauss_crossData(const gauss_rowsRun<Rule>* run, const gauss_stretch* stretch,
                     gauss_rowCursor<Pixel>* cursor)
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
            *cursor->out++ = static_cast<Pixel>(run->rule.pixel(sums.s3));
            due += run->columns.step;
        }
    }
    cursor->sums = sums;
    cursor->due = due + cursor->x;
}

template <class Pixel, class Rule>
void gauss_writeRowSums(const gauss_rowsRun<Rule>* run, Pixel* out)
{
    gauss_reflectColumnSums(run);
    const gauss_integrators start = {0.0, 0.0, run->rule.start()};
    gauss_rowCursor<Pixel> cursor = {start, run->columns.first, run->columns.firstOutput, out};
    const int64_t end = run->columns.firstOutput + (run->columns.outputs - 1) * run->columns.step + 1;
    while (cursor.x < end) {
        const gauss_stretch stretch = gauss_stretchAt(&run->columns, cursor.x, end - cursor.x);
        const int64_t next = cursor.x + stretch.length;
        if (stretch.isEmpty)
            gauss_crossEmpty(run, next, &cursor);
        else
            gauss_crossData(run, &stretch, &cursor);
        cursor.x = next;
    }
}

template <class Pixel, class Rule>
void gauss_writeRow(const gauss_rowsRun<Rule>* run, Pixel* out)
{
    if (run->columns.box == 1)
        gauss_writeColumnSums(run, out);
    else
        gauss_writeRowSums(run, out);
}

// ---- vertical pass ----

template <class Rule>
const uint8_t* gauss_sourceRow(const gauss_rowsRun<Rule>* run, int64_t y)
{
    const int64_t row = run->srcRegion.y + gauss_reflect(y, run->srcRegion.height);
    const int64_t column = run->srcRegion.x + run->sourceColumns.start;
    return qsImagePixAddr(run->src, static_cast<int32_t>(column), static_cast<int32_t>(row));
}

template <class Rule>
void gauss_integrateRow(const gauss_rowsRun<Rule>* run, const gauss_stretch* stretch, int64_t y)
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

template <class Rule>
void gauss_integrateZeroRows(const gauss_rowsRun<Rule>* run, int64_t count)
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
template <class Rule>
qip_status gauss_integrateRows(const gauss_rowsRun<Rule>* run, int64_t* y, int64_t due)
{
    while (*y <= due) {
        const gauss_stretch stretch = gauss_stretchAt(&run->rows, *y, due + 1 - *y);
        const int64_t end = *y + stretch.length;
        if (stretch.isEmpty) {
            const qip_status status = run->rule.pollAlong(*y, stretch.length);
            if (status < 0)
                return status;
            gauss_integrateZeroRows(run, stretch.length);
            *y = end;
        }
        for (; *y < end; ++*y) {
            const qip_status status = run->rule.pollAtRow(*y);
            if (status < 0)
                return status;
            gauss_integrateRow(run, &stretch, *y);
        }
    }
    return QIP_OK;
}

// ---- the run ----

// Null when the destination is of the other depth.
template <class Pixel, class Rule>
Pixel* gauss_dstRow(const gauss_rowsRun<Rule>* run, int64_t row)
{
    const auto x = static_cast<int32_t>(run->area.x.start);
    const auto y = static_cast<int32_t>(run->area.y.start + row);
    if constexpr (sizeof(Pixel) == 1)
        return qsImagePixAddr(qsImageVirt(run->dst), x, y);
    else
        return qsUSImagePixAddr(qsUSImageVirt(run->dst), x, y);
}

template <class Pixel, class Rule>
qip_status gauss_runRows(const gauss_rowsRun<Rule>* run)
{
    int64_t y = run->rows.first;
    int64_t due = run->rows.firstOutput;
    for (int64_t row = 0; row < run->rows.outputs; ++row, due += run->rows.step) {
        Pixel* const out = gauss_dstRow<Pixel>(run, row);
        if (!out)
            return QSYS_E_ARGUMENT;
        const qip_status status = gauss_integrateRows(run, &y, due);
        if (status < 0)
            return status;
        gauss_writeRow(run, out);
    }
    return QIP_OK;
}

template <class Rule>
qip_status gauss_runBand(const gauss_rowsRun<Rule>* run)
{
    if (run->isTop) {
        if (!run->params->peakNormalize)
            qsVImageSetClientZScale(run->dst, qsImageClientZScale(run->src) * run->params->gain);
        const qip_status status = run->rule.begin();
        if (status < 0)
            return status;
    }
    const int64_t firstTap = run->rows.firstOutput - 3 * (run->rows.box - 1);
    const qip_status status = run->rule.pollAlong(firstTap, run->rows.first - firstTap);
    if (status < 0)
        return status;
    return qsVImageType(run->dst) == QS_IMAGE_TYPE_8 ? gauss_runRows<uint8_t>(run)
                                                     : gauss_runRows<uint16_t>(run);
}

// Whether column sums do not depend on where they started: all integrators down the columns stay below 16
// times the greatest sum, and doubles hold whole numbers up to 2^53.
inline bool gauss_isExactDown(int64_t box)
{
    const double n = static_cast<double>(box);
    return 255.0 * n * n * n <= 0x1p49;
}

template <class Rule>
qip_status gauss_runBands(gauss_rowsRun<Rule>* run, frame_split* split, frame_cleanup* cleanup)
{
    qip_status status = QIP_OK;
    if (gauss_isExactDown(run->rows.box))
        status = frame_planSplit(cleanup, run->area.y.length, run->area.x.length, split);
    if (status >= 0)
        status = gauss_takeSums(run, split->count, cleanup);
    if (status < 0)
        return status;
    return frame_runSplit<gauss_rowsRun<Rule>, gauss_runBand<Rule>>(
        split, {0, run->area.y.length},
        [=](int64_t i, frame_rowRange rows) { return gauss_bandOf(run, i, rows); });
}

// Writes the destination region of a request, at least one pixel, and sets the destination's client
// z-scale.
// Errors:  QSYS_E_MEMORY, before anything is changed; what a poll answers: rows already written stay.
template <class Rule>
qip_status gauss_smoothRows(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                            const gauss_request* request, const Rule& rule)
{
    gauss_rowsRun<Rule> run = gauss_rowsRunOf(src, dst, params, request, rule);
    frame_split split = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, gauss_runBands(&run, &split, &cleanup));
}
