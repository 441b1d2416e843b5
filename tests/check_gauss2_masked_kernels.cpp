// The fast masked filters, at every processor level, against sums written from the definition; with every row
// against forbidden pages.
#include "gauss2/fast.h"

#include "support/compare.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/policy.h"
#include "support/random.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <optional>

namespace
{

struct filter {
    const char* name;
    bool fiveColumns;
    bool fiveRows;
    int32_t stepX; // source columns for one of the output
    int32_t stepY;
    gauss2_filter which;

    bool isAlongOneDirection() const
    {
        return fiveColumns != fiveRows;
    }
    bool pollsAhead() const
    {
        return isAlongOneDirection() && stepX * stepY == 2;
    }
    bool declines(int32_t, int32_t width, int32_t, bool) const
    {
        return width <= 2;
    }
};

const std::array<filter, 6> filters = {{
    {"half", true, true, 2, 2, gauss2_half},
    {"halfX", true, false, 2, 1, gauss2_halfX},
    {"halfY", false, true, 1, 2, gauss2_halfY},
    {"5x5", true, true, 1, 1, gauss2_full5x5},
    {"5x1", true, false, 1, 1, gauss2_full5x1},
    {"1x5", false, true, 1, 1, gauss2_full1x5},
}};

// ---- what is expected ----

struct expectation {
    test_grid pixels;
    test_grid mask;
};

int64_t weightOf(int64_t offset, bool five)
{
    constexpr int64_t weights[] = {1, 4, 6, 4, 1};
    return five ? weights[offset + 2] : offset == 0;
}

expectation expected(const filter& f, const test_grid& src, const test_grid& mask)
{
    expectation e = {{src.width / f.stepX, src.height / f.stepY},
                     {src.width / f.stepX, src.height / f.stepY}};
    const int64_t whole = f.isAlongOneDirection() ? 16 : 256;
    for (int32_t y = 0; y < e.pixels.height; ++y)
        for (int32_t x = 0; x < e.pixels.width; ++x) {
            int64_t n = 0;
            int64_t w = 0;
            for (int64_t j = -2; j <= 2; ++j)
                for (int64_t i = -2; i <= 2; ++i) {
                    const int64_t column = std::clamp<int64_t>(f.stepX * x + i, 0, src.width - 1);
                    const int64_t row = std::clamp<int64_t>(f.stepY * y + j, 0, src.height - 1);
                    const auto at = static_cast<size_t>(row * src.width + column);
                    const int64_t weight =
                        weightOf(i, f.fiveColumns) * weightOf(j, f.fiveRows) * mask.values[at];
                    n += weight * src.values[at];
                    w += weight;
                }
            e.pixels.at(x, y) = static_cast<uint16_t>(w == 0 ? 0 : (n + w / 2) / w);
            e.mask.at(x, y) = static_cast<uint16_t>((w + whole / 2) / whole);
        }
    return e;
}

// ---- pictures ----

// Masks that are alike over areas larger than a block and change within one, both ways.
enum maskKind { full, empty, patches, noise, binary, specks, faint, maskKinds };

test_grid someMask(test_random* random, int32_t width, int32_t height, int64_t kind)
{
    test_grid mask(width, height, kind == full || kind == specks ? 255 : 0);
    for (auto& value : mask.values)
        if (kind == noise)
            value = static_cast<uint16_t>(test_randomRange(random, 0, 255));
        else if (kind == binary)
            value = test_randomRange(random, 0, 1) ? 255 : 0;
        else if (kind == faint)
            value = test_randomRange(random, 0, 15) ? 0 : 1;
        else if (kind == specks && test_randomRange(random, 0, 400) == 0)
            value = static_cast<uint16_t>(test_randomRange(random, 0, 254));
    for (int patch = 0; kind == patches && patch < 6; ++patch) {
        const int64_t right = test_randomRange(random, 1, width);
        const int64_t bottom = test_randomRange(random, 1, height);
        const auto value =
            static_cast<uint16_t>(std::clamp<int64_t>(test_randomRange(random, -200, 455), 0, 255));
        for (int64_t y = test_randomRange(random, 0, bottom - 1); y < bottom; ++y)
            for (int64_t x = test_randomRange(random, 0, right - 1) / 2; x < right; ++x)
                mask.at(x, y) = value;
    }
    return mask;
}

test_grid somePixels(test_random* random, int32_t width, int32_t height, int32_t pixelSize, int64_t kind)
{
    const uint16_t most = pixelSize == 1 ? 255 : 65535;
    test_grid pixels(width, height, most);
    for (auto& value : pixels.values)
        if (kind == 1)
            value = test_randomRange(random, 0, 1) ? most : 0;
        else if (kind > 1)
            value = static_cast<uint16_t>(test_randomBits(random)) & most;
    return pixels;
}

void copyTo(test_pixels* pixels, const test_grid& grid)
{
    for (int32_t y = 0; y < grid.height; ++y)
        for (int32_t x = 0; x < grid.width; ++x)
            pixels->set(x, y,
                        grid.values[static_cast<size_t>(y) * static_cast<size_t>(grid.width) +
                                    static_cast<size_t>(x)]);
}

// ---- a call ----

test_layout someLayout(test_random* random, int32_t width, int32_t height, int32_t pixelSize)
{
    test_layout layout = {width, height, pixelSize};
    layout.fence = static_cast<test_fence>(test_randomRange(random, 0, 2));
    layout.shift =
        static_cast<int32_t>(pixelSize * test_randomRange(random, 0, 3) * test_randomRange(random, 0, 8));
    layout.gap = static_cast<int32_t>(pixelSize * test_randomRange(random, 0, 9));
    layout.upward = test_randomRange(random, 0, 3) == 0;
    return layout;
}

// One source with its mask, and fresh outputs, all in guarded memory.
struct call {
    test_pixels src;
    test_pixels mask;
    test_pixels dst;
    std::optional<test_pixels> dstMask;

    call(test_random* random, const filter& f, const test_grid& srcGrid, const test_grid& maskGrid,
         int32_t pixelSize, bool hasMask)
        : src(someLayout(random, srcGrid.width, srcGrid.height, pixelSize)),
          mask(someLayout(random, srcGrid.width, srcGrid.height, 1)),
          dst(someLayout(random, srcGrid.width / f.stepX, srcGrid.height / f.stepY, pixelSize))
    {
        copyTo(&src, srcGrid);
        copyTo(&mask, maskGrid);
        if (hasMask)
            dstMask.emplace(someLayout(random, srcGrid.width / f.stepX, srcGrid.height / f.stepY, 1));
    }

    template <class Pixel>
    qip_status runWith(gauss2_filter filter)
    {
        const test_view view = src.view();
        return gauss2_fast(filter, gauss2_maskedPlanes<Pixel>{
                                       {view.width, view.height, static_cast<const Pixel*>(view.first),
                                        view.stride, static_cast<Pixel*>(dst.first()), dst.stride()},
                                       static_cast<const uint8_t*>(mask.first()),
                                       mask.stride(),
                                       dstMask ? static_cast<uint8_t*>(dstMask->first()) : nullptr,
                                       dstMask ? dstMask->stride() : 0});
    }

    qip_status run(const filter& f)
    {
        return src.view().pixelSize == 1 ? runWith<uint8_t>(f.which) : runWith<uint16_t>(f.which);
    }
};

void checkOutput(const call& c, const expectation& e)
{
    EXPECT_TRUE(test_samePixels(e.pixels, c.dst.view()));
    EXPECT_TRUE(test_undamaged(c.dst));
    if (c.dstMask) {
        EXPECT_TRUE(test_samePixels(e.mask, c.dstMask->view()));
        EXPECT_TRUE(test_undamaged(*c.dstMask));
    }
}

// What an output looks like that nobody wrote.
expectation untouched(const call& c)
{
    const test_view view = c.dst.view();
    const int whole = view.pixelSize == 1 ? test_canary : test_canary * 257;
    return {{view.width, view.height, static_cast<uint16_t>(whole)},
            {view.width, view.height, test_canary}};
}

// All filters, both depths and all levels on one picture.
void checkPicture(uint64_t caseNumber, int32_t width, int32_t height, int64_t maskKind)
{
    SCOPED_TRACE(test_caseName(caseNumber) + ", " + std::to_string(width) + "x" + std::to_string(height));
    test_random random = test_randomFor(caseNumber);
    const test_grid mask = someMask(&random, width, height, maskKind);
    for (int32_t pixelSize : {1, 2}) {
        const test_grid src =
            somePixels(&random, width, height, pixelSize, test_randomRange(&random, 0, 5));
        for (const filter& f : filters) {
            SCOPED_TRACE(std::string(f.name) + ", pixels of " + std::to_string(pixelSize));
            const expectation e = expected(f, src, mask);
            const bool hasMask = test_randomRange(&random, 0, 3) != 0;
            test_atEveryLevel([&](const std::string&) {
                call c(&random, f, src, mask, pixelSize, hasMask);
                const bool declines = f.declines(pixelSize, width, height, hasMask);
                std::feclearexcept(FE_ALL_EXCEPT);
                EXPECT_EQ(c.run(f), declines ? QIP_E_FALLBACK : QIP_OK);
                EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO), 0);
                checkOutput(c, declines ? untouched(c) : e);
            });
        }
    }
}

TEST(Gauss2Masked, EverySmallSize)
{
    uint64_t number = 0;
    for (int32_t width = 1; width <= 105 && !HasFailure(); ++width)
        for (int32_t height : {1 + width % 4, 5 + width % 7}) {
            ++number;
            checkPicture(number, width, height, static_cast<int64_t>(number % maskKinds));
        }
}

TEST(Gauss2Masked, LargerPictures)
{
    for (uint64_t number = 1000; number < 1120 && !HasFailure(); ++number) {
        test_random random = test_randomFor(number);
        const auto width = static_cast<int32_t>(test_randomRange(&random, 30, 400));
        const auto height = static_cast<int32_t>(test_randomRange(&random, 10, 60));
        const int64_t kind = test_randomRange(&random, 0, maskKinds - 1);
        checkPicture(number, width, height, number % 2 ? int64_t{patches} : kind);
    }
}

// A caller may have set any rounding direction.
TEST(Gauss2Masked, EveryRoundingDirection)
{
    const int before = std::fegetround();
    for (int direction : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        std::fesetround(direction);
        for (uint64_t number = 2000; number < 2010; ++number)
            checkPicture(number, 90, 40, number % 2 ? noise : faint);
    }
    std::fesetround(before);
}

// ---- polls and failures ----

// Handlers are asked before rows 0, 64, ... and end the call there.
void checkPolls(const filter& f, int32_t pixelSize, int32_t height)
{
    test_random random = test_randomFor(static_cast<uint64_t>(height));
    const test_grid src = somePixels(&random, 40, height, pixelSize, 2);
    const test_grid mask = someMask(&random, 40, height, noise);
    const expectation e = expected(f, src, mask);
    const int32_t rows = f.pollsAhead() ? height : e.pixels.height * f.stepY;
    for (int32_t failAt = 1; failAt <= (rows + 63) / 64; ++failAt) {
        test_attention attention(failAt);
        call c(&random, f, src, mask, pixelSize, true);
        EXPECT_EQ(c.run(f), QSYS_E_CANCELLED);
        EXPECT_EQ(attention.polls(), failAt);
        expectation partly = untouched(c);
        const int64_t written = f.pollsAhead() ? 0 : (failAt - 1) * 64 / f.stepY * e.pixels.width;
        std::copy_n(e.pixels.values.begin(), written, partly.pixels.values.begin());
        std::copy_n(e.mask.values.begin(), written, partly.mask.values.begin());
        checkOutput(c, partly);
    }
    test_attention attention;
    call c(&random, f, src, mask, pixelSize, true);
    EXPECT_EQ(c.run(f), QIP_OK);
    EXPECT_EQ(attention.polls(), (rows + 63) / 64);
    checkOutput(c, e);
}

TEST(Gauss2Masked, PollsEverySixtyFourRows)
{
    for (const filter& f : filters)
        for (int32_t pixelSize : {1, 2})
            for (int32_t height : {64, 65, 66, 130}) {
                SCOPED_TRACE(std::string(f.name) + ", height " + std::to_string(height));
                checkPolls(f, pixelSize, height);
            }
}

TEST(Gauss2Masked, FailuresOfServicesComeBack)
{
    test_random random = test_randomFor(0);
    const test_grid src = somePixels(&random, 50, 20, 1, 2);
    const test_grid mask = someMask(&random, 50, 20, noise);
    for (const filter& f : filters)
        for (int32_t pixelSize : {1, 2}) {
            SCOPED_TRACE(f.name);
            call c(&random, f, src, mask, pixelSize, true);
            qsys_cpuinfo_setFailure(QSYS_E_LEVEL_UNKNOWN);
            EXPECT_EQ(c.run(f), QSYS_E_LEVEL_UNKNOWN);
            qsys_cpuinfo_setFailure(0);
            checkOutput(c, untouched(c));

            test_allocator allocator;
            const int64_t before = test_allocator::liveBlocks();
            allocator.arm(1, false);
            EXPECT_EQ(c.run(f), QSYS_E_MEMORY);
            EXPECT_TRUE(allocator.disarm());
            EXPECT_EQ(test_allocator::liveBlocks(), before);
            checkOutput(c, untouched(c));
            EXPECT_EQ(c.run(f), QIP_OK);
            EXPECT_EQ(test_allocator::liveBlocks(), before);
        }
}

} // namespace
