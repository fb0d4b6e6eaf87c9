#include "OPImagePainter.h"

#include "KXComposer.h"
#include "kit/Font.h"
#include "kit/Images.h"

#include <QtGui/QPainterPath>
#include <QtGui/QPen>
#include <QtGui/QTextOption>

#include <cmath>

using kit::Picture;

namespace {

constexpr auto over = QPainter::CompositionMode_SourceOver;
constexpr auto source = KXCompositionMode::Source;

/// A QImage that shows @p part of a picture, for as long as that lives.
QImage shown(Picture &picture, const QRect &part)
{
    return QImage(reinterpret_cast<uchar *>(&picture.at(part.x(), part.y())), part.width(), part.height(),
        picture.width * 4, QImage::Format_ARGB32);
}

/// @p picture after @p paint, done by QPainter on squares of @p side one by one.
template <class Paint>
Picture painted(Picture picture, QPainter::CompositionMode mode, int side, const Paint &paint)
{
    for (int y = 0; y < picture.height; y += side)
        for (int x = 0; x < picture.width; x += side) {
            QImage image = shown(picture, QRect(x, y, side, side) & picture.rect());
            QPainter painter(&image);
            painter.translate(-x, -y);
            painter.setCompositionMode(mode);
            paint(painter);
        }
    return picture;
}

QPainterPath shape()
{
    QPainterPath path;
    path.addEllipse(QRectF(20.3, -10.6, 170, 130));
    path.addRect(60, 40, 60.5, 30);
    return path;
}

} // namespace

/// The functions of OPImagePainter.
class TestPainter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const kit::LogCapture log;
        RGBA32iImage image(1, 1, false);
        DrawImage(image, source, QPoint(), image, 1, false);
        QCOMPARE(log.texts(), QStringList { "[src/OPImagePainter] Unexpected exception bad_function_call" });
        loadAVX2Functions(true);
    }

    /// By hand: the first grey is (18 * 11 + 52 * 16 + 86 * 5) / 32, the last one 255 * 11 / 32.
    void masks()
    {
        using Row = std::vector<OPRGBA32i>;
        const OPRGBA32i none(0u), full(0xFF000000u);
        Picture pixels(3, 1);
        pixels.pixels = { OPRGBA32i(0x80123456u), OPRGBA32i(0x00FFFFFFu), OPRGBA32i(0xFFFF0000u) };
        const std::tuple<void (*)(RGBA32iImage &, const RGBA32iImage &), Row, OPRGBA32i> makers[] = {
            { CreateFromSourceMask, { OPRGBA32i(0x2D000000u), full, OPRGBA32i(0x57000000u) }, none },
            { CreateFromTransparancyMask, { OPRGBA32i(0x80000000u), none, full }, none },
            { CreateHideAllMask, { none, none, none }, none },
            { CreateRevealAllMask, { full, full, full }, full },
        };
        for (const auto &[make, expected, ofTiled] : makers) {
            RGBA32iImage image = pixels.image(false), own = image;
            own.SetDpi(7, 8);
            make(own, own);
            QVERIFY(!own.IsTiled() && own.DpiX() == 96 && Picture::of(own).pixels == expected);
            COMPARE_PICTURE(Picture::of(image), pixels);
            make(image, pixels.image(true));
            COMPARE_PICTURE(Picture::of(image), Picture(3, 1, ofTiled));
            make(image, RGBA32iImage(0, 7, false));
            QCOMPARE(image.Rect(), QRect(0, 0, 0, 7));
        }
    }

    void invert()
    {
        const std::pair<unsigned, unsigned> cases[] = { { 0, 0x80123456 }, { 1, 0x80ED3456 }, { 2, 0x8012CB56 },
            { 4, 0x801234A9 }, { 8, 0x7F123456 }, { 15, 0x7FEDCBA9 }, { ~15u, 0x80123456 } };
        for (const auto &[channels, expected] : cases) {
            RGBA32iImage image = Picture(2, 3, OPRGBA32i(0x80123456u)).image(false);
            InvertImage(image, channels);
            COMPARE_PICTURE(Picture::of(image), Picture(2, 3, OPRGBA32i(expected)));
        }
    }

    /// In all storage and formats; a negative position leaves the last column.
    void images()
    {
        Picture pixels = Picture::random(4, 4, 1);
        const Picture target = Picture::random(3, 3, 2);
        Picture expected = target;
        for (const QPoint p : { QPoint(0, 1), QPoint(1, 1), QPoint(0, 2), QPoint(1, 2) })
            expected.at(p.x(), p.y()) = pixels.at(p.x() + 1, p.y() - 1);
        for (const bool isTiled : { false, true }) {
            const auto mixesAsCompose = [&](const auto &from) {
                RGBA32iImage drawn = target.image(isTiled), composed = target.image(isTiled);
                DrawImage(drawn, KXCompositionMode::SourceOver, QPoint(-1, 1), from, 0.4, true);
                Compose(from, pixels.rect(), KXCompositionMode::SourceOver, composed, QRect(-1, 1, 3, 3), 0.4, true);
                COMPARE_PICTURE(Picture::of(drawn), Picture::of(composed));
            };
            mixesAsCompose(shown(pixels, pixels.rect()));
            for (const bool isSourceTiled : { false, true }) {
                const RGBA32iImage from = pixels.image(isSourceTiled);
                RGBA32iImage image = target.image(isTiled);
                DrawImage(image, source, QPoint(-1, 1), from, 1, false);
                for (const int far : { INT_MIN, INT_MAX })
                    for (const QPoint at : { QPoint(far, 0), QPoint(0, far) })
                        DrawImage(image, source, at, from, 1, false);
                COMPARE_PICTURE(Picture::of(image), expected);
                mixesAsCompose(from);
            }
            const kit::LogCapture log;
            for (int format = 0; format < QImage::NImageFormats; ++format) {
                const bool fits = format == QImage::Format_ARGB32;
                RGBA32iImage image = target.image(isTiled);
                DrawImage(image, source, QPoint(-1, 1),
                    fits ? shown(pixels, pixels.rect()) : QImage(4, 4, QImage::Format(format)), 1, false);
                COMPARE_PICTURE(Picture::of(image), fits ? expected : target);
            }
        }
    }

    /// Every mode, as QPainter paints on an image of its own; in tiles, on one for each.
    void asQPainter()
    {
        Picture texture = Picture::random(5, 4, 7);
        QBrush brush(shown(texture, texture.rect()));
        brush.setTransform(QTransform().rotate(20).scale(2.5, 3));
        const QPen pen(QColor(30, 90, 200, 200), 3.5, Qt::DashLine, Qt::RoundCap);
        const Picture before = Picture::random(300, 200, 3);
        for (int number = 0; number <= QPainter::RasterOp_NotDestination; ++number)
            for (const bool withOutline : { false, true }) {
                const auto mode = QPainter::CompositionMode(number);
                const auto fill = [&](QPainter &painter) {
                    painter.setRenderHints(QPainter::RenderHints(5));
                    painter.fillPath(shape(), brush);
                    if (withOutline)
                        painter.strokePath(shape(), QPen(brush, 1));
                };
                RGBA32iImage flat = before.image(false), tiled = before.image(true), stroked = before.image(false);
                const RGBA32iImage copy = tiled;
                FillPath(flat, mode, shape(), brush, withOutline);
                FillPath(tiled, mode, shape(), brush, withOutline);
                DrawPath(stroked, mode, shape(), pen);
                COMPARE_PICTURE(Picture::of(flat), painted(before, mode, 300, fill));
                COMPARE_PICTURE(Picture::of(tiled), painted(before, mode, 128, fill));
                COMPARE_PICTURE(Picture::of(copy), before);
                COMPARE_PICTURE(Picture::of(stroked),
                    painted(before, mode, 300, [&](QPainter &painter) { painter.strokePath(shape(), pen); }));
            }
    }

    /// Turned by a right angle, a box of 40 by 10 about (30, 25) is one of 10 by 40.
    void text()
    {
        const Picture before = Picture::random(80, 60, 4);
        const QTextOption option(Qt::AlignLeft | Qt::AlignBottom);
        const QBrush brush(Qt::red, Qt::Dense3Pattern);
        for (const auto &[angle, box] : { std::pair(0.0, QRectF(10, 20, 40, 10)), { 90.0, QRectF(25, 5, 10, 40) } }) {
            RGBA32iImage image = before.image(false);
            DrawTextW(image, over, 0.5, QRectF(10, 20, 40, 10), "Hi!", brush, kit::font(9), angle, option);
            const auto paint = [&, angle = angle, box = box](QPainter &painter) {
                painter.setFont(kit::font(9));
                painter.setOpacity(0.5);
                painter.setPen(QPen(brush, 1));
                painter.translate(30, 25);
                painter.rotate(angle);
                painter.translate(-30, -25);
                painter.drawText(box, "Hi!", option);
            };
            COMPARE_PICTURE(Picture::of(image), painted(before, over, 80, paint));
            QVERIFY(!kit::difference(Picture::of(image), before).isEmpty());
        }
    }

    /// Six tiles, the last but one null, and behind a flat window: which become private, and what is written in them.
    void tiles()
    {
        QRandomGenerator random = kit::random(5);
        RGBA32iImage image(300, 200, true);
        image.ReleaseTile(4);
        kit::addWindow(random, image, QRect(50, 60, 90, 80));
        const RGBA32iImage copy = image;
        QPainterPath inside;
        inside.addRect(10, 20, 30, 40);
        const auto privateTiles = [&copy](RGBA32iImage &of) {
            QVector<int> result;
            for (int i = 0; i < 6; ++i)
                if (of.TileData(i) != copy.TileData(i))
                    result << i;
            return result;
        };
        DrawPath(image, over, inside, QPen(Qt::red));
        DrawTextW(image, over, 1, QRectF(0, 0, 90, 90), "Hello", Qt::red, kit::font(30), 3, {});
        InvertImage(image, 15);
        {
            const kit::Processors one(1);
            FillPath(image, over, inside, Qt::red, true);
        }
        QCOMPARE(privateTiles(image), QVector<int>());
        COMPARE_PICTURE(Picture::of(image), Picture::of(copy));
        for (const QPainterPath &path : { QPainterPath(), inside.translated(-500, 0), inside }) {
            image = copy;
            FillPath(image, over, path, Qt::red, false);
            QCOMPARE(privateTiles(image), (QVector<int> { 0, 1, 2, 3, 5 }));
        }
        Picture expected(300, 200);
        for (int i = 0; i < 30 * 40; ++i)
            expected.at(10 + i % 30, 20 + i / 30).word = 0xFFFF0000;
        image.ClearFlatWindow();
        COMPARE_PICTURE(Picture::of(image), expected);
    }

    /// Nothing is drawn; or what Qt draws, but it comes to an end.
    void oddInput()
    {
        const QRectF rect(1, 1, 30, 30);
        const QFont font = kit::font(9);
        const QColor red(Qt::red);
        const kit::LogCapture log;
        for (const RGBA32iImage &image :
            { Picture::random(40, 30, 6).image(false), RGBA32iImage(40, 30, true), RGBA32iImage(0, 9, false) }) {
            RGBA32iImage dst = image;
            const Picture untouched = Picture::of(image);
            const auto noMode = QPainter::CompositionMode(63);
            DrawPath(dst, noMode, shape(), red), DrawPath(dst, over, {}, red);
            FillPath(dst, noMode, shape(), red, true), FillPath(dst, over, {}, red, true);
            DrawTextW(dst, noMode, 1, rect, "Hi!", red, font, 0, {});
            DrawTextW(dst, over, 1, rect, {}, red, font, 0, {});
            DrawTextW(dst, over, qQNaN(), rect, "Hi!", red, font, 0, {});
            for (const double number : { qInf(), -qInf(), qQNaN(), 0.0, -1.0, 1e-300, 1e6, 1e18, 1e300, -1e300 }) {
                if (number == 0) // from here on something may be drawn
                    COMPARE_PICTURE(Picture::of(dst), untouched);
                const QPainterPath path = QTransform(1, 0, 0, 1, number, 0).map(shape());
                QPen dashed(red, 2), shifted(red, 2, Qt::DashLine);
                dashed.setDashPattern({ 1, number });
                shifted.setDashOffset(number);
                DrawPath(dst, over, path, red), DrawPath(dst, over, path, QPen(red, 2, Qt::DotLine));
                for (const QPen &pen : { QPen(red, std::abs(number)), dashed, shifted })
                    DrawPath(dst, over, shape(), pen);
                FillPath(dst, over, path, red, true);
                DrawTextW(dst, over, 1, QRectF(1, number, 9, 9), "Hi!", red, font, 3, {});
                DrawTextW(dst, over, 1, rect, "Hi!", red, font, number, {});
            }
        }
        QCOMPARE(log.texts(), QStringList());
    }

    /// What the header shows.
    void example()
    {
        RGBA32iImage layer(240, 140, false);
        const QFont font = kit::font(30);
#include "OPImagePainter-1.inc"
        const Picture drawn = Picture::of(layer);
        QCOMPARE(drawn.at(120, 12), OPRGBA32i(0xFFFFFFFFu));
        QVERIFY(std::count_if(drawn.pixels.begin(), drawn.pixels.end(), [](auto p) { return p.a == 255 && p.r < 128; })
            > 100);
    }
};

KXCORE_TEST_MAIN(TestPainter)
#include "tst_painter.moc"
