#include "support/any_call.h"

#include "support/policy.h"

#include <array>

namespace
{

constexpr qmath_xformLinear someTransform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};

void add(test_outcome* seen, const qmath_xformLinear& x)
{
    seen->insert(seen->end(), {x.m00, x.m01, x.m10, x.m11, x.tx, x.ty});
}

void add(test_outcome* seen, const oracle_rect& r)
{
    for (const int64_t number : {r.x, r.y, r.width, r.height})
        seen->push_back(static_cast<double>(number));
}

void add(test_outcome* seen, const test_view& view)
{
    const test_grid pixels(view);
    seen->insert(seen->end(), pixels.values.begin(), pixels.values.end());
}

void add(test_outcome* seen, const test_plane& plane)
{
    add(seen, plane.image.rect());
    if (plane.image.isBound())
        add(seen, plane.image.view());
    for (qmath_point point : {qmath_point{0.0, 0.0}, {10.0, 50.0}}) {
        EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&plane.image.record.clientFromImage, &point), 0);
        seen->insert(seen->end(), {point.x, point.y});
    }
}

// ---- random calls ----

int64_t randomKernel(test_random* random)
{
    if (test_chance(random, 50))
        return test_randomRange(random, 1, 2);
    if (test_chance(random, 5))
        return test_pick(random, std::array{3000, 30000, 1 << 22, 1 << 30});
    return test_randomRange(random, 0, test_chance(random, 15) ? 70 : 9);
}

oracle_gauss randomParams(test_random* random)
{
    oracle_gauss request;
    request.kernelX = request.kernelY = randomKernel(random);
    if (test_chance(random, 30))
        request.kernelY = randomKernel(random);
    request.sampleX = test_chance(random, 50) ? 1 : test_randomRange(random, 1, 5);
    request.sampleY = test_chance(random, 50) ? 1 : test_randomRange(random, 1, 5);
    request.round = test_chance(random, 50);
    request.gain = test_pick(random, std::array{1.0F, 1.0F, 2.0F, 0.25F, 1.7F});
    // The sums of such kernels are not exact. The gain brings their last bits down to the pixels.
    if (request.kernelY > 30000)
        request.gain = 1e15F;
    request.peak = test_chance(random, 10);
    request.validOnly = test_chance(random, 20);
    return request;
}

// Part of what the source yields, or more than it.
oracle_rect randomDestination(test_random* random, const oracle_rect& all)
{
    const auto move = [=](int64_t size) {
        return test_chance(random, 40) ? test_randomRange(random, -3, size / 3) : 0;
    };
    const int64_t left = move(all.width);
    const int64_t top = move(all.height);
    return {all.x + left, all.y + top, std::max<int64_t>(all.width - left - move(all.width), 1),
            std::max<int64_t>(all.height - top - move(all.height), 1)};
}

void fill(test_random* random, test_placed* made)
{
    test_fillRandom(made->pixels.get(), test_randomBits(random));
}

} // namespace

test_call test_randomCall(test_random* random, int exportNumber)
{
    test_call made = {};
    const auto& halves = oracle_gauss2Exports();
    if (exportNumber >= test_unmaskedExports)
        made.half = &halves[static_cast<size_t>(exportNumber - test_unmaskedExports)];
    made.unmasked = exportNumber;
    made.request = randomParams(random);
    if (made.unmasked != 0)
        made.request.peak = made.request.validOnly = false;
    made.params = test_gaussParams(made.request);
    made.passesX = test_randomInt(random, 0, 7);
    made.passesY = test_randomInt(random, 0, 7);
    made.givesRegion = test_chance(random, 40);
    made.inhibitsAll = test_chance(random, 30);

    const int64_t height = test_randomRange(random, 1, test_chance(random, 20) ? 300 : 90);
    const oracle_rect source = {test_randomRange(random, -40, 40), test_randomRange(random, -40, 40),
                                test_randomRange(random, 1, test_chance(random, 30) ? 9 : 120), height};
    const int32_t srcSize = made.half ? made.half->pixelSize : 1;
    made.src.place(random, source, srcSize);
    fill(random, &made.src);
    const bool isWindow = made.half ? made.half->windows : made.unmasked == 3 || made.unmasked == 4;
    const oracle_rect all = made.half ? oracle_gauss2PlanOf(*made.half, source, source).full
                                      : oracle_destination(source, made.request);
    const int32_t dstSize = made.half            ? srcSize
                            : made.unmasked == 0 ? test_randomInt(random, 1, 2)
                                                 : 2 - made.unmasked % 2;
    if (isWindow || test_chance(random, 50))
        made.dst.place(random, randomDestination(random, all), dstSize);
    if (!made.half || !made.half->masked)
        return made;
    made.srcMask.place(random, source, 1);
    fill(random, &made.srcMask);
    made.wantsMask = test_chance(random, 70);
    if (made.wantsMask && isWindow)
        made.dstMask.place(random, made.dst.rect, 1);
    return made;
}

// ---- running ----

namespace
{

// qip_gauss itself. It gets a destination, or makes one.
qip_status callLegacy(const test_call& made, test_outcome* seen)
{
    const qsVImage src = made.src.legacy();
    qsVImage dst = made.dst.legacy();
    const bool deep = made.passesX % 2;
    const qsGaussParams params = test_legacyParams(made.request, deep ? qsUSImageNull : qsImageNull);
    qsIRegion region = {src.region.x, src.region.y, 40, 70};
    qsVImage* written = nullptr;
    const qip_status status = qip_gauss(&src, made.dst.pixels ? &dst : nullptr, &params,
                                        made.givesRegion ? &region : nullptr, &written);
    add(seen, oracle_rectOf(region));
    if (!written)
        return status;
    const qsFXform& c = written->clientCoords;
    seen->insert(seen->end(), {c.m00, c.m01, c.m10, c.m11, c.tx, c.ty, written->clientZScale});
    if (written->region.width > 0 && written->region.height > 0)
        add(seen, test_legacyView(written));
    if (written != &dst)
        qsImageFree(written);
    return status;
}

qip_status callUnmasked(const test_call& made, const test_plane& src, test_plane* dst, test_outcome* seen)
{
    switch (made.unmasked) {
    case 1:
        return qip_gauss_smooth8_8(&src.image.record, &dst->image.record, &made.params);
    case 2:
        return qip_gauss_smooth8_16(&src.image.record, &dst->image.record, &made.params);
    case 3:
        return qip_gauss_smoothWindow8_8(&src.windowConst, &dst->window, &made.params);
    case 4:
        return qip_gauss_smoothWindow8_16(&src.windowConst, &dst->window, &made.params);
    default:
        return callLegacy(made, seen);
    }
}

} // namespace

test_outcome test_run(const test_call& made)
{
    for (const test_placed* each : {&made.dst, &made.dstMask})
        if (each->pixels)
            test_fill(each->pixels.get(), [](int32_t, int32_t) { return 0x101u * test_canary; });
    const test_inhibition inhibition(made.inhibitsAll ? "*" : "");
    test_plane src = made.src.over();
    test_plane srcMask = made.srcMask.over();
    test_plane dst = made.dst.over();
    test_plane dstMask = made.dstMask.over();
    test_setClientFromImage(&src.image.record, someTransform);
    qmath_xformLinear transform = {};
    test_outcome seen;
    qip_status status = 0;
    if (made.half) {
        oracle_gauss2Arguments arguments = {.srcTransform = &someTransform,
                                            .dstTransform = &transform,
                                            .passesX = made.passesX,
                                            .passesY = made.passesY};
        arguments.take({&src, &srcMask, &dst, made.wantsMask ? &dstMask : nullptr});
        status = made.half->call(arguments);
    } else {
        status = callUnmasked(made, src, &dst, &seen);
    }
    seen.push_back(status);
    add(&seen, transform);
    add(&seen, dst);
    add(&seen, dstMask);
    for (const test_placed* each : {&made.dst, &made.dstMask})
        if (each->pixels) {
            EXPECT_TRUE(test_undamaged(*each->pixels));
        }
    return seen;
}
