#pragma once

#include "text/Advances.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <algorithm>
#include <vector>

/// Positions in a text: places between two of its UTF-16 units, 0 before the first one. A line ends with a newline, and
/// the position before that is the last one of the line.
namespace text {

inline QStringList linesOf(const QString &string) { return string.split('\n'); }

/// How many parts the newlines of a string make of it: 1 and more.
inline int lineCount(const QString &string) { return int(string.count('\n')) + 1; }

/// In which line of a string a position lies. What lies beyond the string, or below 0, lies in the last one.
inline int lineOf(int position, const QString &string) { return lineCount(string.left(position)) - 1; }

/// The positions of a text as it was typed and those of the same text broken into lines, which has more newlines.
class PositionMap {
public:
    PositionMap(const QString &typed, const QString &wrapped)
        : m_typed(size_t(wrapped.length()) + 1)
    {
        int i = 0;
        for (int j = 0; j < wrapped.length(); ++j) {
            if (wrapped[j] != '\n' || (i < typed.length() && typed[i] == '\n'))
                ++i;
            m_typed[size_t(j) + 1] = i;
        }
    }

    /// The last position for what lies behind it; @p position is not below 0.
    int ToWrapped(int position) const
    {
        return int(
            std::min(std::lower_bound(m_typed.begin(), m_typed.end(), position), m_typed.end() - 1) - m_typed.begin());
    }

    /// @p position is one of the wrapped text.
    int ToTyped(int position) const { return m_typed[size_t(position)]; }

private:
    std::vector<int> m_typed; ///< of each position in the wrapped text; grows by 0 or 1
};

/// For each position of a string how far it is from the beginning of its line.
template <class Measure>
QList<int> caretPoints(const QString &string, const Measure &measure)
{
    QList<int> points;
    for (const QString &line : linesOf(string))
        points << prefixAdvances(line, measure);
    return points;
}

} // namespace text
