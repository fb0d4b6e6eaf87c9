#include "KXRefineSelectionProcessing.h"

#include "lines/LineHandlers.h"
#include "support/Arithmetic.h"

#include "Area.h"
#include "FilterFrame.h"
#include "ParamsStream.h"

#include <algorithm>
#include <climits>

namespace {

using Params = KXRefineSelectionProcessing::Params;
using lines::HorizontalDirection, lines::LineHandler, lines::VerticalDirection;

constexpr filters::ParamsStream stream("KXRefineSelection 1.00000", "refine selection",
    { "src\\filters\\KXRefineSelectionProcessing", 231, 217 }, &Params::feather, &Params::contract);

/// Where a mask may lie without a feather; it is cut off beyond. The sizes of rectangles within this one fit an int.
const QRect everywhere(-(1 << 30), -(1 << 30), INT_MAX, INT_MAX);

/// A pass that puts @p part of an image where it belongs in a flat one. Both are borrowed.
class CopyRows {
public:
    CopyRows(const RGBA32iImage &from, const QRect &part, RGBA32iImage &to, const QPoint &corner)
        : m_from(from)
        , m_part(part)
        , m_to(to)
        , m_corner(corner)
    {
    }

    int LineCount() const { return m_part.isEmpty() ? 0 : m_part.height(); }

    void Run(const std::atomic<bool> &cancel, const filters::Progress &progress) const
    {
        filters::forEachRow(LineCount(), cancel, progress, [this] {
            return [this, buffer = std::vector<OPRGBA32i>()](int line) mutable {
                const int length = m_part.width();
                const OPRGBA32i *const row = filters::rowOf(m_from, m_part.x(), m_part.y() + line, length, buffer);
                m_to.WriteRow(unsigned(m_corner.y() + line), unsigned(m_corner.x()), row, unsigned(length) * 4u);
            };
        });
    }

private:
    const RGBA32iImage &m_from;
    const QRect m_part;
    RGBA32iImage &m_to;
    const QPoint m_corner;
};

/// A pass that is run several times, or not at all.
template <class Pass>
class Repeated {
public:
    Repeated(int times, Pass pass)
        : m_times(times)
        , m_pass(std::move(pass))
    {
    }

    int LineCount() const { return m_times * m_pass.LineCount(); }

    void Run(const std::atomic<bool> &cancel, const filters::Progress &progress)
    {
        for (int round = 0; round < m_times && !cancel; ++round)
            m_pass.Run(cancel, progress);
    }

private:
    const int m_times;
    Pass m_pass;
};

} // namespace

KX_FILTER_STREAM(KXRefineSelectionProcessing, stream)

KXRefineSelectionProcessing::KXRefineSelectionProcessing(const std::atomic<bool> &cancel)
    : m_cancel(cancel)
{
}

KXRefineSelectionProcessing::~KXRefineSelectionProcessing() = default;

KXRefineSelectionProcessing::KXRefineSelectionResult KXRefineSelectionProcessing::run(
    RefineSelectionData data) // NOLINT: a value as in every filter, though this one only reads it
{
    using filters::Area, filters::InCanvas, filters::InLayer;
    const auto [feather, contract] = data.params;
    const bool isFeathered = feather != 0.0;
    const QPoint offset = data.selectionOffset;
    const QRect mask = data.image.Rect();

    const qint64 margin = isFeathered ? qint64(arithmetic::truncate(feather * 3.0 + 1.0)) + std::max(contract, 0) : 0;
    const QRect bounds = isFeathered ? QRect(QPoint(), data.canvas.expandedTo(QSize(0, 0))) : everywhere;
    const auto grown = Area<InLayer>(mask).Moved<InCanvas>(offset.x(), offset.y()).Grown(margin);
    KXRefineSelectionResult result;
    result.rect = mask.isEmpty() ? mask : grown.Within(bounds);
    result.image = RGBA32iImage(result.rect.width(), result.rect.height(), false);

    const Area<InLayer> seen = Area<InCanvas>(result.rect).Moved<InLayer>(-qint64(offset.x()), -qint64(offset.y()));
    const QRect part = seen.Within(mask);
    const QPoint corner(int(part.x() - seen.Columns().first), int(part.y() - seen.Rows().first));

    const OPAlphaBlurAccumulator window(arithmetic::truncate(feather));
    const QRect all = result.image.Rect();
    using Window = OPAlphaBlurAccumulator;
    filters::FilterRun(*this, m_cancel)
        .Do(CopyRows(data.image, part, result.image, corner),
            Repeated(isFeathered ? 3 : 0,
                filters::InTurn(LineHandler<Window, HorizontalDirection>(window, result.image, all),
                    LineHandler<Window, VerticalDirection>(window, result.image, all))),
            Repeated(contract != 0 ? 1 : 0,
                lines::LineHandlerConvolution2D<OPShiftEdge1D>(OPShiftEdge1D(contract), result.image, all)));
    return result;
}
