/* qip/smoothing.h - unmasked smoothing of 8-bit images, and the geometry that goes with it.
 *
 * The filter. In each axis the kernel is the cube of a box of n = kernelSize + 1 pixels: the weights are
 * the coefficients of (1 + z + ... + z^(n-1))^3, their sum is n^3. Destination pixel i is centred, in an
 * axis with sampling factor s, on source pixel
 *
 *     c(i) = i * s + s / 2 + (s & n & 1) - 1        (integer division)
 *
 * and weight j applies to source pixel c(i) - (3 * kernelSize) / 2 + j. With S the weighted sum over both
 * axes and N = (nX * nY)^3 / gain (the gain in single precision), the value is
 *
 *     trunc(S / N)         without rounding
 *     trunc(S / N + 0.5)   with rounding
 *
 * computed in double precision by a multiplication with 1 / N. There is no clamping: the low 8 or 16 bits
 * are stored, so results above the range wrap. Pixels beyond the border are those of a reflection with the
 * edge pixel repeated (-1 reads 0, -2 reads 1); beyond one reflection they are 0. The cost does not grow
 * with the kernel.
 *
 * Paths. These are the values of the reference path, and those of 64-bit ARM processors at every level. On
 * x86 processors with vector instructions other paths serve most requests, and in places they are required
 * to give other values; docs/arithmetic.md says which path serves which request, and fixes the arithmetic
 * of each. In short:
 *     without rounding, where S / N is a whole number, a pixel may be that number or one less; at the
 *         128-bit level, to 8 bits, one more or less wherever S / N is close to a whole number, and to
 *         16 bits a few
 *     with rounding, where S / N is halfway between two whole numbers, a pixel may be either
 *     with a gain other than 1, at the 256-bit level, to 8 bits and with kernel size 1 (sampling up to 3)
 *         or 2 in both axes: the pixel for gain 1 is multiplied and made a whole number a second time, 255
 *         stands for results from 256 to 32767, and 0 for those above
 *     at the 256-bit level a destination of which fewer than 33 columns or rows are to be written has the
 *         values of the reference path, so a part of a picture may differ from the same part of all of it
 * The processor level decides, so machines may differ. To get the same pixels on all of them, call
 * qsys_cpuinfo_limitLevel("plain") (qbase/cpuinfo.h), or set qprt_isOptimizationInhibitedFP
 * (qbase/inhibit.h) to a function that answers 1 for "gauss": every request then takes the reference path,
 * which is slower.
 *
 * Common to the four smoothing functions:
 * Errors:  the codes of qip_gaussParams_validate come first; then those named at the function; any failure
 *          of a base service (memory, attention handler, ...) is returned as it is. QSYS_E_ARGUMENT: a
 *          pointer is null. QIMG_E_PIXEL_SIZE: an image or window has pixels of the other depth.
 *          QSYS_E_RANGE: a rectangle that the call has to form, or that of the source, does not fit 32
 *          bits. After an error of the arguments the destination is untouched. When the attention handler
 *          ends a call, rows already written stay written; an unbound destination may have been bound. The
 *          families differ in what they call an error: here an unbound source image, an unbound window and
 *          an empty window are (QIP_E_NULL_IMAGE), while the functions of half_resolution.h succeed with an
 *          unbound or empty source, which yields nothing. An empty source image is no error in either.
 * Polls:   how often the attention handler is asked depends on the path. Reference: once, then before the
 *          source rows 0, 64, 128, ...; general: the same, counted from the first row that is read; kernel
 *          size 2 to 8 bits: before the 256th, 512th, ... row that is written; kernel size 1 to 8 bits:
 *          before the destination rows with y = 1023, 2047, ...; at the level "sse", truncating with a
 *          gain that is a power of two: never. The window form 8_8 asks once more, at the start.
 * Threads: callable from any thread, at once for different destinations. Memory: a few rows for each band.
 * Bands:   a call runs on the calling thread, unless qsys_jobs_setSplitting (qbase/jobs.h) says that large
 *          ones share their rows among threads, in bands. Pixels, transforms and statuses are those of one
 *          thread. Memory for all bands is taken before the first one runs, so that a failure leaves the
 *          destination as a call on one thread does. A band polls before the same rows as the call would,
 *          on the thread that runs it, and asks the handler of the calling thread. What a band has written
 *          before it is stopped stays written, and the result is the first negative status from the top.
 *          Kernel sizes above 10000 may run on one thread all the same. */
#ifndef QIP_SMOOTHING_H
#define QIP_SMOOTHING_H

#include <qip/params.h>

#include <qbase/image.h>
#include <qbase/legacy_image.h>

QIP_BEGIN_DECLS

/* ---- image forms ---- */

/* Smooths an image into an image.
 * Destination: an unbound one is bound to the rectangle that the source yields: all i with c(i) inside the
 *          source. A bound one is written where its rectangle meets that one; pixels elsewhere stay. When
 *          the source yields nothing (fewer pixels than a sampling step) the call succeeds and an unbound
 *          destination stays unbound. With an odd kernel size and no sampling c(i) is i - 1: a destination
 *          bound over the source's own rectangle keeps its first column (kernelSizeX odd) and its first row
 *          (kernelSizeY odd) as they were.
 * Transform: the destination's image-from-client transform is set so that a point keeps its client
 *          coordinates: (x, y) of the destination is (x * sampleX + oX, y * sampleY + oY) of the source,
 *          with o = -0.5 in an axis where the sampling factor and kernelSize + 1 differ in parity, else 0.
 *          Linear transforms pass through single precision. One that has no inverse there, though it has
 *          one in double precision, is refused before a destination is bound or a pixel is written.
 * Overlap: 8_8 refuses a destination that shares pixels with the source (QIP_E_PEL_OVERLAP) or is the same
 *          memory (QIP_E_SAME_MEMORY).
 * Errors:  QIP_E_NULL_IMAGE: the source is unbound. QMATH_E_SINGULAR: the destination's transform would
 *          have no inverse. */
QIP_API qip_status qip_gauss_smooth8_8(const qimg_image8* src, qimg_image8* dst,
                                       const qip_gaussParams* params);
QIP_API qip_status qip_gauss_smooth8_16(const qimg_image8* src, qimg_image16* dst,
                                        const qip_gaussParams* params);

/* ---- window forms ---- */

/* Smooths a window into a window. The windows' origins (x, y) count: destination pixel (x, y) is computed
 * from source pixels around (cX(x), cY(y)), and written when (cX(x), cY(y)) lies in the source window.
 * Overlap: as for the image forms; 8_16 is not checked, its memories must not overlap.
 * Errors:  after those of the parameters, in this order: QIP_E_NULL_IMAGE: a window is unbound or empty; of
 *          the source, then of the destination, QIMG_E_PIXEL_SIZE, QIMG_E_UNBOUND: firstPixel is null, and
 *          QIMG_E_ALIGNMENT: firstPixel or stride of a 16-bit window is odd; those of the overlap. */
QIP_API qip_status qip_gauss_smoothWindow8_8(const qimg_window8Const* src, const qimg_window8* dst,
                                             const qip_gaussParams* params);
QIP_API qip_status qip_gauss_smoothWindow8_16(const qimg_window8Const* src, const qimg_window16* dst,
                                              const qip_gaussParams* params);

/* ---- legacy records ---- */

/* The legacy form of the parameters, built by the functions above from a qip_gaussParams. */
typedef struct qsGaussParams {
    int32_t sampleX;
    int32_t sampleY;
    int32_t kernelSizeX;
    int32_t kernelSizeY;
    int32_t peakNormalize;  /* non-zero: divide by the product of the central weights instead of N;
                               gain is not used. At the 256-bit level kernel sizes 1 and 2 to 8 bits
                               ignore this */
    int32_t keepFullRegion; /* non-zero: smooth up to the border, by reflection; else only where the
                               kernel fits. Taken as 0 when peakNormalize is set */
    int32_t round;          /* non-zero: round half up; zero: truncate */
    float gain;
    const qsVImage* prototype; /* decides the depth of a destination that has to be created */
    int64_t reserved;          /* 0 */
} qsGaussParams;

/* What every unmasked request passes through: chooses between the fast paths and the reference path.
 * Destination: dst, or (dst null) a new image of the prototype's type over the region requested; the
 *          caller frees it with qsImageFree. Its client coordinates are set as for the image forms, its
 *          client z-scale to the source's times the gain (unless peakNormalize is set).
 * Region:  dstRegion may be null. With dst null it is the region requested, else it is not read; on return
 *          it holds the region written. Only with a dstRegion do fewer than 33 columns or rows lead to the
 *          reference path.
 * Result:  *dstOut receives the destination. A request that reaches no source pixel succeeds and writes
 *          none.
 * Errors:  QSYS_E_ARGUMENT: src, params or dstOut is null, dst and the prototype are both null, the source
 *          is not an 8-bit image. QIP_E_SAMPLING, QIP_E_KERNEL_SIZE: factors < 1, sizes < 0.
 *          QIMG_E_UNBOUND: firstPixel of src or dst is null and its region is not. QIMG_E_ALIGNMENT: a
 *          16-bit dst has an odd firstPixel or stride and its region is not null. QSYS_E_RANGE: the region
 *          of src, or one that the call has to form, does not fit 32 bits. QSYS_E_MEMORY. What the
 *          attention handler answers. A destination created by a call that fails later is released. */
QIP_API qip_status qip_gauss(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                             qsIRegion* dstRegion, qsVImage** dstOut);

/* ---- geometry for callers that split or mask a smoothing ---- */

/* What a masked smoothing of `src` into `dst` touches. Every output is required.
 *     dstEffective   the part of dst whose centres lie in src
 *     needed         all pixels under the kernels of dstEffective, inside src or not
 *     margin         the shifts of (needed within src) that stay inside needed: x and y are minus the
 *                    columns and rows that needed reaches beyond src at the left and the top, width - 1
 *                    and height - 1 those of both sides together; null when needed misses src
 *     srcInside      needed within src
 *     marginClipped  margin, with needed clipped to one reflection of src first
 * Parameters are used as given.
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_RANGE. Outputs before the failing one have been written. */
QIP_API qip_status gauss_setup(const qstd_rect32* src, const qstd_rect32* dst,
                               const qip_gaussParams* params, qstd_rect32* srcInside,
                               qstd_rect32* dstEffective, qstd_rect32* marginClipped, qstd_rect32* margin,
                               qstd_rect32* needed);

/* The source rows of one horizontal band. With y0 = rowOffset + a.y and
 * last = 3 * kernelSizeY + 1 + (band.height - 1) * sampleY:
 *     out1 = (a.x, y0, a.width, min(a.y + a.height, y0 + 1 + last - b.height) - y0)
 *     out2 = (a.x, b.y + y0, a.width, min(b.y + b.height - 1 + a.y + a.height, b.y + y0 + last) - b.y - y0)
 * Errors:  QSYS_E_ARGUMENT, QSYS_E_RANGE. */
QIP_API qip_status gauss_computeSrcRectsFromDstRect(const qip_gaussParams* params, const qstd_rect32* a,
                                                    const qstd_rect32* b, const qstd_rect32* band,
                                                    int32_t rowOffset, qstd_rect32* out1,
                                                    qstd_rect32* out2);

/* The offset of the first sample; always 0. src and params are not looked at.
 * Errors:  QSYS_E_ARGUMENT (offset is null). */
QIP_API qip_status gauss_computeSampleStartOffset(const qimg_windowConst* src,
                                                  const qip_gaussParams* params, int64_t* offset);

/* Whether a mask fits an image: *maskBound = 1 when the mask is bound; *match = 1 when it is not, or when
 * both rectangles are equal. Errors: QSYS_E_ARGUMENT. */
QIP_API qip_status gauss_checkImageWindowMatch(const qimg_image* image, const qimg_image8* mask, int* match,
                                               int* maskBound);

/* The same for windows: *maskPresent = 1 when the mask window is not null; *match = 1 when it is, or when
 * width, height, x and y agree. Errors: QSYS_E_ARGUMENT. */
QIP_API qip_status gauss_checkWindowMatch(const qimg_windowConst* window, const qimg_window8Const* mask,
                                          int* match, int* maskPresent);

/* dst(column, row) = src(start[0] + column * step[0], start[1] + row * step[1]), both counted from the
 * windows' first pixels. An empty or unbound dst is a copy of nothing.
 * Errors:  QSYS_E_ARGUMENT; of dst, then of src, QIMG_E_PIXEL_SIZE and QIMG_E_UNBOUND (firstPixel is null);
 *          QIMG_E_OUTSIDE: a sample lies outside src, or src is unbound. Nothing is written then. */
QIP_API qip_status gauss_pelCopySampledWindow8(const qimg_window8Const* src, const int32_t step[2],
                                               const int32_t start[2], const qimg_window8* dst);

/* Sets the image-from-client transform of dst, and of dst2 when that is given, as the image forms do, in
 * double precision and for non-linear transforms as well.
 * Errors:  QSYS_E_ARGUMENT; QSYS_E_MEMORY; QMATH_E_SINGULAR (a sampling factor is 0, or the source's
 *          transform has no inverse). dst2 may be unchanged when dst is not. */
QIP_API qip_status gauss_udpateDstXform(const qimg_image* src, const qip_gaussParams* params,
                                        qimg_image* dst, qimg_image* dst2);

QIP_END_DECLS

#endif
