/* Images over windows, made and released together. */
#include "images.h"

#include <stddef.h>

qsys_status core_image_cover(qimg_image* image, const qimg_window* window)
{
    int isNull = 1;
    qimg_window_getIsNull(window, &isNull);
    if (isNull)
        return QSYS_OK;
    const qstd_rect32 rect = {window->x, window->y, window->width, window->height};
    return qimg_image_constructMemory(image, window->pixelSize, &rect, window->stride, window->firstPixel,
                                      NULL, NULL);
}

qsys_status core_images_cover(core_images* images, const qimg_window* src, const qimg_window* mask,
                              const qimg_window* dst, const qimg_window* dstMask)
{
    const core_images unbound = {QIMG_IMAGE_UNBOUND, QIMG_IMAGE_UNBOUND, QIMG_IMAGE_UNBOUND,
                                 QIMG_IMAGE_UNBOUND};
    *images = unbound;
    qsys_status status = core_image_cover(&images->src, src);
    if (status >= 0)
        status = core_image_cover(&images->mask, mask);
    if (status >= 0)
        status = core_image_cover(&images->dst, dst);
    if (status >= 0)
        status = core_image_cover(&images->dstMask, dstMask);
    if (status < 0)
        core_images_release(images);
    return status;
}

void core_images_release(core_images* images)
{
    qimg_image_destruct(&images->src);
    qimg_image_destruct(&images->mask);
    qimg_image_destruct(&images->dst);
    qimg_image_destruct(&images->dstMask);
}
