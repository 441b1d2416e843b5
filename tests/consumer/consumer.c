/* A user's program, in C and in C++: smooths one bright pixel and looks at the result. */
#include <qip/qip_gauss.h>

#include <stdint.h>
#include <stdio.h>

static int fail(const char* what, qip_status status)
{
    fprintf(stderr, "%s: 0x%08x %s\n", what, (unsigned)status, qip_statusText(status));
    return 1;
}

int main(void)
{
    uint8_t pixels[9 * 9] = {0};
    const qstd_rect32 rect = {0, 0, 9, 9};
    qimg_image8 src = QIMG_IMAGE_UNBOUND;
    qimg_image8 dst = QIMG_IMAGE_UNBOUND;
    qip_gaussParams params;
    qip_status status;
    int x;

    pixels[4 * 9 + 4] = 128;
    qip_gaussParams_init(&params);
    status = qimg_image_constructMemory(&src, 1, &rect, 9, pixels, NULL, NULL);
    if (status < 0)
        return fail("source", status);
    status = qip_gauss_smooth8_8(&src, &dst, &params);
    if (status < 0)
        return fail("smoothing", status);

    /* 1 3 3 1 in both directions, one pixel beside the grid of the source: 128 * 3 * {1, 3, 3, 1} / 64 */
    for (x = 3; x <= 6; ++x) {
        const uint8_t* const row = (const uint8_t*)dst.firstPixel + (4 - dst.rect.y) * dst.stride;
        const int expected = x == 3 || x == 6 ? 6 : 18;
        if (row[x - dst.rect.x] != expected) {
            fprintf(stderr, "pixel (%d, 4) is %d, not %d\n", x, row[x - dst.rect.x], expected);
            return 1;
        }
    }
    qimg_image_destruct(&dst);
    qimg_image_destruct(&src);
    puts("consumer: 6 18 18 6");
    return 0;
}
