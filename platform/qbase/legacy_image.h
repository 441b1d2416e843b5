/* qbase/legacy_image.h - the legacy images: handles to a record with region, client coordinates and client
 * z-scale.
 *
 * One record serves both depths; qsImage stands for 8-bit images, qsUSImage for 16-bit ones, qsVImage for
 * either. A legacy image made here owns its pixels; one made by a bridge function views the pixels of an
 * image or a window, which must outlive it. Both are released with qsImageFree.
 *
 * Functions that take an image return null, 0, 0.0 or the null region for a null pointer, and do nothing
 * when they set something. One image belongs to one thread at a time. */
#ifndef QBASE_LEGACY_IMAGE_H
#define QBASE_LEGACY_IMAGE_H

#include <qbase/image.h>

QBASE_BEGIN_DECLS

/* Types of legacy images. */
#define QS_IMAGE_TYPE_8  0
#define QS_IMAGE_TYPE_16 8

typedef struct qsVImage {
    int32_t type;      /* QS_IMAGE_TYPE_8 or QS_IMAGE_TYPE_16 */
    int32_t rowStride; /* bytes from a row to the next, may be negative */
    qsIRegion region;
    void* firstPixel;      /* pixel (region.x, region.y) */
    qsFXform clientCoords; /* image-from-client, single precision; identity at first */
    float clientZScale;    /* 1.0f at first */
    void* memory;          /* the block that the image owns, null in a view */
} qsVImage;

typedef qsVImage qsImage;
typedef qsVImage qsUSImage;

/* The null images of the two types: null region, no pixels. Prototypes for qsVImageCreateReg. Not to be
 * modified or freed. */
extern QBASE_API const qsImage* const qsImageNull;
extern QBASE_API const qsUSImage* const qsUSImageNull;

/* ---- making and releasing ---- */

/* A new zeroed image of the prototype's type over a region; null when memory is short, when a pointer is
 * null or when the size does not fit. A null region gives an image without pixels. */
QBASE_API qsVImage* qsVImageCreateReg(const qsVImage* prototype, const qsIRegion* region);

/* A new zeroed 8-bit image over (0, 0, width, height), or null. */
QBASE_API qsImage* qsImageCreate(int32_t width, int32_t height);

/* Releases an image of any type; null is accepted, and so are the null images (nothing happens). */
QBASE_API void qsImageFree(qsVImage* image);

/* Moves the region so that it starts at (x, y); the pixels stay. Nothing happens when the last pixel would
 * not fit 32 bits. */
QBASE_API void qsImageMoveTo(qsImage* image, int32_t x, int32_t y);

/* Copies the pixels that both regions cover, each to its own coordinates; both images must be 8-bit and
 * have pixels, or nothing happens. */
QBASE_API void qsImageCopy(const qsImage* src, qsImage* dst);

/* ---- bridges: views of the same pixels ---- */

/* A legacy view of an image (client coordinates: the image's image-from-client transform in single
 * precision; the identity when that is not linear) or of a window (client coordinates: identity). The view
 * may be written through when the caller may write to the pixels.
 * Errors:  QSYS_E_ARGUMENT, QIMG_E_UNBOUND, QIMG_E_PIXEL_SIZE, QIMG_E_UNBOUND (a window that is not null
 *          whose firstPixel is), QIMG_E_ALIGNMENT (16-bit pixels, an odd firstPixel or stride),
 *          QSYS_E_MEMORY; *out is null then. */
QBASE_API qsys_status generate_qsImage_from_qimg_image8Const(const qimg_image8* image, qsImage** out);
QBASE_API qsys_status generate_qsUSImage_from_qimg_image16Const(const qimg_image16* image, qsUSImage** out);
QBASE_API qsys_status generate_qsImage_from_qimg_windowConst(const qimg_windowConst* window, qsImage** out);
QBASE_API qsys_status generate_qsUSImage_from_qimg_windowConst(const qimg_windowConst* window,
                                                               qsUSImage** out);

/* ---- asking ---- */

QBASE_API int32_t qsVImageType(const qsVImage* image);
QBASE_API qsIRegion qsImageRegion(const qsImage* image);
QBASE_API qsIRegion qsVImageRegion(const qsVImage* image);
QBASE_API int32_t qsImageWidth(const qsImage* image);
QBASE_API int32_t qsImageHeight(const qsImage* image);

/* The image itself when it is of that type, else null. */
QBASE_API qsImage* qsImageVirt(qsVImage* image);
QBASE_API qsUSImage* qsUSImageVirt(qsVImage* image);

/* The address of the pixel at (x, y) in image coordinates, for any x and y; following it is up to the
 * caller, who keeps within the region. Null when the image has no pixels or is of the other type. */
QBASE_API uint8_t* qsImagePixAddr(const qsImage* image, int32_t x, int32_t y);
QBASE_API uint16_t* qsUSImagePixAddr(const qsUSImage* image, int32_t x, int32_t y);

/* ---- client coordinates and z-scale ---- */

QBASE_API qsFXform qsImageClientCoords(const qsImage* image);
QBASE_API void qsImageSetClientCoords(qsImage* image, const qsFXform* coords);
QBASE_API qsFXform qsVImageClientCoords(const qsVImage* image);
QBASE_API void qsVImageSetClientCoords(qsVImage* image, const qsFXform* coords);
QBASE_API float qsImageClientZScale(const qsImage* image);
QBASE_API void qsVImageSetClientZScale(qsVImage* image, float scale);

QBASE_END_DECLS

#endif
