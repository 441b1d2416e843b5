/* qip/half_resolution.h - smoothing with the binomial kernel 1 4 6 4 1, with every second pixel kept or at
 * full resolution, masked or not.
 *
 * Kernel weights w = 1 4 6 4 1 apply at offsets -2 .. +2; beyond the border the edge pixel is repeated.
 * clamp(i) below is that rule. All shifts round towards minus infinity.
 *
 *     two directions (gauss2):   sum over both axes of w w p, (sum + 128) >> 8, kept at every second column
 *                                and row: destination (i, k) is centred on column 2 i and row 2 k of the
 *                                source window
 *     one direction (gauss2X):   (sum over columns of w p + 8) >> 4, kept at every second column
 *     one direction (gauss2Y):   (sum over rows of w p + 8) >> 4, kept at every second row
 *     not sampled (NoSample):    the same three filters at full resolution, in several passes
 *
 * Masked forms weight every source pixel p by its mask pixel m (0 to 255, a weight): with
 * N = sum of w m p and W = sum of w m the pixel is (N + (W >> 1)) / W, 0 when W is 0, and the destination
 * mask is (W + 128) >> 8 in two directions, (W + 8) >> 4 in one.
 *
 * Source and destination have the same depth. Every path of this family gives these pixels and masks, bit
 * for bit, at every processor level.
 *
 * Common to all smoothing functions below:
 * Errors:  QSYS_E_ARGUMENT: a required pointer is null (all but those said to be optional).
 *          QIMG_E_PIXEL_SIZE: an image or a window has pixels of another depth. QIMG_E_UNBOUND: a mask has
 *          no pixels. QIMG_E_ALIGNMENT: 16-bit pixels at an odd address or an odd stride.
 *          QIMG_E_OUTSIDE: an image or a window does not cover the part that the call needs of
 *          it. Any failure of a base service (memory, attention handler, ...) is returned as it is.
 *          A source without pixels, unbound or empty, is no error: it yields an empty destination. (The
 *          unmasked smoothing of qip/smoothing.h refuses an unbound source with QIP_E_NULL_IMAGE.)
 *          After an error the transform of the destination is unchanged. Arguments are refused before
 *          anything is bound or written; after a failure of a base service an unbound destination or mask
 *          may have been bound, and pixels may have been written.
 * Polls:   the attention handler is asked before every 64th source row of a pass. gauss2X and gauss2Y,
 *          masked or not, write nothing before they have asked for the last time: the polls of the last
 *          rows, 2^24 source pixels at most (64 rows at least), come together before the first pixel is
 *          written. A larger image is polled in time, while its first rows go to memory of the library's
 *          own.
 * Overlap: a destination must not share pixels with a source or a mask; what is written is otherwise
 *          unspecified (no memory outside the windows is ever touched).
 * Threads: callable from any thread, at once for different destinations.
 * Bands:   a call runs on the calling thread, unless qsys_jobs_setSplitting (qbase/jobs.h) says that large
 *          ones share their rows among threads, in bands. Pixels, masks, transforms and statuses are those
 *          of one thread. Memory for the bands of a pass is taken before the first one runs, so that a
 *          failure leaves the destination as a call on one thread does. A band polls before the same rows
 *          as the call would, on the thread that runs it, and asks the handler of the calling thread;
 *          gauss2X and gauss2Y poll for their last rows on the calling thread. What a band has written
 *          before it is stopped stays written, and the result is the first negative status from the top.
 *          Each of several passes is split by itself; counts of 0, a copy, are not.
 * Memory:  a few rows for each band. gauss2X and gauss2Y take up to one image of the source's size besides,
 *          and one mask of that size when a dstMask is given. Several passes take one image of the size
 *          that is written; masked ones take a mask besides, and without a dstMask two from three passes
 *          on. */
#ifndef QIP_HALF_RESOLUTION_H
#define QIP_HALF_RESOLUTION_H

#include <qip/status.h>

#include <qbase/image.h>

QIP_BEGIN_DECLS

/* ---- destination rectangles ---- */

/* The full destination rectangle of a source rectangle: origin and size halved separately in a sampled
 * direction (origin rounded towards minus infinity, a negative size counts as 0), unchanged in the other.
 * The pass counts of NoSample are not looked at.
 * Result:  0. Errors: QSYS_E_ARGUMENT: a pointer is null. src and dst may be the same record. */
QIP_API qip_status qip_gauss2GetDestRect(const qstd_rect32* src, qstd_rect32* dst);
QIP_API qip_status qip_gauss2XGetDestRect(const qstd_rect32* src, qstd_rect32* dst);
QIP_API qip_status qip_gauss2YGetDestRect(const qstd_rect32* src, qstd_rect32* dst);
QIP_API qip_status qip_gauss2NoSampleGetDestRect(const qstd_rect32* src, int32_t passesX, int32_t passesY,
                                                 qstd_rect32* dst);

/* ---- half resolution, image forms ---- */

/* Destination: an unbound one is bound to the full destination rectangle D of the source (which may be
 * null). A bound one is written where its rectangle meets D. When that is less than D, the source is cut to
 * the part under it, which begins at twice its origin in a sampled direction, and borders repeat at the
 * cut; with an odd source origin that part can begin one pixel before the source, and the answer is
 * QIMG_E_OUTSIDE. A bound destination that misses D is left alone, transform included, with status 0.
 * Transform: the destination's client-from-image transform is set so that a point keeps its client
 *          coordinates. */
QIP_API qip_status qip_gauss2_smooth8_8(const qimg_image8* src, qimg_image8* dst);
QIP_API qip_status qip_gauss2X_smooth8_8(const qimg_image8* src, qimg_image8* dst);
QIP_API qip_status qip_gauss2Y_smooth8_8(const qimg_image8* src, qimg_image8* dst);
QIP_API qip_status qip_gauss2_smooth16_16(const qimg_image16* src, qimg_image16* dst);
QIP_API qip_status qip_gauss2X_smooth16_16(const qimg_image16* src, qimg_image16* dst);
QIP_API qip_status qip_gauss2Y_smooth16_16(const qimg_image16* src, qimg_image16* dst);

/* ---- half resolution, window forms ---- */

/* The same on windows. The transforms are client-from-image, optional, and may be the same record: when
 * both are given, dstTransform becomes srcTransform after the map from destination to source pixels, also
 * when the destination misses D. X-only and Y-only window forms exist for 8 bits. */
QIP_API qip_status qip_gauss2_smoothWindow8_8(const qimg_window8Const* srcWin,
                                              const qmath_xformLinear* srcTransform,
                                              const qimg_window8* dstWin, qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2X_smoothWindow8_8(const qimg_window8Const* srcWin,
                                               const qmath_xformLinear* srcTransform,
                                               const qimg_window8* dstWin, qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2Y_smoothWindow8_8(const qimg_window8Const* srcWin,
                                               const qmath_xformLinear* srcTransform,
                                               const qimg_window8* dstWin, qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2_smoothWindow16_16(const qimg_window16Const* srcWin,
                                                const qmath_xformLinear* srcTransform,
                                                const qimg_window16* dstWin,
                                                qmath_xformLinear* dstTransform);

/* ---- half resolution, masked ---- */

/* The mask covers at least the part of the source that is used. dstMask is optional; an unbound one is
 * bound to the rectangle written, a bound one must cover it. */
QIP_API qip_status qip_gauss2_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                              qimg_image8* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2X_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                               qimg_image8* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2Y_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                               qimg_image8* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                qimg_image16* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2X_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                 qimg_image16* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2Y_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                 qimg_image16* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss2_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                    const qimg_window8Const* srcMaskWin,
                                                    const qmath_xformLinear* srcTransform,
                                                    const qimg_window8* dstWin,
                                                    const qimg_window8* dstMaskWin,
                                                    qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2X_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                     const qimg_window8Const* srcMaskWin,
                                                     const qmath_xformLinear* srcTransform,
                                                     const qimg_window8* dstWin,
                                                     const qimg_window8* dstMaskWin,
                                                     qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2Y_smoothMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                     const qimg_window8Const* srcMaskWin,
                                                     const qmath_xformLinear* srcTransform,
                                                     const qimg_window8* dstWin,
                                                     const qimg_window8* dstMaskWin,
                                                     qmath_xformLinear* dstTransform);
QIP_API qip_status qip_gauss2_smoothMaskedWindow16_16(const qimg_window16Const* srcWin,
                                                      const qimg_window8Const* srcMaskWin,
                                                      const qmath_xformLinear* srcTransform,
                                                      const qimg_window16* dstWin,
                                                      const qimg_window8* dstMaskWin,
                                                      qmath_xformLinear* dstTransform);

/* ---- full resolution ---- */

/* Passes: a count of 2 is one five-tap pass in that direction, 4 two, 0 none; (0, 0) copies. Passes in both
 * directions run first. For even counts of 0 and above the destination holds the result. Other counts are
 * taken literally: the passes alternate between the destination and a temporary image, and with counts of
 * different parity the destination holds the pass before the last, or nothing; negative counts are no
 * pass.
 * Destination: an unbound image is bound to the source's rectangle; otherwise the filter runs over the
 *          common rectangle, whose borders are repeated.
 * Transform: the image forms copy the source's transforms, also when the rectangles do not meet.
 * Masks:   as above; without a dstMask the mask of the passes is dropped. */
QIP_API qip_status qip_gauss2_smoothNoSample8_8(const qimg_image8* src, qimg_image8* dst, int32_t passesX,
                                                int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSample16_16(const qimg_image16* src, qimg_image16* dst,
                                                  int32_t passesX, int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleWindow8_8(const qimg_window8Const* srcWin,
                                                      const qimg_window8* dstWin, int32_t passesX,
                                                      int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleWindow16_16(const qimg_window16Const* srcWin,
                                                        const qimg_window16* dstWin, int32_t passesX,
                                                        int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                                      qimg_image8* dst, qimg_image8* dstMask,
                                                      int32_t passesX, int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                                        qimg_image16* dst, qimg_image8* dstMask,
                                                        int32_t passesX, int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleMaskedWindow8_8(const qimg_window8Const* srcWin,
                                                            const qimg_window8Const* srcMaskWin,
                                                            const qimg_window8* dstWin,
                                                            const qimg_window8* dstMaskWin, int32_t passesX,
                                                            int32_t passesY);
QIP_API qip_status qip_gauss2_smoothNoSampleMaskedWindow16_16(const qimg_window16Const* srcWin,
                                                              const qimg_window8Const* srcMaskWin,
                                                              const qimg_window16* dstWin,
                                                              const qimg_window8* dstMaskWin,
                                                              int32_t passesX, int32_t passesY);

QIP_END_DECLS

#endif
