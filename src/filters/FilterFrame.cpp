#include "FilterFrame.h"

#include "KXComposer.h"

#include "lines/LinePass.h"
#include "support/Workers.h"

#include <QtCore/QReadLocker>
#include <QtCore/QReadWriteLock>
#include <QtCore/QWriteLocker>

#include <algorithm>
#include <climits>
#include <vector>

namespace filters {

namespace {

/// Coordinates beyond this are further out than any image. Within these limits the size of a rectangle fits an int,
/// also after it has grown by the reach of any filter.
constexpr int farthest = (1 << 30) - (1 << 23);

int nearer(qint64 coordinate) { return int(std::clamp(coordinate, qint64(-farthest), qint64(farthest))); }

/// @p rect moved, and kept within the limits.
QRect moved(const QRect &rect, qint64 dx, qint64 dy)
{
    QRect result;
    result.setCoords(
        nearer(rect.left() + dx), nearer(rect.top() + dy), nearer(rect.right() + dx), nearer(rect.bottom() + dy));
    return result;
}

int saturated(qint64 v) { return int(std::clamp<qint64>(v, INT_MIN, INT_MAX)); }

/// a - b, clamped to what a QPoint holds.
QPoint difference(const QPoint &a, const QPoint &b)
{
    return QPoint(saturated(qint64(a.x()) - b.x()), saturated(qint64(a.y()) - b.y()));
}

/// What a worker needs to merge a row: the pixels of the three sides.
struct Rows {
    explicit Rows(int width)
        : filtered(size_t(width))
        , merged(size_t(width))
        , selection(size_t(width))
    {
    }

    /// For each channel ((filtered - old) * m + old * 255) / 255 with m the selection's alpha; written as below it
    /// stays within 16 bits.
    void Merge()
    {
        for (OPRGBA32i &pixel : selection) // m in all four bytes: then all bytes of the row are treated alike
            pixel = OPRGBA32i(pixel.a * 0x01010101u);
        const auto *const m = reinterpret_cast<const unsigned char *>(selection.data());
        const auto *const f = reinterpret_cast<const unsigned char *>(filtered.data());
        auto *const d = reinterpret_cast<unsigned char *>(merged.data());
        const size_t bytes = merged.size() * 4; // a local: the compiler then knows that the writes leave it alone
        for (size_t i = 0; i < bytes; ++i) {
            const quint16 sum = quint16(f[i] * m[i] + d[i] * (255 - m[i]));
            d[i] = static_cast<unsigned char>(sum / 255);
        }
    }

    std::vector<OPRGBA32i> filtered, merged, selection;
};

} // namespace

QRect selectedRect(const KXFilterData &data)
{
    return moved(data.selectionRect, data.selectionOffset.x(), data.selectionOffset.y());
}

SelectionMerge::SelectionMerge(KXFilterData &data, const RGBA32iImage &work)
    : m_image(data.image)
    , m_work(work)
    , m_selection(data.selection)
{
    const QPoint offset = data.selectionOffset;
    const QRect selected = selectedRect(data);
    const QRect inWork = selected & work.Rect(), inImage = selected & data.image.Rect();
    const QRect inSelection =
        moved(data.selectionRect, std::max<qint64>(-qint64(offset.x()), 0), std::max<qint64>(-qint64(offset.y()), 0))
        & data.selection.Rect();
    m_workStart = inWork.topLeft();
    m_imageStart = inImage.topLeft();
    m_selectionStart = inSelection.topLeft();
    m_width = std::min({ inWork.width(), inImage.width(), inSelection.width() });
    m_height = std::min({ inWork.height(), inImage.height(), inSelection.height() });
}

void SelectionMerge::Run(const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    QReadWriteLock lock; // in a tiled image, writing a row may replace a tile that another worker reads
    const auto read = [this](const RGBA32iImage &image, const QPoint &start, int row, std::vector<OPRGBA32i> &pixels) {
        if (image.IsTiled()) // null tiles read as empty
            std::fill(pixels.begin(), pixels.end(), OPRGBA32i());
        image.ReadRow(unsigned(start.y() + row), unsigned(start.x()), pixels.data(), unsigned(m_width) * 4u);
    };
    workers::forEachItem(workers::forLines(workers::hardware()), 0, RowCount(), [&] {
        return [&, rows = Rows(m_width)](int row) mutable {
            if (cancel)
                return false;
            {
                const QReadLocker reading(&lock);
                read(m_work, m_workStart, row, rows.filtered);
                read(m_image, m_imageStart, row, rows.merged);
                read(m_selection, m_selectionStart, row, rows.selection);
            }
            rows.Merge();
            {
                const QWriteLocker writing(&lock);
                m_image.WriteRow(unsigned(m_imageStart.y() + row), unsigned(m_imageStart.x()), rows.merged.data(),
                    unsigned(m_width) * 4u);
            }
            if (progress)
                progress();
            return true;
        };
    });
}

QPoint growCanvas(KXFilterData &data, const QRect &region, const QPoint &origin, int reach)
{
    const QRect full = data.image.Rect();
    if (region == full)
        return origin;
    QRect allowed = moved(region, 0, 0);
    if (!data.selectionRect.isEmpty())
        allowed &= selectedRect(data);
    QRect reached;
    reached.setCoords(
        -reach, -reach, saturated(qint64(full.right()) + reach), saturated(qint64(full.bottom()) + reach));
    const QRect grown = ClippedTo(allowed | full, reached);
    if (grown == full)
        return origin;
    RGBA32iImage canvas(
        saturated(qint64(grown.right()) + 1 - grown.x()), saturated(qint64(grown.bottom()) + 1 - grown.y()), false);
    ComposeSource(data.image, full, canvas, full.translated(-grown.topLeft()));
    data.image = canvas;
    data.selectionOffset = difference(data.selectionOffset, grown.topLeft());
    data.maskOffset = difference(data.maskOffset, grown.topLeft());
    return difference(origin, -grown.topLeft());
}

} // namespace filters
