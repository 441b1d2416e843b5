// The unmasked smoothing at every processor level, through qip_gauss and through the four functions: random
// requests against a direct convolution with the arithmetic of the path that has to serve them, and what
// else a call leaves behind; calls that end in the middle; pixels by hand.
#include "support/faults.h"
#include "support/gauss_calls.h"
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

enum class callForm { legacy, image, window };

// One request with its memory. Without pixels of a destination the call creates or binds one.
struct engineCase {
    callForm form;
    oracle_gauss request;
    int32_t pixelSize; // of the destination
    bool hasRegion;    // whether qip_gauss gets a region; the functions always pass one
    oracle_rect region;
    float zScale;
    test_placed source, destination;
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
    test_fill(made->source.pixels.get(), [&](int32_t, int32_t) { return level; });
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
    made.form = test_pick(
        random, std::array{callForm::legacy, callForm::legacy, callForm::image, callForm::window});
    request.gain = randomGain(random, level);
    if (made.form != callForm::legacy && request.gain <= 0.0F)
        request.gain = 0.125F; // the functions refuse it
    pickKernels(random, &request);
    for (int64_t* const sample : {&request.sampleX, &request.sampleY})
        *sample = test_randomRange(random, 1, test_pick(random, std::array{1, 1, 2, 3, 9}));
    request.round = test_chance(random, level == "sse" ? 10 : 50);
    request.peak = made.form == callForm::legacy && test_chance(random, 12);
    request.validOnly = made.form == callForm::legacy && test_chance(random, 12);
    made.pixelSize = test_chance(random, 25) ? 2 : 1;
    made.zScale = test_chance(random, 50) ? 1.0F : 0.3F;

    int64_t width = test_randomRange(random, 1, test_pick(random, std::array{9, 60, 200, 200}));
    int64_t height = test_randomRange(random, 1, test_pick(random, std::array{9, 50, 50, 100}));
    if (test_chance(random, 2)) {
        width = test_randomRange(random, 1, 3000);
        height = test_randomRange(random, 1, 40);
    } else if (test_chance(random, 3)) {
        width = test_randomRange(random, 1, 40);
        height = test_randomRange(random, 200, 1200);
    }
    // The last bits of the older path's sums decide one pixel in 2^18, and only when the gain keeps them.
    const bool keepsBits = level == "sse" && test_chance(random, 2);
    if (keepsBits) {
        request = {.kernelX = 31, .kernelY = 31, .gain = 64.0F};
        made.pixelSize = 2;
        width = 600;
        height = 400;
    }
    const int64_t far = test_chance(random, 10) ? 2000000 : 60;
    const int64_t x = test_randomRange(random, -far, far);
    const int64_t y = test_randomRange(random, -far, far) - test_pick(random, std::array{0, 1020});
    made.source.place(random, {x, y, width, height}, 1);
    if (keepsBits)
        test_fillRandom(made.source.pixels.get(), static_cast<uint64_t>(x));
    else
        test_fillAnyPixels(random, made.source.pixels.get());
    if (level != "sse" && test_chance(random, 15))
        makeTies(random, &made);
    const oracle_rect all = oracle_destination(made.source.rect, request);
    made.hasRegion = made.form != callForm::legacy || test_chance(random, 40);
    made.region = randomPlace(random, all);
    if (made.form == callForm::window || test_chance(random, 60))
        made.destination.place(random, randomPlace(random, all), made.pixelSize);
    return made;
}

std::string describe(const oracle_gauss& request, oracle_path path)
{
    return "path " + std::to_string(static_cast<int>(path)) + ", kernel " +
           std::to_string(request.kernelX) + "x" + std::to_string(request.kernelY) + ", sampling " +
           std::to_string(request.sampleX) + "x" + std::to_string(request.sampleY) + ", gain " +
           std::to_string(request.gain) + (request.round ? ", rounding" : "") +
           (request.peak ? ", peak" : "");
}

// Polls are foretold but where rows lie beyond one reflection for long.
void expectPolls(int64_t polls, int64_t first, oracle_path path, const oracle_call& call)
{
    const int64_t mostKernel = path == oracle_path::reference ? call.source.height / 3 : 300;
    if (call.written.isNull() || call.request.kernelY <= mostKernel) {
        EXPECT_EQ(polls, first + (call.written.isNull() ? 0 : std::ssize(oracle_polls(path, call))));
    }
}

// The functions bind a destination to `all`, what the source yields.
void runFunction(const engineCase& made, const oracle_call& call, oracle_path path, const oracle_rect& all,
                 const oracle_values& values, test_random* random)
{
    const qip_gaussParams params = test_gaussParams(made.request);
    const bool wide = made.pixelSize == 2;
    const bool isWindow = made.form == callForm::window;
    test_plane source = made.source.over();
    test_plane destination = made.destination.over();
    const test_attention attention;
    if (isWindow) {
        const auto smooth = wide ? qip_gauss_smoothWindow8_16 : qip_gauss_smoothWindow8_8;
        EXPECT_EQ(smooth(&source.windowConst, &destination.window, &params), QIP_OK);
    } else {
        test_setRandomTransform(random, &source.image.record);
        const auto smooth = wide ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8;
        EXPECT_EQ(smooth(&source.image.record, &destination.image.record, &params), QIP_OK);
    }
    expectPolls(attention.polls(), isWindow && !wide && !all.isNull(), path, call);
    test_expectPlane(made.destination, destination, !all.isNull(), all, values);
    // Also when nothing is written. Coordinates are below about 3000, where single precision keeps a few
    // 1e-4 through the composition.
    if (!isWindow && !all.isNull() && std::max(std::abs(all.x), std::abs(all.y)) < 150 &&
        std::max({all.width, all.height, made.request.kernelX, made.request.kernelY}) < 300)
        test_expectCentres(&source.image.record, &destination.image.record, made.request, all, 5e-3);
}

void expectCoords(const qsFXform& source, const qsFXform& destination, const oracle_gauss& request)
{
    qsFXform clientFromSource = {};
    ASSERT_EQ(qsFXformInv(&source, &clientFromSource), 0);
    qsFXform map = {};
    qsFXformCompose(&destination, &clientFromSource, &map);
    test_expectCentres(request, {0, 0, 8, 8}, 1e-3, [&](const qmath_point& p) {
        return qmath_point{map.m00 * p.x + map.m01 * p.y + map.tx, map.m10 * p.x + map.m11 * p.y + map.ty};
    });
}

void runLegacy(const engineCase& made, const oracle_call& call, oracle_path path, const oracle_rect& asked,
               const oracle_values& values, test_random* random)
{
    const bool isGiven = made.destination.pixels != nullptr;
    qsVImage source = made.source.legacy();
    source.clientZScale = made.zScale;
    source.clientCoords = {2.0F, 0.5F, -0.25F, 1.5F, 7.0F, -3.0F};
    qsVImage destination = made.destination.legacy();
    // A destination's own depth counts, whatever the prototype says.
    const bool wide = (made.pixelSize == 2) != (isGiven && test_chance(random, 50));
    const qsGaussParams params = test_legacyParams(made.request, wide ? qsUSImageNull : qsImageNull);
    qsIRegion region = {static_cast<int32_t>(made.region.x), static_cast<int32_t>(made.region.y),
                        static_cast<int32_t>(made.region.width), static_cast<int32_t>(made.region.height)};
    qsVImage* out = nullptr;
    // The fixed paths return what the handler answered last, even when that is to go on.
    constexpr qip_status goOn = 7;
    const bool isFixed = path == oracle_path::sevenTap || path == oracle_path::smallKernel;
    const bool answers = isFixed && !call.written.isNull() && !oracle_polls(path, call).empty();
    const test_attention attention(1, goOn);
    test_allocator allocator;
    // The seven-tap path takes no memory.
    allocator.arm(isGiven && path == oracle_path::sevenTap ? 1 : 0, true);
    ASSERT_EQ(qip_gauss(&source, isGiven ? &destination : nullptr, &params,
                        made.hasRegion ? &region : nullptr, &out),
              answers ? goOn : QIP_OK);
    ASSERT_TRUE(out);
    EXPECT_EQ(out == &destination, isGiven);
    EXPECT_EQ(qsVImageType(out), made.pixelSize == 1 ? QS_IMAGE_TYPE_8 : QS_IMAGE_TYPE_16);
    if (made.hasRegion) {
        EXPECT_TRUE(test_sameRect(call.written, oracle_rectOf(region)));
    }
    const oracle_rect whole = isGiven ? asked : call.written;
    EXPECT_TRUE(test_sameRect(whole, oracle_rectOf(out->region)));
    const float zScale =
        call.written.isNull() || made.request.peak ? 1.0F : made.zScale * made.request.gain;
    EXPECT_TRUE(out->clientZScale == zScale || (std::isnan(out->clientZScale) && std::isnan(zScale)))
        << out->clientZScale << " instead of " << zScale;
    expectPolls(attention.polls(), 0, path, call);
    if (std::max(made.request.kernelX, made.request.kernelY) < 300)
        expectCoords(source.clientCoords, out->clientCoords, made.request);
    if (!testing::Test::HasFailure() && !whole.isNull()) {
        const uint16_t untouched = isGiven ? test_canaryPixel(made.pixelSize) : uint16_t{0};
        test_expectValues(test_legacyView(out), whole, untouched, values);
        EXPECT_TRUE(!isGiven || test_undamaged(*made.destination.pixels));
    }
    if (!isGiven)
        qsImageFree(out);
}

// Runs one case and counts it for the path that had to serve it.
void runCase(const std::string& level, test_random* random, std::map<oracle_path, uint64_t>* seen)
{
    const engineCase made = randomCase(random, level);
    const test_grid before(made.source.pixels->view());
    const oracle_rect all = oracle_destination(made.source.rect, made.request);
    const bool asksRegion = made.form == callForm::legacy && made.hasRegion;
    const oracle_rect asked = made.destination.pixels ? made.destination.rect
                              : asksRegion            ? made.region
                                                      : all;
    const oracle_call call = {made.request, made.source.rect,
                              oracle_written(made.source.rect, made.request, asked), made.pixelSize,
                              made.hasRegion};
    const bool inhibits = test_chance(random, 5);
    const test_inhibition inhibition(inhibits ? "gauss" : "");
    const oracle_path path = inhibits ? oracle_path::reference : oracle_pathOf(level, call);
    SCOPED_TRACE(describe(made.request, path));
    oracle_values values = {call.written, {}};
    if (!call.written.isNull())
        values = oracle_smoothBy(path, made.source.pixels->view(), call);
    if (made.form == callForm::legacy)
        runLegacy(made, call, path, asked, values, random);
    else
        runFunction(made, call, path, all, values, random);
    EXPECT_TRUE(test_samePixels(before, made.source.pixels->view()));
    EXPECT_TRUE(test_undamaged(*made.source.pixels));
    (*seen)[path] += !call.written.isNull();
}

} // namespace

TEST(GaussEngines, EqualADirectConvolution)
{
    const uint64_t perPath = test_caseCount(300);
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
                ASSERT_LT(number, 20 * perPath);
                SCOPED_TRACE(test_caseName(number));
                test_random random = test_randomFor(number);
                runCase(level, &random, &seen);
            }
    });
}

// ---- calls that end in the middle ----

namespace
{

// Ends a call at every poll in turn, and at none: the status comes back, the rows finished by then are
// written and no others, a created destination is released, the transform is set by the last call only.
void endAtEveryPoll(const std::string& level, int32_t height, int32_t sample, int32_t kernel,
                    int32_t pixelSize, bool round = false)
{
    SCOPED_TRACE("height " + std::to_string(height) + " sampling " + std::to_string(sample) + " kernel " +
                 std::to_string(kernel) + " pixel size " + std::to_string(pixelSize));
    test_pixels source({34 * sample, height, 1});
    test_fillRandom(&source);
    qip_gaussParams params = test_gaussParams(sample, kernel);
    params.round = round;
    const oracle_gauss request = test_gaussRequest(params);
    const oracle_rect all = {0, 0, 34 * sample, height};
    const oracle_call call = {request, all, oracle_destination(all, request), pixelSize, true};
    const oracle_rect& rect = call.written;
    const oracle_path path = oracle_pathOf(level, call);
    const std::vector<int64_t> polls = oracle_polls(path, call);
    oracle_values values = oracle_smoothBy(path, source.view(), call);

    const test_allocator blocks;
    const test_image image(source, 0, 0);
    qsVImage legacy = test_legacyOver(source, 0, 0);
    legacy.clientZScale = 0.5F;
    const qsGaussParams legacyParams =
        test_legacyParams(request, pixelSize == 1 ? qsImageNull : qsUSImageNull);
    for (size_t n = 1; n <= polls.size() + 1; ++n) {
        SCOPED_TRACE("ended at poll " + std::to_string(n));
        const bool ends = n <= polls.size();
        const qip_status expected = ends ? -4321 : QIP_OK;
        const test_pixels written(
            {static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), pixelSize});
        test_plane destination(&written, rect);
        const auto smooth = pixelSize == 1 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
        {
            const test_attention attention(static_cast<int64_t>(n), -4321);
            EXPECT_EQ(smooth(&image.record, &destination.image.record, &params), expected);
            EXPECT_EQ(attention.polls(), static_cast<int64_t>(std::min(n, polls.size())));
        }
        // The general path may finish its rows some at a time, but has finished them by the next poll.
        const int64_t most = ends ? polls[n - 1] : rect.height;
        const int64_t least = path != oracle_path::general || !ends ? most : n < 2 ? 0 : polls[n - 2];
        const auto isUntouched = [&](int64_t y) {
            const unsigned char* const row = written.row(y);
            return std::all_of(row, row + rect.width * pixelSize,
                               [](int byte) { return byte == test_canary; });
        };
        values.rect.height = rect.height;
        while (values.rect.height > 0 && isUntouched(values.rect.height - 1))
            --values.rect.height;
        EXPECT_LE(values.rect.height, most);
        EXPECT_GE(values.rect.height, least);
        test_expectValues(written.view(), rect, test_canaryPixel(pixelSize), values);
        if (ends) {
            EXPECT_EQ(test_imageFromClient(&destination.image.record),
                      (qmath_xformLinear{1.0, 0.0, 0.0, 1.0, 0.0, 0.0}));
        }

        qsVImage bound =
            test_legacyOver(written, static_cast<int32_t>(rect.x), static_cast<int32_t>(rect.y));
        for (qsVImage* const given : {&bound, static_cast<qsVImage*>(nullptr)}) {
            const int64_t before = blocks.liveBlocks();
            const test_attention attention(static_cast<int64_t>(n), -4321);
            qsVImage other = {};
            qsVImage* out = &other;
            EXPECT_EQ(qip_gauss(&legacy, given, &legacyParams, nullptr, &out), expected);
            if (ends || given)
                EXPECT_EQ(out, ends && path != oracle_path::reference ? &other : given);
            else
                qsImageFree(out);
            EXPECT_EQ(blocks.liveBlocks(), before);
        }
        EXPECT_EQ(bound.clientZScale, 0.5F);
    }
}

} // namespace

TEST(GaussEngines, TheAttentionHandlerEndsTheCallAndWrittenRowsStay)
{
    test_atEveryLevel([](const std::string& level) {
        for (const int32_t pixelSize : {1, 2}) {
            endAtEveryPoll(level, 2100, 1, 1, pixelSize);
            endAtEveryPoll(level, 1100, 2, 2, pixelSize);
            endAtEveryPoll(level, 300, 3, 5, pixelSize);
            endAtEveryPoll(level, 200, 1, 63, pixelSize); // the walk begins at row -94
            endAtEveryPoll(level, 66, 2, 0, pixelSize);
            endAtEveryPoll(level, 200, 5, 6, pixelSize, true);
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
    test_pixels pixels({flat.width, flat.height, 1});
    test_fill(&pixels, [&](int32_t, int32_t) { return static_cast<uint32_t>(flat.value); });
    const qsVImage source = test_legacyOver(pixels, 0, 0);
    const qsGaussParams params =
        test_legacyParams(request, flat.pixelSize == 1 ? qsImageNull : qsUSImageNull);
    qsIRegion region = {-100, -100, 400, 400};
    qsVImage* out = nullptr;
    std::fesetround(flat.direction);
    ASSERT_EQ(qip_gauss(&source, nullptr, &params, flat.hasRegion ? &region : nullptr, &out), QIP_OK);
    std::fesetround(FE_TONEAREST);
    const test_view view = test_legacyView(out);
    EXPECT_TRUE(
        test_samePixels(test_grid(view.width, view.height, static_cast<uint16_t>(flat.expected)), view))
        << "kernel " << request.kernelX << " value " << flat.value << " gain " << request.gain;
    qsImageFree(out);
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
