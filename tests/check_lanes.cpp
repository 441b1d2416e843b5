// The forms of the portable level that this processor has a shorter way for.
#include "lanes/lanes_portable.h"

#include "support/random.h"

#include <gtest/gtest.h>

TEST(Lanes, OperatorsSayWhatInstructionsDo)
{
    test_random random = test_randomFor(1);
    for (int round = 0; round < 2000; ++round) {
        u16s a = {};
        u16s b = {};
        for (int i = 0; i < laneCount<uint16_t>; ++i) {
            a[i] = static_cast<uint16_t>(test_randomBits(&random));
            b[i] = static_cast<uint16_t>(test_randomBits(&random));
        }
        for (int i = 0; i < laneCount<uint8_t>; ++i) {
            const int sum = ((u8s)a)[i] + ((u8s)b)[i];
            ASSERT_EQ(average((u8s)a, (u8s)b)[i], (sum + 1) >> 1);
            ASSERT_EQ(operators::average((u8s)a, (u8s)b)[i], (sum + 1) >> 1);
            ASSERT_EQ(average(a, b)[i / 2], operators::average(a, b)[i / 2]);
            ASSERT_EQ(addPairs(a, b)[i / 4], operators::addPairs(a, b)[i / 4]);
        }
    }
}
