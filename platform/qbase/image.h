/* qbase/image.h - images: a shared pixel buffer, a rectangle, and two transforms.
 *
 * A record filled with zeros is an unbound image with identity transforms, ready for use:
 *
 *     qimg_image image = QIMG_IMAGE_UNBOUND;
 *     ...
 *     qimg_image_destruct(&image);
 *
 * Pixel buffers are counted references: several images may share one, also across threads, and the last
 * one releases it. One image record belongs to one thread at a time. Rows of buffers made here begin on
 * 64-byte boundaries and new pixels are zero. The distance of the rows is the image's stride, which may be
 * more than a row rounded up to 64 bytes; nothing else can be relied on. An image bound to a null rectangle
 * is bound and has no pixels.
 *
 * The image-from-client transform maps client (world) coordinates to pixel coordinates of the image; the
 * client-from-image transform is always its inverse. Setting one sets the other.
 *
 * Every function returns QSYS_E_ARGUMENT for a required pointer that is null. After any error the image
 * is unchanged (a construct function leaves it unbound). */
#ifndef QBASE_IMAGE_H
#define QBASE_IMAGE_H

#include <qbase/window.h>
#include <qbase/xform.h>

QBASE_BEGIN_DECLS

typedef struct qimg_image {
    struct qimg_buffer* buffer; /* null while unbound */
    void* firstPixel;           /* pixel (rect.x, rect.y) */
    qstd_rect32 rect;
    int32_t stride;
    int32_t pixelSize; /* 1 or 2; 0 while unbound */
    qmath_xformPtrhConst imageFromClient;
    qmath_xformPtrhConst clientFromImage;
} qimg_image;

typedef qimg_image qimg_image8;
typedef qimg_image qimg_image16;

#define QIMG_IMAGE_UNBOUND                                                                                 \
    {                                                                                                      \
        0, 0, {0, 0, 0, 0}, 0, 0, {0},                                                                     \
        {                                                                                                  \
            0                                                                                              \
        }                                                                                                  \
    }

/* ---- making and releasing ---- */

/* Construct functions treat the record as raw memory: what it held before is not released. The rectangle
 * is at (0, 0) in the forms that take a size. pixelSize is 1 or 2.
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_RANGE (a size negative, a row or the rectangle beyond 32 bits),
 *          QSYS_E_MEMORY. */
QBASE_API qsys_status qimg_image_constructUnbound(qimg_image* image);
QBASE_API qsys_status qimg_image8_construct(qimg_image8* image, int32_t width, int32_t height);
QBASE_API qsys_status qimg_image16_construct(qimg_image16* image, int32_t width, int32_t height);
QBASE_API qsys_status qimg_image_constructUntyped(qimg_image* image, int32_t pixelSize, int32_t width,
                                                  int32_t height);
QBASE_API qsys_status qimg_image8_constructRect(qimg_image8* image, const qstd_rect32* rect);
QBASE_API qsys_status qimg_image_constructRectUntyped(qimg_image* image, int32_t pixelSize,
                                                      const qstd_rect32* rect);

/* Called once, when the last image that refers to the memory is released. */
typedef void (*qimg_releaseFunction)(void* context, void* firstPixel);

/* Lays an image over memory of the caller, without a copy: firstPixel is the pixel (rect.x, rect.y),
 * stride the distance of the rows in bytes (may be negative). `release` may be null; the memory must then
 * outlive every image that refers to it.
 * Errors:  those of qimg_window_initMemory, QSYS_E_MEMORY; `release` is not called then. */
QBASE_API qsys_status qimg_image_constructMemory(qimg_image* image, int32_t pixelSize,
                                                 const qstd_rect32* rect, int32_t stride, void* firstPixel,
                                                 qimg_releaseFunction release, void* context);

/* Lets go of pixels and transforms; the image is unbound afterwards, and may be used or destructed again.
 * Always returns 0; null is accepted. */
QBASE_API qsys_status qimg_image_destruct(qimg_image* image);

/* ---- binding ---- */

/* Binds the image to a new zeroed buffer over `rect`, which may be null (the image is then bound and
 * empty; negative sizes count as 0). What it was bound to is let go; the transforms stay.
 * Errors:  as for the construct functions. */
QBASE_API qsys_status qimg_image_assignNewRect(qimg_image* image, int32_t pixelSize,
                                               const qstd_rect32* rect);
QBASE_API qsys_status qimg_image8_assignNewRect(qimg_image8* image, const qstd_rect32* rect);
QBASE_API qsys_status qimg_image16_assignNewRect(qimg_image16* image, const qstd_rect32* rect);

/* Makes dst refer to the pixels and the rectangle of src; its transforms stay. src may be released
 * afterwards. dst may be src. */
QBASE_API qsys_status qimg_image_assign(qimg_image* dst, const qimg_image* src);

/* Moves the image's rectangle so that it starts at (x, y); the pixels stay.
 * Errors:  QIMG_E_UNBOUND, QSYS_E_RANGE (the last pixel would not fit 32 bits). */
QBASE_API qsys_status qimg_image_setOrigin(qimg_image* image, int32_t x, int32_t y);

/* ---- asking ---- */

/* *isBound = 1 or 0. */
QBASE_API qsys_status qimg_image_getIsBound(const qimg_image* image, int* isBound);
QBASE_API qsys_status qimg_imageConst_getIsBound(const qimg_image* image, int* isBound);

/* The image's rectangle; the null rectangle while it is unbound. */
QBASE_API qsys_status qimg_image_getWindow(const qimg_image* image, qstd_rect32* rect);
QBASE_API qsys_status qimg_imageConst_getWindow(const qimg_image* image, qstd_rect32* rect);
QBASE_API qsys_status qimg_image8Const_getWindow(const qimg_image8* image, qstd_rect32* rect);

/* ---- transforms ---- */

/* The handle given must be constructed; it shares the image's transform afterwards. */
QBASE_API qsys_status qimg_imageConst_getImageFromClientXform(const qimg_image* image,
                                                              qmath_xformPtrhConst* xform);
QBASE_API qsys_status qimg_imageConst_getClientFromImageXform(const qimg_image* image,
                                                              qmath_xformPtrhConst* xform);

/* Sets one transform and, as its inverse, the other. Errors: QMATH_E_SINGULAR, QSYS_E_MEMORY. */
QBASE_API qsys_status qimg_image_setImageFromClientXform(qimg_image* image,
                                                         const qmath_xformPtrhConst* xform);
QBASE_API qsys_status qimg_image_setLinearImageFromClientXform(qimg_image* image,
                                                               const qmath_xformLinear* xform);
QBASE_API qsys_status qimg_image_setClientFromImageXform(qimg_image* image,
                                                         const qmath_xformPtrhConst* xform);

/* dst gets both transforms of src. dst may be src. */
QBASE_API qsys_status qimg_image_copyXforms(qimg_image* dst, const qimg_image* src);

QBASE_END_DECLS

#endif
