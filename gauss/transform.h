// The destination's client transform: a point keeps its client coordinates across smoothing and sampling.
#pragma once

#include "gauss/geometry.h"

// The client coordinates of the destination, in single precision as legacy images have them: those of the
// source, followed by the map from source to destination pixels.
// Errors:  QMATH_E_SINGULAR when a sampling factor is 0.
qip_status gauss_dstClientCoords(const qsImage* src, gauss_grid grid, qsFXform* coords);
