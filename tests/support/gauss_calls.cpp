#include "support/gauss_calls.h"

#include "support/images.h"

qip_gaussParams test_gaussParams(int32_t sample, int32_t kernel, double gain)
{
    qip_gaussParams params = {};
    EXPECT_EQ(qip_gaussParams_init(&params), 0);
    params.sampleX = params.sampleY = sample;
    params.kernelSizeX = params.kernelSizeY = kernel;
    params.gain = gain;
    return params;
}

qip_gaussParams test_gaussParams(const oracle_gauss& request)
{
    qip_gaussParams params = test_gaussParams(1, 0, static_cast<double>(request.gain));
    params.sampleX = static_cast<int32_t>(request.sampleX);
    params.sampleY = static_cast<int32_t>(request.sampleY);
    params.kernelSizeX = static_cast<int32_t>(request.kernelX);
    params.kernelSizeY = static_cast<int32_t>(request.kernelY);
    params.round = request.round ? test_anyRound : 0;
    return params;
}

oracle_gauss test_gaussRequest(const qip_gaussParams& params)
{
    return {.sampleX = params.sampleX,
            .sampleY = params.sampleY,
            .kernelX = params.kernelSizeX,
            .kernelY = params.kernelSizeY,
            .round = params.round != 0,
            .gain = static_cast<float>(params.gain)};
}

void test_putValues(test_grid* grid, const oracle_rect& gridRect, const oracle_values& values,
                    int32_t pixelSize)
{
    const int64_t mask = pixelSize == 1 ? 0xff : 0xffff;
    const oracle_rect& rect = values.rect;
    for (int64_t y = rect.y; y < rect.y + rect.height; ++y)
        for (int64_t x = rect.x; x < rect.x + rect.width; ++x)
            grid->at(x - gridRect.x, y - gridRect.y) = static_cast<uint16_t>(values.at(x, y) & mask);
}

void test_expectValues(const test_view& actual, const oracle_rect& rect, uint16_t before,
                       const oracle_values& values)
{
    test_grid expected(actual.width, actual.height, before);
    test_putValues(&expected, rect, values, actual.pixelSize);
    EXPECT_TRUE(test_samePixels(expected, actual));
}

void test_expectCentres(const qimg_image* source, const qimg_image* destination,
                        const oracle_gauss& request, const oracle_rect& rect, double tolerance)
{
    for (const int64_t x : {rect.x, rect.x + rect.width - 1})
        for (const int64_t y : {rect.y, rect.y + rect.height - 1}) {
            const qmath_point point = test_throughClient(
                source, destination, oracle_supportCentre(x, request.sampleX, request.kernelX),
                oracle_supportCentre(y, request.sampleY, request.kernelY));
            EXPECT_NEAR(point.x, static_cast<double>(x) + 0.5, tolerance);
            EXPECT_NEAR(point.y, static_cast<double>(y) + 0.5, tolerance);
        }
}

test_grid test_smoothed(const test_view& source, const qip_gaussParams& params, const oracle_rect& rect,
                        int32_t pixelSize)
{
    test_grid grid(static_cast<int32_t>(rect.width), static_cast<int32_t>(rect.height));
    test_putValues(&grid, rect, oracle_smooth(source, 0, 0, test_gaussRequest(params), rect), pixelSize);
    return grid;
}

void test_forEachGauss(const test_pixels& source, const test_pixels& destination8,
                       const test_pixels& destination16,
                       const std::function<void(const char* name, const test_gaussCall& call)>& body)
{
    const auto from = test_windowConstOver(source, 0, 0);
    const auto to8 = test_windowOver(destination8, 0, 0);
    const auto to16 = test_windowOver(destination16, 0, 0);
    const test_image image(source, 0, 0);
    test_image image8(destination8, 0, 0);
    test_image image16(destination16, 0, 0);
    const auto run = [&](const char* name, const test_gaussCall& call) {
        SCOPED_TRACE(name);
        body(name, call);
    };
    run("image 8_8", [&](const auto& p) { return qip_gauss_smooth8_8(&image.record, &image8.record, &p); });
    run("image 8_16",
        [&](const auto& p) { return qip_gauss_smooth8_16(&image.record, &image16.record, &p); });
    run("window 8_8", [&](const auto& p) { return qip_gauss_smoothWindow8_8(&from, &to8, &p); });
    run("window 8_16", [&](const auto& p) { return qip_gauss_smoothWindow8_16(&from, &to16, &p); });
}
