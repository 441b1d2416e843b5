// What the files share that hold OpenCV's way of doing our cases, peer_*.cpp.
#pragma once

#include "bench/support.h"

#include <opencv2/core.hpp>

#include <optional>
#include <string>
#include <vector>

// The picture's own memory, without a copy.
cv::Mat bench_matOf(const bench_image& image);

// The pictures of one piece of work. `between` holds the pictures between its steps; the destination is
// made by the first call, like ours.
struct bench_pictureSet {
    bench_image srcImage;
    bench_image maskImage;
    cv::Mat src;
    cv::Mat mask;
    cv::Mat dst;
    cv::Mat dstMask;
    std::vector<cv::Mat> between;
};

// The source of 1 or 2 bytes a pixel, with a mask or without one.
bench_pictureSet bench_pictures(const bench_size& size, int32_t srcBytes,
                                std::optional<bench_maskKind> mask);

using bench_peerStep = std::function<void(bench_pictureSet&)>;

// Adds a peer of a case, on one thread or on two.
void bench_addOpencvPeer(const std::string& caseName, const std::string& variant, int32_t srcBytes,
                         std::optional<bench_maskKind> mask, double dstBytesPerPixel,
                         const bench_peerStep& step, int threads = 1);

// Whether pixels differ by no more than the tolerance; says on standard error where they do.
bool bench_opencvPixelsAgree(const std::string& what, const cv::Mat& ours, const cv::Mat& theirs,
                             int tolerance);

// ---- the cube of a box ----

// Its weights in one axis, with the sum 1.
cv::Mat bench_cubeWeights(int32_t kernel);

// The weights themselves, in one pass over rows and one over columns, into pixels of this depth.
void bench_separable(const cv::Mat& src, cv::Mat& dst, const cv::Mat& weights, int depth);

// Every sample-th pixel of every sample-th row of an 8-bit picture, those that we take. This loop is about
// as fast as cv::resize with INTER_NEAREST or faster.
void bench_keepSampled(const cv::Mat& src, cv::Mat& dst, int32_t kernel, int32_t sample);

// ---- the families ----

void bench_addOpencvGauss();
void bench_addOpencvGauss2();
void bench_addOpencvMasked();
void bench_addOpencvAdapter(); // with ours, which take the same matrices

// Whether OpenCV gives our pixels.
bool bench_opencvAgreesGauss();
bool bench_opencvAgreesGauss2();
bool bench_opencvAgreesMasked();
bool bench_opencvAgreesAdapter();
