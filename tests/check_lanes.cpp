// What the lanes of all levels stand on and no filter shows by itself: row ends with their borders, and the
// forms of the portable level that this processor has a shorter way for.
#include "lanes/lanes_portable.h"
#include "lanes/padded_row.h"

#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{

// The pixel that a border rule puts at a column.
template <rowBorder border>
uint16_t expectedAt(const std::vector<uint16_t>& row, int64_t column)
{
    const auto width = static_cast<int64_t>(row.size());
    const int64_t nearest = std::clamp<int64_t>(column, 0, width - 1);
    const int64_t mirrored = column < 0 ? -column - 1 : 2 * width - 1 - column;
    return row[static_cast<size_t>(column == nearest || border == rowBorder::repeated ? nearest
                                                                                      : mirrored)];
}

template <rowBorder border>
void checkBorder()
{
    constexpr int64_t count = 7;
    for (int64_t width = 1; width <= 20; ++width) {
        std::vector<uint16_t> row(
            static_cast<size_t>(width)); // the address sanitizer sees a step beyond it
        test_random random = test_randomFor(static_cast<uint64_t>(width));
        for (uint16_t& pixel : row)
            pixel = static_cast<uint16_t>(test_randomBits(&random));
        for (int64_t first = -width; first + count <= 2 * width; ++first) {
            std::vector<uint16_t> copy(count);
            copyColumns<border, count>(row.data(), width, first, copy.data());
            for (size_t i = 0; i < copy.size(); ++i)
                ASSERT_EQ(copy[i], expectedAt<border>(row, first + static_cast<int64_t>(i))) << width;
        }
    }
}

TEST(Lanes, RowEndsFollowTheirBorder)
{
    checkBorder<rowBorder::repeated>();
    checkBorder<rowBorder::reflected>();
}

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

} // namespace
