// Copies of a part of a row that may reach beyond the row's ends: the one place where a border rule is
// applied to such a part. Internal linkage, so that every processor level has functions of its own.
#pragma once

#include <cstdint>
#include <cstring>

namespace
{

// What stands beyond the ends of a row:
//   repeated    the pixel at the end: -1 reads 0, -2 reads 0;
//   reflected   the row backwards, beginning with the pixel at the end: -1 reads 0, -2 reads 1. Only one
//               reflection: columns from -width to 2 * width - 1.
enum class rowBorder { repeated, reflected };

template <rowBorder border>
inline int64_t columnInside(int64_t column, int64_t width)
{
    if (column < 0)
        return border == rowBorder::repeated ? 0 : -column - 1;
    if (column >= width)
        return border == rowBorder::repeated ? width - 1 : 2 * width - 1 - column;
    return column;
}

// Copies the columns first .. first + count - 1 of a row of `width` pixels, at least 1: those inside the
// row as they are, those beyond its ends by the border rule. Reads nothing outside the row. The count is a
// constant, so that the compiler turns a border into a few instructions.
template <rowBorder border, int64_t count, class Pixel>
inline void copyColumns(const Pixel* row, int64_t width, int64_t first, Pixel* to)
{
    const int64_t begin = first < 0 ? 0 : first;
    const int64_t end = first + count < width ? first + count : width;
    if constexpr (border == rowBorder::repeated) {
        const Pixel last = row[width - 1];
        for (int64_t i = 0; i < count; ++i)
            to[i] = last;
    } else {
        for (int64_t column = begin < end ? end : begin; column < first + count; ++column)
            to[column - first] = row[columnInside<border>(column, width)];
    }
    for (int64_t column = first; column < begin && column < first + count; ++column)
        to[column - first] = row[columnInside<border>(column, width)];
    if (begin < end)
        std::memcpy(to + (begin - first), row + begin, static_cast<size_t>(end - begin) * sizeof(Pixel));
}

} // namespace
