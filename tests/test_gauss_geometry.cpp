// The geometry that the library exports: regions by trying positions one by one, the rectangles of a masked
// smoothing by their definitions, the small checks, and the transform in double precision.
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/nulls.h"

#include <qip/legacy.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>

namespace
{

constexpr int32_t most = std::numeric_limits<int32_t>::max();
constexpr int32_t least = std::numeric_limits<int32_t>::min();

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
            return trial % 4 == 0 ? ends[test_randomInt(&random, 0, 4)] : test_randomInt(&random, -50, 50);
        };
        const qsIRegion region{origin(), origin(), test_randomInt(&random, 0, 10),
                               test_randomInt(&random, 0, 10)};
        const int32_t steps[] = {1, 2, 3, 4, 5, 8, 9, 1000, most};
        const oracle_gauss request{.sampleX = steps[test_randomInt(&random, 0, 8)],
                                   .sampleY = steps[test_randomInt(&random, 0, 8)],
                                   .kernelX = test_randomInt(&random, 0, 5),
                                   .kernelY = test_randomInt(&random, 0, 5)};
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
    for (uint64_t trial = 0; trial < 5000; ++trial) {
        test_random random = test_randomFor(trial);
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
    }
}

TEST(GaussGeometry, RectanglesOfAMaskedSmoothing)
{
    int computed = 0;
    for (uint64_t trial = 0; trial < 5000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        const qstd_rect32 src{test_randomInt(&random, -40, 40), test_randomInt(&random, -40, 40),
                              test_randomInt(&random, 1, 30), test_randomInt(&random, 1, 30)};
        const oracle_gauss request{.sampleX = test_randomInt(&random, 1, 5),
                                   .sampleY = test_randomInt(&random, 1, 5),
                                   .kernelX = test_randomInt(&random, 0, trial % 5 == 0 ? 40 : 6),
                                   .kernelY = test_randomInt(&random, 0, 6)};
        const oracle_rect all = oracle_destination(rectOf(src), request);
        const qstd_rect32 dst{static_cast<int32_t>(all.x) + test_randomInt(&random, -5, 8),
                              static_cast<int32_t>(all.y) + test_randomInt(&random, -5, 8),
                              test_randomInt(&random, 1, 25), test_randomInt(&random, 1, 25)};
        SCOPED_TRACE(test_caseName(trial));
        const qip_gaussParams params = test_gaussParams(request);
        qstd_rect32 inside, effective, marginClipped, margin, needed;
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
        if (written.isNull() || common.isNull())
            continue;
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
            oracle_rect underBand = pixelsUnder(rectOf(band), request);
            underBand.x = inside.x;
            underBand.width = inside.width;
            EXPECT_TRUE(test_sameRect(intersection(underBand, rectOf(needed)), rectOf(ofCopy)));
            underBand.y -= margin.y;
            underBand.height -= margin.height - 1;
            EXPECT_TRUE(test_sameRect(intersection(underBand, rectOf(inside)), rectOf(ofSource)));
            sourceEnd = ofSource.y + ofSource.height;
        }
        EXPECT_EQ(sourceEnd, inside.y + inside.height);
    }
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
    for (uint64_t trial = 0; trial < 3000 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
        test_pixels pixels({test_randomInt(&random, 1, 20), test_randomInt(&random, 1, 20), 1,
                            static_cast<test_fence>(test_randomInt(&random, 0, 2)), 0, 0, trial % 3 == 0});
        test_fillRandom(&pixels, trial);
        const test_pixels written({test_randomInt(&random, 1, 6), test_randomInt(&random, 1, 6), 1});
        int32_t step[2] = {test_randomInt(&random, -3, 4), test_randomInt(&random, -3, 4)};
        int32_t start[2] = {test_randomInt(&random, -1, 12), test_randomInt(&random, -1, 12)};
        if (trial % 10 == 0)
            step[0] = start[1] = test_randomInt(&random, least, most);
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
    const test_plane wide(&pixels16, {0, 0, 4, 4});
    const test_plane narrow(&pixels8, {0, 0, 4, 4});
    EXPECT_EQ(gauss_pelCopySampledWindow8(&wide.windowConst, step, start, &narrow.window),
              QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(gauss_pelCopySampledWindow8(&narrow.windowConst, step, start, &wide.window),
              QIMG_E_PIXEL_SIZE);
    const qimg_window none = {};
    EXPECT_EQ(gauss_pelCopySampledWindow8(&narrow.windowConst, step, start, &none), QIP_OK);
}

TEST(GaussGeometry, TransformsInDoublePrecision)
{
    test_image src, dst;
    for (uint64_t trial = 0; trial < 500 && !HasFailure(); ++trial) {
        test_random random = test_randomFor(trial);
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
    }
    const qip_gaussParams singular = test_gaussParams(0, 1);
    EXPECT_EQ(gauss_udpateDstXform(&src.record, &singular, &dst.record, nullptr), QMATH_E_SINGULAR);
}

TEST(GaussGeometry, NullPointersAreRefused)
{
    const test_pixels pixels({4, 4, 1});
    test_plane plane(&pixels, {0, 0, 4, 4});
    qimg_image* const image = &plane.image.record;
    const qimg_windowConst* const from = &plane.windowConst;
    const qip_gaussParams params = test_gaussParams(1, 1);
    const qstd_rect32 rect{0, 0, 4, 4};
    qstd_rect32 outs[5] = {};
    const int32_t numbers[2] = {1, 1};
    int a = 0;
    int b = 0;
    int64_t offset = -1;
    test_refusesNull("setup", gauss_setup, {}, &rect, &rect, &params, &outs[0], &outs[1], &outs[2],
                     &outs[3], &outs[4]);
    test_refusesNull("srcRects", gauss_computeSrcRectsFromDstRect, {}, &params, &rect, &rect, &rect, 0,
                     &outs[0], &outs[1]);
    test_refusesNull("startOffset", gauss_computeSampleStartOffset, {0, 1}, from, &params, &offset);
    test_refusesNull("imageMatch", gauss_checkImageWindowMatch, {}, image, image, &a, &b);
    test_refusesNull("windowMatch", gauss_checkWindowMatch, {}, from, from, &a, &b);
    test_refusesNull("copySampled", gauss_pelCopySampledWindow8, {}, from, numbers, numbers, &plane.window);
    test_refusesNull("dstXform", gauss_udpateDstXform, {3}, image, &params, image, image);
    EXPECT_EQ(gauss_computeSampleStartOffset(nullptr, nullptr, &offset), QIP_OK);
    EXPECT_EQ(offset, 0);
    qsIRegion region = {};
    EXPECT_EQ(qfGaussGetDstReg(nullptr, &region, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDstReg(&region, nullptr, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDummyReg(nullptr, &region, 1, 1, 1, 1), nullptr);
    EXPECT_EQ(qfGaussGetDummyReg(&region, nullptr, 1, 1, 1, 1), nullptr);
}
