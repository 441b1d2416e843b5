#include "support/oracle_engines.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

// The source index that stands for index i of an axis. Beyond one reflection the nearest one that is
// reflected, or none (-1), where zeros stand.
int64_t indexFor(int64_t i, int64_t count, bool nearest)
{
    return oracle_reflected(nearest ? std::clamp(i, -count, 2 * count - 1) : i, count);
}

// The first source index under the kernel of destination index i.
int64_t firstUnder(int64_t i, int64_t sample, int64_t kernel, int64_t start)
{
    return oracle_centre(i, sample, kernel) - 3 * kernel / 2 - start;
}

std::vector<int64_t> weightedSums(const test_view& source, const oracle_call& call, bool nearest)
{
    const oracle_gauss& request = call.request;
    const oracle_rect& rect = call.written;
    std::vector<int64_t> sums(static_cast<size_t>(rect.width * rect.height), 0);
    if (std::max(request.kernelX, request.kernelY) > 2000)
        return sums;
    const auto weightsX = oracle_boxPower(request.kernelX + 1, 3);
    const auto weightsY = oracle_boxPower(request.kernelY + 1, 3);
    const test_grid pixels(source);
    auto sum = sums.begin();
    for (int64_t y = rect.y; y < rect.y + rect.height; ++y) {
        std::vector<int64_t> column(static_cast<size_t>(source.width), 0);
        int64_t row = firstUnder(y, request.sampleY, request.kernelY, call.source.y);
        for (const int64_t weight : weightsY) {
            const int64_t index = indexFor(row++, source.height, nearest);
            if (index < 0)
                continue;
            const uint16_t* const line = pixels.values.data() + index * source.width;
            for (size_t x = 0; x < column.size(); ++x)
                column[x] += weight * line[x];
        }
        for (int64_t x = rect.x; x < rect.x + rect.width; ++x, ++sum) {
            int64_t at = firstUnder(x, request.sampleX, request.kernelX, call.source.x);
            for (const int64_t weight : weightsX) {
                const int64_t index = indexFor(at++, source.width, nearest);
                *sum += index < 0 ? 0 : weight * column[static_cast<size_t>(index)];
            }
        }
    }
    return sums;
}

// ---- the arithmetic of each path ----

// A whole number to 32 bits signed, to 16 bits unsigned, to 8 bits unsigned from 16 bits signed: each step
// saturates but the first, which gives the least number for all that does not fit.
int64_t narrowed(float whole)
{
    const bool fits = whole >= -0x1p31F && whole < 0x1p31F;
    const int64_t first = fits ? static_cast<int64_t>(whole) : std::numeric_limits<int32_t>::min();
    const auto second = static_cast<uint16_t>(std::clamp<int64_t>(first, 0, 0xffff));
    return std::clamp<int64_t>(static_cast<int16_t>(second), 0, 255);
}

// A quotient times the gain of the fixed paths.
int64_t scaled(int64_t quotient, float gain, bool nearest)
{
    if (!(std::fabs(static_cast<double>(gain) - 1.0) > 0x1p-23))
        return quotient;
    const float product = static_cast<float>(quotient) * gain;
    return narrowed(nearest ? std::nearbyint(product) : std::trunc(product));
}

int64_t sevenTapPixel(int64_t sum, const oracle_gauss& request)
{
    const int64_t quotient = (sum + (request.round ? 364 : 0)) * 11507 / 8388608;
    return scaled(quotient, request.gain, request.round);
}

int64_t smallKernelPixel(int64_t sum, const oracle_gauss& request)
{
    return scaled((sum + (request.round ? 32 : 0)) / 64, request.gain, true);
}

int64_t generalPixel(int64_t sum, const oracle_gauss& request)
{
    const double value = static_cast<double>(sum) * oracle_scaleOf(request).recip;
    return oracle_truncated(value + (request.round ? 0.5 : 0.0));
}

int exponentOf(double value)
{
    int exponent = 0;
    std::frexp(value, &exponent);
    return exponent;
}

int64_t olderPixel(int64_t sum, const oracle_gauss& request)
{
    if (sum == 0) // whatever the shifts, which are out of range for the largest kernels
        return 0;
    const auto area = static_cast<double>((request.kernelX + 1) * (request.kernelY + 1));
    const double weight = std::pow(area, 3.0);
    const double reciprocal = request.peak ? oracle_scaleOf(request).recip : 1.0 / weight;
    const int gainExponent = request.peak ? 1 : exponentOf(static_cast<double>(request.gain));
    const int most = exponentOf(255.0 * weight);
    const int firstShift = std::max(most - 32, 0);
    const int secondShift = std::max(most - firstShift - 15, 0);
    const int64_t half = (int64_t{1} << firstShift) >> 1;
    const double mantissa = std::ldexp(reciprocal, -exponentOf(reciprocal));
    const auto multiplier = static_cast<int64_t>(std::min(mantissa * 32768.0 + 0.5, 32767.0));
    const int last = 16 - exponentOf(reciprocal) - gainExponent - secondShift - firstShift;
    const int64_t product = ((sum + half) >> firstShift >> secondShift) * multiplier;
    if (last >= 63 || last <= -63)
        return 0;
    return last >= 0 ? product >> last : static_cast<int64_t>(static_cast<uint64_t>(product) << -last);
}

bool olderDeclines(const oracle_call& call)
{
    const auto gain = static_cast<double>(call.request.gain);
    const int exponent = exponentOf(gain);
    const double distance =
        gain >= 1.0 ? gain - std::ldexp(1.0, exponent - 1) : 1.0 / gain - std::ldexp(1.0, 1 - exponent);
    return call.request.round || !std::isfinite(gain) || !(std::fabs(distance) <= 1e-6) ||
           call.source.width < 9 * call.request.sampleX || call.source.height < 9 * call.request.sampleY;
}

} // namespace

oracle_path oracle_pathOf(const std::string& level, const oracle_call& call)
{
    const oracle_gauss& request = call.request;
    if (level == "sse")
        return olderDeclines(call) ? oracle_path::reference : oracle_path::older;
    if (level != "avx2" || (call.hasRegion && std::min(call.written.width, call.written.height) < 33))
        return oracle_path::reference;
    if (call.pixelSize != 1 || request.kernelX != request.kernelY)
        return oracle_path::general;
    if (request.kernelX == 1 && std::max(request.sampleX, request.sampleY) <= 3)
        return oracle_path::smallKernel;
    return request.kernelX == 2 ? oracle_path::sevenTap : oracle_path::general;
}

oracle_values oracle_smoothBy(oracle_path path, const test_view& source, const oracle_call& call)
{
    const bool isHuge = std::max(call.request.kernelX, call.request.kernelY) > 2000;
    if (path == oracle_path::reference && !isHuge)
        return oracle_smooth(source, call.source.x, call.source.y, call.request, call.written);
    const auto pixel = path == oracle_path::sevenTap      ? sevenTapPixel
                       : path == oracle_path::smallKernel ? smallKernelPixel
                       : path == oracle_path::older       ? olderPixel
                                                          : generalPixel;
    oracle_values result{call.written, weightedSums(source, call, path == oracle_path::smallKernel)};
    for (int64_t& value : result.values)
        value = pixel(value, call.request);
    return result;
}

std::vector<int64_t> oracle_polls(oracle_path path, const oracle_call& call)
{
    const oracle_rect& rect = call.written;
    std::vector<int64_t> rows;
    if (path == oracle_path::sevenTap || path == oracle_path::smallKernel) {
        for (int64_t row = 0; row < rect.height; ++row)
            if (path == oracle_path::sevenTap ? row % 256 == 255 : ((rect.y + row) & 1023) == 1023)
                rows.push_back(row);
    } else if (path != oracle_path::older) {
        // Once before the walk, which goes from the first to the last row under the kernels, and then
        // before every row that 64 divides, counted from the source's top, or the first row that is read.
        const int64_t kernel = call.request.kernelY;
        const auto firstRow = [&](int64_t i, int64_t top) {
            return firstUnder(rect.y + i, call.request.sampleY, kernel, top);
        };
        const int64_t firstRead = std::max(call.source.y, firstRow(0, 0));
        const int64_t top = path == oracle_path::reference ? call.source.y : firstRead;
        rows.push_back(0);
        int64_t done = 0;
        for (int64_t y = firstRow(0, top); y <= firstRow(rect.height - 1, top) + 3 * kernel; ++y) {
            while (done < rect.height && firstRow(done, top) + 3 * kernel < y)
                ++done;
            if (y % 64 == 0)
                rows.push_back(done);
        }
    }
    return rows;
}
