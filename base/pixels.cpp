// Services on the pixels of windows: copy, fill, and the question whether two windows share memory.
#include "base/pixel_memory.h"
#include "base/row_overlap.h"

#include <qbase/memory.h>
#include <qbase/pixels.h>

namespace
{

bool isNullWindow(const qimg_windowConst& window)
{
    int isNull = 1;
    qimg_windowConst_getIsNull(&window, &isNull);
    return isNull != 0;
}

qsys_status copyWindow(const qimg_windowConst* src, const qimg_window* dst, int32_t pixelSize)
{
    if (!src || !dst)
        return QSYS_E_ARGUMENT;
    if (isNullWindow(*src) && isNullWindow(qimg_window_asConst(dst)))
        return QSYS_OK;
    if (!src->bound || !dst->bound)
        return QIMG_E_UNBOUND;
    if (src->pixelSize != pixelSize || dst->pixelSize != pixelSize)
        return QIMG_E_PIXEL_SIZE;
    if (src->width != dst->width || src->height != dst->height)
        return QIP_E_PEL_SIZE;
    if (base_lacksMemory(*src) || base_lacksMemory(*dst))
        return QIMG_E_UNBOUND;
    return qsys_memory_copyRect(int64_t{src->width} * pixelSize, src->height, src->stride, dst->stride,
                                src->firstPixel, dst->firstPixel);
}

// A record that was filled by hand may say anything.
bool hasPixelSize(const qimg_windowConst& window)
{
    return window.pixelSize == 1 || window.pixelSize == 2;
}

base_pixelRows rowsOf(const qimg_windowConst& window)
{
    return {reinterpret_cast<uintptr_t>(window.firstPixel), window.stride,
            int64_t{window.width} * window.pixelSize, window.height};
}

} // namespace

qsys_status qip_pelCopyWindow8(const qimg_window8Const* src, const qimg_window8* dst)
{
    return copyWindow(src, dst, 1);
}

qsys_status qip_pelCopyWindow16(const qimg_window16Const* src, const qimg_window16* dst)
{
    return copyWindow(src, dst, 2);
}

qsys_status qip_pelSetWindow8(const qimg_window8* window, int32_t value)
{
    if (!window)
        return QSYS_E_ARGUMENT;
    if (isNullWindow(qimg_window_asConst(window)))
        return QSYS_OK;
    if (window->pixelSize != 1)
        return QIMG_E_PIXEL_SIZE;
    if (base_lacksMemory(*window))
        return QIMG_E_UNBOUND;
    qsys_status status = QSYS_OK;
    for (int32_t y = 0; y < window->height && status >= 0; ++y)
        status = qsys_memory_fill(base_pixelAddress(window->firstPixel, window->stride, 1, 0, y),
                                  window->width, value);
    return status;
}

qsys_status qip_pelfunc_checkMemoryOverlap(const qimg_windowConst* a, const qimg_windowConst* b)
{
    if (!a || !b)
        return QSYS_E_ARGUMENT;
    const bool identical = a->firstPixel == b->firstPixel && a->stride == b->stride;
    if (isNullWindow(*a) || isNullWindow(*b) || identical || !a->firstPixel || !b->firstPixel)
        return QSYS_OK;
    if (!hasPixelSize(*a) || !hasPixelSize(*b))
        return QSYS_E_ARGUMENT;
    return base_pixelRows_overlap(rowsOf(*a), rowsOf(*b)) ? QIP_E_PEL_OVERLAP : QSYS_OK;
}
