// Masked smoothing by the cube of a box, each call with a destination mask.
#include "bench/masked_cases.h"

namespace
{

constexpr int32_t greatestPortableKernel = 24; // see qip_gaussParamsGetMaxSigma

bench_prepare smoothing(const bench_maskedCase& what)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, what.srcBytes);
        const bench_image mask = bench_mask(size, what.mask);
        const bench_image dst = bench_unbound();
        const bench_image dstMask = bench_unbound();
        const int64_t pixels = bench_pixels(size);
        const int64_t read = pixels * (what.srcBytes + 1 + (what.hasReset ? 1 : 0));
        const int64_t written = pixels / (what.sample * what.sample) * (what.dstBytes + 1);
        return bench_work{[=] { return bench_smoothMasked(what, src, mask, dst, dstMask) >= 0; },
                          read + written};
    };
}

} // namespace

void bench_addMasked()
{
    for (const bench_maskedCase& what : bench_maskedCases())
        bench_addOurs(bench_maskedName(what), smoothing(what),
                      {.notPortable = what.kernel > greatestPortableKernel, .threads = what.threads});
}
