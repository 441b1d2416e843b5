// A user's program in C++: a constant image smoothed with a gain of 2 is twice as bright, up to its border.
#include <qip/qip_gauss.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

int main()
{
    constexpr int width = 40;
    constexpr int height = 30;
    const qstd_rect32 rect{0, 0, width, height};
    const std::vector<std::uint8_t> src(width * height, 200);
    std::vector<std::uint16_t> dst(width * height, 0);
    qimg_window8Const srcWindow;
    qimg_window16 dstWindow;
    qip_gaussParams params;
    qip_gaussParams_init(&params);
    params.kernelSizeX = 6;
    params.kernelSizeY = 4;
    params.gain = 2.0;
    params.round = 1;

    qip_status status = qimg_windowConst_initMemory(&srcWindow, 1, &rect, width, src.data());
    if (status >= 0)
        status = qimg_window_initMemory(&dstWindow, 2, &rect, 2 * width, dst.data());
    if (status >= 0)
        status = qip_gauss_smoothWindow8_16(&srcWindow, &dstWindow, &params);
    if (status < 0) {
        std::fprintf(stderr, "0x%08x %s\n", static_cast<unsigned>(status), qip_statusText(status));
        return 1;
    }

    const auto wrong =
        std::find_if(dst.begin(), dst.end(), [](std::uint16_t value) { return value != 400; });
    if (wrong != dst.end()) {
        std::fprintf(stderr, "pixel %d is %d, not 400\n", static_cast<int>(wrong - dst.begin()), *wrong);
        return 1;
    }
    std::puts("C++ consumer: 400 everywhere");
    return 0;
}
