// qip/opencv.hpp - the library on OpenCV's matrices; it needs opencv_core, qip::gauss and qip::base.
//
//     qip::opencv::gaussian(picture, smooth, qip::params().sigma(3.0));
//
// Matrices have two dimensions and one channel of 8 or 16 bits, without a sign; any step. The functions keep the
// customs of OpenCV: a destination of the right size and depth is written where it is, part of a larger matrix or not,
// any other is made anew; source and destination may be the same, which costs a copy of the source. A destination
// that has a fixed depth keeps it, else it gets that of the source.
//
// The border is always that of the matrix handed over, as with cv::BORDER_ISOLATED: a part of a larger matrix is
// smoothed as if it were a picture of its own. Beyond it, gaussian() has the pixels of cv::BORDER_REFLECT (up to one
// reflection, then 0), half() and binomial() those of cv::BORDER_REPLICATE. Where a part lies in its matrix decides
// which of its pixels the sampling of gaussian() keeps, so that parts fit together; half() begins with the part's
// first pixel. Kernels of odd kernel sizes have an even number of taps: a pixel of the result is centred half a pixel
// to the right of and below the source pixel in its place.
//
// A failure is a cv::Exception with the text of qip::error; a destination may have been made anew then. What else the
// application throws in its qip::attention passes through.
#ifndef QIP_OPENCV_HPP
#define QIP_OPENCV_HPP

#include <qip/qip.hpp>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

namespace qip::opencv
{

namespace detail
{

// A matrix that is read, with its place in the one that it is part of.
struct source {
    explicit source(const cv::Mat& whole_or_part) : mat(whole_or_part)
    {
        cv::Size size;
        if (!mat.empty())
            mat.locateROI(size, at);
    }
    // Makes this a copy where it may share pixels with a destination; parts side by side in one matrix count too.
    void keep_from(const cv::Mat& dst)
    {
        const auto end = [](const cv::Mat& m) {
            return m.ptr(m.rows - 1) + std::size_t(m.cols) * m.elemSize();
        };
        if (!mat.empty() && !dst.empty() && mat.data < end(dst) && dst.data < end(mat))
            mat = mat.clone();
    }
    cv::Mat mat;
    cv::Point at;
};

template <class T>
view<T> view_of(const cv::Mat& mat, std::optional<point> origin = {})
{
    if (!mat.empty() && (mat.dims != 2 || mat.type() != cv::traits::Type<T>::value))
        CV_Error(cv::Error::StsUnsupportedFormat,
                 "matrices have two dimensions and one channel: CV_8UC1 or CV_16UC1, "
                 "masks CV_8UC1");
    return {reinterpret_cast<T*>(mat.data), mat.cols, mat.rows,
            mat.empty() ? 0 : std::ptrdiff_t(mat.step[0]), origin};
}

inline image image_of(const cv::Mat& mat, std::optional<point> origin = {},
                      qimg_releaseFunction release = nullptr, void* context = nullptr)
{
    if (mat.depth() == CV_16U)
        return {view_of<std::uint16_t>(mat, origin), release, context};
    return {view_of<std::uint8_t>(mat, origin), release, context};
}

inline cv::Mat created(const cv::_OutputArray& dst, const rect& yields, int depth)
{
    dst.create(std::max(yields.height, 0), std::max(yields.width, 0), depth);
    return dst.getMat();
}

// Runs a filter of qip.hpp: `yields` gives the rectangle of its result, `filter` takes source, masks and destination.
template <class Yields, class Filter>
void run(const char* function, cv::InputArray src, cv::OutputArray dst, int depth, cv::InputArray mask,
         cv::OutputArray dst_mask, const Yields& yields, const Filter& filter)
try {
    // A cv::UMat made anew as the destination must not end while its old pixels are read.
    const cv::UMat held[] = {src.isUMat() ? src.getUMat() : cv::UMat(),
                             mask.isUMat() ? mask.getUMat() : cv::UMat()};
    source from(src.getMat()), valid(mask.getMat());
    const point origin{from.at.x, from.at.y};
    const rect result = yields(image_of(from.mat, origin).rectangle());
    const cv::Mat to = created(dst, result,
                               depth >= 0        ? depth
                               : dst.fixedType() ? dst.depth()
                                                 : from.mat.depth());
    const cv::Mat to_mask = dst_mask.needed() ? created(dst_mask, result, CV_8U) : cv::Mat();
    for (source* const read : {&from, &valid}) {
        read->keep_from(to);
        read->keep_from(to_mask);
    }
    image made_mask = view_of<std::uint8_t>(to_mask);
    filter(image_of(from.mat, origin),
           masks{view_of<std::uint8_t>(valid.mat), {}, dst_mask.needed() ? &made_mask : nullptr},
           image_of(to));
} catch (const error& failure) {
    const int code = failure.code() == QSYS_E_MEMORY ? cv::Error::StsNoMem : cv::Error::StsBadArg;
    cv::error(code, failure.what(), function, __FILE__, __LINE__);
}

} // namespace detail

// An image over the matrix's pixels, which stay as long as either needs them.
inline image wrap(const cv::Mat& mat)
{
    if (mat.empty())
        return {};
    auto held = std::make_unique<cv::Mat>(mat);
    const detail::source part(mat);
    image over = detail::image_of(
        mat, point{part.at.x, part.at.y},
        [](void* context, void*) { delete static_cast<cv::Mat*>(context); }, held.get());
    (void)held.release(); // the image deletes it
    return over;          // NOLINT: the analyzer of leaks does not see that
}

// Smooths by the cube of a box. `depth` is that of the destination, CV_8U or CV_16U.
inline void gaussian(cv::InputArray src, cv::OutputArray dst, const params& p = {},
                     cv::InputArray mask = cv::noArray(), cv::OutputArray dst_mask = cv::noArray(),
                     int depth = -1)
{
    detail::run(
        "qip::opencv::gaussian", src, dst, depth, mask, dst_mask,
        [&](const rect& all) { return dest_rect(all, p); },
        [&](const image& from, const masks& m, image to) { qip::gaussian(from, p, m, std::move(to)); });
}

// Halves the size by 1 4 6 4 1, along both axes or one.
inline void half(cv::InputArray src, cv::OutputArray dst, axis along = axis::xy,
                 cv::InputArray mask = cv::noArray(), cv::OutputArray dst_mask = cv::noArray())
{
    detail::run(
        "qip::opencv::half", src, dst, -1, mask, dst_mask,
        [&](const rect& all) { return half_rect(all, along); },
        [&](const image& from, const masks& m, image to) { qip::half(from, along, m, std::move(to)); });
}

// Smooths by 1 4 6 4 1, passes.width / 2 times along the rows and passes.height / 2 times down the columns.
inline void binomial(cv::InputArray src, cv::OutputArray dst, cv::Size passes = {2, 2},
                     cv::InputArray mask = cv::noArray(), cv::OutputArray dst_mask = cv::noArray())
{
    detail::run(
        "qip::opencv::binomial", src, dst, -1, mask, dst_mask, [](const rect& all) { return all; },
        [&](const image& from, const masks& m, image to) {
            qip::binomial(from, passes.width, passes.height, m, std::move(to));
        });
}

} // namespace qip::opencv

#endif
