// The unmasked smoothing by the cube of a box, done by OpenCV.
#include "bench/gauss_cases.h"
#include "bench/peer_opencv.h"

#include <opencv2/imgproc.hpp>

#include <utility>

namespace
{

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
const cv::Mat& deepened(bench_pictureSet& pictures, const bench_gaussCase& what)
{
    if (!what.isDeep)
        return pictures.src;
    pictures.src.convertTo(pictures.between[0], CV_16U, what.gain);
    return pictures.between[0];
}

// One way to do the work of a case. Its pixels may differ from ours by the tolerance times the gain.
struct gaussPeer {
    const char* name;
    int tolerance;
    bench_peerStep smooth;
};

// The ways that may be the fastest one. Boxes of 32-bit floating-point numbers never are, nor are separable
// weights with more than seven taps.
std::vector<gaussPeer> fullSizePeers(const bench_gaussCase& what)
{
    const int32_t kernel = what.kernel;
    const int slack = what.round ? 0 : 1; // they all round
    const gaussPeer threeBoxes = {"opencv-boxes", 2 + slack, [=](bench_pictureSet& p) {
                                      boxes(deepened(p, what), p.between[1], p.dst, kernel);
                                  }};
    if (kernel > 2)
        return {threeBoxes};
    const cv::Mat weights = bench_cubeWeights(kernel);
    const gaussPeer inFloat = {"opencv-separable-float", 1 + slack, [=](bench_pictureSet& p) {
                                   bench_separable(p.src, p.between[1], weights, CV_32F);
                                   p.between[1].convertTo(p.dst, what.isDeep ? CV_16U : CV_8U, what.gain);
                               }};
    const gaussPeer exact = {"opencv-separable", 1 + slack, [=](bench_pictureSet& p) {
                                 bench_separable(deepened(p, what), p.dst, weights, -1);
                             }};
    if (kernel == 1)
        return {exact, inFloat};
    const gaussPeer gaussian = {"opencv-gaussian", 4 + slack, [=](bench_pictureSet& p) {
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
            peer.smooth = [=, smooth = peer.smooth](bench_pictureSet& p) {
                std::swap(p.dst, p.between[2]);
                smooth(p);
                std::swap(p.dst, p.between[2]);
                bench_keepSampled(p.between[2], p.dst, what.kernel, what.sample);
            };
    return peers;
}

void addGauss(const bench_gaussCase& what)
{
    const double dstBytes = (what.isDeep ? 2.0 : 1.0) / (what.sample * what.sample);
    for (const gaussPeer& peer : peersOf(what))
        bench_addOpencvPeer(bench_gaussName(what), peer.name, 1, std::nullopt, dstBytes, peer.smooth,
                            what.threads);
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
        bench_pictureSet pictures = bench_pictures(size, 1, std::nullopt);
        peer.smooth(pictures);
        const cv::Mat& theirs = pictures.dst;
        const std::string title = bench_gaussName(what) + " " + peer.name;
        const cv::Rect inner(border, border, theirs.cols - 2 * border, theirs.rows - 2 * border);
        good = theirs.size() == bench_matOf(ours).size() &&
               bench_opencvPixelsAgree(title, bench_matOf(ours)(inner), theirs(inner),
                                       static_cast<int>(peer.tolerance * what.gain)) &&
               good;
    }
    return good;
}

} // namespace

void bench_addOpencvGauss()
{
    for (const bench_gaussCase& what : bench_gaussCases)
        addGauss(what);
}

bool bench_opencvAgreesGauss()
{
    bool good = true;
    for (const bench_gaussCase& what : bench_gaussCases)
        good = gaussAgrees({640, 482}, what) && good;
    return good;
}
