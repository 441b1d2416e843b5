/* qbase/status.h - the statuses that the base services return.
 *
 * A status is a signed 32-bit number. Zero and every positive value is success, a negative value is
 * a failure of the form 0x8000xxxx. There is no other error channel: no exception, no global error
 * state, nothing is printed.
 *
 * None of the codes below lies in the fallback class (low 16 bits & 0xffe0 equal to 0x0600), which is
 * reserved for "this fast path declines; run the code that defines the values". */
#ifndef QBASE_STATUS_H
#define QBASE_STATUS_H

#include <stdint.h>

#include <qbase/export.h>

QBASE_BEGIN_DECLS

typedef int32_t qsys_status;

/* The failure code 0x8000xxxx with the given low 16 bits, as a signed number. */
#define QSYS_FAILURE(low16) ((qsys_status)(-2147483647 - 1 + (low16)))

#define QSYS_OK ((qsys_status)0)

/* A required pointer is null, or an argument has a value that the operation does not define. */
#define QSYS_E_ARGUMENT QSYS_FAILURE(0x0101)
/* Memory, or another resource of the operating system, could not be had. */
#define QSYS_E_MEMORY QSYS_FAILURE(0x0102)
/* A coordinate, size or stride does not fit its 32-bit field, or a byte count its 64-bit one. */
#define QSYS_E_RANGE QSYS_FAILURE(0x0103)
/* A clean-up stack is full; the resource that was to be registered has been released. */
#define QSYS_E_CLEANUP_FULL QSYS_FAILURE(0x0104)
/* The answer that an attention handler gives to end long work. The services pass back any negative
 * answer of a handler as it stands; this one is for handlers that have no code of their own. */
#define QSYS_E_CANCELLED QSYS_FAILURE(0x0105)
/* A processor level with this name does not exist. */
#define QSYS_E_LEVEL_UNKNOWN QSYS_FAILURE(0x0106)
/* The processor level exists, but this machine does not have it. */
#define QSYS_E_LEVEL_UNAVAILABLE QSYS_FAILURE(0x0107)
/* Job parameters hold no data. */
#define QSYS_E_JOB_NO_DATA QSYS_FAILURE(0x0108)
/* A transform has no inverse. */
#define QMATH_E_SINGULAR QSYS_FAILURE(0x0121)
/* A transform is not linear where a linear one is required, or cannot be evaluated at a point. */
#define QMATH_E_NOT_LINEAR QSYS_FAILURE(0x0122)
/* An image or a window is unbound, or a window gives no address of its pixels. */
#define QIMG_E_UNBOUND QSYS_FAILURE(0x0141)
/* A rectangle does not lie inside the window that it is to restrict. */
#define QIMG_E_OUTSIDE QSYS_FAILURE(0x0142)
/* An image or a window has pixels of another size than the operation works on. */
#define QIMG_E_PIXEL_SIZE QSYS_FAILURE(0x0143)
/* Pixels of 16 bits at an odd address, or in rows at an odd distance. */
#define QIMG_E_ALIGNMENT QSYS_FAILURE(0x0144)
/* Two windows share some of their pixels without being the same memory. */
#define QIP_E_PEL_OVERLAP QSYS_FAILURE(0x0161)
/* Two windows differ in width or height. */
#define QIP_E_PEL_SIZE QSYS_FAILURE(0x0162)

/* A short English text for a status of the base services.
 * Result:  a constant string, never null: "success" for zero and positive values, the meaning of a
 *          code above, "unknown status" for every other failure.
 * Threads: callable from any thread. */
QBASE_API const char* qsys_status_text(qsys_status status);

QBASE_END_DECLS

#endif
