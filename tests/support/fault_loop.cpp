#include "support/fault_loop.h"

#include "support/faults.h"
#include "support/images.h"

#include <gtest/gtest.h>

namespace
{

constexpr int32_t sourceX = 2;
constexpr int32_t sourceY = 4;
constexpr int32_t sourceWidth = 40;
constexpr int32_t sourceHeight = 150;
constexpr qstd_rect32 boundRect = {3, 5, 18, 70};
constexpr int64_t mostFaults = 200;
constexpr qsys_status stopped = QSYS_FAILURE(0x0abc);

void mix(uint64_t* hash, const void* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        *hash = (*hash ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001b3u;
}

void mixPixels(uint64_t* hash, const test_view& view)
{
    for (int32_t y = 0; y < view.height; ++y)
        mix(hash, static_cast<const unsigned char*>(view.first) + y * view.stride,
            static_cast<size_t>(view.width) * static_cast<size_t>(view.pixelSize));
}

void mixHandle(uint64_t* hash, const qmath_xformPtrhConst* handle)
{
    for (const qmath_point at : {qmath_point{0.0, 0.0}, {10.0, 50.0}}) {
        qmath_point point = at;
        EXPECT_EQ(qmath_xformPtrhConst_mapPoint(handle, &point), 0);
        mix(hash, &point, sizeof point);
    }
}

void overPixels(qimg_image* image, test_pixels* pixels, uint64_t number)
{
    const test_view view = pixels->view();
    const qstd_rect32 rect{sourceX, sourceY, view.width, view.height};
    test_fillRandom(pixels, number);
    EXPECT_EQ(qimg_image_constructMemory(image, view.pixelSize, &rect, pixels->stride(), pixels->first(),
                                         nullptr, nullptr),
              0);
}

} // namespace

test_scene::test_scene()
    : pixels8_({sourceWidth, sourceHeight, 1}), pixels16_({sourceWidth, sourceHeight, 2}),
      pixelsMask_({sourceWidth, sourceHeight, 1})
{
    overPixels(&src8, &pixels8_, 1);
    overPixels(&bent8, &pixels8_, 1);
    overPixels(&src16, &pixels16_, 2);
    overPixels(&mask, &pixelsMask_, 3);
    qimg_windowConst_init(&srcWindow8, &src8);
    qimg_windowConst_init(&srcWindow16, &src16);
    qimg_windowConst_init(&maskWindow, &mask);
    qimg_image8_assignNewRect(&bound8, &boundRect);
    qimg_image16_assignNewRect(&bound16, &boundRect);
    qimg_image8_assignNewRect(&boundMask, &boundRect);
    qimg_window_init(&window8, &bound8);
    qimg_window_init(&window16, &bound16);
    qimg_window_init(&windowMask, &boundMask);

    qip_gaussParams_init(&params);
    params.kernelSizeX = params.kernelSizeY = 2;
    params.round = 1;
    legacy = test_legacyOver(pixels8_, sourceX, sourceY);
    legacyParams = *qsGaussParamsNull();
    legacyParams.kernelSizeX = legacyParams.kernelSizeY = 2;
    legacyParams.keepFullRegion = 1;

    linear = {1.5, 0.25, -0.25, 1.25, 8.0, -3.0};
    EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
    EXPECT_EQ(test_constructBent(&bent), 0);
    EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&src8, &linear), 0);
    EXPECT_EQ(qimg_image_setLinearImageFromClientXform(&src16, &linear), 0);
    EXPECT_EQ(qimg_image_setImageFromClientXform(&bent8, &bent), 0);
    const qmath_xformLinear other = {0.5, 1.0, -1.0, 0.5, 3.0, 4.0};
    for (qimg_image* image : {&bound8, &bound16, &boundMask})
        EXPECT_EQ(qimg_image_setLinearImageFromClientXform(image, &other), 0);
    EXPECT_EQ(qmath_xformPtrhConst_assign(&out, &bent), 0);
}

test_scene::~test_scene()
{
    for (qimg_image* image :
         {&src8, &src16, &bent8, &mask, &dst8, &dst16, &dstMask, &bound8, &bound16, &boundMask})
        qimg_image_destruct(image);
    for (qmath_xformPtrhConst* transform : {&handle, &bent, &out, &fresh})
        qmath_xformPtrhConst_destruct(transform);
    qsImageFree(made);
}

uint64_t test_scene::digest() const
{
    uint64_t hash = 0xcbf29ce484222325u;
    for (const qimg_image* image : {&dst8, &dst16, &dstMask, &bound8, &bound16, &boundMask}) {
        qimg_windowConst window = {};
        qimg_windowConst_init(&window, image);
        mix(&hash, &image->rect, sizeof image->rect);
        mixPixels(&hash, {window.firstPixel, window.stride, window.width, window.height, window.pixelSize});
        mixHandle(&hash, &image->imageFromClient);
        mixHandle(&hash, &image->clientFromImage);
    }
    if (made) {
        mix(&hash, &made->region, sizeof made->region);
        mix(&hash, &made->clientCoords, sizeof made->clientCoords);
        mixPixels(&hash, test_legacyView(made));
    }
    mix(&hash, &region, sizeof region);
    mix(&hash, &linearOut, sizeof linearOut);
    mixHandle(&hash, &out);
    mixHandle(&hash, &fresh);
    const int count = counted;
    mix(&hash, &count, sizeof count);
    return hash;
}

namespace
{

// What a call without faults answers and leaves.
struct outcome {
    qsys_status status;
    uint64_t digest;
};

outcome cleanRun(const test_operation& operation)
{
    test_scene scene;
    const qsys_status status = operation.call(scene);
    EXPECT_GE(status, 0);
    return {status, scene.digest()};
}

void expectOutcome(const outcome& clean, qsys_status status, const test_scene& scene)
{
    EXPECT_EQ(status, clean.status);
    EXPECT_EQ(scene.digest(), clean.digest) << "another result than without faults";
}

// One run; `call` answers whether it met a fault, which must come back as `expected`.
template <class Call>
bool runOnce(const test_operation& operation, const outcome& clean, qsys_status expected, bool mayChange,
             const Call& call)
{
    test_scene scene;
    const uint64_t before = scene.digest();
    qsys_status status = 0;
    const bool fired = call(scene, &status);
    if (fired) {
        EXPECT_EQ(status, expected);
        EXPECT_TRUE(mayChange || scene.digest() == before) << "changed by a call that failed";
        status = operation.call(scene);
    }
    expectOutcome(clean, status, scene);
    return fired;
}

} // namespace

void test_failEveryAllocation(const test_operation& operation)
{
    SCOPED_TRACE(operation.name);
    const outcome clean = cleanRun(operation);
    test_allocator allocator;
    for (const bool andAllLater : {false, true}) {
        bool fired = true;
        for (int64_t n = 1; fired && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n) + (andAllLater ? " and all later" : ""));
            ASSERT_LE(n, mostFaults);
            const int64_t before = test_allocator::liveBlocks();
            fired = runOnce(operation, clean, QSYS_E_MEMORY, operation.mayChange,
                            [&](test_scene& scene, qsys_status* status) {
                                allocator.arm(n, andAllLater);
                                *status = operation.call(scene);
                                return allocator.disarm();
                            });
            EXPECT_EQ(test_allocator::liveBlocks(), before) << "blocks lost";
            EXPECT_TRUE(fired || n > 1 || operation.mayTakeNone) << "takes no memory: nothing was tested";
        }
    }
}

void test_failEveryPoll(const test_operation& operation)
{
    SCOPED_TRACE(operation.name);
    const outcome clean = cleanRun(operation);
    const test_allocator allocator;
    bool fired = true;
    for (int64_t n = 1; fired && !testing::Test::HasFailure(); ++n) {
        SCOPED_TRACE("poll " + std::to_string(n));
        ASSERT_LE(n, mostFaults);
        const int64_t before = test_allocator::liveBlocks();
        fired = runOnce(operation, clean, stopped, true, [&](test_scene& scene, qsys_status* status) {
            const test_attention attention(n, stopped);
            *status = operation.call(scene);
            return attention.polls() >= n;
        });
        EXPECT_EQ(test_allocator::liveBlocks(), before) << "blocks lost";
    }
}
