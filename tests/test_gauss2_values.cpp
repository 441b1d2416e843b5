// The 28 smoothing exports of the half-resolution family against direct two-dimensional sums: random sizes,
// origins, destinations, masks, pass counts, memory layouts; each request at two processor levels, once
// with a name inhibited. Pixels, masks, transforms, polls, and the names asked.
#include "support/any_call.h"
#include "support/faults.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qip/status.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>

namespace
{

constexpr uint64_t caseCount = 24000;
constexpr qmath_xformLinear srcTransform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};

// ---- requests ----

// D itself, a part of it, beyond it, sometimes beside it. Parts of an odd source begin inside it more often
// than not, so that few requests are refused.
oracle_rect randomDestination(test_random* random, const oracle_gauss2Export& what,
                              const oracle_rect& source)
{
    const oracle_rect all = oracle_gauss2PlanOf(what, source, source).full;
    if (all.isNull() || test_chance(random, 30))
        return {all.x, all.y, std::max<int64_t>(all.width, 1), std::max<int64_t>(all.height, 1)};
    const auto start = [&](int64_t from, int64_t size) {
        return from + test_randomRange(random, size > 1 && test_chance(random, 50), size - 1);
    };
    const oracle_rect inside = {start(all.x, all.width), start(all.y, all.height),
                                test_randomRange(random, 1, all.width + 4),
                                test_randomRange(random, 1, all.height + 4)};
    if (test_chance(random, 60))
        return inside;
    return {all.x - test_randomRange(random, 0, 9), all.y - test_randomRange(random, 0, 9),
            test_randomRange(random, 1, all.width + 16), test_randomRange(random, 1, all.height + 16)};
}

oracle_rect grown(test_random* random, const oracle_rect& rect)
{
    if (test_chance(random, 60))
        return rect;
    const int64_t left = test_randomRange(random, 0, 3);
    const int64_t top = test_randomRange(random, 0, 3);
    return {rect.x - left, rect.y - top, rect.width + left + test_randomRange(random, 0, 3),
            rect.height + top + test_randomRange(random, 0, 3)};
}

// Some large ones among them, with heights around a poll.
oracle_rect randomSource(test_random* random)
{
    const int64_t far = test_chance(random, 10) ? 1 << 30 : 40;
    const int64_t x = test_randomRange(random, -far, far);
    const int64_t y = test_randomRange(random, -far, far);
    if (test_chance(random, 1)) // wider than what is looked at together
        return {x, y, test_randomRange(random, 550, 1400), test_randomRange(random, 5, 40)};
    if (test_chance(random, 2))
        return {x, y, test_randomRange(random, 3, 500),
                test_pick(random, std::array{63, 64, 65, 66, 128, 129, 130, 193})};
    if (test_chance(random, 5)) // of one register of any level and another
        return {x, y, test_randomRange(random, 1, 150), test_randomRange(random, 1, 20)};
    return {x, y, test_randomSize(random), test_randomSize(random)};
}

test_call randomRequest(test_random* random, const test_export& exported)
{
    test_call made;
    made.what = &exported;
    const oracle_gauss2Export& what = *exported.half;
    const bool simple = test_chance(random, 40);
    made.passesX = simple ? 2 * test_randomInt(random, 0, 1) : test_randomInt(random, -3, 7);
    made.passesY = simple ? 2 * test_randomInt(random, 0, 1) : test_randomInt(random, -3, 7);
    made.transform = srcTransform;
    auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    src.place(random, randomSource(random), what.pixelSize);
    test_fillAnyPixels(random, src.pixels.get());
    if (what.windows || test_chance(random, 60))
        dst.place(random, randomDestination(random, what, src.rect), what.pixelSize);
    if (!what.masked)
        return made;
    test_placeMask(random, &srcMask, grown(random, src.rect));
    const oracle_rect& written = dst.pixels ? dst.rect : oracle_gauss2PlanOf(what, src.rect, {}).full;
    dstMask.isGiven = test_chance(random, 70);
    if (dstMask.isGiven && !written.isNull() && (what.windows || test_chance(random, 60)))
        dstMask.place(random, grown(random, written), 1);
    dstMask.isGiven = dstMask.isGiven && (dstMask.pixels || !what.windows);
    return made;
}

// ---- what is expected ----

// The part of `made` that lies in `rect`.
test_grid cut(const test_placed& made, const oracle_rect& rect)
{
    test_grid result(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height));
    const test_view view = made.pixels->view();
    for (int64_t y = 0; y < rect.height; ++y)
        for (int64_t x = 0; x < rect.width; ++x)
            result.at(x, y) =
                static_cast<uint16_t>(test_pixel(view, x + rect.x - made.rect.x, y + rect.y - made.rect.y));
    return result;
}

struct expectation {
    oracle_gauss2Plan plan;
    std::optional<oracle_gauss2Planes> values; // none: nothing is written
    std::vector<std::string> asked;
    int64_t polls;
};

expectation expect(const test_call& made)
{
    const oracle_gauss2Export& what = *made.what->half;
    const auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    const oracle_rect& source = src.rect;
    const oracle_rect all = oracle_gauss2PlanOf(what, source, source).full;
    expectation result = {oracle_gauss2PlanOf(what, source, dst.pixels ? dst.rect : all), {}, {}, 0};
    if (result.plan.refused || result.plan.written.isNull())
        return result;
    oracle_gauss2Planes used = {cut(src, result.plan.used), {}};
    if (what.masked)
        used.mask = cut(srcMask, result.plan.used);
    result.values = oracle_gauss2Smooth(what, used, made.passesX, made.passesY);
    result.asked = oracle_gauss2Asked(what, made.passesX, made.passesY);
    result.polls = oracle_gauss2Polls(what, result.plan.used.height, made.passesX, made.passesY);
    return result;
}

// ---- running ----

// The transform after the call: the source's after the map, the source's, or what it was.
void expectTransform(const test_call& made, const expectation& expected, const qmath_xformLinear& actual)
{
    qmath_xformLinear wanted = srcTransform;
    const bool missed =
        made.planes[test_dst].pixels && expected.plan.written.isNull() && !made.what->windows;
    const bool sampled = made.what->half->sampled;
    if (expected.plan.refused || (missed && sampled) || (made.what->windows && !sampled)) {
        wanted = {};
        if (!made.what->windows)
            wanted.m00 = wanted.m11 = 1.0;
    } else if (sampled) {
        const qmath_xformLinear map = oracle_gauss2Map(*made.what->half, expected.plan);
        const qmath_xformLinear& s = srcTransform;
        wanted = {s.m00 * map.m00,
                  s.m01 * map.m11,
                  s.m10 * map.m00,
                  s.m11 * map.m11,
                  s.m00 * map.tx + s.m01 * map.ty + s.tx,
                  s.m10 * map.tx + s.m11 * map.ty + s.ty};
    }
    EXPECT_DOUBLE_EQ(wanted.tx, actual.tx);
    EXPECT_DOUBLE_EQ(wanted.ty, actual.ty);
    EXPECT_EQ((qmath_xformLinear{wanted.m00, wanted.m01, wanted.m10, wanted.m11, actual.tx, actual.ty}),
              actual);
}

void run(const test_call& made, const expectation& expected)
{
    const auto& [src, srcMask, resetMask, dst, dstMask] = made.planes;
    const test_attention attention;
    // A caller may have set any direction.
    constexpr int directions[] = {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO};
    const int direction = directions[src.rect.width % 4];
    const test_outcome seen = test_run(made, false, [=] { std::fesetround(direction); });
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(seen.status, expected.plan.refused ? QIMG_E_OUTSIDE : QIP_OK);
    EXPECT_EQ(attention.polls(), expected.polls);
    expectTransform(made, expected, seen.transform);
    const bool wasWritten = expected.values.has_value();
    const auto valuesOf = [&](const test_grid& grid) {
        return oracle_values{expected.plan.written, {grid.values.begin(), grid.values.end()}};
    };
    test_expectPlane(dst, seen.dst, true, expected.plan.full,
                     wasWritten ? valuesOf(expected.values->pixels) : oracle_values{});
    const bool hasMask = made.what->half->masked && dstMask.isGiven;
    const bool bindsMask =
        hasMask && !expected.plan.refused && (!dst.pixels || !expected.plan.written.isNull());
    test_expectPlane(dstMask, seen.mask, bindsMask, expected.plan.written,
                     wasWritten && hasMask ? valuesOf(*expected.values->mask) : oracle_values{});
}

} // namespace

TEST(Gauss2Values, EqualADirectConvolution)
{
    std::vector<test_export> exports = test_exports();
    std::erase_if(exports, [](const test_export& each) { return !each.half; });
    std::vector<std::string> levels;
    test_atEveryLevel([&](const std::string& level) { levels.push_back(level); });
    test_forCases(caseCount, [&](test_random& random, uint64_t number) {
        const test_call made = randomRequest(&random, test_pick(&random, exports));
        const expectation expected = expect(made);
        for (const bool inhibits : {false, true}) {
            const std::string& level = test_pick(&random, levels);
            // The whole family, a name that this request asks, or any name.
            std::string name = "*";
            if (test_chance(&random, 60) && !expected.asked.empty())
                name = test_pick(&random, expected.asked);
            else if (test_chance(&random, 50))
                name = test_pick(&random,
                                 oracle_gauss2Asked(test_pick(&random, oracle_gauss2Exports()), 3, 3));
            SCOPED_TRACE(test_caseName(number) + ": " + made.what->name + ", level " + level +
                         ", inhibited " + (inhibits ? name : "nothing"));
            ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
            const test_inhibition inhibition(inhibits ? name : "");
            run(made, expected);
            EXPECT_EQ(test_inhibition::asked(), expected.asked);
        }
    });
    qsys_cpuinfo_limitLevel("auto");
}
