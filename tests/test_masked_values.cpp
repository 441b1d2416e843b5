// Masked smoothing against a direct convolution: random requests at every processor level, with every
// number of threads, inhibited or not; and flat pictures by hand.
#include "support/any_call.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qbase/jobs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

namespace
{

// ---- requests ----

oracle_rect destinationOf(const oracle_rect& source, const qip_gaussParams& params)
{
    return oracle_destination(source, test_gaussRequest(params));
}

qip_gaussParams randomParams(test_random* random, int32_t largestKernel)
{
    const auto any = [&](const auto& values) {
        return test_pick(random, values);
    };
    qip_gaussParams params = test_gaussParams(1, 0);
    const int most = any(std::array{1, 2, 2, 3, 3, 8, 15, 20, 63});
    for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
        *kernel = std::min(largestKernel, test_randomInt(random, 0, most));
    // Around the size from which sums have 64 bits.
    if (test_chance(random, 8))
        params.kernelSizeX = std::min(largestKernel, test_randomInt(random, 14, 17));
    for (int32_t* sample : {&params.sampleX, &params.sampleY})
        *sample = test_randomInt(random, 1, any(std::array{1, 1, 1, 2, 3, 7}));
    const double powers[] = {2.0, 2.0, 4.0, 64.0, 2.0000005, 1.9999995, 2.00001, 0.5};
    // Faint ones make pixels of 0 or 1.
    const double ends[] = {0.0021, 0.003, 0.0037, 1e-5, 1.3e-5, 1e-300, 60000.0, 70000.0, 7e13};
    const double number = static_cast<double>(test_randomInt(random, 1, 1000000)) / 277777.0;
    params.gain = any(std::array{1.0, 1.0, 1.0, 0.3, 1.75, 3.0, 100.0, number, any(powers), any(ends)});
    params.round = test_chance(random, 50) ? test_anyRound : 0;
    params.maskParams.mode = test_chance(random, 50);
    params.maskParams.resultMode = test_chance(random, 50);
    params.maskParams.threshold = any(std::array{0.0, 0.1, 0.5, 0.5, 0.8, 0.999, 1.0, 1e-9});
    return params;
}

// Mostly small, some smaller than the kernel; a few large enough for bands.
oracle_rect randomSource(test_random* random)
{
    const int64_t far = test_chance(random, 10) ? 1 << 28 : 40;
    const int64_t x = test_randomRange(random, -far, far);
    const int64_t y = test_randomRange(random, -far, far);
    if (test_chance(random, 5))
        return {x, y, test_randomRange(random, 130, 400), test_randomRange(random, 130, 400)};
    if (test_chance(random, 3)) // of many bands, the last of which may be too low for fixed point
        return {x, y, test_randomRange(random, 1200, 1600), test_randomRange(random, 130, 170)};
    if (test_chance(random, 10))
        return {x, y, test_randomRange(random, 1, 200), test_randomRange(random, 1, 120)};
    if (test_chance(random, 50))
        return {x, y, test_randomRange(random, 9, 60), test_randomRange(random, 9, 60)};
    return {x, y, test_randomSize(random), test_randomSize(random)};
}

// All that the source yields, a part of it, or beyond it, sometimes beside it.
oracle_rect randomDestination(test_random* random, const oracle_rect& all)
{
    if (all.isNull() || test_chance(random, 40))
        return {all.x, all.y, std::max<int64_t>(all.width, 1), std::max<int64_t>(all.height, 1)};
    const int64_t x = test_randomRange(random, test_chance(random, 50) ? 0 : -9, all.width);
    const int64_t y = test_randomRange(random, test_chance(random, 50) ? 0 : -9, all.height);
    return {all.x + x, all.y + y, test_randomRange(random, 1, all.width + 9),
            test_randomRange(random, 1, all.height + 9)};
}

// Either kind or its opposite.
void placeMask(test_random* random, test_placed* mask, const oracle_rect& rect)
{
    test_placeMask(random, mask, rect);
    const uint32_t flip = test_chance(random, 30) ? 255 : 0;
    const test_view view = mask->pixels->view();
    test_fill(mask->pixels.get(), [=](int32_t x, int32_t y) { return test_pixel(view, x, y) ^ flip; });
}

test_call randomRequest(test_random* random, const test_export& what)
{
    test_call made;
    made.what = &what;
    made.params = randomParams(random, what.masked->largestKernel());
    auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    src.place(random, randomSource(random), what.srcSize);
    if (src.rect.width > 900)
        made.params.kernelSizeX = made.params.kernelSizeY = 1;
    test_fillAnyPixels(random, src.pixels.get());
    made.transform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};
    if (test_chance(random, 90))
        placeMask(random, &srcMask, src.rect);
    if (test_chance(random, 40))
        placeMask(random, &resetMask, src.rect);
    // What is absent is null, or, where that counts as absent, an address without pixels behind it.
    srcMask.isGiven = srcMask.pixels || test_chance(random, 50);
    resetMask.isGiven = resetMask.pixels || test_chance(random, 50);
    dstMask.isGiven = test_chance(random, 60);
    if (what.windows || test_chance(random, 50)) {
        dst.place(random, randomDestination(random, destinationOf(src.rect, made.params)), what.dstSize);
        if (dstMask.isGiven)
            dstMask.place(random, dst.rect, 1);
    }
    return made;
}

// ---- what is expected ----

struct expectation {
    oracle_rect all; // what the source yields
    oracle_masked call;
    oracle_maskedPlanes planes; // nothing when nothing is written
};

// With the level, the inhibition and the number of threads that the call is to meet.
expectation expect(const test_call& made, bool isFast, int32_t threads)
{
    const auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    const oracle_rect all = destinationOf(src.rect, made.params);
    const oracle_rect written = dst.pixels ? oracle_intersection(all, dst.rect).orZeros() : all;
    expectation expected = {all,
                            {made.params, made.what->srcSize, made.what->dstSize, &src, &srcMask,
                             &resetMask, written, isFast, threads},
                            {{written, {}}, {written, {}}}};
    if (!written.isNull())
        expected.planes = oracle_smoothMasked(expected.call);
    return expected;
}

// The bands of a call in either arithmetic.
std::pair<int64_t, int64_t> bandsOf(const expectation& expected)
{
    if (expected.call.written.isNull() || !expected.call.srcMask->pixels)
        return {0, 0};
    const auto bands = oracle_maskedBands(expected.call);
    const auto fixed = std::count_if(bands.begin(), bands.end(), [](const auto& b) { return b.isFixed; });
    return {fixed, std::ssize(bands) - fixed};
}

// ---- running ----

void run(const test_call& made, const expectation& expected)
{
    const auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    const test_outcome seen = test_run(made);
    ASSERT_EQ(seen.status, QIP_OK);
    test_expectPlane(dst, seen.dst, true, expected.all, expected.planes.pixels);
    test_expectPlane(dstMask, seen.mask, dstMask.isGiven, expected.all, expected.planes.mask);
    if (made.what->windows)
        return;
    const bool isWritten = !expected.call.written.isNull();
    EXPECT_EQ(seen.hasTransform, isWritten);
    EXPECT_TRUE(seen.mask.client == (dstMask.isGiven ? seen.dst : test_seenPlane()).client);
    if (isWritten && std::abs(src.rect.x) <= 40 && std::abs(src.rect.y) <= 40)
        test_expectCentres(made, seen, expected.all, 1e-9);
}

std::vector<std::string> levels()
{
    std::vector<std::string> all;
    test_atEveryLevel([&](const std::string& level) { all.push_back(level); });
    return all;
}

} // namespace

TEST(MaskedValues, EqualADirectConvolution)
{
    const std::vector<std::string> machine = levels();
    std::vector<test_export> exports = test_exports();
    std::erase_if(exports, [](const test_export& each) { return !each.masked; });
    std::set<int> variants; // those of the sixteen that ran in fixed point
    int64_t fixed = 0;
    int64_t exact = 0;
    int64_t mixed = 0; // calls with bands of both
    int64_t mostBands = 0;
    constexpr uint64_t usualCases = 1500; // with them all variants run; fewer may miss some
    const uint64_t cases = test_caseCount(usualCases);
    test_forCases(cases, [&](test_random& random, uint64_t number) {
        const std::string& level = test_pick(&random, machine);
        const test_export& what = test_pick(&random, exports);
        std::string name;
        if (test_chance(&random, 25))
            name = test_pick(&random,
                             std::array{"*", what.masked->inhibition, "gauss_setMaskResetMaskedWindow8",
                                        "gauss_setMaskResetMaskedWindow16",
                                        "gauss_smoothWindow_noSrcMask16_16", "gauss"});
        ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
        const test_inhibition inhibition(name);
        const test_call made = randomRequest(&random, what);
        const int32_t threads = test_pick(&random, std::array{1, 2, 3, 7, 16});
        SCOPED_TRACE(test_caseName(number) + ": " + what.name + ", level " + level + ", inhibited \"" +
                     name + "\", threads " + std::to_string(threads));
        qsys_jobs_setThreadCount(threads);
        const expectation expected =
            expect(made, test_hasEngines(level) && name != "*" && name != what.masked->inhibition, threads);
        run(made, expected);
        const auto [inFixed, inDouble] = bandsOf(expected);
        fixed += inFixed;
        exact += inDouble;
        mixed += inFixed > 0 && inDouble > 0;
        mostBands = std::max(mostBands, inFixed + inDouble);
        const bool resets = made.planes[test_resetMask].pixels || made.params.maskParams.mode == 0;
        const bool isWide = std::max(made.params.kernelSizeX, made.params.kernelSizeY) > 15;
        if (inFixed > 0)
            variants.insert(made.planes[test_dstMask].isGiven + 2 * resets + 4 * isWide +
                            8 * (made.params.maskParams.resultMode == 1));
    });
    qsys_jobs_setThreadCount(0);
    qsys_cpuinfo_limitLevel("auto");
    if (HasFailure())
        return;
    EXPECT_GT(exact, 0);
    const bool isWhole =
        fixed > 0 && (cases < usualCases || (variants.size() == 16 && mixed > 0 && mostBands > 7));
    EXPECT_TRUE(isWhole || !test_hasEngines(machine.back()))
        << fixed << " bands in fixed point, " << variants.size() << " variants, " << mixed << " mixed, "
        << mostBands << " bands";
}

// All pixels of a flat picture with kernel size 2, whose mask has no gaps, are full.
TEST(MaskedValues, FlatPicturesByHand)
{
    const struct {
        const char* name;
        int32_t value;
        bool round;
        double gain;
        int64_t fixed; // expected in fixed point, and in double precision
        int64_t exact;
    } cases[] = {
        {"qip_gauss_smoothMaskedWindow8_8", 200, false, 1.0, 199, 200}, // 1 / N is rounded down
        {"qip_gauss_smoothMaskedWindow8_8", 200, true, 1.0, 200, 200},
        {"qip_gauss_smoothMaskedWindow8_8", 200, true, 1.75, 94, 255}, // 350 wraps or is clamped
        {"qip_gauss_smoothMaskedWindow8_8", 200, false, 2.0, 255, 255},
        {"qip_gauss_smoothMaskedWindow8_8", 255, true, 0.0021, 1, 1}, // the half is the 32nd bit
        {"qip_gauss_smoothMaskedWindow8_16", 200, true, 1.75, 350, 350},
        {"qip_gauss_smoothMaskedWindow8_16", 200, false, 2.0, 400, 400},
        {"qip_gauss_smoothMaskedWindow16_16", 40000, true, 1.75, 4464, 65535},
        {"qip_gauss_smoothMaskedWindow16_16", 40000, false, 2.0, 65535, 65535},
    };
    qsys_jobs_setThreadCount(1);
    test_atEveryLevel([&](const std::string& level) {
        for (const auto& flat : cases)
            for (const oracle_maskedExport& what : oracle_maskedExports()) {
                if (std::string(flat.name) != what.name)
                    continue;
                SCOPED_TRACE(level + ": " + flat.name + ", gain " + std::to_string(flat.gain));
                const oracle_rect rect = {0, 0, 21, 20};
                test_pixels pixels({21, 20, what.srcSize});
                test_fill(&pixels, [&](int32_t, int32_t) { return static_cast<uint32_t>(flat.value); });
                const test_pixels mask({21, 20, 1}), written({21, 20, what.dstSize}); // canaries: valid
                const test_plane src(&pixels, rect), srcMask(&mask, rect), dst(&written, rect);
                qip_gaussParams params = test_gaussParams(1, 2, flat.gain);
                params.round = flat.round;
                oracle_maskedArguments a = {.params = &params};
                a.srcWin = &src.windowConst;
                a.srcMaskWin = &srcMask.windowConst;
                a.dstWin = &dst.window;
                EXPECT_EQ(what.call(a), QIP_OK);
                const auto expected =
                    static_cast<uint16_t>(test_hasEngines(level) ? flat.fixed : flat.exact);
                EXPECT_TRUE(test_samePixels(test_grid(21, 20, expected), written.view()));
            }
    });
    qsys_jobs_setThreadCount(0);
}
