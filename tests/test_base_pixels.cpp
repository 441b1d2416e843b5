// Copies and fills of windows, the overlap check against a map of bytes and against number theory, and the
// older images.
#include "support/faults.h"
#include "support/images.h"

#include <qbase/legacy_image.h>
#include <qbase/pixels.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cmath>
#include <cstdint>
#include <numeric>

namespace
{

qimg_window windowOf(const test_pixels& pixels)
{
    return test_windowOver(pixels, 3, -4);
}

qimg_windowConst constWindowOf(const test_pixels& pixels)
{
    return test_windowConstOver(pixels, 3, -4);
}

// Addresses are numbers here; nothing looks at the memory.
qimg_windowConst rowsAt(int64_t address, int64_t stride, int64_t width, int64_t height, int32_t pixelSize)
{
    return {static_cast<int32_t>(width),
            static_cast<int32_t>(height),
            static_cast<int32_t>(stride),
            reinterpret_cast<const void*>(address),
            1,
            pixelSize,
            0,
            0};
}

constexpr int64_t mapSize = 1 << 14;
using ByteMap = std::bitset<mapSize>;

ByteMap bytesOf(const qimg_windowConst& window)
{
    ByteMap map;
    for (int64_t y = 0; y < window.height; ++y)
        for (int64_t i = 0; i < int64_t{window.width} * window.pixelSize; ++i)
            map.set(
                static_cast<size_t>(reinterpret_cast<int64_t>(window.firstPixel) + y * window.stride + i));
    return map;
}

} // namespace

TEST(BasePixels, CopyAndFillKeepToTheWindow)
{
    test_forCases(200, [&](test_random& random, uint64_t c) {
        const int32_t width = test_randomInt(&random, 0, 40);
        const int32_t height = test_randomInt(&random, 0, 5);
        const int32_t pixelSize = test_randomInt(&random, 1, 2);
        test_pixels from(test_randomLayout(&random, width, height, pixelSize));
        const test_pixels to(test_randomLayout(&random, width, height, pixelSize));
        test_fillRandom(&from, c);
        const qimg_windowConst src = constWindowOf(from);
        const qimg_window dst = windowOf(to);
        ASSERT_EQ(pixelSize == 1 ? qip_pelCopyWindow8(&src, &dst) : qip_pelCopyWindow16(&src, &dst), 0);
        EXPECT_TRUE(test_samePixels(from.view(), to.view()));
        EXPECT_TRUE(test_undamaged(to));
        if (pixelSize == 1) {
            ASSERT_EQ(qip_pelSetWindow8(&dst, -3), 0);
            EXPECT_TRUE(test_samePixels(test_grid(width, height, 253), to.view()));
            EXPECT_TRUE(test_undamaged(to));
        }
    });
}

TEST(BasePixels, CopyRefusesWhatDoesNotMatch)
{
    const test_pixels bytes({4, 3, 1}), other({4, 2, 1}), words({4, 3, 2}), empty({0, 3, 1});
    const qimg_windowConst src = constWindowOf(bytes), unbound = {};
    const qimg_window dst = windowOf(bytes), shorter = windowOf(other), wide = windowOf(words);
    const qimg_window nothing = windowOf(empty), free = {};
    EXPECT_EQ(qip_pelCopyWindow8(&src, &shorter), QIP_E_PEL_SIZE);
    EXPECT_EQ(qip_pelCopyWindow8(&src, &nothing), QIP_E_PEL_SIZE);
    EXPECT_EQ(qip_pelCopyWindow8(&src, &wide), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_pelCopyWindow16(&src, &wide), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_pelCopyWindow8(&unbound, &dst), QIMG_E_UNBOUND);
    EXPECT_EQ(qip_pelCopyWindow8(&src, &free), QIMG_E_UNBOUND);
    EXPECT_EQ(qip_pelCopyWindow8(&unbound, &nothing), 0);
    EXPECT_EQ(qip_pelSetWindow8(&wide, 1), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(qip_pelSetWindow8(&free, 1), 0);
    EXPECT_TRUE(test_samePixels(test_grid(4, 3, test_canary), bytes.view()));
}

// A window may say that it is bound and leave out where its pixels are.
TEST(BasePixels, WindowsWithoutAnAddressAreRefused)
{
    const test_pixels bytes({8, 8, 1}), words({8, 8, 2});
    for (const bool isByte : {true, false}) {
        const test_pixels& pixels = isByte ? bytes : words;
        const auto copy = isByte ? qip_pelCopyWindow8 : qip_pelCopyWindow16;
        const auto makeView =
            isByte ? generate_qsImage_from_qimg_windowConst : generate_qsUSImage_from_qimg_windowConst;
        const qimg_windowConst from = constWindowOf(pixels);
        const qimg_window to = windowOf(pixels);
        qimg_windowConst noSource = from;
        qimg_window noDestination = to;
        noSource.firstPixel = noDestination.firstPixel = nullptr;
        EXPECT_EQ(copy(&noSource, &to), QIMG_E_UNBOUND);
        EXPECT_EQ(copy(&from, &noDestination), QIMG_E_UNBOUND);
        EXPECT_EQ(qip_pelSetWindow8(&noDestination, 1), isByte ? QIMG_E_UNBOUND : QIMG_E_PIXEL_SIZE);
        qsVImage* view = nullptr;
        EXPECT_EQ(makeView(&noSource, &view), QIMG_E_UNBOUND);
        EXPECT_EQ(view, nullptr);

        const qstd_rect32 inner = {5, -2, 3, 3}, none = {5, -2, 0, 3};
        EXPECT_EQ(qimg_window_windowRect(&noDestination, &inner, 0), QIMG_E_UNBOUND);
        EXPECT_EQ(noDestination.width, 8);
        EXPECT_EQ(qimg_window_windowRect(&noDestination, &none, 0), 0);
        EXPECT_EQ(noDestination.firstPixel, nullptr);

        // It has no memory to share, however far its rows would reach; without rows it needs none.
        noSource.stride = noSource.height = INT32_MAX;
        EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&noSource, &from), 0);
        noSource.height = 0;
        EXPECT_EQ(makeView(&noSource, &view), 0);
        qsImageFree(view);
    }
    EXPECT_TRUE(test_samePixels(test_grid(8, 8, test_canary), bytes.view()));
}

// Small windows with strides of every kind, also ones whose rows run into each other.
TEST(BasePixels, OverlapAgreesWithAMapOfBytes)
{
    int overlaps = 0, cases = 0;
    test_forCases(10000, [&](test_random& random, uint64_t) {
        const int64_t reach = test_randomRange(&random, 1, 120);
        const auto window = [&] {
            return rowsAt(mapSize / 2 + test_randomRange(&random, -reach, reach),
                          test_randomRange(&random, -reach, reach),
                          test_randomRange(&random, 1, 1 + reach / 12), test_randomRange(&random, 1, 40),
                          static_cast<int32_t>(test_randomRange(&random, 1, 2)));
        };
        qimg_windowConst a = window(), b = window();
        if (test_randomRange(&random, 0, 2) == 0)
            b.stride = a.stride;
        if (a.firstPixel == b.firstPixel && a.stride == b.stride)
            return;
        const bool expected = (bytesOf(a) & bytesOf(b)).any();
        ASSERT_EQ(qip_pelfunc_checkMemoryOverlap(&a, &b), expected ? QIP_E_PEL_OVERLAP : 0);
        overlaps += expected;
        ++cases;
    });
    EXPECT_GT(overlaps, cases / 5);
    EXPECT_LT(overlaps, cases * 4 / 5);
}

// Columns of single bytes whose strides have no common divisor share exactly one address, that of row i of
// one and row j of the other, until the pattern repeats. So cutting either column there separates them.
TEST(BasePixels, OverlapOfBillionsOfRows)
{
    test_forCases(2000, [&](test_random& random, uint64_t) {
        const int64_t top = int64_t{1} << test_randomRange(&random, 3, 31);
        const int64_t strideA = test_randomRange(&random, 2, top - 1);
        const int64_t strideB = test_randomRange(&random, 2, top - 1);
        if (std::gcd(strideA, strideB) != 1)
            return;
        const int64_t i = test_randomRange(&random, 1, strideB - 1);
        const int64_t j = test_randomRange(&random, 1, strideA - 1);
        const int64_t meeting = int64_t{1} << 62;
        const int64_t sign = test_randomRange(&random, 0, 1) == 0 ? 1 : -1; // b may be walked upward
        const int64_t firstA = meeting - i * strideA, firstB = meeting - sign * j * strideB;
        const auto check = [&](int64_t rowsA, int64_t rowsB) {
            const qimg_windowConst a = rowsAt(firstA, strideA, 1, rowsA, 1);
            const qimg_windowConst b = rowsAt(firstB, sign * strideB, 1, rowsB, 1);
            const qsys_status status = qip_pelfunc_checkMemoryOverlap(&a, &b);
            EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&b, &a), status);
            return status;
        };
        EXPECT_EQ(check(i + 1, j + 1), QIP_E_PEL_OVERLAP);
        if (sign > 0) { // rows of b beyond the meeting come back towards a otherwise
            EXPECT_EQ(check(i, strideA), 0);
            EXPECT_EQ(check(strideB, j), 0);
        } else {
            EXPECT_EQ(check(i, j + 1), 0);
            EXPECT_EQ(check(i + 1, j), 0);
        }
    });
}

TEST(BasePixels, OverlapOfRecordsFilledByHand)
{
    const int64_t high = INT64_MAX - 7;
    const qimg_windowConst extreme = rowsAt(high, INT32_MIN, INT32_MAX, INT32_MAX, 2);
    const qimg_windowConst wrapping = rowsAt(high, INT32_MAX, INT32_MAX, INT32_MAX, 2);
    const qimg_windowConst strange = rowsAt(100, 10, 5, 5, 77), plain = rowsAt(100, 11, 5, 5, 1);
    const qimg_windowConst unbound = {};
    EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&extreme, &wrapping), QIP_E_PEL_OVERLAP);
    EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&strange, &plain), QSYS_E_ARGUMENT);
    EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&plain, &plain), 0)
        << "the same memory is the caller's affair";
    EXPECT_EQ(qip_pelfunc_checkMemoryOverlap(&unbound, &plain), 0);
}

TEST(BaseLegacyImage, OwnPixels)
{
    const test_allocator allocator;
    const qsIRegion region = {-5, 7, 33, 3};
    qsVImage* const image = qsVImageCreateReg(qsUSImageNull, &region);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(qsVImageType(image), QS_IMAGE_TYPE_16);
    EXPECT_EQ(qsImageVirt(image), nullptr);
    EXPECT_EQ(qsImagePixAddr(image, -5, 7), nullptr) << "not 8-bit";
    ASSERT_EQ(qsUSImageVirt(image), image);
    EXPECT_TRUE(test_samePixels(test_grid(33, 3), test_legacyView(image)));
    for (int32_t y = 7; y < 10; ++y) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(qsUSImagePixAddr(image, -5, y)) % 64, 0u);
        std::fill_n(qsUSImagePixAddr(image, -5, y), 33, uint16_t{0xffff}); // for the address sanitizer
    }
    qsImageMoveTo(image, INT32_MAX - 31, 0);
    EXPECT_EQ(qsVImageRegion(image).x, -5) << "the last column would not fit";
    qsImageMoveTo(image, INT32_MAX - 32, INT32_MIN);
    EXPECT_EQ(*qsUSImagePixAddr(image, INT32_MAX, INT32_MIN + 2), 0xffff);
    qsUSImagePixAddr(image, INT32_MIN, INT32_MAX); // any place has an address
    qsImageFree(image);

    EXPECT_EQ(qsImageCreate(INT32_MAX, 1), nullptr);
    qsImage* const empty = qsImageCreate(-4, 5);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(qsImageWidth(empty), 0);
    EXPECT_EQ(qsImagePixAddr(empty, 0, 0), nullptr);
    qsImageFree(empty);
    EXPECT_EQ(test_allocator::liveBlocks(), 0);
}

TEST(BaseLegacyImage, NullImagesStayWhatTheyAre)
{
    auto* const null8 = const_cast<qsImage*>(qsImageNull);
    qsFXform coords = {2, 0, 0, 2, 0, 0};
    qsImageMoveTo(null8, 5, 5);
    qsImageSetClientCoords(null8, &coords);
    qsVImageSetClientZScale(null8, 3);
    qsImageFree(null8);
    EXPECT_EQ(qsImageRegion(qsImageNull).x, 0);
    EXPECT_EQ(qsImageClientCoords(qsImageNull).m00, 1.0f);
    EXPECT_EQ(qsImageClientZScale(qsImageNull), 1.0f);
    EXPECT_EQ(qsVImageType(qsUSImageNull), QS_IMAGE_TYPE_16);

    qsImageFree(nullptr);
    qsImageMoveTo(nullptr, 1, 1);
    qsImageCopy(nullptr, null8);
    EXPECT_EQ(qsVImageClientCoords(nullptr).m00, 0.0f);
    EXPECT_EQ(qsVImageCreateReg(nullptr, &qsIRegionNull), nullptr);
    EXPECT_EQ(qsImagePixAddr(nullptr, 0, 0), nullptr);
}

TEST(BaseLegacyImage, ViewsCarryTheTransformOfTheImage)
{
    test_image made;
    qimg_image16* const image = &made.record;
    ASSERT_EQ(qimg_image16_construct(image, 8, 6), 0);
    const qmath_xformLinear linear = {0.1, 2, 3, 0.3, 5, 1e300};
    ASSERT_EQ(qimg_image_setLinearImageFromClientXform(image, &linear), 0);
    qsUSImage* view = nullptr;
    ASSERT_EQ(generate_qsUSImage_from_qimg_image16Const(image, &view), 0);
    EXPECT_EQ(qsUSImagePixAddr(view, 0, 0), image->firstPixel);
    EXPECT_EQ(qsVImageClientCoords(view), (qsFXform{0.1f, 2.0f, 3.0f, 0.3f, 5.0f, HUGE_VALF}));
    qsImageFree(view);

    EXPECT_EQ(generate_qsImage_from_qimg_image8Const(image, &view), QIMG_E_PIXEL_SIZE);
    EXPECT_EQ(view, nullptr);
    const test_pixels pixels({6, 5, 1});
    const qimg_windowConst window = constWindowOf(pixels);
    ASSERT_EQ(generate_qsImage_from_qimg_windowConst(&window, &view), 0);
    EXPECT_EQ(qsImagePixAddr(view, 3, -4), pixels.row(0));
    qsImageFree(view);
    // A transform that is not linear, here one that is defined nowhere, leaves the view the identity.
    const auto undefined = [](void*, qmath_point*) -> qsys_status {
        return QSYS_FAILURE(0x4321);
    };
    test_handle handle;
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, undefined, undefined, nullptr, nullptr), 0);
    ASSERT_EQ(qimg_image_setImageFromClientXform(image, &handle), 0);
    ASSERT_EQ(generate_qsUSImage_from_qimg_image16Const(image, &view), 0);
    EXPECT_EQ(qsVImageClientCoords(view), (qsFXform{1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f}));
    qsImageFree(view);
    qimg_image_destruct(image);
    EXPECT_EQ(generate_qsUSImage_from_qimg_image16Const(image, &view), QIMG_E_UNBOUND);
}
