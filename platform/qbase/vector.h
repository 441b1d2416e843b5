/* qbase/vector.h - row buffers of 16-bit and 32-bit numbers.
 *
 * A vector owns one block on a 64-byte boundary. Fill it with a construct function, release it with
 * destruct (which accepts a record filled with zeros and always returns 0). */
#ifndef QBASE_VECTOR_H
#define QBASE_VECTOR_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

typedef struct qstd_vector16 {
    uint16_t* begin;
    int64_t count;
} qstd_vector16;

typedef struct qstd_vector32 {
    uint32_t* begin;
    int64_t count;
} qstd_vector32;

/* `count` elements, unspecified or all equal to `value`.
 * Errors:  QSYS_E_ARGUMENT (vector is null), QSYS_E_RANGE (count negative or too large), QSYS_E_MEMORY;
 *          the record is then filled with zeros. */
QBASE_API qsys_status qstd_vector16_construct(qstd_vector16* vector, int64_t count);
QBASE_API qsys_status qstd_vector16_constructFill(qstd_vector16* vector, int64_t count, uint16_t value);
QBASE_API qsys_status qstd_vector32_constructFill(qstd_vector32* vector, int64_t count, uint32_t value);

/* The addresses of the first element and of the one behind the last. Errors: QSYS_E_ARGUMENT. */
QBASE_API qsys_status qstd_vector16_getBeginEnd(const qstd_vector16* vector, uint16_t** begin,
                                                uint16_t** end);
QBASE_API qsys_status qstd_vector32_getBeginEnd(const qstd_vector32* vector, uint32_t** begin,
                                                uint32_t** end);

QBASE_API qsys_status qstd_vector16_destruct(qstd_vector16* vector);
QBASE_API qsys_status qstd_vector32_destruct(qstd_vector32* vector);

QBASE_END_DECLS

#endif
