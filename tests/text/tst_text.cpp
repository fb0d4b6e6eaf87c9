#include "kit/Font.h"
#include "kit/Picture.h"
#include "kit/Test.h"
#include "text/Polyline.h"

#include "OPTextHelper.h"

// Members of the class that only it may call, and that nothing of it calls: explicit instantiation may name them.
template <class Tag, typename Tag::Type member>
struct Open {
    friend typename Tag::Type open(Tag) { return member; }
};
#define OPEN(Tag, member, ...)                                                                                         \
    struct Tag {                                                                                                       \
        using Type = __VA_ARGS__;                                                                                      \
        friend Type open(Tag);                                                                                         \
    };                                                                                                                 \
    template struct Open<Tag, &OPTextHelper::member>
OPEN(SplitWord, splitWordToWidth, QStringList (OPTextHelper::*)(const QString &, int) const);
OPEN(TransformImage, TransformImage, RGBA32iImage (OPTextHelper::*)(const RGBA32iImage &) const);
OPEN(SelectedImage, CreateImageByTextWithSelection, RGBA32iImage (OPTextHelper::*)(QPointF &, int, int));
OPEN(Outline, CreateSelectionPath, QPainterPath (OPTextHelper::*)(const QPointF &, const QSize &, size_t) const);
OPEN(UnderLine, GetUnderLine, QPainterPath (OPTextHelper::*)(const QPoint &, size_t, size_t) const);
OPEN(BentUnderLine, GetUnderLine, QPainterPath (OPTextHelper::*)(const QPoint &, size_t, size_t, const QRect &) const);
OPEN(MapPath, TransformPathWithRect, QPainterPath (OPTextHelper::*)(const QPainterPath &, const QRectF &) const);
OPEN(CutText, PreparePath, void (OPTextHelper::*)());
OPEN(ShearByRect, Distortion, void (OPTextHelper::*)(QPainterPath &, int, float, float) const);

using kit::Picture;

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

    /// The outlines of "Hi" over "yo", a line below it, with the strokes at the corners of the block.
    QPainterPath twoLinesOf(const QString &first, const QString &second, int left) const
    {
        QPainterPath path;
        const int ascent = m_metrics.ascent(), height = ascent + m_metrics.descent();
        path.addText(left, ascent, m_font, first);
        path.addText(left, ascent + height, m_font, second);
        const int right = std::max(width(first) + left, width(second)) + left; // the sum of the lines' places
        for (const QPointF &stroke : { QPointF(std::min(left, 0), 0), QPointF(right, 2 * height) })
            path.addPolygon(QVector { stroke, stroke + QPointF(1, 0) });
        return path;
    }

    /// "Hi" over "yo" from @p left on, without a box.
    OPTextHelper twoLines(int left = 0) const
    {
        OPTextHelper text(1e6f); // nothing is cut
        text.SetFont(m_font);
        text.SetText("Hi\nyo");
        text.SetParagraphParameters({ { 1, left, 0, 0, 0, 0, true }, { 1, left, 0, 0, 0, 0, true } });
        return text;
    }

    static QPainterPath polygons(const QPainterPath &path, const QTransform &transform)
    {
        QPainterPath result;
        for (const QPolygonF &polygon : path.toSubpathPolygons(transform))
            result.addPolygon(polygon);
        return result;
    }

    /// With the last four elements, which are the strokes, where the first one is: nothing of them shows.
    static QPainterPath withoutStrokes(QPainterPath path)
    {
        for (int i = path.elementCount() - 4; i < path.elementCount(); ++i)
            path.setElementPositionAt(i, path.elementAt(0).x, path.elementAt(0).y);
        return path;
    }

    static Picture painted(const QPainterPath &path, const QColor &color)
    {
        const QRect area = path.boundingRect().toRect();
        QImage image(area.size(), QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(color);
        painter.setBrush(color);
        painter.translate(-area.topLeft());
        painter.drawPath(path);
        Picture result(image.width(), image.height());
        std::memcpy(static_cast<void *>(result.pixels.data()), image.constBits(), size_t(image.sizeInBytes()));
        return result;
    }

    static bool isNear(const QPainterPath &a, const QPainterPath &b)
    {
        bool same = a.elementCount() == b.elementCount();
        for (int i = 0; same && i < a.elementCount(); ++i)
            same = a.elementAt(i).type == b.elementAt(i).type
                && (QPointF(a.elementAt(i)) - QPointF(b.elementAt(i))).manhattanLength() < 1e-9;
        return same;
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
        QCOMPARE((text.*open(SplitWord()))("WWWWW", width("WW")), (QStringList { "WW", "WW", "W" }));
        QCOMPARE((text.*open(SplitWord()))("WW", 0), (QStringList { "W", "W" }));
        QCOMPARE((text.*open(SplitWord()))("", 9), QStringList());
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
        text.SetTextArea(QRect(0, 0, 100, 1000));
        text.SetParagraphParameters({});
        text.SetText("");
        QRectF rect, mapped;
        QPointF position;
        QCOMPARE(text.CreatePathByTextWithRect(rect, mapped, position).elementCount(), 4); // the strokes
        QCOMPARE(rect, QRectF(0, 0, 1, m_metrics.ascent() + m_metrics.descent()));
        QCOMPARE(text.GetAlignmentModes().size(), 1); // one line, an empty one
    }

    /// The advance of each beginning of a line, also where kerning, ligatures, marks and directions change it.
    void pointsOfAnyText()
    {
        const QStringList pieces { "A", "V", "To", "f", "fi", "ffi", " ", " ", "  ", "\t", ".", "1(",
            QString::fromUtf8("\u0413\u0434"), QString::fromUtf8("\u0301"), QString::fromUtf8("\u05e9\u05dc"),
            QString::fromUtf8("\u0644\u0627"), QString::fromUtf8("\U0001F600"), QString(QChar(0x9c)) };
        QRandomGenerator random = kit::random();
        for (int n = 0; n < 100; ++n) {
            QString line;
            for (int i = random.bounded(30); i > 0; --i)
                line += pieces[random.bounded(n % 2 ? 9 : pieces.size())];
            QList<int> expected;
            for (int k = 0; k <= line.length(); ++k)
                expected << width(line.left(k));
            QCOMPARE(OPTextHelper().GetTextPoints(line, m_metrics), expected);
        }
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
        text.SetLineAlignment(m_metrics, "abc", INT_MIN, point); // counts as the first
        QCOMPARE(point, QPoint(100 - width("abc"), 7));
        text.SetLineAlignment(m_metrics, "abc", INT_MAX, point); // a line that has no entry yet
        QCOMPARE(point.x(), 0);
        QCOMPARE(text.GetAlignmentModes().size(), 2);
    }

    void pathOfText()
    {
        OPTextHelper text = twoLines(-30);
        text.SetHorizontalStretch(50);
        text.SetVerticalStretch(300);
        text.SetTransform(QMatrix4x4(QTransform::fromScale(2, 1)));
        QPainterPath expected = QTransform::fromScale(0.5, 3).map(twoLinesOf("Hi", "yo", -30));
        expected.translate(-expected.boundingRect().topLeft());
        QRectF rect, mapped;
        QPointF untouched(7, 8);
        const QPainterPath path = text.CreatePathByTextWithRect(rect, mapped, untouched);
        QVERIFY(isNear(path, expected));
        QCOMPARE(rect, expected.boundingRect());
        QCOMPARE(mapped, QRectF(0, 0, 2 * rect.width(), rect.height()));
        QCOMPARE(untouched, QPointF(7, 8));
        text.SetLineSpacing(9); // nothing of this is laid out before the text or the font is set again
        text.SetTextArea(QRect(0, 0, 1, 1));
        text.SetParagraphParameters({});
        text.SetHorizontalStretch(50);
        QCOMPARE(text.CreatePathByTextWithRect(rect, mapped, untouched), path);
        QTransform back;
        text.UnsetTransformOffset(back);
        QCOMPARE(back.dx(), 15.0);
        QPainterPath stretched = twoLinesOf("a", "b", 3);
        text.StretchPath(stretched);
        QCOMPARE(stretched, QTransform::fromScale(0.5, 3).map(twoLinesOf("a", "b", 3)));
    }

    /// Moved, enlarged and turned by a quarter; the strokes are gone from the first picture and show in the second.
    void picturesOfText()
    {
        OPTextHelper text = twoLines(-30);
        text.SetColor(QColor(200, 100, 50, 180));
        text.SetRenderMode(2);
        const QTransform t(0, 2, -2, 0, 11, 22);
        text.SetTransform(QMatrix4x4(t));
        QPainterPath path = twoLinesOf("Hi", "yo", -30);
        const QRectF block = path.boundingRect();
        const QPointF corner = t.mapRect(block).topLeft();
        const QPainterPath marked = polygons(path, t * QTransform::fromTranslate(-corner.x(), -corner.y()));
        QPointF position;
        const Picture first = Picture::of(text.CreateImageByText(position));
        COMPARE_PICTURE(first, painted(withoutStrokes(marked), QColor(200, 100, 50, 180)));
        // The corner moves by half the difference of the sizes, less the transform's own way and that to (-30, 0).
        const QPointF half(block.width() / 2, block.height() / 2);
        QCOMPARE(position, QPointF((half - t.map(half + QPointF(-30, 0))).toPoint()));
        const Picture second = Picture::of(text.CreateImageByText(position));
        COMPARE_PICTURE(second, painted(marked, QColor(200, 100, 50, 180)));
        text.SetColor(Qt::red);
        text.SetRenderMode(1);
        text.SetRenderMode(3); // does nothing
        for (const OPRGBA32i &pixel : Picture::of(text.CreateImageByText(position)).pixels)
            QVERIFY(pixel.a == 0 || pixel.a == 255);

        text.SetText(" \n "); // nothing to see
        QCOMPARE(text.CreateImageByText(position).Rect(), QRect());
        text.SetText("Hi\nyo");
        text.SetHorizontalStretch(0);
        QRectF rect, mapped;
        path = text.CreatePathByTextWithRect(rect, mapped, position);
        const RGBA32iImage empty = text.TransformAndCreateImage(path, QRectF(10, 20, 30, 5), position);
        QCOMPARE(empty.Rect().size(), QSize(10, 60));
        QCOMPARE(position, QPointF(11 - 50 - 10, 22 + 20 - 20)); // no offset: a stretch of 0 leaves the block at 0
        QCOMPARE(Picture::of(empty).pixels, Picture(10, 60).pixels);
        text.SetTransform(QMatrix4x4(QTransform::fromScale(3, 2)));
        Picture source(2, 1, OPRGBA32i(1, 2, 3, 4));
        source.at(1, 0) = OPRGBA32i(5, 6, 7, 8);
        const Picture larger = Picture::of((text.*open(TransformImage()))(source.image(false)));
        QCOMPARE(larger.rect(), QRect(0, 0, 6, 2));
        QCOMPARE(larger.at(2, 1), source.at(0, 0));
        QCOMPARE(larger.at(3, 1), source.at(1, 0));
    }

    /// Wave and shear by their formulas: of the path, of the picture, which measures the shear after the wave, and of
    /// the caret, which follows the path.
    void deforms()
    {
        for (const bool vertical : { false, true }) {
            OPTextHelper text = twoLines();
            QRectF rect, mapped;
            QPointF position;
            const QPainterPath plain = polygons(text.CreatePathByTextWithRect(rect, mapped, position), QTransform());
            text.SetStyle(1);
            text.SetOrientation(vertical);
            text.SetBend(60);
            text.SetHDistortion(40);
            text.SetVDistortion(-20);
            const QRectF block = rect;
            const QPointF origin = block.toRect().center();
            const QSize upright = block.toRect().size(), size = vertical ? upright.transposed() : upright;
            const double height = 0.6 * (size.height() / 4), half = size.width() / 2; // of two lines
            const auto changed = [](QPainterPath path, auto change) {
                for (int i = 0; i < path.elementCount(); ++i) {
                    const QPointF p = change(QPointF(path.elementAt(i)));
                    path.setElementPositionAt(i, p.x(), p.y());
                }
                return path;
            };
            const auto waved = [&](const QPointF &p) {
                const double along = vertical ? p.y() - origin.y() : p.x() - origin.x();
                const double up = std::sin(along * (M_PI / half)) * height;
                return p - (vertical ? QPointF(up, 0) : QPointF(0, up));
            };
            const auto shearedIn = [](const QRectF &area) {
                return [=](const QPointF &p) {
                    const QPointF d = p - area.center();
                    return p
                        + QPointF(double(-0.2f) * d.y() * (d.x() / double(float(area.height() / 2))),
                            double(0.4f) * d.x() * (d.y() / double(float(area.width() / 2))));
                };
            };
            const QPainterPath wave = changed(plain, waved), expected = changed(wave, shearedIn(block));
            QPainterPath path;
            text.CreatePathByTextWithDeformationWithRect(path, rect, mapped, position);
            QVERIFY(isNear(path, expected));
            QCOMPARE(rect, expected.boundingRect());
            QCOMPARE(position, QPointF(int(rect.left()), int(rect.top())));
            const int line = m_metrics.ascent() + m_metrics.descent();
            const QPainterPath caret = polyline({ QPointF(width("H"), line), QPointF(width("H"), 0) });
            QVERIFY(isNear(text.GetVerticalLine(QPoint(), 1, 0), changed(changed(caret, waved), shearedIn(block))));

            const QRectF around = wave.boundingRect();
            const QPainterPath picture = changed(wave, shearedIn(around));
            QPainterPath selection;
            selection.addRect(width("H"), 0, width("i"), upright.height());
            selection = changed(changed(polygons(selection, QTransform()), waved), shearedIn(around));
            position = QPointF(7, 8);
            QVERIFY(isNear(text.CreateSelectionAndDeformationPath(position, 1, 1), selection));
            const QRectF shown = picture.boundingRect();
            QCOMPARE(position, QPointF(7 + int(shown.left()), 8 + int(shown.top())));
            position = QPointF(7, 8);
            const QPainterPath clean =
                withoutStrokes(polygons(picture, QTransform::fromTranslate(-shown.left(), -shown.top())));
            QCOMPARE(
                text.CreateImageByTextWithDeformation(position).Rect().size(), clean.boundingRect().toRect().size());
            QCOMPARE(position, QPointF(7 + int(shown.left()), 8 + int(shown.top())));

            text.SetStyle(2); // the text alone
            QCOMPARE(text.GetVerticalLine(QPoint(), 1, 0).elementAt(1).x, double(width("H")));
            text.SetStyle(1); // without a text the half width is that of half a W
            text.SetText("");
            text.SetVDistortion(0);
            text.SetBend(0);
            text.CreatePathByTextWithDeformationWithRect(path, rect, mapped, position);
            QCOMPARE(path.elementCount(), 4);
            const double dx = 10 - 0.5, dy = line * -0.5; // from the middle of two strokes of a pixel
            const double y = text.GetTextArea(QRect(0, 0, 10, 5)).elementAt(1).y;
            QVERIFY(std::abs(y - double(0.4f) * dx * dy / (width("W") / 2)) < 1e-9);
        }
    }

    void drawsOver()
    {
        OPTextHelper text = twoLines(4);
        text.SetHorizontalStretch(200);
        const QPainterPath places = text.GetCharPath(QPoint(10, 20));
        const int line = m_metrics.ascent() + m_metrics.descent();
        const char *const before[] = { "", "H", "Hi", "", "y", "yo" }; // each position
        QCOMPARE(places.elementCount(), 6);
        for (int i = 0; i < 6; ++i) {
            const int y = line / 2 + (i < 3 ? 0 : line);
            QCOMPARE(QPointF(places.elementAt(i)), QPointF((4 + width(before[i])) * 2 + 10, y + 20));
            QCOMPARE(text.FindSelectedChar(QPoint(10, 20), QPointF(places.elementAt(i)).toPoint() + QPoint(1, 3)), i);
        }
        text.SetText("WW");
        QCOMPARE(text.FindSelectedChar({}, { 8 + width("W"), 0 }), 0); // the middle of the first character: the first
        QCOMPARE(text.GetUnderLine().boundingRect(), QRectF(8, m_metrics.ascent(), 2 * width("WW"), 0));
        QCOMPARE(text.GetVerticalLine({}, -1, 0).boundingRect(), QRectF(8 + 2 * width("WW"), 0, 0, line));
        QVERIFY(text.GetVerticalLine({}, 3, 0).isEmpty());
        QCOMPARE(text.GetSelectionRect(2, 1).boundingRect(), QRectF(8 + 2 * width("W"), 0, 2 * width("W"), line));
        QCOMPARE(text.GetSelectionRect(1, 99).boundingRect(), QRectF(8 + 2 * width("W"), 0, 2 * width("W"), line));
        QVERIFY(text.GetSelectionRect(-1, 5).isEmpty());
        QCOMPARE(text.GetStartEndPositions(), qMakePair(1, 99));
        QCOMPARE(text.GetTextArea(QRect(1, 2, 3, 4)).boundingRect(), QRectF(2, 2, 6, 4));
        QPointF position(7, 8);
        QCOMPARE(text.CreateSelectionAndDeformationPath(position, 1, 1).boundingRect().width(), 1.0 * width("W"));
        QVERIFY(text.CreateSelectionAndDeformationPath(position, 1, -1).isEmpty() && position == QPointF(7, 8));
        QVERIFY(text.GetCenteringMark().isEmpty() == (line < 20));

        const QPainterPath outline = (text.*open(Outline()))(QPointF(1, 2), QSize(10, 5), 2);
        const QPointF corners[] = { { 1, 2 }, { 6, 2 }, { 11, 5 }, { 6, 12 }, { 1, 7 } };
        for (int i = 0; i < 5; ++i)
            QCOMPARE(QPointF(outline.elementAt(i)), corners[i]);
        QVERIFY((text.*open(Outline()))(QPointF(), QSize(9, 9), size_t(1) << 40).elementCount() < 1 << 23);
        QCOMPARE((text.*open(UnderLine()))(QPoint(3, 0), 1, size_t(-1)).elementCount(), 2);
    }

    /// Over two lines, the first of which reaches above the block's top: places are counted from there nevertheless.
    void drawsOverLines()
    {
        const QFont font = kit::font(60);
        const QFontMetrics metrics(font);
        const auto wide = [&](const char *string) { return metrics.horizontalAdvance(string); };
        const int height = metrics.ascent() + metrics.descent(), second = height + 3 + 7 + 5;
        OPTextHelper text(1e6f);
        text.SetFont(font);
        text.SetLineSpacing(3);
        text.SetParagraphParameters({ { 1, 4, 0, 0, -90, 7, true }, { 1, 4, 0, 0, 5, 0, true } });
        text.SetText("Hi\nyo");
        text.GetTextRect();
        QPainterPath expected;
        expected.addRect(4 + wide("H"), -90, wide("Hi") - wide("H"), height);
        QVERIFY(isNear(text.GetSelectionRect(1, 3), expected)); // without the line that begins at the end
        expected.addRect(4, second, wide("y"), height);
        QVERIFY(isNear(text.GetSelectionRect(4, 1), expected));
        QCOMPARE(text.GetUnderLine().elementCount(), 6);
        QVERIFY(text.GetUnderLine().elementAt(3).isMoveTo()); // each line has its own
        const int size = height / 20;
        QCOMPARE(text.GetCenteringMark().boundingRect(), QRectF(-(size / 2), metrics.ascent() - size, size, size));
        text.SetTextArea(QRect(0, 0, 1, 500)); // which holds nothing
        text.GetTextRect();
        QVERIFY(text.GetVerticalLine({}, 1, 0).isEmpty() && text.GetCharPath({}).elementCount() == 1);
        // In the last paragraph, below spaces alone.
        QVERIFY(isNear(text.GetVerticalLine({}, -1, 0), polyline({ { 4, 7 + 5.0 + height }, { 4, 7 + 5 } })));
    }

    /// An edge is cut into whole pieces, the last of which takes what is left; and into so many at most.
    void cutsPaths()
    {
        OPTextHelper text; // pieces of 2
        text.SetFont(m_font);
        text.SetHorizontalStretch(500);
        text.SetText(" "); // the two strokes alone
        QRectF rect, mapped;
        QPointF position;
        const int right = 5 * width(" "), bottom = m_metrics.height();
        text.CreatePathByTextWithRect(rect, mapped, position);
        (text.*open(CutText()))();
        QPainterPath expected;
        for (const QPointF &start : { QPointF(0, 0), QPointF(right, bottom) })
            expected.addPolygon(QVector { start, start + QPointF(2, 0), start + QPointF(5, 0) });
        QCOMPARE(text.CreatePathByTextWithRect(rect, mapped, position), expected);
        text.SetHorizontalStretch(100);
        QVERIFY(text.GetTextArea(QRect(0, 0, INT_MAX, 9)).elementCount() <= 4194304 + 5);
    }

    /// What nothing of the class calls: a picture with a selection, an underline of a part, a mapping, a shear.
    void hasMembersOfItsOwn()
    {
        OPTextHelper text = twoLines();
        text.SetRenderMode(2);
        text.SetColor(Qt::red);
        QRectF rect, mapped;
        QPointF position(7, 8);
        const QPainterPath plain = text.CreatePathByTextWithRect(rect, mapped, position);
        QPainterPath expected = plain;
        expected.addRect(width("H"), 0, width("i"), rect.toRect().height());
        expected = withoutStrokes(polygons(expected, QTransform())); // instead of them the end of the selection
        OPTextHelper copy = text;
        const Picture selected = Picture::of((copy.*open(SelectedImage()))(position, 1, 1));
        COMPARE_PICTURE(selected, painted(expected, Qt::red));
        QCOMPARE(position, QPointF(7, 8));
        copy = text;
        const Picture unselected = Picture::of((text.*open(SelectedImage()))(position, 1, -1));
        COMPARE_PICTURE(unselected, Picture::of(copy.CreateImageByText(position)));
        QCOMPARE(position, QPointF(0, 0));

        const QTransform t(0, 2, -2, 0, 11, 22);
        text.SetTransform(QMatrix4x4(t));
        QCOMPARE((text.*open(MapPath()))(plain, rect), polygons(plain, t));

        QPainterPath square;
        square.addRect(0, 0, 10, 4);
        (text.*open(ShearByRect()))(square, 1, 1, 9);
        QCOMPARE(QPointF(square.elementAt(1)), QPointF(10, -2)); // a full shift is half the height
        QCOMPARE(QPointF(square.elementAt(3)), QPointF(0, 2));

        text.SetStyle(1);
        text.SetBend(50);
        text.SetHDistortion(40);
        const QPainterPath line = (text.*open(BentUnderLine()))(QPoint(3, 5), 0, 1, QRect(0, 0, 100, 40));
        QCOMPARE(line.elementCount(), 2);
        const double y = 2 * 5 + m_metrics.tightBoundingRect("H").height() - 1;
        for (const int i : { 0, 1 }) {
            const double x = 3 + i * width("H"), dx = x - 50;
            const double waved = y - 5 * std::sin((x - 49) * (M_PI / 50)); // half of a quarter of the height
            QCOMPARE(QPointF(line.elementAt(i)), QPointF(x, waved + double(0.4f) * dx * ((waved - 20) / 50)));
        }
        QCOMPARE((text.*open(BentUnderLine()))(QPoint(3, 5), 0, 1, QRect(0, 0, 0, 0)).elementAt(0).y, y);
    }

    /// Nothing crashes or goes on for ever, whatever is set and asked. Paths are not cut here, which would take time.
    void survives()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
        const QString texts[] = { "", "  \n \n",
            QString::fromUtf8("\U0001F600a\u0301\u0301 \u05e9\u05dc\u05d5\u05dd\tx"), QString(300, 'w'),
            QString(QChar(0xDC00)) + QChar(0x9c) + "a", QString(QChar(0x46F)) };
        QFont smallCapitals("DejaVu Serif"); // which has no capital of the last one
        smallCapitals.setCapitalization(QFont::SmallCaps);
        const QRect areas[] = { {}, { 0, 0, 1, 50 }, { 0, 0, 40, INT_MAX },
            { QPoint(INT_MIN, 0), QPoint(INT_MAX, 9) } };
        const int numbers[] = { 0, -7, INT_MIN, INT_MAX };
        const QTransform transforms[] = { QTransform(0, 0, 0, 0, 5, 5), QTransform(nan, 1, 1, inf, nan, 0),
            QTransform(1, 0, 1e-3, 0, 1, 1e-3, 0, 0, 1), QTransform::fromScale(1e30, 1e-30) };
        QRandomGenerator random = kit::random();
        const auto any = [&random](const auto &list) { return list[random.bounded(int(std::size(list)))]; };
        for (int n = 0; n < 60; ++n) {
            OPTextHelper text(any(QVector<float> { 1e9f, 0, -1, float(nan) }));
            text.SetTextArea(any(areas));
            QFont font = any(QVector<QFont> { m_font, QFont("No such font"), smallCapitals });
            text.SetFont(font);
            QList<TextParagraphParams> entries;
            for (int i = random.bounded(4); i > 0; --i)
                entries << TextParagraphParams { random.bounded(5), any(numbers), any(numbers), any(numbers),
                    any(numbers), any(numbers), true };
            text.SetParagraphParameters(entries);
            text.SetLineSpacing(any(numbers));
            text.SetHorizontalStretch(n % 2 ? 100 : any(numbers));
            text.SetVerticalStretch(n % 3 ? 100 : any(numbers));
            text.SetStyle(random.bounded(3));
            text.SetBend(any(QVector<double> { 50, nan, inf, -1e300 }));
            text.SetHDistortion(any(QVector<double> { 10, nan, 1e300 }));
            text.SetText(any(texts));
            QRectF rect, mapped;
            QPointF position;
            QPainterPath path;
            text.CreatePathByTextWithDeformationWithRect(path, rect, mapped, position);
            for (const int start : { INT_MIN, -2, 0, 3, INT_MAX })
                for (const int end : { -3, 2, INT_MAX }) {
                    text.GetSelectionRect(start, end);
                    text.GetSelectedLines();
                    text.GetVerticalLine({}, start, end);
                    text.CreateSelectionAndDeformationPath(position, start, end);
                    QVERIFY(text.GetLineByPosition(text.GetPositionWithWrap(start), true) >= 0);
                    text.GetPositionWithoutWrap(end, "");
                }
            text.GetUnderLine();
            text.GetCenteringMark();
            text.GetTextArea(any(areas));
            text.SetAlignmentMode({ 7, -1, INT_MAX });
            const QPoint far = any(QVector<QPoint> { { 3, 4 }, { INT_MIN, INT_MAX } });
            QVERIFY(text.FindSelectedChar(far, far) <= text.GetText().length() * 2);
            text.SetTransform(QMatrix4x4(any(transforms)));
            try {
                text.CreateImageByTextWithSelectionAndDeformation(position, 0, 1);
            } catch (const std::bad_alloc &) { // for a picture too large
            }
        }
    }
};

KXCORE_TEST_MAIN(TestText)
#include "tst_text.moc"
