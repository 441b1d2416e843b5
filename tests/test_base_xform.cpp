// Transforms: values against functions composed in the test, life times, and every failing allocation.
#include "support/faults.h"
#include "support/random.h"

#include <qbase/xform.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace
{

// A non-linear pair whose inverse is exact in form: (x + amount sin y, y).
struct Wave {
    double amount;
    int released = 0;
    int made = 0;

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

struct Handle : qmath_xformPtrhConst {
    Handle()
    {
        qmath_xformPtrhConst_construct(this);
    }
    ~Handle()
    {
        qmath_xformPtrhConst_destruct(this);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
};

using Map = std::function<qmath_point(qmath_point)>;

Map mapOf(const qmath_xformLinear& l)
{
    return [l](qmath_point p) {
        return qmath_point{l.m00 * p.x + l.m01 * p.y + l.tx, l.m10 * p.x + l.m11 * p.y + l.ty};
    };
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

// A transform beside the functions that it and its inverse have to be.
struct Checked {
    Handle handle;
    Map forward = [](qmath_point p) {
        return p;
    };
    Map backward = forward;
    bool linear = true;
};

void expectMaps(const qmath_xformPtrhConst& handle, const Map& map, qmath_point point)
{
    const qmath_point expected = map(point);
    ASSERT_EQ(qmath_xformPtrhConst_mapPoint(&handle, &point), 0);
    const double tolerance = 1e-9 * (1 + std::fabs(expected.x) + std::fabs(expected.y));
    EXPECT_NEAR(point.x, expected.x, tolerance);
    EXPECT_NEAR(point.y, expected.y, tolerance);
}

void replaceByRandomLeaf(Checked* target, Wave* wave, test_random* random)
{
    Handle leaf;
    target->linear = test_randomRange(random, 0, 1) == 0;
    if (target->linear) {
        const qmath_xformLinear l = randomLinear(random);
        qmath_xformLinear inverse;
        ASSERT_EQ(qmath_xformLinear_getInverse(&l, &inverse), 0);
        ASSERT_EQ(qmath_xformPtrhConst_constructLinear(&leaf, &l), 0);
        target->forward = mapOf(l);
        target->backward = mapOf(inverse);
    } else {
        wave->amount = randomUnit(random);
        ++wave->made;
        ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&leaf, Wave::forward, Wave::backward, wave,
                                                          Wave::release),
                  0);
        target->forward = [wave](qmath_point p) {
            return Wave::forward(wave, &p), p;
        };
        target->backward = [wave](qmath_point p) {
            return Wave::backward(wave, &p), p;
        };
    }
    ASSERT_EQ(qmath_xformPtrhConst_assign(&target->handle, &leaf), 0);
}

void applyRandomOperation(std::array<Checked, 3>* pool, test_random* random)
{
    const auto pick = [&]() -> Checked& {
        return (*pool)[static_cast<size_t>(test_randomRange(random, 0, 2))];
    };
    Checked &out = pick(), &a = pick(), &b = pick();
    switch (test_randomRange(random, 0, 2)) {
    case 0:
        ASSERT_EQ(qmath_xformPtrhConst_assignCompose(&out.handle, &a.handle, &b.handle), 0);
        out.linear = a.linear && b.linear;
        std::tie(out.forward, out.backward) =
            std::pair<Map, Map>([f = a.forward, g = b.forward](qmath_point p) { return f(g(p)); },
                                [f = a.backward, g = b.backward](qmath_point p) { return g(f(p)); });
        break;
    case 1:
        ASSERT_EQ(qmath_xformPtrhConst_assignInverse(&out.handle, &a.handle), 0);
        out.linear = a.linear;
        std::tie(out.forward, out.backward) = std::pair<Map, Map>(a.backward, a.forward);
        break;
    default: {
        const qmath_xformLinear l = randomLinear(random);
        qmath_xformLinear inverse;
        ASSERT_EQ(qmath_xformLinear_getInverse(&l, &inverse), 0);
        ASSERT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&out.handle, &a.handle, &l), 0);
        out.linear = a.linear;
        std::tie(out.forward, out.backward) =
            std::pair<Map, Map>([f = a.forward, g = mapOf(l)](qmath_point p) { return f(g(p)); },
                                [f = a.backward, g = mapOf(inverse)](qmath_point p) { return g(f(p)); });
    }
    }
}

} // namespace

TEST(BaseXform, HandlesAreTheFunctionsThatTheyStandFor)
{
    for (uint64_t c = 0; c < 2000; ++c) {
        SCOPED_TRACE(test_caseName(c));
        test_random random = test_randomFor(c);
        test_allocator allocator;
        std::array<Wave, 3> waves{};
        {
            std::array<Checked, 3> pool; // all identities
            for (size_t i = 0; i < 3; ++i)
                if (test_randomRange(&random, 0, 4) > 0)
                    replaceByRandomLeaf(&pool[i], &waves[i], &random);
            for (int i = 0; i < 6; ++i)
                applyRandomOperation(&pool, &random);
            const qmath_point point = {5 * randomUnit(&random), 5 * randomUnit(&random)};
            for (Checked& checked : pool) {
                int isLinear = -1;
                expectMaps(checked.handle, checked.forward, point);
                ASSERT_EQ(qmath_xformPtrhConst_getIsLinear(&checked.handle, &isLinear), 0);
                EXPECT_EQ(isLinear != 0, checked.linear);
                qmath_xformLinear linear;
                ASSERT_EQ(qmath_xformPtrhConst_getLinear(&checked.handle, &point, &linear), 0);
                const Map linearised = mapOf(linear);
                const qmath_point at = checked.forward(point), mapped = linearised(point);
                EXPECT_NEAR(at.x, mapped.x, 1e-7 * (1 + std::fabs(at.x)));
                EXPECT_NEAR(at.y, mapped.y, 1e-7 * (1 + std::fabs(at.y)));
                ASSERT_EQ(qmath_xformPtrhConst_assignInverse(&checked.handle, &checked.handle), 0);
                expectMaps(checked.handle, checked.backward, point);
            }
        }
        EXPECT_EQ(test_allocator::liveBlocks(), 0);
        for (const Wave& wave : waves)
            EXPECT_EQ(wave.released, wave.made);
        if (HasFailure())
            return;
    }
}

TEST(BaseXform, LinearisationHasTheDerivatives)
{
    // Polar coordinates: (r, phi) -> (r cos phi, r sin phi).
    const auto forward = [](void*, qmath_point* p) -> qsys_status {
        *p = {p->x * std::cos(p->y), p->x * std::sin(p->y)};
        return 0;
    };
    Handle polar;
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
    Handle handle;
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
    EXPECT_EQ(std::memcmp(&l, &shift, sizeof l), 0);
}

TEST(BaseXform, SingularTransformsHaveNoInverse)
{
    const qmath_xformLinear singular = {3, 9, 7, 21, 1, 1}, notANumber = {NAN, 0, 0, 1, 0, 0};
    const qmath_xformLinear vast = {1e-300, 0, 0, 1e-300, 1, 1};
    qmath_xformLinear out = singular;
    for (const qmath_xformLinear* bad : {&singular, &notANumber, &vast})
        EXPECT_EQ(qmath_xformLinear_getInverse(bad, &out), QMATH_E_SINGULAR);
    EXPECT_EQ(std::memcmp(&out, &singular, sizeof out), 0);

    test_allocator allocator;
    Handle handle;
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
    EXPECT_EQ(std::memcmp(&inverse, &flat, sizeof flat), 0);
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
    EXPECT_EQ(qsFXformCompose(&client, nullptr, &client), nullptr);
    EXPECT_EQ(qsFXformElemCT(1, 1, 0, 0, nullptr), nullptr);
    EXPECT_EQ(qsFXformInv(nullptr, &client), QSYS_E_ARGUMENT);
}

TEST(BaseXform, EveryFailingAllocationLeavesEverythingAsItWas)
{
    test_allocator allocator;
    Wave wave = {1};
    Handle given;
    ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&given, Wave::forward, Wave::backward, &wave,
                                                      Wave::release),
              0);
    const qmath_xformLinear turn = {0, 1, -1, 0, 2, 3};
    Wave other = {2};
    const std::vector<std::function<qsys_status(Handle*)>> operations = {
        [&](Handle* out) { return qmath_xformPtrhConst_assignCompose(out, &given, out); },
        [&](Handle* out) { return qmath_xformPtrhConst_assignComposePtrhLinear(out, out, &turn); },
        [&](Handle* out) { return qmath_xformPtrhConst_assignInverse(out, out); },
    };
    for (const auto& operation : operations)
        for (int64_t n = 1;; ++n) {
            Handle out;
            ASSERT_EQ(qmath_xformPtrhConst_assignComposePtrhLinear(&out, &given, &turn), 0);
            const int64_t blocks = test_allocator::liveBlocks();
            const auto* const before = out.xform;
            allocator.arm(n, false);
            const qsys_status status = operation(&out);
            if (!allocator.disarm()) {
                EXPECT_EQ(status, 0);
                EXPECT_GT(n, 1);
                break;
            }
            EXPECT_EQ(status, QSYS_E_MEMORY);
            EXPECT_EQ(out.xform, before);
            EXPECT_EQ(test_allocator::liveBlocks(), blocks);
        }
    for (int64_t n = 1; n <= 2; ++n) {
        Handle out;
        allocator.arm(n, true);
        EXPECT_EQ(qmath_xformPtrhConst_constructFunctions(&out, Wave::forward, Wave::backward, &other,
                                                          Wave::release),
                  QSYS_E_MEMORY);
        allocator.disarm();
        EXPECT_EQ(out.xform, nullptr);
        EXPECT_EQ(other.released, 0);
    }
    qmath_xformPtrhConst_destruct(&given);
    EXPECT_EQ(test_allocator::liveBlocks(), 0);
    EXPECT_EQ(wave.released, 1);
}

// For the thread sanitizer above all: threads copy, use and drop handles to one transform.
TEST(BaseXform, SharedBetweenThreads)
{
    Wave wave = {1};
    {
        Handle shared;
        ASSERT_EQ(qmath_xformPtrhConst_constructFunctions(&shared, Wave::forward, Wave::backward, &wave,
                                                          Wave::release),
                  0);
        std::vector<std::jthread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([&shared] {
                for (int i = 0; i < 300; ++i) {
                    Handle copy, inverse;
                    qmath_xformPtrhConst_assign(&copy, &shared);
                    qmath_xformPtrhConst_assignInverse(&inverse, &copy);
                    expectMaps(inverse,
                               [](qmath_point p) {
                                   return qmath_point{p.x - std::sin(p.y), p.y};
                               },
                               {1, 2});
                }
            });
    }
    EXPECT_EQ(wave.released, 1);
}
