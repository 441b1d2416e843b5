// The smallest complete use of the library from C++: a view of your pixels in, an image out. It prints "centre: 17".
#include <qip/qip.hpp>

#include <cstdio>
#include <exception>
#include <vector>

int main()
try {
    std::vector<std::uint8_t> pixels(640 * 480); // your picture: any memory, any stride
    pixels[240 * 640 + 320] = 255;

    const qip::image smooth = qip::gaussian(qip::view(pixels, 640, 480), qip::params().kernel(2));
    std::printf("centre: %d\n", smooth.pixels<const std::uint8_t>().row(240)[320]);
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
