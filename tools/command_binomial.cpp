#include "commands.h"
#include "smoothing.h"

#include <qip/half_resolution.h>

void command_binomial(const options& o)
{
    const source_image source(o);
    const bool sixteen = source.depth() == 16;
    const int_pair passes = o.passes;
    if (!o.mask) {
        const auto smooth = sixteen ? qip_gauss2_smoothNoSample16_16 : qip_gauss2_smoothNoSample8_8;
        smoothing_run(o, source, source.depth(), [&](qimg_image* dst, qimg_image*) {
            return smooth(source.image(), dst, passes.x, passes.y);
        });
        return;
    }
    const mask_image mask(*o.mask, o);
    const auto smooth = sixteen ? qip_gauss2_smoothNoSampleMasked16_16 : qip_gauss2_smoothNoSampleMasked8_8;
    smoothing_run(o, source, source.depth(), [&](qimg_image* dst, qimg_image* dstMask) {
        return smooth(source.image(), mask.image(), dst, dstMask, passes.x, passes.y);
    });
}
