#include "FilterFrame.h"

#include "KXComposer.h"

#include "compose/ModeTable.h"
#include "pixels/Tiles.h"
#include "support/Kernels.h"
#include "support/ThreadSanitizer.h"

#include "Area.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>
#include <vector>

namespace filters {

namespace {

using Line = std::vector<OPRGBA32i>;

kernels::Slot blendKernel { KX_SYMBOL(BlendWithOpacityAVX2) };
kernels::Slot mergeKernel { KX_SYMBOL(MergeSelectionAVX2) };

/// The bounds of the selection where they lie on the layer, and around it.
Area<InLayer> selected(const KXFilterData &data)
{
    return Area<InSelection>(data.selectionRect).Moved<InLayer>(data.selectionOffset.x(), data.selectionOffset.y());
}

/// The row @p line of a stretch of rows of that length, by where the stretch begins in an image.
struct RowOf {
    const OPRGBA32i *operator()(const RGBA32iImage &image, const QPoint &start, Line &buffer) const
    {
        return rowOf(image, start.x(), start.y() + line, length, buffer);
    }
    void Write(RGBA32iImage &image, const QPoint &start, const OPRGBA32i *pixels) const
    {
        image.WriteRow(unsigned(start.y() + line), unsigned(start.x()), pixels, unsigned(length) * 4u);
    }

    int line, length;
};

/// A copy of @p area in storage of the same kind. @p image, which shares what it was copied from, loses its flat
/// window: passes work on what tiles hold. Large flat images are copied by as many workers as there are processors:
/// most of the time goes into getting the memory.
RGBA32iImage cutOut(RGBA32iImage image, const QRect &area)
{
    image.ClearFlatWindow();
    RGBA32iImage cut(area.width(), area.height(), image.IsTiled());
    const bool isLarge = qint64(cut.Width()) * cut.Height() > 1 << 20;
    const int count = image.IsTiled() || !isLarge ? workers::onCaller : workers::forConvolution(workers::hardware());
    workers::forEachItem(count, 0, cut.Height(), [&] {
        return [&, buffer = Line()](int y) mutable {
            const RowOf of { y, cut.Width() };
            of.Write(cut, QPoint(), of(image, area.topLeft(), buffer));
            return true;
        };
    });
    return cut;
}

/// What a worker needs to merge a row: a buffer for each side, of which flat images leave some empty.
struct Rows {
    /// Moves each channel of @p row from d towards f: ((f - d) * m + d * 255) / 255, with m the selection's alpha;
    /// written as below it stays within 16 bits.
    void Merge(OPRGBA32i *row, const OPRGBA32i *filteredRow, const OPRGBA32i *selectionRow, int length)
    {
        if (mergeKernel)
            return mergeKernel(row, filteredRow, selectionRow, length);
        coverage.resize(size_t(length));
        for (int i = 0; i < length; ++i) { // m in all four bytes: then all bytes of the row are treated alike
            const quint32 m = selectionRow[i].word >> 24, twice = m | m << 8; // vectors shift faster than they multiply
            coverage[size_t(i)].word = twice | twice << 16;
        }
        const auto *const m = reinterpret_cast<const unsigned char *>(coverage.data());
        const auto *const f = reinterpret_cast<const unsigned char *>(filteredRow);
        auto *const d = reinterpret_cast<unsigned char *>(row);
        for (int i = 0; i < length * 4; ++i) {
            const quint16 sum = quint16(f[i] * m[i] + d[i] * (255 - m[i]));
            d[i] = static_cast<unsigned char>(sum / 255);
        }
    }

    Line filtered, layer, selection, coverage;
};

int saturated(qint64 v) { return int(std::clamp<qint64>(v, INT_MIN, INT_MAX)); }

/// @p point in coordinates whose origin is (@p x, @p y).
QPoint seenFrom(qint64 x, qint64 y, const QPoint &point)
{
    return { saturated(point.x() - x), saturated(point.y() - y) };
}

} // namespace

CallersLock::CallersLock(QReadWriteLock &lock, Purpose purpose)
    : m_lock(lock)
{
    const auto tryIt = [&] { return purpose == Reading ? lock.tryLockForRead() : lock.tryLockForWrite(); };
    bool isLocked = false;
    for (int attempt = 0; attempt < 1000 && !isLocked; ++attempt)
        isLocked = tryIt();
    if (!isLocked)
        purpose == Reading ? lock.lockForRead() : lock.lockForWrite();
    support::takeOver(&lock);
}

CallersLock::~CallersLock()
{
    support::handOver(&m_lock);
    m_lock.unlock();
}

const OPRGBA32i *rowOf(const RGBA32iImage &image, int x, int y, int length, std::vector<OPRGBA32i> &buffer)
{
    if (!image.IsTiled())
        return image.Bits() + size_t(y) * size_t(image.Width()) + x;
    buffer.assign(size_t(length), OPRGBA32i());
    image.ReadRow(unsigned(y), unsigned(x), buffer.data(), unsigned(length) * 4u);
    return buffer.data();
}

Picture::Picture(const RGBA32iImage &image)
    : row([&image](int x, int y, int length, Line &buffer) { return rowOf(image, x, y, length, buffer); })
    , isInPlace(!image.IsTiled())
{
}

void AdjustmentWalk::Run(const std::atomic<bool> &cancel, const Progress &progress)
{
    if (m_rect.isEmpty()) // to a walk that may be all of the image
        return;
    pixels::makePrivate(m_image, m_rect); // walks write shared tiles as they are
    m_walk(m_adjustment, m_image, m_rect, cancel, progress);
}

QRect selectedRect(const KXFilterData &data)
{
    const Area<InLayer> area = selected(data);
    const auto near = [](qint64 position) {
        constexpr qint64 farthest = (1 << 30) - 1; // even the widest rectangle has a width that fits an int
        return int(std::clamp(position, -farthest, farthest));
    };
    const Area<InLayer>::Span columns = area.Columns(), rows = area.Rows();
    return QRect(QPoint(near(columns.first), near(rows.first)), QPoint(near(columns.end - 1), near(rows.end - 1)));
}

Work Work::Whole(KXFilterData &data)
{
    const QRect rect = data.image.Rect();
    return { std::move(data.image), rect, QPoint() };
}

WorkArea::WorkArea(const KXFilterData &data, const Reach &reach)
{
    const QRect layer = data.image.Rect();
    read = written = layer;
    if (data.selectionRect.isEmpty())
        return;
    written = selected(data).Grown(reach.written).Within(layer);
    const QRect held = reach.written < 0 ? selected(data).Within(layer) : written;
    read = held.isEmpty() ? QRect() : Area<InLayer>(held).Grown(reach.read).Within(layer);
}

Work Work::Copy(const KXFilterData &data, const WorkArea &area)
{
    const QPoint origin = area.read.topLeft();
    return { cutOut(data.image, area.read), area.written.translated(-origin), origin };
}

Picture Work::InLayer() const
{
    Picture picture(image);
    picture.row = [row = std::move(picture.row), at = origin](
                      int x, int y, int length, Line &buffer) { return row(x - at.x(), y - at.y(), length, buffer); };
    return picture;
}

Overlap::Overlap(const KXFilterData &data, const QRect &part)
    : isSelected(!data.selectionRect.isEmpty())
{
    const QRect inLayer = isSelected ? selected(data).Within(data.image.Rect()) : data.image.Rect();
    layer = inLayer.topLeft();
    picture = part.topLeft();
    size = inLayer.size().boundedTo(part.size());
    if (!isSelected)
        return;
    // Where the selection begins above or left of the layer, what lies there of it is passed over.
    const QPoint offset = data.selectionOffset;
    const QRect inSelection =
        Area<InSelection>(data.selectionRect)
            .Moved(std::max<qint64>(-qint64(offset.x()), 0), std::max<qint64>(-qint64(offset.y()), 0))
            .Within(data.selection.Rect());
    selection = inSelection.topLeft();
    size = size.boundedTo(inSelection.size());
}

SelectionMerge::SelectionMerge(KXFilterData &data, const Work &work)
    : m_data(data)
    , m_work(work.image)
    , m_overlap(data, selected(data).Within(data.image.Rect()).translated(-work.origin))
{
    mergeKernel.Bind();
}

void SelectionMerge::Run(const std::atomic<bool> &cancel, const Progress &progress)
{
    // Or else a row would make a tile, in which rows after it would not see what a window showed, and which another
    // worker might be reading.
    pixels::makePrivate(m_data.image, QRect(m_overlap.layer, m_overlap.size));
    forEachRow(LineCount(), cancel, progress, [&] {
        return [&, rows = Rows()](int line) mutable {
            const RowOf of { line, m_overlap.size.width() };
            OPRGBA32i *const row = const_cast<OPRGBA32i *>(of(m_data.image, m_overlap.layer, rows.layer));
            rows.Merge(row, of(m_work, m_overlap.picture, rows.filtered),
                of(m_data.selection, m_overlap.selection, rows.selection), of.length);
            if (m_data.image.IsTiled())
                of.Write(m_data.image, m_overlap.layer, row);
        };
    });
}

OpacityBlend::OpacityBlend(
    KXFilterData &data, Picture picture, const QRect &part, int amountPercent, Alpha alpha, QReadWriteLock &lock)
    : m_data(data)
    , m_picture(std::move(picture))
    , m_overlap(data, part)
    , m_opacity256(quint32(qint64(amountPercent) * 256 / 100))
    , m_alpha(alpha)
    , m_lock(lock)
{
    blendKernel.Bind();
    mergeKernel.Bind();
}

void OpacityBlend::Run(const std::atomic<bool> &cancel, const Progress &progress)
{
    if (LineCount() == 0)
        return;
    pixels::makePrivate(m_data.image, QRect(m_overlap.layer, m_overlap.size)); // as for a merge
    const int length = m_overlap.size.width();
    const auto blend = [this, length](OPRGBA32i *lower, const OPRGBA32i *upper) {
        const bool lockAlpha = m_alpha == Kept;
        if (blendKernel)
            blendKernel(upper, lower, length, m_opacity256, lockAlpha);
        else
            compose::PlainRows::row<compose::OpacityOver>(
                { upper, lower, nullptr, nullptr, nullptr }, length, { m_opacity256, lockAlpha });
    };
    changeRows({ m_data.image, m_overlap.layer }, { m_picture, m_overlap.picture }, m_overlap.size, m_lock, cancel,
        progress, [&] {
            return [&, rows = Rows()](int line, OPRGBA32i *layer, const OPRGBA32i *picture) mutable {
                if (!m_overlap.isSelected)
                    return blend(layer, picture);
                rows.filtered.assign(layer, layer + length);
                blend(rows.filtered.data(), picture);
                const RowOf of { line, length };
                rows.Merge(
                    layer, rows.filtered.data(), of(m_data.selection, m_overlap.selection, rows.selection), length);
            };
        });
}

KXIterativeConvolutionFast2D<RGBA32iImage> premultipliedConvolution(
    const std::vector<short> &taps, RGBA32iImage &image, const QRect &rect)
{
    // To the passes an invalid rectangle is all of the image; one beside it is nothing.
    const QRect beside(-1, -1, 1, 1);
    KXIterativeConvolutionFast2D<RGBA32iImage> passes(taps, image, rect.isEmpty() ? beside : rect);
    passes.SetPremultiply(true);
    return passes;
}

RGBA32iImage runConvolution(const FilterRun &run, KXFilterData &data, int reach, const std::vector<short> &taps)
{
    // A convolution replicates the edge of its own rectangle, so that this one is the selection and all that reaches
    // into it; nothing around that is read.
    return runPasses(run, data, { reach, 0 },
        [&taps](RGBA32iImage &image, const QRect &rect) { return premultipliedConvolution(taps, image, rect); });
}

RGBA32iImage newCanvas(qint64 width, qint64 height)
{
    if (std::max(width, height) > INT_MAX)
        throw std::bad_alloc();
    return RGBA32iImage(int(std::max<qint64>(width, 0)), int(std::max<qint64>(height, 0)), false);
}

QPoint growLayer(KXFilterData &data, const KXFilterCanvas &canvas, int reach)
{
    const QRect full = data.image.Rect();
    if (canvas.region == full)
        return canvas.origin;
    const Area<InLayer> layer(full);
    Area<InLayer> allowed(canvas.region);
    if (!data.selectionRect.isEmpty())
        allowed = allowed & selected(data);
    const Area<InLayer> grown = (allowed | layer) & layer.Grown(reach);
    if (grown == layer || grown.IsNull()) // null: a layer of no area, and nothing beside it
        return canvas.origin;
    RGBA32iImage image = newCanvas(grown.Columns().Length(), grown.Rows().Length());
    const qint64 left = grown.Columns().first, top = grown.Rows().first;
    ComposeSource(data.image, full, image, full.translated(seenFrom(left, top, QPoint())));
    data.image = image;
    data.selectionOffset = seenFrom(left, top, data.selectionOffset);
    data.maskOffset = seenFrom(left, top, data.maskOffset);
    return seenFrom(-left, -top, canvas.origin);
}

} // namespace filters
