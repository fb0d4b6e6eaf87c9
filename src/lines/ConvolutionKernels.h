#pragma once

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
