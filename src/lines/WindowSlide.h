#pragma once

#include "KXPixels.h"

#include <QtCore/qglobal.h>

#include <algorithm>

namespace lines {

/// Slides @p window along a line. @p line holds @p lineLength pixels; out[0] is centered at line[@p offset]. Where the
/// window overhangs the line, the end pixel counts once for each position, so that a mean always has the same divisor.
///
/// Calls are made without the virtual table: @p Accumulator is the class of the object itself, not a base of it.
template <class Accumulator>
void slideWindow(Accumulator &window, const OPRGBA32i *line, qptrdiff lineLength, OPRGBA32i *out, qptrdiff length,
    qptrdiff offset, qptrdiff radius)
{
    const auto add = [&window](const OPRGBA32i &pixel) { window.Accumulator::Add(pixel); };
    window.Accumulator::Reset();
    // The window around out[0], from left to right.
    const qptrdiff end = lineLength - 1;
    const OPRGBA32i first = line[0], last = line[end];
    for (qptrdiff i = offset - radius; i < 0; ++i)
        add(first);
    for (qptrdiff i = std::max(offset - radius, qptrdiff(0)); i <= std::min(offset + radius, end); ++i)
        add(line[i]);
    for (qptrdiff i = end; i < offset + radius; ++i)
        add(last);
    window.Accumulator::Finalize(out[0]);

    for (qptrdiff i = 1; i < length; ++i) {
        window.Accumulator::Subtract(line[std::max(offset + i - radius - 1, qptrdiff(0))]);
        add(line[std::min(offset + i + radius, end)]);
        window.Accumulator::Finalize(out[i]);
    }
}

} // namespace lines
