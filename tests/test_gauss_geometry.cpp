// The geometry that the library exports: regions by trying positions one by one, the rectangles of a masked
// smoothing by their definitions, the small checks, and the transform in double precision.
#include "support/compare.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/nulls.h"
#include "support/random.h"

#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

constexpr int32_t most = std::numeric_limits<int32_t>::max();
constexpr int32_t least = std::numeric_limits<int32_t>::min();

int32_t number(test_random* random, int64_t low, int64_t high)
{
    return static_cast<int32_t>(test_randomRange(random, low, high));
}

template <class Rect>
oracle_rect rectOf(const Rect& rect)
{
    return {rect.x, rect.y, rect.width, rect.height};
}

// Origin and size in 32 bits, and, where there is one, the last pixel.
bool fits(const oracle_rect& rect)
{
    const auto axis = [&](int64_t start, int64_t length) {
        return start >= least && start <= most && length >= least && length <= most &&
               (rect.isNull() || start + length - 1 <= most);
    };
    return axis(rect.x, rect.width) && axis(rect.y, rect.height);
}

oracle_rect shrunkToNull(const oracle_rect& rect)
{
    return rect.isNull() || !fits(rect) ? oracle_rect{0, 0, 0, 0} : rect;
}

oracle_rect intersection(const oracle_rect& a, const oracle_rect& b)
{
    const int64_t x = std::max(a.x, b.x);
    const int64_t y = std::max(a.y, b.y);
    const oracle_rect common{x, y, std::min(a.x + a.width, b.x + b.width) - x,
                             std::min(a.y + a.height, b.y + b.height) - y};
    return common.isNull() || a.isNull() || b.isNull() ? oracle_rect{0, 0, 0, 0} : common;
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
    const int32_t ends[] = {least, least + 1, least / 2, most / 2, most - 9};
    int fitting = 0;
    for (uint64_t trial = 0; trial < 20000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        const auto origin = [&] {
            return trial % 4 == 0 ? ends[number(&random, 0, 4)] : number(&random, -50, 50);
        };
        const qsIRegion region{origin(), origin(), number(&random, 0, 10), number(&random, 0, 10)};
        const int32_t steps[] = {1, 2, 3, 4, 5, 8, 9, 1000, most};
        const oracle_gauss request{.sampleX = steps[number(&random, 0, 8)],
                                   .sampleY = steps[number(&random, 0, 8)],
                                   .kernelX = number(&random, 0, 5),
                                   .kernelY = number(&random, 0, 5)};
        const auto sx = static_cast<int32_t>(request.sampleX);
        const auto sy = static_cast<int32_t>(request.sampleY);
        const auto nx = static_cast<int32_t>(request.kernelX) + 1;
        const auto ny = static_cast<int32_t>(request.kernelY) + 1;
        SCOPED_TRACE(test_caseName(trial));
        qsIRegion out = {};
        ASSERT_EQ(qfGaussGetDstReg(&region, &out, sx, sy, nx, ny), &out);
        EXPECT_TRUE(test_sameRect(shrunkToNull(oracle_destination(rectOf(region), request)), rectOf(out)));

        // From the first to the last centre: what lies under a kernel of one pixel, seen from c(i).
        oracle_rect dummy{oracle_centre(region.x, sx, request.kernelX),
                          oracle_centre(region.y, sy, request.kernelY),
                          (region.width - 1) * int64_t{sx} + 1, (region.height - 1) * int64_t{sy} + 1};
        if (rectOf(region).isNull())
            dummy = {0, 0, 0, 0};
        out = region;
        ASSERT_EQ(qfGaussGetDummyReg(&out, &out, sx, sy, nx, ny), &out);
        EXPECT_TRUE(test_sameRect(shrunkToNull(dummy), rectOf(out)));
        fitting += !shrunkToNull(dummy).isNull();
    }
    EXPECT_GT(fitting, 5000);
}

// Nothing overflows; the sanitizers look on.
TEST(GaussGeometry, MeaninglessNumbersDoNoHarm)
{
    for (const int32_t x : {least, -1, 0, most})
        for (const int32_t length : {least, -1, 0, 1, most})
            for (const int32_t step : {least, -1, 0, 1, most})
                for (const int32_t box : {least, 0, 1, most}) {
                    const qsIRegion region{x, x, length, length};
                    qsIRegion out = {};
                    EXPECT_EQ(qfGaussGetDstReg(&region, &out, step, step, box, box), &out);
                    EXPECT_EQ(qfGaussGetDummyReg(&region, &out, step, step, box, box), &out);
                }
    for (uint64_t trial = 0; trial < 5000; ++trial) {
        test_random random = test_randomFor(trial);
        const int32_t numbers[] = {least, least + 1, -1, 0, 1, most - 1, most};
        const auto any = [&] {
            return numbers[number(&random, 0, 6)];
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
    }
    qsIRegion out = {};
    EXPECT_EQ(qfGaussGetDstReg(nullptr, &out, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDstReg(&out, nullptr, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDummyReg(nullptr, &out, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDummyReg(&out, nullptr, 1, 1, 1, 1), nullptr);
}

TEST(GaussGeometry, RectanglesOfAMaskedSmoothing)
{
    int computed = 0;
    for (uint64_t trial = 0; trial < 5000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        const qstd_rect32 src{number(&random, -40, 40), number(&random, -40, 40), number(&random, 1, 30),
                              number(&random, 1, 30)};
        const oracle_gauss request{.sampleX = number(&random, 1, 5),
                                   .sampleY = number(&random, 1, 5),
                                   .kernelX = number(&random, 0, trial % 5 == 0 ? 40 : 6),
                                   .kernelY = number(&random, 0, 6)};
        const oracle_rect all = oracle_destination(rectOf(src), request);
        const qstd_rect32 dst{static_cast<int32_t>(all.x) + number(&random, -5, 8),
                              static_cast<int32_t>(all.y) + number(&random, -5, 8), number(&random, 1, 25),
                              number(&random, 1, 25)};
        SCOPED_TRACE(test_caseName(trial));
        const qip_gaussParams params = test_gaussParams(request);
        qstd_rect32 inside = {};
        qstd_rect32 effective = {};
        qstd_rect32 marginClipped = {};
        qstd_rect32 margin = {};
        qstd_rect32 needed = {};
        ASSERT_EQ(gauss_setup(&src, &dst, &params, &inside, &effective, &marginClipped, &margin, &needed),
                  QIP_OK);
        const oracle_rect written = oracle_written(rectOf(src), request, rectOf(dst));
        const oracle_rect under = pixelsUnder(written, request);
        const oracle_rect common = intersection(under, rectOf(src));
        const oracle_rect oneReflection{src.x - int64_t{src.width}, src.y - int64_t{src.height},
                                        3 * int64_t{src.width}, 3 * int64_t{src.height}};
        EXPECT_TRUE(test_sameRect(written, rectOf(effective)));
        EXPECT_TRUE(test_sameRect(under, rectOf(needed)));
        EXPECT_TRUE(test_sameRect(common, rectOf(inside)));
        EXPECT_TRUE(test_sameRect(marginOf(under, common), rectOf(margin)));
        EXPECT_TRUE(
            test_sameRect(marginOf(intersection(under, oneReflection), common), rectOf(marginClipped)));
        computed += !written.isNull();
    }
    EXPECT_GT(computed, 2000);
}

TEST(GaussGeometry, BandsOfSourceRows)
{
    for (uint64_t trial = 0; trial < 5000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        const int32_t wide = trial % 3 == 0 ? most : 100;
        const auto any = [&] {
            return number(&random, -wide, wide);
        };
        const qstd_rect32 a{any(), any(), any(), any()};
        const qstd_rect32 b{any(), any(), any(), any()};
        const qstd_rect32 band{any(), any(), any(), any()};
        const int32_t offset = any();
        qip_gaussParams params = test_gaussParams(1, 0);
        params.kernelSizeY = number(&random, 0, wide);
        params.sampleY = number(&random, 1, wide);
        // The rows read by the band's last destination row end before this one.
        const int64_t last =
            3 * int64_t{params.kernelSizeY} + 1 + (int64_t{band.height} - 1) * params.sampleY;
        const int64_t y0 = int64_t{offset} + a.y;
        const int64_t aEnd = int64_t{a.y} + a.height;
        const oracle_rect expected1{a.x, y0, a.width, std::min(aEnd, y0 + 1 + last - b.height) - y0};
        const oracle_rect expected2{a.x, b.y + y0, a.width,
                                    std::min(b.y + int64_t{b.height} - 1 + aEnd, b.y + y0 + last) - b.y -
                                        y0};
        SCOPED_TRACE(test_caseName(trial));
        qstd_rect32 out1 = {};
        qstd_rect32 out2 = {};
        const qip_status status =
            gauss_computeSrcRectsFromDstRect(&params, &a, &b, &band, offset, &out1, &out2);
        if (!fits(expected1) || !fits(expected2)) {
            EXPECT_EQ(status, QSYS_E_RANGE);
            continue;
        }
        ASSERT_EQ(status, QIP_OK);
        for (const auto& [expected, out] : {std::pair{expected1, out1}, std::pair{expected2, out2}}) {
            EXPECT_EQ(out.x, expected.x);
            EXPECT_EQ(out.y, expected.y);
            EXPECT_EQ(out.width, expected.width);
            EXPECT_EQ(out.height, expected.height);
        }
    }
}

TEST(GaussGeometry, MasksMatchTheirImages)
{
    const test_pixels pixels({8, 6, 1});
    const test_image image(pixels, 3, -4);
    struct mask {
        qstd_rect32 rect;
        int match;
    };
    for (const mask& m : {mask{{3, -4, 8, 6}, 1},
                          {{2, -4, 8, 6}, 0},
                          {{3, -3, 8, 6}, 0},
                          {{3, -4, 7, 6}, 0},
                          {{3, -4, 8, 5}, 0}}) {
        const test_pixels maskPixels({m.rect.width, m.rect.height, 1});
        const test_image maskImage(maskPixels, m.rect.x, m.rect.y);
        const auto window = test_windowConstOver(pixels, 3, -4);
        const auto maskWindow = test_windowConstOver(maskPixels, m.rect.x, m.rect.y);
        int match = -1;
        int bound = -1;
        EXPECT_EQ(gauss_checkImageWindowMatch(&image.record, &maskImage.record, &match, &bound), QIP_OK);
        EXPECT_EQ(match, m.match);
        EXPECT_EQ(bound, 1);
        EXPECT_EQ(gauss_checkWindowMatch(&window, &maskWindow, &match, &bound), QIP_OK);
        EXPECT_EQ(match, m.match);
        EXPECT_EQ(bound, 1);
    }
    const test_image none;
    int match = -1;
    int bound = -1;
    EXPECT_EQ(gauss_checkImageWindowMatch(&image.record, &none.record, &match, &bound), QIP_OK);
    EXPECT_EQ(match, 1);
    EXPECT_EQ(bound, 0);
    const auto window = test_windowConstOver(pixels, 3, -4);
    qimg_windowConst noWindow = window;
    noWindow.height = 0;
    EXPECT_EQ(gauss_checkWindowMatch(&window, &noWindow, &match, &bound), QIP_OK);
    EXPECT_EQ(match, 1);
    EXPECT_EQ(bound, 0);
}

TEST(GaussGeometry, SampledCopies)
{
    for (uint64_t trial = 0; trial < 3000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        test_pixels pixels({number(&random, 1, 20), number(&random, 1, 20), 1,
                            static_cast<test_fence>(number(&random, 0, 2)), 0, 0, trial % 3 == 0});
        test_fillRandom(&pixels, trial);
        const test_pixels written({number(&random, 1, 6), number(&random, 1, 6), 1});
        const bool wild = trial % 10 == 0;
        const int32_t step[2] = {wild ? number(&random, least, most) : number(&random, -3, 4),
                                 number(&random, -3, 4)};
        const int32_t start[2] = {number(&random, -1, 12),
                                  wild ? number(&random, least, most) : number(&random, -1, 12)};
        SCOPED_TRACE(test_caseName(trial));
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
    }
    const test_pixels pixels16({4, 4, 2});
    const test_pixels pixels8({4, 4, 1});
    const int32_t step[2] = {1, 1};
    const int32_t start[2] = {0, 0};
    const auto from16 = test_windowConstOver(pixels16, 0, 0);
    const auto from8 = test_windowConstOver(pixels8, 0, 0);
    const auto to8 = test_windowOver(pixels8, 0, 0);
    const auto to16 = test_windowOver(pixels16, 0, 0);
    EXPECT_EQ(gauss_pelCopySampledWindow8(&from16, step, start, &to8), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(gauss_pelCopySampledWindow8(&from8, step, start, &to16), QIMG_E_PIXEL_SIZE);
    const qimg_window none = {};
    EXPECT_EQ(gauss_pelCopySampledWindow8(&from8, step, start, &none), QIP_OK);
}

TEST(GaussGeometry, TransformsInDoublePrecision)
{
    for (uint64_t trial = 0; trial < 500 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        const oracle_gauss request{.sampleX = number(&random, 1, 9),
                                   .sampleY = number(&random, 1, 9),
                                   .kernelX = number(&random, 0, 63),
                                   .kernelY = number(&random, 0, 63)};
        const qip_gaussParams params = test_gaussParams(request);
        test_image src;
        test_image dst;
        test_image dst2;
        const qmath_xformLinear linear{1.25, 0.3, -0.2, 0.9, 17.0, -5.0};
        qmath_xformPtrhConst handle = {};
        if (trial % 2 == 0) {
            ASSERT_EQ(qimg_image_setLinearImageFromClientXform(&src.record, &linear), 0);
        } else {
            const auto cube = [](void*, qmath_point* p) {
                p->x = p->x * p->x * p->x;
                return qsys_status{0};
            };
            const auto root = [](void*, qmath_point* p) {
                p->x = std::cbrt(p->x);
                return qsys_status{0};
            };
            ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, cube, root, nullptr, nullptr), 0);
            ASSERT_EQ(qimg_image_setImageFromClientXform(&src.record, &handle), 0);
        }
        ASSERT_EQ(gauss_udpateDstXform(&src.record, &params, &dst.record,
                                       trial % 3 == 0 ? nullptr : &dst2.record),
                  QIP_OK);
        qmath_xformPtrhConst_destruct(&handle);
        for (const test_image* image : {&dst, &dst2}) {
            if (image == &dst2 && trial % 3 == 0) {
                EXPECT_EQ(test_imageFromClient(&dst2.record).m00, 1.0);
                continue;
            }
            const qmath_point point = test_throughClient(
                &src.record, &image->record, oracle_supportCentre(4, request.sampleX, request.kernelX),
                oracle_supportCentre(-3, request.sampleY, request.kernelY));
            EXPECT_NEAR(point.x, 4.5, 1e-10);
            EXPECT_NEAR(point.y, -2.5, 1e-10);
        }
    }
    test_image src;
    test_image dst;
    const qip_gaussParams singular = test_gaussParams(0, 1);
    EXPECT_EQ(gauss_udpateDstXform(&src.record, &singular, &dst.record, nullptr), QMATH_E_SINGULAR);
}

TEST(GaussGeometry, NullPointersAreRefused)
{
    const test_pixels pixels({4, 4, 1});
    const qip_gaussParams params = test_gaussParams(1, 1);
    const qstd_rect32 rect{0, 0, 4, 4};
    qstd_rect32 outs[5] = {};
    const auto from = test_windowConstOver(pixels, 0, 0);
    const auto to = test_windowOver(pixels, 0, 0);
    const int32_t numbers[2] = {1, 1};
    test_image image(pixels, 0, 0);
    int a = 0;
    int b = 0;
    int64_t offset = -1;
    test_refusesNull("setup", gauss_setup, {}, &rect, &rect, &params, &outs[0], &outs[1], &outs[2],
                     &outs[3], &outs[4]);
    test_refusesNull("srcRects", gauss_computeSrcRectsFromDstRect, {}, &params, &rect, &rect, &rect, 0,
                     &outs[0], &outs[1]);
    test_refusesNull("startOffset", gauss_computeSampleStartOffset, {0, 1}, &from, &params, &offset);
    test_refusesNull("imageMatch", gauss_checkImageWindowMatch, {}, &image.record, &image.record, &a, &b);
    test_refusesNull("windowMatch", gauss_checkWindowMatch, {}, &from, &from, &a, &b);
    test_refusesNull("copySampled", gauss_pelCopySampledWindow8, {}, &from, numbers, numbers, &to);
    test_refusesNull("dstXform", gauss_udpateDstXform, {3}, &image.record, &params, &image.record,
                     &image.record);
    EXPECT_EQ(gauss_computeSampleStartOffset(nullptr, nullptr, &offset), QIP_OK);
    EXPECT_EQ(offset, 0);
}
