#include "OPFloodFillHelper.h"

#include "kit/QtPictures.h"
#include "kit/Table.h"

#include <cstdlib>
#include <deque>
#include <optional>

using Helper = OPFloodFillHelper;

namespace {

#include "OPFloodFillHelper-1.inc"

/// Without a tolerance pixels are to be equal.
bool matches(OPRGBA32i pixel, OPRGBA32i seed, const OPRGBA32i *tolerance)
{
    if (!tolerance || seed.a == 0)
        return tolerance ? pixel.a == 0 : pixel == seed;
    bool isNear = true;
    for (int c = 0; c < 4; ++c)
        isNear = isNear && std::abs(kit::channel(pixel, c) - kit::channel(seed, c)) <= kit::channel(*tolerance, c);
    return isNear;
}

using Marks = kit::Picture; // not 0 where a region is

/// What matches the seed, and is joined to it by edges: breadth first.
Marks regionOf(const kit::Picture &picture, const QPoint &seed, const OPRGBA32i *tolerance)
{
    Marks marks(picture.width, picture.height);
    for (std::deque<QPoint> pending { seed }; !pending.empty(); pending.pop_front()) {
        const QPoint at = pending.front();
        if (!picture.rect().contains(at) || !!marks.at(at.x(), at.y())
            || !matches(picture.at(at.x(), at.y()), picture.at(seed.x(), seed.y()), tolerance))
            continue;
        marks.at(at.x(), at.y()) = 1u;
        for (const QPoint &step : { QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1) })
            pending.push_back(at + step);
    }
    return marks;
}

/// What is wrong with @p image, which was @p before and was to get @p color in @p region, or with the bounds.
QString fault(const RGBA32iImage &image, kit::Picture before, const Marks &region, OPRGBA32i color,
    const std::optional<QRect> &bounds = {})
{
    QRect expected;
    for (int y = 0; y < region.height; ++y)
        for (int x = 0; x < region.width; ++x)
            if (!!region.at(x, y)) {
                expected |= QRect(x, y, 1, 1);
                if (before.rect().contains(x, y))
                    before.at(x, y) = color;
            }
    return bounds.value_or(expected) == expected ? kit::difference(kit::Picture::of(image), before) : "bounds";
}

const QRect untouched(7, 8, 9, 10);
const QString inLog = "[src/OPFloodFillHelper] ", outside = inLog + "FloodFill seed point is out of range";

} // namespace

class TestFloodFill : public QObject {
    Q_OBJECT

    /// All forms on @p picture; with two images onto @p canvas too, which is not smaller. The marker is null where all
    /// is filled; where it is 0, any that does not match will do.
    static void check(const kit::Picture &picture, const kit::Picture &canvas, const QPoint &seed, OPRGBA32i tolerance,
        OPRGBA32i color, std::optional<OPRGBA32i> marker)
    {
        const OPRGBA32i at = picture.at(seed.x(), seed.y());
        const kit::Picture empty(picture.width, picture.height), full(canvas.width, canvas.height, color);
        const Marks equal = at == color ? empty : regionOf(picture, seed, nullptr);
        const Marks region = marker ? regionOf(picture, seed, &tolerance) : Marks(picture.width, picture.height, 1u);
        Marks all = empty;
        for (size_t i = 0; i < all.pixels.size(); ++i)
            all.pixels[i] = matches(picture.pixels[i], at, &tolerance);
        const auto made = [&picture] { return picture.image(false); };
        const RGBA32iImage source = made(), sharesPixels = source;
        RGBA32iImage exact = made(), one = made(), two = canvas.image(false), wrapped = made(), ours = made(),
                     range = made();
        QImage image(reinterpret_cast<uchar *>(wrapped.Bits()), picture.width, picture.height, QImage::Format_ARGB32);
        QRect bounds;
        const auto fresh = [&bounds] { return &(bounds = untouched); };
        QVERIFY(Helper::FloodFill(exact, seed, color, fresh()));
        VERIFY_SAME_AT(fault(exact, picture, equal, color, bounds), "exact");
        QVERIFY(Helper::FloodFill(source, two, seed, tolerance, color, fresh()));
        VERIFY_SAME_AT(fault(two, marker ? canvas : full, region, color, bounds), "two images");
        if (marker && !*marker)
            marker = source.GetColor(seed.x(), seed.y());
        QVERIFY(!marker || (!matches(*marker, at, &tolerance) && marker->a % 254 == 1));
        VERIFY_SAME_AT(fault(sharesPixels, picture, marker ? region : empty, marker.value_or(0u)), "source");
        QVERIFY(Helper::FloodFill(one, seed, tolerance, color, fresh()));
        VERIFY_SAME_AT(!tolerance ? fault(one, picture, equal, color, bounds)
                                  : fault(one, picture, region, marker.value_or(color), bounds),
            "one image");
        QVERIFY(Helper::FloodFill(image, seed, tolerance, color, fresh()));
        VERIFY_SAME_AT(fault(wrapped, picture, region, color, bounds), "QImage");
        bounds = paint(ours, seed, tolerance, color);
        VERIFY_SAME_AT(fault(ours, picture, region, color, bounds), "paint");
        QVERIFY(Helper::ColorRangeFill(range, range, seed, tolerance, color, fresh()));
        VERIFY_SAME_AT(fault(range, empty, all, color, bounds), "range");
    }

private Q_SLOTS:
    /// Pixels at both ends of the tolerance, and one beyond.
    void equalsBreadthFirstSearch()
    {
        QRandomGenerator random = kit::random(1);
        for (int round = 0; round < 1000 && !QTest::currentTestFailed(); ++round) {
            const int kind = random.bounded(4), share = random.bounded(40, 100);
            kit::Picture picture(kind == 0 ? 1 : random.bounded(1, 200), kind == 1 ? 1 : random.bounded(1, 50));
            const OPRGBA32i middle = kit::saltedPixel(random), other = kit::saltedPixel(random);
            const OPRGBA32i tolerance = random.generate() & (kind == 2 ? 1u : 0x3F1F0F3Fu);
            for (OPRGBA32i &pixel : picture.pixels) {
                const int beyond = random.bounded(100) < share ? 0 : 1;
                pixel = kit::pixelOf([&](int c) {
                    const int reach = kit::channel(tolerance, c) + beyond;
                    return qBound(0, kit::channel(middle, c) + reach * random.bounded(-1, 2), 255);
                });
            }
            const QPoint seed(random.bounded(picture.width), random.bounded(picture.height));
            picture.at(seed.x(), seed.y()) = middle;
            const kit::Picture canvas(picture.width + random.bounded(3), picture.height + random.bounded(3), other);
            check(picture, canvas, seed, tolerance, round % 9 ? other : middle, OPRGBA32i());
        }
    }

    void markers_data()
    {
        const kit::Table<unsigned, unsigned, unsigned> table("seed", "tolerance", "marker"); // 0: all is filled
        table.row("blue from 1 on", 0x80807E80u, 0x0000807Fu, 0xFF000000u);
        table.row("blue to 254", 0x8080807Eu, 0x00000080u, 0xFF0000FFu);
        table.row("green from 1 on", 0x807E8080u, 0x00807F80u, 0xFF000000u);
        table.row("green to 254", 0x80807E80u, 0x00008080u, 0xFF00FF00u);
        table.row("red from 1 on", 0x80808080u, 0x007F8080u, 0xFF000000u);
        table.row("red to 254", 0x807E8080u, 0x00808080u, 0xFFFF0000u);
        table.row("alpha from 2 on", 0x80808080u, 0x7E808080u, 0x01000000u);
        table.row("alpha to 254", 0x7E808080u, 0x80808080u, 0xFF000000u);
        table.row("alpha 1 alone", 0x01808080u, 0x00FFFFFFu, 0xFF000000u);
        table.row("a transparent seed and all colours", 0x00808080u, 0x0AFFFFFFu, 0xFF000000u);
        table.row("alpha from 1 on", 0xC8808080u, 0xC7FFFFFFu, 0u);
        table.row("all of a transparent seed", 0x00808080u, 0xFFFFFFFFu, 0u);
    }

    void markers()
    {
        QFETCH(unsigned, seed);
        QFETCH(unsigned, tolerance);
        QFETCH(unsigned, marker);
        const OPRGBA32i color = 0x12345678u;
        kit::Picture picture(4, 1);
        picture.pixels = { seed, (seed & 0xFF000000u) | 0x123456u, seed ^ 0x05808080u, seed & 0x00FFFFFFu };
        const auto expected = marker ? std::optional<OPRGBA32i>(marker) : std::nullopt;
        check(picture, kit::Picture(5, 2), QPoint(), tolerance, color, expected);
        RGBA32iImage tiled(200, 9, true);
        if (marker == 0) {
            QVERIFY(Helper::FloodFill(picture.image(false), tiled, QPoint(), tolerance, color, nullptr));
            COMPARE_PICTURE(kit::Picture::of(tiled), kit::Picture(200, 9, color));
        }
    }

    /// What is filled of a destination that lacks some places, before the first of them.
    void smallDestination_data()
    {
        // Rows divided by '/': ' ' does not match, '#' is filled.
        const kit::Table<QSize, QPoint, QString> table("size", "seed", "source");
        table.row("the seed's column ends it", QSize(3, 2), QPoint(1, 1), ".#./.#./...");
        table.row("whole columns before", QSize(2, 3), QPoint(0, 2), "##./##./##.");
        table.row("the right before the left", QSize(2, 1), QPoint(1, 0), ".#.");
        table.row("no pixels at all", QSize(0, 0), QPoint(1, 1), "../..");
        table.row("the region lies within", QSize(4, 4), QPoint(3, 0), "# ## /# #  /#### /  # .");
    }

    void smallDestination()
    {
        QFETCH(QSize, size);
        QFETCH(QPoint, seed);
        QFETCH(QString, source);
        const bool isWithin = source.contains(' ');
        const kit::Picture small(size.width(), size.height());
        const kit::Picture before = kit::drawn(source, [](QChar c) { return c == ' ' ? 0xFFFFFFFFu : 0u; });
        const Marks filled = kit::drawn(source, [](QChar c) { return unsigned(c == '#'); });
        const RGBA32iImage from = before.image(false);
        RGBA32iImage to = small.image(false), tiled = before.image(true);
        QRect bounds = untouched;
        QVERIFY_EXCEPTION_THROWN(Helper::FloodFill(from, tiled, seed, 1u, 1u, &bounds), std::out_of_range);
        COMPARE_PICTURE(kit::Picture::of(from), before);
        QCOMPARE(kit::outOfRange([&] { QVERIFY(Helper::FloodFill(from, to, seed, 1u, 0x11223344u, &bounds)); }),
            QByteArray(isWithin ? "" : "OPImage::SetColor"));
        QCOMPARE(bounds, isWithin ? QRect(0, 0, 4, 4) : untouched);
        VERIFY_SAME_AT(fault(from, before, filled, 0xFF0000FFu), "source");
        VERIFY_SAME_AT(fault(to, small, filled, 0x11223344u), "destination");
    }

    void seedsOutside()
    {
        const kit::Picture picture = kit::Picture::random(5, 4, 3);
        const QPoint far(INT_MIN, INT_MAX);
        for (const QPoint &seed : { QPoint(-1, 0), QPoint(5, 0), QPoint(0, -1), QPoint(0, 4), far, QPoint() })
            for (const kit::Picture &each : { picture, kit::Picture(0, 0), kit::Picture(5, 0), kit::Picture(0, 5) }) {
                const kit::LogCapture log;
                const bool isTiled = seed.isNull(); // a tiled image has no place at all
                RGBA32iImage image = each.image(isTiled), copy;
                QImage shared(isTiled ? QSize() : each.rect().size(), QImage::Format_ARGB32);
                QRect bounds = untouched;
                QVERIFY(!Helper::FloodFill(image, seed, 1u, &bounds));
                QVERIFY(!Helper::FloodFill(image, seed, 0u, 1u, &bounds));
                QVERIFY(!Helper::FloodFill(image, seed, 1u, 1u, &bounds));
                QVERIFY(!Helper::FloodFill(shared, seed, 1u, 1u, &bounds));
                QVERIFY(!Helper::FloodFill(image, copy, seed, ~0u, 1u, &bounds) && copy.Rect().isEmpty());
                QVERIFY(!Helper::ColorRangeFill(image, copy, seed, 1u, 1u, &bounds));
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
            QCOMPARE(Helper::FloodFill(image, QPoint(1, 1), 1u, 0x12345678u, nullptr), is32);
            QVERIFY(shares == before && (is32 || image == before));
            QCOMPARE(log.texts().join(""), is32 ? "" : inLog + "FloodFill needs an image of 32 bits a pixel");
        }
        QImage opaque(1, 1, QImage::Format_RGB32);
        QVERIFY(Helper::FloodFill(opaque, QPoint(), ~0u, 0x12345678u, nullptr));
        QCOMPARE(*reinterpret_cast<const unsigned *>(opaque.constBits()), 0xFF345678u);
        // Red in this format, with blue below it, which is red as Format_ARGB32. Each row has a pixel more.
        std::vector<OPRGBA32i> rows { 0xFF0000FFu, 5u, 0xFFFF0000u, 5u, 0xFFFF0000u, 5u, 0xFF0000FFu, 5u };
        QImage image(reinterpret_cast<uchar *>(rows.data()), 1, 4, 8, QImage::Format_RGBA8888);
        QRect bounds;
        QVERIFY(Helper::FloodFill(image, QPoint(0, 3), 1u, 9u, &bounds)); // there is nothing below
        QVERIFY(bounds == QRect(0, 3, 1, 1) && rows[6] == 0xFF0000FFu);
        QVERIFY(Helper::FloodFill(image, QPoint(0, 0), 1u, 9u, &bounds));
        QCOMPARE(bounds, QRect(0, 0, 1, 3));
        QCOMPARE(kit::difference(rows.data(), { 0xFF0000FFu, 5u, 9u, 5u, 9u, 5u, 0xFF0000FFu, 5u }), QString());
    }

    /// What the header shows.
    void example()
    {
        RGBA32iImage picture = kit::Picture(60, 50, 0xFF808080u).image(false);
        picture.SetColor(41, 30, 0xFF686898u), picture.SetColor(42, 30, 0xFE808080u);
        picture.SetColor(40, 31, 0xFF999999u);
#include "OPFloodFillHelper-2.inc"
        QCOMPARE(painted, picture.Rect());
        QCOMPARE(picture.GetColor(41, 30), OPRGBA32i(0xFF3366CCu));
        QCOMPARE(picture.GetColor(42, 30), OPRGBA32i(0xFE808080u));
        QCOMPARE(picture.GetColor(40, 31), OPRGBA32i(0xFF999999u));
    }

    /// Colours that lie in the pictures, and pictures that are one.
    void aliases()
    {
        RGBA32iImage image(1, 2, false), shares = image, other(1, 2, false);
        const OPRGBA32i &color = image.Bits()[0], &tolerance = image.Bits()[1];
        image.Fill(0xFF102030u);
        QVERIFY(Helper::FloodFill(image, other, QPoint(), tolerance, color, nullptr));
        COMPARE_PICTURE(kit::Picture::of(other), kit::Picture(1, 2, 0xFF102030u));
        COMPARE_PICTURE(kit::Picture::of(image), kit::Picture(1, 2, 0xFF0000FFu)); // blue ends at 96
        QVERIFY(Helper::FloodFill(image, shares, QPoint(), tolerance, color, nullptr));
        COMPARE_PICTURE(kit::Picture::of(image), kit::Picture(1, 2, 0xFF00FF00u)); // green at 0
        image.SetColor(0, 1, 0u);
        shares = other = RGBA32iImage(); // the old pixels go
        QVERIFY(Helper::ColorRangeFill(image, image, QPoint(), tolerance, color, nullptr));
        QVERIFY(image.GetColor(0, 0) == 0xFF00FF00u && image.GetColor(0, 1) == 0u);
    }
};

KXCORE_TEST_MAIN(TestFloodFill)
#include "tst_floodfill.moc"
