#pragma once

#include <QtCore/qglobal.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace lines {

/// Whether a kernel is as long before its middle as after it, with the same entries. An empty one is not.
inline bool isSymmetric(const std::vector<short> &kernel)
{
    return kernel.size() % 2 != 0 && std::equal(kernel.begin(), kernel.begin() + kernel.size() / 2, kernel.rbegin());
}

} // namespace lines

/// What the convolution of columns and a kernel for it agree on.
///
/// Columns are convolved side by side, in blocks of @c width. A row of a block is a few vectors, columns need not be
/// turned into lines, and each pixel is read from memory and written there once.
namespace lines::columns {

constexpr int width = 64;
constexpr std::size_t maxEntries = 65; ///< of a kernel; longer ones are faster on lines, turning included

/// Convolves up to @c width columns of @p rows pixels, in place; the end pixels of a column count as repeated.
///
/// @p pixels is the first pixel of the first column, and the next row lies @p stride pixels further. The results in the
/// first @p straightRows rows are made straight as by KXBlur::ReturnAlpha. The kernel is one that @c fits.
using Convolve = void(
    unsigned *pixels, qptrdiff stride, int columns, int rows, const std::vector<short> &kernel, int straightRows);

/// Whether a kernel may be handed on.
inline bool fits(const std::vector<short> &kernel) { return kernel.size() <= maxEntries && isSymmetric(kernel); }

} // namespace lines::columns

/// What the convolution of rows and a kernel for it agree on: the kernel takes straight pixels and weights them by
/// alpha itself, as by KXBlur::PremultiplyAlpha. Otherwise it is called like the kernel for any line.
namespace lines::rows {

constexpr std::size_t maxEntries = 7; ///< of a kernel; with more, weighting is a small part of the work

/// Whether a kernel may be handed on.
inline bool fits(const std::vector<short> &kernel) { return kernel.size() <= maxEntries && isSymmetric(kernel); }

} // namespace lines::rows
