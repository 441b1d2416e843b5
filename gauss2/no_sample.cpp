#include "gauss2/no_sample.h"

#include "frame/cleanup.h"
#include "gauss2/pipeline.h"
#include "gauss2/select.h"

#include <qbase/pixels.h>

#include <algorithm>

namespace
{

// Memory that a request may need beside the caller's windows.
struct gauss2_scratch {
    unsigned char* dstMask; // stands for a destination mask that the caller does not want
    unsigned char* pixels;  // the other side of a sequence of passes
    unsigned char* mask;
};

struct gauss2_target {
    qimg_window pixels;
    qimg_window mask; // looked at when masked
};

// The state of a sequence of passes: the result of a pass is the source of the next one, and the two targets
// take turns.
struct gauss2_sequence {
    gauss2_views views;
    gauss2_target targets[2];
    int next;
};

template <class Planes>
qip_status gauss2_runPass(const gauss2_path<Planes>& path, gauss2_sequence* sequence)
{
    gauss2_views& views = sequence->views;
    const gauss2_target& target = sequence->targets[sequence->next];
    views.dst = target.pixels;
    views.dstMask = target.mask;
    const qip_status status = gauss2_run(path, gauss2_planesOf<Planes>(views));
    views.src = qimg_window_asConst(&target.pixels);
    views.srcMask = qimg_window_asConst(&target.mask);
    sequence->next = 1 - sequence->next;
    return status;
}

// The counts are taken literally: each pass subtracts 2, so an odd count has a last pass for its 1. Only
// positive counts are ever decremented.
template <class Planes>
qip_status gauss2_runPasses(gauss2_sequence* sequence, int32_t passesX, int32_t passesY)
{
    qip_status status = QIP_OK;
    for (; status >= 0 && passesX >= 2 && passesY >= 2; passesX -= 2, passesY -= 2)
        status = gauss2_runPass(gauss2_path5x5<Planes>, sequence);
    for (; status >= 0 && passesX > 0; passesX -= 2)
        status = gauss2_runPass(gauss2_path5x1<Planes>, sequence);
    for (; status >= 0 && passesY > 0; passesY -= 2)
        status = gauss2_runPass(gauss2_path1x5<Planes>, sequence);
    return status;
}

// A window over memory of our own. It is not cleared, which would take as long as a pass: every pass writes
// all of its target before the next one reads it.
qip_status gauss2_takeWindow(frame_cleanup* cleanup, int32_t pixelSize, const qstd_rect32& rect,
                             unsigned char** block, qimg_window* window)
{
    const int64_t stride = (int64_t{rect.width} * pixelSize + 63) / 64 * 64;
    if (stride > INT32_MAX)
        return QSYS_E_RANGE;
    const qip_status status = frame_cleanupAlloc(cleanup, stride * rect.height, block);
    if (status < 0)
        return status;
    return qimg_window_initMemory(window, pixelSize, &rect, static_cast<int32_t>(stride), *block);
}

// The target of the first pass follows from half of the greater count, so that with even counts the last pass
// writes the destination. With other counts the last pass may write the temporary image: required behaviour.
template <class Planes>
qip_status gauss2_manyPasses(const gauss2_views& views, const qstd_rect32& common, int32_t passesX,
                             int32_t passesY, gauss2_scratch* scratch, frame_cleanup* cleanup)
{
    gauss2_target temporary = {};
    qip_status status =
        gauss2_takeWindow(cleanup, views.src.pixelSize, common, &scratch->pixels, &temporary.pixels);
    if (status >= 0 && views.masked)
        status = gauss2_takeWindow(cleanup, 1, common, &scratch->mask, &temporary.mask);
    if (status < 0)
        return status;
    const bool destinationFirst = std::max(passesX, passesY) / 2 % 2 != 0;
    gauss2_sequence sequence = {views, {{views.dst, views.dstMask}, temporary}, destinationFirst ? 0 : 1};
    return gauss2_runPasses<Planes>(&sequence, passesX, passesY);
}

qip_status gauss2_copy(const gauss2_views& views)
{
    const qip_status status = views.src.pixelSize == 1 ? qip_pelCopyWindow8(&views.src, &views.dst)
                                                       : qip_pelCopyWindow16(&views.src, &views.dst);
    return status < 0 || !views.hasDstMask ? status : qip_pelCopyWindow8(&views.srcMask, &views.dstMask);
}

template <class Planes>
qip_status gauss2_anyPasses(const gauss2_views& views, const Planes& planes, const qstd_rect32& common,
                            int32_t passesX, int32_t passesY, gauss2_scratch* scratch,
                            frame_cleanup* cleanup)
{
    if (passesX == 2 && passesY == 2)
        return gauss2_run(gauss2_path5x5<Planes>, planes);
    if (passesX == 2 && passesY == 0)
        return gauss2_run(gauss2_path5x1<Planes>, planes);
    if (passesX == 0 && passesY == 2)
        return gauss2_run(gauss2_path1x5<Planes>, planes);
    return gauss2_manyPasses<Planes>(views, common, passesX, passesY, scratch, cleanup);
}

qip_status gauss2_noSampleBody(gauss2_views views, int32_t passesX, int32_t passesY,
                               gauss2_scratch* scratch, frame_cleanup* cleanup)
{
    qstd_rect32 source;
    qip_status status = qimg_windowConst_getWindow(&views.src, &source);
    if (status < 0)
        return status;
    qstd_rect32 common;
    status = qimg_window_getWindow(&views.dst, &common);
    if (status >= 0)
        status = qstd_rect32_intersect(&common, &source);
    if (status < 0 || gauss2_isNull(common))
        return status;
    status = gauss2_restrict(&views, common, common);
    if (status < 0)
        return status;
    if (passesX == 0 && passesY == 0)
        return gauss2_copy(views);
    if (views.masked && !views.hasDstMask) {
        status = gauss2_takeWindow(cleanup, 1, common, &scratch->dstMask, &views.dstMask);
        if (status < 0)
            return status;
        views.hasDstMask = true;
    }
    return gauss2_withPlanes(views, [&](const auto& planes) {
        return gauss2_anyPasses(views, planes, common, passesX, passesY, scratch, cleanup);
    });
}

} // namespace

qip_status gauss2_noSample(const gauss2_views& views, int32_t passesX, int32_t passesY)
{
    frame_cleanup cleanup = {};
    gauss2_scratch scratch = {};
    return frame_cleanupEnd(&cleanup, gauss2_noSampleBody(views, passesX, passesY, &scratch, &cleanup));
}
