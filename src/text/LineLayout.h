#pragma once

#include "OPTextHelper.h"

#include "support/Arithmetic.h"
#include "text/LineBreaking.h"

#include <QtCore/QList>
#include <QtCore/QRect>
#include <QtCore/QStringList>

#include <algorithm>

/// Laying lines out: which entry of the paragraph settings a line has, where the line stands, and which lines fit. Sums
/// of settings wrap around, as 32-bit integers; so any numbers may be set.
namespace text {

using arithmetic::wrappingAdd;
using arithmetic::wrappingSubtract;

/// The entries of the lines, in order.
using Entries = QList<TextParagraphParams>;

/// QRect's own, for corners however far apart.
inline int widthOf(const QRect &rect) { return wrappingAdd(wrappingSubtract(rect.right(), rect.left()), 1); }
inline int heightOf(const QRect &rect) { return wrappingAdd(wrappingSubtract(rect.bottom(), rect.top()), 1); }

/// The entry of line @p index; default ones are appended until it exists.
inline TextParagraphParams &entryOf(int index, Entries &entries)
{
    while (index >= entries.size())
        entries << TextParagraphParams();
    return entries[index];
}

/// Where a line begins that is @p lineWidth wide. Both halves are those of integers.
inline int lineX(const TextParagraphParams &entry, int lineWidth, const QRect &area)
{
    const int areaWidth = widthOf(area);
    const int base = wrappingAdd(
        wrappingSubtract(entry.leftIndent, entry.rightIndent), entry.isFirstLine ? entry.firstLineIndent : 0);
    if (entry.alignment == OPTextHelper::Right)
        return wrappingAdd(wrappingSubtract(areaWidth, lineWidth), base);
    if (entry.alignment == OPTextHelper::Centre)
        return wrappingAdd(wrappingSubtract(base, lineWidth) / 2, std::max(areaWidth, 0) / 2);
    return base;
}

/// From the top of a line to that of the next one.
inline int lineAdvance(const TextParagraphParams &entry, int lineSpacing, int lineHeight)
{
    return wrappingAdd(wrappingAdd(entry.spaceAfter, lineSpacing), lineHeight);
}

/// The lines of @p paragraphs in a box. Each paragraph takes the entry of its number, plus one for each line that those
/// before it have had too many; a copy of that is inserted for every further line of the paragraph, which is no first
/// line.
template <class Measure>
QStringList breakLines(const QStringList &paragraphs, const QRect &area, Entries &entries, const Measure &measure)
{
    QStringList lines;
    int inserted = 0;
    for (int i = 0; i < paragraphs.size(); ++i) {
        int index = i + inserted;
        const TextParagraphParams entry = entryOf(index, entries);
        const int width = wrappingAdd(wrappingSubtract(entry.rightIndent, entry.leftIndent), widthOf(area));
        const QStringList parts = wrap(paragraphs[i], width, entry.firstLineIndent, measure);
        for (int k = 1; k < parts.size(); ++k, ++inserted) {
            const TextParagraphParams copy = entries[index];
            entries.insert(index, copy);
            entries[++index].isFirstLine = false;
        }
        lines << parts;
    }
    return lines;
}

/// How a font sets its lines, in pixels.
struct LineMetrics {
    int ascent = 0;
    int descent = 0;
    int lineSpacing = 0;

    int lineHeight() const { return ascent + descent; }
};

/// What a text takes up, from (left, 0) on.
struct Extent {
    int left = 0; ///< 0, or where the leftmost line begins if that is below
    /// The sum of the lines' places, each line taking the sum up to its own width first. That is more than the right
    /// edge where lines begin to the right of 0, and less where they begin to the left of it.
    int right = 0;
    int bottom = 0; ///< the descent of the last line that was looked at

    enum Fit {
        Inside,
        TooHigh, ///< the lines placed are those that fit
        TooWide ///< a line is wider than the box: no line counts as placed
    };
    Fit fit = Inside;
    int placed = 0; ///< how many lines
};

/// Calls @p place(x, baseline, line) for one line after the other, until one does not fit the box. An @p area that is
/// empty is no box.
template <class Measure, class Place>
Extent placeLines(const QStringList &lines, const QRect &area, Entries &entries, const LineMetrics &metrics,
    const Measure &measure, const Place &place)
{
    Extent extent;
    int y = metrics.ascent;
    for (extent.bottom = metrics.lineHeight(); extent.placed < lines.size(); ++extent.placed) {
        const QString &line = lines[extent.placed];
        const TextParagraphParams &entry = entryOf(extent.placed, entries);
        const int lineWidth = wholePixels(measure(line)), x = lineX(entry, lineWidth, area);
        const int baseline = wrappingAdd(y, entry.spaceBefore);
        extent.bottom = wrappingAdd(y, metrics.descent);
        if (!area.isEmpty() && wrappingAdd(x, lineWidth) > widthOf(area))
            extent.fit = Extent::TooWide;
        else if (!area.isEmpty() && baseline > heightOf(area))
            extent.fit = Extent::TooHigh;
        if (extent.fit != Extent::Inside)
            break;
        extent.right = wrappingAdd(std::max(extent.right, lineWidth), x);
        extent.left = std::min(extent.left, x);
        place(x, baseline, line);
        y = wrappingAdd(y, lineAdvance(entry, metrics.lineSpacing, metrics.lineHeight()));
    }
    return extent;
}

} // namespace text
