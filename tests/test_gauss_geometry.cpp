// The geometry that the library exports: regions by trying positions one by one, the rectangles of a masked
// smoothing by their definitions, the small checks, and the transform in double precision.
#include "support/gauss_calls.h"
#include "support/images.h"

#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>

namespace
{

constexpr int32_t most = std::numeric_limits<int32_t>::max();
constexpr int32_t least = std::numeric_limits<int32_t>::min();

// Zeros for what is null, or does not fit 32 bits: origin, size and, where there is one, the last pixel.
oracle_rect shrunkToNull(const oracle_rect& rect)
{
    const auto axis = [&](int64_t start, int64_t length) {
        return start >= least && start <= most && length >= least && length <= most &&
               (rect.isNull() || start + length - 1 <= most);
    };
    return axis(rect.x, rect.width) && axis(rect.y, rect.height) ? rect.orZeros() : oracle_rect{0, 0, 0, 0};
}

// All source pixels under the kernels of a destination rectangle.
oracle_rect pixelsUnder(const oracle_rect& destination, const oracle_gauss& request)
{
    if (destination.isNull())
        return {0, 0, 0, 0};
    const auto axis = [](int64_t start, int64_t length, int64_t sample, int64_t kernel) {
        const int64_t first = oracle_centre(start, sample, kernel) - 3 * kernel / 2;
        const int64_t last =
            oracle_centre(start + length - 1, sample, kernel) - 3 * kernel / 2 + 3 * kernel;
        return oracle_span{first, last - first + 1};
    };
    const oracle_span x = axis(destination.x, destination.width, request.sampleX, request.kernelX);
    const oracle_span y = axis(destination.y, destination.height, request.sampleY, request.kernelY);
    return {x.start, y.start, x.length, y.length};
}

// The columns and rows of `needed` beyond `inside`, as the shifts of `inside` that stay in `needed`.
oracle_rect marginOf(const oracle_rect& needed, const oracle_rect& inside)
{
    if (inside.isNull())
        return {0, 0, 0, 0};
    return {needed.x - inside.x, needed.y - inside.y, needed.width - inside.width + 1,
            needed.height - inside.height + 1};
}

} // namespace

TEST(GaussGeometry, DestinationAndDummyRegionsByTrial)
{
    const std::array ends = {least, least + 1, least / 2, most / 2, most - 9};
    const std::array steps = {1, 2, 3, 4, 5, 8, 9, 1000, most};
    int fitting = 0;
    test_forCases(20000, [&](test_random& random, uint64_t trial) {
        const auto origin = [&] {
            return trial % 4 == 0 ? test_pick(&random, ends) : test_randomInt(&random, -50, 50);
        };
        const qsIRegion region{origin(), origin(), test_randomInt(&random, 0, 10),
                               test_randomInt(&random, 0, 10)};
        const int32_t sx = test_pick(&random, steps), sy = test_pick(&random, steps);
        const int32_t nx = test_randomInt(&random, 1, 6), ny = test_randomInt(&random, 1, 6);
        const oracle_gauss request{.sampleX = sx, .sampleY = sy, .kernelX = nx - 1, .kernelY = ny - 1};
        qsIRegion out = {};
        ASSERT_EQ(qfGaussGetDstReg(&region, &out, sx, sy, nx, ny), &out);
        EXPECT_TRUE(test_sameRect(shrunkToNull(oracle_destination(oracle_rectOf(region), request)),
                                  oracle_rectOf(out)));

        // From the first to the last centre: what lies under a kernel of one pixel, seen from c(i).
        oracle_rect dummy{oracle_centre(region.x, sx, request.kernelX),
                          oracle_centre(region.y, sy, request.kernelY),
                          (region.width - 1) * int64_t{sx} + 1, (region.height - 1) * int64_t{sy} + 1};
        if (oracle_rectOf(region).isNull())
            dummy = {0, 0, 0, 0};
        out = region;
        ASSERT_EQ(qfGaussGetDummyReg(&out, &out, sx, sy, nx, ny), &out);
        EXPECT_TRUE(test_sameRect(shrunkToNull(dummy), oracle_rectOf(out)));
        fitting += !shrunkToNull(dummy).isNull();
    });
    EXPECT_GT(fitting, 5000);
}

// Nothing overflows; the sanitizers look on.
TEST(GaussGeometry, MeaninglessNumbersDoNoHarm)
{
    test_forCases(5000, [&](test_random& random, uint64_t) {
        const auto any = [&] {
            return test_pick(&random, std::array{least, least + 1, -1, 0, 1, most - 1, most});
        };
        const qstd_rect32 src{any(), any(), any(), any()};
        const qstd_rect32 dst{any(), any(), any(), any()};
        qip_gaussParams params = test_gaussParams(any(), any());
        params.sampleX = any();
        params.kernelSizeX = any();
        qstd_rect32 outs[5] = {};
        const qip_status status =
            gauss_setup(&src, &dst, &params, &outs[0], &outs[1], &outs[2], &outs[3], &outs[4]);
        EXPECT_TRUE(status == QIP_OK || status == QSYS_E_RANGE) << status;
        const qip_status bands =
            gauss_computeSrcRectsFromDstRect(&params, &src, &dst, &src, any(), &outs[0], &outs[1]);
        EXPECT_TRUE(bands == QIP_OK || bands == QSYS_E_RANGE) << bands;
        test_image image;
        const qip_status xform = gauss_udpateDstXform(&image.record, &params, &image.record, nullptr);
        EXPECT_TRUE(xform == QIP_OK || xform == QMATH_E_SINGULAR) << xform;
        const qsIRegion region{any(), any(), any(), any()};
        qsIRegion out = {};
        EXPECT_EQ(qfGaussGetDstReg(&region, &out, any(), any(), any(), any()), &out);
        EXPECT_EQ(qfGaussGetDummyReg(&region, &out, any(), any(), any(), any()), &out);
    });
}

TEST(GaussGeometry, RectanglesOfAMaskedSmoothing)
{
    int computed = 0;
    test_forCases(5000, [&](test_random& random, uint64_t trial) {
        const qstd_rect32 src{test_randomInt(&random, -40, 40), test_randomInt(&random, -40, 40),
                              test_randomInt(&random, 1, 30), test_randomInt(&random, 1, 30)};
        const oracle_gauss request{.sampleX = test_randomInt(&random, 1, 5),
                                   .sampleY = test_randomInt(&random, 1, 5),
                                   .kernelX = test_randomInt(&random, 0, trial % 5 == 0 ? 40 : 6),
                                   .kernelY = test_randomInt(&random, 0, 6)};
        const oracle_rect all = oracle_destination(oracle_rectOf(src), request);
        const qstd_rect32 dst{static_cast<int32_t>(all.x) + test_randomInt(&random, -5, 8),
                              static_cast<int32_t>(all.y) + test_randomInt(&random, -5, 8),
                              test_randomInt(&random, 1, 25), test_randomInt(&random, 1, 25)};
        const qip_gaussParams params = test_gaussParams(request);
        qstd_rect32 inside, effective, marginClipped, margin, needed;
        ASSERT_EQ(gauss_setup(&src, &dst, &params, &inside, &effective, &marginClipped, &margin, &needed),
                  QIP_OK);
        const oracle_rect written = oracle_written(oracle_rectOf(src), request, oracle_rectOf(dst));
        const oracle_rect under = pixelsUnder(written, request);
        const oracle_rect common = oracle_intersection(under, oracle_rectOf(src));
        const oracle_rect oneReflection{src.x - int64_t{src.width}, src.y - int64_t{src.height},
                                        3 * int64_t{src.width}, 3 * int64_t{src.height}};
        EXPECT_TRUE(test_sameRect(written, oracle_rectOf(effective)));
        EXPECT_TRUE(test_sameRect(under, oracle_rectOf(needed)));
        EXPECT_TRUE(test_sameRect(common, oracle_rectOf(inside)));
        EXPECT_TRUE(test_sameRect(marginOf(under, common), oracle_rectOf(margin)));
        EXPECT_TRUE(test_sameRect(marginOf(oracle_intersection(under, oneReflection), common),
                                  oracle_rectOf(marginClipped)));
        if (written.isNull() || common.isNull())
            return;
        ++computed;
        // The bands of a destination together read what the whole of it reads: of a copy that has its
        // margins the rows under their kernels, of the source itself as many rows less as the margins have.
        // The last band may be longer than what is left.
        int32_t sourceEnd = 0;
        const int32_t rows = test_randomInt(&random, 1, effective.height);
        for (int32_t top = 0; top < effective.height; top += rows) {
            const qstd_rect32 band{effective.x, effective.y + top, effective.width, rows};
            qstd_rect32 ofSource, ofCopy;
            ASSERT_EQ(gauss_computeSrcRectsFromDstRect(&params, &inside, &margin, &band,
                                                       top * params.sampleY, &ofSource, &ofCopy),
                      QIP_OK);
            oracle_rect underBand = pixelsUnder(oracle_rectOf(band), request);
            underBand.x = inside.x;
            underBand.width = inside.width;
            EXPECT_TRUE(test_sameRect(oracle_intersection(underBand, oracle_rectOf(needed)),
                                      oracle_rectOf(ofCopy)));
            underBand.y -= margin.y;
            underBand.height -= margin.height - 1;
            EXPECT_TRUE(test_sameRect(oracle_intersection(underBand, oracle_rectOf(inside)),
                                      oracle_rectOf(ofSource)));
            sourceEnd = ofSource.y + ofSource.height;
        }
        EXPECT_EQ(sourceEnd, inside.y + inside.height);
    });
    EXPECT_GT(computed, 2000);
}

TEST(GaussGeometry, MasksMatchTheirImages)
{
    const test_pixels pixels({8, 6, 1});
    const test_plane image(&pixels, {3, -4, 8, 6});
    const auto expectMatch = [&](const test_plane& mask, int match, int bound) {
        int is[2] = {-1, -1};
        EXPECT_EQ(gauss_checkImageWindowMatch(&image.image.record, &mask.image.record, &is[0], &is[1]),
                  QIP_OK);
        EXPECT_EQ(is[0], match);
        EXPECT_EQ(is[1], bound);
        EXPECT_EQ(gauss_checkWindowMatch(&image.windowConst, &mask.windowConst, &is[0], &is[1]), QIP_OK);
        EXPECT_EQ(is[0], match);
        EXPECT_EQ(is[1], bound);
    };
    for (const oracle_rect& rect :
         {oracle_rect{3, -4, 8, 6}, {2, -4, 8, 6}, {3, -3, 8, 6}, {3, -4, 7, 6}, {3, -4, 8, 5}}) {
        const test_pixels mask({static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), 1});
        expectMatch(test_plane(&mask, rect), rect == oracle_rect{3, -4, 8, 6}, 1);
    }
    expectMatch(test_plane(nullptr, {}), 1, 0);
    test_plane empty(nullptr, {});
    empty.windowConst = image.windowConst;
    empty.windowConst.height = 0;
    expectMatch(empty, 1, 0);
}

TEST(GaussGeometry, SampledCopies)
{
    test_forCases(3000, [&](test_random& random, uint64_t trial) {
        test_pixels pixels({test_randomInt(&random, 1, 20), test_randomInt(&random, 1, 20), 1,
                            static_cast<test_fence>(test_randomInt(&random, 0, 2)), 0, 0, trial % 3 == 0});
        test_fillRandom(&pixels, trial);
        const test_pixels written({test_randomInt(&random, 1, 6), test_randomInt(&random, 1, 6), 1});
        int32_t step[2] = {test_randomInt(&random, -3, 4), test_randomInt(&random, -3, 4)};
        int32_t start[2] = {test_randomInt(&random, -1, 12), test_randomInt(&random, -1, 12)};
        if (trial % 10 == 0)
            step[0] = start[1] = test_randomInt(&random, least, most);
        const test_view view = written.view();
        test_grid expected(view);
        bool outside = false;
        for (int32_t y = 0; y < view.height; ++y)
            for (int32_t x = 0; x < view.width; ++x) {
                const int64_t sx = start[0] + int64_t{x} * step[0];
                const int64_t sy = start[1] + int64_t{y} * step[1];
                if (sx < 0 || sy < 0 || sx >= pixels.view().width || sy >= pixels.view().height)
                    outside = true;
                else
                    expected.at(x, y) = static_cast<uint16_t>(test_pixel(pixels.view(), sx, sy));
            }
        if (outside)
            expected = test_grid(view.width, view.height, test_canary);
        const auto from = test_windowConstOver(pixels, 5, 6);
        const auto to = test_windowOver(written, -7, 8);
        EXPECT_EQ(gauss_pelCopySampledWindow8(&from, step, start, &to), outside ? QIMG_E_OUTSIDE : QIP_OK);
        EXPECT_TRUE(test_samePixels(expected, view));
        EXPECT_TRUE(test_undamaged(written));
    });
}

// And those of the smoothing itself, in single precision where they are linear.
TEST(GaussGeometry, TransformsTakeKernelsToTheirPixels)
{
    const test_pixels pixels({30, 20, 1});
    test_image src(pixels, -9, 7), dst;
    test_forCases(500, [&](test_random& random, uint64_t trial) {
        const oracle_gauss request{.sampleX = test_randomInt(&random, 1, 9),
                                   .sampleY = test_randomInt(&random, 1, 9),
                                   .kernelX = test_randomInt(&random, 0, 63),
                                   .kernelY = test_randomInt(&random, 0, 63)};
        const qip_gaussParams params = test_gaussParams(request);
        test_setRandomTransform(&random, &src.record);
        test_image second;
        const bool hasTwo = trial % 2 != 0;
        ASSERT_EQ(
            gauss_udpateDstXform(&src.record, &params, &dst.record, hasTwo ? &second.record : nullptr),
            QIP_OK);
        for (const test_image* image : {&dst, hasTwo ? &second : &dst})
            test_expectCentres(&src.record, &image->record, request, {-3, -3, 9, 9}, 1e-9);
        test_image smoothed;
        ASSERT_EQ(qip_gauss_smooth8_8(&src.record, &smoothed.record, &params), QIP_OK);
        test_expectCentres(&src.record, &smoothed.record, request, {-3, -3, 9, 9}, 5e-3);
    });
    const qip_gaussParams singular = test_gaussParams(0, 1);
    EXPECT_EQ(gauss_udpateDstXform(&src.record, &singular, &dst.record, nullptr), QMATH_E_SINGULAR);
}
