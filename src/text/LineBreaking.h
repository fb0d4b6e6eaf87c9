#pragma once

#include "support/Arithmetic.h"
#include "text/Advances.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <algorithm>

/// Breaking text into lines. Widths are whole pixels.
namespace text {

/// The first of the pieces into which a word, from a place in it on, is cut so that each fits @p width: as many
/// characters as fit, one by one, and at least one. Empty at the end of the word.
template <class Measure>
QString firstPiece(const QString &word, int from, int width, const Measure &measure)
{
    GrowingLine<Measure> piece(measure);
    for (int end = from; end < word.length(); ++end) {
        const double advance = piece.AdvanceWith(word[end]);
        if (end > from && wholePixels(advance) > width)
            break;
        piece.Append(word[end], advance);
    }
    return piece.Line();
}

/// A word in pieces that fit @p width, but for those that are one character, and that one wider.
template <class Measure>
QStringList splitWord(const QString &word, int width, const Measure &measure)
{
    QStringList pieces;
    for (int from = 0; from < word.length(); from += pieces.last().length())
        pieces << firstPiece(word, from, width, measure);
    return pieces;
}

/// What is left of a word while pieces are taken from its beginning, and how long that is.
///
/// To measure all that is left after each piece would take the square of the word's length. So a plain word is measured
/// when half of it is gone, and in between a piece counts with what it adds to the characters behind it. The sum is not
/// relied on to the last pixel: it decides only where it says twice the width of a line.
template <class Measure>
class Remainder {
public:
    Remainder(const QString &word, const Measure &measure)
        : m_word(word)
        , m_measure(measure)
        , m_isPlain(isPlain(word))
    {
        MeasureAll();
    }

    QString Rest() const { return m_word.mid(m_from); }
    double Advance() const { return m_advance; }

    /// Takes a piece that fits @p available; the next ones are to fit @p width.
    QString Take(int available, int width)
    {
        const QString piece = firstPiece(m_word, m_from, available, m_measure);
        if (m_isPlain)
            m_advance -= m_measure(m_word.mid(m_from, piece.length() + nearby))
                - m_measure(m_word.mid(m_from + piece.length(), nearby));
        m_from += piece.length();
        const bool isShort = m_word.length() - m_from < 2 * nearby;
        if (!m_isPlain || isShort || m_advance < m_measured / 2 || m_advance < 2.0 * width)
            MeasureAll();
        return piece;
    }

private:
    void MeasureAll() { m_advance = m_measured = m_measure(Rest()); }

    const QString m_word;
    const Measure &m_measure;
    const bool m_isPlain;
    int m_from = 0;
    double m_advance = 0; ///< of what is left; exact where it is less than twice the width of a line
    double m_measured = 0; ///< what it was when all of it was measured
};

/// A paragraph in lines of @p width, filled from the first to the last with as many tokens as fit; @p indent is taken
/// from the width of the first one. The lines hold the whole text, spaces at their ends too, which count as they are
/// measured. What is longer than a line is broken into pieces by characters, and the line of the last piece takes what
/// follows. No lines at all for a width below 1.
template <class Measure>
QStringList wrap(const QString &paragraph, int width, int indent, const Measure &measure)
{
    if (width < 1)
        return {};
    if (paragraph.isEmpty())
        return { QString() };
    QStringList lines;
    GrowingLine<Measure> line(measure);
    int available = std::max(arithmetic::wrappingSubtract(width, indent), 0); // of the first line, until there is one
    for (const QString &token : tokens(paragraph)) {
        const double together = line.AdvanceWith(token);
        if (wholePixels(together) <= available) {
            line.Append(token, together);
            continue;
        }
        if (!line.Line().isEmpty()) {
            lines << line.Line();
            available = width;
        }
        Remainder<Measure> left(token, measure);
        while (wholePixels(left.Advance()) > available) { // nothing, left in the end, is 0 wide
            lines << left.Take(available, width);
            available = width;
        }
        line.Begin(left.Rest(), left.Advance());
    }
    if (!line.Line().isEmpty())
        lines << line.Line();
    return lines;
}

} // namespace text
