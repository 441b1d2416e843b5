/* qbase/rect.h - rectangles of pixels, in both of the toolkit's forms.
 *
 * A rectangle covers the pixels x .. x + width - 1 and y .. y + height - 1. One with width <= 0 or
 * height <= 0 covers none: it is null, and null rectangles are equal to each other whatever their
 * numbers. All arithmetic is in 64 bits; a result whose origin, size or last pixel does not fit 32 bits
 * is a status (QSYS_E_RANGE) in the functions that return one and the null rectangle (0, 0, 0, 0) in
 * those that do not. Every function accepts the same record as input and output. Callable from any
 * thread. */
#ifndef QBASE_RECT_H
#define QBASE_RECT_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

typedef struct qstd_rect32 {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
} qstd_rect32;

/* Fills a rectangle. Sizes of 0 and below are stored as they stand.
 * Errors:  QSYS_E_ARGUMENT (rect is null); QSYS_E_RANGE, with *rect untouched. */
QBASE_API qsys_status qstd_rect32_init(qstd_rect32* rect, int64_t x, int64_t y, int64_t width,
                                       int64_t height);

/* *isNull = 1 when the rectangle covers no pixel, else 0. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qstd_rect32_getIsNull(const qstd_rect32* rect, int* isNull);

/* a becomes the intersection of a and b; the null rectangle (0, 0, 0, 0) when they do not meet.
 * Errors:  QSYS_E_ARGUMENT. */
QBASE_API qsys_status qstd_rect32_intersect(qstd_rect32* a, const qstd_rect32* b);

/* *equal = 1 when both cover the same pixels (two null rectangles do), else 0. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qstd_rect32_compareEqual(const qstd_rect32* a, const qstd_rect32* b, int* equal);

/* The older form of the same record, used with the legacy images. */
typedef struct qsIRegion {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
} qsIRegion;

/* The null region (0, 0, 0, 0). */
extern QBASE_API const qsIRegion qsIRegionNull;

/* The functions below return `out`, filled; null when a pointer is null (nothing is written then). */

/* The region with these numbers. */
QBASE_API qsIRegion* qsIRegionCT(int64_t x, int64_t y, int64_t width, int64_t height, qsIRegion* out);

/* The positions p for which the kernel shifted by p lies inside the region: x = region.x - kernel.x,
 * width = region.width - kernel.width + 1, the same in y. Null when there is none, or when an input is
 * null. */
QBASE_API qsIRegion* qsIRegionErode(const qsIRegion* region, const qsIRegion* kernel, qsIRegion* out);

/* The union of the kernel shifted to every position of the region: x = region.x + kernel.x, width =
 * region.width + kernel.width - 1. Null when an input is null. */
QBASE_API qsIRegion* qsIRegionDilate(const qsIRegion* region, const qsIRegion* kernel, qsIRegion* out);

/* The pixels that both cover. */
QBASE_API qsIRegion* qsIRegionIntersect(const qsIRegion* a, const qsIRegion* b, qsIRegion* out);

/* Non-zero when every pixel of inner lies in outer (so always for a null inner); 0 when a pointer is
 * null. */
QBASE_API int qsIRegionContains(const qsIRegion* outer, const qsIRegion* inner);

/* Non-zero when the region covers no pixel or the pointer is null. */
QBASE_API int qsIRegionIsNull(const qsIRegion* region);

QBASE_END_DECLS

#endif
