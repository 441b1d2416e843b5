#include "support/oracle_gauss.h"

#include <algorithm>
#include <cmath>

namespace
{

// Sum of w(j) * data(first + j) for j >= skip over one axis. Beyond one reflection the data is 0.
template <class Data>
int64_t weightedSum(const std::vector<int64_t>& weights, int64_t skip, int64_t first, int64_t count,
                    const Data& data)
{
    const int64_t from = std::max(skip, -count - first);
    const int64_t to = std::min(static_cast<int64_t>(weights.size()), 2 * count - first);
    int64_t sum = 0;
    for (int64_t j = from; j < to; ++j)
        sum += weights[static_cast<size_t>(j)] * data(oracle_reflected(first + j, count));
    return sum;
}

// One row of sums to values. The accumulator starts at `half` and takes the kernel's sum column by column,
// beginning at the first support column of the first output, with everything to the left taken as 0; what
// it has gained at the last support column of an output is that output's weighted sum.
void finishRow(const std::vector<int64_t>& column, const std::vector<int64_t>& weights,
               const oracle_gauss& request, const oracle_rect& rect, const oracle_scale& scale,
               int64_t sourceX, int64_t* values)
{
    const auto width = static_cast<int64_t>(column.size());
    const int64_t reach = 3 * request.kernelX;
    const auto firstSupport = [&](int64_t i) {
        return oracle_centre(rect.x + i, request.sampleX, request.kernelX) - sourceX - reach / 2;
    };
    const int64_t start = firstSupport(0);
    const auto data = [&](int64_t x) {
        return column[static_cast<size_t>(x)];
    };
    double accumulator = scale.half;
    int64_t sum = 0;
    int64_t last = start;
    for (int64_t i = 0; i < rect.width; ++i) {
        const int64_t end = firstSupport(i) + reach;
        for (; last <= end; ++last) {
            const int64_t first = last - reach;
            const int64_t next =
                weightedSum(weights, std::max<int64_t>(0, start - first), first, width, data);
            accumulator += static_cast<double>(next - sum);
            sum = next;
        }
        const auto exact = static_cast<double>(sum);
        if (request.kernelX == 0)
            values[i] = oracle_truncated(scale.recip * exact + (request.round ? 0.5 : 0.0));
        else
            values[i] = oracle_truncated(accumulator * scale.recip);
    }
}

} // namespace

int64_t oracle_truncated(double value)
{
    const double whole = std::trunc(value);
    return whole >= -0x1p63 && whole < 0x1p63 ? static_cast<int64_t>(whole) : 0;
}

oracle_scale oracle_scaleOf(const oracle_gauss& request)
{
    double norm;
    if (request.peak) {
        const auto x = oracle_boxPower(request.kernelX + 1, 3);
        const auto y = oracle_boxPower(request.kernelY + 1, 3);
        norm = static_cast<double>(*std::max_element(x.begin(), x.end()) *
                                   *std::max_element(y.begin(), y.end()));
    } else {
        const auto area = static_cast<double>((request.kernelX + 1) * (request.kernelY + 1));
        norm = std::pow(area, 3.0) / static_cast<double>(request.gain);
    }
    return {1.0 / norm, request.round ? norm * 0.5 : 0.0};
}

oracle_rect oracle_intersection(const oracle_rect& a, const oracle_rect& b)
{
    const int64_t x = std::max(a.x, b.x);
    const int64_t y = std::max(a.y, b.y);
    return {x, y, std::min(a.x + a.width, b.x + b.width) - x, std::min(a.y + a.height, b.y + b.height) - y};
}

testing::AssertionResult test_sameRect(const oracle_rect& expected, const oracle_rect& actual)
{
    if (expected.isNull() ? actual.isNull() : expected == actual)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "(" << actual.x << ", " << actual.y << ") " << actual.width << "x"
                                       << actual.height << " instead of (" << expected.x << ", "
                                       << expected.y << ") " << expected.width << "x" << expected.height;
}

int64_t oracle_values::at(int64_t x, int64_t y) const
{
    return values[static_cast<size_t>((y - rect.y) * rect.width + x - rect.x)];
}

int64_t oracle_centre(int64_t i, int64_t sample, int64_t kernel)
{
    const bool bothOdd = sample % 2 != 0 && (kernel + 1) % 2 != 0;
    return i * sample + sample / 2 + (bothOdd ? 1 : 0) - 1;
}

double oracle_supportCentre(int64_t i, int64_t sample, int64_t kernel)
{
    const int64_t first = oracle_centre(i, sample, kernel) - 3 * kernel / 2;
    return static_cast<double>(first) + static_cast<double>(3 * kernel + 1) / 2.0;
}

std::vector<int64_t> oracle_boxPower(int64_t width, int64_t power)
{
    std::vector<int64_t> product{1};
    for (int64_t pass = 0; pass < power; ++pass) {
        std::vector<int64_t> next(product.size() + static_cast<size_t>(width) - 1, 0);
        for (size_t i = 0; i < product.size(); ++i)
            for (size_t j = 0; j < static_cast<size_t>(width); ++j)
                next[i + j] += product[i];
        product = std::move(next);
    }
    return product;
}

oracle_span oracle_destinationSpan(int64_t start, int64_t length, int64_t sample, int64_t kernel,
                                   bool validOnly)
{
    const int64_t left = validOnly ? 3 * kernel / 2 : 0;
    const int64_t right = validOnly ? 3 * kernel - left : 0;
    const auto tooLow = [&](int64_t i) {
        return oracle_centre(i, sample, kernel) - left < start;
    };
    const auto tooHigh = [&](int64_t i) {
        return oracle_centre(i, sample, kernel) + right >= start + length;
    };
    int64_t first = (start + left) / sample - 3;
    while (tooLow(first))
        ++first;
    int64_t last = (start + length - right) / sample + 3;
    while (tooHigh(last))
        --last;
    return length > 0 && last >= first ? oracle_span{first, last - first + 1} : oracle_span{0, 0};
}

oracle_rect oracle_destination(const oracle_rect& source, const oracle_gauss& request)
{
    const bool validOnly = request.validOnly || request.peak;
    const oracle_span x =
        oracle_destinationSpan(source.x, source.width, request.sampleX, request.kernelX, validOnly);
    const oracle_span y =
        oracle_destinationSpan(source.y, source.height, request.sampleY, request.kernelY, validOnly);
    return oracle_rect{x.start, y.start, x.length, y.length}.orZeros();
}

oracle_rect oracle_written(const oracle_rect& source, const oracle_gauss& request,
                           const oracle_rect& destination)
{
    return oracle_intersection(oracle_destination(source, request), destination).orZeros();
}

oracle_values oracle_smooth(const test_view& source, int64_t sourceX, int64_t sourceY,
                            const oracle_gauss& request, const oracle_rect& rect)
{
    if (rect.isNull())
        return {rect, {}};
    const oracle_scale scale = oracle_scaleOf(request);
    const auto weightsX = oracle_boxPower(request.kernelX + 1, 3);
    const auto weightsY = oracle_boxPower(request.kernelY + 1, 3);
    oracle_values result{rect, std::vector<int64_t>(static_cast<size_t>(rect.width * rect.height))};
    for (int64_t y = 0; y < rect.height; ++y) {
        const int64_t first =
            oracle_centre(rect.y + y, request.sampleY, request.kernelY) - sourceY - 3 * request.kernelY / 2;
        std::vector<int64_t> column(static_cast<size_t>(source.width));
        for (int64_t x = 0; x < source.width; ++x)
            column[static_cast<size_t>(x)] =
                weightedSum(weightsY, 0, first, source.height,
                            [&](int64_t row) { return int64_t{test_pixel(source, x, row)}; });
        finishRow(column, weightsX, request, rect, scale, sourceX, result.values.data() + y * rect.width);
    }
    return result;
}

oracle_rect oracle_boxesValid(const oracle_rect& source, int64_t passes, int64_t kernelX, int64_t kernelY)
{
    const int64_t reachX = passes * kernelX;
    const int64_t reachY = passes * kernelY;
    return oracle_rect{source.x + reachX / 2, source.y + reachY / 2, source.width - reachX,
                       source.height - reachY}
        .orZeros();
}

oracle_values oracle_boxes(const test_view& source, int64_t sourceX, int64_t sourceY, int64_t passes,
                           int64_t kernelX, int64_t kernelY, bool peak, const oracle_rect& rect)
{
    if (rect.isNull())
        return {rect, {}};
    const auto weightsX = oracle_boxPower(kernelX + 1, passes);
    const auto weightsY = oracle_boxPower(kernelY + 1, passes);
    const int64_t leftX = passes * kernelX / 2;
    const int64_t leftY = passes * kernelY / 2;
    const auto area = static_cast<double>((kernelX + 1) * (kernelY + 1));
    const double norm = peak ? static_cast<double>(weightsX[static_cast<size_t>(leftX)] *
                                                   weightsY[static_cast<size_t>(leftY)])
                             : std::pow(area, static_cast<double>(passes));
    oracle_values result{rect, {}};
    for (int64_t y = rect.y; y < rect.y + rect.height; ++y)
        for (int64_t x = rect.x; x < rect.x + rect.width; ++x) {
            int64_t sum = 0;
            for (size_t j = 0; j < weightsY.size(); ++j)
                for (size_t i = 0; i < weightsX.size(); ++i)
                    sum += weightsX[i] * weightsY[j] *
                           test_pixel(source, x - sourceX - leftX + static_cast<int64_t>(i),
                                      y - sourceY - leftY + static_cast<int64_t>(j));
            result.values.push_back(oracle_truncated(static_cast<double>(sum) / norm));
        }
    return result;
}
