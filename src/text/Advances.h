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

/// Whether all characters are from left to right, of scripts without joined letters, and not marks, tabs or controls:
/// Latin, Greek, Cyrillic, Chinese, Japanese and Korean with their digits and punctuation.
inline bool isPlain(const QString &string)
{
    constexpr struct {
        ushort first, last;
    } ranges[] = { { 0x20, 0x7E }, { 0xA0, 0xAC }, { 0xAE, 0x24F }, { 0x386, 0x481 }, { 0x2010, 0x2027 },
        { 0x3000, 0x3020 }, { 0x3041, 0x3096 }, { 0x30A0, 0x30FF }, { 0x4E00, 0x9FFF }, { 0xAC00, 0xD7A3 },
        { 0xFF01, 0xFF9D } };
    return std::all_of(string.begin(), string.end(), [&ranges](QChar c) {
        return std::any_of(std::begin(ranges), std::end(ranges),
            [c](const auto &range) { return c.unicode() >= range.first && c.unicode() <= range.last; });
    });
}

/// So many characters that what is before them changes no advance of what is behind them, where all is plain.
constexpr int nearby = 8;

/// Qt shapes so many characters of one script at once. Those at both sides of such a limit are not kerned.
constexpr int shapedAtOnce = 4096;

/// The advances of a line that grows, and what they would be with more behind it.
///
/// The advance of a string is not the sum of its characters': kerning and ligatures change it. In a plain line what is
/// far away changes nothing, so it need not be measured from its beginning: a part adds what it adds to the nearby
/// characters before it. One of these belongs to a script, if any in the line does, because those that all scripts
/// share are shaped as the ones before them. Measured whole is a line that is not plain, as tab stops and the order of
/// two directions count from its beginning, and one that is about to pass a limit of what is shaped at once. Where
/// these limits lie is known of a line of one script; one of several scripts that is too long is measured whole too.
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
        const int nearbyBlock = (m_line.length() - m_end.length()) / shapedAtOnce;
        const int lastBlock = (m_line.length() + part.length() - 1) / shapedAtOnce;
        const bool isShapedAtOnce = nearbyBlock == lastBlock && (lastBlock == 0 || !m_isMixed);
        const bool isFirstOfScript =
            m_script == QChar::Script_Common && std::any_of(part.begin(), part.end(), hasScript);
        if (m_isPlain && isPlain(part) && isShapedAtOnce && !isFirstOfScript)
            return m_advance + m_measure(m_end + part) - m_endAdvance;
        return m_measure(m_line + part);
    }

    /// A new line, of a part with that advance.
    void Begin(const QString &part, double advance)
    {
        m_line.clear();
        m_end.clear();
        m_advance = m_endAdvance = 0;
        m_isPlain = true;
        m_isMixed = false;
        m_script = QChar::Script_Common;
        Append(part, advance);
    }

    /// @p advance is what the line has with the part: AdvanceWith(part).
    void Append(const QString &part, double advance)
    {
        const bool wasCommon = m_script == QChar::Script_Common;
        for (const QChar c : part)
            if (hasScript(c)) {
                m_isMixed = m_isMixed || (m_script != QChar::Script_Common && m_script != c.script());
                m_script = c.script();
            }
        m_isPlain = m_isPlain && isPlain(part);
        m_line += part;
        m_end += part;
        m_endAdvance += advance - m_advance;
        m_advance = advance;
        const bool isCommon = m_script == QChar::Script_Common;
        const QString end = m_end.right(nearby);
        const bool isCut =
            m_isPlain && m_end.length() > 2 * nearby && (isCommon || std::any_of(end.begin(), end.end(), hasScript));
        if (isCut)
            m_end = end;
        if (isCut || (m_end.length() < m_line.length() && wasCommon && !isCommon))
            m_endAdvance = m_measure(m_end);
    }

private:
    static bool hasScript(QChar c) { return c.script() > QChar::Script_Common; }

    const Measure &m_measure;
    QString m_line, m_end; ///< all of it, and the nearby characters at its end
    double m_advance = 0, m_endAdvance = 0; ///< of both
    bool m_isPlain = true;
    bool m_isMixed = false; ///< of several scripts
    QChar::Script m_script = QChar::Script_Common; ///< the last one
};

/// The advances of all beginnings of a line, in whole pixels, from that of no character on.
template <class Measure>
QList<int> prefixAdvances(const QString &line, const Measure &measure)
{
    QList<int> result { 0 };
    result.reserve(line.length() + 1);
    GrowingLine<Measure> growing(measure);
    for (const QChar character : line) {
        const double advance = growing.AdvanceWith(character);
        growing.Append(character, advance);
        result << wholePixels(advance);
    }
    return result;
}

} // namespace text
