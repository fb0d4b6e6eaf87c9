#include "TextTool.h"

#include "kit/Font.h"
#include "kit/Picture.h"
#include "kit/Test.h"

using kit::Picture;

/// The page docs/behaviour/text.md: that its tool does what it says.
class TestTextTool : public QObject {
    Q_OBJECT

    const QFont m_font = kit::font(20);
    const QFontMetrics m_metrics { m_font };

    /// What is drawn: the rectangle of the pixels that are not transparent.
    static QRect drawn(TextTool &tool)
    {
        RGBA32iImage canvas(400, 300, true);
        tool.draw(canvas, Qt::red, KXCompositionMode::SourceOver);
        const Picture picture = Picture::of(canvas);
        QRect result;
        for (int i = 0; i < 400 * 300; ++i)
            if (picture.pixels[size_t(i)].a != 0)
                result |= QRect(i % 400, i / 400, 1, 1);
        return result;
    }

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    void editsInBox()
    {
        const int width = m_metrics.horizontalAdvance("Hello wor"), line = m_metrics.height();
        TextTool tool(m_font, QSize(width, 3 * line));
        tool.type("Hello world");
        QTransform placed = QTransform::fromTranslate(50, 40);
        tool.place(placed);
        QCOMPARE(tool.caret().boundingRect(),
            QRectF(50 + m_metrics.horizontalAdvance("world"), 40 + m_metrics.height(), 0, line));
        QCOMPARE(tool.box().boundingRect(), QRectF(50, 40, width, 3 * line));
        QCOMPARE(tool.underline().boundingRect(),
            QRectF(50, 40 + m_metrics.ascent(), m_metrics.horizontalAdvance("Hello "), line));
        tool.click(placed.map(QPointF(-9, 5)), false);
        tool.type(">");
        QCOMPARE(tool.text(), QString(">Hello world"));
        // From behind the first character of the first line to behind the third one of the second.
        tool.click(placed.map(QPointF(m_metrics.horizontalAdvance(">"), line / 2)), false);
        tool.click(placed.map(QPointF(m_metrics.horizontalAdvance("wor"), line * 3 / 2)), true);
        QCOMPARE(tool.selected(), QString("Hello wor"));
        QCOMPARE(tool.selection().boundingRect().top(), 40.0);
        QCOMPARE(tool.selection().boundingRect().height(), 2.0 * line);
        tool.type("Bi\n");
        QCOMPARE(tool.text(), QString(">Bi\nld"));
        QVERIFY(!tool.overflows());
        tool.type("\n\n");
        QVERIFY(tool.overflows());
    }

    /// Each picture is where the marks are, also the second one, and through a transform.
    void drawsWhereMarksAre()
    {
        TextTool tool(m_font, QSize());
        tool.type("Hill");
        const QRect once = drawn(tool);
        QVERIFY(!once.isEmpty());
        QCOMPARE(drawn(tool), once);
        tool.place(QTransform(0, 2, -2, 0, 300, 100)); // a quarter turn, twice as large
        const QRect turned = drawn(tool);
        QVERIFY(std::abs(turned.height() - 2 * once.width()) <= 3 && std::abs(turned.width() - 2 * once.height()) <= 3);
        tool.click(QPointF(290, 100), false);
        tool.click(QPointF(290, 290), true);
        QVERIFY(tool.selection().boundingRect().adjusted(-2, -2, 2, 2).contains(turned));
        tool.place(QTransform::fromTranslate(20, 60));
        tool.deform({ 100 });
        const QRect bent = drawn(tool);
        QVERIFY(bent.height() > once.height() + m_metrics.height() / 2);
        QVERIFY(tool.selection().boundingRect().adjusted(-2, -2, 2, 2).contains(bent));
    }
};

KXCORE_TEST_MAIN(TestTextTool)
#include "tst_texttool.moc"
