#pragma once

#include "OPAdjustmentProcessing.h"

#include <functional>

/// What filters share: the way a selection limits them, and the growing of their canvas.
namespace filters {

/// The bounds of the selection in image coordinates, not clipped to the image. Corners far outside of any image are
/// brought nearer, so that what is computed from them cannot overflow.
QRect selectedRect(const KXFilterData &data);

/// The last step of a filter with a selection: moves each pixel of an image to its filtered value by the selection's
/// alpha.
class SelectionMerge {
public:
    /// Lines up the selection of @p data with its image and with @p work, the filtered copy of it. All are borrowed.
    SelectionMerge(KXFilterData &data, const RGBA32iImage &work);

    /// How many rows there are to merge, and so how often @c Run calls progress.
    int RowCount() const { return m_width > 0 ? m_height : 0; }

    void Run(const std::atomic<bool> &cancel, const std::function<void()> &progress);

private:
    RGBA32iImage &m_image;
    const RGBA32iImage &m_work;
    const RGBA32iImage &m_selection;
    QPoint m_imageStart, m_workStart, m_selectionStart;
    int m_width, m_height; ///< the common size
};

/// Runs a filter made of line passes, in place where there is no selection, otherwise on a copy that is merged back,
/// and returns the image.
///
/// @p makePasses(image, rect) returns an object with LineCount() and Run(cancel, progress). @p margin is how far around
/// the selection the passes are to reach. @p setRange is told the number of progress calls before the first of them.
template <class MakePasses, class SetRange>
RGBA32iImage runPasses(KXFilterData &data, int margin, MakePasses makePasses, SetRange setRange,
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (data.selectionRect.isEmpty()) {
        auto passes = makePasses(data.image, data.image.Rect());
        setRange(passes.LineCount());
        passes.Run(cancel, progress);
        return data.image;
    }
    RGBA32iImage work;
    data.image.CopyTo(work, false);
    auto passes = makePasses(work, selectedRect(data).adjusted(-margin, -margin, margin, margin));
    SelectionMerge merge(data, work);
    setRange(passes.LineCount() + merge.RowCount());
    passes.Run(cancel, progress);
    merge.Run(cancel, progress);
    return data.image;
}

/// Grows the canvas of @p data by @p reach on each side, as far as @p region allows, and returns where the layer at
/// @p origin then lies. The layer never shrinks.
QPoint growCanvas(KXFilterData &data, const QRect &region, const QPoint &origin, int reach);

} // namespace filters
