// The same bits from every compiler, set of options and processor: one number stands for all that callers
// see of some thousands of random calls where the plain definitions decide the pixels. Whoever changes
// pixels on purpose changes it; the tests of values say whether the new ones are right.
#include "support/any_call.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

namespace
{

struct digest {
    uint64_t state = 0xcbf29ce484222325u;

    void add(uint64_t number)
    {
        state = (state ^ number) * 0x100000001b3u;
        state ^= state >> 29;
    }
    template <class Number>
    void add(const std::vector<Number>& numbers)
    {
        for (const Number each : numbers)
            add(uint64_t{each});
    }
};

uint64_t digestOfCalls()
{
    digest sum;
    for (uint64_t number = 0; number < 3000; ++number) {
        test_random random = test_randomFor(number);
        const test_call made = test_randomCall(&random, test_pick(&random, test_exports()));
        const test_outcome seen = test_run(made, test_chance(&random, 30));
        sum.add(static_cast<uint64_t>(seen.status));
        sum.add(seen.places);
        sum.add(seen.mask.pixels);
        sum.add(seen.dst.pixels);
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
        EXPECT_EQ(digest, 8535360617755594093u);
    }
}
