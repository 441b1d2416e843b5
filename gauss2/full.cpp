// The exports of smoothing at full resolution, by image and by window.
#include "gauss2/request.h"

#include <qip/half_resolution.h>

qip_status qip_gauss2_smoothNoSample8_8(const qimg_image8* src, qimg_image8* dst, int32_t passesX,
                                        int32_t passesY)
{
    return gauss2_fullImages(gauss2_pixels8, {src, nullptr, dst, nullptr}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSample16_16(const qimg_image16* src, qimg_image16* dst, int32_t passesX,
                                          int32_t passesY)
{
    return gauss2_fullImages(gauss2_pixels16, {src, nullptr, dst, nullptr}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleWindow8_8(const qimg_window8Const* srcWin, const qimg_window8* dstWin,
                                              int32_t passesX, int32_t passesY)
{
    return gauss2_fullWindows(gauss2_pixels8, {srcWin, nullptr, dstWin, nullptr}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleWindow16_16(const qimg_window16Const* srcWin,
                                                const qimg_window16* dstWin, int32_t passesX,
                                                int32_t passesY)
{
    return gauss2_fullWindows(gauss2_pixels16, {srcWin, nullptr, dstWin, nullptr}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                              qimg_image8* dst, qimg_image8* dstMask, int32_t passesX,
                                              int32_t passesY)
{
    return gauss2_fullImages(gauss2_masked8, {src, srcMask, dst, dstMask}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                qimg_image16* dst, qimg_image8* dstMask, int32_t passesX,
                                                int32_t passesY)
{
    return gauss2_fullImages(gauss2_masked16, {src, srcMask, dst, dstMask}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                    const qimg_window8Const* srcMaskWin,
                                                    const qimg_window8* dstWin,
                                                    const qimg_window8* dstMaskWin, int32_t passesX,
                                                    int32_t passesY)
{
    return gauss2_fullWindows(gauss2_masked8, {srcWin, srcMaskWin, dstWin, dstMaskWin}, {passesX, passesY});
}

qip_status qip_gauss2_smoothNoSampleMaskedWindow16_16(const qimg_window16Const* srcWin,
                                                      const qimg_window8Const* srcMaskWin,
                                                      const qimg_window16* dstWin,
                                                      const qimg_window8* dstMaskWin, int32_t passesX,
                                                      int32_t passesY)
{
    return gauss2_fullWindows(gauss2_masked16, {srcWin, srcMaskWin, dstWin, dstMaskWin},
                              {passesX, passesY});
}
