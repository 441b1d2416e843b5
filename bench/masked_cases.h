// The cases of masked smoothing by the cube of a box, stated once for ours and for the peers.
#pragma once

#include "bench/support.h"

#include <qip/params.h>

#include <cstdint>
#include <string>
#include <vector>

struct bench_maskedCase {
    int32_t kernel;
    int32_t srcBytes = 1; // of a pixel
    int32_t dstBytes = 1;
    bench_maskKind mask = bench_maskKind::blobs;
    int32_t sample = 1;
    double gain = 1.0;
    bool isCounted = false; // a pixel is valid when half of those under the kernel are
    bool hasReset = false;  // a mask resets pixels too
    int threads = 1;
};

// Every kernel, depth and kind of mask; what else a call may ask for at kernel size 7 alone.
inline std::vector<bench_maskedCase> bench_maskedCases()
{
    std::vector<bench_maskedCase> cases;
    for (const bench_maskKind mask : {bench_maskKind::blobs, bench_maskKind::spots, bench_maskKind::dust}) {
        for (const int32_t kernel : {1, 2, 3, 7, 15, 31})
            cases.push_back({.kernel = kernel, .mask = mask});
        for (const int32_t kernel : {2, 7, 15})
            cases.push_back({.kernel = kernel, .srcBytes = 2, .dstBytes = 2, .mask = mask});
        cases.push_back({.kernel = 7, .dstBytes = 2, .mask = mask, .gain = 256.0});
    }
    cases.push_back({.kernel = 7, .mask = bench_maskKind::valid});
    cases.push_back({.kernel = 7, .sample = 2});
    cases.push_back({.kernel = 7, .gain = 2.0});
    cases.push_back({.kernel = 7, .isCounted = true});
    cases.push_back({.kernel = 7, .hasReset = true});
    for (const int32_t kernel : {2, 7, 31})
        cases.push_back({.kernel = kernel, .threads = 2});
    cases.push_back({.kernel = 7, .srcBytes = 2, .dstBytes = 2, .threads = 2});
    return cases;
}

inline qip_gaussParams bench_maskedParams(const bench_maskedCase& what)
{
    qip_gaussParams params;
    qip_gaussParams_init(&params);
    params.kernelSizeX = params.kernelSizeY = what.kernel;
    params.sampleX = params.sampleY = what.sample;
    params.gain = what.gain;
    params.round = 1; // as those do whom we are compared with
    if (what.isCounted) {
        params.maskParams.resultMode = 1;
        params.maskParams.threshold = 0.5;
    }
    return params;
}

inline std::string bench_maskedName(const bench_maskedCase& what)
{
    constexpr const char* masks[] = {"spots", "dust", "blobs", "valid"}; // as bench_maskKind
    std::string name = "gauss/masked/k";
    name += std::to_string(what.kernel);
    if (what.sample > 1)
        name.append("s").append(std::to_string(what.sample));
    if (what.gain == 2.0)
        name += "-gain2";
    if (what.isCounted)
        name += "-counted";
    if (what.hasReset)
        name += "-reset";
    if (what.threads > 1)
        name.append("-").append(std::to_string(what.threads)).append("threads");
    name.append("/").append(masks[static_cast<int>(what.mask)]);
    name.append("/u").append(std::to_string(8 * what.srcBytes));
    name.append("u").append(std::to_string(8 * what.dstBytes));
    return name;
}

// The call of a case.
inline qip_status bench_smoothMasked(const bench_maskedCase& what, const bench_image& src,
                                     const bench_image& mask, const bench_image& dst,
                                     const bench_image& dstMask)
{
    const qip_gaussParams params = bench_maskedParams(what);
    const bench_size size = {src->rect.width, src->rect.height};
    const bench_image reset = what.hasReset ? bench_mask(size, bench_maskKind::spots) : nullptr;
    const auto smooth = what.srcBytes == 2   ? qip_gauss_smoothMasked16_16
                        : what.dstBytes == 2 ? qip_gauss_smoothMasked8_16
                                             : qip_gauss_smoothMasked8_8;
    return smooth(src.get(), mask.get(), reset.get(), &params, dst.get(), dstMask.get());
}
