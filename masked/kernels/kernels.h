// The kernels of masked smoothing at one processor level.
#pragma once

#include "masked/kernels/pixels.h"
#include "masked/kernels/prepare.h"
#include "masked/kernels/short.h"

struct masked_kernels {
    const gauss_boxKernels* boxes;
    masked_prepareKernel<uint8_t> prepare8;
    masked_prepareKernel<uint16_t> prepare16;
    masked_pixelKernels pixels;
    masked_shortTables shortTables;
};

extern const masked_kernels masked_kernels128;
extern const masked_kernels masked_kernels256;
