// The same work done by OpenCV, on the same pictures and on one thread. Where it has no single function for a
// filter, the fastest composition known to us stands; several compositions compete where it is not plain which
// one is fastest.
#include "bench/support.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <vector>

namespace
{

// The picture's own memory, without a copy.
cv::Mat matOf(const bench_image& image)
{
    return {image->rect.height, image->rect.width, image->pixelSize == 1 ? CV_8U : CV_16U,
            image->firstPixel, static_cast<std::size_t>(image->stride)};
}

// The pictures of one piece of work. `between` holds what its steps hand on; the destination is made by the
// first call, like ours.
struct peer_pictures {
    bench_image srcImage;
    bench_image maskImage;
    cv::Mat src;
    cv::Mat mask;
    cv::Mat dst;
    cv::Mat dstMask;
    std::vector<cv::Mat> between;
};

using peer_step = std::function<void(peer_pictures&)>;

bench_prepare work(int32_t srcBytes, bool isMasked, double dstBytesPerPixel, const peer_step& step)
{
    return [=](const bench_size& size) {
        const auto pictures = std::make_shared<peer_pictures>();
        pictures->srcImage = bench_source(size, srcBytes);
        pictures->src = matOf(pictures->srcImage);
        if (isMasked) {
            pictures->maskImage = bench_mask(size);
            pictures->mask = matOf(pictures->maskImage);
        }
        pictures->between.resize(4);
        const auto pixels = static_cast<double>(bench_pixels(size));
        return bench_work{
            [=] {
                step(*pictures);
                return true;
            },
            static_cast<int64_t>(pixels * (srcBytes + (isMasked ? 1 : 0) + dstBytesPerPixel))};
    };
}

// ---- half resolution and the binomial filter ----

// 1 4 6 4 1 where the size is 5: the weights that OpenCV takes for a sigma of 0.
void binomial(const cv::Mat& src, cv::Mat& dst, const cv::Size& size)
{
    cv::GaussianBlur(src, dst, size, 0, 0, cv::BORDER_REPLICATE);
}

void binomialSeparable(const cv::Mat& src, cv::Mat& dst, const cv::Size& size)
{
    const cv::Mat five = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16;
    const cv::Mat one = cv::Mat::ones(1, 1, CV_32F);
    cv::sepFilter2D(src, dst, -1, size.width == 5 ? five : one, size.height == 5 ? five : one,
                    cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
}

void half(const cv::Mat& src, cv::Mat& dst)
{
    cv::pyrDown(src, dst, cv::Size(), cv::BORDER_REPLICATE);
}

// Smooths in one direction, then drops every second column or row.
void halfOneWay(peer_pictures& pictures, const cv::Size& size)
{
    binomial(pictures.src, pictures.between[0], size);
    cv::resize(pictures.between[0], pictures.dst, cv::Size(), size.width == 5 ? 0.5 : 1.0,
               size.height == 5 ? 0.5 : 1.0, cv::INTER_NEAREST);
}

// A normalised convolution: the smoothed product of pixels and weights by the smoothed weights.
template <class Filter>
void normalised(peer_pictures& pictures, const Filter& filter)
{
    cv::Mat& product = pictures.between[0];
    cv::Mat& weight = pictures.between[1];
    pictures.mask.convertTo(weight, CV_32F);
    cv::multiply(pictures.src, pictures.mask, product, 1.0, CV_32F);
    filter(product, pictures.between[2]);
    filter(weight, pictures.between[3]);
    pictures.between[3].convertTo(pictures.dstMask, CV_8U);
    cv::divide(pictures.between[2], pictures.between[3], pictures.between[2]);
    pictures.between[2].convertTo(pictures.dst, pictures.src.type());
}

void addHalfOneWay(const std::string& caseName, int32_t bytes, const cv::Size& size)
{
    bench_addPeer(caseName, "opencv-gaussian-nearest",
                  work(bytes, false, bytes / 2.0, [=](peer_pictures& p) { halfOneWay(p, size); }));
}

void addBinomial(const std::string& caseName, int32_t bytes, const cv::Size& size)
{
    bench_addPeer(caseName, "opencv-gaussian",
                  work(bytes, false, bytes, [=](peer_pictures& p) { binomial(p.src, p.dst, size); }));
    bench_addPeer(caseName, "opencv-separable", work(bytes, false, bytes, [=](peer_pictures& p) {
                      binomialSeparable(p.src, p.dst, size);
                  }));
}

void addGauss2(int32_t bytes)
{
    const std::string depth = bytes == 1 ? "/u8" : "/u16";
    const cv::Size both(5, 5);
    const cv::Size alongX(5, 1);
    const cv::Size alongY(1, 5);

    bench_addPeer("gauss2/half" + depth, "opencv-pyrdown",
                  work(bytes, false, bytes / 4.0, [](peer_pictures& p) { half(p.src, p.dst); }));
    addHalfOneWay("gauss2/halfX" + depth, bytes, alongX);
    addHalfOneWay("gauss2/halfY" + depth, bytes, alongY);
    addBinomial("gauss2/binomial5x5" + depth, bytes, both);
    addBinomial("gauss2/binomial5x1" + depth, bytes, alongX);
    addBinomial("gauss2/binomial1x5" + depth, bytes, alongY);
    bench_addPeer("gauss2/binomial5x5twice" + depth, "opencv-gaussian",
                  work(bytes, false, bytes, [=](peer_pictures& p) {
                      binomial(p.src, p.between[0], both);
                      binomial(p.between[0], p.dst, both);
                  }));
    bench_addPeer("gauss2/maskedHalf" + depth, "opencv-normalised",
                  work(bytes, true, (bytes + 1) / 4.0, [](peer_pictures& p) { normalised(p, half); }));
    bench_addPeer("gauss2/maskedBinomial5x5" + depth, "opencv-normalised",
                  work(bytes, true, bytes + 1, [=](peer_pictures& p) {
                      normalised(p, [=](const cv::Mat& src, cv::Mat& dst) { binomial(src, dst, both); });
                  }));
}

// ---- the cube of a box ----

// The weights themselves, in one pass over rows and one over columns.
void separable(const cv::Mat& src, cv::Mat& dst, int32_t kernel)
{
    cv::Mat weights = cv::Mat::ones(1, 1, CV_64F);
    for (int pass = 0; pass < 3; ++pass) {
        cv::Mat wider = cv::Mat::zeros(1, weights.cols + kernel, CV_64F);
        for (int32_t shift = 0; shift <= kernel; ++shift)
            wider.colRange(shift, shift + weights.cols) += weights / (kernel + 1);
        weights = wider;
    }
    cv::sepFilter2D(src, dst, -1, weights, weights, cv::Point(-1, -1), 0, cv::BORDER_REFLECT);
}

// A Gaussian of the same variance and about the same reach.
void gaussian(const cv::Mat& src, cv::Mat& dst, int32_t kernel)
{
    const int width = (3 * kernel + 1) | 1;
    const int n = kernel + 1;
    cv::GaussianBlur(src, dst, cv::Size(width, width), std::sqrt((n * n - 1) / 4.0), 0, cv::BORDER_REFLECT);
}

// Three boxes, one after the other.
void boxes(const cv::Mat& src, cv::Mat& between, cv::Mat& dst, int32_t kernel)
{
    const cv::Size size(kernel + 1, kernel + 1);
    cv::blur(src, dst, size, cv::Point(-1, -1), cv::BORDER_REFLECT);
    cv::blur(dst, between, size, cv::Point(-1, -1), cv::BORDER_REFLECT);
    cv::blur(between, dst, size, cv::Point(-1, -1), cv::BORDER_REFLECT);
}

// The picture at the destination's depth, as bright as the gain makes it.
const cv::Mat& deepened(peer_pictures& pictures, bool deep)
{
    if (!deep)
        return pictures.src;
    pictures.src.convertTo(pictures.between[0], CV_16U, 256.0);
    return pictures.between[0];
}

void addGauss(int32_t kernel, bool deep)
{
    const std::string name = "gauss/k" + std::to_string(kernel) + (deep ? "/u8u16" : "/u8u8");
    const double dstBytes = deep ? 2 : 1;
    // Separable weights beyond a dozen taps are far behind the other two.
    if (kernel <= 3)
        bench_addPeer(name, "opencv-separable", work(1, false, dstBytes, [=](peer_pictures& p) {
                          separable(deepened(p, deep), p.dst, kernel);
                      }));
    if (kernel % 2 == 0 || kernel > 2)
        bench_addPeer(name, "opencv-gaussian", work(1, false, dstBytes, [=](peer_pictures& p) {
                          gaussian(deepened(p, deep), p.dst, kernel);
                      }));
    bench_addPeer(name, "opencv-boxes", work(1, false, dstBytes, [=](peer_pictures& p) {
                      boxes(deepened(p, deep), p.between[1], p.dst, kernel);
                  }));
}

// ---- equal pixels ----

bool equalPixels(const char* what, const cv::Mat& ours, const cv::Mat& theirs)
{
    if (ours.size() == theirs.size() && cv::norm(ours, theirs, cv::NORM_INF) == 0)
        return true;
    std::fprintf(stderr, "%s: our pixels and OpenCV's differ at %d x %d\n", what, theirs.cols, theirs.rows);
    return false;
}

} // namespace

void bench_addOpencv()
{
    cv::setNumThreads(1);
    addGauss2(1);
    addGauss2(2);
    for (const int32_t kernel : {1, 2, 3, 7, 15, 63})
        addGauss(kernel, false);
    for (const int32_t kernel : {2, 7, 31})
        addGauss(kernel, true);
}

bool bench_opencvAgrees()
{
    bool good = true;
    for (const bench_size& size : {bench_size{2, 2}, {4, 34}, {62, 18}, {640, 482}})
        for (const int32_t bytes : {1, 2}) {
            const bench_image src = bench_source(size, bytes);
            const bench_image ours = bench_unbound();
            const bench_image oursHalf = bench_unbound();
            cv::Mat theirs;
            cv::Mat theirsHalf;
            auto* const halve = bytes == 1 ? qip_gauss2_smooth8_8 : qip_gauss2_smooth16_16;
            auto* const smooth = bytes == 1 ? qip_gauss2_smoothNoSample8_8 : qip_gauss2_smoothNoSample16_16;
            good =
                halve(src.get(), oursHalf.get()) >= 0 && smooth(src.get(), ours.get(), 2, 2) >= 0 && good;
            half(matOf(src), theirsHalf);
            binomial(matOf(src), theirs, cv::Size(5, 5));
            good = equalPixels("half", matOf(oursHalf), theirsHalf) && good;
            good = equalPixels("binomial 5x5", matOf(ours), theirs) && good;
        }
    return good;
}
