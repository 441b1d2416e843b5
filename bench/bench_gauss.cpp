// The unmasked smoothing: kernel sizes that take different ways through the library, and sampling.
#include "bench/support.h"

namespace
{

bench_prepare smoothing(int32_t kernel, int32_t sample, bool deep)
{
    return [=](const bench_size& size) {
        qip_gaussParams params;
        qip_gaussParams_init(&params);
        params.kernelSizeX = params.kernelSizeY = kernel;
        params.sampleX = params.sampleY = sample;
        params.gain = deep ? 256.0 : 1.0;
        const bench_image src = bench_source(size, 1);
        const bench_image dst = bench_unbound();
        const int64_t pixels = bench_pixels(size);
        const int64_t written = pixels / (sample * sample) * (deep ? 2 : 1);
        return bench_work{[=] {
                              return deep ? qip_gauss_smooth8_16(src.get(), dst.get(), &params) >= 0
                                          : qip_gauss_smooth8_8(src.get(), dst.get(), &params) >= 0;
                          },
                          pixels + written};
    };
}

} // namespace

void bench_addGauss()
{
    for (const int32_t kernel : {1, 2, 3, 7, 15, 63})
        bench_addOurs("gauss/k" + std::to_string(kernel) + "/u8u8", smoothing(kernel, 1, false));
    bench_addOurs("gauss/k1s2/u8u8", smoothing(1, 2, false));
    for (const int32_t kernel : {2, 7, 31})
        bench_addOurs("gauss/k" + std::to_string(kernel) + "/u8u16", smoothing(kernel, 1, true));
}
