// Detection on machines that are not at hand.
#include "base/cpu_detect.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace
{

constexpr uint32_t sse = 0x109;
constexpr uint32_t avx2 = 0x909;

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
    EXPECT_EQ(ask("SSE", avx2, 0), QSYS_E_LEVEL_UNKNOWN);
}
