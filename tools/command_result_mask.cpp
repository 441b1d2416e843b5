#include "commands.h"
#include "failure.h"
#include "smoothing.h"

#include <qip/masked.h>
#include <qip/params.h>

void command_resultMask(const options& o)
{
    // The library takes these as they are, and writes nothing where they make no sense.
    refusal_check(qip_gaussParams_validate(&o.params));
    const mask_image mask(o.input, o, o.raw);
    const optional_mask centreMask(o.centreMask, o);
    const int32_t kernelSize[] = {o.params.kernelSizeX, o.params.kernelSizeY};
    const int32_t sample[] = {o.params.sampleX, o.params.sampleY};
    smoothing_run(o, mask, 8, [&](qimg_image* dst, qimg_image*) {
        return qip_filterMask_computeResultMask_(mask.image(), centreMask.image(), kernelSize, sample,
                                                 o.params.maskParams.threshold, dst);
    });
}
