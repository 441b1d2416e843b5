#include "gauss2/passes.h"

#include "gauss2/scratch.h"
#include "gauss2/select.h"

#include <algorithm>
#include <optional>

namespace
{

// The next pass, subtracted from the counts; nothing when none is left. Each pass subtracts 2, so an odd
// count gets a whole pass for its last 1. A count that is not positive is left as it is.
std::optional<gauss2_filter> nextPass(gauss2_passes* left)
{
    if (left->x >= 2 && left->y >= 2) {
        left->x -= 2;
        left->y -= 2;
        return gauss2_full5x5;
    }
    if (left->x > 0) {
        left->x -= 2;
        return gauss2_full5x1;
    }
    if (left->y > 0) {
        left->y -= 2;
        return gauss2_full1x5;
    }
    return std::nullopt;
}

// What a pass writes: the caller's destination, or memory of our own.
template <class Planes>
struct target {
    gauss2_plane<typename Planes::Pixel> pixels;
    gauss2_plane<uint8_t> mask; // null when it is neither wanted nor read by another pass
};

// The first target is written by the passes 0, 2, 4, ..., the second one by the others. Memory is taken for
// what a pass writes, and for a mask only when another pass reads it.
template <class Planes>
qip_status takeTargets(gauss2_passes passes, const Planes& planes, target<Planes>* targets,
                       frame_cleanup* cleanup)
{
    // The destination is the first target when half of the greater count is odd, so that with even counts
    // the last pass writes it. With other counts the last pass may write the temporary pixels: required
    // behaviour.
    const int destination = std::max(passes.x, passes.y) / 2 % 2 != 0 ? 0 : 1;
    const auto& pixels = gauss2_pixelsOf(planes);
    qip_status status = QIP_OK;
    for (int i = 0; i < 2; ++i) {
        const bool isWritten = nextPass(&passes).has_value();
        gauss2_passes later = passes;
        const bool isRead = nextPass(&later).has_value();
        if (i == destination)
            targets[i].pixels = {pixels.dst, pixels.dstStride};
        else if (status >= 0 && isWritten)
            status = gauss2_takePlane(cleanup, pixels.width, pixels.height, &targets[i].pixels);
        if constexpr (Planes::masked) {
            if (i == destination && planes.dstMask)
                targets[i].mask = {planes.dstMask, planes.dstMaskStride};
            else if (status >= 0 && isRead)
                status = gauss2_takePlane(cleanup, pixels.width, pixels.height, &targets[i].mask);
        }
    }
    return status;
}

// Each pass reads what the one before wrote.
template <class Planes>
qip_status inTurn(gauss2_passes passes, Planes planes, target<Planes>* targets, frame_cleanup* cleanup)
{
    qip_status status = takeTargets(passes, planes, targets, cleanup);
    auto& pixels = gauss2_pixelsOf(planes);
    for (int turn = 0; status >= 0; turn = 1 - turn) {
        const auto filter = nextPass(&passes);
        if (!filter)
            break;
        const target<Planes>& to = targets[turn];
        pixels.dst = to.pixels.first;
        pixels.dstStride = to.pixels.stride;
        if constexpr (Planes::masked) {
            planes.dstMask = to.mask.first;
            planes.dstMaskStride = to.mask.stride;
        }
        status = gauss2_run(*filter, planes);
        pixels.src = to.pixels.first;
        pixels.srcStride = to.pixels.stride;
        if constexpr (Planes::masked) {
            planes.mask = to.mask.first;
            planes.maskStride = to.mask.stride;
        }
    }
    return status;
}

template <class Planes>
qip_status copy(const Planes& planes)
{
    const auto& pixels = gauss2_pixelsOf(planes);
    const qip_status status =
        qsys_memory_copyRect(pixels.width * int64_t{sizeof(typename Planes::Pixel)}, pixels.height,
                             pixels.srcStride, pixels.dstStride, pixels.src, pixels.dst);
    if constexpr (Planes::masked)
        if (status >= 0 && planes.dstMask)
            return qsys_memory_copyRect(pixels.width, pixels.height, planes.maskStride,
                                        planes.dstMaskStride, planes.mask, planes.dstMask);
    return status;
}

} // namespace

template <class Planes>
qip_status gauss2_runPasses(gauss2_passes passes, const Planes& planes)
{
    if (passes.x == 0 && passes.y == 0)
        return copy(planes);
    frame_cleanup cleanup = {};
    target<Planes> targets[2] = {};
    return frame_cleanupEnd(&cleanup, inTurn(passes, planes, targets, &cleanup));
}

template qip_status gauss2_runPasses(gauss2_passes, const gauss2_planes<uint8_t>&);
template qip_status gauss2_runPasses(gauss2_passes, const gauss2_planes<uint16_t>&);
template qip_status gauss2_runPasses(gauss2_passes, const gauss2_maskedPlanes<uint8_t>&);
template qip_status gauss2_runPasses(gauss2_passes, const gauss2_maskedPlanes<uint16_t>&);
