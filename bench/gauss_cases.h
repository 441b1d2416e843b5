// The cases of the unmasked smoothing, stated once for ours and for the peers.
#pragma once

#include <qip/params.h>

#include <cstdint>
#include <string>

struct bench_gaussCase {
    int32_t kernel;
    int32_t sample = 1;
    double gain = 1.0;
    bool isDeep = false; // 16-bit destination
    bool round = true;   // as those do whom we are compared with
    bool asWindows = false;
    bool alsoSmall = false; // measured at 64x64 too, where the cost of a call by itself shows
    int threads = 1;
};

inline constexpr bench_gaussCase bench_gaussCases[] = {
    {.kernel = 1, .alsoSmall = true},
    {.kernel = 2, .alsoSmall = true},
    {.kernel = 3},
    {.kernel = 5},
    {.kernel = 7, .alsoSmall = true},
    {.kernel = 15},
    {.kernel = 31},
    {.kernel = 63},
    {.kernel = 1, .sample = 2},
    {.kernel = 2, .sample = 2},
    {.kernel = 2, .sample = 3},
    {.kernel = 7, .sample = 2},
    {.kernel = 7, .sample = 4},
    {.kernel = 7, .round = false},
    {.kernel = 31, .round = false},
    {.kernel = 1, .asWindows = true, .alsoSmall = true},
    {.kernel = 2, .asWindows = true, .alsoSmall = true},
    {.kernel = 7, .asWindows = true, .alsoSmall = true},
    {.kernel = 2, .gain = 256.0, .isDeep = true},
    {.kernel = 7, .gain = 256.0, .isDeep = true},
    {.kernel = 7, .isDeep = true},
    {.kernel = 7, .gain = 256.0, .isDeep = true, .round = false},
    {.kernel = 31, .gain = 256.0, .isDeep = true},
    {.kernel = 7, .gain = 256.0, .isDeep = true, .asWindows = true},
    {.kernel = 1, .threads = 2},
    {.kernel = 2, .threads = 2},
    {.kernel = 7, .threads = 2},
    {.kernel = 31, .threads = 2},
};

inline qip_gaussParams bench_gaussParams(const bench_gaussCase& what)
{
    qip_gaussParams params;
    qip_gaussParams_init(&params);
    params.kernelSizeX = params.kernelSizeY = what.kernel;
    params.sampleX = params.sampleY = what.sample;
    params.gain = what.gain;
    params.round = what.round;
    return params;
}

inline std::string bench_gaussName(const bench_gaussCase& what)
{
    std::string name = "gauss/k";
    name += std::to_string(what.kernel);
    if (what.sample > 1)
        name.append("s").append(std::to_string(what.sample));
    if (!what.round)
        name += "-truncated";
    if (what.isDeep && what.gain == 1.0)
        name += "-gain1";
    if (what.asWindows)
        name += "-window";
    if (what.threads > 1)
        name.append("-").append(std::to_string(what.threads)).append("threads");
    return name + (what.isDeep ? "/u8u16" : "/u8u8");
}
