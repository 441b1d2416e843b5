// Windows. The writable and the read-only record differ in one pointer's constness, so each operation is
// written once for both.
#include "base/pixel_memory.h"
#include "base/rect_arithmetic.h"

#include <qbase/image.h>
#include <qbase/window.h>

#include <algorithm>

namespace
{

template <class Window>
qsys_status initUnbound(Window* window)
{
    if (!window)
        return QSYS_E_ARGUMENT;
    *window = {};
    return QSYS_OK;
}

// A pixelSize of 0 accepts both sizes.
template <class Window>
qsys_status initImage(Window* window, const qimg_image* image, int32_t pixelSize)
{
    if (initUnbound(window) < 0 || !image)
        return QSYS_E_ARGUMENT;
    if (!image->buffer)
        return QSYS_OK;
    if (pixelSize != 0 && pixelSize != image->pixelSize)
        return QIMG_E_PIXEL_SIZE;
    *window = {image->rect.width, image->rect.height, image->stride, image->firstPixel, 1,
               image->pixelSize,  image->rect.x,      image->rect.y};
    return QSYS_OK;
}

// Rows of more than one must not run into each other.
bool isUsableMemory(int32_t pixelSize, const base_rect64& rect, int64_t stride, const void* firstPixel)
{
    if (!firstPixel || (pixelSize != 1 && pixelSize != 2))
        return false;
    return rect.height <= 1 || (stride < 0 ? -stride : stride) >= rect.width * pixelSize;
}

template <class Window, class Pointer>
qsys_status initMemory(Window* window, int32_t pixelSize, const qstd_rect32* rect, int32_t stride,
                       Pointer firstPixel)
{
    if (initUnbound(window) < 0 || !rect)
        return QSYS_E_ARGUMENT;
    const base_rect64 wide = base_rect64_of(*rect);
    if (!isUsableMemory(pixelSize, wide, stride, firstPixel))
        return QSYS_E_ARGUMENT;
    if (!qimg_pixels_areAligned(pixelSize, firstPixel, stride))
        return QIMG_E_ALIGNMENT;
    if (!base_rect64_fits(wide))
        return QSYS_E_RANGE;
    *window = {rect->width, rect->height, stride, firstPixel, 1, pixelSize, rect->x, rect->y};
    return QSYS_OK;
}

template <class Window>
qsys_status getIsNull(const Window* window, int* isNull)
{
    if (!window || !isNull)
        return QSYS_E_ARGUMENT;
    *isNull = !window->bound || window->width <= 0 || window->height <= 0;
    return QSYS_OK;
}

template <class Window>
qsys_status getWindow(const Window* window, qstd_rect32* rect)
{
    if (!window || !rect)
        return QSYS_E_ARGUMENT;
    *rect = {};
    if (window->bound)
        *rect = {window->x, window->y, window->width, window->height};
    return QSYS_OK;
}

template <class Window>
qsys_status windowRect(Window* window, const qstd_rect32* rect, int32_t flags)
{
    if (!window || !rect || flags != 0)
        return QSYS_E_ARGUMENT;
    if (!window->bound)
        return QIMG_E_UNBOUND;
    const base_rect64 current = base_rect64_of(*window);
    const base_rect64 wanted = base_rect64_of(*rect);
    if (!base_rect64_contains(current, wanted))
        return QIMG_E_OUTSIDE;
    // An empty window may stand anywhere, so its address stays what it was.
    if (!base_rect64_isNull(wanted)) {
        // An offset from no address would be an address of nothing.
        if (!window->firstPixel)
            return QIMG_E_UNBOUND;
        window->firstPixel = base_pixelAddress(window->firstPixel, window->stride, window->pixelSize,
                                               wanted.x - current.x, wanted.y - current.y);
    }
    window->x = rect->x;
    window->y = rect->y;
    window->width = std::max(rect->width, 0);
    window->height = std::max(rect->height, 0);
    return QSYS_OK;
}

} // namespace

qsys_status qimg_window_init(qimg_window* window, qimg_image* image)
{
    return initImage(window, image, 0);
}

qsys_status qimg_window8_init(qimg_window8* window, qimg_image* image)
{
    return initImage(window, image, 1);
}

qsys_status qimg_window16_init(qimg_window16* window, qimg_image* image)
{
    return initImage(window, image, 2);
}

qsys_status qimg_windowConst_init(qimg_windowConst* window, const qimg_image* image)
{
    return initImage(window, image, 0);
}

qsys_status qimg_window8Const_init(qimg_window8Const* window, const qimg_image* image)
{
    return initImage(window, image, 1);
}

qsys_status qimg_window16Const_init(qimg_window16Const* window, const qimg_image* image)
{
    return initImage(window, image, 2);
}

qsys_status qimg_window_initUnbound(qimg_window* window)
{
    return initUnbound(window);
}

qsys_status qimg_windowConst_initUnbound(qimg_windowConst* window)
{
    return initUnbound(window);
}

qsys_status qimg_window_initMemory(qimg_window* window, int32_t pixelSize, const qstd_rect32* rect,
                                   int32_t stride, void* firstPixel)
{
    return initMemory(window, pixelSize, rect, stride, firstPixel);
}

qsys_status qimg_windowConst_initMemory(qimg_windowConst* window, int32_t pixelSize,
                                        const qstd_rect32* rect, int32_t stride, const void* firstPixel)
{
    return initMemory(window, pixelSize, rect, stride, firstPixel);
}

qsys_status qimg_window_getIsNull(const qimg_window* window, int* isNull)
{
    return getIsNull(window, isNull);
}

qsys_status qimg_windowConst_getIsNull(const qimg_windowConst* window, int* isNull)
{
    return getIsNull(window, isNull);
}

qsys_status qimg_window_getWindow(const qimg_window* window, qstd_rect32* rect)
{
    return getWindow(window, rect);
}

qsys_status qimg_windowConst_getWindow(const qimg_windowConst* window, qstd_rect32* rect)
{
    return getWindow(window, rect);
}

qsys_status qimg_window_windowRect(qimg_window* window, const qstd_rect32* rect, int32_t flags)
{
    return windowRect(window, rect, flags);
}

qsys_status qimg_windowConst_windowRect(qimg_windowConst* window, const qstd_rect32* rect, int32_t flags)
{
    return windowRect(window, rect, flags);
}
