// Masked smoothing split into horizontal bands of the destination, which run on the threads of the job
// service.
#include "frame/bands.h"

#include "gauss/geometry.h"
#include "masked/request.h"

#include <qbase/arithmetic.h>

#include <algorithm>

namespace
{

// The work of band i, of `height` rows but for the last ones; these may have none left.
qip_status makeBand(const masked_request* request, const qip_gaussParams* params, int64_t i, int64_t height,
                    masked_work* work)
{
    *work = request->work;
    masked_plan& plan = work->plan;
    const int64_t row = i * height;
    plan.rows = std::min(plan.rows - row, height);
    if (plan.rows <= 0)
        return QIP_OK;
    plan.dst.first += row * plan.dst.stride;
    if (plan.dstMask.first)
        plan.dstMask.first += row * plan.dstMask.stride;
    plan.firstRow += row * plan.stepY;

    qstd_rect32 band;
    qstd_rect32 window;
    qstd_rect32 reach;
    qip_status status = qstd_rect32_init(&band, request->dstEffective.x, request->dstEffective.y + row,
                                         request->dstEffective.width, plan.rows);
    if (status >= 0)
        status = gauss_computeSrcRectsFromDstRect(params, &request->srcInside, &request->margin, &band,
                                                  static_cast<int32_t>(row * plan.stepY), &window, &reach);
    work->windowHeight = window.height;
    return status;
}

// Bands of the greatest height of which there are `count`.
qip_status runBands(frame_threads* threads, const masked_request* request, const qip_gaussParams* params,
                    int64_t count)
{
    const double rows = static_cast<double>(request->dstEffective.height);
    const auto height = static_cast<int64_t>(qmath_double_ceil(rows / static_cast<double>(count)));
    return frame_runBands<masked_work, masked_run>(threads, count, [=](int64_t i, masked_work* work) {
        return makeBand(request, params, i, height, work);
    });
}

qip_status run(frame_threads* threads, frame_cleanup* cleanup, const masked_request* request,
               const qip_gaussParams* params)
{
    const qip_status status = frame_takeThreads(cleanup, threads);
    if (status < 0)
        return status;
    const int64_t count = threads->count > 1
                              ? gauss_computeJobCount(params, &request->srcInside, &request->margin,
                                                      &request->dstEffective, threads->count)
                              : 1;
    return count > 1 ? runBands(threads, request, params, count) : masked_run(&request->work);
}

} // namespace

qip_status masked_runRequest(const masked_request* request, const qip_gaussParams* params)
{
    frame_threads threads = {};
    frame_cleanup cleanup = {};
    return frame_cleanupEnd(&cleanup, run(&threads, &cleanup, request, params));
}
