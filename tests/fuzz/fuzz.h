// What the fuzzers share: the check that ends a run with a finding, base services that refuse large
// blocks, and images whose sizes, places and pixels are decoded from the bytes of an input.
#pragma once

#include "support/images.h"

#include <qip/params.h>

#include <qbase/cpuinfo.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// ---- findings ----

// libFuzzer keeps the input that led here.
[[noreturn]] void fuzz_report(const std::string& what);

inline void fuzz_check(bool holds, const std::string& what)
{
    if (!holds)
        fuzz_report(what);
}

// ---- base services ----

// From now on the library is refused blocks above a few megabytes, so that the greatest sizes there are
// cost no time, and all its blocks are counted.
void fuzz_installAllocator();
int64_t fuzz_liveBlocks();

// The levels that the machine has, from "plain" on.
const std::vector<const char*>& fuzz_levels();

// How a call is run: processor level, whether optimised code is forbidden by every name, and threads, 1
// or more.
struct fuzz_setting {
    const char* level;
    bool inhibited;
    int32_t threads;
};

// Every combination of level and inhibition on one thread, and again on three if asked for.
std::vector<fuzz_setting> fuzz_settings(bool onThreads);

// In force until the next one.
void fuzz_apply(const fuzz_setting& setting);

// ---- decoding ----

// Small numbers mostly, the ends of the range of 32 bits and what is near them, and any number.
int32_t fuzz_extreme(FuzzedDataProvider* data, int32_t usualLow, int32_t usualHigh);

// How high an image may be: most are small, so that many run in a second. Some reach the sizes from which
// on there are faster paths, a few those that are shared among threads.
int32_t fuzz_mostHeight(FuzzedDataProvider* data, int32_t width);

// Factors: 1, powers of two, others, any number.
double fuzz_gain(FuzzedDataProvider* data);

// Pixels in a block of their own, in which all bytes between, before and behind the rows are poisoned:
// whoever reads or writes one of them is stopped by the address sanitizer. (It cannot see those before a
// row that share eight aligned bytes with the row's first pixel.)
class fuzz_pixels
{
public:
    fuzz_pixels(int32_t width, int32_t height, int32_t pixelSize, int32_t gap, bool upward);
    ~fuzz_pixels();
    fuzz_pixels(const fuzz_pixels&) = delete;
    fuzz_pixels& operator=(const fuzz_pixels&) = delete;

    unsigned char* row(int64_t y) const;
    int32_t stride() const
    {
        return upward_ ? -stride_ : stride_;
    }
    int64_t rowBytes() const
    {
        return rowBytes_;
    }
    int32_t height() const
    {
        return height_;
    }
    // Canaries.
    void clear() const;
    bool isClear() const;

private:
    int32_t rowBytes_;
    int32_t height_;
    int32_t stride_;
    bool upward_;
    std::unique_ptr<unsigned char[]> block_;
    size_t blockBytes_;
};

// What an input says about one image and the window over it: pixels, none, or a record that is not in
// order.
struct fuzz_plane {
    bool isGiven = false; // else a null pointer is passed
    bool isBound = false;
    qstd_rect32 rect = {};
    int32_t pixelSize = 0; // as the record says
    std::unique_ptr<fuzz_pixels> pixels;
    int32_t filling = 0;
    uint64_t seed = 0;

    // An image that may be unbound, empty, or placed where its last pixel does not fit 32 bits. A record
    // may speak of another size of pixels than is wanted.
    void decode(FuzzedDataProvider* data, int32_t wantedPixelSize);
    // The same over a rectangle, with few surprises.
    void decodeOver(FuzzedDataProvider* data, const qstd_rect32& over, int32_t wantedPixelSize);

    void fillPixels() const;
    void fillMask() const;

    // Lays image and windows over the pixels.
    void layInto(test_plane* plane) const;
    qsVImage legacy() const;
};

// ---- what a caller sees of a call ----

// Bytes, for comparing one call with another.
using fuzz_outcome = std::vector<uint8_t>;

template <class Value>
void fuzz_add(fuzz_outcome* seen, const Value& value)
{
    const auto* const first = reinterpret_cast<const uint8_t*>(&value);
    seen->insert(seen->end(), first, first + sizeof value);
}

void fuzz_addPixels(fuzz_outcome* seen, const void* first, int64_t stride, int64_t rowBytes,
                    int64_t height);

// Rectangle and transforms of an image.
void fuzz_addPlace(fuzz_outcome* seen, const qimg_image& image);

// Its pixels, wherever they lie.
void fuzz_addPixels(fuzz_outcome* seen, const qimg_image& image);

// ---- calls ----

struct fuzz_result {
    qip_status status = 0;
    fuzz_outcome place; // rectangles, transforms and all else that is not pixels
    fuzz_outcome pixels;
};

// One call, decoded from an input, which can be made again and again over the same memory.
struct fuzz_call {
    virtual ~fuzz_call() = default;
    virtual fuzz_result run() const = 0;
    // Settings with one name must give the same status and place, and the same pixels.
    virtual std::string groupOfPlaces(const fuzz_setting&) const
    {
        return "";
    }
    virtual std::string groupOfPixels(const fuzz_setting&) const
    {
        return "";
    }
};

// Groups of pixels where the level helps to decide the path, but for the reference path.
std::string fuzz_groupOfPaths(const fuzz_setting& setting);

// Makes the call in every setting. Blocks of memory must be given back.
void fuzz_runEverywhere(const fuzz_call& call, bool onThreads);

// The memory that a call may write: canaries before it, and after a refusal.
struct fuzz_destinations {
    std::vector<const fuzz_plane*> planes;

    void clear() const;
    void checkRefused(qip_status status) const;
    void addPixels(fuzz_outcome* seen) const;
};

// Any record, most of them good ones with kernel sizes up to the greatest one, or of those next to which
// paths change.
qip_gaussParams fuzz_params(FuzzedDataProvider* data, int32_t mostKernel);
qmath_xformLinear fuzz_transform(FuzzedDataProvider* data);
