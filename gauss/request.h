// The first steps of every unmasked path: what a request on legacy images reads and writes.
#pragma once

#include "gauss/geometry.h"

struct gauss_request {
    gauss_area source; // all of the source
    gauss_area dst;    // R, the region to write; null when the request reaches no source pixel
    gauss_area needed; // N, the pixels under the kernels of R, inside the source or not
    gauss_area read;   // N within the source
    gauss_area margin; // the shifts of `read` that stay inside N
};

// Whether an image that a caller may have filled by hand has the pixels that its region speaks of.
// Errors:  QIMG_E_UNBOUND, QIMG_E_ALIGNMENT.
qip_status gauss_checkPixels(const qsVImage* image);

// The same for a source, all of whose columns and rows must have 32-bit coordinates too.
// Errors:  those of gauss_checkPixels, QSYS_E_RANGE.
qip_status gauss_checkSource(const qsImage* src);

// Computes the regions of a request, creates the destination from the prototype when `dst` is null, sets
// the destination's client coordinates, and stores it in *dstOut. dstRegion may be null; it is the request
// when the destination has to be created, and receives R.
// Errors:  QSYS_E_RANGE, QSYS_E_MEMORY, QMATH_E_SINGULAR; nothing was created then and nothing is changed
//          but dstRegion.
qip_status gauss_setupReference(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                                qsIRegion* dstRegion, qsVImage** dstOut, gauss_request* request);
