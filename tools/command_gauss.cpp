#include "commands.h"
#include "failure.h"
#include "gauss_path.h"
#include "smoothing.h"

#include <qip/masked.h>
#include <qip/smoothing.h>

namespace
{

void smoothUnmasked(const options& o, const source_image& source, int depth)
{
    const auto smooth = depth == 8 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
    smoothing_run(
        o, source, depth,
        [&](qimg_image* dst, qimg_image*) { return smooth(source.image(), dst, &o.params); },
        [&](const qimg_image& dst) { return gauss_path(source.image()->rect, dst, o.params); });
}

// Also for 16-bit sources, whether there are masks or not.
void smoothMasked(const options& o, const source_image& source, int depth)
{
    const optional_mask mask(o.mask, o);
    const optional_mask resetMask(o.resetMask, o);
    const auto smooth = source.depth() == 16 ? qip_gauss_smoothMasked16_16
                        : depth == 16        ? qip_gauss_smoothMasked8_16
                                             : qip_gauss_smoothMasked8_8;
    smoothing_run(
        o, source, depth,
        [&](qimg_image* dst, qimg_image* dstMask) {
            return smooth(source.image(), mask.image(), resetMask.image(), &o.params, dst, dstMask);
        },
        [&](const qimg_image& dst) {
            const qstd_rect32& rect = source.image()->rect;
            return mask.image() || source.depth() == 16
                       ? gauss_maskedPath(rect, dst, o.params, mask.image())
                       : gauss_path(rect, dst, o.params);
        });
}

} // namespace

void command_gauss(const options& o)
{
    const source_image source(o);
    const int depth = o.depth.value_or(source.depth());
    if (depth < source.depth())
        throw usage_failure("--depth: 8 does not go with a 16-bit input");
    const bool isMasked = o.mask || o.resetMask || o.maskOut || source.depth() == 16;
    (isMasked ? smoothMasked : smoothUnmasked)(o, source, depth);
}
