#include "smoothing.h"

#include "failure.h"
#include "input_file.h"
#include "message.h"
#include "output.h"
#include "picture_file.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

namespace
{

struct destination {
    image_holder pixels;
    image_holder mask;
};

template <typename Pixel>
void fillImage(const qimg_image& image, Pixel value)
{
    for (int64_t y = 0; y < image.rect.height; ++y) {
        Pixel* row = reinterpret_cast<Pixel*>(static_cast<uint8_t*>(image.firstPixel) + y * image.stride);
        std::fill(row, row + image.rect.width, value);
    }
}

std::unique_ptr<destination> freshDestination(const options& o, int depth)
{
    auto dst = std::make_unique<destination>();
    if (!o.roi)
        return dst;
    qimg_image* pixels = &dst->pixels.image;
    refusal_check(qimg_image_assignNewRect(pixels, depth / 8, &*o.roi));
    if (o.fill != 0 && depth == 8)
        fillImage(*pixels, static_cast<uint8_t>(o.fill));
    else if (o.fill != 0)
        fillImage(*pixels, static_cast<uint16_t>(o.fill));
    if (o.maskOut)
        refusal_check(qimg_image8_assignNewRect(&dst->mask.image, &*o.roi));
    return dst;
}

// Each call gets a destination of its own; the last one is the result.
std::unique_ptr<destination> callRepeatedly(const options& o, int depth, const smoothing_call& call,
                                            report& result)
{
    std::unique_ptr<destination> dst;
    std::vector<double> milliseconds;
    for (int32_t i = 0; i < o.repeat; ++i) {
        dst.reset(); // before the next one takes its memory
        dst = freshDestination(o, depth);
        const auto start = std::chrono::steady_clock::now();
        result.status = call(&dst->pixels.image, o.maskOut ? &dst->mask.image : nullptr);
        const std::chrono::duration<double, std::milli> duration = std::chrono::steady_clock::now() - start;
        refusal_check(result.status);
        milliseconds.push_back(duration.count());
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    const size_t count = milliseconds.size();
    result.milliseconds = (milliseconds[(count - 1) / 2] + milliseconds[count / 2]) / 2;
    return dst;
}

qmath_xformLinear imageFromClient(const qimg_image& image)
{
    qmath_xformPtrhConst handle = {nullptr};
    qmath_xformLinear linear = {1, 0, 0, 1, 0, 0};
    const qmath_point origin = {0, 0};
    qip_status status = qimg_imageConst_getImageFromClientXform(&image, &handle);
    if (status >= 0)
        status = qmath_xformPtrhConst_getLinear(&handle, &origin, &linear);
    qmath_xformPtrhConst_destruct(&handle);
    refusal_check(status);
    return linear;
}

bool isEmpty(const qimg_image& image)
{
    int isBound = 0;
    int isNull = 1;
    refusal_check(qimg_imageConst_getIsBound(&image, &isBound));
    refusal_check(qstd_rect32_getIsNull(&image.rect, &isNull));
    return !isBound || isNull;
}

void addOutput(output_set& files, const std::string& path, picture_format format, const qimg_image& image)
{
    const picture_view view = {image.rect.width, image.rect.height, image.pixelSize * 8, image.stride,
                               static_cast<const uint8_t*>(image.firstPixel)};
    files.add(path, [&](std::FILE* stream, const std::string& name) {
        picture_write(stream, name, format, view);
    });
}

// The report comes last, so that it is true. Files that are in place stay when it cannot be delivered: they
// are what was asked for, and the failure says so.
void writeResult(const options& o, const destination& dst, const report& result)
{
    output_set files;
    const bool isWritten = !isEmpty(dst.pixels.image);
    if (isWritten) {
        addOutput(files, o.output, o.outputFormat, dst.pixels.image);
        if (o.maskOut)
            addOutput(files, *o.maskOut, o.maskOutFormat, dst.mask.image);
    } else {
        message_print(o.outDir ? o.input + ": empty result" : "empty result");
    }
    files.publish();
    if (!o.json)
        return;
    try {
        report_print(result);
    } catch (const file_failure& unheard) {
        throw failure(EXIT_REFUSED,
                      unheard.what() + std::string(isWritten ? "; the result is written" : ""));
    }
}

} // namespace

input_image::input_image(const std::string& path, const options& o, const std::optional<raw_layout>& layout)
    : pixels(picture_read(path, layout))
{
    if (pixels.wasColour || pixels.wasTransparent)
        message_print(input_nameOf(path) + ": converted to grey" +
                      (pixels.wasTransparent ? ", without its transparency" : ""));
    qstd_rect32 rect;
    refusal_check(qstd_rect32_init(&rect, o.origin.x, o.origin.y, pixels.width, pixels.height));
    refusal_check(qimg_image_constructMemory(&holder.image, pixels.depth / 8, &rect, pixels.stride(),
                                             pixels.pixels.get(), nullptr, nullptr));
}

source_image::source_image(const options& o) : input_image(o.input, o, o.raw)
{
    if (o.imageFromClient)
        refusal_check(qimg_image_setLinearImageFromClientXform(&holder.image, &*o.imageFromClient));
}

mask_image::mask_image(const std::string& path, const options& o, const std::optional<raw_layout>& layout)
    : input_image(path, o, layout)
{
    if (depth() != 8)
        throw file_failure(input_nameOf(path), "has 16 bits a pixel; a mask has 8");
}

report smoothing_emptyReport(const options& o)
{
    report nothing;
    if (o.outDir) {
        nothing.input = o.input;
        nothing.output = o.output;
    }
    return nothing;
}

void smoothing_run(const options& o, const input_image& input, int depth, const smoothing_call& call,
                   const smoothing_path& path)
{
    if (depth == 8 && o.fill > UINT8_MAX)
        throw usage_failure("--fill: " + std::to_string(o.fill) + " does not fit the 8-bit output");
    report result = smoothing_emptyReport(o);
    const auto dst = callRepeatedly(o, depth, call, result);
    if (result.milliseconds > 0)
        result.megapixelsPerSecond = static_cast<double>(input.pixelCount()) / (result.milliseconds * 1e3);
    if (!isEmpty(dst->pixels.image))
        result.rect = dst->pixels.image.rect;
    if (path)
        result.path = path(dst->pixels.image);
    result.depth = depth;
    result.imageFromClient = imageFromClient(dst->pixels.image);
    writeResult(o, *dst, result);
}
