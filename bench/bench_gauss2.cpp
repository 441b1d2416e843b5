// Half resolution and the binomial filter, with and without masks, at both depths.
#include "bench/support.h"

namespace
{

// One exported function, with what differs between the functions bound already.
using call = std::function<qip_status(const qimg_image* src, qimg_image* dst)>;
using maskedCall = std::function<qip_status(const qimg_image* src, const qimg_image* srcMask,
                                            qimg_image* dst, qimg_image* dstMask)>;

// `shrink` is the number of source pixels that make one destination pixel.
bench_prepare work(int32_t pixelSize, int32_t shrink, const call& smooth)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, pixelSize);
        const bench_image dst = bench_unbound();
        const int64_t bytes = bench_pixels(size) * pixelSize;
        return bench_work{[=] { return smooth(src.get(), dst.get()) >= 0; }, bytes + bytes / shrink};
    };
}

bench_prepare maskedWork(int32_t pixelSize, int32_t shrink, const bench_masking& masking,
                         const maskedCall& smooth)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, pixelSize);
        const bench_image srcMask = bench_mask(size, masking.source);
        const bench_image dst = bench_unbound();
        const bench_image dstMask = masking.hasDstMask ? bench_unbound() : nullptr;
        const int64_t pixels = bench_pixels(size);
        return bench_work{[=] { return smooth(src.get(), srcMask.get(), dst.get(), dstMask.get()) >= 0; },
                          pixels * (pixelSize + 1) +
                              pixels / shrink * (pixelSize + (masking.hasDstMask ? 1 : 0))};
    };
}

using halfFunction = qip_status (*)(const qimg_image*, qimg_image*);
using maskedHalfFunction = qip_status (*)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);

// The exported functions of one depth.
struct depthFunctions {
    const char* name;
    int32_t pixelSize;
    halfFunction half, halfX, halfY;
    qip_status (*binomial)(const qimg_image*, qimg_image*, int32_t, int32_t);
    maskedHalfFunction maskedHalf, maskedHalfX, maskedHalfY;
    qip_status (*maskedBinomial)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*, int32_t,
                                 int32_t);
};

void addUnmasked(const depthFunctions& depth)
{
    const auto add = [&](const std::string& name, int32_t shrink, const call& smooth, int threads = 1) {
        bench_addOurs("gauss2/" + name + "/" + depth.name, work(depth.pixelSize, shrink, smooth),
                      {.threads = threads});
    };
    const auto addBinomial = [&](const std::string& name, int32_t passesX, int32_t passesY,
                                 int threads = 1) {
        add(
            name, 1,
            [=](const qimg_image* src, qimg_image* dst) {
                return depth.binomial(src, dst, passesX, passesY);
            },
            threads);
    };
    add("half", 4, depth.half);
    add("halfX", 2, depth.halfX);
    add("halfY", 2, depth.halfY);
    addBinomial("binomial5x5", 2, 2);
    addBinomial("binomial5x1", 2, 0);
    addBinomial("binomial1x5", 0, 2);
    addBinomial("binomial5x5twice", 4, 4);
    add("half-2threads", 4, depth.half, 2);
    addBinomial("binomial5x5-2threads", 2, 2, 2);
}

void addMasked(const depthFunctions& depth, const bench_masking& masking)
{
    const auto add = [&](const std::string& name, int32_t shrink, const maskedCall& smooth) {
        bench_addOurs("gauss2/" + name + "/" + masking.name + "/" + depth.name,
                      maskedWork(depth.pixelSize, shrink, masking, smooth));
    };
    const auto addBinomial = [&](const std::string& name, int32_t passesX, int32_t passesY) {
        add(name, 1,
            [=](const qimg_image* src, const qimg_image* srcMask, qimg_image* dst, qimg_image* dstMask) {
                return depth.maskedBinomial(src, srcMask, dst, dstMask, passesX, passesY);
            });
    };
    add("maskedHalf", 4, depth.maskedHalf);
    add("maskedHalfX", 2, depth.maskedHalfX);
    add("maskedHalfY", 2, depth.maskedHalfY);
    addBinomial("maskedBinomial5x5", 2, 2);
    addBinomial("maskedBinomial5x1", 2, 0);
    addBinomial("maskedBinomial1x5", 0, 2);
}

} // namespace

void bench_addGauss2()
{
    const depthFunctions depths[] = {
        {"u8", 1, qip_gauss2_smooth8_8, qip_gauss2X_smooth8_8, qip_gauss2Y_smooth8_8,
         qip_gauss2_smoothNoSample8_8, qip_gauss2_smoothMasked8_8, qip_gauss2X_smoothMasked8_8,
         qip_gauss2Y_smoothMasked8_8, qip_gauss2_smoothNoSampleMasked8_8},
        {"u16", 2, qip_gauss2_smooth16_16, qip_gauss2X_smooth16_16, qip_gauss2Y_smooth16_16,
         qip_gauss2_smoothNoSample16_16, qip_gauss2_smoothMasked16_16, qip_gauss2X_smoothMasked16_16,
         qip_gauss2Y_smoothMasked16_16, qip_gauss2_smoothNoSampleMasked16_16}};
    for (const depthFunctions& depth : depths) {
        addUnmasked(depth);
        for (const bench_masking& masking : bench_maskings)
            addMasked(depth, masking);
    }
}
