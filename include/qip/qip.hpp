// qip/qip.hpp - the library from C++17: views, images that clean up after themselves, exceptions.
//
//     qip::image smooth = qip::gaussian(qip::view(pixels, 640, 480), qip::params().kernel(7));
//
// Headers only, over the C interface, whose headers say what the filters compute; link qip::gauss and qip::base.
// A failure throws qip::error, whose text names the function and the reason.
//
// Sources are images of 8 or 16 bits; a view converts to one, without a copy. Masks are views of the source's size
// (else QIP_E_MASK_MISMATCH). A result is a new image, with a client transform that keeps true to the source's, or it
// is written to `dst`, an image over a view of the caller's: qip::gaussian(src, params, {}, qip::view(out, 640, 480)).
// Its pixels must be among those that the source yields (else QIMG_E_OUTSIDE) and may not be shared with what is read
// or with the mask of the result (QIP_E_SAME_MEMORY where that is seen); without an origin they begin with the first
// of them. After a refused argument nothing has been written, after a failure of memory or of the attention handler
// parts may have been. Callable from any thread, at once for different destinations.
#ifndef QIP_QIP_HPP
#define QIP_QIP_HPP

#include <qip/image.hpp>
#include <qip/qip_gauss.h>

#include <qbase/cpuinfo.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace qip
{

// While it lives, the process uses no more of the processor than a level has: "plain", "sse", "avx2", "neon".
class level_limit
{
public:
    explicit level_limit(const char* level) : before_(qsys_cpuinfo_levelName())
    {
        attention::check("level_limit", qsys_cpuinfo_limitLevel(level));
    }
    ~level_limit() { qsys_cpuinfo_limitLevel(before_); }
    level_limit(const level_limit&) = delete;
    level_limit& operator=(const level_limit&) = delete;

private:
    const char* before_;
};

// What a smoothing computes, as in qip/params.h, but rounding, since to truncate darkens. The second number of a
// pair is for Y; without it both are the same.
struct params {
    using number = std::optional<std::int32_t>;

    params() { qip_gaussParams_init(&record), record.round = 1; }
    params& kernel(std::int32_t x, number y = {})
    {
        record.kernelSizeX = x, record.kernelSizeY = y.value_or(x);
        return *this;
    }
    params& sample(std::int32_t x, number y = {})
    {
        record.sampleX = x, record.sampleY = y.value_or(x);
        return *this;
    }
    // The kernels whose variance, (n n - 1) / 4 with n = kernel + 1, is nearest to that of a Gaussian of this many
    // pixels. QSYS_E_ARGUMENT for a negative number and for what is none.
    params& sigma(double x, std::optional<double> y = {})
    {
        return kernel(kernel_of(x), kernel_of(y.value_or(x)));
    }
    double sigma_x() const { return std::sqrt(record.kernelSizeX * (record.kernelSizeX + 2.0)) / 2; }
    double sigma_y() const { return std::sqrt(record.kernelSizeY * (record.kernelSizeY + 2.0)) / 2; }
    params& gain(double factor) { return record.gain = factor, *this; }
    params& round(bool on) { return record.round = on, *this; }
    params& mask_mode(unsigned mode) { return record.maskParams.mode = mode, *this; }
    params& result_mode(unsigned mode) { return record.maskParams.resultMode = mode, *this; }
    params& threshold(double share) { return record.maskParams.threshold = share, *this; }

    qip_gaussParams record;

private:
    static std::int32_t kernel_of(double sigma)
    {
        const double square = 4 * sigma * sigma + 1; // n n, if n need not be a whole number
        if (!(sigma >= 0 && square <= 4611686018427387904.0))
            throw error("sigma", QSYS_E_ARGUMENT);
        const double n = std::floor(std::sqrt(square));
        const bool isNearerAbove = (n * n + (n + 1) * (n + 1)) / 2 < square;
        return static_cast<std::int32_t>(isNearerAbove ? n : n - 1);
    }
};

// What keeps pixels out. `result`, where given, receives the mask of the result. If it has pixels it is written
// there, else it is made new; of `dst` and `result` one that is new lies where the other does, and a view without an
// origin as `result` begins where `dst` does.
struct masks {
    view<const std::uint8_t> source = {}; // 0 keeps a pixel out of the smoothing
    view<const std::uint8_t> reset = {};  // where it is 0 the source's pixel stands
    image* result = nullptr;
};

// The rectangle of all pixels that a source rectangle yields. `where` begins the text of a failure.
inline rect dest_rect(const rect& src, const params& p, const char* where = "dest_rect")
{
    attention::check(where, qip_gaussParams_validate(&p.record));
    rect yields;
    attention::check(where, qip_gauss_getDestRect(&src, &p.record, &yields));
    return yields;
}

namespace detail
{

// A mask lies over its image.
inline image over(const char* where, view<const std::uint8_t> mask, const image& src)
{
    mask.origin = point{src.rectangle().x, src.rectangle().y};
    image made = mask;
    if (made && (made.width() != src.width() || made.height() != src.height()))
        throw error(where, QIP_E_MASK_MISMATCH);
    return made;
}

// The mask of a filter that has no mask of the result without one of the source.
inline image required(const char* where, const masks& m, const image& src)
{
    image mask = over(where, m.source, src);
    attention::check(where, m.result && !mask ? QSYS_E_ARGUMENT : QSYS_OK);
    return mask;
}

} // namespace detail

// Smooths by the cube of a box (qip/smoothing.h; qip/masked.h for 16 bits and with masks). A new image has the depth
// of the source, or that of T: gaussian<std::uint16_t>(...).
template <class T = void>
image gaussian(const image& src, const params& p = {}, const masks& m = {}, image dst = {})
{
    static_assert(std::is_void_v<T> || std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::uint16_t>);
    const bool deep = src.pixel_size() == 2;
    const bool to_deep =
        dst ? dst.pixel_size() == 2 : std::is_same_v<T, std::uint16_t> || (deep && std::is_void_v<T>);
    if (deep && !to_deep)
        throw error("gaussian: dst", QIMG_E_PIXEL_SIZE);
    const image mask = detail::over("gaussian: mask", m.source, src),
                reset = detail::over("gaussian: reset mask", m.reset, src);
    detail::destinations to("gaussian", dest_rect(src.rectangle(), p, "gaussian"), to_deep ? 2 : 1, dst,
                            m.result);
    const auto plain = to_deep ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8;
    const auto masked = deep      ? qip_gauss_smoothMasked16_16
                        : to_deep ? qip_gauss_smoothMasked8_16
                                  : qip_gauss_smoothMasked8_8;
    attention::check("gaussian", deep || mask || reset || m.result
                                     ? masked(src.handle(), mask.handle(), reset.handle(), &p.record,
                                              dst.handle(), to.mask())
                                     : plain(src.handle(), dst.handle(), &p.record));
    to.keep();
    return dst;
}

enum class axis { xy, x, y };

// The rectangle that half() yields. `where` begins the text of a failure.
inline rect half_rect(const rect& src, axis along = axis::xy, const char* where = "half_rect")
{
    const auto halved = along == axis::x   ? qip_gauss2XGetDestRect
                        : along == axis::y ? qip_gauss2YGetDestRect
                                           : qip_gauss2GetDestRect;
    rect yields;
    attention::check(where, halved(&src, &yields));
    return yields;
}

// Smooths by 1 4 6 4 1 and keeps every second pixel along both axes or one (qip/half_resolution.h). A mask holds
// weights from 0 to 255. For a destination of less than the whole result the source is cut to what lies under it, and
// repeats its border there.
inline image half(const image& src, axis along = axis::xy, const masks& m = {}, image dst = {})
{
    constexpr decltype(&qip_gauss2_smooth8_8) plain[2][3] = {
        {qip_gauss2_smooth8_8, qip_gauss2X_smooth8_8, qip_gauss2Y_smooth8_8},
        {qip_gauss2_smooth16_16, qip_gauss2X_smooth16_16, qip_gauss2Y_smooth16_16}};
    constexpr decltype(&qip_gauss2_smoothMasked8_8) masked[2][3] = {
        {qip_gauss2_smoothMasked8_8, qip_gauss2X_smoothMasked8_8, qip_gauss2Y_smoothMasked8_8},
        {qip_gauss2_smoothMasked16_16, qip_gauss2X_smoothMasked16_16, qip_gauss2Y_smoothMasked16_16}};
    const auto way = static_cast<int>(along);
    const image mask = detail::required("half: mask", m, src);
    const bool deep = src.pixel_size() == 2;
    detail::destinations to("half", half_rect(src.rectangle(), along, "half"), src.pixel_size(), dst,
                            m.result);
    attention::check("half", mask ? masked[deep][way](src.handle(), mask.handle(), dst.handle(), to.mask())
                                  : plain[deep][way](src.handle(), dst.handle()));
    to.keep();
    return dst;
}

// Smooths by 1 4 6 4 1 at full resolution, x / 2 times along the rows and y / 2 times down the columns (even counts,
// else QSYS_E_ARGUMENT). Masks are those of half(), and so is the border of a part.
inline image binomial(const image& src, std::int32_t x = 2, std::int32_t y = 2, const masks& m = {},
                      image dst = {})
{
    if (x < 0 || y < 0 || x % 2 != 0 || y % 2 != 0)
        throw error("binomial: passes", QSYS_E_ARGUMENT);
    const image mask = detail::required("binomial: mask", m, src);
    const bool deep = src.pixel_size() == 2;
    detail::destinations to("binomial", src.rectangle(), src.pixel_size(), dst, m.result);
    const auto plain = deep ? qip_gauss2_smoothNoSample16_16 : qip_gauss2_smoothNoSample8_8;
    const auto masked = deep ? qip_gauss2_smoothNoSampleMasked16_16 : qip_gauss2_smoothNoSampleMasked8_8;
    attention::check("binomial", mask ? masked(src.handle(), mask.handle(), dst.handle(), to.mask(), x, y)
                                      : plain(src.handle(), dst.handle(), x, y));
    to.keep();
    return dst;
}

// Where p.threshold of the pixels under the kernel are valid (128 or more in the mask) and the centre mask is not 0,
// 255; elsewhere 0 (qip/masked.h).
inline image result_mask(const image& mask, const params& p = {},
                         const view<const std::uint8_t>& centre = {}, image dst = {})
{
    const image cleared = detail::over("result_mask: centre mask", centre, mask);
    dst.place_in("result_mask", dest_rect(mask.rectangle(), p, "result_mask"));
    attention::check("result_mask", qip_filterMask_computeResultMask_(
                                        mask.handle(), cleared.handle(), &p.record.kernelSizeX,
                                        &p.record.sampleX, p.record.maskParams.threshold, dst.handle()));
    return dst;
}

} // namespace qip

#endif
