// Masked smoothing against a direct convolution: random requests at every processor level, with every
// number of threads, inhibited or not; what bands and parts of a picture have in common with all of it.
#include "support/oracle_masked.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qbase/jobs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <set>

namespace
{

constexpr auto threadCounts = std::array{1, 2, 3, 7, 16};

// ---- requests ----

struct request {
    const oracle_maskedExport* what;
    qip_gaussParams params;
    test_placed src, srcMask, resetMask, dst, dstMask;
    bool wantsMask;
    int32_t threads;
};

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
    if (test_chance(random, 3))
        return {x, y, test_randomRange(random, 130, 400), test_randomRange(random, 130, 400)};
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

void placeMask(test_random* random, test_placed* mask, const oracle_rect& rect)
{
    mask->place(random, rect, 1);
    test_grid values =
        test_randomMask(random, static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height),
                        test_randomRange(random, 0, test_maskKinds - 1));
    if (test_chance(random, 30))
        for (uint16_t& value : values.values)
            value ^= 255;
    test_fill(mask->pixels.get(), values);
}

request randomRequest(test_random* random, const oracle_maskedExport& what)
{
    request made = {};
    made.what = &what;
    made.params = randomParams(random, what.largestKernel());
    made.threads = test_pick(random, threadCounts);
    made.src.place(random, randomSource(random), what.srcSize);
    test_fillAnyPixels(random, made.src.pixels.get());
    if (test_chance(random, 90))
        placeMask(random, &made.srcMask, made.src.rect);
    if (test_chance(random, 40))
        placeMask(random, &made.resetMask, made.src.rect);
    made.wantsMask = test_chance(random, 60);
    if (what.windows || test_chance(random, 50)) {
        made.dst.place(random, randomDestination(random, destinationOf(made.src.rect, made.params)),
                       what.dstSize);
        if (made.wantsMask)
            made.dstMask.place(random, made.dst.rect, 1);
    }
    return made;
}

// Some numbers of a request, for a failure.
std::string describe(const request& made)
{
    const qip_gaussParams& p = made.params;
    const auto size = [](const test_placed& plane) {
        return plane.pixels ? std::to_string(plane.rect.x) + "," + std::to_string(plane.rect.y) + " " +
                                  std::to_string(plane.rect.width) + "x" + std::to_string(plane.rect.height)
                            : "none";
    };
    return std::string(made.what->name) + ", source " + size(made.src) + ", source mask " +
           size(made.srcMask) + ", reset mask " + size(made.resetMask) + ", destination " + size(made.dst) +
           (made.wantsMask ? " with mask" : "") + ", kernel " + std::to_string(p.kernelSizeX) + "x" +
           std::to_string(p.kernelSizeY) + ", sampling " + std::to_string(p.sampleX) + "x" +
           std::to_string(p.sampleY) + ", gain " + std::to_string(p.gain) + (p.round ? ", rounding" : "") +
           ", mode " + std::to_string(p.maskParams.mode) + ", result mode " +
           std::to_string(p.maskParams.resultMode) + ", threshold " +
           std::to_string(p.maskParams.threshold) + ", threads " + std::to_string(made.threads);
}

// ---- what is expected ----

struct expectation {
    oracle_rect all; // what the source yields
    oracle_masked call;
    oracle_maskedPlanes planes; // nothing when nothing is written
};

// With the level, the inhibition and the number of threads that the call is to meet.
expectation expect(const request& made, bool isFast)
{
    const oracle_rect all = destinationOf(made.src.rect, made.params);
    const oracle_rect written = made.dst.pixels ? oracle_intersection(all, made.dst.rect).orZeros() : all;
    expectation expected = {all,
                            {made.params, made.what->srcSize, made.what->dstSize, &made.src, &made.srcMask,
                             &made.resetMask, written, isFast, made.threads},
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

// Two transforms are equal at three points, so everywhere when they are linear.
void expectSameTransform(const qmath_xformPtrhConst* a, const qmath_xformPtrhConst* b)
{
    for (const qmath_point& point : {qmath_point{0.0, 0.0}, {64.0, -3.0}, {5.0, 40.0}}) {
        qmath_point first = point;
        qmath_point second = point;
        EXPECT_EQ(qmath_xformPtrhConst_mapPoint(a, &first), 0);
        EXPECT_EQ(qmath_xformPtrhConst_mapPoint(b, &second), 0);
        EXPECT_EQ(first.x, second.x);
        EXPECT_EQ(first.y, second.y);
    }
}

constexpr qmath_xformLinear before = {3.0, 0.0, 0.0, 3.0, 5.0, 7.0};

void run(test_random* random, const request& made, const expectation& expected)
{
    test_plane src = made.src.over();
    test_plane srcMask = made.srcMask.over();
    test_plane resetMask = made.resetMask.over();
    test_plane dst = made.dst.over();
    test_plane dstMask = made.dstMask.over();
    test_setRandomTransform(random, &src.image.record);
    for (test_plane* plane : {&dst, &dstMask})
        EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&plane->image.record, &before), 0);
    oracle_maskedArguments a = {
        &made.params,           &src.image.record,     &srcMask.image.record, &resetMask.image.record,
        &dst.image.record,      &dstMask.image.record, &src.windowConst,      &srcMask.windowConst,
        &resetMask.windowConst, &dst.window,           &dstMask.window};
    // What is absent is null, or, where that counts as absent, an address without pixels behind it.
    if (!made.srcMask.pixels && test_chance(random, 50))
        a.srcMask = nullptr, a.srcMaskWin = nullptr;
    if (!made.resetMask.pixels && test_chance(random, 50))
        a.resetMask = nullptr, a.resetMaskWin = nullptr;
    if (!made.wantsMask) {
        a.dstMask = nullptr;
        if (test_chance(random, 50))
            a.dstMaskWin = nullptr;
    }
    ASSERT_EQ(made.what->call(a), QIP_OK);

    test_expectPlane(made.dst, dst, true, expected.all, expected.planes.pixels);
    test_expectPlane(made.dstMask, dstMask, made.wantsMask, expected.all, expected.planes.mask);
    const bool isWritten = !expected.call.written.isNull();
    if (made.what->windows || (!isWritten && !made.dst.pixels))
        return;
    test_image like;
    test_image likeMask;
    for (test_image* image : {&like, &likeMask})
        EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&image->record, &before), 0);
    if (isWritten) {
        EXPECT_EQ(gauss_udpateDstXform(&src.image.record, &made.params, &like.record,
                                       made.wantsMask ? &likeMask.record : nullptr),
                  0);
    }
    expectSameTransform(&like.record.imageFromClient, &dst.image.record.imageFromClient);
    expectSameTransform(&likeMask.record.imageFromClient, &dstMask.image.record.imageFromClient);
}

// The part of `values` that lies in `rect`.
std::vector<int64_t> cut(const oracle_values& values, const oracle_rect& rect)
{
    std::vector<int64_t> part;
    for (int64_t y = rect.y; y < rect.y + rect.height; ++y)
        for (int64_t x = rect.x; x < rect.x + rect.width; ++x)
            part.push_back(values.at(x, y));
    return part;
}

// Calls the window form over a rectangle of the destination.
oracle_maskedPlanes smoothInto(const request& made, const oracle_rect& rect)
{
    test_random random = {};
    test_placed dst, dstMask;
    dst.place(&random, rect, made.what->dstSize);
    dstMask.place(&random, rect, 1);
    const test_plane planes[] = {made.src.over(), made.srcMask.over(), made.resetMask.over(), dst.over(),
                                 dstMask.over()};
    oracle_maskedArguments a = {.params = &made.params};
    a.srcWin = &planes[0].windowConst;
    a.srcMaskWin = &planes[1].windowConst;
    a.resetMaskWin = &planes[2].windowConst;
    a.dstWin = &planes[3].window;
    a.dstMaskWin = &planes[4].window;
    EXPECT_EQ(made.what->call(a), QIP_OK);
    const test_grid pixels(dst.pixels->view());
    const test_grid mask(dstMask.pixels->view());
    return {{rect, {pixels.values.begin(), pixels.values.end()}},
            {rect, {mask.values.begin(), mask.values.end()}}};
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
    std::set<int> variants; // those of the sixteen that ran in fixed point
    int64_t fixed = 0;
    int64_t exact = 0;
    constexpr uint64_t usualCases = 1500; // with them all variants run; fewer may miss some
    const uint64_t cases = test_caseCount(usualCases);
    test_forCases(cases, [&](test_random& random, uint64_t number) {
        const std::string& level = test_pick(&random, machine);
        const oracle_maskedExport& what = test_pick(&random, oracle_maskedExports());
        std::string name;
        if (test_chance(&random, 25))
            name = test_pick(&random, std::array{"*", what.inhibition, "gauss_setMaskResetMaskedWindow8",
                                                 "gauss_setMaskResetMaskedWindow16",
                                                 "gauss_smoothWindow_noSrcMask16_16", "gauss"});
        ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
        const test_inhibition inhibition(name);
        const request made = randomRequest(&random, what);
        SCOPED_TRACE(test_caseName(number) + ", level " + level + ", inhibited \"" + name +
                     "\": " + describe(made));
        qsys_jobs_setThreadCount(made.threads);
        const expectation expected =
            expect(made, test_hasEngines(level) && name != "*" && name != what.inhibition);
        const test_placed* const sources[] = {&made.src, &made.srcMask, &made.resetMask};
        std::vector<test_grid> originals;
        for (const test_placed* source : sources)
            if (source->pixels)
                originals.emplace_back(source->pixels->view());
        run(&random, made, expected);
        auto original = originals.begin();
        for (const test_placed* source : sources)
            if (source->pixels) {
                EXPECT_TRUE(test_samePixels(*original++, source->pixels->view()));
                EXPECT_TRUE(test_undamaged(*source->pixels));
            }
        const auto [inFixed, inDouble] = bandsOf(expected);
        fixed += inFixed;
        exact += inDouble;
        const bool resets = made.resetMask.pixels || made.params.maskParams.mode == 0;
        const bool isWide = std::max(made.params.kernelSizeX, made.params.kernelSizeY) > 15;
        if (inFixed > 0)
            variants.insert(made.wantsMask + 2 * resets + 4 * isWide +
                            8 * (made.params.maskParams.resultMode == 1));
    });
    qsys_jobs_setThreadCount(0);
    qsys_cpuinfo_limitLevel("auto");
    if (HasFailure())
        return;
    EXPECT_GT(exact, 0);
    const bool isWhole = fixed > 0 && (variants.size() == 16 || cases < usualCases);
    EXPECT_TRUE(isWhole || !test_hasEngines(machine.back()))
        << fixed << " bands in fixed point, " << variants.size() << " variants";
}

// Sources that are split, some of them into bands of which the last is too low for fixed point.
TEST(MaskedValues, BandsEqualADirectConvolutionAndTheMaskIsThatOfOneRun)
{
    struct {
        int32_t width, height, kernel, sample;
    } const sizes[] = {{130, 140, 0, 1}, {1540, 161, 1, 1}, {60, 1127, 0, 7}};
    int64_t mixed = 0;
    int64_t bands = 0;
    test_atEveryLevel([&](const std::string& level) {
        uint64_t number = 0;
        for (const auto& size : sizes)
            for (const oracle_maskedExport& what : oracle_maskedExports()) {
                if (!what.windows)
                    continue;
                test_random random = test_randomFor(number++);
                request made = {};
                made.what = &what;
                made.params = randomParams(&random, 0);
                made.params.gain = 1.75;
                made.params.kernelSizeX = made.params.kernelSizeY = size.kernel;
                made.params.sampleX = made.params.sampleY = size.sample;
                made.src.place(&random, {3, -7, size.width, size.height}, what.srcSize);
                test_fillAnyPixels(&random, made.src.pixels.get());
                placeMask(&random, &made.srcMask, made.src.rect);
                const oracle_rect rect = destinationOf(made.src.rect, made.params);
                made.dst.rect = rect;
                std::vector<int64_t> mask;
                for (const int threads : threadCounts) {
                    made.threads = threads;
                    SCOPED_TRACE(level + ": " + describe(made));
                    qsys_jobs_setThreadCount(threads);
                    const expectation expected = expect(made, test_hasEngines(level));
                    const oracle_maskedPlanes actual = smoothInto(made, rect);
                    EXPECT_EQ(expected.planes.pixels.values, actual.pixels.values);
                    EXPECT_EQ(expected.planes.mask.values, actual.mask.values);
                    const auto [inFixed, inDouble] = bandsOf(expected);
                    mixed += inFixed > 0 && inDouble > 0;
                    bands = std::max(bands, inFixed + inDouble);
                }
            }
    });
    qsys_jobs_setThreadCount(0);
    EXPECT_GT(bands, 7);
    EXPECT_TRUE(mixed > 0 || !test_hasEngines(levels().back()));
}

// Kernels for which what the mask holds is found out for a few rows and a block of columns at once.
TEST(MaskedValues, ShortKernelsUnderMasksOfLargeAreas)
{
    qsys_jobs_setThreadCount(1);
    test_atEveryLevel([](const std::string& level) {
        test_forCases(test_caseCount(300), [&](test_random& random, uint64_t number) {
            request made = {};
            made.what = &oracle_maskedExports()[1 + 2 * (number % 3)];
            made.params = randomParams(&random, 0);
            made.params.kernelSizeX = test_randomInt(&random, 0, 2);
            made.params.kernelSizeY = test_randomInt(&random, 0, 2);
            made.params.sampleX = made.params.sampleY = 1;
            made.params.maskParams.resultMode = 0;
            made.threads = 1;
            const int width = test_randomInt(&random, 32, 150);
            const int height = test_randomInt(&random, 9, 30);
            const oracle_rect rect = {-3, 5, width, height};
            made.src.place(&random, rect, made.what->srcSize);
            test_fillAnyPixels(&random, made.src.pixels.get());
            made.srcMask.place(&random, rect, 1);
            test_grid mask(width, height, 255);
            // Edges near those of blocks.
            const auto edge = [&](int most, int block, int near) {
                const int place = block * test_randomInt(&random, 0, most / block);
                return std::clamp(place + test_randomInt(&random, -near, near), 0, most);
            };
            for (int area = 0; area < 3; ++area) {
                const int right = edge(width, 16, 3);
                const int left = edge(right, 16, 3);
                const int bottom = edge(height, 4, 1);
                for (int y = edge(bottom, 4, 1); y < bottom; ++y)
                    for (int x = left; x < right; ++x)
                        mask.at(x, y) = 0;
            }
            test_fill(made.srcMask.pixels.get(), mask);
            SCOPED_TRACE(level + ", " + test_caseName(number) + ": " + describe(made));
            const oracle_rect all = destinationOf(rect, made.params);
            const int64_t cut = test_randomRange(&random, 0, 9);
            made.dst.place(&random, {all.x + cut, all.y, all.width - cut, all.height}, made.what->dstSize);
            const expectation expected = expect(made, test_hasEngines(level));
            const oracle_maskedPlanes actual = smoothInto(made, made.dst.rect);
            ASSERT_EQ(expected.planes.pixels.values, actual.pixels.values);
            ASSERT_EQ(expected.planes.mask.values, actual.mask.values);
        });
    });
    qsys_jobs_setThreadCount(0);
}

// Where both are large enough for the same arithmetic.
TEST(MaskedValues, APartEqualsTheSamePartOfTheWhole)
{
    qsys_jobs_setThreadCount(1);
    test_atEveryLevel([](const std::string& level) {
        test_forCases(30, [&](test_random& random, uint64_t number) {
            request made = {};
            made.what = &oracle_maskedExports()[1 + 2 * (number % 3)];
            SCOPED_TRACE(level + ": " + made.what->name);
            made.params = randomParams(&random, 12);
            made.src.place(&random, {-5, 11, 150, 140}, made.what->srcSize);
            test_fillAnyPixels(&random, made.src.pixels.get());
            placeMask(&random, &made.srcMask, made.src.rect);
            if (test_chance(&random, 30))
                placeMask(&random, &made.resetMask, made.src.rect);
            const oracle_rect all = destinationOf(made.src.rect, made.params);
            const oracle_maskedPlanes whole = smoothInto(made, all);
            const oracle_rect part = {all.x + test_randomRange(&random, 0, all.width - 10),
                                      all.y + test_randomRange(&random, 0, all.height - 10), 10, 10};
            const oracle_maskedPlanes actual = smoothInto(made, part);
            EXPECT_EQ(cut(whole.pixels, part), actual.pixels.values);
            EXPECT_EQ(cut(whole.mask, part), actual.mask.values);
        });
    });
    qsys_jobs_setThreadCount(0);
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
                test_random random = {};
                request made = {};
                made.what = &what;
                made.params = test_gaussParams(1, 2, flat.gain);
                made.params.round = flat.round;
                made.src.place(&random, {0, 0, 21, 20}, what.srcSize);
                made.srcMask.place(&random, made.src.rect, 1); // canaries: valid
                test_fill(made.src.pixels.get(),
                          [&](int32_t, int32_t) { return static_cast<uint32_t>(flat.value); });
                const int64_t expected = test_hasEngines(level) ? flat.fixed : flat.exact;
                EXPECT_EQ(smoothInto(made, made.src.rect).pixels.values,
                          std::vector<int64_t>(21 * 20, expected));
            }
    });
    qsys_jobs_setThreadCount(0);
}
