#pragma once

#include "support/Arithmetic.h"
#include "text/Advances.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <algorithm>

/// Breaking text into lines. Widths are whole pixels.
namespace text {

/// The first of the pieces into which a word is cut so that each fits @p width: as many characters as fit, one by one,
/// and at least one. Empty for an empty word.
template <class Measure>
QString firstPiece(const QString &word, int width, const Measure &measure)
{
    int length = std::min(1, word.length());
    while (length < word.length() && wholePixels(measure(word.left(length + 1))) <= width)
        ++length;
    return word.left(length);
}

/// A word in pieces that fit @p width, but for those that are one character, and that one wider.
template <class Measure>
QStringList splitWord(QString word, int width, const Measure &measure)
{
    QStringList pieces;
    while (!word.isEmpty()) {
        pieces << firstPiece(word, width, measure);
        word.remove(0, pieces.last().length());
    }
    return pieces;
}

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
        QString rest = token;
        double advance = measure(rest);
        for (; wholePixels(advance) > available; advance = measure(rest)) { // nothing, left in the end, is 0 wide
            lines << firstPiece(rest, available, measure);
            rest.remove(0, lines.last().length());
            available = width;
        }
        line.Begin(rest, advance);
    }
    if (!line.Line().isEmpty())
        lines << line.Line();
    return lines;
}

} // namespace text
