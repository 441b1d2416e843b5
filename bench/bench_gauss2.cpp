// Half resolution and the binomial filter, with and without masks, at both depths.
#include "bench/support.h"

namespace
{

// One exported function, with what differs between the functions bound already.
using bench_call = std::function<qip_status(const qimg_image* src, qimg_image* dst)>;
using bench_maskedCall = std::function<qip_status(const qimg_image* src, const qimg_image* srcMask,
                                                  qimg_image* dst, qimg_image* dstMask)>;

// `shrink` is the number of source pixels that make one destination pixel.
bench_prepare work(int32_t pixelSize, int32_t shrink, const bench_call& call)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, pixelSize);
        const bench_image dst = bench_unbound();
        const int64_t bytes = bench_pixels(size) * pixelSize;
        return bench_work{[=] { return call(src.get(), dst.get()) >= 0; }, bytes + bytes / shrink};
    };
}

bench_prepare maskedWork(int32_t pixelSize, int32_t shrink, const bench_maskedCall& call)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, pixelSize);
        const bench_image srcMask = bench_mask(size);
        const bench_image dst = bench_unbound();
        const bench_image dstMask = bench_unbound();
        const int64_t bytes = bench_pixels(size) * (pixelSize + 1);
        return bench_work{[=] { return call(src.get(), srcMask.get(), dst.get(), dstMask.get()) >= 0; },
                          bytes + bytes / shrink};
    };
}

struct bench_depth {
    const char* name;
    int32_t pixelSize;
    qip_status (*half)(const qimg_image*, qimg_image*);
    qip_status (*halfX)(const qimg_image*, qimg_image*);
    qip_status (*halfY)(const qimg_image*, qimg_image*);
    qip_status (*binomial)(const qimg_image*, qimg_image*, int32_t, int32_t);
    qip_status (*maskedHalf)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);
    qip_status (*maskedBinomial)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*, int32_t,
                                 int32_t);
};

void addBinomial(const bench_depth& depth, const std::string& name, int32_t passesX, int32_t passesY)
{
    bench_addOurs("gauss2/" + name + "/" + depth.name,
                  work(depth.pixelSize, 1, [=](const qimg_image* src, qimg_image* dst) {
                      return depth.binomial(src, dst, passesX, passesY);
                  }));
}

} // namespace

void bench_addGauss2()
{
    const bench_depth depths[] = {{"u8", 1, qip_gauss2_smooth8_8, qip_gauss2X_smooth8_8,
                                   qip_gauss2Y_smooth8_8, qip_gauss2_smoothNoSample8_8,
                                   qip_gauss2_smoothMasked8_8, qip_gauss2_smoothNoSampleMasked8_8},
                                  {"u16", 2, qip_gauss2_smooth16_16, qip_gauss2X_smooth16_16,
                                   qip_gauss2Y_smooth16_16, qip_gauss2_smoothNoSample16_16,
                                   qip_gauss2_smoothMasked16_16, qip_gauss2_smoothNoSampleMasked16_16}};
    for (const bench_depth& depth : depths) {
        const std::string suffix = std::string("/") + depth.name;
        bench_addOurs("gauss2/half" + suffix, work(depth.pixelSize, 4, depth.half));
        bench_addOurs("gauss2/halfX" + suffix, work(depth.pixelSize, 2, depth.halfX));
        bench_addOurs("gauss2/halfY" + suffix, work(depth.pixelSize, 2, depth.halfY));
        addBinomial(depth, "binomial5x5", 2, 2);
        addBinomial(depth, "binomial5x1", 2, 0);
        addBinomial(depth, "binomial1x5", 0, 2);
        addBinomial(depth, "binomial5x5twice", 4, 4);
        bench_addOurs("gauss2/maskedHalf" + suffix, maskedWork(depth.pixelSize, 4, depth.maskedHalf));
        bench_addOurs("gauss2/maskedBinomial5x5" + suffix,
                      maskedWork(depth.pixelSize, 1,
                                 [=](const qimg_image* src, const qimg_image* srcMask, qimg_image* dst,
                                     qimg_image* dstMask) {
                                     return depth.maskedBinomial(src, srcMask, dst, dstMask, 2, 2);
                                 }));
    }
}
