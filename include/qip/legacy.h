/* qip/legacy.h - the older interface: legacy images and regions, no parameter record, no status.
 *
 * Functions that return a pointer return null when memory is short or a required pointer is null. */
#ifndef QIP_LEGACY_H
#define QIP_LEGACY_H

#include <qip/smoothing.h>

QIP_BEGIN_DECLS

/* Smooths an 8-bit legacy image with `passesMinusOne` + 1 = P box passes per axis, of widths
 * kernelSizeX + 1 and kernelSizeY + 1, without sampling. Only pixels whose kernel lies inside the source
 * are computed.
 * Result:  dst, or (dst null) a new image that the caller frees with qsImageFree. With S the weighted sum
 *          around the pixel itself (weight j applies at offset j - (P * k) / 2): trunc(S / norm), low 8
 *          bits stored. norm = (nX * nY)^P, or with peakNormalize non-zero the product of the two kernels'
 *          weights at offset 0.
 * Region:  a given dst is written where it meets the computable pixels; a new one covers those of `region`
 *          (all when that is null). `region`, when given, receives the region computed. A source smaller
 *          than the kernel computes nothing (a new image is then empty).
 * Copies:  P * kernelSizeX and P * kernelSizeY both 0 (P <= 0 counts as no pass): dst when it is src, else
 *          the source copied over the common region, client coordinates left alone.
 * Aliasing: dst may be src. Any other overlap of their pixels is undefined.
 * Client coordinates: dst gets the source's, moved by -0.5 in an axis where P is odd and the box width
 *          even.
 * Errors:  null: src is null or not 8-bit, dst is not 8-bit, firstPixel of src or dst is null and its
 *          region is not, the region of src does not fit 32 bits, a kernel size is negative, memory is
 *          short. dst is then untouched. */
QIP_API qsImage* qfGauss(qsImage* src, qsImage* dst, int32_t passesMinusOne, int32_t kernelSizeX,
                         int32_t kernelSizeY, int32_t peakNormalize, qsIRegion* region);

/* 1 when the record asks for no work: sampling 1, kernel sizes 0, gain 1 (or not a number), 8-bit
 * prototype. Else, and for a null pointer, 0. */
QIP_API int32_t qfGaussNullParams(const qsGaussParams* params);

/* The record that asks for no work: 1, 1, 0, 0, 0, 0, 0, 1.0f, qsImageNull, 0. One static record, not to be
 * modified. */
QIP_API const qsGaussParams* qsGaussParamsNull(void);

/* The destination region of a source region: all i whose sampled source position c(i) lies inside, with
 * sampling factors sx, sy and box widths nx, ny (kernel size + 1).
 * Result:  dst; null when a pointer is null. A region that does not fit 32 bits becomes null. */
QIP_API qsIRegion* qfGaussGetDstReg(const qsIRegion* src, qsIRegion* dst, int32_t sx, int32_t sy,
                                    int32_t nx, int32_t ny);

/* The source region from the first to the last sampled position of a destination region. Result as for
 * qfGaussGetDstReg. */
QIP_API qsIRegion* qfGaussGetDummyReg(const qsIRegion* dst, qsIRegion* dummy, int32_t sx, int32_t sy,
                                      int32_t nx, int32_t ny);

QIP_END_DECLS

#endif
