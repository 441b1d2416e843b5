#include "gauss/boxes.h"

#include "gauss/kernel.h"

#include <qbase/memory.h>

#include <algorithm>
#include <cmath>

namespace
{

// ---- one axis ----

gauss_span supportOf(int64_t passes, int64_t kernelSize)
{
    return {-(passes * kernelSize / 2), passes * kernelSize + 1};
}

// The kernel of an odd number of even boxes is centred between two pixels.
float offsetOf(int64_t passes, int64_t kernelSize)
{
    return (passes & 1) != 0 && (kernelSize & 1) != 0 ? -0.5f : 0.0f;
}

// (-1)^j C(P, j): the weights of the P-th difference.
void fillDifferenceWeights(int64_t passes, double* weights)
{
    weights[0] = 1.0;
    for (int64_t j = 1; j <= passes; ++j)
        weights[j] = weights[j - 1] * static_cast<double>(passes - j + 1) / -static_cast<double>(j);
}

// Integrates a difference through `passes` running sums and returns the last of them; with no pass, the
// difference itself. Sum p stands at sums[p * distance].
double integrate(double difference, double* sums, int64_t passes, int64_t distance)
{
    for (int64_t p = 0; p < passes; ++p)
        difference = sums[p * distance] += difference;
    return difference;
}

// ---- a run ----

// What a run reads, and its rows of numbers, which are parts of one block of memory.
struct boxRun {
    const gauss_boxes* boxes;
    const qsImage* src;
    gauss_area read;

    double* columnSums;  // P sums for every column that is read, P rows of them
    double* columnTotal; // the last sum of every column
    double* rowSums;     // P sums along a row
    double* weights;     // of the difference
    double norm;
};

// The weight of an axis at half its reach.
double peakOf(const boxRun* run, int64_t kernelSize)
{
    const int64_t passes = run->boxes->passes;
    const int64_t box = kernelSize + 1;
    std::fill_n(run->rowSums, passes, 0.0);
    double peak = 0.0;
    for (int64_t i = 0; i <= passes * kernelSize / 2; ++i) {
        const double impulse = i % box == 0 ? run->weights[i / box] : 0.0;
        peak = integrate(impulse, run->rowSums, passes, 1);
    }
    return peak;
}

double normOf(const boxRun* run)
{
    const gauss_boxes* const boxes = run->boxes;
    if (boxes->peakNormalize)
        return peakOf(run, boxes->kernelSizeX) * peakOf(run, boxes->kernelSizeY);
    const double area = static_cast<double>((boxes->kernelSizeX + 1) * (boxes->kernelSizeY + 1));
    return std::pow(area, static_cast<double>(boxes->passes));
}

// Adds source row y to the sums of its columns.
void addRow(const boxRun* run, int64_t y)
{
    const int64_t passes = run->boxes->passes;
    const int64_t box = run->boxes->kernelSizeY + 1;
    const int64_t columns = run->read.x.length;
    std::fill_n(run->columnTotal, columns, 0.0);
    for (int64_t j = 0; j <= passes && y - j * box >= run->read.y.start; ++j) {
        const uint8_t* const row = qsImagePixAddr(run->src, static_cast<int32_t>(run->read.x.start),
                                                  static_cast<int32_t>(y - j * box));
        for (int64_t x = 0; x < columns; ++x)
            run->columnTotal[x] += run->weights[j] * row[x];
    }
    for (int64_t x = 0; x < columns; ++x)
        run->columnTotal[x] = integrate(run->columnTotal[x], run->columnSums + x, passes, columns);
}

void writeRow(const boxRun* run, uint8_t* out)
{
    const int64_t passes = run->boxes->passes;
    const int64_t box = run->boxes->kernelSizeX + 1;
    const int64_t complete = passes * run->boxes->kernelSizeX;
    std::fill_n(run->rowSums, passes, 0.0);
    for (int64_t x = 0; x < run->read.x.length; ++x) {
        double difference = 0.0;
        for (int64_t j = 0; j <= passes && j * box <= x; ++j)
            difference += run->weights[j] * run->columnTotal[x - j * box];
        const double sum = integrate(difference, run->rowSums, passes, 1);
        // A true division, unlike the other paths, and the low eight bits without clamping: required.
        if (x >= complete)
            out[x - complete] = static_cast<uint8_t>(gauss_truncate(sum / run->norm));
    }
}

void writeRows(const boxRun* run, gauss_area area, qsImage* dst)
{
    const int64_t first = run->read.y.start;
    const int64_t complete = first + run->boxes->passes * run->boxes->kernelSizeY;
    for (int64_t y = first; y < first + run->read.y.length; ++y) {
        addRow(run, y);
        if (y >= complete)
            writeRow(run, qsImagePixAddr(dst, static_cast<int32_t>(area.x.start),
                                         static_cast<int32_t>(area.y.start + y - complete)));
    }
}

} // namespace

bool gauss_boxesAreTrivial(const gauss_boxes* boxes)
{
    return boxes->passes == 0 || (boxes->kernelSizeX == 0 && boxes->kernelSizeY == 0);
}

gauss_area gauss_boxesSupport(const gauss_boxes* boxes)
{
    return {supportOf(boxes->passes, boxes->kernelSizeX), supportOf(boxes->passes, boxes->kernelSizeY)};
}

qsFXform gauss_boxesClientCoords(const gauss_boxes* boxes, const qsImage* src)
{
    qsFXform dstFromSrc;
    qsFXform dstFromClient;
    qsFXformElemCT(1.0f, 1.0f, offsetOf(boxes->passes, boxes->kernelSizeX),
                   offsetOf(boxes->passes, boxes->kernelSizeY), &dstFromSrc);
    const qsFXform srcFromClient = qsImageClientCoords(src);
    qsFXformCompose(&dstFromSrc, &srcFromClient, &dstFromClient);
    return dstFromClient;
}

bool gauss_smoothByBoxes(const gauss_boxes* boxes, const qsImage* src, gauss_area area, qsImage* dst)
{
    boxRun run = {};
    run.boxes = boxes;
    run.src = src;
    run.read = gauss_areaDilate(area, gauss_boxesSupport(boxes));
    const int64_t columns = run.read.x.length;
    const int64_t inColumns = columns * (boxes->passes + 1);
    const int64_t count = inColumns + 2 * boxes->passes + 1;
    // A row of 2^31 pixels can hold a kernel of as many passes: 2^62 sums, too many to count in bytes.
    constexpr int64_t size = sizeof(double);
    run.columnSums = count > INT64_MAX / size ? nullptr : static_cast<double*>(qxfMalloc(count * size));
    if (!run.columnSums)
        return false;
    run.columnTotal = run.columnSums + columns * boxes->passes;
    run.rowSums = run.columnSums + inColumns;
    run.weights = run.rowSums + boxes->passes;
    std::fill_n(run.columnSums, inColumns, 0.0);
    fillDifferenceWeights(boxes->passes, run.weights);
    run.norm = normOf(&run);
    writeRows(&run, area, dst);
    qxfFree(run.columnSums);
    return true;
}
