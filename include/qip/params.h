/* qip/params.h - the two records that carry every choice about a smoothing, and their functions.
 *
 * Both records own nothing. Fill them with the init function, change the fields that matter, and pass the
 * record by address; the library never keeps the address. Every function returns QSYS_E_ARGUMENT for
 * a null pointer (nothing is written then) and is callable from any thread. */
#ifndef QIP_PARAMS_H
#define QIP_PARAMS_H

#include <qip/status.h>

QIP_BEGIN_DECLS

/* How a pixel mask is used. Read by the masked family only; validated everywhere. */
typedef struct qip_filterMaskParams {
    uint32_t mode;       /* 0 or 1: with 1, and resultMode 1 and no reset mask, masked-out pixels are
                            filled from their valid neighbours instead of being reset. Default 0 */
    uint32_t resultMode; /* 0 or 1: with 1, a pixel is valid when enough of the kernel's footprint is,
                            with 0, when its own mask pixel is. Default 0 */
    double threshold;    /* 0.0 to 1.0: the share of the footprint that must be valid. Default 0.0 */
} qip_filterMaskParams;

/* What a smoothing computes. In each axis the filter is three passes of a box of kernelSize + 1 pixels,
 * 3 * kernelSize + 1 taps in all, which approximates a Gaussian of variance n = kernelSize + 1:
 * (n * n - 1) / 4. */
typedef struct qip_gaussParams {
    int32_t sampleX;     /* keep one pixel per sampleX source pixels, >= 1. Default 1 */
    int32_t sampleY;     /* the same for rows. Default 1 */
    int32_t kernelSizeX; /* smoothing in X, >= 0; 0 is none. Default 1 */
    int32_t kernelSizeY; /* smoothing in Y, >= 0; 0 is none. Default 1 */
    double gain;         /* factor on every output value, > 0. Default 1.0 */
    int32_t round;       /* non-zero: round half up; zero: truncate. Default 0 */
    qip_filterMaskParams maskParams;
} qip_gaussParams;

/* Writes the defaults. Returns 0. */
QIP_API qip_status qip_gaussParams_init(qip_gaussParams* params);

/* Checks a record; the first rule that fails decides.
 * Result:  0, or in this order: a failure of the processor service; QIP_E_SAMPLING (a sampling factor < 1);
 *          QIP_E_KERNEL_SIZE (a kernel size < 0); QIP_E_GAIN (gain <= 0.0; a gain that is not a number
 *          passes); what qip_filterMaskParams_validate says of the embedded record. There is no upper
 *          bound on sampling factors and kernel sizes. */
QIP_API qip_status qip_gaussParams_validate(const qip_gaussParams* params);

/* *equal = 1 when all fields agree, the embedded record's included, else 0. Two doubles differ only when
 * one is less than the other, so a value that is not a number equals everything. Returns 0. */
QIP_API qip_status qip_gaussParams_compareEqual(const qip_gaussParams* a, const qip_gaussParams* b,
                                                int* equal);

/* The greatest kernel size that the masked family accepts for 8-bit sources: 63 on processors of class 1
 * or 5 that report feature bit 3, else 24. A failure of the processor service is returned, with 24
 * written. */
QIP_API qip_status qip_gaussParamsGetMaxSigma(int* maxKernelSize);

/* The same for 16-bit sources: always 39. Returns 0. */
QIP_API qip_status qip_gaussParamsGetMaxSigma16(int* maxKernelSize);

/* Writes the defaults. Returns 0. */
QIP_API qip_status qip_filterMaskParams_init(qip_filterMaskParams* params);

/* 0, or the first of QIP_E_MASK_MODE, QIP_E_MASK_RESULT_MODE, QIP_E_MASK_THRESHOLD (also for a threshold
 * that is not a number). */
QIP_API qip_status qip_filterMaskParams_validate(const qip_filterMaskParams* params);

/* As qip_gaussParams_compareEqual. */
QIP_API qip_status qip_filterMaskParams_compareEqual(const qip_filterMaskParams* a,
                                                     const qip_filterMaskParams* b, int* equal);

QIP_END_DECLS

#endif
