// The kernels of gauss/box_sums.h, down the columns, against weighted sums, on guarded memory.
#include "frame/level.h"
#include "gauss/box_sums.h"

#include "support/oracle_gauss.h"
#include "support/pictures.h"
#include "support/policy.h"

#include <gtest/gtest.h>

#include <limits>

namespace
{

// Group by group.
template <class Pixel>
void checkColumns(test_random* random, int64_t lanes, const gauss_downKernel<Pixel>& kernel)
{
    constexpr int64_t most = gauss_mostBoxDown<Pixel>;
    const int64_t n = test_chance(random, 20) ? most : test_randomRange(random, 1, most);
    const int64_t width = test_randomRange(random, kernel.blockColumns, 150);
    const int64_t step = test_randomRange(random, 1, 5);
    constexpr int64_t groups = 3;
    const int64_t height = 3 * n + groups * lanes * step;
    test_pixels pixels(test_randomLayout(random, width, height, sizeof(Pixel)));
    test_fillAnyPixels(random, &pixels);
    // Bands of n rows drive the integrators to their ends.
    const bool banded = test_chance(random, 30);
    for (int64_t y = 0; banded && y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            pixels.set(x, y, y / n % 2 ? 0 : std::numeric_limits<Pixel>::max());
    const std::vector<Pixel> zeros(static_cast<size_t>(width));
    std::vector<const Pixel*> rows(static_cast<size_t>(3 * n), zeros.data());
    for (int64_t y = 0; y < height; ++y)
        rows.push_back(reinterpret_cast<const Pixel*>(pixels.row(y)));

    const int64_t blocks = (width + kernel.blockColumns - 1) / kernel.blockColumns;
    std::vector<unsigned char> room(static_cast<size_t>(blocks * kernel.blockState + 64));
    const size_t misplaced = reinterpret_cast<uintptr_t>(room.data()) % 64;
    gauss_boxDown<Pixel> down = {};
    down.state = room.data() + (64 - misplaced);
    down.rows = rows.data() + 3 * n;
    down.width = width;
    down.box = n;
    down.blocks = blocks;
    down.outputs = {3 * n - 2, step, lanes};
    const std::vector<int64_t> weights = oracle_boxPower(n, 3);
    for (int64_t group = 0; group < groups; ++group) {
        std::vector<uint32_t> sums(static_cast<size_t>((kernel.blockColumns + width) * lanes));
        down.sums = sums.data() + kernel.blockColumns * lanes;
        kernel.run(&down);
        for (int64_t lane = 0; lane < lanes; ++lane) {
            down.rows += lane ? step : down.outputs.first;
            for (int64_t x = 0; x < width; ++x) {
                int64_t expected = 0;
                for (int64_t j = 0; j < std::ssize(weights); ++j)
                    expected += weights[static_cast<size_t>(j)] * down.rows[-1 - j][x];
                ASSERT_EQ(down.sums[x * lanes + lane], expected) << "box " << n << ", column " << x;
            }
        }
        down.outputs.first = step;
    }
}

} // namespace

TEST(Sums, ColumnsOfBothDepths)
{
    test_atEveryLevel([](const std::string&) {
        qsys_cpuinfo info;
        ASSERT_EQ(qsys_cpuinfo_init(&info), QSYS_OK);
        const gauss_boxKernels* kernels = nullptr;
        if constexpr (frame_has128)
            if (frame_levelFor<uint8_t>(&info) == frame_level::vector128)
                kernels = &gauss_boxKernels128;
        if constexpr (frame_has256)
            if (frame_levelFor<uint8_t>(&info) == frame_level::vector256)
                kernels = &gauss_boxKernels256;
        if (kernels)
            test_forCases(200, [&](test_random& random, uint64_t) {
                checkColumns(&random, kernels->lanes, kernels->down8);
                checkColumns(&random, kernels->lanes, kernels->down16);
            });
    });
}
