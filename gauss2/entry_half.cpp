// The exports of half resolution, by image and by window.
#include "gauss2/entry_request.h"

#include <qip/half_resolution.h>

namespace
{

using gauss2_u8 = gauss2_planes<uint8_t>;
using gauss2_u16 = gauss2_planes<uint16_t>;
using gauss2_masked8 = gauss2_maskedPlanes<uint8_t>;
using gauss2_masked16 = gauss2_maskedPlanes<uint16_t>;

} // namespace

qip_status qip_gauss2_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages<gauss2_u8>({src, nullptr, dst, nullptr}, gauss2_sampleBoth);
}

qip_status qip_gauss2X_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages<gauss2_u8>({src, nullptr, dst, nullptr}, gauss2_sampleX);
}

qip_status qip_gauss2Y_smooth8_8(const qimg_image8* src, qimg_image8* dst)
{
    return gauss2_smoothImages<gauss2_u8>({src, nullptr, dst, nullptr}, gauss2_sampleY);
}

qip_status qip_gauss2_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages<gauss2_u16>({src, nullptr, dst, nullptr}, gauss2_sampleBoth);
}

qip_status qip_gauss2X_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages<gauss2_u16>({src, nullptr, dst, nullptr}, gauss2_sampleX);
}

qip_status qip_gauss2Y_smooth16_16(const qimg_image16* src, qimg_image16* dst)
{
    return gauss2_smoothImages<gauss2_u16>({src, nullptr, dst, nullptr}, gauss2_sampleY);
}

qip_status qip_gauss2_smoothWindow8_8(const qimg_window8Const* srcWin,
                                      const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                      qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_u8>({srcWin, nullptr, dstWin, nullptr}, gauss2_sampleBoth,
                                           srcTransform, dstTransform);
}

qip_status qip_gauss2X_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_u8>({srcWin, nullptr, dstWin, nullptr}, gauss2_sampleX, srcTransform,
                                           dstTransform);
}

qip_status qip_gauss2Y_smoothWindow8_8(const qimg_window8Const* srcWin,
                                       const qmath_xformLinear* srcTransform, const qimg_window8* dstWin,
                                       qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_u8>({srcWin, nullptr, dstWin, nullptr}, gauss2_sampleY, srcTransform,
                                           dstTransform);
}

qip_status qip_gauss2_smoothWindow16_16(const qimg_window16Const* srcWin,
                                        const qmath_xformLinear* srcTransform, const qimg_window16* dstWin,
                                        qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_u16>({srcWin, nullptr, dstWin, nullptr}, gauss2_sampleBoth,
                                            srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                      qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked8>({src, srcMask, dst, dstMask}, gauss2_sampleBoth);
}

qip_status qip_gauss2X_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked8>({src, srcMask, dst, dstMask}, gauss2_sampleX);
}

qip_status qip_gauss2Y_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask, qimg_image8* dst,
                                       qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked8>({src, srcMask, dst, dstMask}, gauss2_sampleY);
}

qip_status qip_gauss2_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                        qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked16>({src, srcMask, dst, dstMask}, gauss2_sampleBoth);
}

qip_status qip_gauss2X_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked16>({src, srcMask, dst, dstMask}, gauss2_sampleX);
}

qip_status qip_gauss2Y_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                         qimg_image16* dst, qimg_image8* dstMask)
{
    return gauss2_smoothImages<gauss2_masked16>({src, srcMask, dst, dstMask}, gauss2_sampleY);
}

qip_status qip_gauss2_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                            const qimg_window8Const* srcMaskWin,
                                            const qmath_xformLinear* srcTransform,
                                            const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                            qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_masked8>({srcWin, srcMaskWin, dstWin, dstMaskWin}, gauss2_sampleBoth,
                                                srcTransform, dstTransform);
}

qip_status qip_gauss2X_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_masked8>({srcWin, srcMaskWin, dstWin, dstMaskWin}, gauss2_sampleX,
                                                srcTransform, dstTransform);
}

qip_status qip_gauss2Y_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                             const qimg_window8Const* srcMaskWin,
                                             const qmath_xformLinear* srcTransform,
                                             const qimg_window8* dstWin, const qimg_window8* dstMaskWin,
                                             qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_masked8>({srcWin, srcMaskWin, dstWin, dstMaskWin}, gauss2_sampleY,
                                                srcTransform, dstTransform);
}

qip_status qip_gauss2_smoothMaskedWindow16_16(const qimg_window16Const* srcWin,
                                              const qimg_window8Const* srcMaskWin,
                                              const qmath_xformLinear* srcTransform,
                                              const qimg_window16* dstWin, const qimg_window8* dstMaskWin,
                                              qmath_xformLinear* dstTransform)
{
    return gauss2_smoothWindows<gauss2_masked16>({srcWin, srcMaskWin, dstWin, dstMaskWin},
                                                 gauss2_sampleBoth, srcTransform, dstTransform);
}
