// The fast filters of the half-resolution and binomial family: all six, both depths, with and without a
// mask, at every processor level, against the weighted sums written out pixel by pixel, on guarded memory.
//
//   check_gauss2_fast --bench     also times what it has verified, in cycles for each source pixel
#include "gauss2/fast.h"

#include "support/faults.h"
#include "support/oracle_gauss2.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <qbase/attention.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cfenv>
#include <cstdio>

namespace
{

constexpr int64_t rowsPerPoll = 64;

struct filter {
    const char* name;
    gauss2_filter which;
    oracle_gauss2Filter sums;

    // Half resolution in one direction writes nothing before its last poll.
    bool pollsFirst() const
    {
        return sums.stepX * sums.stepY == 2;
    }
    int64_t polls(int64_t height) const
    {
        const int64_t rows = sums.stepX * sums.stepY == 4 ? height - 1 : height;
        return (rows + rowsPerPoll - 1) / rowsPerPoll;
    }
};

const filter filters[] = {
    {"half", gauss2_half, {true, true, 2, 2}},    {"5x5", gauss2_full5x5, {true, true, 1, 1}},
    {"halfX", gauss2_halfX, {true, false, 2, 1}}, {"5x1", gauss2_full5x1, {true, false, 1, 1}},
    {"halfY", gauss2_halfY, {false, true, 1, 2}}, {"1x5", gauss2_full1x5, {false, true, 1, 1}},
};

// ---- pictures ----

oracle_gauss2Planes picture(test_random* random, int32_t width, int32_t height, int32_t pixelSize,
                            int64_t pixelKind, int64_t maskKind)
{
    return {test_randomPixels(random, width, height, pixelSize, pixelKind),
            test_randomMask(random, width, height, maskKind)};
}

// ---- calls ----

// One filter on one picture, and what is expected of it. Of the picture's planes it takes those that its
// kind has.
template <class Planes>
struct request {
    using Pixel = typename Planes::Pixel;

    const filter& what;
    const oracle_gauss2Planes& source;
    oracle_gauss2Planes values =
        oracle_gauss2Apply(Planes::masked ? source : oracle_gauss2Planes{source.pixels, {}}, what.sums);

    int64_t polls() const
    {
        return what.polls(source.pixels.height);
    }
};

// One call of it on guarded memory, or without `random` on simple memory.
template <class Planes>
struct call {
    using Pixel = typename Planes::Pixel;

    const request<Planes>& made;
    test_pixels src, mask, dst, dstMask;
    bool hasDstMask;

    call(test_random* random, const request<Planes>& called)
        : made(called), src(layout(random, made.source.pixels, sizeof(Pixel))),
          mask(layout(random, made.source.pixels, 1)),
          dst(layout(random, made.values.pixels, sizeof(Pixel))),
          dstMask(layout(random, made.values.pixels, 1)),
          hasDstMask(Planes::masked && (!random || test_chance(random, 75)))
    {
        test_fill(&src, made.source.pixels);
        test_fill(&mask, *made.source.mask);
    }

    static test_layout layout(test_random* random, const test_grid& grid, int32_t pixelSize)
    {
        return random ? test_randomLayout(random, grid.width, grid.height, pixelSize)
                      : test_layout{grid.width, grid.height, pixelSize, test_fence::block, 0, 64};
    }

    qip_status run(int64_t mostUnpolled = gauss2_mostUnpolled) const
    {
        const test_view view = src.view();
        const gauss2_planes<Pixel> pixels = {view.width,
                                             view.height,
                                             static_cast<const Pixel*>(view.first),
                                             view.stride,
                                             static_cast<Pixel*>(dst.first()),
                                             dst.stride()};
        if constexpr (Planes::masked)
            return gauss2_fast(made.what.which,
                               Planes{pixels, static_cast<const uint8_t*>(mask.first()), mask.stride(),
                                      hasDstMask ? static_cast<uint8_t*>(dstMask.first()) : nullptr,
                                      dstMask.stride()},
                               mostUnpolled);
        else
            return gauss2_fast(made.what.which, pixels, mostUnpolled);
    }

    // The first rows are as expected, the others as nobody wrote them; nothing beside them is written.
    void expectRows(int64_t rows) const
    {
        expectRows(dst, made.values.pixels, rows);
        expectRows(dstMask, made.values.mask.value_or(made.values.pixels), hasDstMask ? rows : 0);
    }

    static void expectRows(const test_pixels& pixels, const test_grid& values, int64_t rows)
    {
        test_grid grid(values.width, values.height,
                       pixels.view().pixelSize == 1 ? test_canary : test_canary * 257);
        std::copy_n(values.values.begin(), rows * values.width, grid.values.begin());
        EXPECT_TRUE(test_samePixels(grid, pixels.view()));
        EXPECT_TRUE(test_undamaged(pixels));
    }
};

// Runs one filter at every level: status, polls, pixels, and no floating-point exception.
template <class Planes>
void check(const filter& filter, const oracle_gauss2Planes& source, test_random* random,
           int64_t mostUnpolled = gauss2_mostUnpolled)
{
    SCOPED_TRACE(testing::Message() << filter.name << ", " << source.pixels.width << "x"
                                    << source.pixels.height << ", unpolled " << mostUnpolled);
    const request<Planes> made = {filter, source};
    test_atEveryLevel([&](const std::string&) {
        const call<Planes> one(random, made);
        const test_attention attention;
        std::feclearexcept(FE_ALL_EXCEPT);
        const qip_status status = one.run(mostUnpolled);
        EXPECT_EQ(std::fetestexcept(FE_INVALID | FE_DIVBYZERO), 0);
        const bool declined = source.pixels.width < 3;
        EXPECT_EQ(status, declined ? QIP_E_FALLBACK : QIP_OK);
        EXPECT_EQ(attention.polls(), declined ? 0 : made.polls());
        one.expectRows(declined ? 0 : made.values.pixels.height);
    });
}

template <class Planes>
struct Gauss2Fast : testing::Test {
    using Pixel = typename Planes::Pixel;

    // A picture that tells its rows apart.
    static oracle_gauss2Planes noisy(test_random* random, int32_t height)
    {
        return picture(random, 90, height, sizeof(Pixel), test_anything, test_noise);
    }
};

constexpr int64_t bounds[] = {gauss2_mostUnpolled, 2 * rowsPerPoll * 90, 0};

using Kinds = testing::Types<gauss2_planes<uint8_t>, gauss2_planes<uint16_t>, gauss2_maskedPlanes<uint8_t>,
                             gauss2_maskedPlanes<uint16_t>>;
TYPED_TEST_SUITE(Gauss2Fast, Kinds);

} // namespace

// All combinations of the low four bits, which alone decide the rounding of a sum of weight 16, at the
// bottom and at the top of the range. One column of the picture is one combination.
TYPED_TEST(Gauss2Fast, EveryRoundingOfFivePixels)
{
    using Pixel = typename TestFixture::Pixel;
    test_random random = test_randomFor(0);
    for (const uint32_t top : {0u, uint32_t{std::numeric_limits<Pixel>::max()} - 15}) {
        oracle_gauss2Planes source = {test_grid(1 << 20, 5), test_grid(1 << 20, 5, 255)};
        for (uint32_t i = 0; i < source.pixels.values.size(); ++i)
            source.pixels.values[i] = static_cast<uint16_t>(top + ((i & 0xfffff) >> 4 * (i >> 20) & 15));
        check<TypeParam>(filters[5], source, &random);
    }
}

// Filters that poll first still ask while they work, but for the polls of the last `mostUnpolled` pixels.
// This handler spoils the rows that a call must be done with when it asks.
TYPED_TEST(Gauss2Fast, PollsInTime)
{
    for (const filter& each : filters)
        for (const int64_t unpolled : {1, 2, 5}) {
            SCOPED_TRACE(testing::Message() << each.name << ", unpolled " << unpolled);
            test_random random = test_randomFor(4000);
            const oracle_gauss2Planes source = this->noisy(&random, 400);
            const request<TypeParam> made = {each, source};
            test_atEveryLevel([&](const std::string&) {
                const call<TypeParam> one(&random, made);
                int64_t polls = 0;
                std::function<void()> spoil = [&] {
                    const int64_t together = made.polls() - (each.pollsFirst() ? unpolled : 0);
                    for (int64_t y = 0; y < rowsPerPoll * std::min(polls, together) - 2; ++y)
                        std::fill_n(one.src.row(y), source.pixels.width, static_cast<unsigned char>(0));
                    ++polls;
                };
                qsys_attention_setHandler(
                    [](void* context) {
                        return (*static_cast<std::function<void()>*>(context))(), QSYS_OK;
                    },
                    &spoil);
                const qip_status status = one.run(unpolled * rowsPerPoll * source.pixels.width);
                qsys_attention_setHandler(nullptr, nullptr);
                EXPECT_EQ(status, QIP_OK);
                EXPECT_EQ(polls, made.polls());
                one.expectRows(made.values.pixels.height);
            });
        }
}

TYPED_TEST(Gauss2Fast, FailuresOfMemoryComeBack)
{
    test_random random = test_randomFor(5000);
    const oracle_gauss2Planes source = this->noisy(&random, 200);
    test_allocator allocator;
    for (const filter& each : filters)
        for (const int64_t bound : bounds) {
            SCOPED_TRACE(testing::Message() << each.name << ", bound " << bound);
            const request<TypeParam> made = {each, source};
            const call<TypeParam> one(nullptr, made);
            const int64_t before = test_allocator::liveBlocks();
            bool failed = true;
            for (int64_t n = 1; failed; ++n) {
                one.expectRows(0);
                allocator.arm(n, false);
                const qip_status status = one.run(bound);
                failed = allocator.disarm();
                EXPECT_EQ(status, failed ? QSYS_E_MEMORY : QIP_OK);
                EXPECT_EQ(test_allocator::liveBlocks(), before);
            }
            one.expectRows(made.values.pixels.height);
        }
}

// ---- speed ----

namespace
{

uint64_t cyclesNow()
{
#if defined(__x86_64__)
    return __builtin_ia32_rdtsc();
#else
    return 0;
#endif
}

// What many calls took, each on its own, after some to warm up: sorted.
template <class Call>
std::vector<double> cyclesOf(const Call& call)
{
    std::vector<double> cycles(401);
    for (double& each : cycles) {
        const uint64_t start = cyclesNow();
        call();
        each = static_cast<double>(cyclesNow() - start);
    }
    cycles.erase(cycles.begin(), cycles.begin() + 200);
    std::sort(cycles.begin(), cycles.end());
    return cycles;
}

// A line of the table for each mask, a column for each level.
template <class Planes>
void bench(const filter& filter)
{
    constexpr int32_t width = 512; // with what is made of it in the second-level cache
    constexpr int32_t height = 128;
    using Pixel = typename Planes::Pixel;
    for (const auto& [mask, name] :
         {std::pair(test_full, "full"), {test_dust, "dust"}, {test_noise, "noise"}}) {
        const bool masked = Planes::masked;
        if (!masked && mask != test_full)
            continue;
        test_random random = test_randomFor(0);
        const oracle_gauss2Planes source =
            picture(&random, width, height, sizeof(Pixel), test_anything, mask);
        const request<Planes> made = {filter, source};
        const call<Planes> one(nullptr, made);
        std::printf("%-6s %2zu %-6s", filter.name, 8 * sizeof(Pixel), masked ? name : "-");
        test_atEveryLevel([&](const std::string& level) {
            const std::vector<double> cycles = cyclesOf([&] { one.run(); });
            constexpr double pixels = double{width} * height;
            std::printf("  %-5s %7.3f (%.3f to %.3f)", level.c_str(), cycles[100] / pixels,
                        cycles[20] / pixels, cycles[180] / pixels);
        });
        std::puts("");
    }
}

template <class... Planes>
void benchAll(testing::Types<Planes...>)
{
    std::puts("filter, bits, mask, then for each level cycles per source pixel: median (10% to 90% of the "
              "calls)");
    for (const filter& filter : filters)
        (bench<Planes>(filter), ...);
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (result == 0 && std::find(argv, argv + argc, std::string("--bench")) != argv + argc)
        benchAll(Kinds());
    return result;
}
