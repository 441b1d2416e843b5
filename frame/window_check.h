// Whether a window that a caller handed over can be worked on.
#pragma once

#include <qip/status.h>

#include <qbase/window.h>

// Unbound and empty windows pass, since they need no memory.
// Errors: QIMG_E_PIXEL_SIZE; QIMG_E_UNBOUND when the window has pixels but no address of the first one;
//         QIMG_E_ALIGNMENT when pixels of 16 bits are at an odd address or in rows at an odd distance.
template <class Window>
qip_status frame_checkWindow(const Window& window, int32_t pixelSize)
{
    if (!window.bound)
        return QIP_OK;
    if (window.pixelSize != pixelSize)
        return QIMG_E_PIXEL_SIZE;
    if (window.width <= 0 || window.height <= 0)
        return QIP_OK;
    if (!window.firstPixel)
        return QIMG_E_UNBOUND;
    return qimg_pixels_areAligned(pixelSize, window.firstPixel, window.stride) ? QIP_OK : QIMG_E_ALIGNMENT;
}
