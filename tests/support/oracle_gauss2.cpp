#include "support/oracle_gauss2.h"

#include <qip/half_resolution.h>

#include <algorithm>
#include <cstring>

namespace
{

// Hands a function of any form the arguments of its form.
template <auto Function>
qsys_status callAny(const oracle_gauss2Arguments& a)
{
    if constexpr (requires { Function(a.src, a.dst); })
        return Function(a.src, a.dst);
    else if constexpr (requires { Function(a.src, a.srcMask, a.dst, a.dstMask); })
        return Function(a.src, a.srcMask, a.dst, a.dstMask);
    else if constexpr (requires { Function(a.srcWin, a.srcTransform, a.dstWin, a.dstTransform); })
        return Function(a.srcWin, a.srcTransform, a.dstWin, a.dstTransform);
    else if constexpr (requires { Function(a.src, a.dst, a.passesX, a.passesY); })
        return Function(a.src, a.dst, a.passesX, a.passesY);
    else if constexpr (requires { Function(a.srcWin, a.dstWin, a.passesX, a.passesY); })
        return Function(a.srcWin, a.dstWin, a.passesX, a.passesY);
    else if constexpr (requires { Function(a.src, a.srcMask, a.dst, a.dstMask, a.passesX, a.passesY); })
        return Function(a.src, a.srcMask, a.dst, a.dstMask, a.passesX, a.passesY);
    else if constexpr (requires {
                           Function(a.srcWin, a.srcMaskWin, a.dstWin, a.dstMaskWin, a.passesX, a.passesY);
                       })
        return Function(a.srcWin, a.srcMaskWin, a.dstWin, a.dstMaskWin, a.passesX, a.passesY);
    else
        return Function(a.srcWin, a.srcMaskWin, a.srcTransform, a.dstWin, a.dstMaskWin, a.dstTransform);
}

// The names tell what the functions do.
oracle_gauss2Export exportNamed(const char* name, qsys_status (*call)(const oracle_gauss2Arguments&))
{
    const auto has = [name](const char* part) {
        return std::strstr(name, part) != nullptr;
    };
    const bool sampled = !has("NoSample");
    return {name,
            has("16_16") ? 2 : 1,
            has("Mask"),
            has("Window"),
            sampled,
            sampled && !has("gauss2Y"),
            sampled && !has("gauss2X"),
            call};
}

// ---- values ----

// The sums of one destination pixel: weighted pixels and weights.
struct sums {
    uint64_t pixels = 0;
    uint64_t weights = 0;
};

constexpr uint64_t kernel[] = {1, 4, 6, 4, 1};

sums sumsAt(const oracle_gauss2Planes& source, const oracle_gauss2Filter& what, int64_t centreX,
            int64_t centreY)
{
    sums result;
    const int reachX = what.alongX ? 2 : 0;
    const int reachY = what.alongY ? 2 : 0;
    for (int j = -reachY; j <= reachY; ++j)
        for (int i = -reachX; i <= reachX; ++i) {
            const int64_t x = std::clamp<int64_t>(centreX + i, 0, source.pixels.width - 1);
            const int64_t y = std::clamp<int64_t>(centreY + j, 0, source.pixels.height - 1);
            const auto at = static_cast<size_t>(y * source.pixels.width + x);
            const uint64_t weight = (what.alongX ? kernel[i + 2] : 1) * (what.alongY ? kernel[j + 2] : 1) *
                                    (source.mask ? source.mask->values[at] : 1);
            result.pixels += weight * source.pixels.values[at];
            result.weights += weight;
        }
    return result;
}

// The passes that a pair of counts stands for, those in both directions first.
struct passCounts {
    int32_t both, alongX, alongY;

    int32_t total() const
    {
        return both + alongX + alongY;
    }
};

passCounts passesOf(int32_t passesX, int32_t passesY)
{
    const int32_t x = std::max(passesX, 0);
    const int32_t y = std::max(passesY, 0);
    const int32_t both = std::min(x / 2, y / 2);
    return {both, (x - 2 * both + 1) / 2, (y - 2 * both + 1) / 2};
}

std::optional<oracle_gauss2Planes> applyPasses(const oracle_gauss2Planes& source, int32_t passesX,
                                               int32_t passesY)
{
    if (passesX == 0 && passesY == 0)
        return source;
    const passCounts passes = passesOf(passesX, passesY);
    // The destination is one of two images that take turns.
    const bool sameParity = (std::max(passesX, 0) - std::max(passesY, 0)) % 2 == 0;
    const int32_t held = sameParity ? passes.total() : passes.total() - 1;
    std::optional<oracle_gauss2Planes> result;
    for (int32_t i = 0; i < held; ++i) {
        const bool both = i < passes.both;
        const bool alongX = i < passes.both + passes.alongX;
        result = oracle_gauss2Apply(result ? *result : source, {alongX, both || !alongX, 1, 1});
    }
    return result;
}

std::string suffix(const oracle_gauss2Export& what, const std::string& stem)
{
    const bool isFull = stem.find("NoSample") != std::string::npos;
    const std::string masked = what.masked ? isFull ? "Mask" : "Masked" : "";
    const std::string wide = what.pixelSize == 1 ? "" : isFull ? "16" : "_16";
    return stem + masked + wide;
}

} // namespace

const std::vector<oracle_gauss2Export>& oracle_gauss2Exports()
{
#define EXPORT(name) exportNamed(#name, callAny<name>)
#define DEPTHS(name) EXPORT(name##8_8), EXPORT(name##16_16)
    static const std::vector<oracle_gauss2Export> all = {DEPTHS(qip_gauss2_smooth),
                                                         DEPTHS(qip_gauss2X_smooth),
                                                         DEPTHS(qip_gauss2Y_smooth),
                                                         DEPTHS(qip_gauss2_smoothWindow),
                                                         EXPORT(qip_gauss2X_smoothWindow8_8),
                                                         EXPORT(qip_gauss2Y_smoothWindow8_8),
                                                         DEPTHS(qip_gauss2_smoothMasked),
                                                         DEPTHS(qip_gauss2X_smoothMasked),
                                                         DEPTHS(qip_gauss2Y_smoothMasked),
                                                         DEPTHS(qip_gauss2_smoothMaskedWindow),
                                                         EXPORT(qip_gauss2X_smoothMaskedWindow8_8),
                                                         EXPORT(qip_gauss2Y_smoothMaskedWindow8_8),
                                                         DEPTHS(qip_gauss2_smoothNoSample),
                                                         DEPTHS(qip_gauss2_smoothNoSampleWindow),
                                                         DEPTHS(qip_gauss2_smoothNoSampleMasked),
                                                         DEPTHS(qip_gauss2_smoothNoSampleMaskedWindow)};
#undef DEPTHS
#undef EXPORT
    return all;
}

oracle_gauss2Plan oracle_gauss2PlanOf(const oracle_gauss2Export& what, const oracle_rect& source,
                                      const oracle_rect& destination)
{
    const int64_t fx = what.halveX ? 2 : 1;
    const int64_t fy = what.halveY ? 2 : 1;
    const auto floorHalf = [](int64_t i, int64_t f) {
        return f == 1 ? i : (i - (i % 2 != 0 && i < 0)) / 2;
    };
    oracle_gauss2Plan plan = {};
    const auto sizeHalf = [](int64_t n, int64_t f) {
        return f == 1 ? n : std::max<int64_t>(n, 0) / 2;
    };
    plan.full = {floorHalf(source.x, fx), floorHalf(source.y, fy), sizeHalf(source.width, fx),
                 sizeHalf(source.height, fy)};
    plan.written = oracle_intersection(plan.full, destination);
    const oracle_rect& r = plan.written;
    plan.used = what.sampled && (r == plan.full || r.isNull())
                    ? source
                    : oracle_rect{r.x * fx, r.y * fy, r.width * fx, r.height * fy};
    plan.refused = !r.isNull() && !(oracle_intersection(plan.used, source) == plan.used);
    return plan;
}

qmath_xformLinear oracle_gauss2Map(const oracle_gauss2Export& what, const oracle_gauss2Plan& plan)
{
    // The centre of the pixel at R's corner, R.x + 0.5, is the centre of the one at U's corner, U.x + 0.5.
    const auto shift = [&](int64_t part, int64_t used) {
        return plan.written.isNull()
                   ? -0.5
                   : static_cast<double>(used) + 0.5 - 2.0 * (static_cast<double>(part) + 0.5);
    };
    return {what.halveX ? 2.0 : 1.0,
            0.0,
            0.0,
            what.halveY ? 2.0 : 1.0,
            what.halveX ? shift(plan.written.x, plan.used.x) : 0.0,
            what.halveY ? shift(plan.written.y, plan.used.y) : 0.0};
}

oracle_gauss2Planes oracle_gauss2Apply(const oracle_gauss2Planes& source, const oracle_gauss2Filter& what)
{
    const int32_t width = source.pixels.width / what.stepX;
    const int32_t height = source.pixels.height / what.stepY;
    const uint64_t total = (what.alongX ? 16u : 1u) * (what.alongY ? 16u : 1u);
    oracle_gauss2Planes result = {test_grid(width, height), {}};
    if (source.mask)
        result.mask = test_grid(width, height);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const sums sum = sumsAt(source, what, int64_t{x} * what.stepX, int64_t{y} * what.stepY);
            const uint64_t divisor = source.mask ? sum.weights : total;
            result.pixels.at(x, y) =
                static_cast<uint16_t>(divisor ? (sum.pixels + divisor / 2) / divisor : 0);
            if (result.mask)
                result.mask->at(x, y) = static_cast<uint16_t>((sum.weights + total / 2) / total);
        }
    return result;
}

std::optional<oracle_gauss2Planes> oracle_gauss2Smooth(const oracle_gauss2Export& what,
                                                       const oracle_gauss2Planes& used, int32_t passesX,
                                                       int32_t passesY)
{
    if (what.sampled)
        return oracle_gauss2Apply(used,
                                  {what.halveX, what.halveY, what.halveX ? 2 : 1, what.halveY ? 2 : 1});
    return applyPasses(used, passesX, passesY);
}

std::vector<std::string> oracle_gauss2Asked(const oracle_gauss2Export& what, int32_t passesX,
                                            int32_t passesY)
{
    if (what.sampled && what.halveX && what.halveY)
        return {suffix(what, "gauss2")};
    if (what.sampled && what.halveX)
        return {suffix(what, "gauss2X"), suffix(what, "gauss2NoSample5x1")};
    if (what.sampled)
        return {suffix(what, "gauss2Y"), suffix(what, "gauss2NoSample1x5")};
    const passCounts passes = passesOf(passesX, passesY);
    std::vector<std::string> names;
    names.insert(names.end(), static_cast<size_t>(passes.both), suffix(what, "gauss2NoSample5x5"));
    names.insert(names.end(), static_cast<size_t>(passes.alongX), suffix(what, "gauss2NoSample5x1"));
    names.insert(names.end(), static_cast<size_t>(passes.alongY), suffix(what, "gauss2NoSample1x5"));
    return names;
}

int64_t oracle_gauss2Polls(const oracle_gauss2Export& what, int64_t height, int32_t passesX,
                           int32_t passesY)
{
    const auto polls = [](int64_t rows) {
        return (rows + 63) / 64;
    };
    if (what.sampled)
        return polls(what.halveX && what.halveY ? height - 1 : height);
    return passesOf(passesX, passesY).total() * polls(height);
}
