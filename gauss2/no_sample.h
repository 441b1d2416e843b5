// Smoothing at full resolution over the common rectangle of source and destination, in any number of passes.
#pragma once

#include "gauss2/geometry.h"

#include <qip/status.h>

// A count of 2 stands for one five-tap pass in a direction.
// Result:  0 with nothing written when the rectangles do not meet.
// Errors:  a mask that does not cover the common rectangle, before anything is written; QSYS_E_MEMORY; those of
//          the filters, with the passes before written.
qip_status gauss2_noSample(const gauss2_views& views, int32_t passesX, int32_t passesY);
