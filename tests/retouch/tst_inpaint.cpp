#include "OPInpaint.h"

#include "kit/Picture.h"
#include "kit/PlainInpainting.h"

#include <cmath>

/// What is private in OPInpaint.
struct OPInpaintInside {
    static QImage &mask(OPInpaint &o) { return o.mask; }
    static QImage &frontier(OPInpaint &o) { return o.frontier; }
    static QRect rect(const OPInpaint &o) { return o.rect; }
    static QImage makeMask(const OPInpaint &o, const QImage &image) { return o.makeMask(image); }
    static QImage gradient(const OPInpaint &o, const QImage &mask) { return o.gradient(mask); }
    static QRect maskRect(const OPInpaint &o, const QImage &image, const QRect &r) { return o.maskRect(image, r); }
    static bool isKnown(const OPInpaint &o, int x, int y) { return o.IsKnown(x, y); }
    static bool inpaint0(OPInpaint &o, int x, int y) { return o.inpaint0(x, y); }
    static void grad(const OPInpaint &o, int x, int y, QVector2D *r, QVector2D *g, QVector2D *b, QVector2D *a)
    {
        o.grad(x, y, r, g, b, a);
    }
    static OPRGBA32i color(OPInpaint &o, int a, int r, int g, int b) { return o.color(a, r, g, b); }
    static void sum(OPInpaint &o, int x, int y, int *s) { o.sum(x, y, s[0], s[1], s[2], s[3]); }
    static void initializeField(OPInpaint &o) { o.initializeField(); }
    static double field(const OPInpaint &o, int x, int y) { return o.field(x, y); }
    static void setField(OPInpaint &o, int x, int y, double value) { o.setField(x, y, value); }
    static void gradField(const OPInpaint &o, int x, int y, QVector2D *out) { o.gradField(x, y, out); }
    static double solve(const OPInpaint &o, int x1, int y1, int x2, int y2) { return o.solve(x1, y1, x2, y2); }
    static void inpaint(OPInpaint &o, int x, int y) { o.inpaint(x, y); }
};

using Inside = OPInpaintInside;

namespace {

constexpr QRgb grey = 0xFF646464;

/// A picture drawn in text, rows divided by '/': '#' is a pixel of a hole, everything else grey.
QImage drawn(const QString &text)
{
    const QStringList rows = text.split('/');
    QImage picture(rows[0].size(), rows.size(), QImage::Format_ARGB32);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, rows[y][x] == '#' ? 0x00FF00FF : grey);
    return picture;
}

/// @p hole by @p hole pixels from column @p column on, rows 4 and down, in a picture of 24 by 12.
QImage withHole(int hole, int column)
{
    QImage picture(24, 12, QImage::Format_ARGB32);
    picture.fill(grey);
    for (int y = 4; y < 4 + hole; ++y)
        for (int x = column; x < column + hole; ++x)
            picture.setPixel(x, y, 0);
    return picture;
}

void fill(QImage &picture)
{
    OPInpaint filling(picture);
    filling(0);
}

/// How the holes of @p picture, its rows joined, stand once it is filled.
QString filled(QImage picture)
{
    fill(picture);
    QString holes;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            holes += qAlpha(picture.pixel(x, y)) < 255 ? '#' : '.';
    return holes;
}

} // namespace

class TestInpaint : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Random holes of many shapes in pictures of many sizes, against the text done pixel by pixel; mask, frontier and
    /// rectangle too.
    void equalsThePlainForm()
    {
        QRandomGenerator random = kit::random(1);
        int fillings = 0;
        for (int round = 0; round < 3000; ++round) {
            const QSize size(random.bounded(1, 20), random.bounded(1, 20));
            QImage picture(size, QImage::Format_ARGB32);
            const int holes = random.bounded(3), rarity = random.bounded(2, 40);
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x)
                    picture.setPixel(x, y, kit::saltedPixel(random).word | (random.bounded(rarity) ? 0xFF000000 : 0));
            for (int i = 0; i < holes; ++i) {
                const QPoint corner(random.bounded(size.width()), random.bounded(size.height()));
                const QRect area = picture.rect() & QRect(corner, QSize(random.bounded(1, 9), random.bounded(1, 9)));
                for (int y = area.y(); y < area.y() + area.height(); ++y)
                    for (int x = area.x(); x < area.x() + area.width(); ++x)
                        picture.setPixel(x, y, kit::saltedPixel(random).word & 0x7FFFFFFF);
            }
            const QImage before = picture.copy();
            QImage expected = picture.copy();
            kit::PlainInpaint plain(expected);
            OPInpaint fill(picture);
            for (int call = 0; call < 2; ++call) {
                plain.run();
                fill(call);
                const QByteArray where = "round " + QByteArray::number(round);
                QVERIFY2(picture == expected && Inside::mask(fill) == plain.mask, where);
                QVERIFY2(Inside::rect(fill) == plain.rect, where);
                for (int y = 0; y < size.height(); ++y)
                    for (int x = 0; x < size.width(); ++x)
                        QCOMPARE(qAlpha(Inside::frontier(fill).pixel(x, y)), qAlpha(plain.frontier.pixel(x, y)));
            }
            fillings += picture != before;
        }
        QVERIFY(fillings > 1000);
    }

    void rulesThatLookWrong_data()
    {
        QTest::addColumn<QImage>("picture");
        QTest::addColumn<QString>("holes");
        const QString whole(24 * 12, '.');
        const auto at = [&whole](const QList<QPoint> &open) {
            QString text = whole;
            for (const QPoint &p : open)
                text[p.y() * 24 + p.x()] = '#';
            return text;
        };
        // The column shift: rect begins one column before the hole, and is then looked for that much further left.
        for (const int column : { 0, 1, 4, 5, 17 })
            QTest::addRow("one pixel in column %d is filled", column) << withHole(1, column) << whole;
        for (const int column : { 2, 3 })
            QTest::addRow("one pixel in column %d stays open", column) << withHole(1, column) << at({ { column, 4 } });
        QTest::newRow("a hole in column 0 closes") << withHole(3, 0) << whole;
        for (const int column : { 6, 7, 17 })
            QTest::addRow("a hole in column %d loses its corners alone", column)
                << withHole(3, column)
                << at({ { column + 1, 4 }, { column, 5 }, { column + 1, 5 }, { column + 2, 5 }, { column + 1, 6 } });
        // Rows are worked whole: the second hole of the row lies in the same rectangle.
        QTest::newRow("both holes of a row are filled")
            << drawn("............/#...#......./............") << QString(36, '.');
        // Its passes visit known pixels for ever; the call ends all the same.
        QTest::newRow("a row that cannot be filled ends") << drawn("#.#") << "#.#";
        // Only try 8 stays inside of the picture.
        QTest::newRow("the top left corner") << drawn("#../.../...") << QString(9, '.');
        QTest::newRow("all hole") << drawn("###/###/###") << QString(9, '#');
        QTest::newRow("no hole") << drawn("....") << QString(4, '.');
    }

    void rulesThatLookWrong()
    {
        QFETCH(QImage, picture);
        QFETCH(QString, holes);
        QCOMPARE(filled(picture), holes);
    }

    /// The mean of the eight around it, halves up: of 1 to 8 it is 36 / 8, with 7 in the place of 8 it is 35 / 8.
    void meanOfEight()
    {
        QImage picture(3, 3, QImage::Format_ARGB32);
        for (int i = 0, value = 1; i < 9; ++i, value += i != 5)
            picture.setPixel(i % 3, i / 3, qRgba(value, std::min(value, 7), 255, i == 4 ? 254 : 255));
        fill(picture);
        QCOMPARE(picture.pixel(1, 1), qRgba(5, 4, 255, 255));
    }

    void newObjectsCloseAHole()
    {
        for (const bool farFromTheEdge : { false, true }) {
            QImage picture = withHole(6, farFromTheEdge ? 9 : 8);
            for (QImage before; before != picture;) { // until nothing closes any more
                before = picture.copy();
                OPInpaint fill(picture); // takes note of the holes
                fill(0); // closes what it can; the argument is not looked at
            }
            QCOMPARE(picture == withHole(0, 0), farFromTheEdge);
        }
    }

    void formats()
    {
        QImage none, opaque(9, 3, QImage::Format_RGB32), indexed(3, 3, QImage::Format_Indexed8);
        fill(none);
        QVERIFY(none.isNull());
        opaque.fill(0x00123456);
        const QImage before = opaque;
        fill(opaque);
        QVERIFY(opaque == before && opaque.constBits() == before.constBits()); // not even copied
        for (const auto format : { QImage::Format_ARGB32_Premultiplied, QImage::Format_RGBA8888,
                 QImage::Format_RGBA64_Premultiplied, QImage::Format_ARGB4444_Premultiplied }) {
            QImage other = drawn("...../...../.#.../...../.....").convertToFormat(format);
            const QImage shared = other;
            fill(other);
            QVERIFY(other.pixel(1, 2) == other.pixel(0, 0) && qAlpha(shared.pixel(1, 2)) == 0);
        }
        indexed.setColorTable({ grey, 0x00000000 });
        indexed.fill(0);
        indexed.setPixel(1, 1, 1);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^QImage::setPixel: Index .* out of range"));
        fill(indexed); // an index cannot hold the mean
        QCOMPARE(indexed.pixelIndex(1, 1), 1);
    }

    /// Copies go on by themselves, and write to the same picture.
    void copies()
    {
        QImage picture = withHole(3, 0), expected = picture.copy();
        OPInpaint fill(picture), copy = fill, moved = std::move(fill);
        copy(0);
        QVERIFY(Inside::isKnown(copy, 1, 5) && !Inside::isKnown(moved, 1, 5));
        moved(0);
        kit::PlainInpaint(expected).run();
        QVERIFY(picture == expected && Inside::mask(copy) == Inside::mask(moved));
    }

    void maskAndFrontier()
    {
        QImage picture = drawn("......./..##.../..##.../.......");
        picture.setPixel(6, 3, 0xFE000000);
        OPInpaint fill(picture);
        const QImage mask = Inside::makeMask(fill, picture.convertToFormat(QImage::Format_RGBA8888));
        QVERIFY(mask == Inside::mask(fill) && mask.pixel(2, 1) == 0xFFFF0000 && mask.pixel(1, 1) == 0);
        QVERIFY(!Inside::isKnown(fill, 6, 3) && Inside::isKnown(fill, 0, 0) && !Inside::isKnown(fill, -1, 0));
        // An alpha of 10 at one place gives its neighbours 10 or 20 along an axis, sqrt(200) at the corners, 0 itself.
        QImage one(5, 5, QImage::Format_ARGB32);
        one.fill(0);
        one.setPixel(2, 2, 0x0A000000);
        const QImage steepness = Inside::gradient(fill, one);
        const int expected[] = { 14, 20, 14, 20, 0, 20, 14, 20, 14 };
        for (int i = 0; i < 9; ++i)
            QCOMPARE(steepness.pixel(1 + i % 3, 1 + i / 3), uint(expected[i]) << 24 | 0x00FF00);
        one.fill(0);
        one.setPixel(0, 0, 0xFF000000); // repeated beyond the edge: gx is 2 * -255 - 255, gy the same
        QCOMPARE(Inside::gradient(fill, one).pixel(0, 0), 0xFF00FF00);
    }

    /// The scan begins in column 0, and what it finds counts as found from the rectangle's left column on.
    void shiftedScan()
    {
        QImage picture(10, 6, QImage::Format_ARGB32);
        OPInpaint fill(picture);
        picture.fill(0x00FFFFFF);
        picture.setPixel(1, 2, 0x01000000), picture.setPixel(4, 3, 0xFF000000), picture.setPixel(9, 0, 0xFF000000);
        const std::pair<QRect, QRect> rows[] = { { QRect(), { 1, 0, 9, 4 } }, { { 0, 1, 10, 5 }, { 1, 2, 4, 2 } },
            { { 3, 1, 5, 5 }, { 4, 2, 4, 2 } }, { { 3, 2, 3, 1 }, { 4, 2, 1, 1 } },
            { { 6, 3, 3, 2 }, { 6, 3, 3, 2 } } }; // nothing found: as it was
        for (const auto &[rect, bounds] : rows)
            QCOMPARE(Inside::maskRect(fill, picture, rect), bounds);
    }

    void slopesAndSums()
    {
        QImage picture(3, 3, QImage::Format_ARGB32);
        for (int i = 0; i < 9; ++i)
            picture.setPixel(i % 3, i / 3, qRgba(i, 10 * (i % 3), 20 * (i / 3), 255));
        OPInpaint fill(picture);
        QVector2D red, green, blue, alpha(1, 1);
        Inside::grad(fill, 1, 1, &red, &green, &blue, &alpha);
        QCOMPARE(red, QVector2D(8, -24)); // 2 and -6 between opposite neighbours, four times
        QVERIFY(green == QVector2D(80, 0) && blue == QVector2D(0, -160) && alpha == QVector2D(0, 0));
        Inside::grad(fill, 0, 0, nullptr, &green, nullptr, nullptr);
        QCOMPARE(green, QVector2D(40, 0)); // the edge is repeated
        int sums[] = { 1, 2, 3, 4 }; // alpha, red, green, blue
        Inside::sum(fill, 2, 1, sums);
        QVERIFY(sums[0] == 256 && sums[1] == 7 && sums[2] == 23 && sums[3] == 24);
        QCOMPARE(Inside::color(fill, 2040, 3, 4, -13), OPRGBA32i(0xFF0001FFu)); // -9 / 8 is -1
    }

    void field()
    {
        QImage picture = drawn("..../..#./....");
        OPInpaint fill(picture);
        QCOMPARE(Inside::field(fill, 0, 0), 1e7); // there is none yet
        Inside::setField(fill, 0, 0, 1);
        Inside::initializeField(fill);
        QVERIFY(Inside::field(fill, 0, 0) == 0 && Inside::field(fill, 2, 1) == 1e7);
        QVERIFY(Inside::field(fill, -1, 0) == 1e7 && Inside::field(fill, 4, 0) == 1e7);
        Inside::setField(fill, 9, 9, 5);
        Inside::setField(fill, 1, 0, 0.1);
        QCOMPARE(Inside::field(fill, 1, 0), double(0.1f));
        Inside::setField(fill, 0, 0, 1), Inside::setField(fill, 1, 0, 4), Inside::setField(fill, 0, 1, 5);
        QVector2D step(7, 7);
        Inside::gradField(fill, 0, 0, nullptr);
        Inside::gradField(fill, 0, 0, &step);
        QCOMPARE(step, QVector2D(0.8f, 0.6f)); // 3 along x and 4 along y, swapped
        Inside::gradField(fill, 3, 2, &step);
        QCOMPARE(step, QVector2D(0, 0)); // beyond the last column and row it counts as flat
        Inside::setField(fill, 3, 1, 0.0001);
        Inside::gradField(fill, 3, 0, &step);
        QCOMPARE(step, QVector2D(0.0001f, 0)); // too short to be given length 1
    }

    void solve()
    {
        QImage picture = drawn(".../#.#/...");
        OPInpaint fill(picture);
        Inside::initializeField(fill);
        Inside::setField(fill, 0, 0, 3), Inside::setField(fill, 1, 0, 3), Inside::setField(fill, 2, 0, 5);
        Inside::setField(fill, 0, 2, 4);
        const std::tuple<QPoint, QPoint, double> rows[] = {
            { { 0, 0 }, { 1, 0 }, 3 + std::sqrt(2.0) / 2 }, // (6 - root) / 2 is below both, and with the root above
            { { 0, 0 }, { 2, 0 }, 1e6 }, // 2 - 4 is below 0
            { { 0, 0 }, { 0, 2 }, 4 }, // 2 - 1: (7 - 1) / 2 is below 4, (7 - 1) / 2 + 1 is 4
            { { 0, 0 }, { 0, 1 }, 4 }, { { 2, 1 }, { 2, 0 }, 6 }, { { 0, 1 }, { 2, 1 }, 1e6 },
            { { -1, 0 }, { 3, 3 }, 1e6 }
        };
        for (const auto &[a, b, distance] : rows)
            QCOMPARE(Inside::solve(fill, a.x(), a.y(), b.x(), b.y()), distance);
    }

    /// With a field that falls along x by 1 a column, weights by hand: only the columns and rows beside the pixel's own
    /// count. The step (dx, dy) = (-1, 0) is written as (0, -1), so that dot = -ry.
    void fastMarching()
    {
        QImage picture(5, 5, QImage::Format_ARGB32);
        picture.fill(0x00000000); // all hole but two pixels
        picture.setPixel(3, 1, qRgba(200, 100, 0, 255)), picture.setPixel(3, 4, qRgba(40, 60, 0, 255));
        OPInpaint fill(picture);
        Inside::initializeField(fill);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 5; ++x)
                Inside::setField(fill, x, y, 10 - x);
        Inside::inpaint(fill, 2, 2);
        // (3, 1): -ry = 1, length^3 = 2 sqrt(2), fields differ by 1. (3, 4): -ry = -2, length^3 = 5 sqrt(5).
        const double near = 1 / (2 * std::sqrt(2.0) * 2), far = -2 / (5 * std::sqrt(5.0) * 2);
        const auto mean = [&](int a, int b) { return int(qBound(0.0, (a * near + b * far) / (near + far), 255.0)); };
        QCOMPARE(picture.pixel(2, 2), qRgba(255, mean(100, 60), 0, mean(255, 255))); // red: (35.4 - 3.6) / 0.087
        QCOMPARE(mean(100, 60), 140); // (17.678 - 5.367) / 0.08733

        // A step at (3, 3) alone, the only pixel that counts then; its four neighbours are known and lend their slopes.
        picture.fill(0x00000000);
        picture.setPixel(3, 3, qRgba(50, 50, 0, 255));
        picture.setPixel(2, 3, qRgba(10, 200, 0, 255)), picture.setPixel(4, 3, qRgba(200, 10, 0, 255));
        picture.setPixel(3, 2, qRgba(40, 60, 0, 255)), picture.setPixel(3, 4, qRgba(60, 40, 0, 255));
        OPInpaint next(picture);
        Inside::initializeField(next);
        for (int i = 0; i < 25; ++i)
            Inside::setField(next, i % 5, i / 5, i == 18 ? 1 : 0);
        Inside::inpaint(next, 2, 2);
        QCOMPARE(picture.pixel(2, 2) & 0xFFFF00, 0xFF0000u); // red 50 + 190 + 20, green 50 - 190 - 20

        QImage lonely(1, 1, QImage::Format_ARGB32);
        lonely.fill(0x80FFFFFF);
        OPInpaint alone(lonely);
        Inside::inpaint(alone, 0, 0);
        QCOMPARE(lonely.pixel(0, 0), 0u); // 0 / 0 counts as 0
    }
};

KXCORE_TEST_MAIN(TestInpaint)
#include "tst_inpaint.moc"
