// The unmasked smoothing: kernel sizes that take different ways through the library, sampling, both forms.
#include "bench/gauss_cases.h"
#include "bench/support.h"

namespace
{

bool smoothImage(const bench_gaussCase& what, const qimg_image* src, qimg_image* dst)
{
    const qip_gaussParams params = bench_gaussParams(what);
    return (what.isDeep ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8)(src, dst, &params) >= 0;
}

bool smoothWindow(const bench_gaussCase& what, const qimg_image* src, qimg_image* dst)
{
    const qip_gaussParams params = bench_gaussParams(what);
    qimg_windowConst from;
    qimg_window to;
    if (qimg_window8Const_init(&from, src) < 0 ||
        (what.isDeep ? qimg_window16_init : qimg_window8_init)(&to, dst) < 0)
        return false;
    return (what.isDeep ? qip_gauss_smoothWindow8_16 : qip_gauss_smoothWindow8_8)(&from, &to, &params) >= 0;
}

bench_prepare smoothing(const bench_gaussCase& what)
{
    return [=](const bench_size& size) {
        const bench_image src = bench_source(size, 1);
        const bench_image dst = bench_unbound();
        smoothImage(what, src.get(), dst.get()); // binds the destination
        const int64_t pixels = bench_pixels(size);
        const int64_t written = pixels / (what.sample * what.sample) * (what.isDeep ? 2 : 1);
        const auto smooth = what.asWindows ? smoothWindow : smoothImage;
        return bench_work{[=] { return smooth(what, src.get(), dst.get()); }, pixels + written};
    };
}

} // namespace

void bench_addGauss()
{
    for (const bench_gaussCase& what : bench_gaussCases)
        bench_addOurs(bench_gaussName(what), smoothing(what),
                      {.alsoSmall = what.alsoSmall, .threads = what.threads});
}
