#include "gauss_path.h"

#include <qip/smoothing.h>

#include <qbase/arithmetic.h>
#include <qbase/cpuinfo.h>

#include <cmath>

namespace
{

// The pixels of `dst` that the source reaches; null when there are none, or where no 32-bit rectangle holds
// what their kernels need.
qstd_rect32 reachedPart(const qstd_rect32& src, const qstd_rect32& dst, qip_gaussParams params)
{
    // Where kernels are centred depends on whether their sizes are odd, not on how large they are.
    params.kernelSizeX &= 1;
    params.kernelSizeY &= 1;
    qstd_rect32 reached = {0, 0, 0, 0};
    qstd_rect32 others[4];
    gauss_setup(&src, &dst, &params, &others[0], &reached, &others[1], &others[2], &others[3]);
    return reached;
}

// With the library's tolerance.
bool isPowerOfTwo(double value)
{
    int exponent = 0;
    std::frexp(value, &exponent);
    return value >= 1.0 ? qmath_double_epsilonEqual(value, std::ldexp(1.0, exponent - 1), 1e-6)
                        : qmath_double_epsilonEqual(1.0 / value, std::ldexp(1.0, 1 - exponent), 1e-6);
}

bool isLargeEnoughForFixedPoint(const qstd_rect32& src, const qip_gaussParams& params)
{
    return src.width >= int64_t{9} * params.sampleX && src.height >= int64_t{9} * params.sampleY;
}

// Unmasked calls take the gain in single precision.
bool isServedInFixedPoint(const qstd_rect32& src, const qip_gaussParams& params)
{
    return !params.round && isPowerOfTwo(static_cast<float>(params.gain)) &&
           isLargeEnoughForFixedPoint(src, params);
}

} // namespace

std::string gauss_path(const qstd_rect32& src, const qimg_image& dst, const qip_gaussParams& params)
{
    constexpr int32_t leastSide = 33;
    const qstd_rect32 reached = reachedPart(src, dst.rect, params);
    if (reached.width <= 0 || reached.height <= 0)
        return "";
    const std::string level = qsys_cpuinfo_levelName();
    if (level == "sse")
        return isServedInFixedPoint(src, params) ? "fixed-point" : "reference";
    if (level != "avx2" || reached.width < leastSide || reached.height < leastSide)
        return "reference";
    const bool isSquare = params.kernelSizeX == params.kernelSizeY;
    if (dst.pixelSize != 1 || !isSquare)
        return "general";
    if (params.kernelSizeX == 1 && params.sampleX < 4 && params.sampleY < 4)
        return "small-kernel";
    return params.kernelSizeX == 2 ? "seven-tap" : "general";
}

std::string gauss_maskedPath(const qstd_rect32& src, const qimg_image& dst, const qip_gaussParams& params,
                             bool hasSourceMask)
{
    qstd_rect32 inside = {0, 0, 0, 0}; // the pixels under the kernels
    qstd_rect32 reached = {0, 0, 0, 0};
    qstd_rect32 others[3];
    if (gauss_setup(&src, &dst.rect, &params, &inside, &reached, &others[0], &others[1], &others[2]) < 0 ||
        reached.width <= 0 || reached.height <= 0)
        return "";
    const std::string level = qsys_cpuinfo_levelName();
    const bool isFixedPoint = hasSourceMask && (level == "sse" || level == "avx2") &&
                              !(params.gain > 1.5 && isPowerOfTwo(params.gain)) &&
                              isLargeEnoughForFixedPoint(inside, params);
    return isFixedPoint ? "masked-fixed-point" : "masked-double";
}
