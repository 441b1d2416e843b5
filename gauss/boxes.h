// Smoothing with any number of box passes, as the older interface has it. P passes of a box of n pixels are
// the P-th difference of the data at distance n, integrated P times by running sums, in double precision.
// There is no sampling and no border rule: a pixel is computed where its kernel lies inside the source.
#pragma once

#include "gauss/geometry.h"

struct gauss_boxes {
    int64_t passes; // P, at least 0
    int64_t kernelSizeX;
    int64_t kernelSizeY; // box width - 1, at least 0
    bool peakNormalize;  // divide by the product of the central weights, not by the sum of all
};

// Whether the passes change nothing.
bool gauss_boxesAreTrivial(const gauss_boxes* boxes);

// The kernel's support around a pixel: P k + 1 columns and rows from -(P k) / 2 on.
gauss_area gauss_boxesSupport(const gauss_boxes* boxes);

// The client coordinates that a destination gets from those of its source.
qsFXform gauss_boxesClientCoords(const gauss_boxes* boxes, const qsImage* src);

// Fills `area`, which is not null and lies in dst, from src, a different image that covers `area` and the
// support around it. False when memory is short; nothing is written then.
bool gauss_smoothByBoxes(const gauss_boxes* boxes, const qsImage* src, gauss_area area, qsImage* dst);
