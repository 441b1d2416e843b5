/* qip/dest_rect.h - where the result of a smoothing by the cube of a box lies, for callers who make the destination
 * themselves: all i whose centre c(i) = i * s + s / 2 + (s & n & 1) - 1, n = kernelSize + 1, lies in the source. */
#ifndef QIP_DEST_RECT_H
#define QIP_DEST_RECT_H

#include <qip/params.h>

#include <qbase/rect.h>

QIP_BEGIN_DECLS

/* One axis: *first and *count, at least 0, of the results for `size` source pixels from `start` on. */
static inline void qip_gauss_getDestSpan(int32_t start, int32_t size, int32_t kernelSize, int32_t sample,
                                         int64_t* first, int64_t* count)
{
    const int64_t step = sample;
    const int64_t low = start - (step / 2 + (step & (kernelSize + INT64_C(1)) & 1) - 1);
    const int64_t high = low + size - 1;
    /* Quotients are rounded towards minus infinity. */
    const int64_t up = low + step - 1;
    const int64_t last = high / step - (high % step < 0);
    *first = up / step - (up % step < 0);
    *count = last < *first ? 0 : last - *first + 1;
}

/* The rectangle that a source rectangle yields, to which an unbound destination is bound; of size 0 in an axis
 * where there is none. The sampling factors are 1 or more, the kernel sizes 0 or more; gain and masks are not
 * looked at. src and dst may be the same record.
 * Result:  0. Errors: QSYS_E_ARGUMENT: a pointer is null. QIP_E_SAMPLING, QIP_E_KERNEL_SIZE. QSYS_E_RANGE: the
 *          rectangle does not fit 32 bits. *dst is untouched then. Callable from any thread. */
static inline qip_status qip_gauss_getDestRect(const qstd_rect32* src, const qip_gaussParams* params,
                                               qstd_rect32* dst)
{
    int64_t x, y, width, height;
    if (!src || !params || !dst)
        return QSYS_E_ARGUMENT;
    if (params->sampleX < 1 || params->sampleY < 1)
        return QIP_E_SAMPLING;
    if (params->kernelSizeX < 0 || params->kernelSizeY < 0)
        return QIP_E_KERNEL_SIZE;
    qip_gauss_getDestSpan(src->x, src->width, params->kernelSizeX, params->sampleX, &x, &width);
    qip_gauss_getDestSpan(src->y, src->height, params->kernelSizeY, params->sampleY, &y, &height);
    return qstd_rect32_init(dst, x, y, width, height);
}

QIP_END_DECLS

#endif
