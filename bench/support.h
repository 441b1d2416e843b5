// What all cases of the benchmark share: pictures, processor levels, and the figures that are printed.
//
// A case is one piece of work on one picture size: "gauss2/half/u8". Its variants do the same work: ours at
// each processor level, and peers' where they are installed. Each is measured beside a memcpy that moves as
// many bytes, in the same run and right before it, since the speed of a shared machine changes all the
// time.
#pragma once

#include <qip/qip_gauss.h>

#include <qbase/cpuinfo.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct bench_size {
    int32_t width;
    int32_t height;
};

// One whole call, ready to be repeated; false when it failed.
struct bench_work {
    std::function<bool()> run;
    int64_t bytes; // what it has to read and write at least
};

using bench_prepare = std::function<bench_work(const bench_size&)>;

// How work of ours is measured.
struct bench_measuring {
    bool alsoSmall = false;   // on pictures of 64x64 too, which show what a call costs by itself
    bool notPortable = false; // the portable level refuses it
    // That a call may use. With more than one, figures come from the clock on the wall instead of the
    // thread's own.
    int threads = 1;
};

// Adds work of ours, at every level that the machine has.
void bench_addOurs(const std::string& caseName, const bench_prepare& prepare,
                   const bench_measuring& measuring = {});

// Adds the same work done by somebody else, on the same sizes; `variant` names whom and how.
void bench_addPeer(const std::string& caseName, const std::string& variant, const bench_prepare& prepare,
                   int threads = 1);

// How often this thread has asked for memory so far, by any of the C library's functions.
int64_t bench_allocations();

// Hands everything added to the benchmark library, the variants of a case next to each other.
void bench_registerAll();

// The cases of a family.
void bench_addGauss();
void bench_addGauss2();
void bench_addMasked();
void bench_addOpencv();

// Whether OpenCV gives our pixels where it must; says on standard error where it does not.
bool bench_opencvAgrees();

// ---- pictures ----

using bench_image = std::shared_ptr<qimg_image>;

// A picture of this size with 1 or 2 bytes a pixel, each of its own random value. Pictures and masks are
// made once for every size and kind, and are not to be written.
bench_image bench_source(const bench_size& size, int32_t pixelSize);

// Masks of 255 (valid) and 0.
enum class bench_maskKind {
    spots, // round spots of 0, radius 2 to 21, over about a tenth of the picture
    dust, // round areas of 0, radius 20 to 120, over a quarter; in the rest one pixel in 500 is 0 by itself
    blobs, // round areas of 0, radius 20 to 60, over a tenth
    valid, // no 0
};

bench_image bench_mask(const bench_size& size, bench_maskKind kind);

// The ways in which every masked case of gauss2/ is measured; the name is a part of the case's.
struct bench_masking {
    const char* name;
    bench_maskKind source;
    bool hasDstMask; // whether the call asks for the destination's mask
};

inline constexpr bench_masking bench_maskings[] = {
    {"spots", bench_maskKind::spots, true},
    {"dust", bench_maskKind::dust, true},
    {"dust-nomask", bench_maskKind::dust, false},
};

// An image that the first call binds.
bench_image bench_unbound();

inline int64_t bench_pixels(const bench_size& size)
{
    return int64_t{size.width} * size.height;
}
