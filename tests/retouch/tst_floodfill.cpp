#include "OPFloodFillHelper.h"

#include "kit/Picture.h"

#include <cstdlib>
#include <optional>

namespace {

/// Paints the region around @p seed. Returns where that was.
QRect paint(RGBA32iImage &picture, const QPoint &seed, OPRGBA32i tolerance, OPRGBA32i color)
{
    RGBA32iImage own; // gets the marks
    picture.CopyTo(own, false);
    QRect bounds;
    OPFloodFillHelper::FloodFill(own, picture, seed, tolerance, color, &bounds);
    return bounds;
}

/// The same region as a picture of its own, to compose or to select with: @p color, and transparent elsewhere.
RGBA32iImage region(const RGBA32iImage &picture, const QPoint &seed, OPRGBA32i tolerance, OPRGBA32i color)
{
    RGBA32iImage own, selection(picture.Width(), picture.Height(), false);
    picture.CopyTo(own, false);
    OPFloodFillHelper::FloodFill(own, selection, seed, tolerance, color, nullptr);
    return selection;
}

/// Whether @p pixel is as near to @p seed as @p tolerance allows; without one, whether they are equal.
bool matches(OPRGBA32i pixel, OPRGBA32i seed, const OPRGBA32i *tolerance)
{
    if (!tolerance)
        return pixel == seed;
    bool isNear = true;
    for (int c = 0; c < 4; ++c)
        isNear = isNear && std::abs(kit::channel(pixel, c) - kit::channel(seed, c)) <= kit::channel(*tolerance, c);
    return seed.a == 0 ? pixel.a == 0 : isNear;
}

/// Nothing where all is filled.
std::optional<OPRGBA32i> markerOf(OPRGBA32i seed, OPRGBA32i tolerance)
{
    for (int c = 0; c < 4; ++c) {
        if (kit::channel(seed, c) - kit::channel(tolerance, c) >= (c == 3 ? 2 : 1))
            return c == 3 ? 0x01000000u : 0xFF000000u;
        if (kit::channel(seed, c) + kit::channel(tolerance, c) < 255)
            return c == 3 ? 0xFF000000u : 0xFF000000u | 255u << 8 * c;
    }
    return std::nullopt;
}

using Places = std::vector<QPoint>;

Places allPlaces(const kit::Picture &picture)
{
    Places all;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            all.emplace_back(x, y);
    return all;
}

/// The places around @p seed that match it, breadth first.
Places around(const QPoint &seed, const kit::Picture &picture, const OPRGBA32i *tolerance)
{
    kit::Picture seen(picture.width, picture.height);
    Places found { seed };
    seen.at(seed.x(), seed.y()) = 1u;
    for (size_t i = 0; i < found.size(); ++i)
        for (const QPoint &step : { QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1) }) {
            const QPoint at = found[i] + step;
            if (!picture.rect().contains(at) || seen.at(at.x(), at.y()) == 1u
                || !matches(picture.at(at.x(), at.y()), picture.at(seed.x(), seed.y()), tolerance))
                continue;
            seen.at(at.x(), at.y()) = 1u;
            found.push_back(at);
        }
    return found;
}

kit::Picture painted(kit::Picture picture, const Places &places, OPRGBA32i color)
{
    for (const QPoint &at : places)
        picture.at(at.x(), at.y()) = color;
    return picture;
}

QRect boundsOf(const Places &places)
{
    QRect bounds;
    for (const QPoint &at : places)
        bounds |= QRect(at, QSize(1, 1));
    return bounds;
}

const QRect untouched(7, 8, 9, 10);
const QString inLog = "[src/OPFloodFillHelper] ", outside = inLog + "FloodFill seed point is out of range";

} // namespace

class TestFloodFill : public QObject {
    Q_OBJECT

    /// All forms on @p picture; with two images onto @p canvas too, which is not smaller.
    static void check(const kit::Picture &picture, const kit::Picture &canvas, const QPoint &seed, OPRGBA32i tolerance,
        OPRGBA32i color)
    {
        const OPRGBA32i at = picture.at(seed.x(), seed.y());
        const auto marker = markerOf(at, tolerance);
        const kit::Picture empty(picture.width, picture.height);
        const Places equal = around(seed, picture, nullptr);
        const Places region = marker ? around(seed, picture, &tolerance) : allPlaces(picture);
        QRect bounds;

        RGBA32iImage image = picture.image(false);
        QVERIFY(OPFloodFillHelper::FloodFill(image, seed, color, &bounds));
        COMPARE_PICTURE(kit::Picture::of(image), painted(picture, equal, color));
        QCOMPARE(bounds, at == color ? QRect() : boundsOf(equal));

        image = picture.image(false);
        QVERIFY(OPFloodFillHelper::FloodFill(image, seed, tolerance, color, &bounds));
        COMPARE_PICTURE(kit::Picture::of(image),
            !tolerance ? painted(picture, equal, color) : painted(picture, region, marker.value_or(color)));
        if (!!tolerance)
            QCOMPARE(bounds, boundsOf(region));

        std::vector<OPRGBA32i> rows = picture.pixels;
        QImage inPlace(reinterpret_cast<uchar *>(rows.data()), picture.width, picture.height, QImage::Format_ARGB32);
        QVERIFY(OPFloodFillHelper::FloodFill(inPlace, seed, tolerance, color, &bounds));
        VERIFY_SAME_AT(kit::difference(rows.data(), painted(picture, region, color).pixels, picture.width), "QImage");
        QCOMPARE(bounds, boundsOf(region));

        const RGBA32iImage source = picture.image(false), sharesPixels = source;
        image = canvas.image(false);
        QVERIFY(OPFloodFillHelper::FloodFill(source, image, seed, tolerance, color, &bounds));
        COMPARE_PICTURE(kit::Picture::of(image), painted(canvas, marker ? region : allPlaces(canvas), color));
        COMPARE_PICTURE(kit::Picture::of(sharesPixels), marker ? painted(picture, region, *marker) : picture);
        QCOMPARE(bounds, boundsOf(region));

        image = picture.image(false);
        COMPARE_PICTURE(kit::Picture::of(::region(image, seed, tolerance, color)), painted(empty, region, color));
        QCOMPARE(paint(image, seed, tolerance, color), bounds);
        COMPARE_PICTURE(kit::Picture::of(image), painted(picture, region, color));

        Places all = allPlaces(picture);
        all.erase(std::remove_if(all.begin(), all.end(),
                      [&](const QPoint &p) { return !matches(picture.at(p.x(), p.y()), at, &tolerance); }),
            all.end());
        image = picture.image(false);
        QVERIFY(OPFloodFillHelper::ColorRangeFill(image, image, seed, tolerance, color, &bounds));
        COMPARE_PICTURE(kit::Picture::of(image), painted(empty, all, color));
        QCOMPARE(bounds, boundsOf(all));
    }

private Q_SLOTS:
    void equalsBreadthFirstSearch()
    {
        QRandomGenerator random = kit::random(1);
        for (int round = 0; round < 1000 && !QTest::currentTestFailed(); ++round) {
            const int kind = random.bounded(4), share = random.bounded(40, 100);
            const QSize size(kind == 0 ? 1 : random.bounded(1, 200), kind == 1 ? 1 : random.bounded(1, 50));
            const OPRGBA32i middle = kit::saltedPixel(random);
            const OPRGBA32i tolerance = random.generate() & (kind == 2 ? 1u : 0x3F1F0F3Fu);
            const auto nearby = [&](int c) {
                const int half = kit::channel(tolerance, c) / 2;
                return qBound(0, kit::channel(middle, c) + random.bounded(-half, half + 1), 255);
            };
            kit::Picture picture(size.width(), size.height());
            for (OPRGBA32i &pixel : picture.pixels)
                pixel = random.bounded(100) < share ? kit::pixelOf(nearby) : kit::saltedPixel(random);
            const QPoint seed(random.bounded(size.width()), random.bounded(size.height()));
            const kit::Picture canvas(
                size.width() + random.bounded(3), size.height() + random.bounded(3), kit::saltedPixel(random));
            check(picture, canvas, seed, tolerance, round % 9 ? kit::saltedPixel(random) : middle);
        }
    }

    void markers_data()
    {
        QTest::addColumn<unsigned>("seed");
        QTest::addColumn<unsigned>("tolerance");
        QTest::addColumn<unsigned>("marker"); // 0: all is filled
        QTest::newRow("blue from 1 on") << 0x80808080u << 0x0000007Fu << 0xFF000000u;
        QTest::newRow("blue to 254") << 0x8080807Eu << 0x00000080u << 0xFF0000FFu;
        QTest::newRow("green from 1 on") << 0x80808080u << 0x00007F80u << 0xFF000000u;
        QTest::newRow("green to 254") << 0x80807E80u << 0x00008080u << 0xFF00FF00u;
        QTest::newRow("red from 1 on") << 0x80808080u << 0x007F8080u << 0xFF000000u;
        QTest::newRow("red to 254") << 0x807E8080u << 0x00808080u << 0xFFFF0000u;
        QTest::newRow("alpha from 2 on") << 0x80808080u << 0x7E808080u << 0x01000000u;
        QTest::newRow("alpha to 254") << 0x7E808080u << 0x80808080u << 0xFF000000u;
        QTest::newRow("alpha 1 alone") << 0x01808080u << 0x00FFFFFFu << 0xFF000000u;
        QTest::newRow("a transparent seed") << 0x00808080u << 0x0A0A0A0Au << 0xFF000000u;
        QTest::newRow("a transparent seed and all colours") << 0x00808080u << 0x0AFFFFFFu << 0xFF000000u;
        QTest::newRow("alpha from 1 on") << 0xC8808080u << 0xC7FFFFFFu << 0u;
        QTest::newRow("all") << 0xFF000000u << 0xFFFFFFFFu << 0u;
        QTest::newRow("all of a transparent seed") << 0x00808080u << 0xFFFFFFFFu << 0u;
    }

    void markers()
    {
        QFETCH(unsigned, seed);
        QFETCH(unsigned, tolerance);
        QFETCH(unsigned, marker);
        QCOMPARE(markerOf(seed, tolerance).value_or(0u), OPRGBA32i(marker));
        kit::Picture picture(4, 1);
        picture.pixels = { seed, (seed & 0xFF000000u) | 0x123456u, seed ^ 0x05808080u, seed & 0x00FFFFFFu };
        check(picture, kit::Picture(5, 2), QPoint(), tolerance, 0x12345678u);
        RGBA32iImage tiled(200, 200, true);
        if (marker == 0) {
            QVERIFY(
                OPFloodFillHelper::FloodFill(picture.image(false), tiled, QPoint(), tolerance, 0x12345678u, nullptr));
            COMPARE_PICTURE(kit::Picture::of(tiled), kit::Picture(200, 200, 0x12345678u));
        }
    }

    /// What is filled of a destination that lacks some places, before the first of them.
    void smallDestination_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("seed");
        QTest::addColumn<QString>("source"); // rows divided by '/': ' ' does not match, '#' is filled
        QTest::newRow("the seed's column ends it") << QSize(3, 2) << QPoint(1, 1) << ".#./.#./...";
        QTest::newRow("whole columns before") << QSize(2, 3) << QPoint(0, 2) << "##./##./##.";
        QTest::newRow("the right before the left") << QSize(2, 1) << QPoint(1, 0) << ".#.";
        QTest::newRow("no pixels at all") << QSize(0, 0) << QPoint(1, 1) << "../..";
        QTest::newRow("the region lies within") << QSize(4, 4) << QPoint(0, 0) << "# ## /# #  /#### /  # .";
    }

    void smallDestination()
    {
        QFETCH(QSize, size);
        QFETCH(QPoint, seed);
        QFETCH(QString, source);
        const QStringList rows = source.split('/');
        RGBA32iImage from(rows[0].size(), rows.size(), false);
        RGBA32iImage to(size.width(), size.height(), false), tiled(from.Width(), from.Height(), true);
        for (int y = 0; y < from.Height(); ++y)
            for (int x = 0; x < from.Width(); ++x)
                from.SetColor(x, y, rows[y][x] == ' ' ? 0xFFFFFFFFu : 0u);
        const bool isWithin = source.contains(' ');
        QRect bounds = untouched;
        try {
            QVERIFY(OPFloodFillHelper::FloodFill(from, to, seed, 1u, 0x11223344u, &bounds) && isWithin);
        } catch (const std::out_of_range &e) {
            QVERIFY(e.what() == QByteArray("OPImage::SetColor") && !isWithin);
        }
        QCOMPARE(bounds, isWithin ? QRect(0, 0, 4, 4) : untouched);
        for (int y = 0; y < from.Height(); ++y)
            for (int x = 0; x < from.Width(); ++x)
                if (rows[y][x] != ' ') {
                    const bool isFilled = rows[y][x] == '#';
                    QCOMPARE(from.GetColor(x, y), OPRGBA32i(isFilled ? 0xFF0000FFu : 0u));
                    if (to.Rect().contains(x, y))
                        QCOMPARE(to.GetColor(x, y), OPRGBA32i(isFilled ? 0x11223344u : 0u));
                }
        const OPRGBA32i last = from.GetColor(from.Width() - 1, 0);
        QVERIFY_EXCEPTION_THROWN(
            OPFloodFillHelper::FloodFill(from, tiled, QPoint(from.Width() - 1, 0), 1u, 1u, nullptr), std::out_of_range);
        QCOMPARE(from.GetColor(from.Width() - 1, 0), last);
    }

    void seedsOutside()
    {
        const kit::Picture picture = kit::Picture::random(5, 4, 3);
        const QPoint far(INT_MIN, INT_MAX);
        for (const QPoint &seed : { QPoint(-1, 0), QPoint(5, 0), QPoint(0, -1), QPoint(0, 4), far, QPoint() })
            for (const kit::Picture &each : { picture, kit::Picture(0, 0), kit::Picture(5, 0), kit::Picture(0, 5) }) {
                const kit::LogCapture log;
                QRect bounds = untouched;
                const bool isTiled = seed.isNull(); // a tiled image has no place at all
                RGBA32iImage image = each.image(isTiled), copy;
                QImage shared(isTiled ? QSize() : each.rect().size(), QImage::Format_ARGB32);
                QVERIFY(!OPFloodFillHelper::FloodFill(image, seed, 1u, &bounds));
                QVERIFY(!OPFloodFillHelper::FloodFill(image, seed, 0u, 1u, &bounds));
                QVERIFY(!OPFloodFillHelper::FloodFill(image, seed, 1u, 1u, &bounds));
                QVERIFY(!OPFloodFillHelper::FloodFill(shared, seed, 1u, 1u, &bounds));
                QVERIFY(!OPFloodFillHelper::FloodFill(image, copy, seed, ~0u, 1u, &bounds));
                QVERIFY(copy.Rect().isEmpty());
                QVERIFY(!OPFloodFillHelper::ColorRangeFill(image, copy, seed, 1u, 1u, &bounds));
                const QString place = QString(" (%1, %2)").arg(seed.x()).arg(seed.y());
                QCOMPARE(log.texts(),
                    (QStringList { outside + ".", outside + ".", outside + " %1", outside + place, outside + " %1",
                        inLog + "Seed point is out of range %1" }));
                COMPARE_PICTURE(kit::Picture::of(image), each);
                COMPARE_PICTURE(kit::Picture::of(copy), each);
                QVERIFY(copy.IsTiled() == isTiled && bounds == untouched);
            }
    }

    void formats()
    {
        for (int format = 1; format < QImage::NImageFormats; ++format) {
            const kit::LogCapture log;
            QImage image(4, 3, QImage::Format(format));
            image.fill(0u);
            const QImage before = image.copy(), shares = image;
            const bool is32 = image.depth() == 32;
            QCOMPARE(OPFloodFillHelper::FloodFill(image, QPoint(1, 1), 1u, 0x12345678u, nullptr), is32);
            QVERIFY(shares == before && (is32 || image == before));
            QCOMPARE(
                log.texts(), is32 ? QStringList() : QStringList(inLog + "FloodFill needs an image of 32 bits a pixel"));
        }
        // Red in this format, with blue below it, which is red as Format_ARGB32. Each row has a pixel more.
        std::vector<OPRGBA32i> rows { 0xFF0000FFu, 5u, 0xFFFF0000u, 5u, 0xFFFF0000u, 5u, 0xFF0000FFu, 5u };
        QImage image(reinterpret_cast<uchar *>(rows.data()), 1, 4, 8, QImage::Format_RGBA8888);
        QRect bounds;
        QVERIFY(OPFloodFillHelper::FloodFill(image, QPoint(0, 3), 1u, 9u, &bounds)); // there is nothing below
        QVERIFY(bounds == QRect(0, 3, 1, 1) && rows[6] == 0xFF0000FFu);
        QVERIFY(OPFloodFillHelper::FloodFill(image, QPoint(0, 0), 1u, 9u, &bounds));
        QCOMPARE(bounds, QRect(0, 0, 1, 3));
        QCOMPARE(kit::difference(rows.data(), { 0xFF0000FFu, 5u, 9u, 5u, 9u, 5u, 0xFF0000FFu, 5u }), QString());
    }

    /// Colours that lie in the pictures, and pictures that are one.
    void aliases()
    {
        for (int form = 0; form < 4; ++form) {
            RGBA32iImage image(3, 1, false), shares = image;
            image.SetColor(2, 0, 0xFF102030u);
            const OPRGBA32i &color = image.Bits()[2], &black = image.Bits()[0];
            QVERIFY(form == 0   ? OPFloodFillHelper::FloodFill(image, QPoint(), color, nullptr)
                    : form == 1 ? OPFloodFillHelper::FloodFill(image, QPoint(), color, color, nullptr)
                    : form == 2 ? OPFloodFillHelper::FloodFill(image, shares, QPoint(), black, color, nullptr)
                                : OPFloodFillHelper::ColorRangeFill(image, image, QPoint(), black, color, nullptr));
            const OPRGBA32i expected = form % 3 == 0 ? 0xFF102030u : 0xFF0000FFu;
            QVERIFY(image.GetColor(0, 0) == expected && image.GetColor(1, 0) == expected);
            QCOMPARE(image.GetColor(2, 0), OPRGBA32i(form == 3 ? 0u : 0xFF102030u));
        }
    }
};

KXCORE_TEST_MAIN(TestFloodFill)
#include "tst_floodfill.moc"
