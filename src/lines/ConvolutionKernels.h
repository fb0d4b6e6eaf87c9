#pragma once

#include "KXPixels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace lines {

constexpr int fractionBits = 14; ///< of taps: 1.0 is 16384
constexpr int roundingTerm = 1 << (fractionBits - 1); ///< what a sum begins with

/// Whether taps are the same on both sides of a middle one. None at all are not.
inline bool isSymmetric(const std::vector<short> &taps)
{
    return taps.size() % 2 != 0 && std::equal(taps.begin(), taps.begin() + taps.size() / 2, taps.rbegin());
}

} // namespace lines

/// What the convolution of columns and a kernel for it agree on.
///
/// Columns are convolved side by side, in blocks of @c width. A row of a block is a few vectors, columns need not be
/// transposed into lines, and each pixel is read from memory and written there once.
namespace lines::columns {

constexpr int width = 64;
constexpr int inCacheLine = 16;
constexpr std::size_t maxTaps = 65; ///< more are faster on lines, transposing included

/// Whether the kernel takes these taps.
inline bool fits(const std::vector<short> &taps) { return taps.size() <= maxTaps && isSymmetric(taps); }

/// How wide blocks are of so many columns: each of several workers should find three, of a cache line at least.
constexpr int blockWidth(int columns, int workers)
{
    int block = width;
    while (workers > 1 && block > inCacheLine && columns < 3 * block * workers)
        block /= 2;
    return block;
}

} // namespace lines::columns

/// What the Gaussian blur of a mask, a plane of bytes, and its kernels agree on. They sum @c width bytes at a time, of
/// rows or columns; columns in bands of rows for which the kernel holds samples.
namespace lines::mask {

constexpr int width = 64;
constexpr int bandRows = 64;
constexpr int maxReach = 64; ///< what reaches further has no kernels
constexpr int everyLevel = -1; ///< where it matters which level a mean reaches, not just whether it reaches one

/// Whether the kernels take a Gaussian. They do not if its weights are not numbers.
template <class Gaussian>
bool fits(const Gaussian &gaussian)
{
    return gaussian.Left() <= maxReach && !std::isnan(gaussian.Weights().front());
}

/// A length rounded up to what is summed at a time.
constexpr int wholeWidths(int length) { return (length + width - 1) / width * width; }
/// How many samples the kernel for rows reads. The last ones of them may be anything.
constexpr int rowRoom(int reach, int length) { return wholeWidths(length) + 2 * reach + 40; }

} // namespace lines::mask

/// What the convolution of rows and a kernel for it agree on: the kernel takes straight pixels and premultiplies them
/// itself, as by KXBlur::PremultiplyAlpha. Otherwise it is called like the kernel for any line.
namespace lines::rows {

constexpr std::size_t maxTaps = 7; ///< with more, premultiplying is a small part of the work

/// Whether the kernel takes these taps.
inline bool fits(const std::vector<short> &taps) { return taps.size() <= maxTaps && isSymmetric(taps); }

} // namespace lines::rows

namespace lines {

/// Up to columns::width columns side by side, which a kernel changes in place.
struct ColumnPixels {
    OPRGBA32i *first; ///< the first pixel of the first column
    qptrdiff stride; ///< from one row to the next, in pixels
    int columns, rows;
    int rowsAbove, rowsBelow; ///< how many more rows may be read before and after them
};

} // namespace lines

/// What sharpening and the kernels for it agree on.
namespace lines::sharpening {

constexpr int largestAmount = 1784; ///< of 1785: the share that it makes is below 1

/// Whether the kernel for columns takes this amount. That for lines takes any, but is slower for others.
constexpr bool fits(int amount) { return amount >= -largestAmount && amount <= largestAmount; }

} // namespace lines::sharpening

/// What the windows of alpha that slide down columns agree on with their kernel.
namespace lines::alphawindows {

constexpr int largestRadius = 255; ///< what leaves a window is kept near

constexpr bool fits(int radius) { return radius <= largestRadius; }

} // namespace lines::alphawindows
