// What all commands that smooth have in common: the input laid under an image, the destination made ready,
// the call timed, the result written and reported.
#pragma once

#include "options.h"
#include "picture.h"
#include "report.h"

#include <qip/status.h>

#include <qbase/image.h>

#include <functional>
#include <optional>
#include <string>

// An image record that lets go of its pixels and transforms.
struct image_holder {
    image_holder() = default;
    image_holder(const image_holder&) = delete;
    image_holder& operator=(const image_holder&) = delete;

    ~image_holder()
    {
        qimg_image_destruct(&image);
    }

    qimg_image image = QIMG_IMAGE_UNBOUND;
};

// An input file's pixels and the image that lies over them, at the origin that the options give.
class input_image
{
public:
    input_image(const std::string& path, const options& o, const std::optional<raw_layout>& layout);

    int depth() const
    {
        return pixels.depth;
    }

    int64_t pixelCount() const
    {
        return static_cast<int64_t>(pixels.width) * pixels.height;
    }

    const qimg_image* image() const
    {
        return &holder.image;
    }

protected:
    picture pixels; // outlives the image over it
    image_holder holder;
};

// The input proper: it carries the client transform.
class source_image : public input_image
{
public:
    explicit source_image(const options& o);
};

// A mask has 8 bits. A layout belongs to the input proper, which a mask is where there is nothing else.
class mask_image : public input_image
{
public:
    mask_image(const std::string& path, const options& o,
               const std::optional<raw_layout>& layout = std::nullopt);
};

// A mask that an option may name; without it there is no image.
class optional_mask
{
public:
    optional_mask(const std::optional<std::string>& path, const options& o)
    {
        if (path)
            mask.emplace(*path, o);
    }

    const qimg_image* image() const
    {
        return mask ? mask->image() : nullptr;
    }

private:
    std::optional<mask_image> mask;
};

// One call of the library; `dstMask` is null when no mask is to be written.
using smoothing_call = std::function<qip_status(qimg_image* dst, qimg_image* dstMask)>;

// The name of the path that has made this destination.
using smoothing_path = std::function<std::string(const qimg_image& dst)>;

// The report of a run that has not computed anything.
report smoothing_emptyReport(const options& o);

// Runs the call as often as asked, writes its result of `depth` bits, and its mask when one is asked for,
// and reports; the path too, for commands whose pixels depend on it. Failures: refusal, usage_failure (the
// fill value), file_failure.
void smoothing_run(const options& o, const input_image& input, int depth, const smoothing_call& call,
                   const smoothing_path& path = nullptr);
