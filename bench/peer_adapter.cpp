// Our adapter for OpenCV beside the call that it stands in for: the same matrices in and out, the same border, the
// Gaussian of the same sigma.
#include "bench/peer_opencv.h"

#include <qip/opencv.hpp>

#include <opencv2/imgproc.hpp>

#include <memory>

namespace
{

// Even kernel sizes are centred where OpenCV's are.
constexpr int32_t kernels[] = {2, 4, 8, 16};

std::string caseName(int32_t kernel, int depth)
{
    return "opencv/k" + std::to_string(kernel) + (depth == CV_8U ? "/u8" : "/u16");
}

void theirs(const cv::Mat& src, cv::Mat& dst, int32_t kernel)
{
    const int taps = 3 * kernel + 1;
    cv::GaussianBlur(src, dst, cv::Size(taps, taps), qip::params().kernel(kernel).sigma_x(), 0,
                     cv::BORDER_REFLECT);
}

void addCase(int32_t kernel, int depth)
{
    const int32_t bytes = depth == CV_8U ? 1 : 2;
    bench_addOurs(caseName(kernel, depth), [=](const bench_size& size) {
        const auto pictures = std::make_shared<bench_pictureSet>(bench_pictures(size, bytes, std::nullopt));
        const auto work = [=] {
            qip::opencv::gaussian(pictures->src, pictures->dst, qip::params().kernel(kernel));
            return true;
        };
        return bench_work{work, 2 * bytes * bench_pixels(size)};
    });
    bench_addOpencvPeer(caseName(kernel, depth), "opencv-gaussian", bytes, std::nullopt, bytes,
                        [=](bench_pictureSet& pictures) { theirs(pictures.src, pictures.dst, kernel); });
}

} // namespace

void bench_addOpencvAdapter()
{
    for (const int depth : {CV_8U, CV_16U})
        for (const int32_t kernel : kernels)
            addCase(kernel, depth);
}

// The two kernels are not the same: on random pixels their means differ by a few hundredths of the range.
bool bench_opencvAgreesAdapter()
{
    bool good = true;
    for (const int depth : {CV_8U, CV_16U})
        for (const int32_t kernel : kernels) {
            const bench_pictureSet pictures =
                bench_pictures({640, 482}, depth == CV_8U ? 1 : 2, std::nullopt);
            cv::Mat ours, gaussian;
            qip::opencv::gaussian(pictures.src, ours, qip::params().kernel(kernel));
            theirs(pictures.src, gaussian, kernel);
            good = bench_opencvPixelsAgree(caseName(kernel, depth), ours, gaussian,
                                           depth == CV_8U ? 8 : 2048) &&
                   good;
        }
    return good;
}
