#include "TestSupport.h"

#include "KXConverter.h"

#include <QtCore/QFloat16>

#include <cmath>

namespace {

using Channels = QVector<int>; // in the order in which people name them: R G B A, C M Y K A, H S L A

/// A flat image with one pixel.
template <class Image>
Image onePixel(typename Image::Pixel pixel)
{
    Image image(1, 1, false);
    *image.Bits() = pixel;
    return image;
}

OPRGBA32i rgba(const Channels &c) { return OPRGBA32i(uchar(c[2]), uchar(c[1]), uchar(c[0]), uchar(c[3])); }
Channels channels(OPRGBA32i p) { return { p.r, p.g, p.b, p.a }; }

OPCMYKA cmyka(const Channels &c)
{
    OPCMYKA p;
    p.c = uchar(c[0]), p.m = uchar(c[1]), p.y = uchar(c[2]), p.k = uchar(c[3]), p.a = uchar(c[4]);
    return p;
}

OPHSLA hsla(const Channels &c)
{
    OPHSLA p;
    p.h = quint16(c[0]), p.s = uchar(c[1]), p.l = uchar(c[2]), p.a = uchar(c[3]);
    return p;
}

/// 256 pixels whose channels run through all bytes, each in an order of its own.
RGBA32iImage allBytes()
{
    RGBA32iImage image(16, 16, false);
    for (int i = 0; i < 256; ++i)
        image.Bits()[i] = OPRGBA32i(uchar(i), uchar(i * 3 + 1), uchar(255 - i), uchar(i * 7 + 5));
    return image;
}

bool samePixels(const RGBA32iImage &a, const RGBA32iImage &b)
{
    return a.Width() == b.Width() && a.Height() == b.Height()
        && std::memcmp(a.Bits(), b.Bits(), size_t(a.Width()) * size_t(a.Height()) * 4) == 0;
}

} // namespace

class TestConverter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void toCmyk_data();
    void toCmyk();
    void inksFollowTheDoubleFormula();
    void fromCmyk_data();
    void fromCmyk();
    void toHsl_data();
    void toHsl();
    void fromHsl_data();
    void fromHsl();
    void sixteenBit();
    void eightBitToHalf();
    void halfToEightBit();
    void rawBytes();
    void qimage();
    void qimageOfAnotherDepth();
    void emptyImages();
    void tiledImagesAreRefused();
    void grey();
};

void TestConverter::toCmyk_data()
{
    QTest::addColumn<Channels>("from");
    QTest::addColumn<Channels>("expected");
    QTest::newRow("no full channel: nothing but alpha") << Channels { 200, 100, 50, 7 } << Channels { 0, 0, 0, 0, 7 };
    QTest::newRow("254 is not full") << Channels { 254, 254, 254, 255 } << Channels { 0, 0, 0, 0, 255 };
    QTest::newRow("black") << Channels { 0, 0, 0, 255 } << Channels { 0, 0, 0, 0, 255 };
    QTest::newRow("red") << Channels { 255, 0, 0, 255 } << Channels { 1, 255, 255, 1, 255 };
    QTest::newRow("white, clear") << Channels { 255, 255, 255, 0 } << Channels { 1, 1, 1, 1, 0 };
    QTest::newRow("full green") << Channels { 10, 255, 77, 3 } << Channels { 246, 1, 179, 1, 3 };
    QTest::newRow("full blue") << Channels { 128, 1, 255, 9 } << Channels { 128, 255, 1, 1, 9 };
}

void TestConverter::toCmyk()
{
    QFETCH(Channels, from);
    QFETCH(Channels, expected);
    const auto image = ConvertImage<RGBA32iImage, CMYKAImage>(onePixel<RGBA32iImage>(rgba(from)));
    QCOMPARE(image.Bits()->word, cmyka(expected).word); // the spare bytes too
    QVERIFY(!image.IsTiled());

    QImage picture(1, 1, QImage::Format_ARGB32);
    picture.setPixel(0, 0, qRgba(from[0], from[1], from[2], from[3]));
    const auto ofPicture = ConvertImage<QImage, CMYKAImage>(picture);
    QCOMPARE(ofPicture.Bits()->word, cmyka(expected).word);
}

/// With black at 1 an ink is about 256 - c. These are the channels at which the sum in double precision falls just below
/// that, so that the truncation gives one less.
void TestConverter::inksFollowTheDoubleFormula()
{
    const QSet<int> oneLess { 43, 59, 75, 91, 107, 123, 133, 140, 141, 149, 156, 157, 165, 172, 173, 181, 188, 189, 197,
        198, 204, 205, 206, 213, 214, 220, 221, 222, 229, 230, 236, 237, 238, 245, 246, 252, 253, 254 };
    for (int c = 0; c < 256; ++c) {
        const auto ink = ConvertImage<RGBA32iImage, CMYKAImage>(onePixel<RGBA32iImage>(rgba({ 255, c, 0, 0 })));
        QCOMPARE(int(ink.Bits()->m), c == 0 ? 255 : 256 - c - oneLess.contains(c));
    }
}

void TestConverter::fromCmyk_data()
{
    QTest::addColumn<Channels>("from");
    QTest::addColumn<Channels>("expected");
    QTest::newRow("no ink at all: black, alpha kept") << Channels { 0, 0, 0, 0, 7 } << Channels { 0, 0, 0, 7 };
    QTest::newRow("full black, no colour") << Channels { 0, 0, 0, 255, 1 } << Channels { 1, 1, 1, 1 };
    QTest::newRow("half black") << Channels { 255, 0, 100, 128, 2 } << Channels { 255, 128, 178, 2 };
    QTest::newRow("black of 1") << Channels { 10, 20, 30, 1, 3 } << Channels { 255, 255, 255, 3 };
    QTest::newRow("colour without black") << Channels { 0, 0, 1, 0, 4 } << Channels { 255, 255, 255, 4 };
    QTest::newRow("mixed") << Channels { 128, 127, 3, 200, 5 } << Channels { 156, 155, 58, 5 };
}

void TestConverter::fromCmyk()
{
    QFETCH(Channels, from);
    QFETCH(Channels, expected);
    const auto image = ConvertImage<CMYKAImage, RGBA32iImage>(onePixel<CMYKAImage>(cmyka(from)));
    QCOMPARE(channels(*image.Bits()), expected);
    const auto picture = ConvertImage<CMYKAImage, QImage>(onePixel<CMYKAImage>(cmyka(from)));
    QCOMPARE(picture.format(), QImage::Format_ARGB32);
    QCOMPARE(picture.pixel(0, 0), qRgba(expected[0], expected[1], expected[2], expected[3]));
}

void TestConverter::toHsl_data()
{
    QTest::addColumn<Channels>("from");
    QTest::addColumn<Channels>("expected");
    QTest::newRow("grey") << Channels { 200, 200, 200, 5 } << Channels { 0, 0, 200, 5 };
    QTest::newRow("red") << Channels { 255, 0, 0, 1 } << Channels { 0, 255, 127, 1 };
    QTest::newRow("yellow") << Channels { 255, 255, 0, 1 } << Channels { 6000, 255, 127, 1 };
    QTest::newRow("green") << Channels { 0, 255, 0, 1 } << Channels { 12000, 255, 127, 1 };
    QTest::newRow("cyan") << Channels { 0, 255, 255, 1 } << Channels { 18000, 255, 127, 1 };
    QTest::newRow("blue") << Channels { 0, 0, 255, 1 } << Channels { 24000, 255, 127, 1 };
    QTest::newRow("magenta: -60 becomes 300") << Channels { 255, 0, 255, 1 } << Channels { 30000, 255, 127, 1 };
    QTest::newRow("orange falls to red") << Channels { 255, 128, 0, 9 } << Channels { 0, 255, 127, 9 };
    QTest::newRow("pink falls to red from below") << Channels { 255, 0, 128, 4 } << Channels { 0, 255, 127, 4 };
    QTest::newRow("dark") << Channels { 3, 2, 1, 0 } << Channels { 0, 127, 2, 0 };
    QTest::newRow("light") << Channels { 255, 254, 254, 1 } << Channels { 0, 255, 254, 1 };
    QTest::newRow("blue first") << Channels { 50, 100, 200, 3 } << Channels { 18000, 153, 125, 3 };
    QTest::newRow("saturation truncated") << Channels { 10, 200, 250, 4 } << Channels { 18000, 244, 130, 4 };
}

void TestConverter::toHsl()
{
    QFETCH(Channels, from);
    QFETCH(Channels, expected);
    const auto image = ConvertImage<RGBA32iImage, HSLAImage>(onePixel<RGBA32iImage>(rgba(from)));
    QCOMPARE(image.Bits()->word, hsla(expected).word);
}

void TestConverter::fromHsl_data()
{
    QTest::addColumn<Channels>("from");
    QTest::addColumn<Channels>("expected");
    QTest::newRow("hue 0 keeps its red") << Channels { 0, 255, 128, 1 } << Channels { 255, 1, 1, 1 };
    QTest::newRow("hue 0, below half") << Channels { 0, 255, 127, 1 } << Channels { 254, 0, 0, 1 };
    QTest::newRow("hue wraps at 36000") << Channels { 36000, 100, 60, 1 } << Channels { 84, 36, 36, 1 };
    QTest::newRow("0.16 of a degree") << Channels { 16, 90, 70, 3 } << Channels { 95, 93, 45, 3 };
    QTest::newRow("0.33 of a degree") << Channels { 33, 90, 70, 3 } << Channels { 46, 95, 45, 3 };
    QTest::newRow("0.34 of a degree") << Channels { 34, 90, 70, 3 } << Channels { 45, 95, 47, 3 };
    QTest::newRow("half a degree") << Channels { 50, 255, 128, 2 } << Channels { 1, 255, 255, 2 };
    QTest::newRow("one degree") << Channels { 100, 200, 200, 2 } << Channels { 243, 157, 157, 2 };
    QTest::newRow("green is grey") << Channels { 12000, 255, 127, 3 } << Channels { 0, 0, 0, 3 };
    QTest::newRow("359 degrees are grey") << Channels { 35900, 255, 128, 3 } << Channels { 1, 1, 1, 3 };
    QTest::newRow("largest hue") << Channels { 65535, 200, 90, 9 } << Channels { 19, 19, 19, 9 };
    QTest::newRow("white") << Channels { 180, 255, 255, 1 } << Channels { 255, 255, 255, 1 };
}

void TestConverter::fromHsl()
{
    QFETCH(Channels, from);
    QFETCH(Channels, expected);
    const auto image = ConvertImage<HSLAImage, RGBA32iImage>(onePixel<HSLAImage>(hsla(from)));
    QCOMPARE(channels(*image.Bits()), expected);
}

void TestConverter::sixteenBit()
{
    const auto image = allBytes();
    const auto wide = ConvertImage<RGBA32iImage, RGBA64iImage>(image);
    for (int i = 0; i < 256; ++i) {
        QCOMPARE(int(wide.Bits()[i].b), image.Bits()[i].b * 256);
        QCOMPARE(int(wide.Bits()[i].g), image.Bits()[i].g * 256);
        QCOMPARE(int(wide.Bits()[i].r), image.Bits()[i].r * 256);
        QCOMPARE(int(wide.Bits()[i].a), image.Bits()[i].a * 256);
    }
    const auto back = ConvertImage<RGBA64iImage, RGBA32iImage>(wide);
    QVERIFY(samePixels(back, image));

    OPRGBA64i low;
    low.b = 0x01FF, low.g = 0x00FF, low.r = 0xFFFF, low.a = 0x8000;
    const auto highBytes = ConvertImage<RGBA64iImage, RGBA32iImage>(onePixel<RGBA64iImage>(low));
    QCOMPARE(highBytes.Bits()->word, 0x80FF0001u);
}

/// The nearest half, ties up, by exact arithmetic on the significand.
void TestConverter::eightBitToHalf()
{
    const auto image = allBytes();
    const auto half = ConvertImage<RGBA32iImage, RGBA64fImage>(image);
    const auto expected = [](int c) {
        if (c == 0)
            return 0;
        int exponent;
        const double significand = std::frexp(double(c * 1.0073664f), &exponent); // in [0.5, 1)
        return (exponent + 14) * 1024 + int(std::floor(significand * 2048 + 0.5)) - 1024;
    };
    for (int i = 0; i < 256; ++i) {
        QCOMPARE(int(half.Bits()[i].b), expected(image.Bits()[i].b));
        QCOMPARE(int(half.Bits()[i].g), expected(image.Bits()[i].g));
        QCOMPARE(int(half.Bits()[i].r), expected(image.Bits()[i].r));
        QCOMPARE(int(half.Bits()[i].a), expected(image.Bits()[i].a));
    }
    const auto back = ConvertImage<RGBA64fImage, RGBA32iImage>(half);
    for (int i = 0; i < 256; ++i) {
        const int lost = image.Bits()[i].b - back.Bits()[i].b;
        QVERIFY2(lost == 0 || lost == 1, qPrintable(QString("%1 came back as %2").arg(i).arg(back.Bits()[i].b)));
    }
}

/// All bit patterns, subnormal, infinite and NaN among them, each in every channel.
void TestConverter::halfToEightBit()
{
    RGBA64fImage image(256, 256, false);
    for (int i = 0; i < 65536; ++i) {
        OPRGBA64f &pixel = image.Bits()[i];
        pixel.b = quint16(i), pixel.g = quint16(i + 1), pixel.r = quint16(~i), pixel.a = quint16(i ^ 0x8000);
    }
    const auto result = ConvertImage<RGBA64fImage, RGBA32iImage>(image);
    const auto expected = [](quint16 bits) {
        qfloat16 half;
        std::memcpy(static_cast<void *>(&half), &bits, sizeof bits);
        const float value = float(half) * 0.9926875f;
        return std::isfinite(value) ? int(qint64(value) & 255) : 0;
    };
    for (int i = 0; i < 65536; ++i) {
        const OPRGBA64f from = image.Bits()[i];
        const Channels wanted { expected(from.r), expected(from.g), expected(from.b), expected(from.a) };
        if (channels(result.Bits()[i]) != wanted)
            QCOMPARE(channels(result.Bits()[i]), wanted);
    }
    QCOMPARE(int(result.Bits()[0x5BF8].b), 253); // 255 * 0.9926875 = 253.1
    QCOMPARE(int(result.Bits()[0x5C08].b), 0); // 258 * 0.9926875 = 256.1, of which the low byte stays
    QCOMPARE(int(result.Bits()[0xC500].b), 252); // -5 * 0.9926875, truncated to -4
    QCOMPARE(int(result.Bits()[0x7C00].b), 0); // infinite
}

void TestConverter::rawBytes()
{
    const unsigned char bytes[] = { 1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99, 10, 11, 12 }; // nothing after the last pixel
    RGB32iRawImage raw;
    raw.width = 2, raw.height = 2, raw.pixelStride = 4, raw.pixels = bytes;
    const auto image = ConvertImage<RGB32iRawImage, RGBA32iImage>(raw);
    QCOMPARE(image.Width(), 2);
    QCOMPARE(image.Height(), 2);
    QCOMPARE(channels(image.Bits()[0]), (Channels { 1, 2, 3, 255 }));
    QCOMPARE(channels(image.Bits()[1]), (Channels { 4, 5, 6, 255 }));
    QCOMPARE(channels(image.Bits()[2]), (Channels { 7, 8, 9, 255 }));
    QCOMPARE(channels(image.Bits()[3]), (Channels { 10, 11, 12, 255 }));
    raw.pixelStride = 3;
    const auto dense = ConvertImage<RGB32iRawImage, RGBA32iImage>(raw);
    QCOMPARE(channels(dense.Bits()[1]), (Channels { 99, 4, 5, 255 }));
}

void TestConverter::qimage()
{
    const auto image = allBytes();
    const QImage picture = ConvertImage<RGBA32iImage, QImage>(image);
    QCOMPARE(picture.size(), QSize(16, 16));
    QCOMPARE(picture.format(), QImage::Format_ARGB32);
    QVERIFY(std::memcmp(picture.constBits(), image.Bits(), 1024) == 0);
    auto back = ConvertImage<QImage, RGBA32iImage>(picture);
    QVERIFY(samePixels(back, image));
    back.Bits()[0] = OPRGBA32i(0x12345678u); // nothing is shared
    QCOMPARE(picture.pixel(0, 0), QRgb(image.Bits()[0].word));

    const QImage premultiplied = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const auto bytes = ConvertImage<QImage, RGBA32iImage>(premultiplied); // the format is not looked at
    QVERIFY(std::memcmp(bytes.Bits(), premultiplied.constBits(), 1024) == 0);
}

void TestConverter::qimageOfAnotherDepth()
{
    QImage grey(8, 2, QImage::Format_Grayscale8); // 16 bytes where 64 would be read
    grey.fill(0x40);
    const auto image = ConvertImage<QImage, RGBA32iImage>(grey);
    for (int i = 0; i < 16; ++i)
        QCOMPARE(image.Bits()[i].word, i < 4 ? 0x40404040u : 0u);
    const auto inks = ConvertImage<QImage, CMYKAImage>(grey);
    QCOMPARE(inks.Bits()[4].word, quint64(0));
}

void TestConverter::emptyImages()
{
    const auto wide = ConvertImage<RGBA32iImage, CMYKAImage>(RGBA32iImage(5, 0, false));
    QCOMPARE(wide.Width(), 5);
    QCOMPARE(wide.Height(), 0);
    QVERIFY(!wide.Bits());
    const auto tall = ConvertImage<RGB32iRawImage, RGBA32iImage>(RGB32iRawImage { 7, 0, 4, nullptr });
    QCOMPARE(tall.Width(), 0);
    QCOMPARE(tall.Height(), 7);
    QVERIFY((ConvertImage<RGBA32iImage, QImage>(RGBA32iImage()).isNull()));
    QVERIFY((ConvertImage<CMYKAImage, QImage>(CMYKAImage(0, 3, false)).isNull()));
    QCOMPARE((ConvertImage<QImage, RGBA32iImage>(QImage()).Width()), 0);
    QCOMPARE((ConvertImage<QImage, CMYKAImage>(QImage()).Width()), 0);
    QCOMPARE((ConvertImage<HSLAImage, RGBA32iImage>(HSLAImage()).Width()), 0);
}

void TestConverter::tiledImagesAreRefused()
{
    const testing::LogCapture log;
    QVERIFY_EXCEPTION_THROWN((ConvertImage<RGBA32iImage, QImage>(RGBA32iImage(3, 3, true))), std::invalid_argument);
    QVERIFY_EXCEPTION_THROWN((ConvertImage<CMYKAImage, RGBA32iImage>(CMYKAImage(3, 3, true))), std::invalid_argument);
    QCOMPARE(log.texts().size(), 2);
    QVERIFY(log.texts()[0].startsWith("[src/KXConverter] Unexpected exception "));
}

void TestConverter::grey()
{
    const auto original = allBytes();
    auto image = original;
    OPToGrayScaleImage()(image); // in the shared buffer
    auto expected = allBytes();
    for (int i = 0; i < 256; ++i) {
        OPRGBA32i &p = expected.Bits()[i];
        p.b = p.g = p.r = uchar((p.r * 11 + p.g * 16 + p.b * 5) / 32);
    }
    QVERIFY(samePixels(image, expected));
    QVERIFY(samePixels(original, expected));

    RGBA32iImage tiled(3, 3, true);
    tiled.Fill(OPRGBA32i(0xFF102030u));
    OPToGrayScaleImage()(tiled);
    QCOMPARE(tiled.TileData(0)->word, 0xFF102030u);

    QImage picture(3, 2, QImage::Format_RGB888);
    picture.fill(QColor(200, 100, 50));
    const QImage before = picture;
    OPToGrayScaleImage()(picture);
    QCOMPARE(picture.format(), QImage::Format_ARGB32);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            QCOMPARE(picture.pixel(x, y), qRgba(126, 126, 126, 255)); // (2200 + 1600 + 250) / 32 = 126.56
    QCOMPARE(before.pixel(2, 1), qRgb(200, 100, 50));
}

KXCORE_TEST_MAIN(TestConverter)
#include "tst_converter.moc"
