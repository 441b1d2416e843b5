// The same work done by OpenCV, on the same pictures and on one thread. Where it has no single function for
// a filter, the fastest composition known to us is measured, and several where it is not clear which one is
// fastest.
#include "bench/gauss_cases.h"
#include "bench/support.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <utility>
#include <vector>

namespace
{

// The picture's own memory, without a copy.
cv::Mat matOf(const bench_image& image)
{
    return {image->rect.height, image->rect.width, image->pixelSize == 1 ? CV_8U : CV_16U,
            image->firstPixel, static_cast<std::size_t>(image->stride)};
}

// The pictures of one piece of work. `between` holds the pictures between its steps; the destination is
// made by the first call, like ours.
struct pictureSet {
    bench_image srcImage;
    bench_image maskImage;
    cv::Mat src;
    cv::Mat mask;
    cv::Mat dst;
    cv::Mat dstMask;
    std::vector<cv::Mat> between;
};

using peerStep = std::function<void(pictureSet&)>;

// `masking` is one of bench_maskings, or null for a case without masks.
bench_prepare work(int32_t srcBytes, const bench_masking* masking, double dstBytesPerPixel,
                   const peerStep& step)
{
    return [=](const bench_size& size) {
        const auto pictures = std::make_shared<pictureSet>();
        pictures->srcImage = bench_source(size, srcBytes);
        pictures->src = matOf(pictures->srcImage);
        if (masking) {
            pictures->maskImage = bench_mask(size, masking->source);
            pictures->mask = matOf(pictures->maskImage);
        }
        pictures->between.resize(5);
        const auto pixels = static_cast<double>(bench_pixels(size));
        return bench_work{[=] {
                              step(*pictures);
                              return true;
                          },
                          static_cast<int64_t>(pixels * (srcBytes + (masking ? 1 : 0) + dstBytesPerPixel))};
    };
}

// ---- half resolution and the binomial filter ----

const cv::Size bothWays(5, 5);
const cv::Size alongX(5, 1);
const cv::Size alongY(1, 5);

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

// One filter of the family. `between` is a picture that it may use on the way.
using filter = std::function<void(const cv::Mat& src, cv::Mat& dst, cv::Mat& between)>;

void half(const cv::Mat& src, cv::Mat& dst, cv::Mat&)
{
    cv::pyrDown(src, dst, cv::Size(), cv::BORDER_REPLICATE);
}

filter binomialOf(const cv::Size& size)
{
    return [=](const cv::Mat& src, cv::Mat& dst, cv::Mat&) {
        binomial(src, dst, size);
    };
}

// Smooths in one direction, then drops every second column or row.
filter halfOneWay(const cv::Size& size)
{
    return [=](const cv::Mat& src, cv::Mat& dst, cv::Mat& between) {
        binomial(src, between, size);
        cv::resize(between, dst, cv::Size(), size.width == 5 ? 0.5 : 1.0, size.height == 5 ? 0.5 : 1.0,
                   cv::INTER_NEAREST);
    };
}

bench_prepare filterWork(int32_t bytes, double shrink, const filter& smooth)
{
    return work(bytes, nullptr, bytes / shrink, [=](pictureSet& p) { smooth(p.src, p.dst, p.between[0]); });
}

// A normalised convolution: the smoothed product of pixels and weights by the smoothed weights, all in
// 32-bit floating-point numbers.
void normalised(pictureSet& pictures, bool hasDstMask, const filter& smooth)
{
    std::vector<cv::Mat>& between = pictures.between;
    pictures.mask.convertTo(between[0], CV_32F);
    cv::multiply(pictures.src, pictures.mask, between[1], 1.0, CV_32F);
    smooth(between[1], between[2], between[4]);
    smooth(between[0], between[3], between[4]);
    if (hasDstMask)
        between[3].convertTo(pictures.dstMask, CV_8U);
    cv::divide(between[2], between[3], between[2]);
    between[2].convertTo(pictures.dst, pictures.src.type());
}

bench_prepare normalisedWork(int32_t bytes, const bench_masking& masking, double shrink,
                             const filter& smooth)
{
    const bool hasDstMask = masking.hasDstMask;
    return work(bytes, &masking, (bytes + (hasDstMask ? 1 : 0)) / shrink,
                [=](pictureSet& p) { normalised(p, hasDstMask, smooth); });
}

void addUnmasked(int32_t bytes, const std::string& depth)
{
    bench_addPeer("gauss2/half/" + depth, "opencv-pyrdown", filterWork(bytes, 4, half));
    bench_addPeer("gauss2/halfX/" + depth, "opencv-gaussian-nearest",
                  filterWork(bytes, 2, halfOneWay(alongX)));
    bench_addPeer("gauss2/halfY/" + depth, "opencv-gaussian-nearest",
                  filterWork(bytes, 2, halfOneWay(alongY)));
    const auto addBinomial = [&](const std::string& name, const cv::Size& size) {
        bench_addPeer("gauss2/" + name + "/" + depth, "opencv-gaussian",
                      filterWork(bytes, 1, binomialOf(size)));
        bench_addPeer("gauss2/" + name + "/" + depth, "opencv-separable",
                      filterWork(bytes, 1, [=](const cv::Mat& src, cv::Mat& dst, cv::Mat&) {
                          binomialSeparable(src, dst, size);
                      }));
    };
    addBinomial("binomial5x5", bothWays);
    addBinomial("binomial5x1", alongX);
    addBinomial("binomial1x5", alongY);
    bench_addPeer("gauss2/binomial5x5twice/" + depth, "opencv-gaussian",
                  filterWork(bytes, 1, [](const cv::Mat& src, cv::Mat& dst, cv::Mat& between) {
                      binomial(src, between, bothWays);
                      binomial(between, dst, bothWays);
                  }));
}

void addMasked(int32_t bytes, const std::string& depth, const bench_masking& masking)
{
    const auto add = [&](const std::string& name, double shrink, const filter& smooth) {
        bench_addPeer("gauss2/" + name + "/" + masking.name + "/" + depth, "opencv-normalised",
                      normalisedWork(bytes, masking, shrink, smooth));
    };
    add("maskedHalf", 4, half);
    add("maskedHalfX", 2, halfOneWay(alongX));
    add("maskedHalfY", 2, halfOneWay(alongY));
    add("maskedBinomial5x5", 1, binomialOf(bothWays));
    add("maskedBinomial5x1", 1, binomialOf(alongX));
    add("maskedBinomial1x5", 1, binomialOf(alongY));
}

// ---- the cube of a box ----

cv::Mat weightsOf(int32_t kernel)
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

// The weights themselves, in one pass over rows and one over columns, into pixels of this depth.
void separable(const cv::Mat& src, cv::Mat& dst, const cv::Mat& weights, int depth)
{
    const int centre = (weights.cols - 1) / 2;
    cv::sepFilter2D(src, dst, depth, weights, weights, cv::Point(centre, centre), 0, cv::BORDER_REFLECT);
}

// The Gaussian that comes nearest to the weights 1 3 6 7 6 3 1 of kernel size 2; they are not the same.
void gaussian7x7(const cv::Mat& src, cv::Mat& dst)
{
    cv::GaussianBlur(src, dst, cv::Size(7, 7), 1.53, 0, cv::BORDER_REFLECT);
}

// Three boxes, one after the other; of those with an even size the last one leans the other way.
void boxes(const cv::Mat& src, cv::Mat& between, cv::Mat& dst, int32_t kernel)
{
    const cv::Size size(kernel + 1, kernel + 1);
    const cv::Point before(kernel / 2, kernel / 2);
    const cv::Point after((kernel + 1) / 2, (kernel + 1) / 2);
    cv::blur(src, dst, size, before, cv::BORDER_REFLECT);
    cv::blur(dst, between, size, before, cv::BORDER_REFLECT);
    cv::blur(between, dst, size, after, cv::BORDER_REFLECT);
}

// The picture at the destination's depth, as bright as the gain makes it.
const cv::Mat& deepened(pictureSet& pictures, const bench_gaussCase& what)
{
    if (!what.isDeep)
        return pictures.src;
    pictures.src.convertTo(pictures.between[0], CV_16U, what.gain);
    return pictures.between[0];
}

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

// This loop is about as fast as cv::resize with INTER_NEAREST or faster, and takes the pixels that we take.
void keepSampled(const cv::Mat& src, cv::Mat& dst, const bench_gaussCase& what)
{
    const int32_t step = what.sample;
    const int32_t first = step / 2 + (step & (what.kernel + 1) & 1) - 1;
    if (step == 2)
        keepEvery<2>(src, dst, first);
    else if (step == 3)
        keepEvery<3>(src, dst, first);
    else
        keepEvery<4>(src, dst, first);
}

// One way to do the work of a case. Its pixels may differ from ours by the tolerance times the gain.
struct gaussPeer {
    const char* name;
    int tolerance;
    peerStep smooth;
};

// The ways that may be the fastest one. Boxes of 32-bit floating-point numbers never are, nor are separable
// weights with more than seven taps.
std::vector<gaussPeer> fullSizePeers(const bench_gaussCase& what)
{
    const int32_t kernel = what.kernel;
    const int slack = what.round ? 0 : 1; // they all round
    const gaussPeer threeBoxes = {"opencv-boxes", 2 + slack, [=](pictureSet& p) {
                                      boxes(deepened(p, what), p.between[1], p.dst, kernel);
                                  }};
    if (kernel > 2)
        return {threeBoxes};
    const cv::Mat weights = weightsOf(kernel);
    const gaussPeer inFloat = {"opencv-separable-float", 1 + slack, [=](pictureSet& p) {
                                   separable(p.src, p.between[1], weights, CV_32F);
                                   p.between[1].convertTo(p.dst, what.isDeep ? CV_16U : CV_8U, what.gain);
                               }};
    const gaussPeer exact = {"opencv-separable", 1 + slack, [=](pictureSet& p) {
                                 separable(deepened(p, what), p.dst, weights, -1);
                             }};
    if (kernel == 1)
        return {exact, inFloat};
    const gaussPeer gaussian = {"opencv-gaussian", 4 + slack, [=](pictureSet& p) {
                                    gaussian7x7(deepened(p, what), p.dst);
                                }};
    return {gaussian, exact, inFloat};
}

// The same at the size of the case.
std::vector<gaussPeer> peersOf(const bench_gaussCase& what)
{
    std::vector<gaussPeer> peers = fullSizePeers(what);
    for (gaussPeer& peer : peers)
        if (what.sample > 1)
            peer.smooth = [=, smooth = peer.smooth](pictureSet& p) {
                std::swap(p.dst, p.between[2]);
                smooth(p);
                std::swap(p.dst, p.between[2]);
                keepSampled(p.between[2], p.dst, what);
            };
    return peers;
}

void addGauss(const bench_gaussCase& what)
{
    const double dstBytes = (what.isDeep ? 2.0 : 1.0) / (what.sample * what.sample);
    for (const gaussPeer& peer : peersOf(what))
        bench_addPeer(bench_gaussName(what), peer.name, work(1, nullptr, dstBytes, peer.smooth));
}

// ---- equal pixels ----

bool agree(const char* what, const cv::Mat& ours, const cv::Mat& theirs, int tolerance)
{
    if (ours.size() == theirs.size() && cv::norm(ours, theirs, cv::NORM_INF) <= tolerance)
        return true;
    std::fprintf(stderr, "%s: our pixels and OpenCV's differ at %d x %d, by %g\n", what, theirs.cols,
                 theirs.rows, ours.size() == theirs.size() ? cv::norm(ours, theirs, cv::NORM_INF) : -1.0);
    return false;
}

bool unmaskedAgrees(const bench_size& size, int32_t bytes)
{
    auto* const halve = bytes == 1 ? qip_gauss2_smooth8_8 : qip_gauss2_smooth16_16;
    auto* const smooth = bytes == 1 ? qip_gauss2_smoothNoSample8_8 : qip_gauss2_smoothNoSample16_16;
    const bench_image src = bench_source(size, bytes);
    const bench_image ours = bench_unbound();
    const bench_image oursHalf = bench_unbound();
    cv::Mat theirs;
    cv::Mat theirsHalf;
    cv::Mat between;
    if (halve(src.get(), oursHalf.get()) < 0 || smooth(src.get(), ours.get(), 2, 2) < 0)
        return false;
    half(matOf(src), theirsHalf, between);
    binomial(matOf(src), theirs, bothWays);
    return agree("half", matOf(oursHalf), theirsHalf, 0) && agree("binomial 5x5", matOf(ours), theirs, 0);
}

// Their quotient of two floating-point numbers may round the other way.
bool maskedAgrees(const bench_size& size, const bench_masking& masking)
{
    const struct {
        const char* name;
        qip_status (*ours)(const qimg_image*, const qimg_image*, qimg_image*, qimg_image*);
        filter theirs;
    } pairs[] = {{"masked half", qip_gauss2_smoothMasked8_8, half},
                 {"masked half X", qip_gauss2X_smoothMasked8_8, halfOneWay(alongX)},
                 {"masked half Y", qip_gauss2Y_smoothMasked8_8, halfOneWay(alongY)}};
    const bench_image src = bench_source(size, 1);
    const bench_image mask = bench_mask(size, masking.source);
    for (const auto& pair : pairs) {
        const bench_image dst = bench_unbound();
        const bench_image dstMask = bench_unbound();
        pictureSet pictures{src, mask, matOf(src), matOf(mask), {}, {}, std::vector<cv::Mat>(5)};
        normalised(pictures, true, pair.theirs);
        if (pair.ours(src.get(), mask.get(), dst.get(), dstMask.get()) < 0 ||
            !agree(pair.name, matOf(dst), pictures.dst, 1) ||
            !agree(pair.name, matOf(dstMask), pictures.dstMask, 1))
            return false;
    }
    return true;
}

// Away from the border, where three boxes reflect what the box before has made of it.
bool gaussAgrees(const bench_size& size, const bench_gaussCase& what)
{
    const qip_gaussParams params = bench_gaussParams(what);
    const bench_image src = bench_source(size, 1);
    const bench_image ours = bench_unbound();
    if ((what.isDeep ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8)(src.get(), ours.get(), &params) < 0)
        return false;
    const int border = 3 * what.kernel / what.sample + 1;
    bool good = true;
    for (const gaussPeer& peer : peersOf(what)) {
        pictureSet pictures{src, nullptr, matOf(src), {}, {}, {}, std::vector<cv::Mat>(5)};
        peer.smooth(pictures);
        const cv::Mat& theirs = pictures.dst;
        const std::string title = bench_gaussName(what) + " " + peer.name;
        const cv::Rect inner(border, border, theirs.cols - 2 * border, theirs.rows - 2 * border);
        good = theirs.size() == matOf(ours).size() &&
               agree(title.c_str(), matOf(ours)(inner), theirs(inner),
                     static_cast<int>(peer.tolerance * what.gain)) &&
               good;
    }
    return good;
}

} // namespace

void bench_addOpencv()
{
    cv::setNumThreads(1);
    for (const int32_t bytes : {1, 2}) {
        const std::string depth = bytes == 1 ? "u8" : "u16";
        addUnmasked(bytes, depth);
        for (const bench_masking& masking : bench_maskings)
            addMasked(bytes, depth, masking);
    }
    for (const bench_gaussCase& what : bench_gaussCases)
        addGauss(what);
}

bool bench_opencvAgrees()
{
    bool good = true;
    for (const bench_size& size : {bench_size{2, 2}, {4, 34}, {62, 18}, {640, 482}}) {
        for (const int32_t bytes : {1, 2})
            good = unmaskedAgrees(size, bytes) && good;
        for (const bench_masking& masking : bench_maskings)
            good = maskedAgrees(size, masking) && good;
    }
    for (const bench_gaussCase& what : bench_gaussCases)
        good = gaussAgrees({640, 482}, what) && good;
    return good;
}
