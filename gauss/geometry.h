// Where a smoothing samples and what it touches: the sampling map, its inverse, and regions under the
// kernel.
//
// Everything is computed per axis, in 64 bits: kernels and sampling factors go up to the ends of the 32-bit
// range, where intermediate results exceed 32 bits although the final ones fit.
#pragma once

#include <qip/smoothing.h>

// Positions start .. start + length - 1 along one axis; none when length <= 0.
struct gauss_span {
    int64_t start;
    int64_t length;
};

// The pixels of a region; null when either span is.
struct gauss_area {
    gauss_span x;
    gauss_span y;
};

// How one axis is smoothed and sampled.
struct gauss_axis {
    int64_t step;       // sampling factor
    int64_t kernelSize; // box width - 1
};

struct gauss_grid {
    gauss_axis x;
    gauss_axis y;
};

gauss_grid gauss_gridOf(const qip_gaussParams* params);
gauss_grid gauss_gridOf(const qsGaussParams* params);

// ---- one axis ----

// The source position that destination index i samples: c(i) = i s + s / 2 + (s & n & 1) - 1.
int64_t gauss_samplePosition(gauss_axis axis, int64_t index);

// All indices whose sampled position lies in `src`.
gauss_span gauss_dstSpan(gauss_axis axis, gauss_span src);

// From the first to the last sampled position of `dst`.
gauss_span gauss_srcSpan(gauss_axis axis, gauss_span dst);

// The kernel's support around a sampled position: -(3 k) / 2 .. 3 k - (3 k) / 2.
gauss_span gauss_kernelSpan(gauss_axis axis);

// The offset of the map from destination to source coordinates, x_src = s x_dst + offset: half a pixel
// where sampling factor and box width differ in parity.
float gauss_sampleOffset(gauss_axis axis);

// ---- regions ----

gauss_area gauss_areaOf(const qsIRegion* region);
gauss_area gauss_areaOf(const qstd_rect32* rect);

// QSYS_E_RANGE when the area does not fit 32 bits. A null area becomes the region (0, 0, 0, 0); a rectangle
// keeps its numbers.
qip_status gauss_regionOf(gauss_area area, qsIRegion* region);
qip_status gauss_rectOf(gauss_area area, qstd_rect32* rect);

bool gauss_areaIsNull(gauss_area area);
bool gauss_areaContains(gauss_area outer, gauss_area inner);
gauss_area gauss_areaIntersect(gauss_area a, gauss_area b);

// As qsIRegionErode and qsIRegionDilate.
gauss_area gauss_areaErode(gauss_area area, gauss_area kernel);
gauss_area gauss_areaDilate(gauss_area area, gauss_area kernel);

gauss_area gauss_dstArea(gauss_grid grid, gauss_area src);
gauss_area gauss_srcArea(gauss_grid grid, gauss_area dst);
gauss_area gauss_kernelArea(gauss_grid grid);

// The part of `dst` whose samples lie in `valid`; `dst` as it is when all do.
gauss_area gauss_clipToSource(gauss_grid grid, gauss_area dst, gauss_area valid);

// ---- requests ----

// The legacy record of a parameter record, for a destination of the prototype's depth.
qsGaussParams gauss_legacyParams(const qip_gaussParams* params, const qsVImage* prototype);

// The part of the source that a smoothing may be centred on: all of it when the border is supplied by
// reflection, else where the kernel fits.
gauss_area gauss_validArea(gauss_area src, const qsGaussParams* params);

// The destination region that a source region yields.
gauss_area gauss_computeDstRegion(gauss_area src, const qsGaussParams* params);

// The same as a rectangle, for callers with a parameter record.
qip_status gauss_computeDstRect(const qstd_rect32* src, const qip_gaussParams* params, qstd_rect32* dst);

// Into how many jobs a masked smoothing is split, at most maxJobs; 1 or less means that it is not split.
int64_t gauss_computeJobCount(const qip_gaussParams* params, const qstd_rect32* areaRect,
                              const qstd_rect32* heightRect, const qstd_rect32* bandedRect,
                              int32_t maxJobs);
