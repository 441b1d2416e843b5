// The inner loops of the fast unmasked filters: whole rows, several at a time, at one processor level. Rows,
// borders above and below, polls and memory are the drivers' affair (gauss2/fast.cpp); the borders left and
// right are the kernels'.
//
// Contract of every kernel, at every level:
//   Result:  the pixels that gauss2/fast.h asks for, bit for bit.
//   Reads:   columns 0 .. width - 1 of the source rows. Writes: the filter's columns of the output rows.
//            Nothing outside is touched, since images end at page ends.
//   Widths:  leastWidth and up; the driver widens narrower rows.
#pragma once

#include <qbase/cpuinfo.h>

#include <cstdint>

enum {
    gauss2_sweepRows = 4,              // output rows of one sweep, at most
    gauss2_sweepSourceRows = 8,        // source rows of one sweep, at most
    gauss2_mostLeastWidth = 2 * 32 + 2 // pixels; no level asks for more
};

// Some output rows and the source rows that they need.
template <class Pixel>
struct gauss2_sweep {
    int64_t width; // of the source rows
    int32_t count; // of the output rows
    const Pixel* source[gauss2_sweepSourceRows];
    Pixel* out[gauss2_sweepRows];
    void* columns; // what a filter carries from sweep to sweep
};

template <class Pixel>
struct gauss2_kernels {
    int64_t leastWidth;

    // Half resolution in both directions: starts on row 0; output k then takes source rows 2k + 1 and 2k + 2.
    void (*halfStart)(const Pixel* row0, int64_t width, void* columns);
    void (*half)(const gauss2_sweep<Pixel>* sweep);

    // 5x5: starts on rows 0 and 1; output y then takes source row y + 2.
    void (*binomialStart)(const Pixel* row0, const Pixel* row1, int64_t width, void* columns);
    void (*binomial)(const gauss2_sweep<Pixel>* sweep);

    // 5x1, and 5x1 at the even columns only: output y takes source row y.
    void (*row)(const gauss2_sweep<Pixel>* sweep);
    void (*halfRow)(const gauss2_sweep<Pixel>* sweep);

    // 1x5, and 1x5 at the even rows only: output y takes source rows y - 2 .. y + 2, or 2y - 2 .. 2y + 2.
    void (*column)(const gauss2_sweep<Pixel>* sweep);
    void (*halfColumn)(const gauss2_sweep<Pixel>* sweep);
};

// The bytes of `columns` for source rows of this width, widened or not, at every level: eight numbers of twice
// a pixel's width for every two columns, and a few blocks more than fit the row.
template <class Pixel>
constexpr int64_t gauss2_columnsBytes(int64_t width)
{
    return (width + 256) * int64_t{8 * sizeof(Pixel)};
}

// The best kernels that a processor may run. Pure: no state is asked or kept.
template <class Pixel>
void gauss2_kernelsFill(gauss2_kernels<Pixel>* kernels, const qsys_cpuinfo* info);

// The rungs of that ladder; each sets the whole record.
void gauss2_kernelsPlain(gauss2_kernels<uint8_t>* kernels);
void gauss2_kernelsPlain(gauss2_kernels<uint16_t>* kernels);
void gauss2_kernelsSse41(gauss2_kernels<uint8_t>* kernels);
void gauss2_kernelsSse41(gauss2_kernels<uint16_t>* kernels);
void gauss2_kernelsAvx2(gauss2_kernels<uint8_t>* kernels);
void gauss2_kernelsAvx2(gauss2_kernels<uint16_t>* kernels);
