#pragma once

#include "support/Arithmetic.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <algorithm>
#include <cmath>

/// Advances of strings. Whatever is measured in here is measured by a @c measure(const QString &) of the caller, which
/// gives the exact advance of a string: of a font a multiple of a 64th of a pixel, so that sums are exact too.
namespace text {

/// An advance in whole pixels, as QFontMetrics rounds it: halves go up.
inline int wholePixels(double advance) { return arithmetic::truncate(std::floor(advance + 0.5)); }

/// What a line takes as a whole or not at all: a word with the spaces behind it. Spaces before the first word are a
/// token of their own. Only U+0020 is a space.
inline QStringList tokens(const QString &paragraph)
{
    QStringList result;
    for (int start = 0, end = 0; start < paragraph.length(); start = end) {
        end = paragraph.indexOf(' ', start);
        if (end < 0)
            end = paragraph.length();
        while (end < paragraph.length() && paragraph[end] == ' ')
            ++end;
        result << paragraph.mid(start, end - start);
    }
    return result;
}

/// Whether all characters are from left to right, of alphabets without joined letters, and not marks, tabs or controls:
/// Latin, Greek and Cyrillic with their digits and punctuation.
inline bool isPlain(const QString &string)
{
    return std::all_of(string.begin(), string.end(), [](QChar c) {
        const ushort u = c.unicode();
        return (u >= 0x20 && u < 0x7F) || (u >= 0xC0 && u < 0x250) || (u >= 0x386 && u < 0x482);
    });
}

/// The advances of a line that grows by tokens, and what they would be with a part of one more.
///
/// The advance of a string is not the sum of its characters': kerning and ligatures change it. Mostly the sum of its
/// words it is, and then a long line need not be measured from its beginning. So neighbours are measured together:
/// where the advances of the two add up to that of the pair, what comes before has no influence on what comes behind.
/// Where they do not they count as one word from then on, and so do tokens without a letter, which take the script
/// of what is before them. What is asked for is measured with the word before it in any case. A line that is not
/// plain is measured whole: tab stops count from its beginning, and so does the order of two directions.
template <class Measure>
class GrowingLine {
public:
    explicit GrowingLine(const Measure &measure)
        : m_measure(measure)
    {
    }

    const QString &Line() const { return m_line; }

    double AdvanceWith(const QString &part) const
    {
        return m_isPlain && isPlain(part) ? m_before + m_measure(m_last + part) : m_measure(m_line + part);
    }

    /// A new line, of a token with that advance.
    void Begin(const QString &token, double advance)
    {
        m_line.clear();
        m_last.clear();
        m_before = m_lastAdvance = 0;
        m_isPlain = true;
        Append(token, advance);
    }

    /// @p advance is what the line has with the token: AdvanceWith(token).
    void Append(const QString &token, double advance)
    {
        m_line += token;
        m_isPlain = m_isPlain && isPlain(token);
        if (!m_isPlain)
            return;
        if (std::any_of(token.begin(), token.end(), [](QChar c) { return c.isLetter(); })
            && advance == m_before + m_lastAdvance + m_measure(token)) {
            m_before += m_lastAdvance;
            m_last.clear();
        }
        m_last += token;
        m_lastAdvance = advance - m_before;
    }

private:
    const Measure &m_measure;
    QString m_line, m_last; ///< all of it, and its last word
    double m_before = 0, m_lastAdvance = 0; ///< of the line before its last word, and of that
    bool m_isPlain = true;
};

/// The advances of all beginnings of a line, in whole pixels, from that of no character on.
template <class Measure>
QList<int> prefixAdvances(const QString &line, const Measure &measure)
{
    QList<int> result { 0 };
    result.reserve(line.length() + 1);
    GrowingLine<Measure> growing(measure);
    for (const QString &token : tokens(line)) {
        double advance = 0;
        for (int length = 1; length <= token.length(); ++length) {
            advance = growing.AdvanceWith(token.left(length));
            result << wholePixels(advance);
        }
        growing.Append(token, advance);
    }
    return result;
}

} // namespace text
