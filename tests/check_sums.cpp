// The fast forms of the paths for kernels of any size, which take their sums from the kernels of
// gauss/box_sums.h, against the same paths in plain code, on guarded memory.
//
//   check_sums --bench     also times what it has verified, in cycles for each source pixel
#include "frame/level.h"
#include "gauss/box_sums.h"
#include "gauss/reference.h"
#include "unmasked/fast_reference.h"
#include "unmasked/general.h"
#include "unmasked/older.h"
#include "unmasked/plain_sums.h"

#include "support/cycles.h"
#include "support/faults.h"
#include "support/images.h"
#include "support/oracle_gauss.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using path = qip_status (*)(const qsImage*, qsVImage*, const qsGaussParams*, const gauss_request*);

qip_status general(const qsImage* src, qsVImage* dst, const qsGaussParams* params,
                   const gauss_request* request)
{
    if constexpr (frame_has256)
        return unmasked_smoothGeneral(src, dst, params, request);
    return QIP_E_FALLBACK;
}

qip_status fixedPoint(const qsImage* src, qsVImage* dst, const qsGaussParams* params, const gauss_request*)
{
    qsVImage* used = nullptr;
    if constexpr (frame_has256)
        return unmasked_olderEngine(src, dst, params, nullptr, &used);
    return QIP_E_FALLBACK;
}

qip_status reference(const qsImage* src, qsVImage* dst, const qsGaussParams* params, const gauss_request*)
{
    qsVImage* used = nullptr;
    return unmasked_smoothReference(src, dst, params, nullptr, &used);
}

// A fast form, its plain form, and what requests it takes.
struct form {
    const char* level;
    const char* name;
    path fast, plain;
    bool declines; // what is no matter of integers
};

const form forms[] = {{"avx2", "general", general, unmasked_plainGeneral, false},
                      {"sse", "fixed point", fixedPoint, unmasked_plainFixedPoint, true},
                      {"sse", "reference", reference, gauss_smoothReferenceRows, false},
                      {"neon", "reference", reference, gauss_smoothReferenceRows, false}};

qsGaussParams randomParams(test_random* random, bool integersOnly)
{
    const int32_t largest = test_pick(random, std::vector<int32_t>{3, 16, 63, 100});
    qsGaussParams params = {};
    params.kernelSizeX = test_randomInt(random, 0, largest);
    params.kernelSizeY = test_chance(random, 50) ? params.kernelSizeX : test_randomInt(random, 0, largest);
    params.sampleX = test_randomInt(random, 1, test_pick(random, std::vector<int32_t>{1, 1, 9, 60}));
    params.sampleY = test_randomInt(random, 1, test_pick(random, std::vector<int32_t>{1, 1, 9, 60}));
    params.peakNormalize = test_chance(random, 10);
    params.keepFullRegion = 1;
    params.round = !integersOnly && test_chance(random, 50);
    params.gain = std::ldexp(1.0f, test_chance(random, 50) ? 0 : test_randomInt(random, -12, 34));
    if (!integersOnly && test_chance(random, 30))
        params.gain = test_pick(random, std::vector<float>{1.5f, 0.3f, 200.0f, 0.0f, -1.0f, 1e30f, NAN});
    return params;
}

// A picture of columns of `value` and `value + more`.
struct halfway {
    float gain;
    uint32_t value, more;
};
const std::vector<halfway> halfways = {{1.0f, 0, 1}, {1.0f, 48, 1}, {0.5f, 97, 0}, {1.5f, 39, 0}};

void check(uint64_t number, const form& form, int32_t mostWidth)
{
    SCOPED_TRACE(test_caseName(number));
    test_random random = test_randomFor(number);
    qsGaussParams params = randomParams(&random, form.declines);
    // Columns of two values under an even box, and flat pictures with some gains, come out halfway between two
    // whole numbers, where the order of the arithmetic shows.
    const bool isHalfway = number % 8 == 0 && !form.declines;
    const halfway special = test_pick(&random, halfways);
    if (isHalfway) {
        params.kernelSizeX = params.kernelSizeY = test_pick(&random, std::vector<int32_t>{5, 6, 34});
        params.gain = special.gain;
    }
    const int32_t width = test_randomInt(&random, 1, mostWidth);
    const int32_t height = test_randomInt(&random, 1, 200);
    test_pixels pixels(test_randomLayout(&random, width, height, 1));
    if (isHalfway) {
        test_fill(&pixels, [=](int32_t x, int32_t) {
            return special.value + (static_cast<uint32_t>(x) & special.more);
        });
    } else {
        test_fillAnyPixels(&random, &pixels);
    }
    if (form.declines && (width < 9 * params.sampleX || height < 9 * params.sampleY))
        return;
    qsVImage src = test_legacyOver(pixels, test_randomInt(&random, -50, 50), 7);
    src.clientZScale = 1.5F;

    // A destination over a part of what the source yields, or more than that.
    const gauss_area all = gauss_computeDstRegion(gauss_areaOf(&src.region), &params);
    const int64_t left = test_randomRange(&random, -2, all.x.length / 2);
    const int64_t top = test_randomRange(&random, -2, all.y.length / 2);
    const test_layout layout = test_randomLayout(
        &random, test_randomRange(&random, 1, all.x.length - left + 2),
        test_randomRange(&random, 1, all.y.length - top + 2), test_chance(&random, 50) ? 1 : 2);
    const test_pixels made[2] = {test_pixels(layout), test_pixels(layout)};
    int64_t polls[2] = {};
    float zScales[2] = {};
    for (int i = 0; i < 2; ++i) {
        qsVImage dst = test_legacyOver(made[i], static_cast<int32_t>(all.x.start + left),
                                       static_cast<int32_t>(all.y.start + top));
        gauss_request request;
        qsVImage* used = nullptr;
        ASSERT_EQ(gauss_setupReference(&src, &dst, &params, nullptr, &used, &request), 0);
        if (gauss_areaIsNull(request.dst))
            return;
        const test_attention attention;
        EXPECT_EQ((i ? form.fast : form.plain)(&src, used, &params, &request), 0);
        polls[i] = attention.polls();
        zScales[i] = std::isnan(dst.clientZScale) ? 0.0F : dst.clientZScale;
    }
    EXPECT_EQ(polls[0], polls[1]);
    EXPECT_EQ(zScales[0], zScales[1]);
    EXPECT_TRUE(test_undamaged(made[1]));
    EXPECT_TRUE(test_samePixels(made[0].view(), made[1].view()))
        << "kernel " << params.kernelSizeX << "x" << params.kernelSizeY << ", sampled " << params.sampleX
        << "x" << params.sampleY << ", gain " << params.gain << ", round " << params.round;
}

template <class Body>
void forEachForm(const Body& body)
{
    for (const form& each : forms)
        if (qsys_cpuinfo_limitLevel(each.level) == 0) {
            SCOPED_TRACE(std::string(each.level) + ", " + each.name);
            body(each);
        }
    qsys_cpuinfo_limitLevel("auto");
}

} // namespace

// The sums down the columns on their own, group by group, against weights.
template <class Pixel>
void checkColumns(test_random* random, int64_t lanes, const gauss_downKernel<Pixel>& kernel)
{
    constexpr int64_t most = gauss_mostBoxDown<Pixel>;
    const int64_t n = test_chance(random, 20) ? most : test_randomRange(random, 1, most);
    const int64_t width = test_randomRange(random, kernel.blockColumns, 150);
    const int64_t step = test_randomRange(random, 1, 5);
    constexpr int64_t groups = 3;
    const int64_t height = 3 * n + groups * lanes * step;
    test_pixels pixels(test_randomLayout(random, width, height, sizeof(Pixel)));
    test_fillAnyPixels(random, &pixels);
    // Bands of n rows drive the integrators to their ends.
    const bool banded = test_chance(random, 30);
    for (int64_t y = 0; banded && y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            pixels.set(x, y, y / n % 2 ? 0 : std::numeric_limits<Pixel>::max());
    const std::vector<Pixel> zeros(static_cast<size_t>(width));
    std::vector<const Pixel*> rows(static_cast<size_t>(3 * n), zeros.data());
    for (int64_t y = 0; y < height; ++y)
        rows.push_back(reinterpret_cast<const Pixel*>(pixels.row(y)));

    const int64_t blocks = (width + kernel.blockColumns - 1) / kernel.blockColumns;
    std::vector<unsigned char> room(static_cast<size_t>(blocks * kernel.blockState + 64));
    const size_t misplaced = reinterpret_cast<uintptr_t>(room.data()) % 64;
    gauss_boxDown<Pixel> down = {};
    down.state = room.data() + (64 - misplaced);
    down.rows = rows.data() + 3 * n;
    down.width = width;
    down.box = n;
    down.blocks = blocks;
    down.outputs = {3 * n - 2, step, lanes};
    const std::vector<int64_t> weights = oracle_boxPower(n, 3);
    for (int64_t group = 0; group < groups; ++group) {
        std::vector<uint32_t> sums(static_cast<size_t>((kernel.blockColumns + width) * lanes));
        down.sums = sums.data() + kernel.blockColumns * lanes;
        kernel.run(&down);
        for (int64_t lane = 0; lane < lanes; ++lane) {
            down.rows += lane ? step : down.outputs.first;
            for (int64_t x = 0; x < width; ++x) {
                int64_t expected = 0;
                for (int64_t j = 0; j < std::ssize(weights); ++j)
                    expected += weights[static_cast<size_t>(j)] * down.rows[-1 - j][x];
                ASSERT_EQ(down.sums[x * lanes + lane], expected) << "box " << n << ", column " << x;
            }
        }
        down.outputs.first = step;
    }
}

TEST(Sums, ColumnsOfBothDepths)
{
    test_atEveryLevel([](const std::string&) {
        qsys_cpuinfo info;
        ASSERT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
        const gauss_boxKernels* kernels = nullptr;
        if constexpr (frame_has128)
            if (frame_levelFor<uint8_t>(&info) == frame_level::vector128)
                kernels = &gauss_boxKernels128;
        if constexpr (frame_has256)
            if (frame_levelFor<uint8_t>(&info) == frame_level::vector256)
                kernels = &gauss_boxKernels256;
        if (kernels)
            test_forCases(200, [&](test_random& random, uint64_t) {
                checkColumns(&random, kernels->lanes, kernels->down8);
                checkColumns(&random, kernels->lanes, kernels->down16);
            });
    });
}

TEST(Sums, SmallAndLargeWidths)
{
    forEachForm([](const form& form) {
        for (uint64_t number = 0; number < 1500 && !testing::Test::HasFailure(); ++number)
            check(number, form, number % 10 ? 140 : 900);
    });
}

namespace
{

// Cycles for each source pixel, of 1024x1024.
void bench()
{
    forEachForm([](const form& form) {
        for (const int32_t kernel : {3, 4, 7, 15, 20, 31, 63})
            for (const int32_t sample : {1, 2, 4}) {
                qsGaussParams params = {};
                params.kernelSizeX = params.kernelSizeY = kernel;
                params.sampleX = params.sampleY = sample;
                params.keepFullRegion = 1;
                params.gain = 1.0f;
                test_random random = test_randomFor(0);
                test_pixels pixels({1024, 1024, 1, test_fence::block});
                test_fill(&pixels, test_randomPixels(&random, 1024, 1024, 1, test_anything));
                const test_pixels written({1024 / sample, 1024 / sample, 1, test_fence::block});
                const qsVImage src = test_legacyOver(pixels, 0, 0);
                qsVImage dst = test_legacyOver(written, 0, 0);
                gauss_request request;
                qsVImage* used = nullptr;
                gauss_setupReference(&src, &dst, &params, nullptr, &used, &request);
                const test_cycles cycles = test_cyclesOf([&] { form.fast(&src, used, &params, &request); });
                std::printf("%-4s %-11s kernel %2d, sampled %d: %6.3f cycles (%.3f .. %.3f)\n", form.level,
                            form.name, kernel, sample, cycles.median / 0x1p20, cycles.low / 0x1p20,
                            cycles.high / 0x1p20);
            }
    });
}

} // namespace

int main(int argc, char** argv)
{
    return test_runAndBench(argc, argv, bench);
}
