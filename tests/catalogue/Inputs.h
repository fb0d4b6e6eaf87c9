#pragma once

#include "catalogue/Operation.h"
#include "kit/Picture.h"

/// What the operations of the catalogue are tried on.
namespace inputs {

/// Salted pictures of that size under a selection over a part of them. Empty @p selected: there is no selection.
inline catalogue::Input salted(QSize size, bool tiled, const QRect &selected, quint32 seed = 7)
{
    catalogue::Input input;
    const auto picture = [&](quint32 number) { return kit::Picture::random(size.width(), size.height(), number); };
    input.image = picture(seed).image(tiled);
    input.upper = picture(seed + 1).image(tiled);
    if (!selected.isEmpty()) {
        input.selection = kit::Picture::random(selected.width(), selected.height(), seed + 2).image(false);
        input.selectionRect = QRect(QPoint(), selected.size());
        input.selectionOffset = selected.topLeft();
    }
    return input;
}

/// Runs to the end, and counts.
struct Count {
    int maximum = -1;
    std::atomic<int> steps { 0 };
    std::atomic<bool> cancel { false };
    int cancelAt = -1; ///< the step after which the run is cancelled

    catalogue::Watch watch()
    {
        return { cancel, [this](int range) { maximum = range; },
            [this] {
                const int step = ++steps;
                if (step == cancelAt)
                    cancel = true;
                while (cancelAt >= 0 && step > cancelAt && !cancel) // the thread that sets it may have been stopped
                    QThread::yieldCurrentThread();
            } };
    }
};

} // namespace inputs
