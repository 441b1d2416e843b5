// What a masked smoothing has to do, once its request is understood: which pixels there are to read, which to
// write, where the kernel lies over them, and which pixels are valid.
#pragma once

#include <cstdint>

// Rows of pixels of 8 or 16 bits. The stride is in bytes and may be negative.
struct masked_plane {
    unsigned char* first; // pixel 0 of row 0; null when there is no such plane
    int64_t stride;
};

template <class Pixel>
Pixel* masked_row(masked_plane plane, int64_t row)
{
    return reinterpret_cast<Pixel*>(plane.first + row * plane.stride);
}

struct masked_plan {
    bool srcIsWide; // 16 bits for each pixel, else 8
    bool dstIsWide;

    // The pixels under the kernels of all outputs, read only; the three planes cover the same pixels, and
    // all positions count from their first one. Where a kernel reaches beyond them, the source ends:
    // further pixels are reflected, with the edge repeated, and beyond one reflection there is nothing.
    masked_plane src;
    masked_plane srcMask; // 0 is invalid; without it every pixel is valid
    masked_plane reset;   // 0 resets the output that has its centre there
    int64_t width;
    int64_t height;

    // The outputs, at least one.
    masked_plane dst;
    masked_plane dstMask;
    int64_t columns;
    int64_t rows;

    // The first column and row under the kernel of the first output; each further output is stepX columns,
    // or stepY rows, further.
    int64_t firstColumn;
    int64_t firstRow;
    int64_t stepX;
    int64_t stepY;
    int64_t boxX; // kernel size + 1
    int64_t boxY;

    // Which outputs are valid, beside the mask that resets: those with at least so many valid pixels under
    // the kernel, or those whose centre is valid when this is 0.
    int64_t leastValid;

    // How sums become pixels.
    double gain;
    bool round;
};

// The kernel is as wide as this many pixels, and its centre is this many behind the first one.
constexpr int64_t masked_reach(int64_t box)
{
    return 3 * (box - 1) + 1;
}
constexpr int64_t masked_centre(int64_t box)
{
    return 3 * (box - 1) / 2;
}

// The source position that is the centre of an output.
inline int64_t masked_centreColumn(const masked_plan* plan, int64_t column)
{
    return plan->firstColumn + masked_centre(plan->boxX) + column * plan->stepX;
}
inline int64_t masked_centreRow(const masked_plan* plan, int64_t row)
{
    return plan->firstRow + masked_centre(plan->boxY) + row * plan->stepY;
}

// Calls run(sourcePixel, destinationPixel) with a number of each type.
template <class Run>
auto masked_withPixels(const masked_plan* plan, const Run& run)
{
    if (plan->srcIsWide)
        return run(uint16_t{}, uint16_t{});
    return plan->dstIsWide ? run(uint8_t{}, uint16_t{}) : run(uint8_t{}, uint8_t{});
}
