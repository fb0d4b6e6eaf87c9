#pragma once

#include "text/LineLayout.h"
#include "text/TextPositions.h"

#include <QtCore/QRectF>
#include <QtGui/QPainterPath>

#include <algorithm>
#include <vector>

/// What the editing view draws over a text, in layout coordinates: before it is stretched and bent as the text is.
namespace text {

/// The lines of a text that is laid out, and where positions lie on them. Positions are from 0 to Length().
template <class Measure>
class Places {
public:
    /// @p length is that of the lines with a newline between each two of them, or 0: then nothing is shown of the
    /// lines, there is only the position before the first one, and of their heights nothing but the spaces count.
    Places(const QStringList &lines, int length, const QRect &area, Entries &entries, const LineMetrics &metrics,
        const Measure &measure)
        : m_lines(lines)
        , m_length(length)
        , m_area(area)
        , m_entries(entries)
        , m_lineHeight(metrics.lineHeight())
        , m_measure(measure)
    {
        int start = 0, top = 0;
        for (const QString &line : lines) {
            const TextParagraphParams entry = entries.value(int(m_starts.size()));
            m_starts.push_back(start);
            m_tops.push_back(wrappingAdd(top, entry.spaceBefore));
            start += line.length() + 1;
            top = wrappingAdd(
                top, length == 0 ? entry.spaceAfter : lineAdvance(entry, metrics.lineSpacing, m_lineHeight));
        }
    }

    int LineCount() const { return m_lines.size(); }
    int Length() const { return m_length; }
    int LineHeight() const { return m_lineHeight; }

    int LineOf(int position) const
    {
        return int(std::upper_bound(m_starts.begin(), m_starts.end(), position) - m_starts.begin()) - 1;
    }
    int Start(int line) const { return m_starts[size_t(line)]; }
    int End(int line) const { return std::min(Start(line) + m_lines[line].length(), m_length); }

    /// Where a line begins. A line that has no entry gets one.
    int X(int line) const { return lineX(entryOf(line, m_entries), Width(m_lines[line]), m_area); }
    int Top(int line) const { return m_tops[size_t(line)]; }
    /// How far a position is from the beginning of its line.
    int Along(int line, int position) const { return Width(m_lines[line].left(position - Start(line))); }
    /// The same for all positions of a line.
    QList<int> AllAlong(int line) const
    {
        return prefixAdvances(m_lines[line].left(End(line) - Start(line)), m_measure);
    }

private:
    int Width(const QString &string) const { return wholePixels(m_measure(string)); }

    const QStringList m_lines;
    const int m_length;
    const QRect m_area;
    Entries &m_entries;
    const int m_lineHeight;
    const Measure m_measure;
    std::vector<int> m_starts, m_tops;
};

/// A stroke as high as a line, upwards. Below 0 it stands at the end of the last line, or at its beginning where
/// nothing is shown.
template <class Measure>
QPainterPath caret(const Places<Measure> &places, int position)
{
    const int line = position < 0 ? places.LineCount() - 1 : places.LineOf(position), top = places.Top(line);
    const int along = places.Length() == 0 ? 0 : places.Along(line, position < 0 ? places.Length() : position);
    const int x = wrappingAdd(places.X(line), along);
    QPainterPath path;
    path.moveTo(x, wrappingAdd(top, places.LineHeight()));
    path.lineTo(x, top);
    return path;
}

/// A rectangle for each line that has something between two positions. A newline has no width; where the second
/// position is behind one, the line that begins there is left out.
template <class Measure>
QPainterPath selection(const Places<Measure> &places, int start, int end)
{
    QPainterPath path;
    if (start > end)
        return path;
    for (int line = places.LineOf(start), last = places.LineOf(std::max(start, end - 1)); line <= last; ++line) {
        const int from = places.Along(line, std::max(start, places.Start(line)));
        const int to = places.Along(line, std::min(end, places.End(line)));
        path.addRect(
            wrappingAdd(places.X(line), from), places.Top(line), wrappingSubtract(to, from), places.LineHeight());
    }
    return path;
}

/// How a polyline goes on at a new line.
enum class NewLine { Connected, Apart };

/// A polyline through all positions, @p below the upper edges of the lines. Two positions at one place are one point of
/// it.
template <class Measure>
QPainterPath throughPositions(const Places<Measure> &places, int below, NewLine newLine)
{
    QPainterPath path;
    for (int line = 0; line < places.LineCount() && places.Start(line) <= places.Length(); ++line) {
        const int x = places.X(line), y = wrappingAdd(places.Top(line), below);
        if (line == 0 || newLine == NewLine::Apart)
            path.moveTo(x, y);
        for (const int along : places.AllAlong(line))
            path.lineTo(wrappingAdd(x, along), y);
    }
    return path;
}

} // namespace text
