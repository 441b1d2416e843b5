// Masked smoothing, and the engines of the unmasked smoothing, each against its own plain code.
//
// The exported masked functions run in every setting: their masks agree in all of them, their pixels
// wherever double precision or fixed point must serve. Below these, the fast rows of both families are
// run over plans and requests as the engines get them, at the levels that they are made for, beside the
// plain code that defines them.
#include "masked/fast.h"
#include "masked/plain.h"
#include "masked/short.h"
#include "unmasked/general.h"
#include "unmasked/older.h"
#include "unmasked/plain.h"
#include "unmasked/plain_sums.h"
#include "unmasked/seven_tap.h"
#include "unmasked/small_kernel.h"

#include "fuzz.h"

#include "support/oracle_masked.h"

#include <algorithm>
#include <functional>

namespace
{

using data = FuzzedDataProvider;

// ---- the exported functions ----

struct maskedCall : fuzz_call {
    const oracle_maskedExport* what;
    qip_gaussParams params;
    fuzz_plane src, srcMask, resetMask, dst, dstMask;
    qmath_xformLinear transform;

    explicit maskedCall(data* bytes)
    {
        const auto& exports = oracle_maskedExports();
        what = &exports[bytes->ConsumeIntegralInRange<size_t>(0, exports.size() - 1)];
        params = fuzz_params(bytes, 66);
        params.maskParams.mode &= 1;
        params.maskParams.resultMode = bytes->ConsumeIntegralInRange(0u, 1u);
        src.decode(bytes, what->srcSize);
        srcMask.decodeOver(bytes, src.rect, 1);
        resetMask.decodeOver(bytes, src.rect, 1);
        if (bytes->ConsumeBool())
            resetMask.isGiven = false;
        if (bytes->ConsumeIntegralInRange(0, 7) == 0)
            srcMask.isGiven = false;
        if (bytes->ConsumeBool() && src.pixels)
            dst.decodeOver(bytes, src.rect, what->dstSize);
        else
            dst.decode(bytes, what->dstSize);
        if (dst.pixels)
            dstMask.decodeOver(bytes, dst.rect, 1);
        else
            dstMask.decode(bytes, 1);
        if (bytes->ConsumeBool())
            dstMask.isGiven = false;
        transform = fuzz_transform(bytes);
    }

    // The greatest kernel size depends on the level.
    std::string groupOfPlaces(const fuzz_setting& setting) const override
    {
        return what->srcSize == 1 && std::max(params.kernelSizeX, params.kernelSizeY) > 24 &&
                       setting.level == std::string("plain")
                   ? "plain"
                   : "";
    }

    std::string groupOfPixels(const fuzz_setting& setting) const override
    {
        const bool isMasked = srcMask.isGiven && srcMask.isBound;
        const std::string path = fuzz_groupOfPaths(setting);
        if (path == "plain")
            return path + groupOfPlaces(setting);
        if (!isMasked && what->srcSize == 1)
            return path;
        // Bands of rows choose their arithmetic by themselves.
        return "fast on " + std::to_string(setting.threads);
    }

    fuzz_result run() const override
    {
        test_plane planes[5] = {{nullptr, {}}, {nullptr, {}}, {nullptr, {}}, {nullptr, {}}, {nullptr, {}}};
        const fuzz_plane* const made[5] = {&src, &srcMask, &resetMask, &dst, &dstMask};
        src.fillPixels();
        srcMask.fillMask();
        resetMask.fillMask();
        const fuzz_destinations written = {{&dst, &dstMask}};
        written.clear();
        const qimg_image* images[5] = {};
        const qimg_windowConst* windows[5] = {};
        for (int i = 0; i < 5; ++i) {
            made[i]->layInto(&planes[i]);
            images[i] = made[i]->isGiven ? &planes[i].image.record : nullptr;
            windows[i] = made[i]->isGiven ? &planes[i].windowConst : nullptr;
        }
        qimg_image_setLinearImageFromClientXform(&planes[0].image.record, &transform);
        const oracle_maskedArguments arguments = {&params,
                                                  images[0],
                                                  images[1],
                                                  images[2],
                                                  dst.isGiven ? &planes[3].image.record : nullptr,
                                                  dstMask.isGiven ? &planes[4].image.record : nullptr,
                                                  windows[0],
                                                  windows[1],
                                                  windows[2],
                                                  dst.isGiven ? &planes[3].window : nullptr,
                                                  dstMask.isGiven ? &planes[4].window : nullptr};
        fuzz_result seen;
        seen.status = what->call(arguments);
        written.checkRefused(seen.status);
        for (int i : {3, 4})
            fuzz_addPlace(&seen.place, planes[i].image.record);
        const fuzz_destinations masks = {{&dstMask}}, pixels = {{&dst}};
        masks.addPixels(&seen.place);
        pixels.addPixels(&seen.pixels);
        if (!dstMask.pixels)
            fuzz_addPixels(&seen.place, planes[4].image.record);
        if (!dst.pixels)
            fuzz_addPixels(&seen.pixels, planes[3].image.record);
        return seen;
    }
};

// ---- rows of masked smoothing ----

// What a call leaves of its destinations.
fuzz_result outcomeOf(const fuzz_destinations& written, const std::function<qip_status()>& call)
{
    fuzz_result seen;
    written.clear();
    const int64_t blocks = fuzz_liveBlocks();
    seen.status = call();
    fuzz_check(fuzz_liveBlocks() == blocks, "blocks are left");
    written.addPixels(&seen.pixels);
    return seen;
}

// The plain code has written the destinations before; the fast code must do the same.
void checkAlike(const fuzz_result& plain, const fuzz_destinations& written, const char* what,
                const std::function<qip_status()>& fast)
{
    const fuzz_result seen = outcomeOf(written, fast);
    if (plain.status == QSYS_E_MEMORY || seen.status == QSYS_E_MEMORY)
        return;
    fuzz_check(seen.status == plain.status, std::string(what) + ": another status");
    fuzz_check(seen.pixels == plain.pixels, std::string(what) + ": other pixels than the plain code's");
}

void forEachFastLevel(const std::function<void(const qsys_cpuinfo& info)>& body)
{
    for (const char* level : fuzz_levels()) {
        fuzz_apply({level, false, 1});
        qsys_cpuinfo info = {};
        qsys_cpuinfo_init(&info);
        if (info.features != 0)
            body(info);
    }
}

template <class Rule>
void checkMaskedRows(const masked_plan& plan, const Rule& rule, const fuzz_destinations& written)
{
    const fuzz_result plain = outcomeOf(written, [&] { return masked_smoothPlain(&plan, rule); });
    forEachFastLevel([&](const qsys_cpuinfo& info) {
        if (masked_canSmoothFast(&plan, rule, &info))
            checkAlike(plain, written, "fast rows",
                       [&] { return masked_smoothFast(&plan, rule, &info, "rows"); });
        if (masked_canSmoothShort(&plan, rule, &info))
            checkAlike(plain, written, "short rows",
                       [&] { return masked_smoothShort(&plan, rule, &info, "rows"); });
    });
}

// One axis of a plan: outputs with their centres inside, and no more source than the kernels reach.
struct axis {
    int64_t length, first, step, box, count;
};

axis decodeAxis(data* bytes, int64_t length, int64_t mostBox)
{
    axis made = {};
    made.box = bytes->ConsumeIntegralInRange<int64_t>(1, mostBox);
    if (bytes->ConsumeBool()) // those next to which the arithmetic changes
        made.box =
            std::min(mostBox, bytes->PickValueInArray<int64_t>({1, 2, 3, 4, 15, 16, 17, 18, 39, 40, 64}));
    made.step = bytes->ConsumeBool() ? 1 : bytes->ConsumeIntegralInRange<int64_t>(1, 70);
    const int64_t centre = masked_centre(made.box);
    const int64_t firstCentre = bytes->ConsumeIntegralInRange<int64_t>(0, std::min(centre, length - 1));
    made.first = firstCentre - centre;
    const int64_t most = (length - 1 - firstCentre) / made.step + 1;
    made.count = bytes->ConsumeIntegralInRange<int64_t>(1, 4) > 1
                     ? most
                     : bytes->ConsumeIntegralInRange<int64_t>(1, most);
    made.length = std::min(length, made.first + (made.count - 1) * made.step + masked_reach(made.box));
    return made;
}

void checkMaskedRows(data* bytes)
{
    const int32_t srcSize = bytes->ConsumeIntegralInRange(1, 2);
    const int32_t dstSize = srcSize == 2 ? 2 : bytes->ConsumeIntegralInRange(1, 2);
    const int32_t width = bytes->ConsumeIntegralInRange(1, 300);
    const int32_t height = bytes->ConsumeIntegralInRange(1, fuzz_mostHeight(bytes, width));
    const axis x = decodeAxis(bytes, width, srcSize == 1 ? 64 : 40);
    const axis y = decodeAxis(bytes, height, srcSize == 1 ? 64 : 40);
    const auto plane = [&](int64_t columns, int64_t rows, int32_t pixelSize) {
        fuzz_plane made;
        made.pixels = std::make_unique<fuzz_pixels>(
            static_cast<int32_t>(columns), static_cast<int32_t>(rows), pixelSize,
            pixelSize * bytes->ConsumeIntegralInRange(0, 40), bytes->ConsumeIntegralInRange(0, 3) == 0);
        made.filling = bytes->ConsumeIntegralInRange(0, 7);
        made.seed = bytes->ConsumeIntegral<uint32_t>();
        return made;
    };
    const auto planeOf = [](const fuzz_plane& from, bool given) {
        return given ? masked_plane{from.pixels->row(0), from.pixels->stride()} : masked_plane{};
    };
    const fuzz_plane src = plane(x.length, y.length, srcSize), srcMask = plane(x.length, y.length, 1),
                     reset = plane(x.length, y.length, 1), dst = plane(x.count, y.count, dstSize),
                     dstMask = plane(x.count, y.count, 1);
    src.fillPixels();
    srcMask.fillMask();
    reset.fillMask();
    const bool isMasked = bytes->ConsumeIntegralInRange(0, 7) != 0;
    masked_plan plan = {};
    plan.srcIsWide = srcSize == 2;
    plan.dstIsWide = dstSize == 2;
    plan.src = planeOf(src, true);
    plan.srcMask = planeOf(srcMask, isMasked);
    plan.reset = planeOf(reset, bytes->ConsumeBool());
    plan.width = x.length;
    plan.height = y.length;
    plan.dst = planeOf(dst, true);
    plan.dstMask = planeOf(dstMask, isMasked && bytes->ConsumeBool());
    plan.columns = x.count;
    plan.rows = y.count;
    plan.firstColumn = x.first;
    plan.firstRow = y.first;
    plan.stepX = x.step;
    plan.stepY = y.step;
    plan.boxX = x.box;
    plan.boxY = y.box;
    if (isMasked && bytes->ConsumeBool())
        plan.leastValid =
            bytes->ConsumeIntegralInRange<int64_t>(1, masked_reach(x.box) * masked_reach(y.box));
    plan.gain = fuzz_gain(bytes);
    plan.round = bytes->ConsumeBool();
    const fuzz_destinations written = {{&dst, &dstMask}};
    if (isMasked && bytes->ConsumeBool())
        checkMaskedRows(plan, masked_fixedRule(&plan), written);
    else
        checkMaskedRows(plan, masked_doubleRule(&plan), written);
}

// ---- engines of the unmasked smoothing ----

void checkEngines(data* bytes)
{
    qip_gaussParams modern = fuzz_params(bytes, 100);
    const bool wantsIntegers = bytes->ConsumeBool();
    qsGaussParams params = {};
    params.sampleX = std::clamp(modern.sampleX, 1, 60);
    params.sampleY = std::clamp(modern.sampleY, 1, 60);
    // Sums beyond these sizes may not be exact.
    params.kernelSizeX = std::clamp(modern.kernelSizeX, 0, 100);
    params.kernelSizeY = std::clamp(modern.kernelSizeY, 0, 100);
    params.peakNormalize = bytes->ConsumeIntegralInRange(0, 9) == 0;
    params.keepFullRegion = bytes->ConsumeIntegralInRange(0, 9) != 0;
    params.round = !wantsIntegers && modern.round != 0;
    params.gain = static_cast<float>(modern.gain);
    fuzz_plane from, to;
    from.decode(bytes, 1);
    if (bytes->ConsumeBool() && from.pixels)
        to.decodeOver(bytes, from.rect, bytes->ConsumeIntegralInRange(1, 2));
    else
        to.decode(bytes, bytes->ConsumeIntegralInRange(1, 2));
    if (!from.pixels || !to.pixels || from.pixelSize != 1 || to.pixelSize < 1 || to.pixelSize > 2)
        return;
    from.fillPixels();
    const qsVImage src = from.legacy();
    qsVImage dst = to.legacy();
    if (gauss_checkSource(&src) < 0 || gauss_checkPixels(&dst) < 0)
        return;
    const fuzz_destinations written = {{&to}};
    const auto requestOf = [&](gauss_request* request) {
        qsVImage* used = nullptr;
        return gauss_setupReference(&src, &dst, &params, nullptr, &used, request) >= 0 &&
               !gauss_areaIsNull(request->dst);
    };
    gauss_request request = {};
    if (!requestOf(&request))
        return;
    const auto check = [&](const char* what, const auto& plain, const auto& fast) {
        checkAlike(outcomeOf(written, plain), written, what, fast);
    };
    forEachFastLevel([&](const qsys_cpuinfo& info) {
        const bool isNewer = (info.features & QSYS_CPU_BIT_VECTOR256) != 0;
        const auto older = [&] {
            qsVImage* used = nullptr;
            return unmasked_olderEngine(&src, &dst, &params, nullptr, &used);
        };
        if (!isNewer && older() != QIP_E_FALLBACK)
            check(
                "fixed point", [&] { return unmasked_plainFixedPoint(&src, &dst, &params, &request); },
                older);
        const unmasked_plan plan = unmasked_planOf(&src, &dst, &params, &request);
        const auto hasBoxes = [&](int64_t size) {
            return isNewer && plan.dstPixelSize == 1 && plan.boxX == size && plan.boxY == size;
        };
        if (hasBoxes(3))
            check(
                "seven tap", [&] { return unmasked_plainSevenTap(&plan, 0, plan.rows), QIP_OK; },
                [&] { return unmasked_smoothSevenTap(&plan); });
        else if (hasBoxes(2) && plan.stepX < 4 && plan.stepY < 4)
            check(
                "small kernel", [&] { return unmasked_plainSmallKernel(&plan, 0, plan.rows), QIP_OK; },
                [&] { return unmasked_smoothSmallKernel(&plan); });
        else if (isNewer)
            check(
                "general", [&] { return unmasked_plainGeneral(&src, &dst, &params, &request); },
                [&] { return unmasked_smoothGeneral(&src, &dst, &params, &request); });
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const bool isReady = (fuzz_installAllocator(), true);
    (void)isReady;
    data provider(bytes, size);
    const int kind = provider.ConsumeIntegralInRange(0, 9);
    if (kind < 4)
        checkMaskedRows(&provider);
    else if (kind < 7)
        checkEngines(&provider);
    else
        fuzz_runEverywhere(maskedCall(&provider), kind == 9 && provider.ConsumeIntegralInRange(0, 3) == 0);
    return 0;
}
