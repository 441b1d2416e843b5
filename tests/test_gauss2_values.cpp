// The 28 smoothing exports of the half-resolution family against direct two-dimensional sums: random sizes,
// origins, destinations, masks, pass counts, memory layouts; each request at two processor levels, once with a
// name inhibited. Pixels, masks, transforms, and the names asked.
#include "support/compare.h"
#include "support/images.h"
#include "support/oracle_gauss2.h"
#include "support/policy.h"
#include "support/random.h"

#include <qip/status.h>

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

namespace
{

constexpr uint64_t caseCount = 24000;

int64_t pick(test_random* random, int64_t low, int64_t high)
{
    return test_randomRange(random, low, high);
}

bool chance(test_random* random, int percent)
{
    return pick(random, 0, 99) < percent;
}

// ---- requests ----

// Pixels somewhere in memory and their place, or nothing: an image that starts unbound, a mask left out.
struct placed {
    std::unique_ptr<test_pixels> pixels;
    oracle_rect rect = {};
};

struct request {
    const oracle_gauss2Export* what;
    placed src;
    placed srcMask;
    placed dst;
    placed dstMask;
    bool wantsMask;
    int32_t passesX;
    int32_t passesY;
};

std::ostream& operator<<(std::ostream& out, const placed& made)
{
    if (!made.pixels)
        return out << "none";
    return out << "(" << made.rect.x << ", " << made.rect.y << ") " << made.rect.width << "x"
               << made.rect.height;
}

std::string describe(const request& made)
{
    std::ostringstream out;
    out << made.what->name << ", source " << made.src << ", mask " << made.srcMask << ", destination "
        << made.dst << ", mask " << (made.wantsMask ? "" : "unwanted ") << made.dstMask << ", passes "
        << made.passesX << ", " << made.passesY;
    return out.str();
}

int64_t randomSize(test_random* random)
{
    if (chance(random, 50))
        return pick(random, 1, 9);
    return pick(random, 1, chance(random, 25) ? 80 : 40);
}

test_layout randomLayout(test_random* random, const oracle_rect& rect, int32_t pixelSize)
{
    test_layout layout = {static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height), pixelSize};
    layout.fence = static_cast<test_fence>(pick(random, 0, 2));
    layout.shift = static_cast<int32_t>(chance(random, 50) ? 0 : pick(random, 0, 31)) * pixelSize;
    layout.gap =
        static_cast<int32_t>(layout.fence == test_fence::block ? pick(random, 0, 40) : 0) * pixelSize;
    layout.upward = chance(random, 20);
    return layout;
}

void place(test_random* random, const oracle_rect& rect, int32_t pixelSize, placed* made)
{
    made->rect = rect;
    made->pixels = std::make_unique<test_pixels>(randomLayout(random, rect, pixelSize));
}

// Noise, or what drives the sums to their ends: all bright, bright and dark columns, one level.
void fillPixels(test_random* random, const placed& made)
{
    const test_view view = made.pixels->view();
    const auto kind = pick(random, 0, 5);
    const auto level = static_cast<uint32_t>(test_randomBits(random) >> 48);
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t x = 0; x < view.width; ++x) {
            const auto noise = static_cast<uint32_t>(test_randomBits(random) >> 40);
            const uint32_t columns = x / 2 % 2 ? 0xffff : 0;
            made.pixels->set(x, y, kind == 0 ? 0xffff : kind == 1 ? columns : kind == 2 ? level : noise);
        }
}

// Noise, all present, all absent, present here and there, and weights so small that their share rounds to 0.
void fillMask(test_random* random, const placed& made)
{
    const test_view view = made.pixels->view();
    const auto kind = pick(random, 0, 6);
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t x = 0; x < view.width; ++x) {
            const auto noise = static_cast<uint32_t>(test_randomBits(random) >> 40);
            const uint32_t sparse = noise % 8 == 0 ? noise >> 8 : 0;
            const uint32_t faint = noise % 16 == 0;
            const uint32_t values[] = {noise, 255, 0, sparse, faint, noise % 2 * 255, noise};
            made.pixels->set(x, y, values[kind]);
        }
}

// D itself, a part of it, beyond it, sometimes beside it. Parts of an odd source begin inside it more often
// than not, so that few requests are refused.
oracle_rect randomDestination(test_random* random, const oracle_gauss2Export& what,
                              const oracle_rect& source)
{
    const oracle_rect all = oracle_gauss2PlanOf(what, source, source).full;
    if (all.isNull() || chance(random, 30))
        return {all.x, all.y, std::max<int64_t>(all.width, 1), std::max<int64_t>(all.height, 1)};
    const auto start = [&](int64_t from, int64_t size) {
        return from + pick(random, chance(random, 50), size - 1);
    };
    const oracle_rect inside = {start(all.x, all.width), start(all.y, all.height),
                                pick(random, 1, all.width + 4), pick(random, 1, all.height + 4)};
    if (chance(random, 60))
        return inside;
    return {all.x - pick(random, 0, 9), all.y - pick(random, 0, 9), pick(random, 1, all.width + 16),
            pick(random, 1, all.height + 16)};
}

oracle_rect grown(test_random* random, const oracle_rect& rect)
{
    if (chance(random, 60))
        return rect;
    const int64_t left = pick(random, 0, 3);
    const int64_t top = pick(random, 0, 3);
    return {rect.x - left, rect.y - top, rect.width + left + pick(random, 0, 3),
            rect.height + top + pick(random, 0, 3)};
}

oracle_rect randomSource(test_random* random)
{
    const int64_t far = chance(random, 10) ? 1 << 30 : 40;
    const bool large = chance(random, 1);
    const int64_t x = pick(random, -far, far);
    const int64_t y = pick(random, -far, far);
    return {x, y, large ? pick(random, 81, 700) : randomSize(random),
            large ? pick(random, 81, 200) : randomSize(random)};
}

request randomRequest(test_random* random)
{
    const auto& exports = oracle_gauss2Exports();
    request made = {};
    made.what = &exports[static_cast<size_t>(pick(random, 0, static_cast<int64_t>(exports.size()) - 1))];
    const oracle_gauss2Export& what = *made.what;
    const bool simple = chance(random, 40);
    made.passesX = static_cast<int32_t>(simple ? 2 * pick(random, 0, 1) : pick(random, -3, 7));
    made.passesY = static_cast<int32_t>(simple ? 2 * pick(random, 0, 1) : pick(random, -3, 7));
    place(random, randomSource(random), what.pixelSize, &made.src);
    fillPixels(random, made.src);
    if (what.windows || chance(random, 60))
        place(random, randomDestination(random, what, made.src.rect), what.pixelSize, &made.dst);
    if (!what.masked)
        return made;
    place(random, grown(random, made.src.rect), 1, &made.srcMask);
    fillMask(random, made.srcMask);
    made.wantsMask = chance(random, 70);
    const oracle_rect& written =
        made.dst.pixels ? made.dst.rect : oracle_gauss2PlanOf(what, made.src.rect, {}).full;
    if (made.wantsMask && !written.isNull() && (what.windows || chance(random, 60)))
        place(random, grown(random, written), 1, &made.dstMask);
    made.wantsMask = made.wantsMask && (made.dstMask.pixels || !what.windows);
    return made;
}

// ---- what is expected ----

// The part of `made` that lies in `rect`.
test_grid cut(const placed& made, const oracle_rect& rect)
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
};

expectation expect(const request& made)
{
    const oracle_gauss2Export& what = *made.what;
    const oracle_rect& source = made.src.rect;
    const oracle_rect all = oracle_gauss2PlanOf(what, source, source).full;
    expectation result = {oracle_gauss2PlanOf(what, source, made.dst.pixels ? made.dst.rect : all), {}, {}};
    if (result.plan.refused || result.plan.written.isNull())
        return result;
    oracle_gauss2Planes used = {cut(made.src, result.plan.used), {}};
    if (what.masked)
        used.mask = cut(made.srcMask, result.plan.used);
    result.values = oracle_gauss2Smooth(what, used, made.passesX, made.passesY);
    result.asked = oracle_gauss2Asked(what, made.passesX, made.passesY);
    return result;
}

// ---- running ----

constexpr uint32_t background = 0x9999; // what bound destinations hold before a call
constexpr qmath_xformLinear srcTransform = {1.25, -0.5, 0.75, 2.0, 31.0, -17.5};
constexpr qmath_xformLinear dstTransform = {3.0, 0.0, 0.0, 3.0, 0.0, 0.0};

void clear(const placed& made)
{
    if (!made.pixels)
        return;
    const test_view view = made.pixels->view();
    for (int32_t y = 0; y < view.height; ++y)
        for (int32_t x = 0; x < view.width; ++x)
            made.pixels->set(x, y, background);
}

// Over the pixels, or unbound when there are none.
std::unique_ptr<test_image> imageOver(const placed& made)
{
    if (!made.pixels)
        return std::make_unique<test_image>();
    return std::make_unique<test_image>(*made.pixels, static_cast<int32_t>(made.rect.x),
                                        static_cast<int32_t>(made.rect.y));
}

qimg_window windowOver(const placed& made)
{
    if (!made.pixels)
        return {};
    return test_windowOver(*made.pixels, static_cast<int32_t>(made.rect.x),
                           static_cast<int32_t>(made.rect.y));
}

void setTransform(qimg_image* image, const qmath_xformLinear& linear)
{
    qmath_xformPtrhConst handle = {};
    EXPECT_EQ(qmath_xformPtrhConst_constructLinear(&handle, &linear), 0);
    EXPECT_EQ(qimg_image_setClientFromImageXform(image, &handle), 0);
    qmath_xformPtrhConst_destruct(&handle);
}

qmath_xformLinear transformOf(const qimg_image& image)
{
    qmath_xformLinear linear = {};
    EXPECT_EQ(qmath_xformPtrhConst_getLinear(&image.clientFromImage, nullptr, &linear), 0);
    return linear;
}

// The transform after the call: the source's after the map, the source's, or what it was.
void expectTransform(const request& made, const expectation& expected, const qmath_xformLinear& actual)
{
    qmath_xformLinear wanted = srcTransform;
    const bool missed = made.dst.pixels && expected.plan.written.isNull() && !made.what->windows;
    if (expected.plan.refused || (missed && made.what->sampled)) {
        wanted = dstTransform;
    } else if (made.what->sampled) {
        const qmath_xformLinear map = oracle_gauss2Map(*made.what, expected.plan);
        const qmath_xformLinear& s = srcTransform;
        wanted = {s.m00 * map.m00,
                  s.m01 * map.m11,
                  s.m10 * map.m00,
                  s.m11 * map.m11,
                  s.m00 * map.tx + s.m01 * map.ty + s.tx,
                  s.m10 * map.tx + s.m11 * map.ty + s.ty};
    }
    EXPECT_EQ(wanted.m00, actual.m00);
    EXPECT_EQ(wanted.m01, actual.m01);
    EXPECT_EQ(wanted.m10, actual.m10);
    EXPECT_EQ(wanted.m11, actual.m11);
    EXPECT_DOUBLE_EQ(wanted.tx, actual.tx);
    EXPECT_DOUBLE_EQ(wanted.ty, actual.ty);
}

// A plane over `rect` holds `values` at `written`, when there are any, and `before` elsewhere.
void expectPlane(const test_view& actual, const oracle_rect& rect, uint32_t before,
                 const oracle_rect& written, const test_grid* values)
{
    const uint32_t most = actual.pixelSize == 1 ? 0xff : 0xffff;
    test_grid expected(actual.width, actual.height, static_cast<uint16_t>(before & most));
    for (int64_t y = 0; values && y < written.height; ++y)
        for (int64_t x = 0; x < written.width; ++x)
            expected.at(x + written.x - rect.x, y + written.y - rect.y) =
                values->values[static_cast<size_t>(y * written.width + x)];
    EXPECT_TRUE(test_samePixels(expected, actual));
}

void expectPixels(const placed& made, const expectation& expected, const test_grid* values)
{
    expectPlane(made.pixels->view(), made.rect, background, expected.plan.written, values);
    EXPECT_TRUE(test_undamaged(*made.pixels));
}

// An image that started unbound is bound to `rect`, or still unbound.
void expectBound(const test_image& image, bool bound, const oracle_rect& rect, const expectation& expected,
                 const test_grid* values)
{
    EXPECT_EQ(image.isBound(), bound);
    if (!bound || !image.isBound())
        return;
    const oracle_rect is = image.rect();
    EXPECT_TRUE(is.isNull() == rect.isNull() && is.width == rect.width && is.height == rect.height);
    if (rect.isNull() || testing::Test::HasFailure())
        return;
    EXPECT_EQ(is.x, rect.x);
    EXPECT_EQ(is.y, rect.y);
    expectPlane(image.view(), rect, 0, expected.plan.written, values);
}

qsys_status runImages(const request& made, const expectation& expected)
{
    const auto src = imageOver(made.src);
    const auto srcMask = imageOver(made.srcMask);
    const auto dst = imageOver(made.dst);
    const auto dstMask = imageOver(made.dstMask);
    setTransform(&src->record, srcTransform);
    setTransform(&dst->record, dstTransform);
    oracle_gauss2Arguments arguments;
    arguments.src = &src->record;
    arguments.srcMask = &srcMask->record;
    arguments.dst = &dst->record;
    arguments.dstMask = made.wantsMask ? &dstMask->record : nullptr;
    arguments.passesX = made.passesX;
    arguments.passesY = made.passesY;
    const qsys_status status = made.what->call(arguments);
    expectTransform(made, expected, transformOf(dst->record));
    const oracle_gauss2Planes* const values = expected.values ? &*expected.values : nullptr;
    if (!made.dst.pixels)
        expectBound(*dst, true, expected.plan.full, expected, values ? &values->pixels : nullptr);
    if (made.wantsMask && !made.dstMask.pixels)
        expectBound(*dstMask,
                    !expected.plan.refused && (!made.dst.pixels || !expected.plan.written.isNull()),
                    expected.plan.written, expected, values ? &*values->mask : nullptr);
    return status;
}

qsys_status runWindows(const request& made, const expectation& expected)
{
    const qimg_window windows[] = {windowOver(made.src), windowOver(made.srcMask), windowOver(made.dst),
                                   windowOver(made.dstMask)};
    const qimg_windowConst src = qimg_window_asConst(&windows[0]);
    const qimg_windowConst srcMask = qimg_window_asConst(&windows[1]);
    qmath_xformLinear transform = dstTransform;
    oracle_gauss2Arguments arguments;
    arguments.srcWin = &src;
    arguments.srcMaskWin = &srcMask;
    arguments.dstWin = &windows[2];
    arguments.dstMaskWin = made.wantsMask ? &windows[3] : nullptr;
    arguments.srcTransform = &srcTransform;
    arguments.dstTransform = &transform;
    arguments.passesX = made.passesX;
    arguments.passesY = made.passesY;
    const qsys_status status = made.what->call(arguments);
    if (made.what->sampled)
        expectTransform(made, expected, transform);
    return status;
}

void run(const request& made, const expectation& expected)
{
    clear(made.dst);
    clear(made.dstMask);
    const qsys_status status = made.what->windows ? runWindows(made, expected) : runImages(made, expected);
    EXPECT_EQ(status, expected.plan.refused ? QIMG_E_OUTSIDE : QIP_OK);
    const oracle_gauss2Planes* const values = expected.values ? &*expected.values : nullptr;
    if (made.dst.pixels)
        expectPixels(made.dst, expected, values ? &values->pixels : nullptr);
    if (made.dstMask.pixels)
        expectPixels(made.dstMask, expected, values && made.wantsMask ? &*values->mask : nullptr);
}

std::vector<std::string> levels()
{
    std::vector<std::string> all;
    test_atEveryLevel([&](const std::string& level) { all.push_back(level); });
    return all;
}

} // namespace

TEST(Gauss2Values, EqualADirectConvolution)
{
    const std::vector<std::string> all = levels();
    const auto& names = oracle_gauss2Names();
    for (uint64_t number = 0; number < caseCount && !HasFailure(); ++number) {
        test_random random = test_randomFor(number);
        const request made = randomRequest(&random);
        const expectation expected = expect(made);
        const test_grid source(made.src.pixels->view());
        for (const bool inhibits : {false, true}) {
            const std::string& level = all[static_cast<size_t>(pick(&random, 0, std::ssize(all) - 1))];
            // The whole family, a name that this request asks, or any name.
            std::string name = "*";
            if (chance(&random, 60) && !expected.asked.empty())
                name =
                    expected.asked[static_cast<size_t>(pick(&random, 0, std::ssize(expected.asked) - 1))];
            else if (chance(&random, 50))
                name = names[static_cast<size_t>(pick(&random, 0, std::ssize(names) - 1))];
            SCOPED_TRACE(test_caseName(number) + ": " + describe(made) + ", level " + level +
                         ", inhibited " + (inhibits ? name : "nothing"));
            ASSERT_EQ(qsys_cpuinfo_limitLevel(level.c_str()), 0);
            const test_inhibition inhibition(inhibits ? name : "");
            run(made, expected);
            EXPECT_EQ(test_inhibition::asked(), expected.asked);
        }
        EXPECT_TRUE(test_samePixels(source, made.src.pixels->view()));
    }
    qsys_cpuinfo_limitLevel("auto");
}

// The sums of 16-bit pixels under a full mask are the greatest that occur; they need all 32 bits.
TEST(Gauss2Values, FullMasksGiveTheUnmaskedPixels)
{
    const auto& exports = oracle_gauss2Exports();
    for (const oracle_gauss2Export& masked : exports) {
        if (!masked.masked || masked.windows)
            continue;
        SCOPED_TRACE(masked.name);
        const auto unmasked = std::find_if(exports.begin(), exports.end(), [&](const auto& other) {
            return !other.masked && !other.windows && other.pixelSize == masked.pixelSize &&
                   other.sampled == masked.sampled && other.halveX == masked.halveX &&
                   other.halveY == masked.halveY;
        });
        ASSERT_NE(unmasked, exports.end());
        test_random random = test_randomFor(0);
        test_pixels pixels({200, 70, masked.pixelSize});
        test_pixels mask({200, 70, 1});
        for (int32_t y = 0; y < 70; ++y)
            for (int32_t x = 0; x < 200; ++x) {
                pixels.set(x, y, 0xffff - static_cast<uint32_t>(pick(&random, 0, x < 100 ? 0 : 3)));
                mask.set(x, y, 255);
            }
        const test_image src(pixels, 0, 0);
        const test_image srcMask(mask, 0, 0);
        test_atEveryLevel([&](const std::string&) {
            test_image dst[2];
            test_image dstMask;
            oracle_gauss2Arguments arguments;
            arguments.src = &src.record;
            arguments.srcMask = &srcMask.record;
            arguments.dst = &dst[0].record;
            arguments.dstMask = &dstMask.record;
            ASSERT_EQ(masked.call(arguments), 0);
            arguments.dst = &dst[1].record;
            ASSERT_EQ(unmasked->call(arguments), 0);
            EXPECT_TRUE(test_samePixels(dst[1].view(), dst[0].view()));
            EXPECT_TRUE(test_samePixels(test_grid(dstMask.view().width, dstMask.view().height, 255),
                                        dstMask.view()));
        });
    }
}
