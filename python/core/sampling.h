/* Where the results of the cube of a box lie. */
#ifndef CORE_SAMPLING_H
#define CORE_SAMPLING_H

#include "arguments.h"

/* The destination rectangle of a source rectangle: all i whose centre c(i), as qip/smoothing.h has it,
 * lies in the source. Sizes are 0 where there is none. Refuses a rectangle that does not fit 32 bits,
 * naming `origin`. */
int core_destinationOf(const core_state* state, const qstd_rect32* source, const int32_t kernel[2],
                       const int32_t sample[2], qstd_rect32* destination);

#endif
