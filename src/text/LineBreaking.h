#pragma once

#include "support/Arithmetic.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <algorithm>

/// Breaking text into lines. Whatever is measured here is measured by a @c measure(const QString &) of the caller, which
/// gives the advance of a string in whole pixels.
namespace text {

/// The first of the pieces into which a word is cut so that each fits @p width: as many characters as fit, one by one,
/// and at least one. Empty for an empty word.
template <class Measure>
QString firstPiece(const QString &word, int width, const Measure &measure)
{
    int length = std::min(1, word.length());
    while (length < word.length() && measure(word.left(length + 1)) <= width)
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
    QString line;
    int available = std::max(arithmetic::wrappingSubtract(width, indent), 0); // of the first line, until there is one
    for (const QString &token : tokens(paragraph)) {
        if (measure(line + token) <= available) {
            line += token;
            continue;
        }
        if (!line.isEmpty()) {
            lines << line;
            available = width;
        }
        line = token;
        if (measure(line) <= available)
            continue;
        do {
            lines << firstPiece(line, available, measure);
            line.remove(0, lines.last().length());
            available = width;
        } while (measure(line) > width); // nothing, which is left in the end, is 0 wide
    }
    if (!line.isEmpty())
        lines << line;
    return lines;
}

} // namespace text
