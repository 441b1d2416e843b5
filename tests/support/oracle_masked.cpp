#include "support/oracle_masked.h"

#include <qip/smoothing.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace
{

// Holds every product of a sum below 2^48 and a gain below 2^62.
__extension__ typedef __int128 wide;

// ---- the functions ----

template <auto Function>
qip_status callAny(const oracle_maskedArguments& a)
{
    if constexpr (std::is_invocable_v<decltype(Function), const qimg_image*, const qimg_image*,
                                      const qimg_image*, const qip_gaussParams*, qimg_image*, qimg_image*>)
        return Function(a.src, a.srcMask, a.resetMask, a.params, a.dst, a.dstMask);
    else
        return Function(a.srcWin, a.srcMaskWin, a.resetMaskWin, a.params, a.dstWin, a.dstMaskWin);
}

// ---- geometry ----

// One axis of a call.
struct axis {
    int64_t source; // first coordinate
    int64_t length; // of the source
    int64_t start;  // coordinate of the first destination pixel
    int64_t count;  // destination pixels
    int64_t sample;
    int64_t kernel;

    int64_t centre(int64_t i) const
    {
        return oracle_centre(start + i, sample, kernel) - source;
    }
    int64_t firstUnder(int64_t i) const
    {
        return centre(i) - 3 * kernel / 2;
    }
    // Source pixels beyond the border under the kernels of all destination pixels, and those inside.
    int64_t outside() const
    {
        return std::max<int64_t>(0, -firstUnder(0)) +
               std::max<int64_t>(0, firstUnder(count - 1) + 3 * kernel + 1 - length);
    }
    int64_t inside() const
    {
        return firstUnder(count - 1) + 3 * kernel + 1 - firstUnder(0) - outside();
    }
    // The source index that stands for the one under a weight.
    int64_t under(int64_t i, size_t weight) const
    {
        return oracle_reflected(firstUnder(i) + static_cast<int64_t>(weight), length);
    }
};

axis axisX(const oracle_masked& call)
{
    return {call.src->rect.x,   call.src->rect.width, call.written.x,
            call.written.width, call.params.sampleX,  call.params.kernelSizeX};
}

axis axisY(const oracle_masked& call)
{
    return {call.src->rect.y,    call.src->rect.height, call.written.y,
            call.written.height, call.params.sampleY,   call.params.kernelSizeY};
}

bool isPresent(const test_placed* mask)
{
    return mask && mask->pixels;
}

int64_t jobCount(const oracle_masked& call)
{
    const axis x = axisX(call);
    const axis y = axisY(call);
    const double wanted =
        (static_cast<double>(y.outside()) * 1.25 * 4.0 - static_cast<double>(3 * y.kernel + 1)) /
            static_cast<double>(y.sample) +
        2.0;
    const int64_t rows = std::max<int64_t>(10, static_cast<int64_t>(wanted));
    const int64_t byArea = (x.inside() * y.inside() + 16383) / 16384;
    return std::min<int64_t>({y.count / rows, call.threads, byArea});
}

// ---- sums ----

// Of a column or of a destination pixel: weighted pixels, weights, and pixels that are not masked out.
struct sums {
    int64_t pixels = 0;
    int64_t weights = 0;
    int64_t count = 0;

    void add(int64_t weight, const sums& other)
    {
        pixels += weight * other.pixels;
        weights += weight * other.weights;
        count += other.count;
    }
};

// The source with nothing where it is masked out.
std::vector<sums> maskedSource(const oracle_masked& call)
{
    const test_grid pixels(call.src->pixels->view());
    const test_grid mask = isPresent(call.srcMask) ? test_grid(call.srcMask->pixels->view())
                                                   : test_grid(pixels.width, pixels.height, 1);
    std::vector<sums> made(pixels.values.size());
    for (size_t i = 0; i < made.size(); ++i)
        if (mask.values[i] != 0)
            made[i] = {pixels.values[i], 1, 1};
    return made;
}

// Of every destination pixel, row by row.
std::vector<sums> convolve(const oracle_masked& call)
{
    const axis x = axisX(call);
    const axis y = axisY(call);
    const auto weightsX = oracle_boxPower(x.kernel + 1, 3);
    const auto weightsY = oracle_boxPower(y.kernel + 1, 3);
    const std::vector<sums> source = maskedSource(call);
    std::vector<sums> all;
    for (int64_t i = 0; i < y.count; ++i) {
        std::vector<sums> columns(static_cast<size_t>(x.length));
        for (size_t j = 0; j < weightsY.size(); ++j) {
            const int64_t row = y.under(i, j);
            for (size_t c = 0; row >= 0 && c < columns.size(); ++c)
                columns[c].add(weightsY[j], source[static_cast<size_t>(row * x.length) + c]);
        }
        for (int64_t c = 0; c < x.count; ++c) {
            sums sum;
            for (size_t j = 0; j < weightsX.size(); ++j) {
                const int64_t column = x.under(c, j);
                if (column >= 0)
                    sum.add(weightsX[j], columns[static_cast<size_t>(column)]);
            }
            all.push_back(sum);
        }
    }
    return all;
}

// ---- pixels ----

// trunc(value + r), clamped.
int64_t doublePixel(double value, const oracle_masked& call)
{
    const double most = call.dstSize == 1 ? 255.0 : 65535.0;
    const double shifted = value + (call.params.round ? 0.5 : 0.0);
    if (std::isnan(shifted))
        return 0;
    return static_cast<int64_t>(std::min(shifted, most));
}

wide shiftedRight(wide value, int64_t bits)
{
    return bits > 126 ? 0 : value >> bits;
}

// gain / N as a multiplier, with the shifts before and after it.
struct factor {
    wide multiplier;
    int preShift;
    int postShift;
    wide half;
};

factor factorOf(const oracle_masked& call, double total)
{
    const qip_gaussParams& params = call.params;
    const bool isLong = call.srcSize == 2 || std::max(params.kernelSizeX, params.kernelSizeY) > 15;
    const int bits = isLong ? 20 : 15;
    int exponent = 0;
    int most = 0;
    const double mantissa = std::frexp(params.gain / total, &exponent);
    std::frexp(total * (call.srcSize == 1 ? 255.0 : 65535.0), &most);
    factor made = {};
    made.multiplier =
        static_cast<int64_t>(std::min(std::ldexp(mantissa, bits) + 0.5, std::ldexp(1.0, bits) - 1.0));
    made.preShift = std::max(most - (isLong ? 44 : 17), 0);
    made.postShift = std::max(bits - made.preShift - exponent, 0);
    if (made.postShift > 0 && made.postShift <= (isLong ? 64 : 32))
        made.half = wide{1} << (made.postShift - 1);
    return made;
}

bool isPowerOfTwo(double gain)
{
    int exponent = 0;
    std::frexp(gain, &exponent);
    return gain > 1.5 && std::fabs(gain - std::ldexp(1.0, exponent - 1)) <= 1e-6;
}

// The rule of a call.
struct rule {
    const oracle_masked& call;
    wide gain16 = 0;
    double total; // N
    factor full;

    explicit rule(const oracle_masked& made) : call(made)
    {
        const qip_gaussParams& params = call.params;
        const auto area = static_cast<double>((params.kernelSizeX + 1) * (params.kernelSizeY + 1));
        total = std::trunc(std::pow(area, 3.0));
        full = factorOf(call, total);
        const double product = params.gain * 65536.0;
        if (!std::isnan(product))
            gain16 = static_cast<int64_t>(std::clamp(product, 0.0, 0x1p62));
    }

    wide scaled(wide value, bool isRounded) const
    {
        if (call.params.gain == 1.0)
            return value;
        return (value * gain16 + (isRounded ? 32768 : 0)) >> 16;
    }

    int64_t reset(int64_t pixel, bool isFixed) const
    {
        if (!isFixed)
            return doublePixel(static_cast<double>(pixel) * call.params.gain, call);
        return stored(scaled(pixel, call.params.round != 0));
    }

    int64_t valid(const sums& sum, bool isFixed) const
    {
        if (!isFixed)
            return doublePixel(static_cast<double>(sum.pixels) * call.params.gain /
                                   static_cast<double>(sum.weights),
                               call);
        const bool rounds = call.params.round != 0;
        if (static_cast<double>(sum.weights) != total)
            return stored((scaled(sum.pixels, false) + (rounds ? sum.weights >> 1 : 0)) / sum.weights);
        return stored(shiftedRight((wide{sum.pixels} >> full.preShift) * full.multiplier +
                                       (rounds ? full.half : wide{0}),
                                   full.postShift));
    }

    int64_t stored(wide value) const
    {
        return static_cast<int64_t>(value & (call.dstSize == 1 ? 0xff : 0xffff));
    }
};

int64_t countWanted(const qip_gaussParams& params)
{
    const auto area = static_cast<double>((3 * params.kernelSizeX + 1) * (3 * params.kernelSizeY + 1));
    return std::max<int64_t>(1, static_cast<int64_t>(std::trunc(area * params.maskParams.threshold + 0.5)));
}

// ---- planes ----

// Without a source mask: smoothed pixels, before any of them is reset.
oracle_values smoothUnmasked(const oracle_masked& call)
{
    oracle_values made = {call.written, {}};
    if (call.srcSize == 2) {
        const rule pixel(call);
        for (const sums& sum : convolve(call))
            made.values.push_back(pixel.valid(sum, false));
        return made;
    }
    test_placed dst;
    test_random random = {};
    dst.place(&random, call.written, call.dstSize);
    const test_plane to = dst.over();
    const auto smooth = call.dstSize == 1 ? qip_gauss_smoothWindow8_8 : qip_gauss_smoothWindow8_16;
    const test_plane from = call.src->over();
    EXPECT_EQ(smooth(&from.windowConst, &to.window, &call.params), QIP_OK);
    const test_grid pixels(dst.pixels->view());
    made.values.assign(pixels.values.begin(), pixels.values.end());
    return made;
}

} // namespace

int32_t oracle_maskedExport::largestKernel() const
{
    int largest = 0;
    EXPECT_EQ((srcSize == 1 ? qip_gaussParamsGetMaxSigma : qip_gaussParamsGetMaxSigma16)(&largest), QIP_OK);
    return largest;
}

const std::vector<oracle_maskedExport>& oracle_maskedExports()
{
#define FORMS(depths, srcSize, dstSize)                                                                    \
    {"qip_gauss_smoothMasked" #depths,       "gauss_smoothMaskedWindow" #depths, srcSize, dstSize, false,  \
     callAny<qip_gauss_smoothMasked##depths>},                                                             \
    {                                                                                                      \
        "qip_gauss_smoothMaskedWindow" #depths, "gauss_smoothMaskedWindow" #depths, srcSize, dstSize,      \
            true, callAny<qip_gauss_smoothMaskedWindow##depths>                                            \
    }
    static const std::vector<oracle_maskedExport> all = {FORMS(8_8, 1, 1), FORMS(8_16, 1, 2),
                                                         FORMS(16_16, 2, 2)};
#undef FORMS
    return all;
}

std::vector<oracle_maskedBand> oracle_maskedBands(const oracle_masked& call)
{
    const axis x = axisX(call);
    const axis y = axisY(call);
    const bool canBeFixed = call.isFast && !isPowerOfTwo(call.params.gain) && x.inside() >= 9 * x.sample;
    const int64_t bands = call.threads > 1 ? jobCount(call) : 1;
    if (bands <= 1)
        return {{0, y.count, canBeFixed && y.inside() >= 9 * y.sample}};
    std::vector<oracle_maskedBand> all;
    const int64_t height = (y.count + bands - 1) / bands;
    for (int64_t first = 0; first < y.count; first += height) {
        // The rows of its own source window: those from its first sample's block on that lie inside.
        const int64_t rows = std::min(height, y.count - first);
        const int64_t reached = 3 * y.kernel + 1 + (rows - 1) * y.sample - y.outside();
        const int64_t own = std::min(y.inside() - first * y.sample, reached);
        all.push_back({first, rows, canBeFixed && own >= 9 * y.sample});
    }
    return all;
}

oracle_maskedPlanes oracle_smoothMasked(const oracle_masked& call)
{
    const axis x = axisX(call);
    const axis y = axisY(call);
    const bool hasMask = isPresent(call.srcMask);
    const qip_filterMaskParams& maskParams = call.params.maskParams;
    const test_placed* resets = isPresent(call.resetMask) ? call.resetMask : nullptr;
    if (!resets && hasMask && maskParams.mode == 0)
        resets = call.srcMask;
    const test_view source = call.src->pixels->view();
    const rule pixel(call);
    const int64_t wanted = countWanted(call.params);

    oracle_maskedPlanes made = {{call.written, {}}, {call.written, {}}};
    std::vector<sums> all;
    if (hasMask)
        all = convolve(call);
    else
        made.pixels = smoothUnmasked(call);
    const std::vector<oracle_maskedBand> bands =
        hasMask ? oracle_maskedBands(call) : std::vector<oracle_maskedBand>{{0, y.count, false}};
    for (const oracle_maskedBand& band : bands)
        for (int64_t r = band.first; r < band.first + band.height; ++r)
            for (int64_t c = 0; c < x.count; ++c) {
                const int64_t atX = x.centre(c);
                const int64_t atY = y.centre(r);
                const auto at = static_cast<size_t>(r * x.count + c);
                const int64_t own = test_pixel(source, atX, atY);
                const int64_t reset = resets ? test_pixel(resets->pixels->view(), atX, atY) : 255;
                if (!hasMask) {
                    if (reset == 0)
                        made.pixels.values[at] = call.params.gain == 1.0 ? own : pixel.reset(own, false);
                    made.mask.values.push_back(reset);
                    continue;
                }
                const bool isEnough = maskParams.resultMode == 1
                                          ? all[at].count >= wanted
                                          : test_pixel(call.srcMask->pixels->view(), atX, atY) != 0;
                const bool isValid = isEnough && reset != 0;
                made.pixels.values.push_back(isValid ? pixel.valid(all[at], band.isFixed)
                                                     : pixel.reset(own, band.isFixed));
                made.mask.values.push_back(isValid ? 255 : 0);
            }
    return made;
}
