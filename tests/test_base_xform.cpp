// Transforms: values against functions composed in the test and life times.
#include "support/faults.h"
#include "support/images.h"

#include <qbase/xform.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <deque>
#include <functional>
#include <thread>

namespace
{

// A non-linear pair whose inverse is exact in form: (x + amount sin y, y).
struct Wave {
    double amount;
    int released = 0;

    static qsys_status forward(void* context, qmath_point* p)
    {
        p->x += static_cast<Wave*>(context)->amount * std::sin(p->y);
        return 0;
    }
    static qsys_status backward(void* context, qmath_point* p)
    {
        p->x -= static_cast<Wave*>(context)->amount * std::sin(p->y);
        return 0;
    }
    static void release(void* context)
    {
        ++static_cast<Wave*>(context)->released;
    }
};

qmath_point mapBy(const qmath_xformLinear& l, const qmath_point& p)
{
    return {l.m00 * p.x + l.m01 * p.y + l.tx, l.m10 * p.x + l.m11 * p.y + l.ty};
}

double randomUnit(test_random* random)
{
    return static_cast<double>(test_randomRange(random, -1000, 1000)) / 1000.0;
}

// Well conditioned: a rotation by any angle, stretched by 0.5 ... 2.
qmath_xformLinear randomLinear(test_random* random)
{
    const double angle = 3.2 * randomUnit(random);
    const double sx = std::exp2(randomUnit(random)), sy = std::exp2(randomUnit(random));
    return {sx * std::cos(angle), -sy * std::sin(angle),  sx * std::sin(angle),
            sy * std::cos(angle), 9 * randomUnit(random), 9 * randomUnit(random)};
}

void expectMaps(const qmath_xformPtrhConst& handle, qmath_point point, const qmath_point& expected)
{
    const double tolerance = 1e-9 * (1 + std::fabs(expected.x) + std::fabs(expected.y));
    ASSERT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &point), 0);
    EXPECT_NEAR(point.x, expected.x, tolerance);
    EXPECT_NEAR(point.y, expected.y, tolerance);
}

} // namespace

TEST(BaseXform, HandlesMapAsTheirPartsDo)
{
    test_allocator allocator;
    test_forCases(3000, [&](test_random& random, uint64_t) {
        Wave wave = {randomUnit(&random)};
        {
            test_handle waves, inverse, doubled;
            ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&waves, Wave::forward, Wave::backward, &wave,
                                                              Wave::release),
                      0);
            // Parts are added in front and behind; the list is what they do to a point, in order.
            test_handle whole;
            std::deque<std::function<void(qmath_point*)>> list;
            bool linear = true;
            for (int64_t n = test_randomRange(&random, 0, 6); n > 0; --n) {
                const int64_t kind = test_randomRange(&random, 0, 3);
                const bool isBehind = test_chance(&random, 50);
                const qmath_xformLinear l = randomLinear(&random);
                test_handle part;
                if (kind < 2)
                    ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&part, &l), 0);
                else
                    ASSERT_EQ((kind == 2 ? qmath_xformPtrhConst_assign
                                         : qmath_xformPtrhConst_assignInverse)(&part, &waves),
                              0);
                linear = linear && kind < 2;
                list.insert(isBehind ? list.end() : list.begin(), [=, &wave](qmath_point* p) {
                    if (kind < 2)
                        *p = mapBy(l, *p);
                    else
                        (kind == 2 ? Wave::forward : Wave::backward)(&wave, p);
                });
                if (isBehind)
                    ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&whole, &part, &whole), 0);
                else if (kind == 0)
                    ASSERT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&whole, &whole, &l), 0);
                else
                    ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&whole, &whole, &part), 0);
            }
            const qmath_point start = {5 * randomUnit(&random), 5 * randomUnit(&random)};
            qmath_point end = start;
            for (const auto& map : list)
                map(&end);
            int isLinear = -1;
            ASSERT_EQ(qmath_xformPtrhConst_getIsLinear(&whole, &isLinear), 0);
            EXPECT_EQ(isLinear, linear ? 1 : 0);
            expectMaps(whole, start, end);
            ASSERT_EQ(qmath_xformPtrhConst_assignInverse(&inverse, &whole), 0);
            expectMaps(inverse, end, start);
            ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&doubled, &whole, &inverse), 0);
            expectMaps(doubled, end, end);
        }
        EXPECT_EQ(wave.released, 1);
    });
    EXPECT_EQ(test_allocator::liveBlocks(), 0);
}

TEST(BaseXform, LinearisationHasTheDerivatives)
{
    // Polar coordinates: (r, phi) -> (r cos phi, r sin phi).
    const auto forward = [](void*, qmath_point* p) -> qsys_status {
        *p = {p->x * std::cos(p->y), p->x * std::sin(p->y)};
        return 0;
    };
    test_handle polar;
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&polar, forward, forward, nullptr, nullptr), 0);
    const qmath_point at = {2000.0, 0.6};
    qmath_xformLinear l;
    ASSERT_EQ(qmath_xformPtrhConst_getLinear(&polar, &at, &l), 0);
    EXPECT_NEAR(l.m00, std::cos(0.6), 1e-9);
    EXPECT_NEAR(l.m10, std::sin(0.6), 1e-9);
    EXPECT_NEAR(l.m01, -2000 * std::sin(0.6), 1e-6);
    EXPECT_NEAR(l.m11, 2000 * std::cos(0.6), 1e-6);

    const qmath_point nowhere = {HUGE_VAL, 0};
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&polar, &nowhere, &l), QMATH_E_NOT_LINEAR);
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&polar, nullptr, &l), QSYS_E_ARGUMENT);
    EXPECT_NEAR(l.m00, std::cos(0.6), 1e-9) << "untouched by failures";
}

// Defined for x >= 0 only. The failing step is the second one of the composition.
TEST(BaseXform, FailuresOfFunctionsComeBackUnchanged)
{
    const auto root = [](void*, qmath_point* p) -> qsys_status {
        const bool defined = p->x >= 0;
        *p = {std::sqrt(p->x), 77};
        return defined ? 3 : QSYS_FAILURE(0x4321);
    };
    test_handle handle;
    const qmath_xformLinear shift = {1, 0, 0, 1, -10, 0};
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&handle, root, root, nullptr, nullptr), 0);
    ASSERT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&handle, &handle, &shift), 0);
    qmath_point inside = {19, 5}, outside = {9, 5};
    EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &inside), 0);
    EXPECT_EQ(inside.x, 3);
    EXPECT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &outside), QSYS_FAILURE(0x4321));
    EXPECT_EQ(outside.x, 9);
    EXPECT_EQ(outside.y, 5);
    qmath_xformLinear l = shift;
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&handle, &outside, &l), QSYS_FAILURE(0x4321));
    EXPECT_EQ(l, shift);
}

TEST(BaseXform, SingularTransformsHaveNoInverse)
{
    const qmath_xformLinear singular = {3, 9, 7, 21, 1, 1}, notANumber = {NAN, 0, 0, 1, 0, 0};
    const qmath_xformLinear vast = {1e-300, 0, 0, 1e-300, 1, 1};
    qmath_xformLinear out = singular;
    for (const qmath_xformLinear* bad : {&singular, &notANumber, &vast})
        EXPECT_EQ(qmath_xformLinear_getInverse(bad, &out), QMATH_E_SINGULAR);
    EXPECT_EQ(out, singular);

    test_allocator allocator;
    test_handle handle;
    Wave wave = {1};
    ASSERT_EQ(
        qmath_xformPtrhConst_constructFunctions(&handle, Wave::forward, Wave::backward, &wave, nullptr), 0);
    ASSERT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&handle, &handle, &singular), 0);
    const int64_t blocks = test_allocator::liveBlocks();
    const auto* const before = handle.xform;
    EXPECT_EQ(qmath_xformPtrhConst_assignInverse(&handle, &handle), QMATH_E_SINGULAR);
    EXPECT_EQ(handle.xform, before);
    EXPECT_EQ(test_allocator::liveBlocks(), blocks);

    const qsFXform flat = {1, 2, 2, 4, 0, 0};
    qsFXform inverse = flat;
    EXPECT_EQ(qsFXformInv(&flat, &inverse), QMATH_E_SINGULAR);
    EXPECT_EQ(inverse, flat);
}

// The chain from a smoothed image's pixels to its source's, in single precision and in place.
TEST(BaseXform, OlderRecords)
{
    qsFXform element, client = {0.5f, 0.25f, -0.25f, 0.5f, 10, 20};
    ASSERT_EQ(qsFXformElemCT(3, 2, -0.5f, 0.5f, &element), &element);
    EXPECT_EQ(element.m00 * 7 + element.m01 * 5 + element.tx, 20.5f);
    EXPECT_EQ(element.m10 * 7 + element.m11 * 5 + element.ty, 10.5f);
    qsFXform inverse = element;
    ASSERT_EQ(qsFXformInv(&inverse, &inverse), 0);
    EXPECT_EQ(inverse.m00, 1.0f / 3.0f);
    EXPECT_FALSE(std::signbit(inverse.m01)) << "no negative zeros";
    ASSERT_EQ(qsFXformCompose(&inverse, &client, &client), &client);
    EXPECT_EQ(client.m01, 0.25f * (1.0f / 3.0f));
    EXPECT_EQ(client.m10, -0.125f);
    EXPECT_FLOAT_EQ(client.tx, 10.5f / 3.0f);
    EXPECT_FLOAT_EQ(client.ty, 9.75f);
}

// For the thread sanitizer above all: threads copy, use and drop handles to one transform.
TEST(BaseXform, SharedBetweenThreads)
{
    Wave wave = {1};
    {
        test_handle shared;
        ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&shared, Wave::forward, Wave::backward, &wave,
                                                          Wave::release),
                  0);
        const auto copyAndUse = [&shared] {
            for (int i = 0; i < 300; ++i) {
                test_handle copy, inverse;
                qmath_xformPtrhConst_assign(&copy, &shared);
                qmath_xformPtrhConst_assignInverse(&inverse, &copy);
                expectMaps(inverse, {1 + std::sin(2.0), 2}, {1, 2});
            }
        };
        const std::jthread first(copyAndUse), second(copyAndUse), third(copyAndUse);
    }
    EXPECT_EQ(wave.released, 1);
}
