#pragma once

#include "KXImage.h"
#include "OPImageUtils.h"

#include "pixels/Tiles.h"
#include "support/Workers.h"

#include "ConvolutionKernels.h"
#include "Transpose.h"

#include <algorithm>
#include <atomic>
#include <exception>
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

/// The part of an image that @p rect stands for. Passes begin with it.
inline QRect clipped(const QRect &rect, const RGBA32iImage &image)
{
    Q_ASSERT_X(std::max(image.Width(), image.Height()) < 1 << 30, "line pass", "the bytes of a line fit 32 bits");
    return pixels::clippedOrWhole(image.Rect(), rect);
}

/// What one worker of a pass needs for its lines: the pixels that it reads, and those that it writes if they are not
/// put right where they belong.
struct LineBuffers {
    explicit LineBuffers(const PassShape &shape)
        : source(size_t(shape.sourceLength))
        , target(size_t(shape.length))
    {
    }

    std::vector<OPRGBA32i> source, target, block;
};

/// The lines of a pass in groups of neighbours, by direction; a worker takes a group at a time.
///
/// A @c Group is what a worker holds of one: it begins at the line @c done of the group, each call of @c ProcessNext
/// takes one line further, and when it ends the lines that were processed are in the image.
template <class Direction>
class LineGroups;

/// Rows: a group is one row, read and written where it is.
template <>
class LineGroups<HorizontalDirection> {
public:
    LineGroups(RGBA32iImage &image, const PassShape &shape, int /*workers*/)
        : m_image(image)
        , m_shape(shape)
    {
        pixels::makePrivate(
            image, QRect(shape.first, shape.firstLine, shape.length, shape.lastLine - shape.firstLine + 1));
    }

    int Count() const { return m_shape.lastLine - m_shape.firstLine + 1; }
    int LineCount(int) const { return 1; }

    class Group {
    public:
        Group(const LineGroups &rows, int group, int, LineBuffers &buffers)
            : m_image(rows.m_image)
            , m_shape(rows.m_shape)
            , m_buffers(buffers)
            , m_row(m_shape.firstLine + group)
        {
        }

        template <class Process>
        void ProcessNext(Process &process)
        {
            OPRGBA32i *const read = m_buffers.source.data() + m_shape.lead;
            const bool isTiled = m_image.IsTiled();
            if (isTiled) // a null tile reads as empty, not as what an earlier row left here
                std::fill_n(read, m_shape.readLength, OPRGBA32i());
            m_image.ReadRow(unsigned(m_row), unsigned(m_shape.readFirst), read, unsigned(m_shape.readLength) * 4u);
            OPRGBA32i *const target =
                isTiled ? m_buffers.target.data() : pixels::flatPixel(m_image, m_shape.first, m_row);
            process(m_row, m_buffers.source, target);
            if (isTiled)
                m_image.WriteRow(unsigned(m_row), unsigned(m_shape.first), target, unsigned(m_shape.length) * 4u);
        }

    private:
        RGBA32iImage &m_image;
        const PassShape &m_shape;
        LineBuffers &m_buffers;
        int m_row;
    };

private:
    RGBA32iImage &m_image;
    const PassShape &m_shape;
};

/// The columns of a flat image in blocks.
///
/// A cache line holds sixteen pixels of a row. A column alone would therefore bring sixteen times what it needs from
/// memory, and workers on neighbouring columns would take cache lines from each other. So a block is several cache
/// lines wide; it begins and ends on cache lines where the length of the image's rows allows it. It is narrower where
/// there are few columns, or else some of the workers would have nothing to do while the others do the last blocks.
class ColumnBlocks {
public:
    struct Block {
        int first, count;
        /// Its columns from the @p done th on.
        Block From(int done) const { return { first + done, count - done }; }
    };

    ColumnBlocks(RGBA32iImage &image, const PassShape &shape, int workers)
        : m_shape(shape)
        , m_pixels(image.IsTiled() ? nullptr : image.Bits())
        , m_imageWidth(image.Width())
        , m_origin(shape.firstLine
              - int((reinterpret_cast<quintptr>(m_pixels) / 4 + unsigned(shape.firstLine)) % columns::inCacheLine))
        , m_width(columns::blockWidth(shape.lastLine - shape.firstLine + 1, workers))
    {
    }

    bool HasPixels() const { return m_pixels; }
    qptrdiff Stride() const { return m_imageWidth; }
    int Count() const { return (m_shape.lastLine - m_origin) / m_width + 1; }
    int LineCount(int index) const { return At(index).count; }
    Block At(int index) const
    {
        const int origin = m_origin + index * m_width, first = std::max(origin, m_shape.firstLine);
        return { first, std::min(origin + m_width - 1, m_shape.lastLine) - first + 1 };
    }
    OPRGBA32i *Pixels(const Block &block, int row) const { return m_pixels + row * Stride() + block.first; }

private:
    const PassShape &m_shape;
    OPRGBA32i *m_pixels;
    qptrdiff m_imageWidth;
    int m_origin; ///< where the first block would begin, up to 15 columns before the first line
    int m_width;
};

/// Columns, of flat images only: in any other nothing is read and nothing written. A group is a block of columns. It is
/// transposed into contiguous lines, and the finished ones are transposed back at the end.
template <>
class LineGroups<VerticalDirection> {
public:
    LineGroups(RGBA32iImage &image, const PassShape &shape, int workers)
        : m_blocks(image, shape, workers)
        , m_shape(shape)
        , m_stride((qptrdiff(shape.readLength) + 15) / 16 * 16 + 16) // no power of two: lines must not share cache sets
    {
    }

    int Count() const { return m_blocks.Count(); }
    int LineCount(int group) const { return m_blocks.LineCount(group); }

    class Group {
    public:
        Group(const LineGroups &columns, int group, int done, LineBuffers &buffers)
            : m_columns(columns)
            , m_shape(columns.m_shape)
            , m_block(columns.m_blocks.At(group).From(done))
            , m_buffers(buffers)
        {
            const ColumnBlocks &blocks = m_columns.m_blocks;
            if (!blocks.HasPixels())
                return;
            m_buffers.block.resize(size_t(m_columns.m_stride) * size_t(m_block.count));
            transpose(blocks.Pixels(m_block, m_shape.readFirst), blocks.Stride(), Line(0), m_columns.m_stride,
                m_block.count, m_shape.readLength);
        }
        ~Group()
        {
            const ColumnBlocks &blocks = m_columns.m_blocks;
            if (blocks.HasPixels())
                transpose(Line(0) + FirstWritten(), m_columns.m_stride, blocks.Pixels(m_block, m_shape.first),
                    blocks.Stride(), m_shape.length, m_finished);
        }
        Q_DISABLE_COPY(Group)

        template <class Process>
        void ProcessNext(Process &process)
        {
            OPRGBA32i *target = m_buffers.target.data();
            if (m_columns.m_blocks.HasPixels()) {
                OPRGBA32i *const line = Line(m_finished);
                std::copy_n(line, m_shape.readLength, m_buffers.source.data() + m_shape.lead);
                target = line + FirstWritten();
            }
            process(m_block.first + m_finished, m_buffers.source, target);
            ++m_finished;
        }

    private:
        OPRGBA32i *Line(int line) { return m_buffers.block.data() + line * m_columns.m_stride; }
        /// Where in a line those pixels begin that are written.
        int FirstWritten() const { return m_shape.first - m_shape.readFirst; }

        const LineGroups &m_columns;
        const PassShape &m_shape;
        const ColumnBlocks::Block m_block;
        LineBuffers &m_buffers;
        int m_finished = 0;
    };

private:
    ColumnBlocks m_blocks;
    const PassShape &m_shape;
    qptrdiff m_stride;
};

/// A round of @c forEachGroup: @p count workers take the groups of which not all lines are in @p done. Those that throw
/// are counted in @p failures.
template <class Groups, class MakeWorker>
void takeGroups(
    const Groups &groups, int count, std::vector<int> &done, std::atomic<int> &failures, MakeWorker &makeWorker)
{
    const auto counted = [&failures](const auto &call) {
        try {
            return call();
        } catch (...) {
            ++failures;
            throw;
        }
    };
    workers::forEachItem(count, 0, groups.Count(), [&] {
        return [&, worker = counted(makeWorker)](int group) mutable {
            int &finished = done[size_t(group)];
            return finished == groups.LineCount(group) || counted([&] { return worker(group, finished); });
        };
    });
}

/// Has @p count workers finish all lines of @p groups (see @c workers::forEachItem). @p makeWorker is called once per
/// worker and returns its function, called as worker(group, done): it takes the lines of the group from the @c done th
/// on, counts them there as it finishes them, and returns false if it is to get no more.
///
/// A worker that throws gets no more lines, and the others take all groups that it did not reach. What it left of its
/// own group is done in another round, by as many workers as have not thrown. In the end the first exception is thrown
/// on.
template <class Groups, class MakeWorker>
void forEachGroup(const Groups &groups, int count, MakeWorker makeWorker)
{
    std::vector<int> done(size_t(groups.Count()));
    std::exception_ptr thrownFirst;
    for (bool isFinished = false; !isFinished;) {
        std::atomic<int> failures { 0 };
        try {
            takeGroups(groups, count, done, failures, makeWorker);
            isFinished = true;
        } catch (...) {
            if (!thrownFirst)
                thrownFirst = std::current_exception();
            count -= std::max(failures.load(), 1);
            isFinished = count <= 0; // nobody is left
        }
    }
    if (thrownFirst)
        std::rethrow_exception(thrownFirst);
}

/// Runs a process over all lines of @p shape on @p count workers. Each line is read, processed, written, and reported
/// to @p progress if that holds a target. The cancel flag is read before each line; lines that come after a cancel stay
/// as they were.
///
/// @p makeProcess is called once per worker and returns its process. That is called as process(line, source, target)
/// with the line's coordinate, the worker's source buffer, which is zeros at first, and where to put the @c length new
/// pixels; all of them must be written, as nothing defined is there before.
template <class Direction, class MakeProcess>
void runPass(RGBA32iImage &image, const PassShape &shape, int count, const std::atomic<bool> &cancel,
    const Progress &progress, MakeProcess makeProcess)
{
    using Groups = LineGroups<Direction>;
    const Groups groups(image, shape, count);
    forEachGroup(groups, count, [&] {
        return [&, process = makeProcess(), buffers = LineBuffers(shape)](int index, int &done) mutable {
            typename Groups::Group group(groups, index, done, buffers);
            while (done < groups.LineCount(index)) {
                if (cancel)
                    return false;
                group.ProcessNext(process);
                ++done;
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
/// The process is called as process(column, pixels, count) for that many columns side by side, the first of which is
/// @c column; its first pixel lies at pixels. It must not throw.
template <class Process>
void runColumnBlocks(RGBA32iImage &image, const PassShape &shape, int count, const std::atomic<bool> &cancel,
    const Progress &progress, const Process &process)
{
    const ColumnBlocks blocks(image, shape, count);
    forEachGroup(blocks, count, [&] {
        return [&](int index, int &done) {
            struct Columns { // processed also when the progress function throws: its column was reported
                const ColumnBlocks &blocks;
                const ColumnBlocks::Block block;
                const Process &process;
                const int row;
                int reported = 0;
                ~Columns()
                {
                    if (reported > 0)
                        process(block.first, blocks.Pixels(block, row), reported);
                }
            } columns { blocks, blocks.At(index).From(done), process, shape.first };
            while (columns.reported < columns.block.count) {
                if (cancel)
                    return false;
                ++columns.reported;
                ++done;
                if (progress)
                    progress();
            }
            return true;
        };
    });
}

} // namespace lines
