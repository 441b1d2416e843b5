// OpenCV beside us, on the same pictures: what its versions of the families have in common.
#include "bench/peer_opencv.h"

#include <opencv2/imgproc.hpp>

#include <cstdio>

namespace
{

// Every step-th pixel of every step-th row, from (first, first) on.
template <int step>
void keepEvery(const cv::Mat& src, cv::Mat& dst, int first)
{
    dst.create((src.rows - first + step - 1) / step, (src.cols - first + step - 1) / step, CV_8U);
    for (int y = 0; y < dst.rows; ++y) {
        const uint8_t* const from = src.ptr(first + y * step) + first;
        uint8_t* const to = dst.ptr(y);
        for (int x = 0; x < dst.cols; ++x)
            to[x] = from[x * step];
    }
}

} // namespace

cv::Mat bench_matOf(const bench_image& image)
{
    return {image->rect.height, image->rect.width, image->pixelSize == 1 ? CV_8U : CV_16U,
            image->firstPixel, static_cast<std::size_t>(image->stride)};
}

bench_pictureSet bench_pictures(const bench_size& size, int32_t srcBytes,
                                std::optional<bench_maskKind> mask)
{
    bench_pictureSet pictures;
    pictures.srcImage = bench_source(size, srcBytes);
    pictures.src = bench_matOf(pictures.srcImage);
    if (mask) {
        pictures.maskImage = bench_mask(size, *mask);
        pictures.mask = bench_matOf(pictures.maskImage);
    }
    pictures.between.resize(5);
    return pictures;
}

void bench_addOpencvPeer(const std::string& caseName, const std::string& variant, int32_t srcBytes,
                         std::optional<bench_maskKind> mask, double dstBytesPerPixel,
                         const bench_peerStep& step, int threads)
{
    const auto prepare = [=](const bench_size& size) {
        cv::setNumThreads(threads);
        const auto pictures = std::make_shared<bench_pictureSet>(bench_pictures(size, srcBytes, mask));
        const auto pixels = static_cast<double>(bench_pixels(size));
        return bench_work{[=] {
                              step(*pictures);
                              return true;
                          },
                          static_cast<int64_t>(pixels * (srcBytes + (mask ? 1 : 0) + dstBytesPerPixel))};
    };
    bench_addPeer(caseName, variant, prepare, threads);
}

bool bench_opencvPixelsAgree(const std::string& what, const cv::Mat& ours, const cv::Mat& theirs,
                             int tolerance)
{
    if (ours.size() == theirs.size() && cv::norm(ours, theirs, cv::NORM_INF) <= tolerance)
        return true;
    std::fprintf(stderr, "%s: our pixels and OpenCV's differ at %d x %d, by %g\n", what.c_str(),
                 theirs.cols, theirs.rows,
                 ours.size() == theirs.size() ? cv::norm(ours, theirs, cv::NORM_INF) : -1.0);
    return false;
}

cv::Mat bench_cubeWeights(int32_t kernel)
{
    cv::Mat weights = cv::Mat::ones(1, 1, CV_64F);
    for (int pass = 0; pass < 3; ++pass) {
        cv::Mat wider = cv::Mat::zeros(1, weights.cols + kernel, CV_64F);
        for (int32_t shift = 0; shift <= kernel; ++shift)
            wider.colRange(shift, shift + weights.cols) += weights / (kernel + 1);
        weights = wider;
    }
    return weights;
}

void bench_separable(const cv::Mat& src, cv::Mat& dst, const cv::Mat& weights, int depth)
{
    const int centre = (weights.cols - 1) / 2;
    cv::sepFilter2D(src, dst, depth, weights, weights, cv::Point(centre, centre), 0, cv::BORDER_REFLECT);
}

void bench_keepSampled(const cv::Mat& src, cv::Mat& dst, int32_t kernel, int32_t sample)
{
    const int32_t first = sample / 2 + (sample & (kernel + 1) & 1) - 1;
    if (sample == 2)
        keepEvery<2>(src, dst, first);
    else if (sample == 3)
        keepEvery<3>(src, dst, first);
    else
        keepEvery<4>(src, dst, first);
}

void bench_addOpencv()
{
    bench_addOpencvGauss();
    bench_addOpencvGauss2();
    bench_addOpencvMasked();
    bench_addOpencvAdapter();
}

bool bench_opencvAgrees()
{
    const bool gauss = bench_opencvAgreesGauss();
    const bool gauss2 = bench_opencvAgreesGauss2();
    const bool masked = bench_opencvAgreesMasked();
    return bench_opencvAgreesAdapter() && gauss && gauss2 && masked;
}
