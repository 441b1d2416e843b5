// How a group of rows is made from left to right, for drivers of the kernels of gauss/box_sums.h: sums down
// the columns are made piece by piece, a piece being some blocks of columns, into a window that stays in the
// first cache; sums along the rows follow as far as the columns go. All columns count from the first one that
// is read; beyond either end they are reflected, with the edge repeated, and no further than one reflection.
#pragma once

#include "gauss/box_sums.h"
#include "gauss/running_sums.h"

#include <algorithm>

struct gauss_windowPlan {
    int64_t width;        // of the columns that are read
    int64_t lanes;        // numbers for each column
    int64_t blockColumns; // no more than width
    int64_t firstColumn;  // the first one under the kernel of the first output
    int64_t step;         // columns from one output to the next
    int64_t outputs;
    int64_t box;
    int64_t atOnce; // outputs are made in multiples of this, but for the last ones

    int64_t lastColumn; // the last one under the kernel of the last output
    int64_t blocks;
    int64_t pieceBlocks;
    int64_t columns; // that a window has room for
};

// The windows of a group: of the sums of the source, and of those of its mask, if there are any.
struct gauss_windows {
    uint32_t* memory[2];
};

// Where a group stands.
struct gauss_windowCursor {
    int64_t first;   // the column at the beginning of the window
    int64_t column;  // the next one to be added along the rows
    int64_t outputs; // made so far
};

// The next column to be added after some outputs.
inline int64_t gauss_columnAfter(const gauss_windowPlan& plan, int64_t outputs)
{
    return outputs == 0 ? plan.firstColumn
                        : plan.firstColumn + 3 * (plan.box - 1) + 1 + (outputs - 1) * plan.step;
}

// Fills in what follows from the other fields.
inline void gauss_completeWindow(gauss_windowPlan* plan)
{
    constexpr int64_t leastPiece = 256;
    plan->lastColumn = gauss_columnAfter(*plan, plan->outputs) - 1;
    plan->blocks = (plan->width + plan->blockColumns - 1) / plan->blockColumns;
    // The greatest number of columns that are kept before a piece. Outputs are made when all their columns
    // are there; so beside the 3 n columns before the next one these are the columns of outputs that were
    // not.
    const int64_t kept = std::max(6 * plan->box + plan->atOnce * plan->step, plan->blockColumns);
    plan->pieceBlocks = std::min(plan->blocks, std::max(leastPiece, 2 * kept) / plan->blockColumns);
    // After the last piece come the columns beyond the source.
    plan->columns = kept + plan->pieceBlocks * plan->blockColumns + 2 * plan->box;
}

// The window for a family's plan, whose source has so many columns.
template <class Plan>
gauss_windowPlan gauss_planWindow(const gauss_boxKernels* boxes, const Plan* plan, int64_t width,
                                  int64_t atOnce)
{
    gauss_windowPlan window = {};
    window.width = width;
    window.lanes = boxes->lanes;
    window.blockColumns = boxes->down8.blockColumns;
    window.firstColumn = plan->firstColumn;
    window.step = plan->stepX;
    window.outputs = plan->columns;
    window.box = plan->boxX;
    window.atOnce = atOnce;
    gauss_completeWindow(&window);
    return window;
}

// A group begins with 3 n columns that come before the first one; no output depends on them.
inline gauss_windowCursor gauss_windowStart(const gauss_windowPlan& plan)
{
    return {plan.firstColumn - 3 * plan.box, plan.firstColumn, 0};
}

inline uint32_t* gauss_inWindow(const gauss_windowPlan& plan, const gauss_windowCursor& cursor,
                                uint32_t* window, int64_t column)
{
    return window + (column - cursor.first) * plan.lanes;
}

// Moves what is still needed of the columns before `column`, where a piece begins, to the beginning of the
// windows.
inline void gauss_slideWindows(const gauss_windowPlan& plan, int64_t column, const gauss_windows& windows,
                               gauss_windowCursor* cursor)
{
    // The last block may begin before its piece.
    const int64_t first = std::min(cursor->column - 3 * plan.box, column - plan.blockColumns);
    if (first <= cursor->first)
        return;
    for (uint32_t* const window : windows.memory) {
        if (!window)
            continue;
        std::copy(gauss_inWindow(plan, *cursor, window, first),
                  gauss_inWindow(plan, *cursor, window, column), window);
    }
    cursor->first = first;
}

// Gives the columns first .. end - 1, all of them beyond the source, the sums of those that they reflect.
inline void gauss_reflectInWindows(const gauss_windowPlan& plan, const gauss_windowCursor& cursor,
                                   int64_t first, int64_t end, const gauss_windows& windows)
{
    for (uint32_t* const window : windows.memory) {
        if (!window)
            continue;
        for (int64_t column = first; column < end; ++column)
            std::copy_n(gauss_inWindow(plan, cursor, window, gauss_reflect(column, plan.width)), plan.lanes,
                        gauss_inWindow(plan, cursor, window, column));
    }
}

// When the blocks before endBlock have been summed: supplies the columns beyond the source that the kernels
// reach from there. Returns how many outputs have all their columns then, but for those held back.
inline int64_t gauss_endPiece(const gauss_windowPlan& plan, const gauss_windowCursor& cursor,
                              int64_t firstBlock, int64_t endBlock, const gauss_windows& windows)
{
    if (firstBlock == 0)
        gauss_reflectInWindows(plan, cursor, plan.firstColumn, 0, windows);
    const int64_t end = endBlock * plan.blockColumns;
    if (end >= plan.width) {
        gauss_reflectInWindows(plan, cursor, plan.width, plan.lastColumn + 1, windows);
        return plan.outputs;
    }
    if (end > plan.lastColumn)
        return plan.outputs;
    const int64_t beyondFirst = end - gauss_columnAfter(plan, 1);
    const int64_t complete = beyondFirst < 0 ? 0 : beyondFirst / plan.step + 1;
    return complete - complete % plan.atOnce;
}

// How many rows a group makes at most: it adds no more source rows than 256 where sampling lets it, since
// all its polls come before it.
inline int64_t gauss_mostGroupRows(int64_t lanes, int64_t stepY)
{
    return std::clamp<int64_t>(256 / stepY, 1, lanes);
}
