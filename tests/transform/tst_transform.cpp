#include "OPImageTransformation.h"

#include "OPColorTransformBase.h"
#include "kit/Formulas.h"
#include "kit/Images.h"

#include <QtGui/QImage>
#include <QtGui/QTransform>

#include <cmath>
#include <limits>

using kit::Picture;

enum Grade { Nearest, Bilinear, Bicubic };
Q_DECLARE_METATYPE(Grade)

namespace {

constexpr double eps = 2.220446049250313e-16;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double notANumber = std::numeric_limits<double>::quiet_NaN();

int truncated(double v) { return std::abs(v) < 2147483648.0 ? int(v) : INT_MIN; }

/// A channel of four samples, the rule of each grade.
double cubic(const int p[4], double t)
{
    const int a = p[3] - p[0] - p[2] + p[1];
    return (double(p[0] - p[1]) - a + a * t) * (t * t) + 0.5000000000000002 + (double(p[2] - p[0]) * t + double(p[1]));
}
double linear(const int p[4], double t) { return double(p[2] - p[1]) * t + double(p[1]) + 0.5000000000000002; }

OPRGBA32i mixed(Grade grade, const OPRGBA32i samples[4], double t)
{
    return kit::pixelOf([&](int c) {
        int p[4];
        for (int i = 0; i < 4; ++i)
            p[i] = kit::channel(samples[i], c);
        return qBound(0, int(grade == Bicubic ? cubic(p, t) : linear(p, t)), 255);
    });
}

/// What a grade makes of positions one after the other, straight from its rule: it keeps the neighbours that it read
/// last. Nothing is written for a position outside.
struct Sampler {
    Grade grade;
    const Picture &source;
    int lastX = -1, lastY = -1;
    OPRGBA32i neighbours[16] = {};

    void operator()(double sx, double sy, OPRGBA32i &target)
    {
        const auto inside = [](double s, int size) {
            return s >= -eps && truncated(s + eps) >= 0 && truncated(s + eps) < size;
        };
        if (!inside(sx, source.width) || !inside(sy, source.height))
            return;
        const double before = grade == Nearest ? 0 : 0.5;
        const int x = int(sx + eps - before), y = int(sy + eps - before);
        if (x != lastX || y != lastY)
            for (int i = 0; i < 16; ++i)
                neighbours[i] =
                    source.at(qBound(0, x - 1 + i % 4, source.width - 1), qBound(0, y - 1 + i / 4, source.height - 1));
        lastX = x;
        lastY = y;
        OPRGBA32i rows[4];
        for (int row = 0; row < 4; ++row)
            rows[row] = mixed(grade, neighbours + 4 * row, sx - x - 0.5);
        target = grade == Nearest ? neighbours[5] : mixed(grade, rows, sy - y - 0.5);
    }
};

/// A grade over @p area, in rows.
void sampleArea(Grade grade, const Picture &source, const QTransform &transform, Picture &target, const QRect &area)
{
    const QTransform inverse = transform.inverted();
    Sampler sampler { grade, source };
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            double sx, sy;
            inverse.map(x + 0.5, y + 0.5, &sx, &sy);
            sampler(sx, sy, target.at(x, y));
        }
}

void box(Picture &picture, Qt::Orientation lines, int radius)
{
    kit::alongLines(picture, picture.rect(), picture.rect(), lines, [&](auto at) {
        const auto mean = kit::means(at, radius, false);
        return kit::pixelOf([&](int c) { return mean[size_t(c)]; });
    });
}

/// The whole of a grade; @p source is left as the filter leaves it.
void transformed(Grade grade, Picture &source, const QTransform &transform, Picture &target, const QRect &rect)
{
    const QRect area = transform.mapRect(rect.isEmpty() ? source.rect() : rect) & target.rect();
    if (area.isEmpty())
        return;
    const QRectF mapped = transform.mapRect(QRectF(source.rect()));
    const double scaleX = mapped.width() * (1.0 / source.width), scaleY = mapped.height() * (1.0 / source.height);
    if (grade != Nearest && !(scaleX > 0.5 && scaleY > 0.5)) {
        for (const auto &[scale, lines] : { std::pair(scaleX, Qt::Horizontal), { scaleY, Qt::Vertical } })
            if (scale < 1) {
                const int radius = int(0.5 / scale + 0.5);
                for (int pass = 0; pass < (grade == Bilinear ? 1 : radius < 300 ? 3 : 0); ++pass)
                    box(source, lines, radius);
            }
        if (scaleX < 1 && scaleY < 1)
            grade = Nearest;
    }
    sampleArea(grade, source, transform, target, area);
}

bool call(Grade grade, const RGBA32iImage &source, const QTransform &transform, RGBA32iImage &target,
    const QRect &rect = QRect())
{
    return grade == Nearest ? NearestNeighbourTransformImage(source, transform, target, rect)
        : grade == Bilinear ? BilinearTransformImage(source, transform, target, rect)
                            : BicubicTransformImage(source, transform, target, rect);
}

/// A transform of a type, from 0 for the identity to 5 for a perspective. Some of its numbers are round.
QTransform randomTransform(QRandomGenerator &random, int type, double scale)
{
    const auto number = [&](double most) {
        const double any = (random.generateDouble() * 2 - 1) * most;
        return random.bounded(3) ? any : std::round(any * 4) / 4;
    };
    const auto factor = [&] {
        const double any = scale * std::exp(number(0.7));
        return (random.bounded(3) ? any : std::max(std::round(any * 8), 1.0) / 8) * (random.bounded(2) ? 1 : -1);
    };
    QTransform transform;
    if (type > 0)
        transform.translate(number(30), number(30));
    if (type > 1)
        transform.scale(factor(), factor());
    if (type == 3)
        transform.rotate(random.bounded(4) ? number(180) : 90 * random.bounded(4));
    if (type > 3)
        transform.shear(number(1), number(0.9));
    if (type > 4)
        transform *= QTransform(1, 0, number(0.01), 0, 1, number(0.01), 0, 0, 1);
    return transform;
}

Picture random(QRandomGenerator &random, int most)
{
    return Picture::random(1 + random.bounded(most), 1 + random.bounded(most), random.generate());
}

const OPRGBA32i ground(0x11223344u);

struct Inverter : OPColorTransformBase {
    using OPColorTransformBase::operator();
    using OPColorTransformBase::Invert;
    void operator()(void *, unsigned) const override { }
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0x00FFFFFFu; }
    void Invert(void *, unsigned) const override { }
};

} // namespace

class TestTransform : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void grades_data()
    {
        QTest::addColumn<Grade>("grade");
        QTest::newRow("nearest") << Nearest;
        QTest::newRow("bilinear") << Bilinear;
        QTest::newRow("bicubic") << Bicubic;
    }

    /// Transforms of each type, enlarging and reducing, with and without a rectangle.
    void grades()
    {
        QFETCH(Grade, grade);
        QRandomGenerator generator = kit::random();
        for (int round = 0; round < 900; ++round) {
            const int type = round % 6;
            const double scales[] = { 1, 1, 4, 0.6, 0.3 };
            const bool isWide = round % 7 == 0; // several strips
            const QTransform transform = randomTransform(generator, type, isWide ? 12 : scales[round / 6 % 5]);
            if (!transform.isInvertible())
                continue;
            Picture source = random(generator, round % 5 ? 60 : 4);
            const QRect rect = round % 4 ? QRect() : QRect(source.width / 4, 0, 1 + source.width / 2, source.height);
            Picture expected(1 + generator.bounded(isWide ? 600 : 90), 1 + generator.bounded(60), ground);
            RGBA32iImage image = source.image(false), target = expected.image(false);
            QVERIFY(call(grade, image, transform, target, rect));
            transformed(grade, source, transform, expected, rect);
            const QString where = QString("round %1, type %2").arg(round).arg(transform.type());
            VERIFY_SAME_AT(kit::difference(Picture::of(target), expected), where);
            VERIFY_SAME_AT(kit::difference(Picture::of(image), source), where + ", source");
        }
    }

    /// What a sampler does at the edges and on its samples, by hand. The source is 10 20 / 40 80 in its blue channel.
    void positions_data()
    {
        QTest::addColumn<Grade>("grade");
        QTest::addColumn<QTransform>("transform");
        QTest::addColumn<QVector<int>>("blues"); // of three by two pixels; -1: untouched
        const auto move = [](double dx, double dy) { return QTransform::fromTranslate(dx, dy); };
        QTest::newRow("identity, nearest") << Nearest << QTransform() << QVector<int> { 10, 20, -1, 40, 80, -1 };
        QTest::newRow("identity, bilinear") << Bilinear << QTransform() << QVector<int> { 10, 20, -1, 40, 80, -1 };
        QTest::newRow("identity, bicubic") << Bicubic << QTransform() << QVector<int> { 10, 20, -1, 40, 80, -1 };
        // A half goes up: the area begins at column 1. There sx is 1, between the two; in column 2 it is 2, outside.
        QTest::newRow("half a pixel, bilinear") << Bilinear << move(0.5, 0) << QVector<int> { -1, 15, -1, -1, 60, -1 };
        // Below a half it goes down: column 0 has sx 0.25, 10 - 10 / 4 = 7.5 and 40 - 40 / 4.
        QTest::newRow("a quarter, bilinear") << Bilinear << move(0.25, 0) << QVector<int> { 8, 18, -1, 30, 70, -1 };
        // sx = 0.25, 0.75, 1.25: left of the first centre, between the two, and behind the second, where it repeats.
        QTest::newRow("doubled, bilinear")
            << Bilinear << QTransform::fromScale(2, 1) << QVector<int> { 8, 13, 18, 30, 50, 70 };
        // The same to the right of the last centre: sx = 1.75, 1.25, 0.75.
        QTest::newRow("mirrored, bilinear")
            << Bilinear << QTransform(-2, 0, 0, 1, 4, 0) << QVector<int> { 20, 18, 13, 80, 70, 50 };
        // Samples 10 10 20 20 at t = 0.5: A is 0, 10 * 0.5 + 10.
        QTest::newRow("half a pixel, bicubic") << Bicubic << move(0.5, 0) << QVector<int> { -1, 15, -1, -1, 60, -1 };
        // The same samples at t = -0.25 and 0.75.
        QTest::newRow("a quarter, bicubic") << Bicubic << move(0.25, 0) << QVector<int> { 8, 18, -1, 30, 70, -1 };
    }
    void positions()
    {
        QFETCH(Grade, grade);
        QFETCH(QTransform, transform);
        QFETCH(QVector<int>, blues);
        Picture source(2, 2), expected(3, 2, ground);
        const int from[] = { 10, 20, 40, 80 };
        for (size_t i = 0; i < 4; ++i)
            source.pixels[i] = OPRGBA32i(0xFF000000u + unsigned(from[i]));
        for (int i = 0; i < 6; ++i)
            if (blues[i] >= 0)
                expected.pixels[size_t(i)] = OPRGBA32i(0xFF000000u + unsigned(blues[i]));
        RGBA32iImage image = source.image(false), target = Picture(3, 2, ground).image(false);
        QVERIFY(call(grade, image, transform, target));
        COMPARE_PICTURE(Picture::of(target), expected);
    }

    /// A picture of one colour keeps it, whatever the transform.
    void constantPictures_data() { grades_data(); }
    void constantPictures()
    {
        QFETCH(Grade, grade);
        QRandomGenerator generator = kit::random();
        for (int round = 0; round < 120; ++round) {
            const OPRGBA32i colour = kit::saltedPixel(generator);
            const RGBA32iImage image =
                Picture(1 + generator.bounded(40), 1 + generator.bounded(40), colour).image(false);
            RGBA32iImage target = Picture(64, 64, colour).image(false);
            call(grade, image, randomTransform(generator, round % 6, 1), target);
            COMPARE_PICTURE(Picture::of(target), Picture(64, 64, colour));
        }
    }

    /// Which way is taken, on either side of each threshold: what filters leaves its source changed.
    void scales_data()
    {
        QTest::addColumn<double>("scaleX");
        QTest::addColumn<double>("scaleY");
        QTest::addColumn<int>("radiusX"); // of the filter; 0 where there is none
        QTest::addColumn<int>("radiusY");
        QTest::newRow("0.5 by 2") << 0.5 << 2.0 << 1 << 0;
        QTest::newRow("above 0.5") << 0.51 << 0.75 << 0 << 0;
        QTest::newRow("0.4 both") << 0.4 << 0.4 << 1 << 1;
        QTest::newRow("0.9 by 0.4") << 0.9 << 0.4 << 1 << 1;
        QTest::newRow("0.25 by 1") << 0.25 << 1.0 << 2 << 0;
        QTest::newRow("0.1 by 1") << 0.1 << 1.0 << 5 << 0;
        QTest::newRow("0.0017 by 1") << 0.0017 << 1.0 << 294 << 0;
        QTest::newRow("0.0015 by 1") << 0.0015 << 1.0 << 333 << 0;
    }
    void scales()
    {
        QFETCH(double, scaleX);
        QFETCH(double, scaleY);
        QFETCH(int, radiusX);
        QFETCH(int, radiusY);
        const Picture before = Picture::random(800, 7, 1);
        for (const Grade grade : { Bilinear, Bicubic }) {
            Picture blurred = before;
            for (int pass = 0; pass < (grade == Bilinear ? 1 : 3); ++pass)
                if (radiusX > 0 && (grade == Bilinear || radiusX < 300))
                    box(blurred, Qt::Horizontal, radiusX);
            for (int pass = 0; pass < (grade == Bilinear ? 1 : 3); ++pass)
                if (radiusY > 0)
                    box(blurred, Qt::Vertical, radiusY);
            const RGBA32iImage source = before.image(false), shared = source;
            RGBA32iImage target(20, 20, false);
            QVERIFY(call(grade, source, QTransform::fromScale(scaleX, scaleY), target));
            COMPARE_PICTURE(Picture::of(shared), blurred);
        }
    }

    /// Radii that no accumulator could sum: the filter has the mean of the two ends, 100.5, and nothing overflows.
    void tinyScales()
    {
        for (const double scale : { 1e-7, 1e-9, 1e-11 })
            for (const Grade grade : { Bilinear, Bicubic }) {
                Picture ends(2, 1, OPRGBA32i(0xFF000000u));
                ends.pixels[1] = OPRGBA32i(0xFF0000C9u); // 201
                const RGBA32iImage image = ends.image(false);
                RGBA32iImage target(4, 4, false);
                QVERIFY(call(grade, image, QTransform(scale, 1, 0, 1, 0.5 - scale, 0), target));
                COMPARE_PICTURE(Picture::of(image), grade == Bilinear ? Picture(2, 1, OPRGBA32i(0xFF000064u)) : ends);
            }
    }

    /// Nothing is touched: by what is not invertible, empty, beside the target, or tiled.
    void nothingHappens()
    {
        const Picture before = Picture::random(40, 30, 1);
        const QTransform shrink = QTransform::fromScale(0.3, 0.3), singular(1, 2, 2, 4, 0, 0);
        const struct {
            RGBA32iImage source, target;
            QTransform transform;
            bool result;
        } calls[] = { { before.image(false), before.image(false), singular, false },
            { before.image(true), before.image(false), singular, false },
            { RGBA32iImage(0, 30, false), before.image(false), singular, true },
            { RGBA32iImage(30, 0, true), before.image(false), singular, true },
            { before.image(false), before.image(false), QTransform::fromTranslate(41, 0), true },
            { before.image(false), RGBA32iImage(0, 9, false), shrink, true },
            { before.image(true), before.image(false), shrink, true },
            { before.image(false), before.image(true), shrink, true } };
        for (const auto &c : calls)
            for (const Grade grade : { Nearest, Bilinear, Bicubic }) {
                RGBA32iImage target = c.target;
                QCOMPARE(call(grade, c.source, c.transform, target), c.result);
                COMPARE_PICTURE(Picture::of(target), c.target.Rect().isEmpty() ? Picture(0, 9) : before);
                COMPARE_PICTURE(Picture::of(c.source), c.source.Rect().isEmpty() ? Picture::of(c.source) : before);
            }
    }

    /// Numbers that no application means: no fault, and nothing written that is not of the source.
    void strangeTransforms()
    {
        const double strange[] = { 0, 1, -1, 1e-13, 1e-300, 1e9, 1e300, infinity, -infinity, notANumber };
        QRandomGenerator generator = kit::random();
        const auto any = [&] {
            return generator.bounded(3) ? double(generator.bounded(3)) : strange[generator.bounded(10)];
        };
        const OPRGBA32i colour(0x80604020u);
        const QRect rects[] = { {}, QRect(2, 2, 3, 3), QRect(-1000000000, -1000000000, 2000000000, 2000000000),
            QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)), QRect(5, 5, -3, -3) };
        for (int round = 0; round < 3000; ++round) {
            const QTransform transform(any(), any(), generator.bounded(4) ? 0 : any(), any(), any(),
                generator.bounded(4) ? 0 : any(), any(), any(), generator.bounded(4) ? 1 : any());
            const RGBA32iImage image = Picture(9, 9, colour).image(false);
            for (const Grade grade : { Nearest, Bilinear, Bicubic }) {
                RGBA32iImage target = Picture(12, 12, colour).image(false);
                call(grade, image, transform, target, rects[round % 5]);
                TransformImage(image, transform, target, QRect());
                TransformImageWithOffset(image, transform, target, QPoint(INT_MIN, INT_MAX));
                COMPARE_PICTURE(Picture::of(target), Picture(12, 12, colour));
            }
        }
    }

    /// A target that is the source is written in order, and what was written is sampled, but where it is held.
    void ontoItself_data() { grades_data(); }
    void ontoItself()
    {
        QFETCH(Grade, grade);
        const Picture before = Picture::random(700, 9, 1);
        QTransform turned = QTransform::fromTranslate(2.25, 1);
        turned.rotate(1);
        for (const QTransform &transform :
            { QTransform::fromTranslate(2.25, 1), QTransform::fromScale(3, 2), turned }) {
            Picture expected = before;
            sampleArea(grade, expected, transform, expected, transform.mapRect(before.rect()) & before.rect());
            RGBA32iImage image = before.image(false), shared = image;
            QVERIFY(call(grade, image, transform, shared));
            COMPARE_PICTURE(Picture::of(image), expected);
        }
    }

    /// Every pair of images, against the rule, over transforms of each type.
    void points()
    {
        QRandomGenerator generator = kit::random();
        for (int round = 0; round < 300; ++round) {
            const QTransform transform = randomTransform(generator, round % 6, 2);
            bool invertible = false;
            const QTransform inverse = transform.inverted(&invertible);
            const Picture source = random(generator, 300);
            const QRect rect =
                round % 2 ? source.rect() : QRect(source.width / 3, source.height / 4, 40, 90) & source.rect();
            const QPoint offset(generator.bounded(-9, 9), generator.bounded(-9, 9));
            Picture expected(1 + generator.bounded(90), 1 + generator.bounded(90), ground), moved = expected;
            const QRect size = expected.rect();
            RGBA32iImage flat = expected.image(false), shifted = expected.image(false);
            QImage fromFlat(size.size(), QImage::Format_ARGB32_Premultiplied),
                fromTiles(size.size(), QImage::Format_ARGB32);
            fromFlat.fill(ground.word);
            fromTiles.fill(ground.word);
            const auto take = [&](Picture &target, int x, int y, const QPoint &by, const QRect &clip) {
                double sx, sy;
                inverse.map(x + 0.5, y + 0.5, &sx, &sy);
                sx -= by.x();
                sy -= by.y();
                const QPoint at(truncated(sx >= -1e-10 ? sx : -1), truncated(sy >= -1e-10 ? sy : -1));
                if (clip.contains(at))
                    target.at(x, y) = source.at(at.x(), at.y());
            };
            for (int y = 0; invertible && y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x) {
                    take(expected, x, y, QPoint(), rect);
                    take(moved, x, y, offset, source.rect());
                }
            QCOMPARE(TransformImage(source.image(false), transform, flat, rect), invertible);
            QCOMPARE(TransformImage(source.image(false), transform, fromFlat, rect), invertible);
            QCOMPARE(TransformImage(source.image(true), transform, fromTiles, rect), invertible);
            QCOMPARE(TransformImageWithOffset(source.image(false), transform, shifted, offset), invertible);
            const QString where = QString("round %1").arg(round);
            VERIFY_SAME_AT(kit::difference(Picture::of(flat), expected), where);
            VERIFY_SAME_AT(kit::difference(Picture::of(shifted), moved), where);
            for (const QImage &image : { fromFlat, fromTiles })
                VERIFY_SAME_AT(kit::difference(reinterpret_cast<const OPRGBA32i *>(image.constBits()), expected.pixels,
                                   size.width()),
                    where);
        }
    }

    /// Just below 0 counts as 0.
    void justBelowZero()
    {
        for (const auto &[position, isInside] : { std::pair(-5e-11, true), { -2e-10, false } }) {
            const RGBA32iImage image = Picture(1, 1, OPRGBA32i(7)).image(false);
            RGBA32iImage target = Picture(1, 1, ground).image(false);
            QVERIFY(TransformImage(image, QTransform::fromTranslate(0.5 - position, 0), target, QRect()));
            QCOMPARE(Picture::of(target).at(0, 0), isInside ? OPRGBA32i(7) : ground);
        }
    }

    void tiles()
    {
        RGBA32iImage image = Picture(200, 140, OPRGBA32i(7)).image(true); // two by two tiles
        image.ReleaseTile(1);
        QImage target(600, 140, QImage::Format_ARGB32);
        target.fill(ground.word);
        const kit::LogCapture log;
        QVERIFY(TransformImage(image, QTransform(), target, QRect()));
        QVERIFY(target.pixel(127, 0) == 7 && target.pixel(128, 0) == ground.word && target.pixel(199, 130) == 7
            && target.pixel(200, 0) == ground.word);
        QVERIFY(log.texts().isEmpty());
        // A rectangle that is larger than the image: tiles below it, row by row, and nothing before it.
        QVERIFY(TransformImage(image, QTransform::fromTranslate(0, -256), target, QRect(-9, -9, 700, 300)));
        QStringList lines; // of the rows 256 to 290
        for (int i = 0; i < 35 * 600; ++i)
            lines
                << QString("[include/KXImage] Invalid tile index for getting the tile data %1").arg(4 + i % 600 / 128);
        QCOMPARE(log.texts(), lines);
    }

    void cmyk()
    {
        // C = 200 * 256 / 65535 = 0.78126, K = 0.03906: (1 - C) * (1 - K) * 65535 = 13775, and 13775 >> 8 = 53.
        // Without ink 62975 >> 8 = 245, with 255 of it 245 >> 8 = 0.
        CMYKAImage source(130, 70, false), tiled(130, 70, true), target(130, 70, false);
        OPCMYKA pixel;
        pixel.c = 200, pixel.m = 0, pixel.y = 255, pixel.k = 10, pixel.a = 77;
        source.Fill(pixel);
        tiled.Fill(pixel);
        QVERIFY(TransformImage(source, QTransform(), target, QRect()));
        QCOMPARE(target.Bits()[130 * 70 - 1].word, pixel.word);
        const unsigned red = 53, green = 245, blue = 0;
        for (const CMYKAImage *from : { &source, &tiled }) {
            QImage image(130, 70, QImage::Format_ARGB32);
            image.fill(ground.word);
            QVERIFY(TransformImage(*from, QTransform(), image, QRect()));
            QCOMPARE(image.pixel(129, 69), 77u << 24 | red << 16 | green << 8 | blue);
            for (const auto format :
                { QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied, QImage::Format_Indexed8 }) {
                QImage other(130, 70, format);
                QVERIFY(!TransformImage(*from, QTransform(), other, QRect()));
            }
        }
    }

    void scaleImage()
    {
        // (u, v) comes to lie at 2 * ((1, 0) + (u, v)) - (1, 0): from column 1 on.
        Picture source(2, 1, OPRGBA32i(0xFF102030u));
        source.pixels[1] = OPRGBA32i(0xFF405060u);
        QImage target(6, 2, QImage::Format_ARGB32);
        target.fill(ground.word);
        QVERIFY(ScaleImage(source.image(false), QPointF(1, 0), 2, target));
        const unsigned row[] = { 0, 0xFF102030, 0xFF102030, 0xFF405060, 0xFF405060, 0 };
        for (int x = 0; x < 6; ++x)
            QVERIFY(target.pixel(x, 0) == row[x] && target.pixel(x, 1) == row[x]);
        QVERIFY(ScaleImage(source.image(false), QPointF(1, 0), 2, target, Inverter()));
        for (int x = 0; x < 6; ++x)
            QCOMPARE(target.pixel(x, 1), row[x] ^ 0x00FFFFFF);
    }

    /// Every format of Qt's, of a view with padded rows too, and odd numbers.
    void images()
    {
        const RGBA32iImage image = Picture::random(9, 9, 1).image(false);
        const kit::LogCapture log;
        for (int format = 0; format < QImage::NImageFormats; ++format) {
            QImage target(20, 20, QImage::Format(format)),
                padded(target.bits(), 3, 10, target.bytesPerLine(), target.format());
            target.fill(1);
            const QImage before = target;
            QVERIFY(TransformImage(image, QTransform::fromScale(2, 2), target, QRect()));
            QCOMPARE(target == before, target.depth() != 32);
            TransformImage(image, QTransform(), padded, QRect());
            for (const double odd : { 0.0, 1e-300, -1.0, 1e5, 1e300, infinity, notANumber })
                for (const QPointF &position : { QPointF(0, 0), QPointF(odd, 3) }) {
                    QVERIFY(ScaleImage(image, position, odd, target));
                    QVERIFY(ScaleImage(RGBA32iImage(9, 9, true), position, odd, target));
                    QVERIFY(ScaleImage(RGBA32iImage(), position, odd, target));
                    QVERIFY(ScaleImage(image, position, odd, padded, Inverter()));
                }
        }
    }
};

KXCORE_TEST_MAIN(TestTransform)
#include "tst_transform.moc"
