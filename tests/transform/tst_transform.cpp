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

namespace {

constexpr double eps = 2.220446049250313e-16;
constexpr double infinity = std::numeric_limits<double>::infinity();
const OPRGBA32i ground(0x11223344u);
const double notANumber = std::numeric_limits<double>::quiet_NaN();

#include "OPImageTransformation-1.inc"

int truncated(double v) { return std::abs(v) < 2147483648.0 ? int(v) : INT_MIN; }

/// Four samples at t, by the rule of each grade.
OPRGBA32i mixed(Grade grade, const OPRGBA32i *samples, double t)
{
    return kit::pixelOf([&](int c) {
        const auto p = [&](int i) { return int(kit::channel(samples[i], c)); };
        const double half = 0.5000000000000002;
        const int a = p(3) - p(0) - p(2) + p(1);
        const double linear = double(p(2) - p(1)) * t + double(p(1)) + half;
        const double cubic = (double(p(0) - p(1)) - a + a * t) * (t * t) + half + (double(p(2) - p(0)) * t + p(1));
        return qBound(0, int(grade == Bicubic ? cubic : linear), 255);
    });
}

/// A grade over @p area, in rows, straight from its rule: it keeps the neighbours that it read last.
void sampleArea(Grade grade, const Picture &source, const QTransform &transform, Picture &target, const QRect &area)
{
    const auto isInside = [](double s, int size) {
        return s >= -eps && truncated(s + eps) >= 0 && truncated(s + eps) < size;
    };
    const QTransform inverse = transform.inverted();
    const double before = grade == Nearest ? 0 : 0.5;
    OPRGBA32i neighbours[16], rows[4];
    QPoint last(-1, -1);
    for (int i = 0; i < area.width() * area.height(); ++i) {
        const QPoint to = area.topLeft() + QPoint(i % area.width(), i / area.width());
        double sx, sy;
        inverse.map(to.x() + 0.5, to.y() + 0.5, &sx, &sy);
        if (!isInside(sx, source.width) || !isInside(sy, source.height))
            continue;
        const int x = int(sx + eps - before), y = int(sy + eps - before);
        for (int k = 0; k < 16 && last != QPoint(x, y); ++k)
            neighbours[k] =
                source.at(qBound(0, x - 1 + k % 4, source.width - 1), qBound(0, y - 1 + k / 4, source.height - 1));
        last = QPoint(x, y);
        for (int row = 0; row < 4; ++row)
            rows[row] = mixed(grade, neighbours + 4 * row, sx - x - 0.5);
        target.at(to.x(), to.y()) = grade == Nearest ? neighbours[5] : mixed(grade, rows, sy - y - 0.5);
    }
}

/// The whole of a grade; @p source is left as the filter leaves it.
void transformed(Grade grade, Picture &source, const QTransform &transform, Picture &target, const QRect &rect)
{
    const QRect area = ClippedTo(target.rect(), transform.mapRect(rect.isEmpty() ? source.rect() : rect));
    if (area.isEmpty())
        return;
    const QRectF mapped = transform.mapRect(QRectF(source.rect()));
    const double scaleX = mapped.width() * (1.0 / source.width), scaleY = mapped.height() * (1.0 / source.height);
    if (grade != Nearest && !(scaleX > 0.5 && scaleY > 0.5)) {
        for (const auto &[scale, lines] : { std::pair(scaleX, Qt::Horizontal), { scaleY, Qt::Vertical } })
            if (scale < 1) {
                const int radius = int(0.5 / scale + 0.5);
                for (int pass = 0; pass < (grade == Bilinear ? 1 : radius < 300 ? 3 : 0); ++pass)
                    kit::alongLines(source, source.rect(), source.rect(), lines, [&](auto at) {
                        const auto mean = kit::means(at, radius, false);
                        return kit::pixelOf([&](int c) { return mean[size_t(c)]; });
                    });
            }
        if (scaleX < 1 && scaleY < 1)
            grade = Nearest;
    }
    sampleArea(grade, source, transform, target, area);
}

bool call(Grade grade, const RGBA32iImage &source, const QTransform &transform, RGBA32iImage &target,
    const QRect &rect = QRect())
{
    const auto function = grade == Nearest ? NearestNeighbourTransformImage<RGBA32iImage, RGBA32iImage>
        : grade == Bilinear                ? BilinearTransformImage<RGBA32iImage, RGBA32iImage>
                                           : BicubicTransformImage<RGBA32iImage, RGBA32iImage>;
    return function(source, transform, target, rect);
}

/// How a grade differs from its rule, in the target or in what is left of the source.
QString compared(Grade grade, Picture source, const QTransform &transform, const QSize &size, const QRect &rect)
{
    Picture expected(size.width(), size.height(), ground);
    RGBA32iImage image = source.image(false), target = expected.image(false);
    if (!call(grade, image, transform, target, rect))
        return "false";
    transformed(grade, source, transform, expected, rect);
    return kit::difference(Picture::of(target), expected) + kit::difference(Picture::of(image), source);
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
        transform.shear(number(1), number(0.7));
    if (type > 4)
        transform *= QTransform(1, 0, number(0.1), 0, 1, number(0.1), 0, 0, 1);
    return transform;
}

Picture random(QRandomGenerator &random, int most)
{
    return Picture::random(1 + random.bounded(most), 1 + random.bounded(most), random.generate());
}

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
    /// What the header shows: a quarter turn moves pixels, others enlarge the picture.
    void example()
    {
        const Picture photo = Picture::random(3, 2, 1);
        Picture expected(2, 3);
        for (int i = 0; i < 6; ++i)
            expected.at(1 - i / 3, i % 3) = photo.at(i % 3, i / 3);
        COMPARE_PICTURE(Picture::of(turned(photo.image(false), 90)), expected);
        // 800 cos 30 + 600 sin 30 wide, 800 sin 30 + 600 cos 30 high.
        QCOMPARE(turned(RGBA32iImage(800, 600, false), 30).Rect(), QRect(0, 0, 993, 920));
    }

    /// Transforms of each type, enlarging and reducing, with and without a rectangle.
    void grades()
    {
        QRandomGenerator generator = kit::random();
        for (int round = 0; round < 2700; ++round) {
            const double scales[] = { 1, 1, 4, 0.6, 0.3 };
            const bool isWide = round % 7 == 0; // several strips
            const QTransform transform =
                randomTransform(generator, round / 3 % 6, isWide ? 12 : scales[round / 18 % 5]);
            const Picture source = random(generator, round % 5 ? 60 : 4);
            const QRect rect = round % 4 ? QRect() : QRect(source.width / 4, 0, 1 + source.width / 2, source.height);
            const QSize size(1 + generator.bounded(isWide ? 600 : 90), 1 + generator.bounded(60));
            VERIFY_SAME_AT(compared(Grade(round % 3), source, transform, size, rect),
                QString("round %1, type %2").arg(round).arg(transform.type()));
        }
        // On either side of what filters, of what samples, and of the radius of 300.
        for (const auto &[x, y] :
            { std::pair(0.5, 2.0), { 0.51, 0.75 }, { 0.9, 0.4 }, { 0.0017, 1.0 }, { 0.0015, 1.0 } })
            for (const Grade grade : { Bilinear, Bicubic })
                VERIFY_SAME_AT(
                    compared(grade, Picture::random(800, 7, 1), QTransform::fromScale(x, y), { 500, 20 }, {}),
                    QString::number(x));
        // Halves, between two pixels, beyond the first and the last centre, and the last number below 1.
        Picture two(2, 1, OPRGBA32i(0, 10, 200, 255));
        two.pixels[1] = OPRGBA32i(1, 20, 3, 0);
        for (const QTransform &transform : { QTransform::fromTranslate(0.5, 0), QTransform::fromScale(2, 1),
                 QTransform(-2, 0, 0, 1, 4, 0), QTransform::fromTranslate(eps / 2 - 0.5, 0) })
            for (const Grade grade : { Nearest, Bilinear, Bicubic })
                VERIFY_SAME_AT(compared(grade, two, transform, { 3, 1 }, {}),
                    QString("%1, from %2").arg(transform.m11()).arg(transform.dx()));
    }

    /// Radii that no accumulator could sum: the filter has the mean of the two ends, 100.5, and nothing overflows.
    void tinyScales()
    {
        for (const double scale : { 1e-7, 1e-9, 1e-11 }) {
            RGBA32iImage ends(2, 1, false), target(4, 4, false);
            ends.Bits()[1] = OPRGBA32i(201);
            const QTransform transform(scale, 1, 0, 1, 0.5 - scale, 0);
            QVERIFY(call(Bicubic, ends, transform, target) && ends.Bits()[0].word == 0 && ends.Bits()[1].word == 201);
            QVERIFY(
                call(Bilinear, ends, transform, target) && ends.Bits()[0].word == 100 && ends.Bits()[1].word == 100);
        }
    }

    /// Nothing is touched: by what is not invertible, empty, beside the target, or tiled.
    void nothingHappens()
    {
        const Picture before = Picture::random(40, 30, 1);
        const RGBA32iImage flat = before.image(false), tiled = before.image(true), none(0, 30, false);
        const QTransform shrink = QTransform::fromScale(0.3, 0.3), singular(1, 2, 2, 4, 0, 0);
        const struct {
            const RGBA32iImage &source, &target;
            QTransform transform;
        } calls[] = { { flat, flat, singular }, { tiled, flat, singular }, { none, flat, singular },
            { flat, flat, QTransform::fromTranslate(41, 0) }, { flat, none, shrink }, { tiled, flat, shrink },
            { flat, tiled, shrink } };
        for (const auto &c : calls) {
            RGBA32iImage target = c.target;
            QImage image(1, 1, QImage::Format_ARGB32);
            const bool invertible = c.transform != singular;
            for (const Grade grade : { Nearest, Bilinear, Bicubic })
                QCOMPARE(call(grade, c.source, c.transform, target), invertible || &c.source == &none);
            QCOMPARE(TransformImage(c.source, c.transform, target, QRect()), invertible);
            QCOMPARE(TransformImage(c.source, c.transform, image, QRect()), invertible);
            QCOMPARE(TransformImageWithOffset(c.source, c.transform, target, QPoint()), invertible);
            for (const RGBA32iImage *left : { &c.source, &c.target })
                COMPARE_PICTURE(Picture::of(*left), left == &none ? Picture(0, 30) : before);
        }
    }

    /// A picture of one colour keeps it, also under numbers that no application means; and nothing faults.
    void constantPictures()
    {
        const double strange[] = { 0, 1, -1, 1e-13, 1e-300, 1e9, 1e300, infinity, -infinity, notANumber };
        QRandomGenerator generator = kit::random();
        const auto any = [&] {
            return generator.bounded(3) ? double(generator.bounded(3)) : strange[generator.bounded(10)];
        };
        const QRect rects[] = { {}, QRect(2, 2, 3, 3), QRect(-1000000000, -1000000000, 2000000000, 2000000000),
            QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)), QRect(5, 5, -3, -3) };
        for (int round = 0; round < 3000; ++round) {
            const QTransform transform(any(), any(), generator.bounded(4) ? 0 : any(), any(), any(),
                generator.bounded(4) ? 0 : any(), any(), any(), generator.bounded(4) ? 1 : any());
            const Picture source(9, 9, kit::saltedPixel(generator)), expected(12, 12, source.pixels[0]);
            const RGBA32iImage image = source.image(false);
            for (const Grade grade : { Nearest, Bilinear, Bicubic }) {
                RGBA32iImage target = expected.image(false);
                call(grade, image, transform, target, rects[round % 5]);
                TransformImage(image, transform, target, QRect());
                TransformImageWithOffset(image, transform, target, QPoint(INT_MIN, INT_MAX));
                COMPARE_PICTURE(Picture::of(target), expected);
            }
        }
    }

    /// A target that is the source is written in order, and what was written is sampled, but where it is held.
    void ontoItself()
    {
        const Picture before = Picture::random(700, 9, 1);
        QTransform turned = QTransform::fromTranslate(2.25, 1);
        turned.rotate(1);
        for (const QTransform &transform : { QTransform::fromTranslate(2.25, 1), QTransform::fromScale(3, 2), turned })
            for (const Grade grade : { Nearest, Bilinear, Bicubic }) {
                Picture expected = before;
                sampleArea(grade, expected, transform, expected, transform.mapRect(before.rect()) & before.rect());
                RGBA32iImage image = before.image(false), shared = image;
                QVERIFY(call(grade, image, transform, shared));
                COMPARE_PICTURE(Picture::of(image), expected);
            }
    }

    /// Every pair of images, against the rule, over transforms of each type. Just below 0 counts as 0.
    void points()
    {
        QRandomGenerator generator = kit::random();
        for (int round = 0; round < 300; ++round) {
            const double near = round % 20 == 0 ? -5e-11 : -2e-10; // the first column's place
            const QTransform transform =
                round % 10 == 0 ? QTransform::fromTranslate(0.5 - near, 0) : randomTransform(generator, round % 6, 2);
            const QTransform inverse = transform.inverted();
            const Picture source = random(generator, 300),
                          before(1 + generator.bounded(90), 1 + generator.bounded(60), ground);
            const QRect rect =
                round % 2 ? source.rect() : QRect(source.width / 3, source.height / 4, 40, 90) & source.rect();
            const QPoint offset(generator.bounded(-9, 9), generator.bounded(-9, 9));
            const auto taken = [&](const QPoint &by, const QRect &clip) {
                Picture target = before;
                for (int i = 0; i < int(before.pixels.size()); ++i) {
                    double sx, sy;
                    inverse.map(i % before.width + 0.5, i / before.width + 0.5, &sx, &sy);
                    sx -= by.x();
                    sy -= by.y();
                    const QPoint at(truncated(sx >= -1e-10 ? sx : -1), truncated(sy >= -1e-10 ? sy : -1));
                    if (clip.contains(at))
                        target.pixels[size_t(i)] = source.at(at.x(), at.y());
                }
                return target;
            };
            const Picture expected = taken(QPoint(), rect);
            RGBA32iImage flat = before.image(false), shifted = before.image(false);
            QVERIFY(TransformImage(source.image(false), transform, flat, rect));
            QVERIFY(TransformImageWithOffset(source.image(false), transform, shifted, offset));
            const QString where = QString("round %1").arg(round);
            VERIFY_SAME_AT(kit::difference(Picture::of(flat), expected), where);
            VERIFY_SAME_AT(kit::difference(Picture::of(shifted), taken(offset, source.rect())), where);
            for (const bool tiled : { false, true }) {
                QImage image(before.rect().size(), tiled ? QImage::Format_ARGB32 : QImage::Format_ARGB32_Premultiplied);
                image.fill(ground.word);
                QVERIFY(TransformImage(source.image(tiled), transform, image, rect));
                const auto *const pixels = reinterpret_cast<const OPRGBA32i *>(image.constBits());
                VERIFY_SAME_AT(kit::difference(pixels, expected.pixels, before.width), where);
            }
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
        // A pixel of its own in the second row of tiles, at its place there. As for that one, k = 128: 32767 >> 8.
        OPCMYKA grey;
        grey.k = 128;
        source.Bits()[66 * 130 + 5] = tiled.TileData(2, true)[2 * 128 + 5] = grey;
        QVERIFY(TransformImage(source, QTransform(), target, QRect()));
        QCOMPARE(target.Bits()[130 * 70 - 1].word, pixel.word);
        const unsigned red = 53, green = 245, blue = 0;
        for (const CMYKAImage *from : { &source, &tiled }) {
            QImage image(130, 70, QImage::Format_ARGB32);
            QVERIFY(TransformImage(*from, QTransform(), image, QRect()));
            QCOMPARE(image.pixel(129, 69), 77u << 24 | red << 16 | green << 8 | blue);
            QCOMPARE(image.pixel(5, 66), 0x007F7F7Fu);
            for (const auto format : { QImage::Format_RGB32, QImage::Format_Indexed8 }) {
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
