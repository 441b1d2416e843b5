// Sources and destinations of the four smoothing functions: which are refused and with which status, and what
// stays untouched; when the attention handler is asked, and what a call that it ended leaves behind.
#include "support/faults.h"
#include "support/gauss_calls.h"
#include "support/images.h"
#include "support/policy.h"

#include <qip/smoothing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <thread>
#include <vector>

TEST(GaussContract, SourcesAndDestinationsWithoutPixels)
{
    const test_pixels pixels({9, 9, 1});
    const test_pixels pixels8({9, 9, 1});
    const auto from = test_windowConstOver(pixels, 0, 0);
    const auto to = test_windowOver(pixels8, 0, 0);
    const qip_gaussParams params = test_gaussParams(1, 1);
    const qip_status nullImage = QSYS_FAILURE(0x03c3);
    const auto expectNull = [&](const qimg_windowConst& src, const qimg_window& dst) {
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&src, &dst, &params), nullImage);
        qimg_window dst16 = dst;
        dst16.pixelSize = dst.pixelSize == 0 ? 0 : 2;
        EXPECT_EQ(qip_gauss_smoothWindow8_16(&src, &dst16, &params), nullImage);
    };
    expectNull({}, to);
    expectNull(from, {});
    for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()})
        for (const bool width : {true, false}) {
            // The same memory and overlaps are looked at later.
            qimg_windowConst source = qimg_window_asConst(&to);
            (width ? source.width : source.height) = size;
            expectNull(source, to);
            qimg_window destination = to;
            (width ? destination.width : destination.height) = size;
            expectNull(from, destination);
        }
    test_image unbound, destination;
    EXPECT_EQ(qip_gauss_smooth8_8(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_EQ(qip_gauss_smooth8_16(&unbound.record, &destination.record, &params), nullImage);
    EXPECT_FALSE(destination.isBound());
}

// Windows that are filled by hand may leave out where their pixels are, or reach beyond 32-bit coordinates.
TEST(GaussContract, WindowsThatCannotBeFollowedAreRefused)
{
    const test_pixels pixels({8, 8, 1});
    const test_pixels pixels8({8, 8, 1});
    const test_pixels pixels16({8, 8, 2});
    const auto expect = [&](qip_status expected, const qimg_windowConst& from, bool hasDestination,
                            int32_t sample) {
        const qip_gaussParams params = test_gaussParams(sample, 2);
        for (const test_pixels* written : {&pixels8, &pixels16}) {
            const auto smooth =
                written == &pixels8 ? qip_gauss_smoothWindow8_8 : qip_gauss_smoothWindow8_16;
            auto to = test_windowOver(*written, 0, 0);
            to.x = from.x / sample;
            to.y = from.y / sample;
            to.firstPixel = hasDestination ? to.firstPixel : nullptr;
            EXPECT_EQ(smooth(&from, &to, &params), expected);
            to.height = 0; // what is empty needs no pixels
            EXPECT_EQ(smooth(&from, &to, &params), QSYS_FAILURE(0x03c3));
        }
    };
    const auto source = test_windowConstOver(pixels, 0, 0);
    auto noSource = source;
    noSource.firstPixel = nullptr;
    for (const int32_t sample : {1, 2}) {
        expect(QIMG_E_UNBOUND, noSource, true, sample);
        expect(QIMG_E_UNBOUND, source, false, sample);
        expect(QIMG_E_UNBOUND, noSource, false, sample);
        auto far = source;
        far.y = std::numeric_limits<int32_t>::max() - 3;
        expect(QSYS_E_RANGE, far, true, sample);
        std::swap(far.x, far.y);
        expect(QSYS_E_RANGE, far, true, sample);
    }
    const int32_t one[2] = {1, 1};
    const auto to = test_windowOver(pixels8, 0, 0);
    auto noDestination = to;
    noDestination.firstPixel = nullptr;
    EXPECT_EQ(gauss_pelCopySampledWindow8(&noSource, one, one, &to), QIMG_E_UNBOUND);
    EXPECT_EQ(gauss_pelCopySampledWindow8(&source, one, one, &noDestination), QIMG_E_UNBOUND);
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), pixels8.view()));
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, 0x101 * test_canary), pixels16.view()));
}

TEST(GaussContract, PixelsOfTheOtherDepthAreRefused)
{
    const test_pixels pixels8({9, 9, 1});
    const test_pixels pixels16({9, 9, 2});
    const qip_gaussParams params = test_gaussParams(1, 1);
    test_plane narrow(&pixels8, {0, 0, 9, 9});
    test_plane wide(&pixels16, {0, 0, 9, 9});
    test_image unbound;
    const auto expectRefused = [&](const test_plane& src, test_plane& dst, qimg_image* image, auto smooth,
                                   auto smoothWindow) {
        EXPECT_EQ(smooth(&src.image.record, image, &params), QIMG_E_PIXEL_SIZE);
        EXPECT_EQ(smoothWindow(&src.windowConst, &dst.window, &params), QIMG_E_PIXEL_SIZE);
    };
    expectRefused(wide, narrow, &unbound.record, qip_gauss_smooth8_8, qip_gauss_smoothWindow8_8);
    expectRefused(wide, wide, &unbound.record, qip_gauss_smooth8_16, qip_gauss_smoothWindow8_16);
    expectRefused(narrow, wide, &wide.image.record, qip_gauss_smooth8_8, qip_gauss_smoothWindow8_8);
    expectRefused(narrow, narrow, &narrow.image.record, qip_gauss_smooth8_16, qip_gauss_smoothWindow8_16);
    EXPECT_FALSE(unbound.isBound());
    EXPECT_TRUE(test_samePixels(test_grid(9, 9, 0x9999), pixels16.view()));
}

TEST(GaussContract, OverlapOfSourceAndDestination)
{
    test_pixels pixels({40, 20, 1, test_fence::block, 0, 8});
    test_fillRandom(&pixels);
    const test_grid before(pixels.view());
    const qip_gaussParams params = test_gaussParams(1, 2);
    const struct {
        int32_t x, y, width, height;
        qip_status status;
    } destinations[] = {
        {4, 2, 12, 12, QSYS_FAILURE(0x06a1)}, // the same
        {4, 2, 5, 3, QSYS_FAILURE(0x06a1)},   // the same first pixel
        {5, 2, 12, 12, QIP_E_PEL_OVERLAP},
        {4, 13, 12, 5, QIP_E_PEL_OVERLAP},
        {15, 13, 20, 5, QIP_E_PEL_OVERLAP}, // one pixel
        {16, 2, 12, 12, 0},                 // side by side
        {4, 14, 12, 5, 0},                  // below
    };
    for (const auto& place : destinations) {
        const qstd_rect32 rect{4, 2, 12, 12};
        const qstd_rect32 rectTo{4, 2, place.width, place.height};
        test_image from, to;
        qimg_windowConst windowFrom = {};
        qimg_window windowTo = {};
        ASSERT_EQ(qimg_image_constructMemory(&from.record, 1, &rect, pixels.stride(), pixels.row(2) + 4,
                                             nullptr, nullptr),
                  0);
        ASSERT_EQ(qimg_image_constructMemory(&to.record, 1, &rectTo, pixels.stride(),
                                             pixels.row(place.y) + place.x, nullptr, nullptr),
                  0);
        ASSERT_EQ(qimg_windowConst_init(&windowFrom, &from.record), 0);
        ASSERT_EQ(qimg_window_init(&windowTo, &to.record), 0);
        EXPECT_EQ(qip_gauss_smoothWindow8_8(&windowFrom, &windowTo, &params), place.status) << place.x;
        EXPECT_EQ(qip_gauss_smooth8_8(&from.record, &to.record, &params), place.status) << place.x;
        EXPECT_EQ(test_samePixels(before, pixels.view()), place.status < 0);
        test_fill(&pixels, before);
    }
    EXPECT_TRUE(test_undamaged(pixels));
}

// A source that yields nothing, and a destination beside what it yields: success, and no work.
TEST(GaussContract, NothingToComputeIsSuccess)
{
    test_pixels narrow({1, 30, 1});
    test_fillRandom(&narrow);
    const test_inhibition names("");
    const test_image source(narrow, 0, 0);
    const qip_gaussParams coarse = test_gaussParams(4, 1); // samples source column 1 first
    const qstd_rect32 none{3, 3, 0, 0};
    test_image unbound, emptySource;
    ASSERT_EQ(qimg_image8_assignNewRect(&emptySource.record, &none), 0);
    const qimg_image* const sources[] = {&source.record, &emptySource.record};
    for (const qimg_image* const image : sources) {
        EXPECT_EQ(qip_gauss_smooth8_8(image, &unbound.record, &coarse), QIP_OK);
        EXPECT_EQ(qip_gauss_smooth8_16(image, &unbound.record, &coarse), QIP_OK);
        EXPECT_FALSE(unbound.isBound());
    }
    EXPECT_TRUE(test_inhibition::asked().empty());

    const test_pixels beside({6, 6, 1});
    test_image destination(beside, 500, 0);
    const test_attention attention;
    const qip_gaussParams params = test_gaussParams(3, 1);
    EXPECT_EQ(qip_gauss_smooth8_8(&source.record, &destination.record, &params), QIP_OK);
    EXPECT_TRUE(test_samePixels(test_grid(6, 6, test_canary), beside.view()));
    EXPECT_EQ(attention.polls(), 0);
    // Source coordinates are three times the destination's: the inverse stands in the image.
    const qmath_xformLinear linear = test_imageFromClient(&destination.record);
    EXPECT_NEAR(linear.m00, 1.0 / 3.0, 1e-6);
    EXPECT_NEAR(linear.ty, 0.5 / 3.0, 1e-6);

    const test_pixels narrow8({6, 6, 1});
    const test_pixels narrow16({6, 6, 2});
    test_forEachGauss(narrow, narrow8, narrow16, [&](const char*, const test_gaussCall& smooth) {
        EXPECT_EQ(smooth(coarse), QIP_OK);
    });
    EXPECT_TRUE(test_samePixels(test_grid(6, 6, test_canary), narrow8.view()));
}

// The transforms of sources that no destination can take over: linear ones pass through single precision, where
// they may vanish or overflow, and other ones may end in a linear step that sampling makes vanish.
TEST(GaussContract, TransformsThatVanishAreRefusedFirst)
{
    const int32_t coarse = 4000000;
    const test_pixels pixels({9, 9, 1});
    const auto refuse = [&](const qmath_xformPtrhConst& xform, int32_t sample) {
        const int32_t origin = sample / 2 - 4; // the source holds the first sample
        test_image source(pixels, origin, origin);
        ASSERT_EQ(qimg_image_setImageFromClientXform(&source.record, &xform), 0);
        const qip_gaussParams params = test_gaussParams(sample, 2);
        for (const int32_t pixelSize : {1, 2}) {
            const auto smooth = pixelSize == 1 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
            const test_attention attention;
            test_image unbound;
            EXPECT_EQ(smooth(&source.record, &unbound.record, &params), QMATH_E_SINGULAR);
            EXPECT_FALSE(unbound.isBound());
            const test_pixels written({9, 9, pixelSize});
            const test_grid before(written.view());
            test_image bound(written, -2, -2);
            const qmath_xformLinear linear = {2, 0, 0, 2, 0, 0};
            ASSERT_EQ(qimg_image_setLinearImageFromClientXform(&bound.record, &linear), 0);
            EXPECT_EQ(smooth(&source.record, &bound.record, &params), QMATH_E_SINGULAR);
            EXPECT_EQ(test_imageFromClient(&bound.record).m00, 2.0);
            EXPECT_TRUE(test_samePixels(before, written.view()));
            EXPECT_EQ(attention.polls(), 0);
        }
    };
    // 2e-45 is the least single-precision number that is not 0; a third of it is rounded to 0.
    for (const double scale : {1e-50, -1e-46, 2e-45, 1e60}) {
        const qmath_xformLinear linear = {scale, 0, 0, scale, 5, 5};
        test_handle handle;
        ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
        refuse(handle, 3);
    }
    const auto same = [](void*, qmath_point*) {
        return qsys_status{0};
    };
    const qmath_xformLinear linear = {1e-160, 0, 0, 1e-160, 0, 0};
    test_handle last, handle;
    ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&last, &linear), 0);
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, same, same, nullptr, nullptr), 0);
    ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&handle, &last, &handle), 0);
    refuse(handle, coarse);
}

TEST(GaussContract, ThreadsSmoothOneSourceAtOnce)
{
    test_pixels pixels({60, 60, 1});
    test_fillRandom(&pixels);
    const auto from = test_windowConstOver(pixels, 0, 0);
    const qip_gaussParams params = test_gaussParams(1, 4);
    const test_grid expected = test_smoothed(pixels.view(), params, {0, 0, 60, 60}, 2);
    std::atomic<int> failures{0};
    struct worker {
        test_pixels written{{60, 60, 2}};
        std::thread thread;
    };
    worker workers[4];
    for (worker& w : workers)
        w.thread = std::thread([&, to = test_windowOver(w.written, 0, 0)] {
            for (int run = 0; run < 5; ++run)
                failures += qip_gauss_smoothWindow8_16(&from, &to, &params) != QIP_OK;
        });
    for (worker& w : workers)
        w.thread.join();
    EXPECT_EQ(failures, 0);
    for (const worker& w : workers)
        EXPECT_TRUE(test_samePixels(expected, w.written.view()));
}

// ---- the attention handler ----

namespace
{

// Ends a smoothing at every poll in turn, and at none: the status comes back, the rows finished by then are
// written and no others, the transform is set by the last call only.
void endAtEveryPoll(int32_t height, int32_t sample, int32_t kernel)
{
    test_pixels source({5, height, 1});
    test_fillRandom(&source);
    const qip_gaussParams params = test_gaussParams(sample, kernel);
    const oracle_gauss request = test_gaussRequest(params);
    const oracle_rect rect = oracle_destination({0, 0, 5, height}, request);
    oracle_values values = oracle_smooth(source.view(), 0, 0, request, rect);
    const auto lastRowUnder = [&](int64_t y) {
        return oracle_centre(y, sample, kernel) + 3 * kernel - 3 * kernel / 2;
    };
    // Asked is once before the walk, which goes from the first to the last row under the kernels, and then
    // before every row that 64 divides, counted from the source's top.
    std::vector<int64_t> asked = {std::numeric_limits<int64_t>::min()};
    for (int64_t y = lastRowUnder(rect.y) - 3 * kernel; y <= lastRowUnder(rect.y + rect.height - 1); ++y)
        if (y % 64 == 0)
            asked.push_back(y);
    const test_image image(source, 0, 0);
    for (size_t n = 1; n <= asked.size() + 1; ++n) {
        SCOPED_TRACE("height " + std::to_string(height) + " sampling " + std::to_string(sample) +
                     " kernel " + std::to_string(kernel) + " ended at poll " + std::to_string(n));
        const bool ends = n <= asked.size();
        // Written are the rows whose kernel was complete before the source row at which the call was ended.
        values.rect.height = 0;
        while (values.rect.height < rect.height &&
               (!ends || lastRowUnder(rect.y + values.rect.height) < asked[n - 1]))
            ++values.rect.height;
        const test_pixels written({static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), 1});
        test_plane destination(&written, rect);
        const test_attention attention(static_cast<int64_t>(n), -4321);
        EXPECT_EQ(qip_gauss_smooth8_8(&image.record, &destination.image.record, &params),
                  ends ? -4321 : QIP_OK);
        EXPECT_EQ(attention.polls(), std::min(n, asked.size()));
        test_expectValues(written.view(), rect, test_canary, values);
        if (ends) {
            EXPECT_EQ(test_imageFromClient(&destination.image.record),
                      (qmath_xformLinear{1.0, 0.0, 0.0, 1.0, 0.0, 0.0}));
        }
    }
}

} // namespace

TEST(GaussContract, TheAttentionHandlerEndsTheCallAndWrittenRowsStay)
{
    const test_inhibition reference("gauss");
    endAtEveryPoll(1000, 1, 1);
    endAtEveryPoll(130, 1, 2);
    endAtEveryPoll(300, 3, 5);
    endAtEveryPoll(200, 1, 63); // the walk begins at row -94
    endAtEveryPoll(64, 2, 0);
}

TEST(GaussContract, PollsOfTheFourFunctions)
{
    const test_inhibition reference("gauss");
    const test_pixels source({5, 100, 1});
    const test_pixels destination8({5, 100, 1});
    const test_pixels destination16({5, 100, 2});
    // One before the rows, one at row 0, one at row 64; the 8-bit window form asks once more at first.
    test_forEachGauss(source, destination8, destination16,
                      [](const char* name, const test_gaussCall& smooth) {
                          const int64_t polls = std::string(name) == "window 8_8" ? 4 : 3;
                          for (int64_t n = 1; n <= polls + 1; ++n) {
                              const test_attention attention(n, -1);
                              EXPECT_EQ(smooth(test_gaussParams(1, 2)), n <= polls ? -1 : QIP_OK);
                              EXPECT_EQ(attention.polls(), std::min(n, polls));
                          }
                      });
}
