// The rows of source and mask as the kernels read them, prepared one after the other and kept as long as the
// kernel needs them; and what each block of columns holds over some rows.
//
// Rows are walked from the first one under the kernel of the first output to the last one of the last. Walk
// positions before these stand for rows of valid pixels that are 0; no output depends on them.
#pragma once

#include "frame/cleanup.h"
#include "gauss/running_sums.h"
#include "masked/kernels/prepare.h"
#include "masked/plan.h"

#include <algorithm>
#include <cstring>

// What a block of columns of the mask holds.
enum masked_blockKind : uint8_t { masked_blockFull, masked_blockEmpty, masked_blockMixed };

template <class Src>
struct masked_preparedRows {
    const masked_plan* plan;
    masked_prepareKernel<Src> prepare;
    int64_t blocks;
    int64_t keptRows; // as many as are read at once

    // By walk position; the 3 n before the walk can be read as well.
    const Src** source;
    const uint8_t** mask;

    // Position i stands in slot i % keptRows.
    int64_t stride; // in pixels
    Src* pixels;
    uint8_t* valid;

    // The last position with an invalid pixel in each block, and with a valid one.
    int64_t* lastInvalid;
    int64_t* lastValid;
};

// What a level's kernel does, in plain code, for applications that forbid the kernel.
template <class Pixel, int64_t columns>
void masked_prepareRowPlainly(const masked_prepareStep<Pixel>* step)
{
    for (int64_t x = 0; x < step->width; ++x) {
        step->valid[x] = step->mask[x] != 0;
        step->pixels[x] = step->valid[x] ? step->src[x] : Pixel{0};
    }
    const int64_t blocks = (step->width + columns - 1) / columns;
    for (int64_t block = 0; block < blocks; ++block) {
        const uint8_t* const first = step->valid + std::min(block * columns, step->width - columns);
        const int64_t count = std::count(first, first + columns, 1);
        if (count < columns)
            step->lastInvalid[block] = step->row;
        if (count > 0)
            step->lastValid[block] = step->row;
    }
}

// The source row at a walk position; -1 where there is none.
template <class Src>
int64_t masked_dataRow(const masked_preparedRows<Src>* rows, int64_t position)
{
    return gauss_reflectOnce(rows->plan->firstRow + position, rows->plan->height);
}

template <class Src>
struct masked_constantRows {
    const Src* pixels;
    const uint8_t* noneValid;
    const uint8_t* allValid;
};

template <class Src>
void masked_fillRowTables(masked_preparedRows<Src>* rows, const masked_constantRows<Src>& constant,
                          int64_t walked)
{
    const masked_plan* const plan = rows->plan;
    const int64_t before = 3 * plan->boxY;
    std::fill_n(rows->source - before, before, constant.pixels);
    std::fill_n(rows->mask - before, before, constant.allValid);
    for (int64_t i = 0; i < walked; ++i) {
        const int64_t row = masked_dataRow(rows, i);
        const int64_t slot = i % rows->keptRows * rows->stride;
        if (row < 0) {
            rows->source[i] = constant.pixels;
            rows->mask[i] = constant.noneValid;
        } else if (!plan->srcMask.first) {
            rows->source[i] = masked_row<const Src>(plan->src, row);
            rows->mask[i] = constant.allValid;
        } else {
            rows->source[i] = rows->pixels + slot;
            rows->mask[i] = rows->valid + slot;
        }
    }
}

// Takes the memory, once plan, prepare, blocks and keptRows are set. `block` must outlive the clean-up.
// Errors:  QSYS_E_MEMORY.
template <class Src>
qip_status masked_takeRows(frame_cleanup* cleanup, masked_preparedRows<Src>* rows, unsigned char** block)
{
    const masked_plan* const plan = rows->plan;
    const int64_t before = 3 * plan->boxY;
    const int64_t walked = (plan->rows - 1) * plan->stepY + masked_reach(plan->boxY);
    rows->stride = (plan->width + 63) / 64 * 64 + 64;
    const int64_t kept = plan->srcMask.first ? rows->keptRows * rows->stride : 0;
    int64_t size = 0;
    const int64_t pixels = frame_setAside(&size, kept * int64_t{sizeof(Src)});
    const int64_t valid = frame_setAside(&size, kept);
    const int64_t lastInvalid = frame_setAside(&size, rows->blocks * int64_t{sizeof(int64_t)});
    const int64_t lastValid = frame_setAside(&size, rows->blocks * int64_t{sizeof(int64_t)});
    const int64_t zeroRow = frame_setAside(&size, plan->width * int64_t{sizeof(Src)});
    const int64_t noneValid = frame_setAside(&size, plan->width);
    const int64_t allValid = frame_setAside(&size, plan->width);
    const int64_t source = frame_setAside(&size, (before + walked) * int64_t{sizeof(Src*)});
    const int64_t mask = frame_setAside(&size, (before + walked) * int64_t{sizeof(uint8_t*)});
    const qip_status status = frame_cleanupAllocClear(cleanup, size, block);
    if (status < 0)
        return status;
    unsigned char* const first = *block;
    rows->pixels = reinterpret_cast<Src*>(first + pixels);
    rows->valid = first + valid;
    rows->lastInvalid = reinterpret_cast<int64_t*>(first + lastInvalid);
    rows->lastValid = reinterpret_cast<int64_t*>(first + lastValid);
    rows->source = reinterpret_cast<const Src**>(first + source) + before;
    rows->mask = reinterpret_cast<const uint8_t**>(first + mask) + before;
    std::memset(first + allValid, 1, static_cast<size_t>(plan->width));
    masked_fillRowTables<Src>(
        rows, {reinterpret_cast<const Src*>(first + zeroRow), first + noneValid, first + allValid}, walked);
    std::fill_n(rows->lastInvalid, rows->blocks, INT64_MIN);
    std::fill_n(rows->lastValid, rows->blocks, plan->srcMask.first ? -1 : INT64_MAX);
    return QIP_OK;
}

// Prepares the rows at the positions first .. end - 1.
template <class Src>
void masked_prepareRows(masked_preparedRows<Src>* rows, int64_t first, int64_t end)
{
    const masked_plan* const plan = rows->plan;
    for (int64_t i = first; i < end; ++i) {
        const int64_t row = masked_dataRow(rows, i);
        if (row < 0) {
            std::fill_n(rows->lastInvalid, rows->blocks, i);
        } else if (plan->srcMask.first) {
            const int64_t slot = i % rows->keptRows * rows->stride;
            const masked_prepareStep<Src> step = {masked_row<const Src>(plan->src, row),
                                                  masked_row<const uint8_t>(plan->srcMask, row),
                                                  plan->width,
                                                  rows->pixels + slot,
                                                  rows->valid + slot,
                                                  i,
                                                  rows->lastInvalid,
                                                  rows->lastValid};
            rows->prepare(&step);
        }
    }
}

// What a block holds in all rows from a position on.
template <class Src>
masked_blockKind masked_kindSince(const masked_preparedRows<Src>* rows, int64_t block, int64_t position)
{
    if (rows->lastInvalid[block] < position)
        return masked_blockFull;
    return rows->lastValid[block] < position ? masked_blockEmpty : masked_blockMixed;
}
