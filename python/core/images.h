/* Windows as images, for the functions of the library that take images, with the four of a call
 * together. */
#ifndef CORE_IMAGES_H
#define CORE_IMAGES_H

#include <qbase/image.h>

typedef struct core_images {
    qimg_image src, mask, dst, dstMask;
} core_images;

/* Lays an unbound image over a window's pixels; a null window leaves it unbound. Result: a status. */
qsys_status core_image_cover(qimg_image* image, const qimg_window* window);

/* All four, of which any may be null. */
qsys_status core_images_cover(core_images* images, const qimg_window* src, const qimg_window* mask,
                              const qimg_window* dst, const qimg_window* dstMask);
void core_images_release(core_images* images);

#endif
