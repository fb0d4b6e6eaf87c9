#include "OPTextHelper.h"

#include "Suite.h"

#include <QtGui/QTextLayout>

#include <algorithm>
#include <random>

namespace bench {

namespace {

constexpr int characters = isTiny ? 100 : 10000;
constexpr int caret = characters / 2, selectionEnd = characters * 9 / 10; // the selection begins at the caret

/// Words of one to nine letters; after every sixtieth or so a paragraph ends.
const QString &prose()
{
    static const QString text = [] {
        std::mt19937 random(1);
        QString words;
        while (words.length() < characters) {
            for (auto letters = random() % 9 + 1; letters > 0; --letters)
                words += QChar('a' + int(random() % 26));
            words += QChar(random() % 60 == 0 ? '\n' : ' ');
        }
        return words;
    }();
    return text;
}

QFont font()
{
    QFont result;
    result.setPixelSize(16);
    return result;
}

/// Lines, outlines, caret and selection by Qt's own text layout.
void layOutByQt(int boxWidth)
{
    QPainterPath path, marks;
    double top = 0;
    int start = 0; // of the paragraph, in the text
    for (const QString &paragraph : prose().split('\n')) {
        QTextLayout layout(paragraph, font());
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(boxWidth);
            path.addText(0, top + line.ascent(), font(), paragraph.mid(line.textStart(), line.textLength()));
            const int from = std::max(start + line.textStart(), caret);
            const int to = std::min(start + line.textStart() + line.textLength(), selectionEnd);
            if (from == caret && from <= to) {
                marks.moveTo(line.cursorToX(from - start), top);
                marks.lineTo(line.cursorToX(from - start), top + line.height());
            }
            if (from < to) {
                const double left = line.cursorToX(from - start);
                marks.addRect(left, top, line.cursorToX(to - start) - left, line.height());
            }
            top += line.height();
        }
        layout.endLayout();
        start += paragraph.length() + 1;
    }
    path.boundingRect();
}

} // namespace

/// Laying a text out in a box, a caret and a selection. Most of it are the outlines, which Qt makes for both.
void addText(Suite &suite)
{
    for (const int boxWidth : { 600, 4000 }) {
        const std::string name = "text, box of " + std::to_string(boxWidth);
        suite.addRow(name, { Column::TextLayout, {}, 0.5 });
        suite.addOurs(
            name, 9, [] {},
            [boxWidth] {
                static OPTextHelper text; // as an application has one while somebody types
                text.SetTextArea(QRect(0, 0, boxWidth, 1000000));
                text.SetParagraphParameters({});
                text.SetFont(font());
                text.SetText(prose());
                text.GetTextRect();
                text.GetVerticalLine({}, caret, 0);
                text.GetSelectionRect(caret, selectionEnd);
            });
        suite.addPeer(
            name, Column::TextLayout, 9, [] {}, [boxWidth] { layOutByQt(boxWidth); });
    }
}

} // namespace bench
