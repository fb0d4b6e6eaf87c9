#include "OPInpaint.h"

#include "catalogue/PlainInpainting.h"
#include "kit/QtPictures.h"
#include "kit/Table.h"

#include <cmath>

namespace {

constexpr QRgb grey = 0xFF646464;

/// A picture drawn in text, rows divided by '/': '#' is a pixel of a hole, everything else grey.
QImage drawn(const QString &text)
{
    return kit::qimageOf(kit::drawn(text, [](QChar c) { return c == '#' ? 0 : grey; }));
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
                const QPoint corner(random.bounded(2) * random.bounded(size.width()), random.bounded(size.height()));
                const QRect area = picture.rect() & QRect(corner, QSize(random.bounded(1, 9), random.bounded(1, 9)));
                for (int y = area.y(); y < area.y() + area.height(); ++y)
                    for (int x = area.x(); x < area.x() + area.width(); ++x)
                        picture.setPixel(x, y, kit::saltedPixel(random).word & 0x7FFFFFFF);
            }
            const QImage before = picture.copy();
            QImage expected = picture.copy();
            catalogue::PlainInpaint plain(expected);
            OPInpaint fill(picture);
            for (int call = 0; call < 2; ++call) {
                plain.run();
                fill(call);
                QVERIFY2(picture == expected && fill.mask == plain.mask && fill.frontier == plain.frontier
                        && fill.rect == plain.rect,
                    "round " + QByteArray::number(round));
            }
            fillings += picture != before;
        }
        QVERIFY(fillings > 1000);
    }

    /// What one call leaves open. The frontier of a single pixel is the ring around it: where that begins in column 1
    /// or 2, the search finds a part of it in the columns before and drops the rest.
    void rulesThatLookWrong_data()
    {
        const kit::Table<QImage, QImage> table("picture", "left");
        table.row("rows are worked whole, across two holes", drawn("............/#...#......./............"),
            drawn("............/............/............"));
        table.row("rows are worked whole or not at all: a hole of 3 by 3 loses its corners alone",
            drawn(".........../.........../......###../......###../......###../.........../..........."),
            drawn(".........../.........../.......#.../......###../.......#.../.........../..........."));
        table.row("rows are worked whole: a hole in column 0 closes", withHole(3, 0), withHole(0, 0));
        for (const int column : { 1, 2, 3, 4 })
            table.row(qPrintable(QString("the scan is shifted: 2 and 3 stay open, column %1").arg(column)),
                withHole(1, column), withHole(column == 2 || column == 3 ? 1 : 0, column));
        table.row("a row that changes no more ends the call", drawn("#.#"), drawn("#.#"));
        table.row("a corner is filled by the only block inside", drawn("#../.../..."), drawn(".../.../..."));
    }

    void rulesThatLookWrong()
    {
        QFETCH(QImage, picture);
        QFETCH(QImage, left);
        fill(picture);
        QCOMPARE(picture, left);
    }

    /// It begins in column 0, and what it finds counts as found from the rectangle's left column on.
    void shiftedScan()
    {
        QImage picture(10, 6, QImage::Format_ARGB32);
        OPInpaint fill(picture);
        picture.fill(0x00FFFFFF);
        picture.setPixel(1, 2, 0x01000000), picture.setPixel(4, 3, 0xFF000000), picture.setPixel(9, 0, 0xFF000000);
        const std::pair<QRect, QRect> rows[] = { { QRect(), { 1, 0, 9, 4 } }, { { 3, 1, 5, 5 }, { 4, 2, 4, 2 } },
            { { 6, 3, 3, 2 }, { 6, 3, 3, 2 } } }; // nothing found: as it was
        for (const auto &[rect, bounds] : rows)
            QCOMPARE(fill.maskRect(picture, rect), bounds);
    }

    void newObjectsCloseAHole()
    {
        for (const bool farFromTheEdge : { false, true }) {
            QImage picture = withHole(6, farFromTheEdge ? 9 : 8);
#include "OPInpaint-1.inc"
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
        fill(0); // nothing
        QCOMPARE(picture, expected);
        copy(0);
        QVERIFY(copy.IsKnown(1, 5) && !moved.IsKnown(1, 5) && !copy.IsKnown(-1, 5));
        moved(0);
        catalogue::PlainInpaint(expected).run();
        QVERIFY(picture == expected && copy.mask == moved.mask);
    }

    /// An alpha of 10 at one place gives its neighbours 10 or 20 along an axis, sqrt(200) at the corners, 0 itself.
    void gradient()
    {
        QImage one(5, 5, QImage::Format_ARGB32);
        one.fill(0);
        const OPInpaint fill(one);
        one.setPixel(2, 2, 0x0A000000);
        const QImage steepness = fill.gradient(one);
        const int expected[] = { 14, 20, 14, 20, 0, 20, 14, 20, 14 };
        for (int i = 0; i < 9; ++i)
            QCOMPARE(steepness.pixel(1 + i % 3, 1 + i / 3), uint(expected[i]) << 24 | 0x00FF00);
        one.fill(0);
        one.setPixel(0, 0, 0xFF000000); // repeated beyond the edge: gx is 2 * -255 - 255, gy the same
        QCOMPARE(fill.gradient(one).pixel(0, 0), 0xFF00FF00);
    }

    void slopesAndSums()
    {
        QImage picture(3, 3, QImage::Format_ARGB32);
        for (int i = 0; i < 9; ++i)
            picture.setPixel(i % 3, i / 3, qRgba(i, 10 * (i % 3), 20 * (i / 3), 255));
        OPInpaint fill(picture);
        QVector2D red, green, blue, alpha(1, 1);
        fill.grad(1, 1, &red, &green, &blue, &alpha);
        QCOMPARE(red, QVector2D(8, -24)); // 2 and -6 between opposite neighbours, four times
        QVERIFY(green == QVector2D(80, 0) && blue == QVector2D(0, -160) && alpha == QVector2D(0, 0));
        fill.grad(0, 0, nullptr, &green, nullptr, nullptr);
        QCOMPARE(green, QVector2D(40, 0)); // the edge is repeated
        int sums[] = { 1, 2, 3, 4 }; // alpha, red, green, blue
        fill.sum(2, 1, sums[0], sums[1], sums[2], sums[3]);
        QVERIFY(sums[0] == 256 && sums[1] == 7 && sums[2] == 23 && sums[3] == 24);
        QCOMPARE(fill.color(2040, 3, 4, -13), OPRGBA32i(0xFF0001FFu)); // -9 / 8 is -1
    }

    void field()
    {
        QImage picture = drawn("..../..#./....");
        OPInpaint fill(picture);
        QCOMPARE(fill.field(0, 0), 1e7); // there is none yet
        fill.setField(0, 0, 1);
        fill.initializeField();
        QVERIFY(fill.field(0, 0) == 0 && fill.field(2, 1) == 1e7);
        QVERIFY(fill.field(-1, 0) == 1e7 && fill.field(4, 0) == 1e7);
        fill.setField(9, 9, 5);
        fill.setField(1, 0, 0.1);
        QCOMPARE(fill.field(1, 0), double(0.1f));
        fill.setField(0, 0, 1), fill.setField(1, 0, 4), fill.setField(0, 1, 5);
        QVector2D step(7, 7);
        fill.gradField(0, 0, nullptr);
        fill.gradField(0, 0, &step);
        QCOMPARE(step, QVector2D(0.8f, 0.6f)); // 3 along x and 4 along y, swapped
        fill.gradField(3, 2, &step);
        QCOMPARE(step, QVector2D(0, 0)); // beyond the last column and row it counts as flat
        fill.setField(3, 1, 0.0001);
        fill.gradField(3, 0, &step);
        QCOMPARE(step, QVector2D(0.0001f, 0)); // too short to be given length 1
    }

    void solve()
    {
        QImage picture = drawn(".../#.#/...");
        OPInpaint fill(picture);
        fill.initializeField();
        fill.setField(0, 0, 3), fill.setField(1, 0, 3), fill.setField(2, 0, 5);
        fill.setField(0, 2, 4);
        const std::tuple<QPoint, QPoint, double> rows[] = {
            { { 0, 0 }, { 1, 0 }, 3 + std::sqrt(2.0) / 2 }, // (6 - root) / 2 is below both, and with the root above
            { { 0, 0 }, { 2, 0 }, 1e6 }, // 2 - 4 is below 0
            { { 0, 0 }, { 0, 2 }, 4 }, // 2 - 1: (7 - 1) / 2 is below 4, (7 - 1) / 2 + 1 is 4
            { { 0, 0 }, { 0, 1 }, 4 }, { { 2, 1 }, { 2, 0 }, 6 }, { { 0, 1 }, { 2, 1 }, 1e6 },
            { { -1, 0 }, { 3, 3 }, 1e6 }
        };
        for (const auto &[a, b, distance] : rows)
            QCOMPARE(fill.solve(a.x(), a.y(), b.x(), b.y()), distance);
    }

    /// With a field that falls along x by 1 a column, weights by hand: only the columns and rows beside the pixel's own
    /// count. The step (dx, dy) = (-1, 0) is written as (0, -1), so that dot = -ry.
    void fastMarching()
    {
        QImage picture(5, 5, QImage::Format_ARGB32);
        picture.fill(0x00000000); // all hole but two pixels
        picture.setPixel(3, 1, qRgba(200, 100, 0, 255)), picture.setPixel(3, 4, qRgba(40, 60, 0, 255));
        OPInpaint fill(picture);
        fill.initializeField();
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 5; ++x)
                fill.setField(x, y, 10 - x);
        fill.inpaint(2, 2);
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
        next.initializeField();
        for (int i = 0; i < 25; ++i)
            next.setField(i % 5, i / 5, i == 18 ? 1 : 0);
        next.inpaint(2, 2);
        QCOMPARE(picture.pixel(2, 2) & 0xFFFF00, 0xFF0000u); // red 50 + 190 + 20, green 50 - 190 - 20

        QImage lonely(1, 1, QImage::Format_ARGB32);
        lonely.fill(0x80FFFFFF);
        OPInpaint alone(lonely);
        alone.inpaint(0, 0);
        QCOMPARE(lonely.pixel(0, 0), 0u); // 0 / 0 counts as 0
    }
};

KXCORE_TEST_MAIN(TestInpaint)
#include "tst_inpaint.moc"
