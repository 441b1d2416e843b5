#include "commands.h"
#include "failure.h"
#include "gauss_path.h"
#include "smoothing.h"

#include <qip/smoothing.h>

namespace
{

// Whether the request needs the masked family, which also serves 16-bit input. It is not part of this
// build.
bool needsMaskedForm(const options& o, const source_image& source)
{
    return o.mask || o.resetMask || o.maskOut || source.depth() == 16;
}

} // namespace

void command_gauss(const options& o)
{
    const source_image source(o);
    if (source.depth() == 16 && o.depth == 8)
        throw usage_failure("--depth: 8 does not go with a 16-bit input");
    if (needsMaskedForm(o, source))
        throw usage_failure("gauss with masks or 16-bit input: not available in this build");

    const int depth = o.depth.value_or(8);
    const auto smooth = depth == 8 ? qip_gauss_smooth8_8 : qip_gauss_smooth8_16;
    smoothing_run(
        o, source, depth,
        [&](qimg_image* dst, qimg_image*) { return smooth(source.image(), dst, &o.params); },
        [&](const qimg_image& dst) { return gauss_path(source.image()->rect, dst, o.params); });
}
