// The C interface without the masked smoothing (fuzz_masked.cpp): the unmasked family and its legacy
// forms, half resolution and binomial smoothing, the mask alone, the older smoothing, geometry and
// parameters.
//
// Every call is made at each processor level, with and without optimised code, now and then on several
// threads, each time over the same fresh memory. What a caller sees must agree: all of it, but the pixels
// of the unmasked family, which the level helps to decide. These agree wherever the reference path makes
// them. A refusal leaves the destination as it was.
#include "fuzz.h"

#include "support/oracle_gauss2.h"

#include <qip/qip_gauss.h>

namespace
{

using data = FuzzedDataProvider;

// ---- half resolution and binomial ----

struct gauss2Call : fuzz_call {
    const oracle_gauss2Export* what;
    fuzz_plane src, srcMask, dst, dstMask;
    qmath_xformLinear transform;
    bool givesTransforms;
    int32_t passesX, passesY;

    explicit gauss2Call(data* bytes)
    {
        const auto& exports = oracle_gauss2Exports();
        what = &exports[bytes->ConsumeIntegralInRange<size_t>(0, exports.size() - 1)];
        src.decode(bytes, what->pixelSize);
        srcMask.decodeOver(bytes, src.rect, 1);
        qstd_rect32 full = src.rect;
        if (what->sampled) {
            full = {full.x >> what->halveX, full.y >> what->halveY, std::max(full.width >> what->halveX, 1),
                    std::max(full.height >> what->halveY, 1)};
        }
        if (bytes->ConsumeBool() || full.width > 300 || full.height > 300 || full.width < 1 ||
            full.height < 1)
            dst.decode(bytes, what->pixelSize);
        else
            dst.decodeOver(bytes, full, what->pixelSize);
        if (bytes->ConsumeBool() || !dst.pixels)
            dstMask.decode(bytes, 1);
        else
            dstMask.decodeOver(bytes, dst.rect, 1);
        transform = fuzz_transform(bytes);
        givesTransforms = bytes->ConsumeBool();
        const int32_t most = bytes->ConsumeIntegralInRange(0, 7);
        passesX = bytes->ConsumeIntegralInRange(-2, most);
        passesY = bytes->ConsumeIntegralInRange(-2, most);
    }

    fuzz_result run() const override
    {
        test_plane from(nullptr, {}), fromMask(nullptr, {}), to(nullptr, {}), toMask(nullptr, {});
        src.fillPixels();
        src.layInto(&from);
        srcMask.fillMask();
        srcMask.layInto(&fromMask);
        dst.layInto(&to);
        dstMask.layInto(&toMask);
        const fuzz_destinations written = {{&dst, &dstMask}};
        written.clear();
        qimg_image_setLinearImageFromClientXform(&from.image.record, &transform);
        qmath_xformLinear dstTransform = {};
        oracle_gauss2Arguments arguments;
        arguments.passesX = passesX;
        arguments.passesY = passesY;
        if (givesTransforms) {
            arguments.srcTransform = &transform;
            arguments.dstTransform = &dstTransform;
        }
        arguments.take({src.isGiven ? &from : nullptr, srcMask.isGiven ? &fromMask : nullptr,
                        dst.isGiven ? &to : nullptr, dstMask.isGiven ? &toMask : nullptr});
        fuzz_result seen;
        seen.status = what->call(arguments);
        // The transform is set last; that of a source may be one which the service cannot carry over.
        if (seen.status != QMATH_E_SINGULAR)
            written.checkRefused(seen.status);
        fuzz_addPlace(&seen.place, to.image.record);
        fuzz_addPlace(&seen.place, toMask.image.record);
        fuzz_add(&seen.place, dstTransform);
        written.addPixels(&seen.pixels);
        if (!dst.pixels)
            fuzz_addPixels(&seen.pixels, to.image.record);
        if (!dstMask.pixels)
            fuzz_addPixels(&seen.pixels, toMask.image.record);
        return seen;
    }
};

// ---- unmasked smoothing ----

struct unmaskedCall : fuzz_call {
    bool isImage, isWide, sharesMemory;
    fuzz_plane src, dst;
    qmath_xformLinear transform;
    qip_gaussParams params;

    explicit unmaskedCall(data* bytes)
    {
        isImage = bytes->ConsumeBool();
        isWide = bytes->ConsumeBool();
        params = fuzz_params(bytes, 70);
        src.decode(bytes, 1);
        if (bytes->ConsumeBool() && src.pixels)
            dst.decodeOver(bytes, src.rect, isWide ? 2 : 1);
        else
            dst.decode(bytes, isWide ? 2 : 1);
        transform = fuzz_transform(bytes);
        // Overlap is looked for by the 8-bit forms alone.
        sharesMemory = !isWide && bytes->ConsumeIntegral<uint8_t>() == 1;
    }

    std::string groupOfPixels(const fuzz_setting& setting) const override
    {
        return fuzz_groupOfPaths(setting);
    }

    fuzz_result run() const override
    {
        test_plane from(nullptr, {}), to(nullptr, {});
        src.fillPixels();
        src.layInto(&from);
        dst.layInto(&to);
        const fuzz_destinations written = {{&dst}};
        written.clear();
        qimg_image_setLinearImageFromClientXform(&from.image.record, &transform);
        if (sharesMemory) {
            qimg_image_destruct(&to.image.record);
            src.layInto(&to);
        }
        const qip_gaussParams* const p = &params;
        const qimg_image* const srcImage = src.isGiven ? &from.image.record : nullptr;
        qimg_image* const dstImage = dst.isGiven ? &to.image.record : nullptr;
        const qimg_windowConst* const srcWindow = src.isGiven ? &from.windowConst : nullptr;
        const qimg_window* const dstWindow = dst.isGiven ? &to.window : nullptr;
        fuzz_result seen;
        if (isImage)
            seen.status = (isWide ? qip_gauss_smooth8_16 : qip_gauss_smooth8_8)(srcImage, dstImage, p);
        else
            seen.status =
                (isWide ? qip_gauss_smoothWindow8_16 : qip_gauss_smoothWindow8_8)(srcWindow, dstWindow, p);
        fuzz_check(!sharesMemory || seen.status < 0 || !src.pixels, "shared memory was accepted");
        written.checkRefused(seen.status);
        fuzz_addPlace(&seen.place, to.image.record);
        written.addPixels(&seen.pixels);
        if (!dst.pixels)
            fuzz_addPixels(&seen.pixels, to.image.record);
        return seen;
    }
};

// ---- legacy images ----

struct legacyCall : fuzz_call {
    bool isOlder; // qfGauss
    bool givesDst, givesRegion, givesPrototype, dstIsSrc;
    fuzz_plane src, dst;
    qsGaussParams params = {};
    int32_t passesMinusOne;
    qsIRegion region;

    explicit legacyCall(data* bytes)
    {
        isOlder = bytes->ConsumeBool();
        const qip_gaussParams modern = fuzz_params(bytes, 70);
        params.sampleX = modern.sampleX;
        params.sampleY = modern.sampleY;
        params.kernelSizeX = modern.kernelSizeX;
        params.kernelSizeY = modern.kernelSizeY;
        params.round = modern.round;
        params.gain = static_cast<float>(modern.gain);
        params.peakNormalize = bytes->ConsumeIntegralInRange(0, 7) == 0;
        params.keepFullRegion = bytes->ConsumeIntegralInRange(0, 7) != 0;
        passesMinusOne = fuzz_extreme(bytes, -2, 5);
        givesPrototype = bytes->ConsumeIntegralInRange(0, 15) != 0;
        src.decode(bytes, 1);
        const int32_t depth = bytes->ConsumeIntegralInRange(1, 2);
        if (bytes->ConsumeBool() && src.pixels)
            dst.decodeOver(bytes, src.rect, isOlder ? 1 : depth);
        else
            dst.decode(bytes, isOlder ? 1 : depth);
        params.prototype = !givesPrototype ? nullptr : depth == 1 ? qsImageNull : qsUSImageNull;
        givesDst = bytes->ConsumeIntegralInRange(0, 3) != 0;
        dstIsSrc = isOlder && bytes->ConsumeIntegralInRange(0, 7) == 0;
        givesRegion = bytes->ConsumeBool();
        region = {fuzz_extreme(bytes, -70, 70), fuzz_extreme(bytes, -70, 70), fuzz_extreme(bytes, -1, 300),
                  fuzz_extreme(bytes, -1, 60)};
    }

    // A destination of neither depth is refused by some paths and left alone by others.
    std::string groupOfPlaces(const fuzz_setting& setting) const override
    {
        return dst.pixelSize == 1 || dst.pixelSize == 2 ? "" : fuzz_groupOfPaths(setting);
    }
    std::string groupOfPixels(const fuzz_setting& setting) const override
    {
        return isOlder ? "" : fuzz_groupOfPaths(setting);
    }

    fuzz_result run() const override
    {
        src.fillPixels();
        const fuzz_destinations written = {{&dst}};
        written.clear();
        qsVImage from = src.legacy();
        qsVImage to = dst.legacy();
        qsIRegion wanted = region;
        qsVImage* const given = !givesDst ? nullptr : dstIsSrc ? &from : &to;
        qsIRegion* const givenRegion = givesRegion ? &wanted : nullptr;
        qsVImage* made = nullptr;
        fuzz_result seen;
        if (isOlder) {
            made = qfGauss(&from, given, passesMinusOne, params.kernelSizeX, params.kernelSizeY,
                           params.peakNormalize, givenRegion);
            seen.status = made ? 0 : QSYS_E_ARGUMENT;
        } else {
            seen.status = qip_gauss(&from, given, &params, givenRegion, &made);
        }
        written.checkRefused(seen.status);
        if (seen.status >= 0)
            fuzz_add(&seen.place, wanted);
        const qsVImage* const result = made ? made : given;
        if (result) {
            fuzz_add(&seen.place, result->type);
            fuzz_add(&seen.place, result->region);
            fuzz_add(&seen.place, result->clientCoords);
            fuzz_add(&seen.place, result->clientZScale);
        }
        written.addPixels(&seen.pixels);
        if (made && made != given) {
            if (made->region.width > 0 && made->region.height > 0)
                fuzz_addPixels(&seen.pixels, made->firstPixel, made->rowStride,
                               int64_t{made->region.width} * (made->type == QS_IMAGE_TYPE_8 ? 1 : 2),
                               made->region.height);
            qsImageFree(made);
        }
        if (dstIsSrc && src.pixels)
            fuzz_addPixels(&seen.pixels, src.pixels->row(0), src.pixels->stride(), src.pixels->rowBytes(),
                           src.pixels->height());
        return seen;
    }
};

// ---- the mask alone ----

struct resultMaskCall : fuzz_call {
    fuzz_plane src, centre, dst;
    bool sharesMemory;
    int32_t kernelSize[2], sample[2];
    double threshold;

    explicit resultMaskCall(data* bytes)
    {
        const qip_gaussParams params = fuzz_params(bytes, 70);
        kernelSize[0] = params.kernelSizeX;
        kernelSize[1] = params.kernelSizeY;
        sample[0] = params.sampleX;
        sample[1] = params.sampleY;
        threshold = params.maskParams.threshold;
        src.decode(bytes, 1);
        if (bytes->ConsumeBool() && src.pixels)
            centre.decodeOver(bytes, src.rect, 1);
        else
            centre.decode(bytes, 1);
        if (bytes->ConsumeBool() && src.pixels)
            dst.decodeOver(bytes, src.rect, 1);
        else
            dst.decode(bytes, 1);
        sharesMemory = bytes->ConsumeIntegralInRange(0, 7) == 0;
    }

    fuzz_result run() const override
    {
        test_plane from(nullptr, {}), middle(nullptr, {}), to(nullptr, {});
        src.fillMask();
        src.layInto(&from);
        centre.fillMask();
        centre.layInto(&middle);
        const fuzz_destinations written = {{&dst}};
        written.clear();
        (sharesMemory ? src : dst).layInto(&to);
        fuzz_result seen;
        seen.status = qip_filterMask_computeResultMask_(
            src.isGiven ? &from.image.record : nullptr, centre.isGiven ? &middle.image.record : nullptr,
            kernelSize, sample, threshold, dst.isGiven ? &to.image.record : nullptr);
        written.checkRefused(seen.status);
        fuzz_addPlace(&seen.place, to.image.record);
        fuzz_addPixels(&seen.pixels, to.image.record);
        return seen;
    }
};

// ---- geometry and parameters ----

struct geometryCall : fuzz_call {
    qip_gaussParams params, other;
    qstd_rect32 rects[4];
    int32_t rowOffset;
    fuzz_plane plane, mask;
    int32_t step[2], start[2];
    qmath_xformLinear transform;

    explicit geometryCall(data* bytes) : params(fuzz_params(bytes, 70)), other(fuzz_params(bytes, 70))
    {
        for (qstd_rect32& each : rects)
            each = {fuzz_extreme(bytes, -70, 70), fuzz_extreme(bytes, -70, 70),
                    fuzz_extreme(bytes, -1, 300), fuzz_extreme(bytes, -1, 60)};
        rowOffset = fuzz_extreme(bytes, -70, 70);
        plane.decode(bytes, 1);
        mask.decode(bytes, 1);
        for (int axis : {0, 1}) {
            step[axis] = fuzz_extreme(bytes, -3, 5);
            start[axis] = fuzz_extreme(bytes, -3, 60);
        }
        transform = fuzz_transform(bytes);
    }

    // Every output is filled before, so that those which a refusal leaves alone compare too.
    fuzz_result run() const override
    {
        fuzz_result seen;
        const auto note = [&](const auto& value) {
            fuzz_add(&seen.place, value);
        };
        qstd_rect32 out[5] = {};
        note(gauss_setup(&rects[0], &rects[1], &params, &out[0], &out[1], &out[2], &out[3], &out[4]));
        note(out);
        note(gauss_computeSrcRectsFromDstRect(&params, &rects[0], &rects[1], &rects[2], rowOffset, &out[0],
                                              &out[1]));
        note(out);
        for (const auto function :
             {qip_gauss2GetDestRect, qip_gauss2XGetDestRect, qip_gauss2YGetDestRect}) {
            note(function(&rects[3], &out[0]));
            note(out[0]);
        }
        qsIRegion regions[2] = {{rects[0].x, rects[0].y, rects[0].width, rects[0].height}, {}};
        const int32_t boxX = params.kernelSizeX, boxY = params.kernelSizeY;
        note(qfGaussGetDstReg(&regions[0], &regions[1], params.sampleX, params.sampleY, boxX, boxY) !=
             nullptr);
        note(qfGaussGetDummyReg(&regions[1], &regions[0], params.sampleX, params.sampleY, boxX, boxY) !=
             nullptr);
        note(regions);
        note(qip_gaussParams_validate(&params));
        int equal = 2;
        note(qip_gaussParams_compareEqual(&params, &other, &equal));
        note(equal);

        test_plane from(nullptr, {}), to(nullptr, {});
        plane.fillPixels();
        plane.layInto(&from);
        mask.layInto(&to);
        const fuzz_destinations written = {{&mask}};
        written.clear();
        int match[2] = {};
        note(gauss_checkImageWindowMatch(&from.image.record, &to.image.record, &match[0], &match[1]));
        note(match);
        note(gauss_checkWindowMatch(&from.windowConst, &to.windowConst, &match[0], &match[1]));
        note(match);
        const qip_status copied = gauss_pelCopySampledWindow8(&from.windowConst, step, start, &to.window);
        written.checkRefused(copied);
        note(copied);
        qimg_image_setLinearImageFromClientXform(&from.image.record, &transform);
        note(gauss_udpateDstXform(&from.image.record, &params, &to.image.record, nullptr));
        fuzz_addPlace(&seen.place, to.image.record);
        written.addPixels(&seen.pixels);
        return seen;
    }
};

std::unique_ptr<fuzz_call> decode(data* bytes)
{
    switch (bytes->ConsumeIntegralInRange(0, 9)) {
    case 0:
    case 1:
    case 2:
        return std::make_unique<gauss2Call>(bytes);
    case 3:
    case 4:
    case 5:
        return std::make_unique<unmaskedCall>(bytes);
    case 6:
    case 7:
        return std::make_unique<legacyCall>(bytes);
    case 8:
        return std::make_unique<resultMaskCall>(bytes);
    default:
        return std::make_unique<geometryCall>(bytes);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const bool isReady = (fuzz_installAllocator(), true);
    (void)isReady;
    data provider(bytes, size);
    const bool onThreads = provider.ConsumeIntegralInRange(0, 15) == 0;
    fuzz_runEverywhere(*decode(&provider), onThreads);
    return 0;
}
