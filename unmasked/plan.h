// What an engine's path has to do, once its request is understood: which pixels there are to read, which to
// write, and where the kernel lies over them.
#pragma once

#include "frame/splitting.h"
#include "gauss/request.h"

#include <cstdint>

// Strides are in bytes and may be negative. All positions count from the first pixel that is read, which is
// column 0 of row 0.
struct unmasked_plan {
    // The source pixels under the kernels of all outputs. Beyond these, rows and columns are reflected with
    // the edge repeated: where a kernel reaches further, the source ends.
    const uint8_t* src;
    int64_t srcStride;
    int64_t srcWidth;
    int64_t srcHeight;

    // The outputs, at least one. 8-bit pixels, unless a path says otherwise.
    void* dst;
    int64_t dstPixelSize;
    int64_t dstStride;
    int64_t columns;
    int64_t rows;
    int64_t dstTop; // the first output row, in coordinates of the image

    // The output rows of the request above these: 0, or this is a band of it. A band reads the source, and
    // reflects it, as the request does.
    int64_t rowsAbove;

    // The first column and row under the kernel of the first output, 0 or below, but in bands; each further
    // output is stepX columns, or stepY rows, further.
    int64_t firstColumn;
    int64_t firstRow;
    int64_t stepX;
    int64_t stepY;
    int64_t boxX; // kernel size + 1
    int64_t boxY;

    // How sums become pixels.
    bool round;
    float gain;

    qsVImage* dstImage;
    float dstZScale; // what its client z-scale is to become
};

// Every path does this, when it has its memory and before its first poll. Of bands only the top one sets
// it.
inline void unmasked_setZScale(const unmasked_plan* plan)
{
    if (plan->rowsAbove == 0)
        qsVImageSetClientZScale(plan->dstImage, plan->dstZScale);
}

inline const uint8_t* unmasked_srcRow(const unmasked_plan* plan, int64_t row)
{
    return plan->src + row * plan->srcStride;
}

template <class Pixel>
Pixel* unmasked_dstRow(const unmasked_plan* plan, int64_t row)
{
    return reinterpret_cast<Pixel*>(static_cast<unsigned char*>(plan->dst) + row * plan->dstStride);
}

// The plan of a request that has pixels to write and whose images have their pixels.
unmasked_plan unmasked_planOf(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                              const gauss_request* request);

// Some rows of a plan.
unmasked_plan unmasked_bandOf(const unmasked_plan* plan, frame_rowRange rows);
