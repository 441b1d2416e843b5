// The driver of the fast paths that take their sums from gauss/box_sums.h: it walks the rows, supplies the
// borders, polls and takes memory, and has each path's kernel make pixels of the sums.
#pragma once

#include "gauss/box_sums.h"
#include "unmasked/kernels/pixels.h"
#include "unmasked/plan.h"

// When a path polls. Those that do poll once before the first row, and before each source row whose number is a
// multiple of 64. Rows are made some at a time, and in time means that every row which needs no source row from
// there on has been written by then; early, that some of them may follow.
enum unmasked_polls { unmasked_neverPolls, unmasked_pollsEarly, unmasked_pollsInTime };

// How a path makes pixels of sums.
struct unmasked_sumsPath {
    const gauss_boxKernels* boxes;
    unmasked_pixelNumbers numbers;
    unmasked_pixelKernel toPixels;
    uint64_t start; // what is added to every sum
    bool isWide;    // the sums have 64 bits, else 32
    unmasked_polls polls;
    int64_t polledAs; // the number of the plan's row 0
};

// Whether the kernels can make the sums of a request: rows are as wide as a block, boxes not wider than
// some constant, and kernels reach no column further out than one reflection; so the memory taken grows
// with the image, not with the kernel.
bool unmasked_canSum(const gauss_boxKernels* boxes, const unmasked_plan* plan);

// The greatest sum that 8-bit pixels can have.
double unmasked_greatestSum(const unmasked_plan* plan);

// Makes all pixels of a plan that unmasked_canSum accepts.
// Errors:  QSYS_E_MEMORY, before anything is written; what a poll answers: the rows written so far are
//          complete and run from the top.
qip_status unmasked_runSums(const unmasked_plan* plan, const unmasked_sumsPath* path);
