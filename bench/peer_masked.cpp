// Masked smoothing by the cube of a box, done by OpenCV as the exact normalised convolution out of its 32-bit
// floating-point functions: pixels times mask and mask alone, both smoothed, then divided. What it gives where
// the mask is 0 is left as it is: setting those pixels back would cost it more.
#include "bench/masked_cases.h"
#include "bench/peer_opencv.h"

#include <opencv2/imgproc.hpp>

#include <utility>

namespace
{

using filter = std::function<void(const cv::Mat& src, cv::Mat& dst, cv::Mat& between)>;

// Three sums over boxes, one after the other; of those with an even size the last one leans the other way.
void boxSums(const cv::Mat& src, cv::Mat& dst, cv::Mat& between, int32_t kernel)
{
    const cv::Size size(kernel + 1, kernel + 1);
    const cv::Point before(kernel / 2, kernel / 2);
    const cv::Point after((kernel + 1) / 2, (kernel + 1) / 2);
    cv::boxFilter(src, dst, -1, size, before, false, cv::BORDER_REFLECT);
    cv::boxFilter(dst, between, -1, size, before, false, cv::BORDER_REFLECT);
    cv::boxFilter(between, dst, -1, size, after, false, cv::BORDER_REFLECT);
}

// The mean of a mask over the pixels under the kernel: from 128 on half of them are valid.
void meanUnderKernel(const cv::Mat& mask, cv::Mat& mean, int32_t kernel)
{
    const int32_t reach = 3 * kernel + 1;
    const cv::Point centre(3 * kernel / 2, 3 * kernel / 2);
    cv::blur(mask, mean, cv::Size(reach, reach), centre, cv::BORDER_REFLECT);
}

void normalised(bench_pictureSet& p, const bench_maskedCase& what, const filter& smooth)
{
    std::vector<cv::Mat>& between = p.between;
    p.mask.convertTo(between[0], CV_32F, 1.0 / 255.0);
    cv::multiply(p.src, p.mask, between[1], 1.0 / 255.0, CV_32F);
    smooth(between[1], between[2], between[4]);
    smooth(between[0], between[3], between[4]);
    cv::divide(between[2], between[3], p.dst, what.gain, what.dstBytes == 1 ? CV_8U : CV_16U);
    if (what.isCounted) {
        meanUnderKernel(p.mask, between[4], what.kernel);
        cv::threshold(between[4], p.dstMask, 127, 255, cv::THRESH_BINARY);
    }
}

struct maskedPeer {
    const char* name;
    bench_peerStep smooth;
};

// The ways that may be the fastest one: boxes are not for small kernels, nor weights for large ones.
std::vector<maskedPeer> peersOf(const bench_maskedCase& what)
{
    const int32_t kernel = what.kernel;
    std::vector<std::pair<const char*, filter>> filters;
    if (kernel > 3)
        filters.emplace_back("opencv-boxes", [=](const cv::Mat& src, cv::Mat& dst, cv::Mat& between) {
            boxSums(src, dst, between, kernel);
        });
    if (kernel < 15)
        filters.emplace_back("opencv-separable", [weights = bench_cubeWeights(kernel)](
                                                     const cv::Mat& src, cv::Mat& dst, cv::Mat&) {
            bench_separable(src, dst, weights, CV_32F);
        });
    std::vector<maskedPeer> peers;
    peers.reserve(filters.size());
    for (const auto& [name, smooth] : filters)
        peers.push_back({name, [=, smooth = smooth](bench_pictureSet& p) {
                             normalised(p, what, smooth);
                             if (what.sample == 1)
                                 return;
                             std::swap(p.dst, p.between[4]);
                             bench_keepSampled(p.between[4], p.dst, kernel, what.sample);
                         }});
    return peers;
}

// Whether our mask is 255 where half of the pixels under the kernel are valid and the centre mask is not 0, and
// else 0; a mean of 127 does not tell.
bool countsAgree(const std::string& title, const cv::Mat& ours, const cv::Mat& mask,
                 const cv::Mat& centreMask, int32_t kernel)
{
    cv::Mat expected;
    meanUnderKernel(mask, expected, kernel);
    const cv::Mat isUnknown = expected == 127;
    cv::threshold(expected, expected, 127, 255, cv::THRESH_BINARY);
    cv::min(expected, centreMask, expected);
    ours.copyTo(expected, isUnknown);
    return bench_opencvPixelsAgree(title, ours, expected, 0);
}

bool resultMaskAgrees()
{
    const bench_pictureSet pictures = bench_pictures({640, 482}, 1, bench_maskKind::blobs);
    const bench_image dst = bench_unbound();
    const int32_t kernel[] = {7, 7};
    const int32_t sample[] = {1, 1};
    const cv::Mat anywhere(pictures.mask.size(), CV_8U, 255);
    return qip_filterMask_computeResultMask_(pictures.maskImage.get(), nullptr, kernel, sample, 0.5,
                                             dst.get()) >= 0 &&
           countsAgree("result mask", bench_matOf(dst), pictures.mask, anywhere, kernel[0]);
}

// On valid pixels away from the border, where three boxes reflect what the box before has made of it: to
// within one grey level of the source.
bool agrees(const bench_maskedCase& what)
{
    const bench_size size = {640, 482};
    const bench_image dst = bench_unbound();
    const bench_image dstMask = bench_unbound();
    const int32_t border = 3 * what.kernel / what.sample + 1;
    bool good = true;
    for (const maskedPeer& peer : peersOf(what)) {
        bench_pictureSet pictures = bench_pictures(size, what.srcBytes, what.mask);
        if (bench_smoothMasked(what, pictures.srcImage, pictures.maskImage, dst, dstMask) < 0)
            return false;
        peer.smooth(pictures);
        const cv::Mat ours = bench_matOf(dst);
        const cv::Rect inner(border, border, ours.cols - 2 * border, ours.rows - 2 * border);
        const cv::Mat valid = bench_matOf(dstMask)(inner);
        cv::Mat theirs;
        pictures.dst(inner).copyTo(theirs);
        ours(inner).copyTo(theirs, valid == 0);
        const std::string title = bench_maskedName(what) + " " + peer.name;
        good = bench_opencvPixelsAgree(title, ours(inner), theirs, static_cast<int>(what.gain)) && good;
        if (what.isCounted)
            good =
                countsAgree(title, bench_matOf(dstMask), pictures.mask, pictures.mask, what.kernel) && good;
    }
    return good;
}

} // namespace

void bench_addOpencvMasked()
{
    bench_addOpencvPeer("gauss/masked/k7-result/blobs/u8u8", "opencv-box", 1, bench_maskKind::blobs, 1,
                        [](bench_pictureSet& p) { meanUnderKernel(p.mask, p.dst, 7); });
    for (const bench_maskedCase& what : bench_maskedCases()) {
        const double dstBytes = what.dstBytes + (what.isCounted ? 1 : 0);
        for (const maskedPeer& peer : peersOf(what))
            bench_addOpencvPeer(bench_maskedName(what), peer.name, what.srcBytes, what.mask,
                                dstBytes / (what.sample * what.sample), peer.smooth, what.threads);
    }
}

bool bench_opencvAgreesMasked()
{
    bool good = resultMaskAgrees();
    for (const bench_maskedCase& what : bench_maskedCases())
        good = agrees(what) && good;
    return good;
}
