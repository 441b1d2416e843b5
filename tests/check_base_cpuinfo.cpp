// What the CPU service reports, how it is lowered, and detection on machines that are not at hand.
#include "base/cpu_detect.h"

#include "support/policy.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

namespace
{

constexpr uint32_t sse = 0x109;
constexpr uint32_t avx2 = 0x909;
constexpr uint32_t neon = 0x10000;

qsys_cpuinfo report()
{
    qsys_cpuinfo info = {-1, -1, 0xffffffff, -1};
    EXPECT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
    return info;
}

// SSE3, SSSE3 and SSE4.1; with them AVX and the system's promise that XGETBV may be asked.
constexpr uint32_t leaf1Sse = 1u << 0 | 1u << 9 | 1u << 19;
constexpr uint32_t leaf1Avx = leaf1Sse | 1u << 27 | 1u << 28;
constexpr uint32_t leaf7Avx2 = 1u << 5;

uint32_t features(const base_cpuRegisters& registers)
{
    return base_cpuDetect_features(&registers);
}

} // namespace

TEST(CpuDetect, EveryRegisterCounts)
{
    EXPECT_EQ(features({leaf1Avx, leaf7Avx2, 0x7}), avx2);
    EXPECT_EQ(features({leaf1Avx, leaf7Avx2, 0xe7}), avx2);
    // The system does not save the upper halves, or none of the registers.
    EXPECT_EQ(features({leaf1Avx, leaf7Avx2, 0x3}), sse);
    EXPECT_EQ(features({leaf1Avx, leaf7Avx2, 0x5}), sse);
    EXPECT_EQ(features({leaf1Avx & ~(1u << 27), leaf7Avx2, 0x7}), sse);
    // The first AVX alone has no 256-bit integers.
    EXPECT_EQ(features({leaf1Avx, ~leaf7Avx2, 0x7}), sse);
    EXPECT_EQ(features({leaf1Avx & ~(1u << 28), leaf7Avx2, 0x7}), sse);
    EXPECT_EQ(features({leaf1Sse, 0, 0}), sse);
    // The wide level contains the narrow one.
    for (const int missing : {0, 9, 19})
        EXPECT_EQ(features({leaf1Avx & ~(1u << missing), leaf7Avx2, 0x7}), 0u) << missing;
}

TEST(CpuDetect, OneCapabilityOfArmCounts)
{
    EXPECT_EQ(base_cpuDetect_armFeatures(0x2), neon);
    EXPECT_EQ(base_cpuDetect_armFeatures(~uint64_t{0x2}), 0u);
}

TEST(CpuDetect, ALevelNeedsItsMachine)
{
    const auto ask = [](const char* level, uint32_t machine, uint32_t expected) {
        uint32_t features = 0xdead;
        const qsys_status status = base_cpuDetect_levelFeatures(level, machine, &features);
        EXPECT_EQ(features, status < 0 ? 0xdead : expected) << level;
        return status;
    };
    EXPECT_EQ(ask("plain", 0, 0), QSYS_OK);
    EXPECT_EQ(ask("auto", 0, 0), QSYS_OK);
    EXPECT_EQ(ask("sse", 0, 0), QSYS_E_LEVEL_UNAVAILABLE);
    EXPECT_EQ(ask("avx2", sse, 0), QSYS_E_LEVEL_UNAVAILABLE);
    EXPECT_EQ(ask("sse", sse, sse), QSYS_OK);
    EXPECT_EQ(ask("sse", avx2, sse), QSYS_OK);
    EXPECT_EQ(ask("auto", sse, sse), QSYS_OK);
    EXPECT_EQ(ask("neon", neon, neon), QSYS_OK);
    EXPECT_EQ(ask("plain", neon, 0), QSYS_OK);
    EXPECT_EQ(ask("neon", avx2, 0), QSYS_E_LEVEL_UNAVAILABLE);
    EXPECT_EQ(ask("sse", neon, 0), QSYS_E_LEVEL_UNAVAILABLE);
    EXPECT_EQ(ask("SSE", avx2, 0), QSYS_E_LEVEL_UNKNOWN);
}

TEST(CpuInfo, ReportsTheMachine)
{
    const qsys_cpuinfo info = report();
#if defined(__x86_64__)
    EXPECT_EQ(info.processorClass, QSYS_CPU_CLASS_X86);
    // The compiler's own detector is the second opinion.
    EXPECT_EQ((info.features & QSYS_CPU_BIT_VECTOR128) != 0, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ((info.features & QSYS_CPU_BIT_VECTOR256) != 0, __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ(info.features & ~avx2, 0u);
#elif defined(__aarch64__)
    EXPECT_EQ(info.processorClass, QSYS_CPU_CLASS_ARM);
    EXPECT_EQ(info.features, neon); // it is part of the base instructions
#else
    EXPECT_EQ(info.processorClass, QSYS_CPU_CLASS_OTHER);
    EXPECT_EQ(info.features, 0u);
#endif
    EXPECT_GE(info.processorCount, 1);
    EXPECT_EQ(info.reserved, 0);
    EXPECT_EQ(qsys_cpuinfo_setFailure(1), QSYS_E_ARGUMENT);
}

TEST(CpuInfo, LevelsLowerAndAutoRestores)
{
    const uint32_t machine = report().features;
    test_atEveryLevel([](const std::string& level) {
        EXPECT_EQ(report().features, level == "plain"  ? 0
                                     : level == "sse"  ? sse
                                     : level == "avx2" ? avx2
                                                       : neon);
    });
    EXPECT_EQ(report().features, machine);

    qsys_cpuinfo_limitLevel("plain");
    EXPECT_EQ(qsys_cpuinfo_limitLevel("avx512"), QSYS_E_LEVEL_UNKNOWN);
    EXPECT_EQ(qsys_cpuinfo_limitLevel(""), QSYS_E_LEVEL_UNKNOWN);
    EXPECT_STREQ(qsys_cpuinfo_levelName(), "plain");
    // Lowered already, "auto" still means the machine.
    EXPECT_EQ(qsys_cpuinfo_limitLevel("auto"), QSYS_OK);
    EXPECT_EQ(report().features, machine);
}

TEST(CpuInfo, TheRawFormRaisesNothing)
{
    const uint32_t machine = report().features;
    qsys_cpuinfo_limitRaw(5, 0xffffffff);
    EXPECT_EQ(report().processorClass, 5);
    EXPECT_EQ(report().features, machine);
    qsys_cpuinfo_limitRaw(7, 0xf008);
    EXPECT_EQ(report().processorClass, 7);
    EXPECT_EQ(report().features, machine & 0x0008);
    // One bit of a level is not the level.
    EXPECT_STREQ(qsys_cpuinfo_levelName(), "plain");
    qsys_cpuinfo_limitLevel("auto");
}
