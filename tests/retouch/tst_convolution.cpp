#include "OPImageConvolution.h"
#include "kit/QtPictures.h"

#include <limits>

using kit::Picture, kit::pictureOf, kit::qimageOf;
using Values = std::vector<double>;

namespace {

/// The four forms: of the two classes, on a KXImage and on a QImage.
enum Form { All, AllQt, Alpha, AlphaQt };
constexpr Form forms[] = { All, AllQt, Alpha, AlphaQt };

template <class Image>
void apply(Form form, Image &image, const double *cells, QSize size)
{
    if (form < Alpha)
        OPImageConvolution(cells, size)(image);
    else
        OPImageConvoluteAlpha(cells, size)(image);
}

Picture convolved(Form form, const Picture &picture, const double *cells, QSize size)
{
    if (form == AllQt || form == AlphaQt) {
        QImage image = qimageOf(picture);
        apply(form, image, cells, size);
        return pictureOf(image);
    }
    RGBA32iImage image = picture.image(false);
    apply(form, image, cells, size);
    return Picture::of(image);
}

int truncated(double sum) { return sum > -2147483649.0 && sum < 2147483648.0 ? int(sum) : INT_MIN; }

/// What each form makes, pixel by pixel.
Picture expectedOf(Form form, const Picture &picture, const double *cells, QSize size)
{
    Picture result = picture;
    const Picture &source = form == All || form == Alpha ? result : picture;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x) {
            double sums[4] = {};
            float alpha = 0;
            for (int i = 0; i < size.width() * size.height(); ++i) {
                int sx = x + size.width() / 2 - i % size.width(), sy = y + size.height() / 2 - i / size.width();
                if (form == All)
                    sx = qBound(0, sx, picture.width - 1), sy = qBound(0, sy, picture.height - 1);
                if (!picture.rect().contains(sx, sy))
                    continue;
                for (int c = 0; c < 4; ++c)
                    sums[c] = sums[c] + kit::channel(source.at(sx, sy), c) * cells[i];
                alpha = float(source.at(sx, sy).a * cells[i] + alpha);
            }
            const bool isEmpty = form == All ? truncated(sums[3]) <= 0 : form != AllQt && !(alpha > 0);
            result.at(x, y) = kit::pixelOf([&](int c) {
                if (isEmpty || (form >= Alpha && c < 3))
                    return 0;
                return form >= Alpha ? int(std::min(alpha, 255.f)) : qBound(0, truncated(sums[c]), 255);
            });
        }
    return result;
}

/// Each form on @p picture.
void compare(const Picture &picture, const Values &cells, QSize size)
{
    for (const Form form : forms)
        VERIFY_SAME_AT(kit::difference(
                           convolved(form, picture, cells.data(), size), expectedOf(form, picture, cells.data(), size)),
            QString("form %1, %2 x %3 cells").arg(form).arg(size.width()).arg(size.height()));
}

} // namespace

/// OPImageConvolution and OPImageConvoluteAlpha.
class TestConvolution : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// 100 and the place of each pixel: -2 * 9 - 8 - 6 + 5 + 4 + 2 + 2 * 1 are added up beside 100.
    void emboss()
    {
        Picture drawn(3, 3);
        for (unsigned i = 0; i < 9; ++i)
            drawn.pixels[i].word = 0xFF000000u + (101 + i) * 0x010101u;
        QImage picture = qimageOf(drawn);
#include "OPImageConvolution-1.inc"
        QCOMPARE(picture.pixel(1, 1), 0xFF515151u); // 81
    }

    void randomPictures()
    {
        QRandomGenerator random = kit::random(1);
        for (int round = 0; round < 400 && !QTest::currentTestFailed(); ++round) {
            const Picture picture = Picture::random(random.bounded(1, 40), random.bounded(1, 12), quint32(round));
            const QSize size(random.bounded(1, 9), random.bounded(1, 9));
            Values cells(size_t(size.width() * size.height()));
            for (double &cell : cells)
                cell = (random.generateDouble() - 0.4) / (round % 3 == 0 ? 3 : cells.size() * 0.1);
            compare(picture, cells, size);
        }
    }

    /// Sums at the ends of the numbers and beyond, and cells that are no number, also beside the image.
    void oddCells()
    {
        const double infinity = std::numeric_limits<double>::infinity(), nan = std::nan("");
        for (const Values &cells :
            { Values { 254.9 / 255 }, { infinity }, { 1e300 }, { nan }, { 0, 1, nan },
                // Just above 2^24 + 1, which lies between two floats, and becomes the upper one; cells are not rounded.
                { 0x1p24, 1 + 0x1p-27, -0x1p24 } })
            for (const unsigned word : { 0x01010101u, 0x64646464u, 0xFFFFFFFFu }) {
                const int length = int(cells.size());
                compare(Picture(3, 1, OPRGBA32i(word)), cells, { length, 1 });
                compare(Picture(1, 3, OPRGBA32i(word)), cells, { 1, length });
            }
    }

    /// Samples are ARGB32 and results are written as setPixel does, whatever the format.
    void formats()
    {
        const kit::LogCapture warnings; // of indices without a colour
        const double cells[] = { 0.25, 0.125, -0.5, 0.25, 0.5, 0.375 };
        const QImage drawn = qimageOf(Picture::random(21, 9, 4));
        for (int format = 1; format < QImage::NImageFormats; ++format) {
            const QImage before = drawn.convertToFormat(QImage::Format(format));
            const QImage samples = before.convertToFormat(QImage::Format_ARGB32, Qt::NoOpaqueDetection);
            const Picture results = expectedOf(AllQt, pictureOf(samples), cells, { 3, 2 });
            QImage expected = before.copy(), image = before, alpha = before;
            for (int y = 0; y < results.height; ++y)
                for (int x = 0; x < results.width; ++x)
                    expected.setPixel(x, y, results.at(x, y).word);
            OPImageConvolution(cells, { 3, 2 })(image);
            QVERIFY2(image == expected && image.format() == format, qPrintable(QString("format %1").arg(format)));
            OPImageConvoluteAlpha(cells, { 3, 2 })(alpha);
            QCOMPARE(alpha.format(), QImage::Format_ARGB32);
            COMPARE_PICTURE(pictureOf(alpha), expectedOf(AlphaQt, pictureOf(samples), cells, { 3, 2 }));
            COMPARE_PICTURE(pictureOf(before.convertToFormat(QImage::Format_ARGB32, Qt::NoOpaqueDetection)),
                pictureOf(samples)); // it shared its pixels with both
        }
    }

    /// No cells, no area, and no flat buffer.
    void nothingToDo()
    {
        const double cell = 2;
        const Picture picture = Picture::random(9, 5, 2);
        RGBA32iImage tiled = picture.image(true), empty(0, 7, false), sharing = picture.image(false), flat = sharing;
        QImage null;
        for (const Form form : { All, Alpha }) {
            for (const auto &[cells, size] :
                { std::pair(&cell, QSize(0, 1)), { &cell, QSize(1, 0) }, { &cell, QSize(-3, 2) }, { &cell, QSize() },
                    { static_cast<const double *>(nullptr), QSize(1, 1) } }) {
                COMPARE_PICTURE(convolved(form, picture, cells, size), picture);
                COMPARE_PICTURE(convolved(Form(form + 1), picture, cells, size), picture);
                apply(form, tiled, cells, size);
            }
            apply(form, empty, &cell, { 1, 1 });
            apply(form, null, &cell, { 1, 1 });
            QCOMPARE(kit::outOfRange([&] { apply(form, tiled, &cell, { 1, 1 }); }), QByteArray("OPImage::SetColor"));
        }
        COMPARE_PICTURE(Picture::of(tiled), picture);
        QVERIFY(null.isNull());
        OPImageConvolution(&cell, { 1, 1 })(flat);
        COMPARE_PICTURE(Picture::of(sharing), expectedOf(All, picture, &cell, { 1, 1 })); // copies share the buffer
    }
};

KXCORE_TEST_MAIN(TestConvolution)
#include "tst_convolution.moc"
