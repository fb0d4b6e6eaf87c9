#pragma once

#include "KXPixels.h"

#include <QtCore/qglobal.h>

#include <algorithm>

namespace lines {

/// Slides @p window along a line. @p line holds @p lineLength pixels; out[0] is the mean around line[@p offset]. Where
/// the window overhangs the line, the end pixel counts once for each position, so that a mean always has the same
/// divisor.
///
/// Calls are made without the virtual table: @p Accumulator is the class of the object itself, not a base of it.
template <class Accumulator>
void slideWindow(Accumulator &window, const OPRGBA32i *line, qptrdiff lineLength, OPRGBA32i *out, qptrdiff length,
    qptrdiff offset, qptrdiff radius)
{
    window.Accumulator::Reset();
    // The window around out[0]. The ends are added at once: a window may be far wider than the line.
    const qptrdiff end = lineLength - 1, first = offset - radius, last = offset + radius;
    window.Accumulator::AddRepeated(line[0], int(std::max(-first, qptrdiff(0))));
    for (qptrdiff i = std::max(first, qptrdiff(0)); i <= std::min(last, end); ++i)
        window.Accumulator::Add(line[i]);
    window.Accumulator::AddRepeated(line[end], int(std::max(last - end, qptrdiff(0))));
    window.Accumulator::Finalize(out[0]);

    for (qptrdiff i = 1; i < length; ++i) {
        window.Accumulator::Subtract(line[std::max(offset + i - radius - 1, qptrdiff(0))]);
        window.Accumulator::Add(line[std::min(offset + i + radius, end)]);
        window.Accumulator::Finalize(out[i]);
    }
}

} // namespace lines
