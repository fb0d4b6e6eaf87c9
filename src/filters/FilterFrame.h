#pragma once

#include "KXIterativeConvolution.h"
#include "OPAdjustmentProcessing.h"

#include <functional>
#include <tuple>
#include <utility>
#include <vector>

/// What filters share: how passes report and are cancelled, what a selection lets them work on and how that is merged
/// back, and the growing of their canvas.
///
/// A pass, or several that go together, is any object with int LineCount(), the number of progress calls that it will
/// make, and Run(cancel, progress).
namespace filters {

/// One run of a filter: what its passes need of it.
class FilterRun {
public:
    FilterRun(OPAdjustmentProcessing &filter, const std::atomic<bool> &cancel)
        : m_filter(filter)
        , m_cancel(cancel)
    {
    }

    /// Announces as many steps as @p passes have lines, then runs them in turn.
    template <class... Passes>
    void Do(Passes &...passes) const
    {
        m_filter.SetRange(unsigned((passes.LineCount() + ...)));
        const std::function<void()> progress = [this] { m_filter.IncrementProgress(); };
        (passes.Run(m_cancel, progress), ...);
    }

private:
    OPAdjustmentProcessing &m_filter;
    const std::atomic<bool> &m_cancel;
};

/// Passes that go together, one after the other.
template <class... Pass>
class InTurn {
public:
    explicit InTurn(Pass... passes)
        : m_passes(std::move(passes)...)
    {
    }

    int LineCount() const
    {
        return std::apply([](const auto &...pass) { return (pass.LineCount() + ...); }, m_passes);
    }

    void Run(const std::atomic<bool> &cancel, const std::function<void()> &progress)
    {
        std::apply([&](auto &...pass) { (pass.Run(cancel, progress), ...); }, m_passes);
    }

private:
    std::tuple<Pass...> m_passes;
};

/// How far passes reach around what is selected.
struct Reach {
    int written; ///< how far they are to filter
    int read; ///< how far around that they read, and one pixel more for a window that slides
};

/// What the passes of a filter work on: the layer itself, or a copy of a part of it.
struct Work {
    /// All of the layer, in place. It is taken out of @p data, so that its tiles have one owner fewer.
    static Work Whole(KXFilterData &data);
    /// A copy of what passes with such a reach read around the selection. Its edges are where they do not see that the
    /// rest is missing: beyond all that they read, or on the edges of the layer.
    static Work AroundSelection(const KXFilterData &data, const Reach &reach);

    RGBA32iImage image;
    QRect rect; ///< what they are to filter of the image
    QPoint origin; ///< where in the layer the image's top left pixel lies
};

/// The last pass of a filter with a selection: moves each pixel of the layer to its filtered value by the selection's
/// alpha.
class SelectionMerge {
public:
    /// Both are borrowed. @p work must hold what of the layer is selected.
    SelectionMerge(KXFilterData &data, const Work &work);

    int LineCount() const { return m_size.isEmpty() ? 0 : m_size.height(); }
    void Run(const std::atomic<bool> &cancel, const std::function<void()> &progress);

private:
    RGBA32iImage &m_layer;
    const RGBA32iImage &m_work;
    const RGBA32iImage &m_selection;
    QPoint m_layerStart, m_workStart, m_selectionStart;
    QSize m_size;
};

/// Runs a filter made of passes, in place where there is no selection, otherwise on a copy that is merged back, and
/// returns the layer. @p makePasses(image, rect) returns the passes over that rectangle of the image, which they
/// borrow.
template <class MakePasses>
RGBA32iImage runPasses(const FilterRun &run, KXFilterData &data, const Reach &reach, MakePasses makePasses)
{
    if (data.selectionRect.isEmpty()) {
        Work work = Work::Whole(data);
        auto passes = makePasses(work.image, work.rect);
        run.Do(passes);
        return std::move(work.image);
    }
    Work work = Work::AroundSelection(data, reach);
    auto passes = makePasses(work.image, work.rect);
    SelectionMerge merge(data, work);
    run.Do(passes, merge);
    return data.image;
}

/// A convolution both ways in which colour counts by its alpha.
KXIterativeConvolutionFast2D<RGBA32iImage> premultipliedConvolution(
    const std::vector<short> &taps, RGBA32iImage &image, const QRect &rect);

/// Runs a filter that is such a convolution; the taps reach @p reach pixels to either side.
RGBA32iImage runConvolution(const FilterRun &run, KXFilterData &data, int reach, const std::vector<short> &taps);

/// Grows the layer of @p data by @p reach on each side, as far as @p canvas allows, and returns where it then lies.
QPoint growLayer(KXFilterData &data, const KXFilterCanvas &canvas, int reach);

} // namespace filters
