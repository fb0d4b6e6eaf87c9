#pragma once

#include <QtCore/qglobal.h>

#include <cstddef>
#include <vector>

/// What the convolution of columns and a kernel for it agree on.
///
/// Columns are convolved side by side, in blocks of @c width that are gone through in bands of @c band rows: each row of a
/// band is a few vectors, nothing needs to be turned, and what a band reads and writes stays in near caches.
namespace lines::columns {

constexpr int width = 64;
constexpr int band = 96; ///< an even number
constexpr int minimum = 16; ///< columns that are worth it
constexpr std::size_t maxEntries = 65; ///< of a kernel; beyond, arithmetic outweighs turning columns into lines

/// Convolves rows @p first to @p first + @p count - 1 of up to @c width columns.
///
/// @p source is the first of the @p rows pixels of the first column, and the next row lies @p stride pixels further; the end
/// pixels of a column count as repeated. Rows of @p destination are @c width pixels long and begin with row @p first;
/// what lies there behind the last column, and in one row behind the last, may be overwritten. The kernel is one that @c fits.
using Convolve = void(const unsigned *source, qptrdiff stride, int columns, int rows, int first, int count,
    unsigned *destination, const std::vector<short> &kernel);

/// Whether a kernel may be handed on: symmetric about its middle, and not too long.
inline bool fits(const std::vector<short> &kernel)
{
    bool fits = kernel.size() % 2 != 0 && kernel.size() <= maxEntries;
    for (std::size_t i = 0; fits && i < kernel.size() / 2; ++i)
        fits = kernel[i] == kernel[kernel.size() - 1 - i];
    return fits;
}

} // namespace lines::columns
