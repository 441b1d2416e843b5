// The unmasked smoothing at every processor level, through qip_gauss and through the four functions: random
// requests against a direct convolution with the arithmetic of the path that has to serve them, and what
// else a call leaves behind; pixels by hand.
#include "support/any_call.h"
#include "support/faults.h"
#include "support/oracle_engines.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <array>
#include <cfenv>
#include <cmath>
#include <limits>
#include <map>

namespace
{

// A request, in the terms of the oracle too.
struct engineCase {
    oracle_gauss request;
    test_call call;
};

// Kernels so that each path gets its share, and few so large that most of them, or all, lies beyond the
// image.
void pickKernels(test_random* random, oracle_gauss* request)
{
    const int64_t kind = test_randomRange(random, 0, 99);
    for (int64_t* const kernel : {&request->kernelX, &request->kernelY})
        *kernel = test_randomRange(random, 0, test_pick(random, std::array{1, 3, 15, 15, 31, 63}));
    if (kind < 60)
        request->kernelX = request->kernelY = kind < 30 ? 1 : 2;
    int64_t* const one = test_chance(random, 50) ? &request->kernelX : &request->kernelY;
    if (kind >= 98) {
        *one = std::numeric_limits<int32_t>::max();
        request->gain = test_chance(random, 50) ? 200.0F : 4.0F;
    } else if (kind >= 96) {
        request->kernelX %= 30;
        request->kernelY %= 30;
        *one = test_pick(random, std::array{100, 299, 300, 1000});
    } else if (kind >= 95) {
        request->kernelX = request->kernelY = test_randomRange(random, 64, 180);
    }
}

float randomGain(test_random* random, const std::string& level)
{
    using limits = std::numeric_limits<float>;
    const float tame[] = {1.0F, 1.0F, 1.0F, 0.5F, 2.0F, 4.0F, 0.25F};
    const float wild[] = {1.5F, 3.0F, 200.0F, 130.0F, 0.99F, -1.5F, -2.0F, 0.0F};
    const float close[] = {std::nextafter(1.0F, 2.0F), std::nextafter(1.0F, 0.0F), 1.0F + 0x1p-22F,
                           1.0F - 0x1p-22F, 4.0F + 0x1p-21F};
    const float ends[] = {
        limits::quiet_NaN(), limits::infinity(), limits::denorm_min(), 1e30F, 0x1p40F, 0x1p-40F, 0x1p-100F};
    const float gains[] = {test_pick(random, wild), test_pick(random, close), test_pick(random, ends),
                           static_cast<float>(test_randomInt(random, 1, 1000000)) / 2777.0F};
    return test_chance(random, level == "sse" ? 75 : 50) ? test_pick(random, tame)
                                                         : test_pick(random, gains);
}

// A constant image with a gain that puts the exact result half-way between two levels, where the last bit
// of the sums and of the reciprocal decides.
void makeTies(test_random* random, engineCase* made)
{
    const int64_t step = test_randomRange(random, 1, 40);
    const auto level = static_cast<uint32_t>(step * test_randomRange(random, 1, 255 / step));
    test_fill(made->call.planes[test_src].pixels.get(), [&](int32_t, int32_t) { return level; });
    made->request.gain =
        static_cast<float>(2 * test_randomRange(random, 0, 40) + 1) / static_cast<float>(2 * step);
    made->request.round = true;
}

// Near the rectangle that the source yields: the same, a part of it, beyond it, sometimes beside it.
oracle_rect randomPlace(test_random* random, const oracle_rect& all)
{
    if (test_chance(random, 40) && !all.isNull())
        return all;
    const auto start = [&](int64_t length) {
        return test_randomRange(random, -8, test_chance(random, 50) ? 3 : length);
    };
    const auto size = [&](int64_t length) {
        return test_randomRange(random, test_chance(random, 50) ? 1 : 33,
                                std::max<int64_t>(33, length + 20));
    };
    return {all.x + start(all.width), all.y + start(all.height), size(all.width), size(all.height)};
}

engineCase randomCase(test_random* random, const std::string& level)
{
    engineCase made;
    oracle_gauss& request = made.request;
    test_call& call = made.call;
    // As many of qip_gauss as of the functions.
    call.what =
        &test_exports()[test_chance(random, 50) ? 0 : static_cast<size_t>(test_randomRange(random, 1, 4))];
    const bool isLegacy = call.what->dstSize == 0;
    request.gain = randomGain(random, level);
    if (!isLegacy && request.gain <= 0.0F)
        request.gain = 0.125F; // the functions refuse it
    pickKernels(random, &request);
    for (int64_t* const sample : {&request.sampleX, &request.sampleY})
        *sample = test_randomRange(random, 1, test_pick(random, std::array{1, 1, 2, 3, 9}));
    if (test_chance(random, 3))
        request.sampleX = request.sampleY = test_randomRange(random, 4, 40);
    request.round = test_chance(random, level == "sse" ? 10 : 50);
    request.peak = isLegacy && test_chance(random, 12);
    request.validOnly = isLegacy && test_chance(random, 12);

    int64_t width = test_randomRange(random, 1, test_pick(random, std::array{9, 60, 200, 200}));
    int64_t height = test_randomRange(random, 1, test_pick(random, std::array{9, 50, 50, 100}));
    if (test_chance(random, 4)) {
        width = test_randomRange(random, 1, 3000);
        height = test_randomRange(random, 1, 40);
    } else if (test_chance(random, 3)) {
        width = test_randomRange(random, 1, 40);
        height = test_randomRange(random, 200, 1200);
    }
    if (level == "avx2" && test_chance(random, 3)) { // several strips of columns, with a gain
        request = {.kernelX = 2, .kernelY = 2, .round = test_chance(random, 50), .gain = 0.5F};
        width = 1024 * test_randomRange(random, 1, 2) + test_randomRange(random, 0, 40);
        height = test_randomRange(random, 1, 30);
    }
    const bool isBright = test_chance(random, 2); // sums of just 32 bits, or of a few more
    if (isBright)
        request.kernelX = request.kernelY = test_randomRange(random, 15, 17);
    int32_t pixelSize = call.what->dstSize ? call.what->dstSize : test_chance(random, 25) ? 2 : 1;
    // The last bits of the older path's sums decide one pixel in 2^18, and only when the gain keeps them.
    const bool keepsBits = isLegacy && level == "sse" && test_chance(random, 4);
    if (keepsBits) {
        request = {.kernelX = 31, .kernelY = 31, .gain = 64.0F};
        pixelSize = 2;
        width = 600;
        height = 400;
    }
    const int64_t far = test_chance(random, 10) ? 2000000 : 60;
    const int64_t x = test_randomRange(random, -far, far);
    const int64_t y = test_randomRange(random, -far, far) - test_pick(random, std::array{0, 1020});
    auto& [src, srcMask, resetMask, dst, dstMask] = call.planes;
    src.place(random, {x, y, width, height}, 1);
    if (keepsBits)
        test_fillRandom(src.pixels.get(), static_cast<uint64_t>(x));
    else
        test_fillAnyPixels(random, src.pixels.get());
    if (isBright)
        test_fill(src.pixels.get(), [](int32_t, int32_t) { return 255u; });
    else if (level != "sse" && test_chance(random, 15))
        makeTies(random, &made);
    const oracle_rect all = oracle_destination(src.rect, request);
    call.hasRegion = isLegacy && test_chance(random, 40);
    const oracle_rect region = randomPlace(random, all);
    call.region = {static_cast<int32_t>(region.x), static_cast<int32_t>(region.y),
                   static_cast<int32_t>(region.width), static_cast<int32_t>(region.height)};
    if (call.what->windows || test_chance(random, 60))
        dst.place(random, randomPlace(random, all), pixelSize);
    call.params = test_gaussParams(request);
    call.peak = request.peak;
    call.validOnly = request.validOnly;
    call.transform = {2.0, 0.5, -0.25, 1.5, 7.0, -3.0};
    call.hasPrototype = true;
    // A destination's own depth counts, whatever the prototype says.
    call.isDeep = dst.pixels ? test_chance(random, 50) : pixelSize == 2;
    return made;
}

// Runs one case and counts it for the path that had to serve it.
void runCase(const std::string& level, test_random* random, std::map<oracle_path, uint64_t>* seen)
{
    const engineCase made = randomCase(random, level);
    const oracle_gauss& request = made.request;
    const auto& [src, srcMask, resetMask, dst, dstMask] = made.call.planes;
    const bool isLegacy = made.call.what->dstSize == 0;
    const oracle_rect all = oracle_destination(src.rect, request);
    const oracle_rect asked = dst.pixels            ? dst.rect
                              : made.call.hasRegion ? oracle_rectOf(made.call.region)
                                                    : all;
    const int32_t pixelSize = dst.pixels ? dst.pixels->view().pixelSize
                              : isLegacy ? made.call.isDeep + 1
                                         : made.call.what->dstSize;
    const oracle_call call = {request, src.rect, oracle_written(src.rect, request, asked), pixelSize,
                              !isLegacy || made.call.hasRegion};
    const bool inhibits = test_chance(random, 5);
    const test_inhibition inhibition(inhibits ? "gauss" : "");
    const oracle_path path = inhibits ? oracle_path::reference : oracle_pathOf(level, call);
    SCOPED_TRACE(std::string(made.call.what->name) + ", path " + std::to_string(static_cast<int>(path)) +
                 ", kernel " + std::to_string(request.kernelX) + "x" + std::to_string(request.kernelY) +
                 ", gain " + std::to_string(request.gain));
    const bool isWritten = !call.written.isNull();
    const oracle_values values =
        isWritten ? oracle_smoothBy(path, src.pixels->view(), call) : oracle_values{call.written, {}};

    // The fixed paths return what the handler answered last, even when that is to go on.
    constexpr qip_status goOn = 7;
    const bool isFixed = path == oracle_path::sevenTap || path == oracle_path::smallKernel;
    const bool answers = isLegacy && isFixed && isWritten && !oracle_polls(path, call).empty();
    test_allocator allocator;
    const test_attention attention(1, isLegacy ? goOn : QIP_OK);
    // The seven-tap path takes no memory.
    const bool takesNone = isLegacy && dst.pixels && path == oracle_path::sevenTap;
    const test_outcome outcome =
        test_run(made.call, false, [&] { allocator.arm(takesNone ? 1 : 0, true); });
    EXPECT_EQ(outcome.status, answers ? goOn : QIP_OK);
    // The 8-bit function of windows asks once before. Polls are foretold but where rows lie beyond one
    // reflection for long.
    const int64_t mostKernel = path == oracle_path::reference ? src.rect.height / 3 : 300;
    if (!isWritten || request.kernelY <= mostKernel) {
        const bool asksFirst = made.call.what->windows && pixelSize == 1 && !all.isNull();
        EXPECT_EQ(attention.polls(), asksFirst + (isWritten ? std::ssize(oracle_polls(path, call)) : 0));
    }
    test_expectPlane(dst, outcome.dst, isLegacy || !all.isNull(), isLegacy ? call.written : all, values);
    // Also when nothing is written. Single precision keeps a few 1e-4 through the composition of
    // coordinates below about 3000.
    const bool isSmall = std::max(std::abs(all.x), std::abs(all.y)) < 150 &&
                         std::max({all.width, all.height, request.kernelX, request.kernelY}) < 300;
    if (isSmall && !made.call.what->windows && (isLegacy || !all.isNull()))
        test_expectCentres(made.call, outcome, isLegacy ? oracle_rect{0, 0, 8, 8} : all, 5e-3);
    if (isLegacy) {
        EXPECT_TRUE(!made.call.hasRegion || test_sameRect(call.written, outcome.region));
        EXPECT_EQ(outcome.dst.pixelSize, pixelSize);
        const float zScale = isWritten && !request.peak ? 1.5F * request.gain : 1.0F;
        EXPECT_TRUE(outcome.zScale == zScale || (std::isnan(outcome.zScale) && std::isnan(zScale)))
            << outcome.zScale << " instead of " << zScale;
    }
    (*seen)[path] += isWritten;
}

} // namespace

TEST(GaussEngines, EqualADirectConvolution)
{
    const uint64_t perPath = test_caseCount(400);
    test_atEveryLevel([&](const std::string& level) {
        std::vector<oracle_path> paths = {oracle_path::reference};
        if (level == "sse")
            paths = {oracle_path::older};
        if (level == "avx2")
            paths = {oracle_path::sevenTap, oracle_path::smallKernel, oracle_path::general};
        std::map<oracle_path, uint64_t> seen;
        uint64_t number = 0;
        for (const oracle_path path : paths)
            for (; seen[path] < perPath && !HasFailure(); ++number) {
                ASSERT_LT(number, 40 * perPath);
                SCOPED_TRACE(test_caseName(number));
                test_random random = test_randomFor(number);
                runCase(level, &random, &seen);
            }
    });
}

// ---- pixels by hand ----

namespace
{

// All pixels of a smoothed image of one value.
struct flatCase {
    std::string level;
    oracle_gauss request;
    int32_t value, expected;
    int32_t pixelSize = 1;
    int32_t width = 40, height = 40;
    bool hasRegion = false;
    int direction = FE_TONEAREST; // of the calling thread
};

void expectFlat(const flatCase& flat)
{
    const oracle_gauss& request = flat.request;
    test_random random = {};
    test_call call;
    call.what = test_exports().data();
    call.params = test_gaussParams(request);
    call.peak = request.peak;
    call.hasPrototype = true;
    call.isDeep = flat.pixelSize == 2;
    call.hasRegion = flat.hasRegion;
    call.region = {-100, -100, 400, 400};
    call.planes[test_src].place(&random, {0, 0, flat.width, flat.height}, 1);
    test_fill(call.planes[test_src].pixels.get(),
              [&](int32_t, int32_t) { return static_cast<uint32_t>(flat.value); });
    const std::vector<uint16_t> seen =
        test_run(call, false, [&] { std::fesetround(flat.direction); }).dst.pixels;
    std::fesetround(FE_TONEAREST);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen, std::vector<uint16_t>(seen.size(), static_cast<uint16_t>(flat.expected)))
        << "kernel " << request.kernelX << " value " << flat.value << " gain " << request.gain;
}

} // namespace

// 3 becomes 2 on the seven-tap and the older path, and stays 3 where 3 * 729 is multiplied by 1 / 729;
// twice 200 is clamped on the small-kernel path, and wraps elsewhere.
TEST(GaussEngines, ThePathDecidesThePixels)
{
    const oracle_gauss one{.kernelX = 1, .kernelY = 1}, two{.kernelX = 2, .kernelY = 2};
    const auto with = [](oracle_gauss request, float gain, bool round = false) {
        request.gain = gain;
        request.round = round;
        return request;
    };
    const auto sampled = [](oracle_gauss request, int64_t x, int64_t y) {
        request.sampleX = x;
        request.sampleY = y;
        return request;
    };
    oracle_gauss peak = two, peakRounded = with(two, 1.0F, true);
    peak.peak = peakRounded.peak = true;
    const flatCase cases[] = {
        {"plain", two, 3, 3},
        {"plain", two, 1, 0},
        {"plain", with(one, 2.0F), 200, 144},
        {"plain", peak, 10, 148, 2},
        {"plain", peakRounded, 10, 149, 2},

        {"sse", two, 3, 2},
        {"sse", with(two, 1.0F, true), 3, 3},         // rounds: declined
        {"sse", with(one, 3.0F), 100, 44},            // no power of two: declined
        {"sse", sampled(two, 9, 9), 3, 3, 1, 80, 90}, // too narrow
        {"sse", sampled(two, 9, 9), 3, 3, 1, 90, 80}, // too low
        {"sse", sampled(two, 9, 9), 3, 2, 1, 81, 81},

        {"avx2", two, 3, 2},
        {"avx2", two, 3, 2, 1, 5, 5},
        {"avx2", two, 3, 2, 1, 33, 33, true},
        {"avx2", two, 3, 3, 1, 32, 99, true}, // the reference path
        {"avx2", two, 3, 3, 1, 99, 32, true},
        {"avx2", sampled(two, 3, 5), 3, 2},
        {"avx2", two, 3, 3, 2}, // the general path
        {"avx2", two, 1, 0, 2},
        {"avx2", with(two, 1.0F, true), 3, 3},
        {"avx2", with(two, 0.5F, true), 3, 2}, // 1.5 and 2.5, to the even one
        {"avx2", with(two, 0.5F, true), 5, 2},
        {"avx2", with(two, 100.0F, true), 255, 255},
        {"avx2", with(two, 200.0F, true), 255, 0}, // beyond 32767
        {"avx2", with(one, 2.0F), 200, 255},
        {"avx2", with(one, 2.0F), 200, 400, 2},
        {"avx2", sampled(with(one, 2.0F), 3, 3), 200, 255},
        {"avx2", sampled(with(one, 2.0F), 4, 1), 200, 144}, // the general path
        {"avx2", with(one, 1.5F), 1, 2},
        {"avx2", with(one, 1.5F), 3, 4}, // 4.5, to the even one, though the request truncates
        {"avx2", with(one, 1.5F), 3, 5, 1, 40, 40, false, FE_UPWARD},
        {"avx2", with(two, 0.5F, true), 5, 2, 1, 40, 40, false, FE_UPWARD}, // to the even one all the same
        {"avx2", peak, 10, 148, 2},
        {"avx2", peakRounded, 10, 149, 2},
        {"avx2", peakRounded, 10, 10}, // the fixed paths do not look at the peak flag
    };
    test_atEveryLevel([&](const std::string& level) {
        for (const flatCase& flat : cases)
            if (flat.level == level)
                expectFlat(flat);
    });
}
