/* The sampling map, one axis at a time. */
#include "sampling.h"

static int64_t floorOfQuotient(int64_t number, int64_t divisor)
{
    return number / divisor - (number % divisor < 0);
}

/* c(i) = i * sample + phase. */
static int64_t phaseOf(int32_t kernel, int32_t sample)
{
    return sample / 2 + (sample & (kernel + INT64_C(1)) & 1) - 1;
}

int core_destinationOf(const core_state* state, const qstd_rect32* source, const int32_t kernel[2],
                       const int32_t sample[2], qstd_rect32* destination)
{
    const int32_t starts[2] = {source->x, source->y};
    const int32_t sizes[2] = {source->width, source->height};
    int64_t first[2];
    int64_t count[2];
    for (int i = 0; i < 2; ++i) {
        const int64_t start = starts[i] - phaseOf(kernel[i], sample[i]);
        first[i] = floorOfQuotient(start + sample[i] - 1, sample[i]);
        count[i] = floorOfQuotient(start + sizes[i] - 1, sample[i]) - first[i] + 1;
    }
    if (qstd_rect32_init(destination, first[0], first[1], count[0], count[1]) < 0)
        return core_refuse(state, QSYS_E_RANGE, CORE_ORIGIN,
                           "coordinates of the result do not fit 32 bits");
    return 0;
}
