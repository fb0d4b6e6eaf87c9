#include "kit/Test.h"

#include "KXConverter.h"

namespace {

using Channels = QVector<int>; // in the order in which people name them: R G B A, C M Y K A, H S L A
using Cases = std::vector<std::pair<Channels, Channels>>; // from one to the other

const float notANumber = float(qQNaN()), infinity = float(qInf());

/// The conversion of a flat image with one pixel.
template <class From, class To>
To converted(typename From::Pixel pixel)
{
    From image(1, 1, false);
    *image.Bits() = pixel;
    return ConvertImage<From, To>(image);
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

/// Converts each case's pixel, and compares with the one expected; @p from and @p to make them of channels.
template <class From, class To, class MakeFrom, class MakeTo>
void compareConversions(const Cases &cases, MakeFrom from, MakeTo to)
{
    for (const auto &[pixel, expected] : cases)
        QCOMPARE((converted<From, To>(from(pixel)).Bits()->word), to(expected).word);
}

/// 256 pixels whose channels run through all bytes, each in an order of its own.
RGBA32iImage allBytes()
{
    RGBA32iImage image(16, 16, false);
    for (int i = 0; i < 256; ++i)
        image.Bits()[i] = OPRGBA32i(uchar(i), uchar(i * 3 + 1), uchar(255 - i), uchar(i * 7 + 5));
    return image;
}

bool same(const RGBA32iImage &image, const void *pixels) { return !std::memcmp(image.Bits(), pixels, 1024); }

} // namespace

/// Pixels, their channels, and conversions between them.
class TestPixels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void words()
    {
        const OPRGBA32i pixel(0x80FF4020u), white(0xFFFFFFFFu), black(0xFF000000u);
        QVERIFY(OPRGBA32i(0x20, 0x40, 0xFF, 0x80).word == 0x80FF4020 && unsigned(pixel) == 0x80FF4020);
        OPRGBA32i changed = pixel;
        QVERIFY((changed &= 0x00FFFFFF) == 0x00FF4020u && (changed |= int(0xFF000020)) == 0xFFFF4020u);
        QCOMPARE(changed.word, 0xFFFF4020u); // both work in place
        QVERIFY(!OPRGBA32i() && !!OPRGBA32i(1) && white == OPRGBA32i(0xFFFFFFFFu) && white != OPRGBA32i(0xFFFFFFFEu));
        QVERIFY(white == -1 && !(white != -1) && black != 0 && OPRGBA32i() == 0); // int: the word that it reads as
        QVERIFY(black == 0xFF000000u && !(black != 0xFF000000u) && !(white != white) && !(black == OPRGBA32i()));
    }

    void clamp()
    {
        QVERIFY(Clamp(0.25f, 0, 1) == 0.25f && Clamp(-3, 0, 1) == 0 && Clamp(infinity, -1, 1) == 1);
        QVERIFY(Clamp(notANumber, 0.5f, 1) == 0.5f && std::isnan(Clamp(5, 0, notANumber)));
        QVERIFY(Clamp(0, 2, 1) == 2 && Clamp(5, 2, 1) == 1); // an empty range: the end that is asked first
    }

    void gamma()
    {
        // 0.001 * 12.92 * 255 + 0.5 = 3.79, and so 10.71; of the curve 187.516 + 0.5 and 123.56 + 0.5
        const std::pair<float, int> bytes[] = { { -0.1f, 0 }, { notANumber, 0 }, { 2.0f, 255 }, { infinity, 255 },
            { 0.001f, 3 }, { 0.0031f, 10 }, { 0.5f, 188 }, { 0.2f, 124 } };
        for (const auto &[value, expected] : bytes)
            QCOMPARE(int(MakeGamma(value)), expected);
        for (int i = 0; i <= 255; ++i) {
            const double v = i / 255.0, exact = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
            const float intensity = VoltageToIntensitySrgb(float(v));
            QVERIFY(std::fabs(intensity - exact) < 1e-6);
            QCOMPARE(int(MakeGamma(intensity)), i);
        }
        QCOMPARE(VoltageToIntensitySrgb(-1.0f), -0.07739938f);
        QVERIFY(VoltageToIntensitySrgb(2.0f) > 4.0f && std::isnan(VoltageToIntensitySrgb(notANumber)));
    }

    void cmyk()
    {
        // Without a full channel nothing but alpha comes over; with one, black is 1 and an ink about 256 - c. For some
        // c, 43, 123, 253 and 254 among them, the sum in double precision falls just below that, and one less remains.
        const Cases to = { { { 200, 100, 50, 7 }, { 0, 0, 0, 0, 7 } }, { { 254, 254, 254, 255 }, { 0, 0, 0, 0, 255 } },
            { { 255, 0, 0, 255 }, { 1, 255, 255, 1, 255 } }, { { 255, 255, 255, 0 }, { 1, 1, 1, 1, 0 } },
            { { 10, 255, 77, 3 }, { 246, 1, 179, 1, 3 } }, { { 128, 1, 255, 9 }, { 128, 255, 1, 1, 9 } },
            { { 255, 43, 44, 0 }, { 1, 212, 212, 1, 0 } }, { { 123, 255, 124, 0 }, { 132, 1, 132, 1, 0 } },
            { { 253, 254, 255, 0 }, { 2, 1, 1, 1, 0 } } };
        compareConversions<RGBA32iImage, CMYKAImage>(to, rgba, cmyka);
        const Cases from = { { { 0, 0, 0, 0, 7 }, { 0, 0, 0, 7 } }, { { 0, 0, 0, 255, 1 }, { 1, 1, 1, 1 } },
            { { 255, 0, 100, 128, 2 }, { 255, 128, 178, 2 } }, { { 10, 20, 30, 1, 3 }, { 255, 255, 255, 3 } },
            { { 0, 0, 1, 0, 4 }, { 255, 255, 255, 4 } }, { { 128, 127, 3, 200, 5 }, { 156, 155, 58, 5 } } };
        compareConversions<CMYKAImage, RGBA32iImage>(from, cmyka, rgba);
    }

    void hsl()
    {
        // Hues below 0 become those below 360. Of two largest channels red goes before green: 9, 9, 0 just misses 60.
        const Cases to = { { { 200, 200, 200, 5 }, { 0, 0, 200, 5 } }, { { 255, 255, 0, 1 }, { 6000, 255, 127, 1 } },
            { { 0, 255, 0, 1 }, { 12000, 255, 127, 1 } }, { { 0, 0, 255, 1 }, { 24000, 255, 127, 1 } },
            { { 255, 0, 255, 1 }, { 30000, 255, 127, 1 } }, { { 9, 9, 0, 9 }, { 0, 255, 4, 9 } },
            { { 255, 0, 128, 4 }, { 0, 255, 127, 4 } }, { { 3, 2, 1, 0 }, { 0, 127, 2, 0 } },
            { { 254, 255, 255, 1 }, { 12000, 255, 254, 1 } }, { { 50, 100, 200, 3 }, { 18000, 153, 125, 3 } } };
        compareConversions<RGBA32iImage, HSLAImage>(to, rgba, hsla);

        // Hue 0 keeps its red; hues wrap at 36000, and positions once, at 1; most hues are grey.
        const Cases from = { { { 0, 255, 128, 1 }, { 255, 1, 1, 1 } }, { { 36000, 100, 60, 1 }, { 84, 36, 36, 1 } },
            { { 16, 90, 70, 3 }, { 95, 93, 45, 3 } }, { { 33, 90, 70, 3 }, { 46, 95, 45, 3 } },
            { { 34, 90, 70, 3 }, { 45, 95, 47, 3 } }, { { 50, 255, 128, 2 }, { 1, 255, 255, 2 } },
            { { 12000, 255, 127, 3 }, { 0, 0, 0, 3 } }, { { 35900, 255, 128, 3 }, { 1, 1, 1, 3 } },
            { { 65535, 200, 90, 9 }, { 19, 19, 19, 9 } }, { { 180, 100, 200, 1 }, { 178, 178, 222, 1 } } };
        compareConversions<HSLAImage, RGBA32iImage>(from, hsla, rgba);
    }

    void sixteenBitAndHalf()
    {
        const auto image = allBytes();
        const auto wide = ConvertImage<RGBA32iImage, RGBA64iImage>(image);
        const auto half = ConvertImage<RGBA32iImage, RGBA64fImage>(image);
        const auto expected = [](int c) { // the nearest half, ties up, by exact arithmetic on the significand
            int exponent;
            const double significand = std::frexp(double(c * 1.0073664f), &exponent); // in [0.5, 1)
            return c == 0 ? 0 : (exponent + 14) * 1024 + int(std::floor(significand * 2048 + 0.5)) - 1024;
        };
        for (int i = 0; i < 256; ++i) {
            const OPRGBA32i p = image.Bits()[i];
            const OPRGBA64i w = wide.Bits()[i];
            const OPRGBA64f h = half.Bits()[i];
            QVERIFY(w.b == p.b * 256 && w.g == p.g * 256 && w.r == p.r * 256 && w.a == p.a * 256);
            QVERIFY(h.b == expected(p.b) && h.g == expected(p.g) && h.r == expected(p.r) && h.a == expected(p.a));
        }
        OPRGBA64i low;
        low.b = 0x01FF, low.g = 0x00FF, low.r = 0xFFFF, low.a = 0x8000;
        QCOMPARE((converted<RGBA64iImage, RGBA32iImage>(low).Bits()->word), 0x80FF0001u);
    }

    /// All bit patterns, subnormal, infinite and NaN among them, each in every channel.
    void halfToEightBit()
    {
        const auto expected = [](quint16 bits) {
            qfloat16 half;
            std::memcpy(static_cast<void *>(&half), &bits, sizeof bits);
            const float value = float(half) * 0.9926875f;
            return std::isfinite(value) ? int(qint64(value) & 255) : 0;
        };
        for (int i = 0; i < 65536; ++i) {
            OPRGBA64f p;
            p.b = quint16(i), p.g = quint16(i + 1), p.r = quint16(~i), p.a = quint16(i ^ 0x8000);
            const Channels all { expected(p.r), expected(p.g), expected(p.b), expected(p.a) };
            QCOMPARE(channels(*converted<RGBA64fImage, RGBA32iImage>(p).Bits()), all);
        }
    }

    void rawBytes()
    {
        // Nothing after the last pixel.
        const unsigned char bytes[] = { 1, 2, 3, 99, 98, 4, 5, 6, 99, 98, 7, 8, 9, 99, 98, 10, 11, 12 };
        const auto image = ConvertImage<RGB32iRawImage, RGBA32iImage>(RGB32iRawImage { 2, 2, 5, bytes });
        QVERIFY(image.Width() == 2 && image.Height() == 2);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(channels(image.Bits()[i]), (Channels { 3 * i + 1, 3 * i + 2, 3 * i + 3, 255 }));
    }

    void qimages()
    {
        const auto image = allBytes();
        const QImage picture = ConvertImage<RGBA32iImage, QImage>(image);
        QVERIFY(picture.format() == QImage::Format_ARGB32 && same(image, picture.constBits()));
        const auto cmyk = ConvertImage<QImage, CMYKAImage>(picture);
        QVERIFY(!std::memcmp(cmyk.Bits(), ConvertImage<RGBA32iImage, CMYKAImage>(image).Bits(), 2048));
        QVERIFY(same(ConvertImage<CMYKAImage, RGBA32iImage>(cmyk), ConvertImage<CMYKAImage, QImage>(cmyk).constBits()));

        const QImage premultiplied = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        const auto bytes = ConvertImage<QImage, RGBA32iImage>(premultiplied); // the format is not looked at
        QVERIFY(same(bytes, premultiplied.constBits()));
        QVERIFY(reinterpret_cast<const uchar *>(bytes.Bits()) != premultiplied.constBits()); // nothing is shared

        QImage grey(8, 2, QImage::Format_Grayscale8); // 16 bytes where 64 would be read
        grey.fill(0x40);
        const auto few = ConvertImage<QImage, RGBA32iImage>(grey);
        for (int i = 0; i < 16; ++i)
            QCOMPARE(few.Bits()[i].word, i < 4 ? 0x40404040u : 0u);
    }

    void emptyAndTiledImages()
    {
        const auto wide = ConvertImage<RGBA32iImage, CMYKAImage>(RGBA32iImage(5, 0, false));
        QVERIFY(wide.Width() == 5 && wide.Height() == 0 && !wide.Bits());
        QVERIFY((ConvertImage<CMYKAImage, QImage>(CMYKAImage(0, 3, false)).isNull()));
        const kit::LogCapture log;
        QVERIFY_EXCEPTION_THROWN((ConvertImage<RGBA32iImage, QImage>(RGBA32iImage(3, 3, true))), std::invalid_argument);
        QVERIFY_EXCEPTION_THROWN((ConvertImage<RGB32iRawImage, RGBA32iImage>({ 1, 1, 3 })), std::invalid_argument);
        QVERIFY(log.texts().join(' ').startsWith("[src/KXConverter] Unexpected exception "));
    }

    void grey()
    {
        const auto original = allBytes();
        auto image = original, tiled = RGBA32iImage(3, 3, true), expected = allBytes();
        OPToGrayScaleImage()(image); // in the shared buffer
        for (OPRGBA32i *p = expected.Bits(); p != expected.Bits() + 256; ++p)
            p->b = p->g = p->r = uchar((p->r * 11 + p->g * 16 + p->b * 5) / 32);
        QVERIFY(same(original, expected.Bits()));
        tiled.Fill(OPRGBA32i(0xFF102030u));
        OPToGrayScaleImage()(tiled);
        QCOMPARE(tiled.TileData(0, false)->word, 0xFF102030u);
        QImage picture(3, 2, QImage::Format_RGB888);
        picture.fill(QColor(200, 100, 50));
        const QImage before = picture;
        OPToGrayScaleImage()(picture);
        QVERIFY(picture.format() == QImage::Format_ARGB32 && before.pixel(2, 1) == qRgb(200, 100, 50));
        QCOMPARE(picture.pixel(2, 1), 0xFF7E7E7E); // (2200 + 1600 + 250) / 32
        std::vector<uint> buffer(10, 0xFF400000u); // rows five pixels apart, of which three are the image's
        QImage apart(reinterpret_cast<uchar *>(buffer.data()), 3, 2, 20, QImage::Format_ARGB32), shared = apart;
        OPToGrayScaleImage()(shared); // gets rows of its own, three apart
        OPToGrayScaleImage()(apart); // now alone on the buffer
        const uint grey = 0xFF161616, other = 0xFF400000; // 64 * 11 / 32
        QCOMPARE(buffer, (std::vector<uint> { grey, grey, grey, other, other, grey, grey, grey, other, other }));
        QVERIFY(shared == apart && shared.bytesPerLine() == 12);
    }
};

KXCORE_TEST_MAIN(TestPixels)
#include "tst_pixels.moc"
