// What the CPU service reports, and how it is lowered.
#include "support/policy.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace
{

constexpr uint32_t knownBits = QSYS_CPU_BIT_VECTOR128 | QSYS_CPU_BIT_VECTOR128_BYTES |
                               QSYS_CPU_BIT_VECTOR128_WORDS | QSYS_CPU_BIT_VECTOR256;

qsys_cpuinfo report()
{
    qsys_cpuinfo info = {-1, -1, 0xffffffff, -1};
    EXPECT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
    return info;
}

} // namespace

TEST(CpuInfo, ReportsTheMachine)
{
    const qsys_cpuinfo info = report();
#if defined(__x86_64__)
    EXPECT_EQ(info.processorClass, QSYS_CPU_CLASS_X86);
    // The compiler's own detector is the second opinion.
    EXPECT_EQ((info.features & QSYS_CPU_BIT_VECTOR128) != 0, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ((info.features & QSYS_CPU_BIT_VECTOR256) != 0, __builtin_cpu_supports("avx2") != 0);
#else
    EXPECT_EQ(info.processorClass, QSYS_CPU_CLASS_OTHER);
    EXPECT_EQ(info.features, 0u);
#endif
    EXPECT_GE(info.processorCount, 1);
    EXPECT_EQ(info.features & ~knownBits, 0u);
    EXPECT_EQ(info.reserved, 0);
    EXPECT_EQ(qsys_cpuinfo_init(nullptr), QSYS_E_ARGUMENT);
}

TEST(CpuInfo, LevelsLowerAndAutoRestores)
{
    const uint32_t machine = report().features;
    test_atEveryLevel([](const std::string& level) {
        const uint32_t sse = 0x109;
        EXPECT_EQ(report().features, level == "plain" ? 0 : level == "sse" ? sse : sse | 0x800);
    });
    EXPECT_EQ(report().features, machine);

    qsys_cpuinfo_limitLevel("plain");
    EXPECT_EQ(qsys_cpuinfo_limitLevel("avx512"), QSYS_E_LEVEL_UNKNOWN);
    EXPECT_EQ(qsys_cpuinfo_limitLevel(""), QSYS_E_LEVEL_UNKNOWN);
    EXPECT_EQ(qsys_cpuinfo_limitLevel(nullptr), QSYS_E_ARGUMENT);
    EXPECT_STREQ(qsys_cpuinfo_levelName(), "plain");
    // Lowered already, "auto" still means the machine.
    EXPECT_EQ(qsys_cpuinfo_limitLevel("auto"), QSYS_OK);
    EXPECT_EQ(report().features, machine);
}

TEST(CpuInfo, TheRawFormRaisesNothing)
{
    const uint32_t machine = report().features;
    {
        const test_processor processor(5, 0xffffffff);
        EXPECT_EQ(report().processorClass, 5);
        EXPECT_EQ(report().features, machine);
    }
    {
        const test_processor processor(7, 0xf008);
        EXPECT_EQ(report().processorClass, 7);
        EXPECT_EQ(report().features, machine & 0x0008);
        // One bit of a level is not the level.
        EXPECT_STREQ(qsys_cpuinfo_levelName(), "plain");
    }
}

TEST(CpuInfo, FailsOnRequest)
{
    qsys_cpuinfo info = {9, 9, 9, 9};
    EXPECT_EQ(qsys_cpuinfo_setFailure(QSYS_FAILURE(0x1234)), QSYS_OK);
    EXPECT_EQ(qsys_cpuinfo_setFailure(1), QSYS_E_ARGUMENT);
    EXPECT_EQ(qsys_cpuinfo_init(&info), QSYS_FAILURE(0x1234));
    EXPECT_EQ(info.processorClass, 9);
    EXPECT_EQ(info.features, 9u);
    EXPECT_EQ(qsys_cpuinfo_setFailure(0), QSYS_OK);
    EXPECT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
}
