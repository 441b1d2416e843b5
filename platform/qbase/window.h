/* qbase/window.h - windows: views onto pixel memory that somebody else keeps alive.
 *
 * Pixel (x, y) of a window, counted from its own first pixel, is at
 * firstPixel + y * stride + x * pixelSize. A window holds nothing and needs no release; it can be copied
 * and filled by hand like any record. A negative stride walks the rows upward. A window is null when it is
 * unbound or empty (its width or its height is 0 or less). Where pixels are needed, a window that is not
 * null but whose firstPixel is null is refused with QIMG_E_UNBOUND, and one of 16-bit pixels whose
 * firstPixel or stride is odd with QIMG_E_ALIGNMENT. Copies of windows (qbase/pixels.h) take these as well.
 *
 * The windows of one pixel size are the same record under a name that says what a function expects;
 * functions that work on one size answer QIMG_E_PIXEL_SIZE for a window of another.
 * Every function returns QSYS_E_ARGUMENT for a null pointer and is callable from any thread. */
#ifndef QBASE_WINDOW_H
#define QBASE_WINDOW_H

#include <qbase/rect.h>

QBASE_BEGIN_DECLS

typedef struct qimg_window {
    int32_t width;     /* pixels in a row */
    int32_t height;    /* rows */
    int32_t stride;    /* bytes from a row to the next, may be negative */
    void* firstPixel;  /* null in an unbound window */
    int32_t bound;     /* non-zero when bound to pixel memory */
    int32_t pixelSize; /* bytes: 1 or 2; 0 in an unbound window */
    int32_t x;         /* the window's origin, in pixels of its image */
    int32_t y;
} qimg_window;

/* The same for reading only. */
typedef struct qimg_windowConst {
    int32_t width;
    int32_t height;
    int32_t stride;
    const void* firstPixel;
    int32_t bound;
    int32_t pixelSize;
    int32_t x;
    int32_t y;
} qimg_windowConst;

typedef qimg_window qimg_window8;
typedef qimg_window qimg_window16;
typedef qimg_windowConst qimg_window8Const;
typedef qimg_windowConst qimg_window16Const;

struct qimg_image;

/* A window over the whole of an image; unbound, with status 0, when the image is. The typed forms accept
 * unbound images of any kind.
 * Errors:  QIMG_E_PIXEL_SIZE (typed forms, a bound image of another pixel size); the window is unbound
 *          then. */
QBASE_API qsys_status qimg_window_init(qimg_window* window, struct qimg_image* image);
QBASE_API qsys_status qimg_window8_init(qimg_window8* window, struct qimg_image* image);
QBASE_API qsys_status qimg_window16_init(qimg_window16* window, struct qimg_image* image);
QBASE_API qsys_status qimg_windowConst_init(qimg_windowConst* window, const struct qimg_image* image);
QBASE_API qsys_status qimg_window8Const_init(qimg_window8Const* window, const struct qimg_image* image);
QBASE_API qsys_status qimg_window16Const_init(qimg_window16Const* window, const struct qimg_image* image);

/* An unbound window: all fields 0. */
QBASE_API qsys_status qimg_window_initUnbound(qimg_window* window);
QBASE_API qsys_status qimg_windowConst_initUnbound(qimg_windowConst* window);

/* A window over the caller's memory: `rect` gives its origin and size, firstPixel the address of the pixel
 * (rect.x, rect.y), stride the distance of the rows in bytes.
 * Errors:  QSYS_E_ARGUMENT (null pointer, pixelSize not 1 or 2, |stride| less than a row while there is
 *          more than one row); QIMG_E_ALIGNMENT (16-bit pixels, and firstPixel or stride is odd);
 *          QSYS_E_RANGE (the rectangle's last pixel does not fit 32 bits). The window is unbound then. */
QBASE_API qsys_status qimg_window_initMemory(qimg_window* window, int32_t pixelSize,
                                             const qstd_rect32* rect, int32_t stride, void* firstPixel);
QBASE_API qsys_status qimg_windowConst_initMemory(qimg_windowConst* window, int32_t pixelSize,
                                                  const qstd_rect32* rect, int32_t stride,
                                                  const void* firstPixel);

/* *isNull = 1 when the window is unbound or has a width or height of 0 or less, else 0. */
QBASE_API qsys_status qimg_window_getIsNull(const qimg_window* window, int* isNull);
QBASE_API qsys_status qimg_windowConst_getIsNull(const qimg_windowConst* window, int* isNull);

/* The window's rectangle in its image's coordinates; the null rectangle for an unbound window. */
QBASE_API qsys_status qimg_window_getWindow(const qimg_window* window, qstd_rect32* rect);
QBASE_API qsys_status qimg_windowConst_getWindow(const qimg_windowConst* window, qstd_rect32* rect);

/* Restricts the window in place to `rect`, which must lie inside it; `flags` must be 0. A null rectangle
 * makes the window empty, with its origin there.
 * Errors:  QSYS_E_ARGUMENT, QIMG_E_UNBOUND (also when firstPixel is null and pixels are left),
 *          QIMG_E_OUTSIDE; the window is then unchanged. */
QBASE_API qsys_status qimg_window_windowRect(qimg_window* window, const qstd_rect32* rect, int32_t flags);
QBASE_API qsys_status qimg_windowConst_windowRect(qimg_windowConst* window, const qstd_rect32* rect,
                                                  int32_t flags);

/* Whether pixels may lie in rows of this stride from this address on: those of 16 bits need both even. */
static inline int qimg_pixels_areAligned(int32_t pixelSize, const void* firstPixel, int32_t stride)
{
    return pixelSize != 2 || ((uintptr_t)firstPixel % 2 == 0 && stride % 2 == 0);
}

/* The read-only view of a window; of an unbound one when the pointer is null. */
static inline qimg_windowConst qimg_window_asConst(const qimg_window* window)
{
    qimg_windowConst view = {0, 0, 0, 0, 0, 0, 0, 0};
    if (window) {
        view.width = window->width;
        view.height = window->height;
        view.stride = window->stride;
        view.firstPixel = window->firstPixel;
        view.bound = window->bound;
        view.pixelSize = window->pixelSize;
        view.x = window->x;
        view.y = window->y;
    }
    return view;
}

QBASE_END_DECLS

#endif
