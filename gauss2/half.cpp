// The exports of half resolution, by image and by window.
#include "gauss2/request.h"

#include <qip/half_resolution.h>

qip_status qip_gauss2_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_halfImages(gauss2_pixels8, gauss2_half, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2X_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_halfImages(gauss2_pixels8, gauss2_halfX, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2Y_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_halfImages(gauss2_pixels8, gauss2_halfY, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_halfImages(gauss2_pixels16, gauss2_half, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2X_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_halfImages(gauss2_pixels16, gauss2_halfX, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2Y_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_halfImages(gauss2_pixels16, gauss2_halfY, {src, nullptr, dst, nullptr});
}

qip_status qip_gauss2_smoothWindow8_8(const qimg_window8Const* srcWin,
                                      const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                      qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_pixels8, gauss2_half, {srcWin, nullptr, dstWin, nullptr}, srcTransform,
                              dstTransform);
}

qip_status qip_gauss2X_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_pixels8, gauss2_halfX, {srcWin, nullptr, dstWin, nullptr},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2Y_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_pixels8, gauss2_halfY, {srcWin, nullptr, dstWin, nullptr},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothWindow16_16(const qimg_window16Const* srcWin,
                                        const qmath_xformLinear* srcTransform, const qimg_window16* dstWin,
                                        qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_pixels16, gauss2_half, {srcWin, nullptr, dstWin, nullptr},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                      qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked8, gauss2_half, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2X_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked8, gauss2_halfX, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2Y_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked8, gauss2_halfY, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                        qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked16, gauss2_half, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2X_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked16, gauss2_halfX, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2Y_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_halfImages(gauss2_masked16, gauss2_halfY, {src, srcMask, dst, dstMask});
}

qip_status qip_gauss2_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                            const qimg_window8Const* srcMaskWin,
                                            const qmath_xformLinear* srcTransform,
                                            const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                            qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_masked8, gauss2_half, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2X_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_masked8, gauss2_halfX, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2Y_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_masked8, gauss2_halfY, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                              srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMaskedWindow16_16(const qimg_window16Const* srcWin,
                                              const qimg_window8Const* srcMaskWin,
                                              const qmath_xformLinear* srcTransform,
                                              const qimg_window16* dstWin, const qimg_window8* dstMaskWin,
                                              qmath_xformLinear* dstTransform)
{
    return gauss2_halfWindows(gauss2_masked16, gauss2_half, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                              srcTransform, dstTransform);
}
