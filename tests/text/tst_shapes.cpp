#include "kit/Table.h"

#include "text/Deformation.h"
#include "text/Overlays.h"
#include "text/Polyline.h"

#include <limits>

/// Shapes of the editing view, with characters that are all 10 pixels wide, and the deformation of paths.
class TestShapes : public QObject {
    Q_OBJECT

    static int measure(const QString &string) { return 10 * (string.length() - int(string.count('^'))); }

    /// "M4,6 L14,6 ": an element each.
    static QString described(const QPainterPath &path)
    {
        QString result;
        for (int i = 0; i < path.elementCount(); ++i)
            result += QString("%1%2,%3 ")
                          .arg(path.elementAt(i).isMoveTo() ? "M" : "L")
                          .arg(path.elementAt(i).x)
                          .arg(path.elementAt(i).y);
        return result;
    }

    /// Lines of 8 up and 2 down, 3 apart, in a box of 100: the first has space around it, the second is set right.
    template <class Ask>
    static QString onPlaces(const QStringList &lines, int length, const Ask &ask)
    {
        text::Entries entries { { 1, 4, 0, 0, 1, 5, true }, { 3, 0, 0, 0, 0, 0, true } };
        return described(ask(text::Places(lines, length, QRect(0, 0, 100, 99), entries, { 8, 2, 3 }, &measure)));
    }

private Q_SLOTS:
    void carets()
    {
        const auto caret = [](int position) {
            return onPlaces(
                { "aa ", "bb", "cc" }, 9, [=](const auto &places) { return text::caret(places, position); });
        };
        QCOMPARE(caret(0), QString("M4,11 L4,1 "));
        QCOMPARE(caret(3), QString("M34,11 L34,1 "));
        QCOMPARE(caret(4), QString("M80,28 L80,18 "));
        QCOMPARE(caret(6), QString("M100,28 L100,18 "));
        QCOMPARE(caret(9), QString("M20,41 L20,31 "));
    }

    void selections()
    {
        const auto selection = [](int start, int end) {
            return onPlaces(
                { "aa ", "bb", "cc" }, 9, [=](const auto &places) { return text::selection(places, start, end); });
        };
        const QString second("M80,18 L100,18 L100,28 L80,28 L80,18 ");
        QCOMPARE(selection(1, 8), "M14,1 L34,1 L34,11 L14,11 L14,1 " + second + "M0,31 L10,31 L10,41 L0,41 L0,31 ");
        QCOMPARE(selection(4, 7), second); // the last line is not entered
        QCOMPARE(selection(3, 6), "M34,1 L34,1 L34,11 L34,11 L34,1 " + second); // the first has a newline alone
        QCOMPARE(selection(3, 3), QString("M34,1 L34,1 L34,11 L34,11 L34,1 "));
        QCOMPARE(selection(5, 4), QString());
    }

    void linesThroughPositions()
    {
        const auto through = [](const QStringList &lines, int length, text::NewLine newLine) {
            return onPlaces(
                lines, length, [=](const auto &places) { return text::throughPositions(places, 5, newLine); });
        };
        QCOMPARE(through({ "aa ", "bb", "c" }, 8, text::NewLine::Connected),
            QString("M4,6 L14,6 L24,6 L34,6 L80,23 L90,23 L100,23 L0,36 L10,36 "));
        QCOMPARE(through({ "aa ", "", "c" }, 6, text::NewLine::Apart), QString("M4,6 L14,6 L24,6 L34,6 M0,36 L10,36 "));
        QCOMPARE(through({ "a^a" }, 3, text::NewLine::Apart), QString("M4,6 L14,6 L24,6 ")); // ^ has no width
        QCOMPARE(through({ "a", "b" }, 0, text::NewLine::Apart), QString("M4,6 ")); // nothing of it is shown
    }

    void cutsPaths_data()
    {
        // Pieces of a way of 5 to the right, 4 down and 2 to the left.
        const kit::Table<float, QString> table("longest", "pieces");
        table.row("by 2", 2.0f, "M0,0 L2,0 L5,0 L5,2 L5,4 L3,4 ");
        table.row("by 1.5", 1.5f, "M0,0 L1.5,0 L3,0 L5,0 L5,1.5 L5,4 L3,4 ");
        for (const float none : { 0.0f, -1.0f, 5.0f, std::numeric_limits<float>::quiet_NaN() })
            table.row(qPrintable(QString::number(double(none))), none, "M0,0 L5,0 L5,4 L3,4 ");
    }
    void cutsPaths()
    {
        QFETCH(float, longest);
        QTEST(described(text::cut(polyline({ { 0, 0 }, { 5, 0 }, { 5, 4 }, { 3, 4 } }), longest)), "pieces");
    }

    void limitsPieces()
    {
        const QPainterPath cut = text::cut(polyline({ { 0, 0 }, { 3e9, 0 }, { 3e9, 1e9 } }), 2);
        QVERIFY(cut.elementCount() <= text::mostPieces + 3 && cut.elementCount() > text::mostPieces - 3);
        QVERIFY(std::abs(cut.elementAt(1).x - 4e9 / text::mostPieces) < 1);
        QCOMPARE(text::cut(polyline({ { 0, 0 }, { 1e300, 0 }, { 1e300, 3 } }), 2).elementCount(), 3); // no float
        QVERIFY(text::cut(polyline({ { 0, 0 }, { 9, 0 } }), 1e-40f).elementCount() <= text::mostPieces + 2);
    }

    void leavesWhatHasNoSize()
    {
        QPainterPath path = polyline({ { 120, 7 } });
        text::wave(path, Qt::Horizontal, QPointF(100, 60), 0, 8);
        text::shear(path, text::ShearDown | text::ShearRight, 0, 1e-17f, 1.0f, 0.5f, QPointF(50, 20));
        QCOMPARE(QPointF(path.elementAt(0)), QPointF(120, 7));
    }

    void roundsRectangles()
    {
        QRandomGenerator random = kit::random();
        const auto number = [&random] { return (random.bounded(4000) - 2000) / 8.0; };
        for (int n = 0; n < 1000; ++n) {
            const QRectF rect(number(), number(), number(), number());
            QCOMPARE(text::rounded(rect), rect.toRect());
            QCOMPARE(text::rounded(rect.topLeft()), rect.topLeft().toPoint());
        }
        QCOMPARE(text::rounded(QRectF(0, 0, 1e300, 7)).height(), 7); // defined, if not of use
    }
};

KXCORE_TEST_MAIN(TestShapes)
#include "tst_shapes.moc"
