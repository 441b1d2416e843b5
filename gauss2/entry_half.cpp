// The exports of half resolution, by image and by window.
#include "gauss2/entry_request.h"

#include <qip/half_resolution.h>

qip_status qip_gauss2_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages(gauss2_pixels8, gauss2_sampleBoth, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2X_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages(gauss2_pixels8, gauss2_sampleX, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2Y_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages(gauss2_pixels8, gauss2_sampleY, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages(gauss2_pixels16, gauss2_sampleBoth, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2X_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages(gauss2_pixels16, gauss2_sampleX, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2Y_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages(gauss2_pixels16, gauss2_sampleY, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2_smoothWindow8_8(const qimg_window8Const* srcWin,
                                      const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                      qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_pixels8, gauss2_sampleBoth, {srcWin, nullptr, dstWin, nullptr},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2X_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_pixels8, gauss2_sampleX, {srcWin, nullptr, dstWin, nullptr},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2Y_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_pixels8, gauss2_sampleY, {srcWin, nullptr, dstWin, nullptr},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothWindow16_16(const qimg_window16Const* srcWin,
                                        const qmath_xformLinear* srcTransform, const qimg_window16* dstWin,
                                        qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_pixels16, gauss2_sampleBoth, {srcWin, nullptr, dstWin, nullptr},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                      qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked8, gauss2_sampleBoth, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2X_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked8, gauss2_sampleX, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2Y_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked8, gauss2_sampleY, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                        qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked16, gauss2_sampleBoth, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2X_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked16, gauss2_sampleX, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2Y_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages(gauss2_masked16, gauss2_sampleY, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                            const qimg_window8Const* srcMaskWin,
                                            const qmath_xformLinear* srcTransform,
                                            const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                            qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_masked8, gauss2_sampleBoth, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2X_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_masked8, gauss2_sampleX, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2Y_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_masked8, gauss2_sampleY, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                                srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMaskedWindow16_16(const qimg_window16Const* srcWin,
                                              const qimg_window8Const* srcMaskWin,
                                              const qmath_xformLinear* srcTransform,
                                              const qimg_window16* dstWin, const qimg_window8* dstMaskWin,
                                              qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows(gauss2_masked16, gauss2_sampleBoth,
                                {srcWin, srcMaskWin, dstWin, dstMaskWin}, srcTransform, dstTransform);
}
