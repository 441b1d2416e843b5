/* qip/masked.h - smoothing in which a mask excludes pixels, and the mask of pixels that can be trusted.
 *
 * The filter is that of qip/smoothing.h, the cube of a box in each axis, as a normalised convolution. With
 * K the product of the weights of both axes, m = 1 where the source mask is not 0 and 0 elsewhere, each
 * destination pixel, centred on the source pixel (cX(x), cY(y)), is made of
 *
 *     S = sum of K m source     W = sum of K m     N = (nX * nY)^3, which W is when no pixel is masked out
 *     C = sum of m over the A = (3 kernelSizeX + 1) * (3 kernelSizeY + 1) pixels under the kernel
 *
 * Beyond the border, source and mask are reflected with the edge repeated; beyond one reflection both are
 * 0, so that such pixels are normalised by what is left.
 *
 * Valid or reset. A pixel is valid
 *     with resultMode 0   when the source mask at its centre is not 0
 *     with resultMode 1   when C >= T, T = trunc(A * threshold + 0.5), or 1 where that is 0
 * and, where there is a mask that resets, when that is not 0 at its centre. The mask that resets is
 * resetMask; without one it is the source mask itself, unless `mode` is 1. So `mode` shows with resultMode
 * 1 alone: with mode 0 masked-out pixels keep their source value, with mode 1 they are filled from valid
 * neighbours wherever there are enough. A valid pixel is smoothed and has 255 in the destination mask; any
 * other is reset: it is the source pixel p at its centre times the gain, and has 0 in the destination mask.
 *
 * The pixel, in fixed point, with gain16 = trunc(gain * 65536); divisions drop the remainder:
 *     reset             (p * gain16) >> 16                 rounding: (p * gain16 + 32768) >> 16
 *     valid, W < N      ((S * gain16) >> 16) / W           rounding: (((S * gain16) >> 16) + (W >> 1)) / W
 *     valid, W = N      ((S >> s1) * M) >> s2              rounding: ((S >> s1) * M + R) >> s2
 * With a gain of exactly 1 the steps with gain16 fall away. M, s1, s2 and R are gain / N as a multiplier of
 * 15 bits (20 for 16-bit sources, and for kernel sizes above 15), so flat areas may come out one lower than
 * they are. There is no clamping: the low 8 or 16 bits are stored, so results above the range wrap.
 *
 * The pixel, in double precision and with clamping to the range of the destination, r being 0.5 with
 * rounding and 0 without: trunc(S * gain / W + r), and trunc(p * gain + r) for a reset pixel. This serves
 * gains that are a power of two, from 2 on (to within 0.000001); sources or bands of rows with fewer than 9
 * sampleX columns or 9 sampleY rows; and everything at the processor levels "plain" and "neon" and where
 * the application forbids optimised code (qbase/inhibit.h) for "gauss_smoothMaskedWindow8_8",
 * "gauss_smoothMaskedWindow8_16" or "gauss_smoothMaskedWindow16_16".
 *
 * The destination mask does not depend on any of this. docs/arithmetic.md has the table.
 *
 * Threads: a call splits its rows into bands and runs them on the threads of the job service
 *          (qbase/jobs.h), as many as qsys_jobs_getThreadCount says, when its source has more than 16384
 *          pixels and its kernel leaves room for it; inside a job it does not. A short last band may be one
 *          that takes double precision. Callable from any thread, at once for different destinations.
 * Polls:   each band asks the attention handler of the calling thread before its 1st, 65th, 129th ...
 *          destination row, on the thread that runs the band.
 * Memory:  some rows for each thread. */
#ifndef QIP_MASKED_H
#define QIP_MASKED_H

#include <qip/params.h>

#include <qbase/image.h>

QIP_BEGIN_DECLS

/* ---- image forms ---- */

/* Smooths an image into an image.
 * Masks:   srcMask and resetMask are optional: null or unbound, they count as absent. Bound, they have the
 *          source's rectangle. Without a source mask every pixel counts, and the call is the smoothing of
 *          qip/smoothing.h (to 8 or 16 bits) or, 16_16, the double precision above; then pixels where the
 *          reset mask is 0 become min(trunc(p * gain + r), 255 or 65535), p itself with a gain of 1.
 *          dstMask is optional; without a source mask it receives the reset mask's values at the centres,
 *          as they are, or 255 everywhere.
 * Destination: an unbound one is bound to the rectangle that the source yields: all i with c(i) inside the
 *          source; dstMask must be unbound then and is bound to the same. A bound one is written where its
 *          rectangle meets that one, and pixels elsewhere stay, in dstMask too, which must be bound to the
 *          rectangle of dst. When there is nothing to write, the call succeeds, and the pixels and
 *          transforms of what was bound before stay.
 * Transform: that of the destination and of dstMask is set as gauss_udpateDstXform (qip/smoothing.h) does.
 * Overlap: dst must not share pixels with src, srcMask or resetMask, nor dstMask with any of the others:
 *          QIP_E_PEL_OVERLAP, QIP_E_SAME_MEMORY where the first pixels are the same.
 * Errors:  in this order: QSYS_E_ARGUMENT: src, dst or params is null. The codes of
 *          qip_gaussParams_validate. QIP_E_KERNEL_SIZE: a kernel size above qip_gaussParamsGetMaxSigma, for
 *          16_16 qip_gaussParamsGetMaxSigma16. QIP_E_NULL_IMAGE: the source is unbound.
 *          QIP_E_MASK_MISMATCH: a mask has another rectangle than its image, or dstMask is bound and dst is
 *          not, or the other way round. Those of the overlap. Before or after these two: QIMG_E_PIXEL_SIZE:
 *          an image has pixels of another depth; QSYS_E_RANGE: a rectangle that the call has to form does
 *          not fit 32 bits. Any failure of a base service (memory, jobs, attention handler, ...) is
 *          returned as it is. Before all of these checks have passed no pixel is written. After a failure
 *          of a base service dst and dstMask may have been bound, both of them, and may be partly
 *          written. */
QIP_API qip_status qip_gauss_smoothMasked8_8(const qimg_image8* src, const qimg_image8* srcMask,
                                             const qimg_image8* resetMask, const qip_gaussParams* params,
                                             qimg_image8* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss_smoothMasked8_16(const qimg_image8* src, const qimg_image8* srcMask,
                                              const qimg_image8* resetMask, const qip_gaussParams* params,
                                              qimg_image16* dst, qimg_image8* dstMask);
QIP_API qip_status qip_gauss_smoothMasked16_16(const qimg_image16* src, const qimg_image8* srcMask,
                                               const qimg_image8* resetMask, const qip_gaussParams* params,
                                               qimg_image16* dst, qimg_image8* dstMask);

/* ---- window forms ---- */

/* The same on windows, whose origins (x, y) count. Null mask windows count as absent.
 * Errors:  as above; QIP_E_NULL_IMAGE: src or dst is a null window (qbase/window.h). QIMG_E_UNBOUND: the
 *          firstPixel of a window that is not null is. QIMG_E_ALIGNMENT: 16-bit pixels at
 *          an odd address or an odd stride. */
QIP_API qip_status qip_gauss_smoothMaskedWindow8_8(const qimg_window8Const* src,
                                                   const qimg_window8Const* srcMask,
                                                   const qimg_window8Const* resetMask,
                                                   const qip_gaussParams* params, const qimg_window8* dst,
                                                   const qimg_window8* dstMask);
QIP_API qip_status qip_gauss_smoothMaskedWindow8_16(const qimg_window8Const* src,
                                                    const qimg_window8Const* srcMask,
                                                    const qimg_window8Const* resetMask,
                                                    const qip_gaussParams* params, const qimg_window16* dst,
                                                    const qimg_window8* dstMask);
QIP_API qip_status qip_gauss_smoothMaskedWindow16_16(const qimg_window16Const* src,
                                                     const qimg_window8Const* srcMask,
                                                     const qimg_window8Const* resetMask,
                                                     const qip_gaussParams* params,
                                                     const qimg_window16* dst, const qimg_window8* dstMask);

/* ---- the mask alone ---- */

/* Where enough of the kernel's footprint is valid, without smoothing anything:
 *     resultMask(x, y) = 255 where C >= T and the centre mask at (cX(x), cY(y)) is not 0, else 0
 * with C and T as above; but here a pixel of srcMask is valid from 128 on.
 * centreMask is optional: null or unbound, it does not clear pixels. One of another rectangle is read as if
 * its first pixel lay over that of srcMask; beyond its size it is 0.
 * kernelSize and sample are those of X, then of Y. Neither these nor the threshold are checked: a sampling
 * factor below 1 or a kernel size below 0 writes nothing and binds nothing. A threshold outside 0 .. 1 is
 * used as it is, so that every C reaches a negative T; one that is not a number counts as 0.
 * Destination: an unbound resultMask is bound to the rectangle that the source yields; a bound one is
 *          written where its rectangle meets that one. The transforms stay.
 * Overlap: allowed; the result is that of separate memory.
 * Errors:  QSYS_E_ARGUMENT: srcMask, kernelSize, sample or resultMask is null. QIP_E_NULL_IMAGE: srcMask is
 *          unbound. QIMG_E_PIXEL_SIZE. QSYS_E_RANGE: the rectangle for an unbound resultMask does not fit
 *          32 bits. Failures of base services. Nothing has changed then, save after an answer of the
 *          attention handler: the rows written before it stay, as does the rectangle.
 * Polls:   before the 1st, 65th, 129th ... source row that comes under the kernel or leaves it; rows that
 *          are reflected count again.
 * Threads: callable from any thread, at once for different destinations.
 * Memory:  some rows, and copies of masks that share memory with resultMask. */
QIP_API qip_status qip_filterMask_computeResultMask_(const qimg_image8* srcMask,
                                                     const qimg_image8* centreMask,
                                                     const int32_t* kernelSize, const int32_t* sample,
                                                     double threshold, qimg_image8* resultMask);

QIP_END_DECLS

#endif
