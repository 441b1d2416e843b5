/* The smallest complete use of the library: lay an image over memory, smooth it, look at a pixel. It prints
 * "centre: 17". */
#include <qip/qip_gauss.h>
#include <stdio.h>

int main(void)
{
    static uint8_t pixels[480][640]; /* your image: any memory, any stride */
    pixels[240][320] = 255;

    const qstd_rect32 rect = {0, 0, 640, 480};
    qimg_image8 src, dst = QIMG_IMAGE_UNBOUND;
    qimg_image_constructMemory(&src, 1, &rect, 640, pixels, NULL, NULL);

    qip_gaussParams params;
    qip_gaussParams_init(&params);
    params.kernelSizeX = params.kernelSizeY = 2;
    params.round = 1;

    const qip_status status = qip_gauss_smooth8_8(&src, &dst, &params);
    if (status >= 0)
        printf("centre: %d\n", ((const uint8_t*)dst.firstPixel)[240 * dst.stride + 320]);
    else
        fprintf(stderr, "%s\n", qip_statusText(status));
    qimg_image_destruct(&dst);
    qimg_image_destruct(&src);
    return status < 0;
}
