#pragma once

#include "OPAdjustmentProcessing.h"
#include "kit/Formulas.h"

/// What tests of filters share: what filters run on, what they report, and what a selection lets through.
namespace kit {

/// A flat layer. Unless @p selected is empty that is what of it is selected, by random alphas.
inline KXFilterData onLayer(const Picture &layer, const QRect &selected = QRect())
{
    KXFilterData data;
    data.image = layer.image(false);
    if (!selected.isEmpty()) {
        const QPoint start(5, 5); // of the selection's own rectangle
        data.selection = Picture::random(selected.width() + 40, selected.height() + 40, 1000).image(false);
        data.selectionRect = QRect(start, selected.size());
        data.selectionOffset = selected.topLeft() - start;
    }
    return data;
}

/// The offset of the selection, no further than where no layer of a test reaches.
inline QPoint offsetOf(const KXFilterData &data)
{
    const auto near = [](int distance) { return qBound(-1000, distance, 1000); };
    return { near(data.selectionOffset.x()), near(data.selectionOffset.y()) };
}

/// Where the bounds of the selection lie in the layer.
inline QRect selectedRect(const KXFilterData &data) { return data.selectionRect.translated(offsetOf(data)); }

/// The part of the layer that a filter changes, and the selection's pixel that lies on its top left corner.
struct Merge {
    QRect to;
    QPoint from;
};

/// Moved up or left, the selection's own rectangle is moved by as much the other way, whatever was cut off.
inline Merge mergeOf(const KXFilterData &data)
{
    const QPoint offset = offsetOf(data), over(std::max(-offset.x(), 0), std::max(-offset.y(), 0));
    const QRect to = selectedRect(data) & data.image.Rect();
    const QRect from = data.selectionRect.translated(over) & data.selection.Rect();
    return { QRect(to.topLeft(), to.size().boundedTo(from.size())), from.topLeft() };
}

/// What the layer becomes of which a filter made @p filtered. Null tiles stay.
inline Picture merged(const KXFilterData &data, const Picture &filtered)
{
    if (data.selectionRect.isEmpty())
        return filtered;
    const auto [to, from] = mergeOf(data);
    const Picture mask = Picture::of(data.selection);
    const RGBA32iImage &layer = data.image;
    Picture result = Picture::of(layer);
    result.fill(to, [&, to = to, from = from](int x, int y) {
        const OPRGBA32i old = result.at(x, y);
        if (layer.IsTiled() && !layer.TileData(y / 128 * layer.TilesX() + x / 128))
            return old;
        return moved(old, filtered.at(x, y), mask.at(from.x() + x - to.x(), from.y() + y - to.y()).a);
    });
    return result;
}

/// Watches filters run, and cancels them.
struct Watch {
    std::atomic<bool> cancel { false };
    int cancelAt = -1; ///< the progress at which a run is cancelled
    std::atomic<int> ranges { 0 }, steps { -1 }; ///< how often a number of steps was announced, and the last one

    template <class Filter, class Data>
    auto run(Filter &filter, const Data &data)
    {
        QObject::connect(&filter, &Filter::RangeChanged, [this](int, int maximum) {
            ++ranges;
            steps = maximum;
        });
        QObject::connect(&filter, &Filter::ProgressChanged, [this](int value) {
            if (value == cancelAt)
                cancel = true;
        });
        return filter.run(data);
    }
};

/// The type of what a filter's run takes.
template <class Filter, class Result, class Data>
Data argumentOf(Result (Filter::*run)(Data));
template <class Filter>
using DataOf = decltype(argumentOf(&Filter::run));

template <class Filter>
DataOf<Filter> dataOf(const KXFilterData &head, const typename Filter::Params &params)
{
    DataOf<Filter> data;
    static_cast<KXFilterData &>(data) = head;
    data.params = params;
    return data;
}

/// What a filter makes of the layer of @p head, in which it may work.
template <class Filter>
auto filtered(const KXFilterData &head, const typename Filter::Params &params, Watch &watch)
{
    Filter filter(watch.cancel);
    return watch.run(filter, dataOf<Filter>(head, params));
}

template <class Filter>
auto filtered(const KXFilterData &head, const typename Filter::Params &params)
{
    Watch watch;
    return filtered<Filter>(head, params, watch);
}

} // namespace kit
