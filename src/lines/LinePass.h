#pragma once

#include "KXImage.h"
#include "OPImageUtils.h"

#include "pixels/Tiles.h"
#include "support/Workers.h"

#include "ConvolutionKernels.h"
#include "Transpose.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <vector>

/// The one pass over the lines of an image: rows or columns, with whatever is to be done to a line.
namespace lines {

using Progress = std::function<void()>;
using HorizontalDirection = OPImageUtils::HorizontalDirection<RGBA32iImage>;
using VerticalDirection = OPImageUtils::VerticalDirection<RGBA32iImage>;

/// Which lines a pass takes, what it reads of each and what it writes.
struct PassShape {
    int firstLine, lastLine;
    int readFirst, readLength; ///< the pixels that are read
    int lead; ///< where in the source buffer they begin
    int sourceLength; ///< size of the source buffer
    int first, length; ///< the pixels that are written
};

/// The part of an image that @p rect stands for: an invalid rectangle is all of it. Passes begin with it.
inline QRect clipped(const QRect &rect, const RGBA32iImage &image)
{
    Q_ASSERT_X(std::max(image.Width(), image.Height()) < 1 << 30, "line pass", "the bytes of a line fit 32 bits");
    return rect.isValid() ? ClippedTo(image.Rect(), rect) : image.Rect();
}

/// One worker's access to lines, by direction. Workers take groups of neighbouring lines: @c Load is called once per
/// group, then @c Read, @c Target and @c Write, in this order, for each of its lines until a cancel, then @c Flush. The
/// target is where the line's new pixels are to be put: the buffer, or right where they belong.
template <class Direction>
class LineAccess;

/// Rows: a group is one row, read and written where it is.
template <>
class LineAccess<HorizontalDirection> {
public:
    static void Prepare(RGBA32iImage &image, const PassShape &shape)
    {
        pixels::makePrivate(
            image, QRect(shape.first, shape.firstLine, shape.length, shape.lastLine - shape.firstLine + 1));
    }

    LineAccess(RGBA32iImage &image, const PassShape &shape)
        : m_image(image)
        , m_shape(shape)
    {
    }

    int GroupCount() const { return m_shape.lastLine - m_shape.firstLine + 1; }
    int Load(int group)
    {
        m_row = unsigned(m_shape.firstLine + group);
        return 1;
    }
    int Line(int) const { return int(m_row); }
    void Read(int, OPRGBA32i *pixels) const
    {
        if (m_image.IsTiled()) // a null tile reads as empty, not as what an earlier row left here
            std::memset(static_cast<void *>(pixels), 0, size_t(m_shape.readLength) * sizeof(OPRGBA32i));
        m_image.ReadRow(m_row, unsigned(m_shape.readFirst), pixels, unsigned(m_shape.readLength) * 4u);
    }
    OPRGBA32i *Target(int, OPRGBA32i *buffer) const
    {
        return m_image.IsTiled() ? buffer : m_image.Bits() + size_t(m_row) * size_t(m_image.Width()) + m_shape.first;
    }
    void Write(int, const OPRGBA32i *pixels)
    {
        if (m_image.IsTiled())
            m_image.WriteRow(m_row, unsigned(m_shape.first), pixels, unsigned(m_shape.length) * 4u);
    }
    void Flush() { }

private:
    RGBA32iImage &m_image;
    const PassShape &m_shape;
    unsigned m_row = 0;
};

/// The columns of a flat image in blocks.
///
/// A cache line holds sixteen pixels of a row. A column alone would therefore bring sixteen times what it needs from
/// memory, and workers on neighbouring columns would take cache lines from each other. So a block is several cache
/// lines wide; it begins and ends on cache lines where the length of the image's rows allows it.
class ColumnBlocks {
public:
    struct Block {
        int first, count;
    };

    ColumnBlocks(RGBA32iImage &image, const PassShape &shape)
        : m_shape(shape)
        , m_pixels(image.IsTiled() ? nullptr : image.Bits())
        , m_imageWidth(image.Width())
        , m_origin(shape.firstLine - int((reinterpret_cast<quintptr>(m_pixels) / 4 + unsigned(shape.firstLine)) % 16))
    {
    }

    bool HasPixels() const { return m_pixels; }
    qptrdiff Stride() const { return m_imageWidth; }
    int Count() const { return (m_shape.lastLine - m_origin) / columns::width + 1; }
    Block At(int index) const
    {
        const int origin = m_origin + index * columns::width, first = std::max(origin, m_shape.firstLine);
        return { first, std::min(origin + columns::width - 1, m_shape.lastLine) - first + 1 };
    }
    OPRGBA32i *Pixels(const Block &block, int row) const { return m_pixels + row * Stride() + block.first; }

private:
    const PassShape &m_shape;
    OPRGBA32i *m_pixels;
    qptrdiff m_imageWidth;
    int m_origin; ///< where the first block would begin, up to 15 columns before the first line
};

/// Columns, of flat images only: in any other nothing is read and nothing written. A group is a block of columns, which
/// is turned into contiguous lines, and back.
template <>
class LineAccess<VerticalDirection> {
public:
    static void Prepare(RGBA32iImage &, const PassShape &) { }

    LineAccess(RGBA32iImage &image, const PassShape &shape)
        : m_blocks(image, shape)
        , m_shape(shape)
        , m_stride((qptrdiff(shape.readLength) + 15) / 16 * 16 + 16) // no power of two: lines must not share cache sets
    {
    }

    int GroupCount() const { return m_blocks.Count(); }
    int Load(int group)
    {
        m_block = m_blocks.At(group);
        m_done = 0;
        if (m_blocks.HasPixels()) {
            m_lines.resize(size_t(m_stride) * size_t(m_block.count));
            transpose(m_blocks.Pixels(m_block, m_shape.readFirst), m_blocks.Stride(), m_lines.data(), m_stride,
                m_block.count, m_shape.readLength);
        }
        return m_block.count;
    }
    int Line(int line) const { return m_block.first + line; }
    void Read(int line, OPRGBA32i *pixels) const
    {
        if (m_blocks.HasPixels())
            std::memcpy(static_cast<void *>(pixels), m_lines.data() + line * m_stride,
                size_t(m_shape.readLength) * sizeof(OPRGBA32i));
    }
    OPRGBA32i *Target(int line, OPRGBA32i *buffer)
    {
        return m_blocks.HasPixels() ? m_lines.data() + line * m_stride + FirstWritten() : buffer;
    }
    void Write(int line, const OPRGBA32i *) { m_done = line + 1; }
    void Flush()
    {
        if (m_blocks.HasPixels())
            transpose(m_lines.data() + FirstWritten(), m_stride, m_blocks.Pixels(m_block, m_shape.first),
                m_blocks.Stride(), m_shape.length, m_done);
    }

private:
    /// Where in a line of the block those pixels begin that are written back.
    int FirstWritten() const { return m_shape.first - m_shape.readFirst; }

    ColumnBlocks m_blocks;
    const PassShape &m_shape;
    qptrdiff m_stride;
    std::vector<OPRGBA32i> m_lines;
    ColumnBlocks::Block m_block = {};
    int m_done = 0; ///< how many of its lines are finished
};

/// Runs a process over all lines of @p shape on @p count workers (see @c workers::forEachItem). Each line is read,
/// processed, written, and reported to @p progress if that holds a target. The cancel flag is read before each line;
/// lines that come after a cancel stay as they were.
///
/// @p makeProcess is called once per worker and returns its process. That is called as process(line, source, target)
/// with the line's coordinate, the worker's source buffer, which is zeros at first, and where to put the @c length new
/// pixels; all of them must be written, as nothing defined is there before.
template <class Direction, class MakeProcess>
void runPass(RGBA32iImage &image, const PassShape &shape, int count, const std::atomic<bool> &cancel,
    const Progress &progress, MakeProcess makeProcess)
{
    using Access = LineAccess<Direction>;
    Access::Prepare(image, shape);
    workers::forEachItem(count, 0, Access(image, shape).GroupCount(), [&] {
        return [&, access = Access(image, shape), process = makeProcess(),
                   source = std::vector<OPRGBA32i>(size_t(shape.sourceLength)),
                   buffer = std::vector<OPRGBA32i>(size_t(shape.length))](int group) mutable {
            const int lineCount = access.Load(group);
            struct Flush { // also when the progress function throws: its line was finished
                Access &access;
                ~Flush() { access.Flush(); }
            } flush { access };
            for (int line = 0; line < lineCount; ++line) {
                if (cancel)
                    return false;
                access.Read(line, source.data() + shape.lead);
                OPRGBA32i *const target = access.Target(line, buffer.data());
                process(access.Line(line), source, target);
                access.Write(line, target);
                if (progress)
                    progress();
            }
            return true;
        };
    });
}

/// Runs a process over all columns of @p shape as @c runPass does, but on whole blocks, and of flat images only. For
/// each column of a block in turn the cancel flag is read and the column is reported; then those that were reported are
/// processed. Columns that come after a cancel stay as they were.
///
/// The process is called as process(pixels, count) for that many columns side by side; the first pixel of the first one
/// lies at pixels. It must not throw. @p announced is called with each column that will be processed, before that is
/// reported.
template <class Process, class Announced>
void runColumnBlocks(RGBA32iImage &image, const PassShape &shape, int count, const std::atomic<bool> &cancel,
    const Progress &progress, const Process &process, const Announced &announced)
{
    const ColumnBlocks blocks(image, shape);
    workers::forEachItem(count, 0, blocks.Count(), [&] {
        return [&](int index) {
            const ColumnBlocks::Block block = blocks.At(index);
            struct ProcessAtEnd { // also when the progress function throws: its column counts as finished
                const Process &process;
                OPRGBA32i *pixels;
                int columns = 0;
                ~ProcessAtEnd()
                {
                    if (columns > 0)
                        process(pixels, columns);
                }
            } inHand { process, blocks.Pixels(block, shape.first) };
            while (inHand.columns < block.count) {
                if (cancel)
                    return false;
                announced(block.first + inHand.columns++);
                if (progress)
                    progress();
            }
            return true;
        };
    });
}

} // namespace lines
