// Half resolution and the binomial filter, done by OpenCV: where it has no single function for a filter, the
// fastest composition known to us is measured, and several where it is not clear which one is fastest.
#include "bench/peer_opencv.h"

#include <opencv2/imgproc.hpp>

namespace
{

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

// A normalised convolution: the smoothed product of pixels and weights by the smoothed weights, all in
// 32-bit floating-point numbers.
void normalised(bench_pictureSet& pictures, bool hasDstMask, const filter& smooth)
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

void addUnmasked(int32_t bytes, const std::string& depth)
{
    const auto add = [&](const std::string& name, const std::string& variant, double shrink,
                         const filter& smooth, int threads = 1) {
        bench_addOpencvPeer(
            "gauss2/" + name + "/" + depth, variant, bytes, std::nullopt, bytes / shrink,
            [=](bench_pictureSet& p) { smooth(p.src, p.dst, p.between[0]); }, threads);
    };
    const auto addBinomial = [&](const std::string& name, const cv::Size& size) {
        add(name, "opencv-gaussian", 1, binomialOf(size));
        add(name, "opencv-separable", 1,
            [=](const cv::Mat& src, cv::Mat& dst, cv::Mat&) { binomialSeparable(src, dst, size); });
    };
    add("half", "opencv-pyrdown", 4, half);
    add("halfX", "opencv-gaussian-nearest", 2, halfOneWay(alongX));
    add("halfY", "opencv-gaussian-nearest", 2, halfOneWay(alongY));
    addBinomial("binomial5x5", bothWays);
    addBinomial("binomial5x1", alongX);
    addBinomial("binomial1x5", alongY);
    add("binomial5x5twice", "opencv-gaussian", 1, [](const cv::Mat& src, cv::Mat& dst, cv::Mat& between) {
        binomial(src, between, bothWays);
        binomial(between, dst, bothWays);
    });
    add("half-2threads", "opencv-pyrdown", 4, half, 2);
    add("binomial5x5-2threads", "opencv-gaussian", 1, binomialOf(bothWays), 2);
}

void addMasked(int32_t bytes, const std::string& depth, const bench_masking& masking)
{
    const bool hasDstMask = masking.hasDstMask;
    const auto add = [&](const std::string& name, double shrink, const filter& smooth) {
        bench_addOpencvPeer("gauss2/" + name + "/" + masking.name + "/" + depth, "opencv-normalised", bytes,
                            masking.source, (bytes + (hasDstMask ? 1 : 0)) / shrink,
                            [=](bench_pictureSet& p) { normalised(p, hasDstMask, smooth); });
    };
    add("maskedHalf", 4, half);
    add("maskedHalfX", 2, halfOneWay(alongX));
    add("maskedHalfY", 2, halfOneWay(alongY));
    add("maskedBinomial5x5", 1, binomialOf(bothWays));
    add("maskedBinomial5x1", 1, binomialOf(alongX));
    add("maskedBinomial1x5", 1, binomialOf(alongY));
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
    half(bench_matOf(src), theirsHalf, between);
    binomial(bench_matOf(src), theirs, bothWays);
    return bench_opencvPixelsAgree("half", bench_matOf(oursHalf), theirsHalf, 0) &&
           bench_opencvPixelsAgree("binomial 5x5", bench_matOf(ours), theirs, 0);
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
        bench_pictureSet pictures = bench_pictures(size, 1, masking.source);
        normalised(pictures, true, pair.theirs);
        if (pair.ours(src.get(), mask.get(), dst.get(), dstMask.get()) < 0 ||
            !bench_opencvPixelsAgree(pair.name, bench_matOf(dst), pictures.dst, 1) ||
            !bench_opencvPixelsAgree(pair.name, bench_matOf(dstMask), pictures.dstMask, 1))
            return false;
    }
    return true;
}

} // namespace

void bench_addOpencvGauss2()
{
    for (const int32_t bytes : {1, 2}) {
        const std::string depth = bytes == 1 ? "u8" : "u16";
        addUnmasked(bytes, depth);
        for (const bench_masking& masking : bench_maskings)
            addMasked(bytes, depth, masking);
    }
}

bool bench_opencvAgreesGauss2()
{
    bool good = true;
    for (const bench_size& size : {bench_size{2, 2}, {4, 34}, {62, 18}, {640, 482}}) {
        for (const int32_t bytes : {1, 2})
            good = unmaskedAgrees(size, bytes) && good;
        for (const bench_masking& masking : bench_maskings)
            good = maskedAgrees(size, masking) && good;
    }
    return good;
}
