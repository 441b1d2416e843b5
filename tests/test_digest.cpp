// The same bits from every compiler, set of options and processor: one number stands for all that callers see of
// some thousands of random calls where the plain definitions decide the pixels. Whoever changes pixels on purpose
// changes it; the tests of values say whether the new ones are right.
#include "support/any_call.h"
#include "support/oracle_masked.h"
#include "support/pictures.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <bit>

namespace
{

struct digest {
    uint64_t state = 0xcbf29ce484222325u;

    void add(uint64_t number)
    {
        state = (state ^ number) * 0x100000001b3u;
        state ^= state >> 29;
    }
    void add(const test_placed& made)
    {
        if (made.pixels)
            for (const uint16_t value : test_grid(made.pixels->view()).values)
                add(value);
    }
};

void placeMask(test_random* random, test_placed* mask, const oracle_rect& rect)
{
    mask->place(random, rect, 1);
    test_fill(mask->pixels.get(),
              test_randomMask(random, static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height),
                              test_randomRange(random, 0, test_maskKinds - 1)));
}

void addMaskedCall(test_random* random, digest* sum)
{
    const oracle_maskedExport& what = test_pick(random, oracle_maskedExports());
    qip_gaussParams params = test_gaussParams(1, 0);
    for (int32_t* kernel : {&params.kernelSizeX, &params.kernelSizeY})
        *kernel = test_randomInt(random, 0, test_pick(random, std::vector<int>{2, 8, 24}));
    for (int32_t* sample : {&params.sampleX, &params.sampleY})
        *sample = test_randomInt(random, 1, test_pick(random, std::vector<int>{1, 1, 4}));
    params.gain = test_pick(random, std::vector<double>{1.0, 1.0, 2.0, 0.3, 1.75, 60000.0});
    params.round = test_chance(random, 50);
    params.maskParams = {test_chance(random, 50), test_chance(random, 50),
                         0.25 * test_randomInt(random, 0, 4)};
    const oracle_rect rect = {0, 0, test_randomRange(random, 1, 90), test_randomRange(random, 1, 60)};
    test_placed src, srcMask, resetMask, dst, dstMask;
    src.place(random, rect, what.srcSize);
    test_fillAnyPixels(random, src.pixels.get());
    placeMask(random, &srcMask, rect);
    if (test_chance(random, 40))
        placeMask(random, &resetMask, rect);
    dst.place(random, rect, what.dstSize);
    dstMask.place(random, rect, 1);
    test_plane planes[] = {src.over(), srcMask.over(), resetMask.over(), dst.over(), dstMask.over()};
    oracle_maskedArguments a = {.params = &params};
    a.src = &planes[0].image.record;
    a.srcMask = &planes[1].image.record;
    a.resetMask = resetMask.pixels ? &planes[2].image.record : nullptr;
    a.dst = &planes[3].image.record;
    a.dstMask = &planes[4].image.record;
    a.srcWin = &planes[0].windowConst;
    a.srcMaskWin = &planes[1].windowConst;
    a.resetMaskWin = resetMask.pixels ? &planes[2].windowConst : nullptr;
    a.dstWin = &planes[3].window;
    a.dstMaskWin = &planes[4].window;
    sum->add(static_cast<uint64_t>(what.call(a)));
    sum->add(dst);
    sum->add(dstMask);
}

uint64_t digestOfCalls()
{
    digest sum;
    for (uint64_t number = 0; number < 3000; ++number) {
        test_random random = test_randomFor(number);
        if (test_chance(&random, 40)) {
            addMaskedCall(&random, &sum);
            continue;
        }
        const auto seen =
            test_run(test_randomCall(&random, test_randomInt(&random, 0, test_anyExportCount() - 1)));
        for (const double each : seen)
            sum.add(std::bit_cast<uint64_t>(each));
    }
    return sum.state;
}

} // namespace

TEST(Digest, IsTheSameEverywhere)
{
    for (const char* level : {"plain", "neon"}) {
        if (qsys_cpuinfo_limitLevel(level) < 0)
            continue;
        SCOPED_TRACE(level);
        const uint64_t digest = digestOfCalls();
        qsys_cpuinfo_limitLevel("auto");
        if (std::getenv("QIP_TEST_SEED"))
            GTEST_SKIP() << "for this seed it is " << digest << ", to be compared by hand";
        EXPECT_EQ(digest, 15178568200123688259u);
    }
}
