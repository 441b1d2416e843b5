#include "commands.h"
#include "smoothing.h"

#include <qip/half_resolution.h>

namespace
{

using unmaskedForm = qip_status (*)(const qimg_image*, qimg_image*);
using maskedForm = qip_status (*)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);

// In the order of half_axis; 8 bits, then 16.
constexpr unmaskedForm unmaskedForms[3][2] = {{qip_gauss2_smooth8_8, qip_gauss2_smooth16_16},
                                              {qip_gauss2X_smooth8_8, qip_gauss2X_smooth16_16},
                                              {qip_gauss2Y_smooth8_8, qip_gauss2Y_smooth16_16}};
constexpr maskedForm maskedForms[3][2] = {{qip_gauss2_smoothMasked8_8, qip_gauss2_smoothMasked16_16},
                                          {qip_gauss2X_smoothMasked8_8, qip_gauss2X_smoothMasked16_16},
                                          {qip_gauss2Y_smoothMasked8_8, qip_gauss2Y_smoothMasked16_16}};

} // namespace

void command_half(const options& o)
{
    const source_image source(o);
    const int axis = static_cast<int>(o.axis);
    const int sixteen = source.depth() == 16;
    if (!o.mask) {
        smoothing_run(o, source, source.depth(), [&](qimg_image* dst, qimg_image*) {
            return unmaskedForms[axis][sixteen](source.image(), dst);
        });
        return;
    }
    const mask_image mask(*o.mask, o);
    smoothing_run(o, source, source.depth(), [&](qimg_image* dst, qimg_image* dstMask) {
        return maskedForms[axis][sixteen](source.image(), mask.image(), dst, dstMask);
    });
}
