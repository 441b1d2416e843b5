// Masked smoothing by the cube of a box, each call with a destination mask, and the result mask alone.
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

// The result mask alone, where half of the pixels under the kernel are valid.
bench_work countValid(const bench_size& size)
{
    const bench_image mask = bench_mask(size, bench_maskKind::blobs);
    const bench_image dst = bench_unbound();
    const auto count = [=] {
        const int32_t kernel[] = {7, 7};
        const int32_t sample[] = {1, 1};
        return qip_filterMask_computeResultMask_(mask.get(), nullptr, kernel, sample, 0.5, dst.get()) >= 0;
    };
    return {count, 2 * bench_pixels(size)};
}

} // namespace

void bench_addMasked()
{
    bench_addOurs("gauss/masked/k7-result/blobs/u8u8", countValid);
    for (const bench_maskedCase& what : bench_maskedCases())
        bench_addOurs(bench_maskedName(what), smoothing(what),
                      {.notPortable = what.kernel > greatestPortableKernel, .threads = what.threads});
}
