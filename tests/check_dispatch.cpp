// Which engine runs on which processor, and what becomes of its answer. The engines are stand-ins that
// record that they were called.
#include "frame/fast_path.h"
#include "frame/level.h"
#include "unmasked/dispatch.h"

#include <qbase/cpuinfo.h>

#include <gtest/gtest.h>

namespace
{

qip_status answer = 0;
char called = '-';

template <char name>
qip_status engine(const qsImage*, qsVImage*, const qsGaussParams*, qsIRegion*, qsVImage**)
{
    called = name;
    return answer;
}

struct Dispatch : testing::Test {
    void SetUp() override
    {
        qsys_cpuinfo info;
        ASSERT_EQ(qsys_cpuinfo_init(&info), 0);
        if ((info.features & 0x801) != 0x801)
            GTEST_SKIP() << "this machine lacks feature bits 0 or 11";
    }
    void TearDown() override
    {
        answer = 0;
        qsys_cpuinfo_limitLevel("auto");
    }

    qip_status run(int32_t processorClass, uint32_t features,
                   unmasked_engines engines = {engine<'n'>, engine<'o'>})
    {
        called = '-';
        EXPECT_EQ(qsys_cpuinfo_limitRaw(processorClass, features), 0);
        return unmasked_runEngine(&engines, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
};

} // namespace

TEST_F(Dispatch, ClassAndBitsChooseTheEngine)
{
    const struct {
        int32_t processorClass;
        uint32_t features;
        char expected;
    } cases[] = {{1, 0x801, 'n'}, {5, 0x801, 'n'}, {2, 0x801, '-'}, {1, 0x001, 'o'}, {5, 0x001, 'o'},
                 {1, 0x800, '-'}, {1, 0x000, '-'}, {6, 0x801, '-'}, {0, 0x801, '-'}};
    for (const auto& c : cases) {
        const qip_status status = run(c.processorClass, c.features);
        EXPECT_EQ(called, c.expected) << c.processorClass << " " << c.features;
        EXPECT_EQ(status, c.expected == '-' ? QIP_E_FALLBACK : QIP_OK);
    }
}

TEST_F(Dispatch, OnlyTheNewerEnginesExactDeclineBecomesSuccess)
{
    answer = QIP_E_FALLBACK;
    EXPECT_EQ(run(1, 0x801), QIP_OK);
    EXPECT_EQ(run(1, 0x001), QIP_E_FALLBACK);
    for (const qip_status other : {QSYS_FAILURE(0x0610), QSYS_E_MEMORY, qip_status{7}}) {
        answer = other;
        EXPECT_EQ(run(1, 0x801), other);
        EXPECT_EQ(run(1, 0x001), other);
    }
}

TEST_F(Dispatch, MissingEngines)
{
    EXPECT_EQ(run(1, 0x801, {nullptr, engine<'o'>}), QIP_OK);
    EXPECT_EQ(called, 'o');
    EXPECT_EQ(run(1, 0x801, {nullptr, nullptr}), QIP_E_FALLBACK);
}

// In the processor classes 1 and 5 bit 3 speaks of 8-bit pixels, bit 8 of 16-bit ones, bit 11 of longer vectors
// of either; in class 3 bit 16 speaks of both depths. A build runs the levels of its own processors alone.
TEST(Level, ClassAndBitsChooseIt)
{
    using enum frame_level;
    constexpr bool isX86 = frame_has256;
    constexpr bool isArm = frame_has128 && !isX86;
    const struct {
        int32_t processorClass;
        uint32_t features;
        frame_level bytes, words;
    } cases[] = {{1, 0x000, portable, portable},    {1, 0x008, vector128, portable},
                 {1, 0x100, portable, vector128},   {5, 0x109, vector128, vector128},
                 {1, 0x808, vector256, portable},   {5, 0x900, portable, vector256},
                 {5, 0x909, vector256, vector256},  {1, 0x800, portable, portable},
                 {2, 0x909, portable, portable},    {0, 0x909, portable, portable},
                 {3, 0x909, portable, portable},    {1, 0x10000, portable, portable},
                 {3, 0x10000, vector128, vector128}};
    for (const auto& each : cases) {
        const qsys_cpuinfo info = {each.processorClass, 1, each.features, 0};
        const bool isHere = each.processorClass == 3 ? isArm : isX86;
        EXPECT_EQ(frame_levelFor<uint8_t>(&info), isHere ? each.bytes : portable)
            << each.processorClass << ", " << each.features;
        EXPECT_EQ(frame_levelFor<uint16_t>(&info), isHere ? each.words : portable)
            << each.processorClass << ", " << each.features;
    }
}

TEST(FallbackClass, LooksAtTheLowSixteenBitsOnly)
{
    for (const qip_status inside :
         {QSYS_FAILURE(0x0600), QSYS_FAILURE(0x061f), qip_status{0x0601}, qip_status{0x12340610}})
        EXPECT_TRUE(frame_isFallback(inside)) << std::hex << inside;
    for (const qip_status outside : {QSYS_FAILURE(0xf600), QSYS_FAILURE(0x0620), QSYS_FAILURE(0x05ff),
                                     QIP_E_SAME_MEMORY, qip_status{0}})
        EXPECT_FALSE(frame_isFallback(outside)) << std::hex << outside;
}
