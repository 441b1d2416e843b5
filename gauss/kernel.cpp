#include "gauss/kernel.h"

#include <cmath>

namespace
{

// The central weight of the cube of a box of width n. Unsigned: 3 n n of the widest box needs all 64 bits.
double peakWeight(uint64_t n)
{
    const uint64_t weight = (3 * n * n + (n & 1)) / 4;
    return static_cast<double>(weight);
}

} // namespace

gauss_normalisation gauss_normalisationOf(const qsGaussParams* params)
{
    const int64_t nx = static_cast<int64_t>(params->kernelSizeX) + 1;
    const int64_t ny = static_cast<int64_t>(params->kernelSizeY) + 1;
    double norm = 0.0;
    if (params->peakNormalize)
        norm = peakWeight(static_cast<uint64_t>(nx)) * peakWeight(static_cast<uint64_t>(ny));
    else
        norm = std::pow(static_cast<double>(nx * ny), 3.0) / static_cast<double>(params->gain);
    return {1.0 / norm, norm * 0.5};
}
