// Masked smoothing, and the engines of the unmasked smoothing, each against its own plain code.
//
// The exported masked functions run in every setting. Below these, the fast rows of both families are run
// over plans and requests as the engines get them, at the levels that they are made for, beside the plain
// code that defines them.
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

#include "support/pictures.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{

// What a call leaves of its destinations, of which there are one or two.
struct outcome {
    qip_status status = 0;
    std::vector<test_grid> pixels;
};

using destinations = std::vector<const test_placed*>;

outcome outcomeOf(const destinations& written, const std::function<qip_status()>& call)
{
    for (const test_placed* each : written)
        test_fill(each->pixels.get(), [](int32_t, int32_t) { return 0x101u * test_canary; });
    outcome seen;
    const int64_t blocks = fuzz_liveBlocks();
    seen.status = call();
    fuzz_check(fuzz_liveBlocks() == blocks, "blocks are left");
    for (const test_placed* each : written) {
        EXPECT_TRUE(test_undamaged(*each->pixels));
        seen.pixels.emplace_back(each->pixels->view());
    }
    return seen;
}

// The plain code has written the destinations before; the fast code must do the same.
void checkAlike(const outcome& plain, const destinations& written, const char* what,
                const std::function<qip_status()>& fast)
{
    const outcome seen = outcomeOf(written, fast);
    if (plain.status == QSYS_E_MEMORY || seen.status == QSYS_E_MEMORY)
        return;
    fuzz_check(seen.status == plain.status, std::string(what) + ": another status");
    for (size_t i = 0; i < written.size(); ++i)
        fuzz_check(seen.pixels[i].values == plain.pixels[i].values,
                   std::string(what) + ": other pixels than the plain code's");
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
void checkMaskedRows(const masked_plan& plan, const Rule& rule, const destinations& written)
{
    const outcome plain = outcomeOf(written, [&] { return masked_smoothPlain(&plan, rule); });
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

axis randomAxis(test_random* random, int64_t length, int64_t mostBox)
{
    axis made = {};
    made.box = test_randomRange(random, 1, mostBox);
    if (test_chance(random, 50)) // those next to which the arithmetic changes
        made.box = std::min<int64_t>(mostBox,
                                     test_pick(random, std::array{1, 2, 3, 4, 15, 16, 17, 18, 39, 40, 64}));
    made.step = test_chance(random, 50) ? 1 : test_randomRange(random, 1, 70);
    const int64_t centre = masked_centre(made.box);
    const int64_t firstCentre = test_randomRange(random, 0, std::min(centre, length - 1));
    made.first = firstCentre - centre;
    const int64_t most = (length - 1 - firstCentre) / made.step + 1;
    made.count = test_chance(random, 25) ? test_randomRange(random, 1, most) : most;
    made.length = std::min(length, made.first + (made.count - 1) * made.step + masked_reach(made.box));
    return made;
}

void checkMaskedRows(test_random* random)
{
    const int32_t srcSize = test_randomInt(random, 1, 2);
    const int32_t dstSize = srcSize == 2 ? 2 : test_randomInt(random, 1, 2);
    const int32_t width = test_randomInt(random, 1, 300);
    const int32_t height = test_randomInt(random, 1, fuzz_mostHeight(random, width));
    const axis x = randomAxis(random, width, srcSize == 1 ? 64 : 40);
    const axis y = randomAxis(random, height, srcSize == 1 ? 64 : 40);
    test_placed src, srcMask, reset, dst, dstMask;
    src.place(random, {0, 0, x.length, y.length}, srcSize);
    test_random pixels = test_branch(random);
    test_fillAnyPixels(&pixels, src.pixels.get());
    test_placeMask(random, &srcMask, src.rect);
    test_placeMask(random, &reset, src.rect);
    dst.place(random, {0, 0, x.count, y.count}, dstSize);
    dstMask.place(random, dst.rect, 1);
    const auto planeOf = [](const test_placed& from, bool given) {
        return given ? masked_plane{from.pixels->row(0), from.pixels->stride()} : masked_plane{};
    };
    const bool isMasked = test_chance(random, 88);
    masked_plan plan = {};
    plan.srcIsWide = srcSize == 2;
    plan.dstIsWide = dstSize == 2;
    plan.src = planeOf(src, true);
    plan.srcMask = planeOf(srcMask, isMasked);
    plan.reset = planeOf(reset, test_chance(random, 50));
    plan.width = x.length;
    plan.height = y.length;
    plan.dst = planeOf(dst, true);
    plan.dstMask = planeOf(dstMask, isMasked && test_chance(random, 50));
    plan.columns = x.count;
    plan.rows = y.count;
    plan.firstColumn = x.first;
    plan.firstRow = y.first;
    plan.stepX = x.step;
    plan.stepY = y.step;
    plan.boxX = x.box;
    plan.boxY = y.box;
    if (isMasked && test_chance(random, 50))
        plan.leastValid = test_randomRange(random, 1, masked_reach(x.box) * masked_reach(y.box));
    plan.gain = test_pick(random, std::array{1.0, std::exp2(test_randomInt(random, -20, 40)),
                                             test_randomInt(random, 1, 4096) / 256.0});
    plan.round = test_chance(random, 50);
    const destinations written = {&dst, &dstMask};
    if (isMasked && test_chance(random, 50))
        checkMaskedRows(plan, masked_fixedRule(&plan), written);
    else
        checkMaskedRows(plan, masked_doubleRule(&plan), written);
}

// ---- engines of the unmasked smoothing ----

void checkEngines(test_random* random)
{
    test_call call = test_randomCall(random, test_exports()[0]);
    test_spoil(random, &call);
    const test_argument &from = call.planes[test_src], &to = call.planes[test_dst];
    const qip_gaussParams& p = call.params;
    const bool wantsIntegers = test_chance(random, 50);
    const auto size = [](int32_t kernel) { // sums beyond these sizes may not be exact
        return std::clamp(kernel, 0, 100);
    };
    const qsGaussParams params = {std::clamp(p.sampleX, 1, 60),
                                  std::clamp(p.sampleY, 1, 60),
                                  size(p.kernelSizeX),
                                  size(p.kernelSizeY),
                                  call.peak,
                                  !call.validOnly,
                                  !wantsIntegers && p.round != 0,
                                  static_cast<float>(p.gain),
                                  nullptr,
                                  0};
    if (!to.pixels || from.pixels->view().pixelSize != 1)
        return;
    const qsVImage src = from.legacy();
    qsVImage dst = to.legacy();
    if (gauss_checkSource(&src) < 0 || gauss_checkPixels(&dst) < 0)
        return;
    const destinations written = {&to};
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
    static const std::vector<test_export> exports = [] {
        std::vector<test_export> all = test_exports();
        std::erase_if(all, [](const test_export& each) { return !each.masked; });
        return all;
    }();
    test_random random = {0, bytes, size};
    const int kind = test_randomInt(&random, 0, 9);
    if (kind < 4) {
        checkMaskedRows(&random);
    } else if (kind < 7) {
        checkEngines(&random);
    } else {
        test_call call = test_randomCall(&random, test_pick(&random, exports));
        if (test_chance(&random, 50))
            test_spoil(&random, &call);
        fuzz_runEverywhere(call, kind == 9 && test_chance(&random, 25));
    }
    return 0;
}
