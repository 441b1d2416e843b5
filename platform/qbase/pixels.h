/* qbase/pixels.h - services on the pixels of windows. Callable from any thread. */
#ifndef QBASE_PIXELS_H
#define QBASE_PIXELS_H

#include <qbase/window.h>

QBASE_BEGIN_DECLS

/* Copies src to dst, row by row. The windows have the same width and height and do not overlap; their
 * origins in their images do not matter. Two null windows are a copy of nothing.
 * Errors:  in this order, with nothing written: QSYS_E_ARGUMENT, QIMG_E_UNBOUND (one window unbound, the
 *          other not null), QIMG_E_PIXEL_SIZE, QIP_E_PEL_SIZE, QIMG_E_UNBOUND (a firstPixel is null). */
QBASE_API qsys_status qip_pelCopyWindow8(const qimg_window8Const* src, const qimg_window8* dst);
QBASE_API qsys_status qip_pelCopyWindow16(const qimg_window16Const* src, const qimg_window16* dst);

/* Sets every pixel to the low eight bits of value. A null window is left alone.
 * Errors:  QSYS_E_ARGUMENT, QIMG_E_PIXEL_SIZE, QIMG_E_UNBOUND (firstPixel is null). */
QBASE_API qsys_status qip_pelSetWindow8(const qimg_window8* window, int32_t value);

/* Decides whether an operation may read one window while it writes the other.
 * Result:  0 when they share no pixel memory, when one of them is null or its firstPixel is, and when they
 *          are the same memory (same first pixel and same stride), which the caller has to judge. Decided
 *          on the bytes of the pixels, not on address ranges: two windows side by side in one image do not
 *          overlap.
 * Errors:  QIP_E_PEL_OVERLAP; QSYS_E_ARGUMENT. */
QBASE_API qsys_status qip_pelfunc_checkMemoryOverlap(const qimg_windowConst* a, const qimg_windowConst* b);

QBASE_END_DECLS

#endif
