// Smooths a picture with OpenCV's matrices: smooth_opencv IN OUT.
#include <qip/opencv.hpp>

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
try {
    if (argc != 3)
        return std::fputs("usage: smooth_opencv IN OUT\n", stderr), 2;
    const cv::Mat picture = cv::imread(argv[1], cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH);
    cv::Mat smooth;
    qip::opencv::gaussian(picture, smooth, qip::params().sigma(4.0));
    if (cv::imwrite(argv[2], smooth))
        return 0;
    std::fprintf(stderr, "%s: cannot be written\n", argv[2]);
    return 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
