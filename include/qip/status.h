/* qip/status.h - the statuses that the library returns.
 *
 * Every operation returns a signed 32-bit status: zero or a positive number is success, a negative one a
 * failure of the form 0x8000xxxx. The codes below are the library's own; a failure of a base service
 * (qbase/status.h) is passed back unchanged. There is no exception, no log and no global error state. */
#ifndef QIP_STATUS_H
#define QIP_STATUS_H

#include <qip/export.h>

#include <qbase/status.h>

QIP_BEGIN_DECLS

typedef int32_t qip_status;

#define QIP_OK ((qip_status)0)

/* A sampling factor is less than 1. */
#define QIP_E_SAMPLING ((qip_status)QSYS_FAILURE(0x0961))
/* A kernel size is negative, or greater than the maximum of the masked family. */
#define QIP_E_KERNEL_SIZE ((qip_status)QSYS_FAILURE(0x0962))
/* The gain is not greater than zero. */
#define QIP_E_GAIN ((qip_status)QSYS_FAILURE(0x0963))
/* The filter-mask record's mode is neither 0 nor 1. */
#define QIP_E_MASK_MODE ((qip_status)QSYS_FAILURE(0x0ea8))
/* The filter-mask record's result mode is neither 0 nor 1. */
#define QIP_E_MASK_RESULT_MODE ((qip_status)QSYS_FAILURE(0x0ea9))
/* The filter-mask record's threshold is not in 0.0 to 1.0. */
#define QIP_E_MASK_THRESHOLD ((qip_status)QSYS_FAILURE(0x0eaa))
/* A mask does not cover the same rectangle as its image. */
#define QIP_E_MASK_MISMATCH ((qip_status)QSYS_FAILURE(0x0eab))
/* A source or destination has no pixels, or the source image is unbound. */
#define QIP_E_NULL_IMAGE ((qip_status)QSYS_FAILURE(0x03c3))
/* Source and destination are the same pixel memory. */
#define QIP_E_SAME_MEMORY ((qip_status)QSYS_FAILURE(0x06a1))
/* A fast path cannot serve the request. Used inside the library; no exported function returns it. */
#define QIP_E_FALLBACK ((qip_status)QSYS_FAILURE(0x0601))

/* A short English text for any status that the library returns: its own codes, and those of the base
 * services. Never null. Callable from any thread. */
static inline const char* qip_statusText(qip_status status)
{
    if (status == QIP_E_SAMPLING)
        return "sampling factor less than 1";
    if (status == QIP_E_KERNEL_SIZE)
        return "kernel size out of range";
    if (status == QIP_E_GAIN)
        return "gain not greater than zero";
    if (status == QIP_E_MASK_MODE)
        return "mask mode neither 0 nor 1";
    if (status == QIP_E_MASK_RESULT_MODE)
        return "result-mask mode neither 0 nor 1";
    if (status == QIP_E_MASK_THRESHOLD)
        return "threshold not in 0 to 1";
    if (status == QIP_E_MASK_MISMATCH)
        return "mask does not match its image";
    if (status == QIP_E_NULL_IMAGE)
        return "source or destination has no pixels";
    if (status == QIP_E_SAME_MEMORY)
        return "source and destination are the same pixel memory";
    if (status == QIP_E_FALLBACK)
        return "not supported by this fast path";
    return qsys_status_text(status);
}

QIP_END_DECLS

#endif
