#include "kit/Font.h"
#include "kit/Test.h"

#include "OPTextHelper.h"

/// The text object with a font: what is expected is computed from the font's metrics.
class TestText : public QObject {
    Q_OBJECT

    const QFont m_font = kit::font(16);
    const QFontMetrics m_metrics { m_font };

    int width(const QString &string) const { return m_metrics.horizontalAdvance(string); }

    int twoWords() const { return std::max(width("aa bb "), width("cc dd")); }

    /// "aa bb cc dd" and "ee" in a box for two words: lines "aa bb ", "cc dd", "ee".
    OPTextHelper threeLines() const
    {
        OPTextHelper text;
        text.SetFont(m_font);
        text.SetTextArea(QRect(0, 0, twoWords(), 1000));
        text.SetText("aa bb cc dd\nee");
        text.GetTextRect();
        return text;
    }

private Q_SLOTS:
    void isEmptyAtFirst()
    {
        const OPTextHelper text;
        QVERIFY(text.GetText().isEmpty() && text.GetWrappedText().isEmpty() && text.GetTextArea().isNull());
        QVERIFY(text.GetTransform().isIdentity() && !text.IsTextOutsideArea() && text.GetAlignmentModes().isEmpty());
        QCOMPARE(text.GetLinesCount(), 1);
        QCOMPARE(text.GetStyle(), 0);
        QCOMPARE(text.GetHorizontalStretch() * 1000 + text.GetVerticalStretch(), 100100);
        QCOMPARE(text.GetStartEndPositions(), qMakePair(0, 0));
        QCOMPARE(text.GetSelectedLines(), QSet<int> { 0 });
    }

    void laysOutLines()
    {
        OPTextHelper text;
        text.SetFont(m_font);
        text.SetLineSpacing(4);
        text.SetParagraphParameters({ { 1, 10, 3, 2, 5, 6, true }, { 3, 0, 0, 0, 0, 0, true } });
        text.SetText("Ab\ncd");
        QPainterPath expected;
        expected.addText(9, m_metrics.ascent() + 5, m_font, "Ab");
        expected.addText(-width("cd"), 2 * m_metrics.ascent() + m_metrics.descent() + 6 + 4, m_font, "cd");
        QCOMPARE(text.GetTextRect(), expected.boundingRect());
        text.SetHorizontalStretch(300); // of no account for this rectangle
        QCOMPARE(text.GetTextRect(), expected.boundingRect());
        QVERIFY(!text.IsTextOutsideArea() && text.GetWrappedText() == "Ab\ncd");
        QCOMPARE(
            text.GetAlignmentModes(), (QList<OPTextHelper::AlignmentMode> { OPTextHelper::Left, OPTextHelper::Right }));
    }

    void breaksLines()
    {
        const OPTextHelper text = threeLines();
        QCOMPARE(text.GetWrappedText(), QString("aa bb \ncc dd\nee"));
        QCOMPARE(text.GetLinesCount(), 2);
        QCOMPARE(text.GetAlignmentModes().size(), 3);
        QCOMPARE(text.MakeWrappedText("\naa bb cc dd"), QString("\naa bb \ncc dd"));
        OPTextHelper copy = text, moved = std::move(copy);
        copy = moved;
        QCOMPARE(copy.GetWrappedText(), text.GetWrappedText());
        copy.SetTextArea(QRect());
        QCOMPARE(copy.MakeWrappedText("a"), QString());
        QCOMPARE(copy.GetWrappedText(), QString("aa bb cc dd\nee"));
        QCOMPARE(text.GetTextPoints("W\nab", m_metrics), (QList<int> { 0, width("W"), 0, width("a"), width("ab") }));
    }

    /// Lines that overflow the height are gone, and all lines where one is too wide.
    void tellsWhatDoesNotFit()
    {
        OPTextHelper text = threeLines();
        text.SetTextArea(QRect(0, 0, twoWords(), m_metrics.ascent() + m_metrics.height() - 1));
        text.SetParagraphParameters({});
        text.GetTextRect();
        QVERIFY(text.IsTextOutsideArea());
        QCOMPARE(text.GetWrappedText(), QString("aa bb "));
        QCOMPARE(text.GetPositionWithoutWrap(7, QString()), 14); // behind what is there: the end
        text.SetStartEndPositions(0, 100);
        QCOMPARE(text.GetSelectedLines(), (QSet<int> { 0, 1 }));
        text.SetTextArea(QRect(0, 0, 1, 1000));
        text.SetParagraphParameters({});
        QCOMPARE(text.GetTextRect(), QRectF());
        QVERIFY(text.IsTextOutsideArea() && text.GetWrappedText().isEmpty());
        text.SetTextArea(QRect(0, 0, 1, 0)); // no box
        text.GetTextRect();
        QVERIFY(!text.IsTextOutsideArea() && text.GetWrappedText() == "aa bb cc dd\nee");
    }

    void positions()
    {
        const OPTextHelper text = threeLines(); // typed "aa bb cc dd|ee", wrapped "aa bb |cc dd|ee"
        const auto compare = [](auto function, const QList<QPair<int, int>> &expected) {
            for (const auto &pair : expected)
                QCOMPARE(function(pair.first), pair.second);
        };
        compare([&](int p) { return text.GetPositionWithWrap(p); },
            { { -5, 0 }, { 0, 0 }, { 5, 5 }, { 6, 6 }, { 7, 8 }, { 14, 15 }, { 15, 15 }, { INT_MAX, 15 } });
        compare([&](int p) { return text.GetPositionWithoutWrap(p, QString()); },
            { { -5, 0 }, { 0, 0 }, { 6, 6 }, { 7, 6 }, { 8, 7 }, { 15, 14 }, { 16, 14 }, { INT_MAX, 14 } });
        compare([&](int p) { return text.GetPositionWithoutWrap(p, "aa bb cc dd ee"); }, { { 15, 13 }, { 16, 14 } });
        compare([&](int p) { return text.GetLineByPosition(p, true); },
            { { 0, 0 }, { 6, 0 }, { 7, 1 }, { 13, 2 }, { 99, 2 }, { -1, 2 } });
        compare([&](int p) { return text.GetLineByPositionForWrappedText(p); }, { { 6, 0 }, { 7, 1 } });
        compare([&](int p) { return text.GetLineByPosition(p, false); }, { { 7, 0 }, { 11, 0 }, { 12, 1 }, { -1, 1 } });
        compare([&](int p) { return text.GetSelectedCharFromWrappedText(text.GetText(), p); },
            { { 6, 6 }, { 7, 6 }, { 12, 12 }, { 13, 12 }, { INT_MAX, INT_MAX - 1 } });
        OPTextHelper unbroken;
        unbroken.SetText("ab");
        compare([&](int p) { return unbroken.GetPositionWithWrap(p); }, { { -1, 0 }, { 1, 1 }, { 9, 9 } });
        compare(
            [&](int p) { return unbroken.GetPositionWithoutWrap(p, QString()); }, { { -1, 0 }, { 1, 1 }, { 9, 9 } });
    }

    void alignsSelectedLines()
    {
        using Modes = QList<OPTextHelper::AlignmentMode>;
        OPTextHelper text = threeLines();
        text.SetAlignmentMode({ 3 }); // the caret is in line 0
        QCOMPARE(text.GetAlignmentModes(), (Modes { OPTextHelper::Right, OPTextHelper::Left, OPTextHelper::Left }));
        text.SetStartEndPositions(7, 13);
        QCOMPARE(text.GetSelectedLines(), (QSet<int> { 0, 1 })); // paragraphs
        text.SetAlignmentMode({ 2, 3, 1, 1 });
        QCOMPARE(text.GetAlignmentModes(), (Modes { OPTextHelper::Centre, OPTextHelper::Right, OPTextHelper::Left }));
        text.SetAlignmentMode({ 2 }); // none for line 1: all anew
        QCOMPARE(text.GetAlignmentModes(), Modes { OPTextHelper::Centre });
        text.SetStartEndPositions(3, 2);
        QVERIFY(text.GetSelectedLines().isEmpty());
        text.SetStartEndPositions(INT_MIN, INT_MAX);
        QCOMPARE(text.GetSelectedLines(), (QSet<int> { 0, 1 }));
        text.SetAlignmentMode({});
        QVERIFY(text.GetAlignmentModes().isEmpty());

        QPoint point(0, 7);
        text.SetTextArea(QRect(0, 0, 100, 1));
        text.SetParagraphParameters({ { 3, 0, 0, 0, 0, 0, true } });
        text.SetLineAlignment(m_metrics, "abc", 0, point);
        QCOMPARE(point, QPoint(100 - width("abc"), 7));
        text.SetLineAlignment(m_metrics, "abc", 4, point); // a line that has no entry yet
        QCOMPARE(point.x(), 0);
        QCOMPARE(text.GetAlignmentModes().size(), 5);
    }
};

KXCORE_TEST_MAIN(TestText)
#include "tst_text.moc"
