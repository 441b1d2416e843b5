// The older interface. qfGauss generalises the kernel to any number of box passes: the P-th difference of the
// data at distance n, integrated P times, in double precision. It has no sampling and no border rule: only
// pixels whose kernel lies inside the source are computed.
#include <qip/legacy.h>

#include "gauss/geometry.h"
#include "gauss/kernel.h"

#include <qbase/memory.h>

#include <algorithm>
#include <cmath>

namespace
{

// ---- one axis ----

struct gauss_boxAxis {
    int64_t passes;     // P, at least 0
    int64_t kernelSize; // box width - 1
};

int64_t gauss_reach(gauss_boxAxis axis)
{
    return axis.passes * axis.kernelSize;
}

gauss_span gauss_boxSpan(gauss_boxAxis axis)
{
    return {-(gauss_reach(axis) / 2), gauss_reach(axis) + 1};
}

// The kernel of an odd number of even boxes is centred between two pixels.
float gauss_boxOffset(gauss_boxAxis axis)
{
    return (axis.passes & 1) != 0 && (axis.kernelSize & 1) != 0 ? -0.5f : 0.0f;
}

// (-1)^j C(P, j): the weights of the P-th difference.
void gauss_differenceWeights(int64_t passes, double* weights)
{
    weights[0] = 1.0;
    for (int64_t j = 1; j <= passes; ++j)
        weights[j] = weights[j - 1] * static_cast<double>(passes - j + 1) / -static_cast<double>(j);
}

// Integrates a difference through `passes` running sums and returns the last of them. With no pass, the
// difference itself. Sum p of a column stands at sums[p * distance].
double gauss_integratePasses(double difference, double* sums, int64_t passes, int64_t distance)
{
    for (int64_t p = 0; p < passes; ++p)
        difference = sums[p * distance] += difference;
    return difference;
}

// ---- a run ----

// Every row buffer of a run, in one block.
struct gauss_boxRun {
    gauss_boxAxis x;
    gauss_boxAxis y;
    const double* weights; // of the difference; both axes have the same number of passes
    double* rowSums;       // P sums for every column that is read
    double* columnSums;    // the last of them
    double* pixelSums;     // P sums along a row
    double norm;
};

// The central value of the box kernel of one axis: its weight at half the reach.
double gauss_boxPeak(gauss_boxAxis axis, const double* weights, double* sums)
{
    std::fill_n(sums, axis.passes, 0.0);
    const int64_t box = axis.kernelSize + 1;
    double peak = 0.0;
    for (int64_t i = 0; i <= gauss_reach(axis) / 2; ++i) {
        const double impulse = i % box == 0 ? weights[i / box] : 0.0;
        peak = gauss_integratePasses(impulse, sums, axis.passes, 1);
    }
    return peak;
}

double gauss_boxNorm(const gauss_boxRun* run, bool peakNormalize)
{
    if (peakNormalize)
        return gauss_boxPeak(run->x, run->weights, run->pixelSums) *
               gauss_boxPeak(run->y, run->weights, run->pixelSums);
    const double area = static_cast<double>((run->x.kernelSize + 1) * (run->y.kernelSize + 1));
    return std::pow(area, static_cast<double>(run->x.passes));
}

// Adds source row y, of the rows that begin at firstRow, to the sums of its columns.
void gauss_addRow(const gauss_boxRun* run, const qsImage* src, gauss_area read, int64_t y)
{
    const int64_t box = run->y.kernelSize + 1;
    std::fill_n(run->columnSums, read.x.length, 0.0);
    for (int64_t j = 0; j <= run->y.passes && y - j * box >= read.y.start; ++j) {
        const uint8_t* const row =
            qsImagePixAddr(src, static_cast<int32_t>(read.x.start), static_cast<int32_t>(y - j * box));
        for (int64_t x = 0; x < read.x.length; ++x)
            run->columnSums[x] += run->weights[j] * row[x];
    }
    for (int64_t x = 0; x < read.x.length; ++x)
        run->columnSums[x] =
            gauss_integratePasses(run->columnSums[x], run->rowSums + x, run->y.passes, read.x.length);
}

void gauss_writeBoxRow(const gauss_boxRun* run, int64_t columns, uint8_t* out)
{
    const int64_t box = run->x.kernelSize + 1;
    const int64_t complete = gauss_reach(run->x);
    std::fill_n(run->pixelSums, run->x.passes, 0.0);
    for (int64_t x = 0; x < columns; ++x) {
        double difference = 0.0;
        for (int64_t j = 0; j <= run->x.passes && j * box <= x; ++j)
            difference += run->weights[j] * run->columnSums[x - j * box];
        const double sum = gauss_integratePasses(difference, run->pixelSums, run->x.passes, 1);
        // A true division, unlike the other paths, and the low eight bits without clamping: required.
        if (x >= complete)
            out[x - complete] = static_cast<uint8_t>(gauss_truncate(sum / run->norm));
    }
}

void gauss_writeBoxes(const gauss_boxRun* run, const qsImage* src, gauss_area read, gauss_area area,
                      qsImage* dst)
{
    const int64_t complete = read.y.start + gauss_reach(run->y);
    for (int64_t y = read.y.start; y < read.y.start + read.y.length; ++y) {
        gauss_addRow(run, src, read, y);
        if (y >= complete)
            gauss_writeBoxRow(run, read.x.length,
                              qsImagePixAddr(dst, static_cast<int32_t>(area.x.start),
                                             static_cast<int32_t>(area.y.start + y - complete)));
    }
}

// Fills `area` of dst from src, which are different images. False when memory is short; nothing is written
// then.
bool gauss_runBoxes(gauss_boxAxis x, gauss_boxAxis y, bool peakNormalize, const qsImage* src,
                    gauss_area area, qsImage* dst)
{
    const gauss_area read = gauss_areaDilate(area, {gauss_boxSpan(x), gauss_boxSpan(y)});
    const int64_t passes = x.passes;
    const int64_t rows = read.x.length * (passes + 1);
    const int64_t count = rows + passes + passes + 1;
    auto* const block = static_cast<double*>(qxfMalloc(count * static_cast<int64_t>(sizeof(double))));
    if (!block)
        return false;
    std::fill_n(block, rows, 0.0);
    gauss_differenceWeights(passes, block + rows + passes);
    gauss_boxRun run = {x,  y, block + rows + passes, block, block + read.x.length * passes, block + rows,
                        0.0};
    run.norm = gauss_boxNorm(&run, peakNormalize);
    gauss_writeBoxes(&run, src, read, area, dst);
    qxfFree(block);
    return true;
}

// ---- the request ----

qsImage* gauss_createImage(gauss_area area)
{
    qsImage* const image =
        qsImageCreate(static_cast<int32_t>(area.x.length), static_cast<int32_t>(area.y.length));
    if (image)
        qsImageMoveTo(image, static_cast<int32_t>(area.x.start), static_cast<int32_t>(area.y.start));
    return image;
}

// In place, a copy stands for the source, so that rows already written do not feed later ones.
bool gauss_runBoxesOn(gauss_boxAxis x, gauss_boxAxis y, bool peakNormalize, qsImage* src, gauss_area area,
                      qsImage* dst)
{
    if (gauss_areaIsNull(area))
        return true;
    if (src != dst)
        return gauss_runBoxes(x, y, peakNormalize, src, area, dst);
    const qsIRegion region = qsImageRegion(src);
    qsImage* const copy = gauss_createImage(gauss_areaOf(&region));
    if (!copy)
        return false;
    qsImageCopy(src, copy);
    const bool done = gauss_runBoxes(x, y, peakNormalize, copy, area, dst);
    qsImageFree(copy);
    return done;
}

void gauss_setBoxClientCoords(const qsImage* src, gauss_boxAxis x, gauss_boxAxis y, qsImage* dst)
{
    qsFXform dstFromSrc;
    qsFXform dstFromClient;
    qsFXformElemCT(1.0f, 1.0f, gauss_boxOffset(x), gauss_boxOffset(y), &dstFromSrc);
    const qsFXform srcFromClient = qsImageClientCoords(src);
    qsFXformCompose(&dstFromSrc, &srcFromClient, &dstFromClient);
    qsImageSetClientCoords(dst, &dstFromClient);
}

// The region to compute: all that the kernel fits in, within the destination or the caller's region.
gauss_area gauss_boxArea(const qsImage* src, const qsImage* dst, gauss_boxAxis x, gauss_boxAxis y,
                         const qsIRegion* region)
{
    const qsIRegion srcRegion = qsImageRegion(src);
    const qsIRegion dstRegion = qsImageRegion(dst);
    const gauss_area all = gauss_areaErode(gauss_areaOf(&srcRegion), {gauss_boxSpan(x), gauss_boxSpan(y)});
    if (dst)
        return gauss_areaIntersect(all, gauss_areaOf(&dstRegion));
    return region ? gauss_areaIntersect(all, gauss_areaOf(region)) : all;
}

} // namespace

qsImage* qfGauss(qsImage* src, qsImage* dst, int32_t passesMinusOne, int32_t kernelSizeX,
                 int32_t kernelSizeY, int32_t peakNormalize, qsIRegion* region)
{
    if (!src || qsVImageType(src) != QS_IMAGE_TYPE_8 || (dst && qsVImageType(dst) != QS_IMAGE_TYPE_8))
        return nullptr;
    if (kernelSizeX < 0 || kernelSizeY < 0)
        return nullptr;
    const int64_t passes = std::max<int64_t>(static_cast<int64_t>(passesMinusOne) + 1, 0);
    const gauss_boxAxis x = {passes, kernelSizeX};
    const gauss_boxAxis y = {passes, kernelSizeY};
    const gauss_area area = gauss_boxArea(src, dst, x, y, region);

    qsImage* const target = dst ? dst : gauss_createImage(area);
    if (!target)
        return nullptr;
    if (gauss_reach(x) == 0 && gauss_reach(y) == 0) {
        if (target != src)
            qsImageCopy(src, target);
    } else if (gauss_runBoxesOn(x, y, peakNormalize != 0, src, area, target)) {
        gauss_setBoxClientCoords(src, x, y, target);
    } else {
        if (!dst)
            qsImageFree(target);
        return nullptr;
    }
    if (region)
        gauss_regionOf(area, region);
    return target;
}

int32_t qfGaussNullParams(const qsGaussParams* params)
{
    if (!params)
        return 0;
    // Written so that a gain that is not a number counts as 1: required behaviour.
    const bool gainIsOne = !(params->gain < 1.0f || params->gain > 1.0f);
    return params->sampleX == 1 && params->sampleY == 1 && params->kernelSizeX == 0 &&
           params->kernelSizeY == 0 && gainIsOne && params->prototype &&
           qsVImageType(params->prototype) == QS_IMAGE_TYPE_8;
}

const qsGaussParams* qsGaussParamsNull(void)
{
    static const qsGaussParams record = {1, 1, 0, 0, 0, 0, 0, 1.0f, qsImageNull, 0};
    return &record;
}

namespace
{

// One of the two maps between source and destination regions, for callers of the older interface.
qsIRegion* gauss_mapRegion(gauss_span (*map)(gauss_axis, gauss_span), const qsIRegion* from, qsIRegion* to,
                           gauss_axis x, gauss_axis y)
{
    if (!from || !to)
        return nullptr;
    const gauss_area area = gauss_areaOf(from);
    const gauss_span mappedX = map(x, area.x);
    const gauss_span mappedY = map(y, area.y);
    return qsIRegionCT(mappedX.start, mappedY.start, mappedX.length, mappedY.length, to);
}

} // namespace

qsIRegion* qfGaussGetDstReg(const qsIRegion* src, qsIRegion* dst, int32_t sx, int32_t sy, int32_t nx,
                            int32_t ny)
{
    return gauss_mapRegion(gauss_dstSpan, src, dst, {sx, static_cast<int64_t>(nx) - 1},
                           {sy, static_cast<int64_t>(ny) - 1});
}

qsIRegion* qfGaussGetDummyReg(const qsIRegion* dst, qsIRegion* dummy, int32_t sx, int32_t sy, int32_t nx,
                              int32_t ny)
{
    return gauss_mapRegion(gauss_srcSpan, dst, dummy, {sx, static_cast<int64_t>(nx) - 1},
                           {sy, static_cast<int64_t>(ny) - 1});
}
