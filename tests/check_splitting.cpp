// Calls that split their rows into bands against the same calls on one thread: every export of the unmasked
// and of the half-resolution family, all that a caller can see of a call, and what the handler is asked.
#include "base/jobs_pool.h"
#include "gauss2/fast.h"
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <array>
#include <system_error>

namespace
{

constexpr int unmaskedExports = 5;
constexpr qmath_xformLinear someTransform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};

// One call of any export, with its own memory. Cases of one number are alike, whatever runs them.
struct testCall {
    const oracle_gauss2Export* half; // null: one of the unmasked exports
    int unmasked;
    test_placed src, srcMask, dst, dstMask;
    bool wantsMask;
    oracle_gauss request;
    qip_gaussParams params;
    int32_t passesX, passesY;
    bool givesRegion;
    std::string inhibited;
};

// What a caller sees of a call: status, places, pixels, transforms.
using outcome = std::vector<double>;

void add(outcome* seen, const qmath_xformLinear& x)
{
    seen->insert(seen->end(), {x.m00, x.m01, x.m10, x.m11, x.tx, x.ty});
}

void add(outcome* seen, const oracle_rect& r)
{
    for (const int64_t number : {r.x, r.y, r.width, r.height})
        seen->push_back(static_cast<double>(number));
}

void add(outcome* seen, const test_view& view)
{
    const test_grid pixels(view);
    seen->insert(seen->end(), pixels.values.begin(), pixels.values.end());
}

void add(outcome* seen, const test_plane& plane)
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

testCall randomCall(test_random* random, int exportNumber)
{
    testCall made = {};
    const auto& halves = oracle_gauss2Exports();
    if (exportNumber >= unmaskedExports)
        made.half = &halves[static_cast<size_t>(exportNumber - unmaskedExports)];
    made.unmasked = exportNumber;
    made.request = randomParams(random);
    if (made.unmasked != 0)
        made.request.peak = made.request.validOnly = false;
    made.params = test_gaussParams(made.request);
    made.passesX = test_randomInt(random, 0, 7);
    made.passesY = test_randomInt(random, 0, 7);
    made.givesRegion = test_chance(random, 40);
    made.inhibited = test_chance(random, 30) ? "*" : "";

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

// qip_gauss itself. It gets a destination, or makes one.
qip_status callLegacy(const testCall& made, outcome* seen)
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

qip_status callUnmasked(const testCall& made, const test_plane& src, test_plane* dst, outcome* seen)
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

// Runs a call over destinations of canaries.
outcome run(const testCall& made)
{
    for (const test_placed* each : {&made.dst, &made.dstMask})
        if (each->pixels)
            test_fill(each->pixels.get(), [](int32_t, int32_t) { return 0x101u * test_canary; });
    const test_inhibition inhibition(made.inhibited);
    test_plane src = made.src.over();
    test_plane srcMask = made.srcMask.over();
    test_plane dst = made.dst.over();
    test_plane dstMask = made.dstMask.over();
    test_setClientFromImage(&src.image.record, someTransform);
    qmath_xformLinear transform = {};
    outcome seen;
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

// ---- no threads ----

void refuseStart()
{
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

// A call that is 300 rows high, row 1023 among them, over all that its source yields.
testCall highCall(int exportNumber, int64_t kernel, const char* inhibited)
{
    test_random random = test_randomFor(static_cast<uint64_t>(exportNumber));
    testCall made = {};
    const oracle_rect source = {0, 850, 50, 300};
    if (exportNumber >= unmaskedExports)
        made.half = &oracle_gauss2Exports()[static_cast<size_t>(exportNumber - unmaskedExports)];
    made.unmasked = exportNumber;
    made.request = {.kernelX = kernel, .kernelY = kernel, .round = true};
    made.params = test_gaussParams(made.request);
    made.passesX = made.passesY = 4;
    made.inhibited = inhibited;
    const int32_t size = made.half ? made.half->pixelSize : 1;
    made.src.place(&random, source, size);
    fill(&random, &made.src);
    const oracle_rect all = made.half ? oracle_gauss2PlanOf(*made.half, source, source).full : source;
    made.dst.place(&random, all, made.half || made.unmasked % 2 || made.unmasked == 0 ? size : 2);
    made.srcMask.place(&random, source, 1);
    made.wantsMask = made.half && made.half->masked;
    if (made.wantsMask)
        made.dstMask.place(&random, all, 1);
    return made;
}

} // namespace

// No thread can be had, so the calling thread runs all bands, and its handler sees every poll. This is the
// first test of the program: no thread may be there already.
TEST(Splitting, AsksTheHandlerInEveryBandAndReturnsItsAnswer)
{
    ASSERT_EQ(base_jobPool_workerCount(), 0);
    base_jobPool_beforeThreadStart = refuseStart;
    const auto exports = unmaskedExports + static_cast<int>(oracle_gauss2Exports().size());
    for (int number = 0; number < exports; ++number)
        for (const int64_t kernel : {1, 2, 5})
            for (const char* inhibited : {"", "*"}) {
                const testCall made = highCall(number, kernel, inhibited);
                if (made.half && kernel != 1)
                    continue;
                SCOPED_TRACE(made.half ? made.half->name : "unmasked " + std::to_string(number));
                SCOPED_TRACE(std::string("inhibited ") + inhibited + ", kernel " + std::to_string(kernel));
                // Answers that are not negative may be results too.
                constexpr qip_status goOn = 7;
                const auto polls = [&](outcome* seen) {
                    const test_attention attention(1, goOn);
                    *seen = run(made);
                    return attention.polls();
                };
                outcome seenAlone;
                outcome seenSplit;
                const int64_t alone = polls(&seenAlone);
                const test_splitting splitting(300, 3);
                const int64_t split = polls(&seenSplit);
                EXPECT_EQ(seenAlone, seenSplit);
                // Only rows that two bands read are asked for twice.
                EXPECT_GE(split, alone);
                EXPECT_LE(split, alone + (made.half ? 0 : 2));
                for (int64_t n = 1; n <= split; ++n) {
                    const qip_status stop = QSYS_FAILURE(0x0abc);
                    const test_attention attention(n, stop, true);
                    const outcome seen = run(made);
                    EXPECT_NE(std::find(seen.begin(), seen.end(), stop), seen.end()) << "poll " << n;
                }
            }
    base_jobPool_beforeThreadStart = nullptr;
}

TEST(Splitting, ChangesNothingThatACallerSees)
{
    const auto exports = unmaskedExports + static_cast<int64_t>(oracle_gauss2Exports().size());
    std::vector<std::string> levels;
    test_atEveryLevel([&](const std::string& level) { levels.push_back(level); });
    test_forCases(test_caseCount(1500), [&](test_random& random, uint64_t) {
        // As many of the unmasked exports, which have more paths, as of the others.
        const bool isHalf = test_chance(&random, 50);
        const auto number = isHalf ? test_randomInt(&random, unmaskedExports, exports - 1)
                                   : test_randomInt(&random, 0, unmaskedExports - 1);
        const testCall made = randomCall(&random, number);
        const std::string& level = test_pick(&random, levels);
        const int32_t threads = test_pick(&random, std::array{1, 2, 3, 7, 16});
        const int64_t leastPixels = test_chance(&random, 60) ? 1 : test_randomRange(&random, 2, 2000);
        SCOPED_TRACE((made.half ? made.half->name : "unmasked " + std::to_string(number)) + ", level " +
                     level + ", " + std::to_string(threads) + " threads, " + std::to_string(leastPixels) +
                     " pixels");
        ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
        const outcome alone = run(made);
        const test_splitting splitting(leastPixels, threads);
        const outcome split = run(made);
        ASSERT_EQ(alone.size(), split.size());
        const auto differs = std::mismatch(alone.begin(), alone.end(), split.begin()).first;
        EXPECT_EQ(differs - alone.begin(), static_cast<int64_t>(alone.size())) << "the first that differs";
    });
    qsys_cpuinfo_limitLevel("auto");
}

// A poll that stops a filter of one direction leaves its destination alone, although bands run side by
// side: those that are made before the last poll go to memory of the library's own.
TEST(Splitting, HalfInOneDirectionWritesNothingBeforeItsLastPoll)
{
    test_pixels source({50, 301, 1});
    test_fillRandom(&source);
    for (const gauss2_filter filter : {gauss2_halfX, gauss2_halfY}) {
        const int32_t width = 50 / gauss2_stepOf(filter.x);
        const int32_t height = 301 / gauss2_stepOf(filter.y);
        const auto smooth = [&](const test_pixels& to) {
            const gauss2_planes<uint8_t> planes = {50,        301,        source.row(0), source.stride(),
                                                   to.row(0), to.stride()};
            return gauss2_fast(filter, planes, 1);
        };
        const test_pixels alone({width, height, 1});
        EXPECT_EQ(smooth(alone), 0);
        const test_splitting splitting(1, 3);
        const test_pixels split({width, height, 1});
        {
            // Of the five polls, the calling thread makes three at least: two in its band, one after all
            // bands.
            const test_attention attention(3, QSYS_E_CANCELLED);
            EXPECT_EQ(smooth(split), QSYS_E_CANCELLED);
            EXPECT_TRUE(test_samePixels(test_grid(width, height, test_canary), split.view()));
        }
        EXPECT_EQ(smooth(split), 0);
        EXPECT_TRUE(test_samePixels(alone.view(), split.view()));
    }
}

TEST(Splitting, TheSettingIsOffAtFirstAndRefusesNegativeNumbers)
{
    EXPECT_EQ(qsys_jobs_getSplitting(), 0);
    EXPECT_EQ(qsys_jobs_setSplitting(INT64_MAX), 0);
    EXPECT_EQ(qsys_jobs_setSplitting(-1), QSYS_E_ARGUMENT);
    EXPECT_EQ(qsys_jobs_getSplitting(), INT64_MAX);
    EXPECT_EQ(qsys_jobs_setSplitting(0), 0);
}
