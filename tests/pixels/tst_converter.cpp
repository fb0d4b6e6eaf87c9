#include "TestSupport.h"

#include "KXConverter.h"

#include <QtCore/QFloat16>

#include <cmath>

namespace {

using Channels = QVector<int>; // in the order in which people name them: R G B A, C M Y K A, H S L A

/// What a pixel converts to.
struct Case {
    Channels from, expected;
};

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

class TestConverter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cmyk()
    {
        // Without a full channel nothing but alpha comes over.
        const Case to[] = { { { 200, 100, 50, 7 }, { 0, 0, 0, 0, 7 } }, { { 254, 254, 254, 255 }, { 0, 0, 0, 0, 255 } },
            { { 0, 0, 0, 255 }, { 0, 0, 0, 0, 255 } }, { { 255, 0, 0, 255 }, { 1, 255, 255, 1, 255 } },
            { { 255, 255, 255, 0 }, { 1, 1, 1, 1, 0 } }, { { 10, 255, 77, 3 }, { 246, 1, 179, 1, 3 } },
            { { 128, 1, 255, 9 }, { 128, 255, 1, 1, 9 } } };
        QImage picture(1, 1, QImage::Format_ARGB32);
        for (const Case &c : to) {
            picture.setPixel(0, 0, rgba(c.from).word);
            QCOMPARE((converted<RGBA32iImage, CMYKAImage>(rgba(c.from)).Bits()->word), cmyka(c.expected).word);
            QCOMPARE((ConvertImage<QImage, CMYKAImage>(picture).Bits()->word), cmyka(c.expected).word);
        }
        // With black at 1 an ink is about 256 - c. These are the channels at which the sum in double precision falls just
        // below that, so that the truncation gives one less.
        const QSet<int> oneLess { 43, 59, 75, 91, 107, 123, 133, 140, 141, 149, 156, 157, 165, 172, 173, 181, 188, 189,
            197, 198, 204, 205, 206, 213, 214, 220, 221, 222, 229, 230, 236, 237, 238, 245, 246, 252, 253, 254 };
        for (int c = 1; c < 256; ++c)
            QCOMPARE(int(converted<RGBA32iImage, CMYKAImage>(rgba({ 255, c, 0, 0 })).Bits()->m),
                256 - c - oneLess.contains(c));

        const Case from[] = { { { 0, 0, 0, 0, 7 }, { 0, 0, 0, 7 } }, { { 0, 0, 0, 255, 1 }, { 1, 1, 1, 1 } },
            { { 255, 0, 100, 128, 2 }, { 255, 128, 178, 2 } }, { { 10, 20, 30, 1, 3 }, { 255, 255, 255, 3 } },
            { { 0, 0, 1, 0, 4 }, { 255, 255, 255, 4 } }, { { 128, 127, 3, 200, 5 }, { 156, 155, 58, 5 } } };
        for (const Case &c : from) {
            QCOMPARE(channels(*converted<CMYKAImage, RGBA32iImage>(cmyka(c.from)).Bits()), c.expected);
            const auto picture = converted<CMYKAImage, QImage>(cmyka(c.from));
            QVERIFY(picture.format() == QImage::Format_ARGB32 && picture.pixel(0, 0) == rgba(c.expected).word);
        }
    }

    void hsl()
    {
        // Hues below 0 become those below 360; what lies next to red falls to red.
        const Case to[] = { { { 200, 200, 200, 5 }, { 0, 0, 200, 5 } }, { { 255, 0, 0, 1 }, { 0, 255, 127, 1 } },
            { { 255, 255, 0, 1 }, { 6000, 255, 127, 1 } }, { { 0, 255, 0, 1 }, { 12000, 255, 127, 1 } },
            { { 0, 255, 255, 1 }, { 18000, 255, 127, 1 } }, { { 0, 0, 255, 1 }, { 24000, 255, 127, 1 } },
            { { 255, 0, 255, 1 }, { 30000, 255, 127, 1 } }, { { 255, 128, 0, 9 }, { 0, 255, 127, 9 } },
            { { 255, 0, 128, 4 }, { 0, 255, 127, 4 } }, { { 3, 2, 1, 0 }, { 0, 127, 2, 0 } },
            { { 255, 254, 254, 1 }, { 0, 255, 254, 1 } }, { { 50, 100, 200, 3 }, { 18000, 153, 125, 3 } },
            { { 10, 200, 250, 4 }, { 18000, 244, 130, 4 } } };
        for (const Case &c : to)
            QCOMPARE((converted<RGBA32iImage, HSLAImage>(rgba(c.from)).Bits()->word), hsla(c.expected).word);

        // Hue 0 keeps its red; hues wrap at 36000; most of them are grey.
        const Case from[] = { { { 0, 255, 128, 1 }, { 255, 1, 1, 1 } }, { { 0, 255, 127, 1 }, { 254, 0, 0, 1 } },
            { { 36000, 100, 60, 1 }, { 84, 36, 36, 1 } }, { { 16, 90, 70, 3 }, { 95, 93, 45, 3 } },
            { { 33, 90, 70, 3 }, { 46, 95, 45, 3 } }, { { 34, 90, 70, 3 }, { 45, 95, 47, 3 } },
            { { 50, 255, 128, 2 }, { 1, 255, 255, 2 } }, { { 100, 200, 200, 2 }, { 243, 157, 157, 2 } },
            { { 12000, 255, 127, 3 }, { 0, 0, 0, 3 } }, { { 35900, 255, 128, 3 }, { 1, 1, 1, 3 } },
            { { 65535, 200, 90, 9 }, { 19, 19, 19, 9 } }, { { 180, 255, 255, 1 }, { 255, 255, 255, 1 } } };
        for (const Case &c : from)
            QCOMPARE(channels(*converted<HSLAImage, RGBA32iImage>(hsla(c.from)).Bits()), c.expected);
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
            QCOMPARE(
                result.Bits()[i], rgba({ expected(from.r), expected(from.g), expected(from.b), expected(from.a) }));
        }
        QCOMPARE(int(result.Bits()[0x5BF8].b), 253); // 255 * 0.9926875 = 253.1
        QCOMPARE(int(result.Bits()[0x5C08].b), 0); // 258 * 0.9926875 = 256.1, of which the low byte stays
        QCOMPARE(int(result.Bits()[0xC500].b), 252); // -5 * 0.9926875, truncated to -4
    }

    void rawBytes()
    {
        const unsigned char bytes[] = { 1, 2, 3, 99, 4, 5, 6, 99, 7, 8, 9, 99, 10, 11,
            12 }; // none after the last pixel
        const auto image = ConvertImage<RGB32iRawImage, RGBA32iImage>(RGB32iRawImage { 2, 2, 4, bytes });
        QVERIFY(image.Width() == 2 && image.Height() == 2);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(channels(image.Bits()[i]), (Channels { 3 * i + 1, 3 * i + 2, 3 * i + 3, 255 }));
        const auto dense = ConvertImage<RGB32iRawImage, RGBA32iImage>(RGB32iRawImage { 2, 2, 3, bytes });
        QCOMPARE(channels(dense.Bits()[1]), (Channels { 99, 4, 5, 255 }));
    }

    void qimages()
    {
        const auto image = allBytes();
        const QImage picture = ConvertImage<RGBA32iImage, QImage>(image);
        QVERIFY(picture.size() == QSize(16, 16) && picture.format() == QImage::Format_ARGB32);
        QVERIFY(same(image, picture.constBits()));
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
        const auto tall = ConvertImage<RGB32iRawImage, RGBA32iImage>(RGB32iRawImage { 7, 0, 4, nullptr });
        QVERIFY(tall.Width() == 0 && tall.Height() == 7);
        QVERIFY((ConvertImage<CMYKAImage, QImage>(CMYKAImage(0, 3, false)).isNull()));
        QCOMPARE((ConvertImage<QImage, RGBA32iImage>(QImage()).Width()), 0);
        const testing::LogCapture log;
        QVERIFY_EXCEPTION_THROWN((ConvertImage<RGBA32iImage, QImage>(RGBA32iImage(3, 3, true))), std::invalid_argument);
        QCOMPARE(log.texts().size(), 1);
        QVERIFY(log.texts()[0].startsWith("[src/KXConverter] Unexpected exception "));
    }

    void grey()
    {
        const auto original = allBytes();
        auto image = original;
        OPToGrayScaleImage()(image); // in the shared buffer
        auto expected = allBytes();
        for (int i = 0; i < 256; ++i) {
            OPRGBA32i &p = expected.Bits()[i];
            p.b = p.g = p.r = uchar((p.r * 11 + p.g * 16 + p.b * 5) / 32);
        }
        QVERIFY(same(image, expected.Bits()) && same(original, expected.Bits()));
        RGBA32iImage tiled(3, 3, true);
        tiled.Fill(OPRGBA32i(0xFF102030u));
        OPToGrayScaleImage()(tiled);
        QCOMPARE(tiled.TileData(0)->word, 0xFF102030u);
        QImage picture(3, 2, QImage::Format_RGB888);
        picture.fill(QColor(200, 100, 50));
        const QImage before = picture;
        OPToGrayScaleImage()(picture);
        QVERIFY(picture.format() == QImage::Format_ARGB32 && before.pixel(2, 1) == qRgb(200, 100, 50));
        QVERIFY(picture.pixel(0, 0) == 0xFF7E7E7E && picture.pixel(2, 1) == 0xFF7E7E7E); // (2200 + 1600 + 250) / 32
    }
};

KXCORE_TEST_MAIN(TestConverter)
#include "tst_converter.moc"
