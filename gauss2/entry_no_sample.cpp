// The exports of smoothing at full resolution, by image and by window.
#include "gauss2/entry_request.h"

#include <qip/half_resolution.h>

namespace
{

using gauss2_u8 = gauss2_planes<uint8_t>;
using gauss2_u16 = gauss2_planes<uint16_t>;
using gauss2_masked8 = gauss2_maskedPlanes<uint8_t>;
using gauss2_masked16 = gauss2_maskedPlanes<uint16_t>;

} // namespace

qip_status qip_gauss2_smoothNoSample8_8(const qimg_image8* src, qimg_image8* dst, int32_t passesX,
                                        int32_t passesY)
{
    return gauss2_noSampleImages<gauss2_u8>({src, nullptr, dst, nullptr}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSample16_16(const qimg_image16* src, qimg_image16* dst, int32_t passesX,
                                          int32_t passesY)
{
    return gauss2_noSampleImages<gauss2_u16>({src, nullptr, dst, nullptr}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSampleWindow8_8(const qimg_window8Const* srcWin, const qimg_window8* dstWin,
                                              int32_t passesX, int32_t passesY)
{
    return gauss2_noSampleWindows<gauss2_u8>({srcWin, nullptr, dstWin, nullptr}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSampleWindow16_16(const qimg_window16Const* srcWin,
                                                const qimg_window16* dstWin, int32_t passesX,
                                                int32_t passesY)
{
    return gauss2_noSampleWindows<gauss2_u16>({srcWin, nullptr, dstWin, nullptr}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSampleMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                              qimg_image8* dst, qimg_image8* dstMask, int32_t passesX,
                                              int32_t passesY)
{
    return gauss2_noSampleImages<gauss2_masked8>({src, srcMask, dst, dstMask}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSampleMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                qimg_image16* dst, qimg_image8* dstMask, int32_t passesX,
                                                int32_t passesY)
{
    return gauss2_noSampleImages<gauss2_masked16>({src, srcMask, dst, dstMask}, passesX, passesY);
}

qip_status qip_gauss2_smoothNoSampleMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                    const qimg_window8Const* srcMaskWin,
                                                    const qimg_window8* dstWin,
                                                    const qimg_window8* dstMaskWin, int32_t passesX,
                                                    int32_t passesY)
{
    return gauss2_noSampleWindows<gauss2_masked8>({srcWin, srcMaskWin, dstWin, dstMaskWin}, passesX,
                                                  passesY);
}

qip_status qip_gauss2_smoothNoSampleMaskedWindow16_16(const qimg_window16Const* srcWin,
                                                      const qimg_window8Const* srcMaskWin,
                                                      const qimg_window16* dstWin,
                                                      const qimg_window8* dstMaskWin, int32_t passesX,
                                                      int32_t passesY)
{
    return gauss2_noSampleWindows<gauss2_masked16>({srcWin, srcMaskWin, dstWin, dstMaskWin}, passesX,
                                                   passesY);
}
