// Smoothing at full resolution in any number of passes.
#pragma once

#include <qip/status.h>

#include <cstdint>

// A count of 2 stands for one five-tap pass in a direction.
struct gauss2_passes {
    int32_t x;
    int32_t y;
};

// Runs the passes; counts of 0 copy. Planes is gauss2_planes or gauss2_maskedPlanes of uint8_t or uint16_t,
// of at least one pixel.
// Errors:  QSYS_E_MEMORY, before anything is written; those of the filters, with the passes before written.
template <class Planes>
qip_status gauss2_runPasses(gauss2_passes passes, const Planes& planes);
