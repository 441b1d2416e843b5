#include "unmasked/plan.h"

#include "gauss/request.h"

namespace
{

// The pixel of a legacy image at (x, y), in image coordinates.
template <class Image>
auto* pixelAt(Image* image, int64_t x, int64_t y, int64_t pixelSize)
{
    const int64_t right = x - image->region.x;
    const int64_t down = y - image->region.y;
    return static_cast<unsigned char*>(image->firstPixel) + down * image->rowStride + right * pixelSize;
}

} // namespace

unmasked_plan unmasked_planOf(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                              const gauss_request* request)
{
    unmasked_plan plan;
    plan.dstPixelSize = qsVImageType(dst) == QS_IMAGE_TYPE_8 ? 1 : 2;
    plan.src = pixelAt(src, request->read.x.start, request->read.y.start, 1);
    plan.srcStride = src->rowStride;
    plan.srcWidth = request->read.x.length;
    plan.srcHeight = request->read.y.length;
    plan.dst = pixelAt(dst, request->dst.x.start, request->dst.y.start, plan.dstPixelSize);
    plan.dstStride = dst->rowStride;
    plan.columns = request->dst.x.length;
    plan.rows = request->dst.y.length;
    plan.dstTop = request->dst.y.start;
    plan.rowsAbove = 0;
    plan.firstColumn = request->needed.x.start - request->read.x.start;
    plan.firstRow = request->needed.y.start - request->read.y.start;
    plan.stepX = params->sampleX;
    plan.stepY = params->sampleY;
    plan.boxX = int64_t{params->kernelSizeX} + 1;
    plan.boxY = int64_t{params->kernelSizeY} + 1;
    plan.round = params->round != 0;
    plan.gain = params->gain;
    plan.dstImage = dst;
    plan.dstZScale = params->peakNormalize ? dst->clientZScale : qsImageClientZScale(src) * params->gain;
    return plan;
}

unmasked_plan unmasked_bandOf(const unmasked_plan* plan, frame_rowRange rows)
{
    unmasked_plan band = *plan;
    band.dst = unmasked_dstRow<void>(plan, rows.first);
    band.rows = rows.end - rows.first;
    band.dstTop += rows.first;
    band.rowsAbove += rows.first;
    band.firstRow += rows.first * plan->stepY;
    return band;
}
