// The overlap of two windows, decided without walking their rows: at most a few dozen steps, whatever the
// strides and however many rows.
//
// Row i of a begins at i * sa, row j of b at d + j * sb, counted from the first row of a, which is the
// lower one. They share a byte exactly when -wb < d + j * sb - i * sa < wa, with wa and wb the sizes of the
// rows. The first and the last row of b are tested by themselves. The rows of a that are then still open
// lie wholly between those two, where "some j" needs no bounds: it says that the distance of row i from
// the rows of b, a remainder modulo sb, is small enough. So the question becomes whether an arithmetic
// progression modulo sb meets an interval within its first n members, and that is answered by the steps of
// Euclid's algorithm.
//
// All numbers stay below 2^63: offsets of rows are below 2^62, and at most two of them are added.
#include "base/row_overlap.h"

#include <algorithm>
#include <utility>

namespace
{

int64_t remainder(int64_t value, int64_t modulus)
{
    const int64_t rest = value % modulus;
    return rest < 0 ? rest + modulus : rest;
}

int64_t divideUp(int64_t value, int64_t divisor)
{
    return (value + divisor - 1) / divisor;
}

// The same rows from the lowest upward, with a stride that can be divided by.
base_pixelRows ascending(base_pixelRows rows)
{
    if (rows.stride < 0) {
        rows.first += static_cast<uint64_t>((rows.rowCount - 1) * rows.stride);
        rows.stride = -rows.stride;
    }
    if (rows.stride == 0)
        rows = {rows.first, 1, rows.rowSize, 1};
    return rows;
}

// Whether `size` bytes at `offset` from the first row meet a row. The first row that ends after the offset
// decides, since those after it begin later.
bool meetsRow(const base_pixelRows& rows, int64_t offset, int64_t size)
{
    const int64_t row = offset < rows.rowSize ? 0 : (offset - rows.rowSize) / rows.stride + 1;
    return row < rows.rowCount && row * rows.stride < offset + size;
}

// The smallest k >= 0 for which k * step modulo `modulus` lies in low .. high, or -1 when there is none.
// 0 <= step < modulus, 0 < low <= high < modulus.
int64_t firstInRange(int64_t step, int64_t modulus, int64_t low, int64_t high)
{
    // To add a step is to subtract the rest of the modulus. Mirrored, that is the same question with the
    // smaller step; so the step is at most half of the modulus, and every call below at least halves the
    // modulus.
    if (step > modulus - step)
        return firstInRange(modulus - step, modulus, modulus - high, modulus - low);
    if (step == 0)
        return -1;
    const int64_t k = divideUp(low, step);
    if (k * step <= high)
        return k;
    // The interval lies between two multiples of the step. The r-th time round, k * step = low .. high +
    // r * modulus; modulo the step this is the same question about r.
    const int64_t rounds = firstInRange(remainder(-modulus, step), step, low % step, high % step);
    return rounds < 0 ? -1 : divideUp(low + rounds * modulus, step);
}

} // namespace

bool base_pixelRows_overlap(base_pixelRows a, base_pixelRows b)
{
    a = ascending(a);
    b = ascending(b);
    if (b.first < a.first)
        std::swap(a, b);
    const uint64_t distance = b.first - a.first;
    if (distance >= static_cast<uint64_t>((a.rowCount - 1) * a.stride + a.rowSize))
        return false;

    const auto firstOfB = static_cast<int64_t>(distance);
    const int64_t lastOfB = firstOfB + (b.rowCount - 1) * b.stride;
    if (meetsRow(a, firstOfB, b.rowSize) || meetsRow(a, lastOfB, b.rowSize))
        return true;

    // The rows of a that lie between the first and the last row of b.
    const int64_t begin = divideUp(firstOfB + b.rowSize, a.stride);
    const int64_t end =
        lastOfB < a.rowSize ? 0 : std::min(a.rowCount, (lastOfB - a.rowSize) / a.stride + 1);
    if (begin >= end)
        return false;

    // Row begin + k shares a byte with a row of b when start - k * sa modulo sb is at most `reach`.
    const int64_t reach = a.rowSize + b.rowSize - 2;
    const int64_t start = remainder(firstOfB + b.rowSize - 1 - begin * a.stride, b.stride);
    if (start <= reach)
        return true;
    const int64_t k =
        firstInRange(remainder(-a.stride, b.stride), b.stride, b.stride - start, b.stride - start + reach);
    return k >= 0 && k < end - begin;
}
