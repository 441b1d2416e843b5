// Row buffers. One template per operation serves both element types.
#include <qbase/memory.h>
#include <qbase/vector.h>

#include <algorithm>
#include <cstdint>

namespace
{

template <class Vector>
qsys_status construct(Vector* vector, int64_t count)
{
    if (!vector)
        return QSYS_E_ARGUMENT;
    *vector = {};
    constexpr int64_t elementSize = sizeof *vector->begin;
    if (count < 0 || count > INT64_MAX / elementSize)
        return QSYS_E_RANGE;
    void* block = nullptr;
    const qsys_status status = qsys_memory_alloc64_internal(count * elementSize, &block);
    if (status < 0)
        return status;
    vector->begin = static_cast<decltype(vector->begin)>(block);
    vector->count = count;
    return QSYS_OK;
}

template <class Vector, class Element>
qsys_status constructFill(Vector* vector, int64_t count, Element value)
{
    const qsys_status status = construct(vector, count);
    if (status >= 0)
        std::fill_n(vector->begin, count, value);
    return status;
}

template <class Vector, class Element>
qsys_status getBeginEnd(const Vector* vector, Element** begin, Element** end)
{
    if (!vector || !begin || !end)
        return QSYS_E_ARGUMENT;
    *begin = vector->begin;
    *end = vector->begin + vector->count;
    return QSYS_OK;
}

template <class Vector>
qsys_status destruct(Vector* vector)
{
    if (vector) {
        void* block = vector->begin;
        *vector = {};
        qsys_memory_free_internal(&block);
    }
    return QSYS_OK;
}

} // namespace

qsys_status qstd_vector16_construct(qstd_vector16* vector, int64_t count)
{
    return construct(vector, count);
}

qsys_status qstd_vector16_constructFill(qstd_vector16* vector, int64_t count, uint16_t value)
{
    return constructFill(vector, count, value);
}

qsys_status qstd_vector32_constructFill(qstd_vector32* vector, int64_t count, uint32_t value)
{
    return constructFill(vector, count, value);
}

qsys_status qstd_vector16_getBeginEnd(const qstd_vector16* vector, uint16_t** begin, uint16_t** end)
{
    return getBeginEnd(vector, begin, end);
}

qsys_status qstd_vector32_getBeginEnd(const qstd_vector32* vector, uint32_t** begin, uint32_t** end)
{
    return getBeginEnd(vector, begin, end);
}

qsys_status qstd_vector16_destruct(qstd_vector16* vector)
{
    return destruct(vector);
}

qsys_status qstd_vector32_destruct(qstd_vector32* vector)
{
    return destruct(vector);
}
