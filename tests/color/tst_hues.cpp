#include "kit/Kernels.h"

#include "color/Hsl.h"

#include "KXCore.h"

#include <QtGui/QColor>

namespace {

constexpr int smallest = INT_MIN, largest = INT_MAX;

/// What 32 bits hold of an integer, of that cut at 0 and 255, and of the channels of a pixel.
int low(qint64 value) { return int(quint32(value)); }
int cut(qint64 value) { return qBound(0, low(value), 255); }
OPRGBA32i pixelOf(qint64 r, qint64 g, qint64 b, int a)
{
    const qint64 channels[] = { b, g, r, a };
    return kit::pixelOf([&](int c) { return channels[c]; });
}

OPRGBA32i pixelOf(const QColor &color) { return OPRGBA32i(color.rgba()); }
QColor colorOf(OPRGBA32i pixel) { return QColor(pixel.r, pixel.g, pixel.b, pixel.a); }

/// A block of all greys from @p first = -256 on, and of all colours in disorder from 0 on.
kit::Line blockFrom(int first)
{
    const unsigned alpha = (unsigned(first) / blocks::length * 85 & 255) << 24;
    kit::Line pixels;
    for (unsigned n = unsigned(first); pixels.size() < blocks::length; ++n)
        pixels.emplace_back(alpha | (first < 0 ? (n & 255) * 0x010101 : n * 0x9E3779 & 0xFFFFFF));
    return pixels;
}

/// Compares an adjustment, and its kernel, with @p expected over all greys, and over every 1201st block of colours.
template <class Expected>
void compare(const BaseTransformation &adjustment, const QString &parameters, Expected expected)
{
    for (int first = -256; first < 1 << 24; first += blocks::length * (first < 0 ? 1 : 1201)) {
        const kit::Line pixels = blockFrom(first);
        kit::Line wanted, single;
        for (const OPRGBA32i pixel : pixels) {
            wanted.push_back(expected(pixel));
            single.push_back(kit::after(adjustment, pixel));
        }
        VERIFY_SAME_AT(kit::difference(single.data(), wanted), parameters);
        VERIFY_SAME_AT(kit::blockDifference(adjustment, pixels), parameters);
    }
}

struct Turn {
    int hue, saturation, lightness;
    bool colorize;
};

/// Hue and saturation by QColor.
OPRGBA32i turned(OPRGBA32i pixel, Turn by)
{
    int h = 0, s = 0, l = 0;
    QColor color = colorOf(pixel);
    color.getHsl(&h, &s, &l);
    color.setHsl(by.colorize ? by.hue : low(qint64(h) + by.hue), cut(qint64(s) + by.saturation),
        cut(qint64(l) + by.lightness), pixel.a);
    return pixelOf(color);
}

int mean(OPRGBA32i pixel, int up)
{
    return (std::max({ pixel.r, pixel.g, pixel.b }) + std::min({ pixel.r, pixel.g, pixel.b }) + up) / 2;
}

} // namespace

/// The adjustments of hues, by the real QColor.
class TestHues : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void hueAndSaturation()
    {
        const kit::LogCapture log; // QColor warns
        for (const Turn by :
            { Turn { 0, 0, 0, false }, { 40, 50, 0, false }, { -30, -10, 20, false }, { 300, 255, -20, false },
                { 360, 60, 0, false }, { -1, 40, 0, false }, { -360, 0, 0, false }, { 100000, -255, 7, false },
                { 210, 30, 0, true }, { -1, 30, 0, true }, { -2, 30, 0, true }, { 5000, 100, -9, true },
                { smallest, 90, 0, false }, { smallest, 90, 0, true }, { largest, 90, 0, false },
                { largest, 90, 0, true }, { 10, smallest, largest, false }, { 10, largest, smallest, false } })
            compare(OPHueSaturationTransformation(by.hue, by.saturation, by.lightness, by.colorize),
                QString::asprintf("%d %d %d %d", by.hue, by.saturation, by.lightness, by.colorize),
                [by](OPRGBA32i pixel) { return turned(pixel, by); });
    }

    /// Nothing is said about refused hues.
    void silence()
    {
        const kit::LogCapture log;
        OPRGBA32i pixel(0x12345678u);
        OPHueSaturationTransformation(-1000, 0, 0, false)(pixel);
        QVERIFY(log.texts().isEmpty());
    }

    void colorize()
    {
        for (const unsigned word : { 0xFFA06020u, 0x000000FFu, 0xFF00FF01u, 0xFF777777u, 0xFFFEFFFFu })
            for (const int amount : { 0, 33, 100, 101, 200, -50, smallest, largest }) {
                int h = 0, s = 0, l = 0;
                colorOf(word).getHsl(&h, &s, &l);
                const qint64 share = low(amount * 255LL) / 100;
                compare(OPColorizeTransformation(word, amount), QString::asprintf("%08x %d", word, amount),
                    [share, by = Turn { h, s * 100 / 255, 0, true }](OPRGBA32i pixel) {
                        const OPRGBA32i tone = turned(OPRGBA32i(unsigned(mean(pixel, 0)) * 0x010101u), by);
                        const auto faded = [=](int from, int to) {
                            return low((255 - share) * from + share * to) / 255;
                        };
                        return pixelOf(faded(pixel.r, tone.r), faded(pixel.g, tone.g), faded(pixel.b, tone.b), pixel.a);
                    });
            }
    }

    /// Every saturation and lightness of each hue, and some of hues that are none.
    void everyHue()
    {
        const kit::LogCapture log; // QColor warns
        const int none[] = { 360, 361, 719, 720, 100000, INT_MAX, -2, -360, INT_MIN };
        for (int i = -1; i < 369; ++i)
            for (int s = 0, h = i < 360 ? i : none[i - 360], step = i < 360 ? 1 : 15; s < 256; s += step)
                for (int l = 0; l < 256; l += step) {
                    QColor color;
                    color.setHsl(h, s, l, 0x5A);
                    if (color::pixelOf({ h, s, l }, 0x5A) != pixelOf(color))
                        QFAIL(qPrintable(QString::asprintf("%d %d %d", h, s, l)));
                }
    }

    void everyColour()
    {
        for (unsigned word = 0; word < 1u << 24; ++word) {
            int h = 0, s = 0, l = 0;
            QColor(QRgb(0xFF000000u | word)).getHsl(&h, &s, &l);
            const color::Hsl hsl = color::hslOf(OPRGBA32i(word));
            if (hsl.h != h || hsl.s != s || hsl.l != l)
                QFAIL(qPrintable(QString::asprintf("%06x: %d %d %d", word, h, s, l)));
        }
    }

    /// The kernels, over all colours; a debug build, which takes its time, tries some of them.
    void kernels()
    {
        SKIP_WITHOUT_MODULE();
#ifdef NDEBUG
        constexpr int step = 1;
#else
        constexpr int step = 31;
#endif
        const auto compareAll = [](const BaseTransformation &adjustment) {
            for (int first = 0; first < 1 << 24; first += blocks::length * step)
                VERIFY_SAME_AT(kit::blockDifference(adjustment, blockFrom(first)), QString::number(first));
        };
        compareAll(OPHueSaturationTransformation());
        compareAll(OPHueSaturationTransformation(75, 40, -10, false));
        compareAll(OPColorizeTransformation(0xFFA06020u, 70));
        compareAll(OPTemperatureCorrection(3000, 60, 5));
    }

    void replace()
    {
        const OPRGBA32i from(0x80FF4000u), to(0x12345678u);
        const std::tuple<unsigned, int, bool> cases[] = { { 0x80FF4000, 0, true }, { 0x8AF54A0A, 10, true },
            { 0x76F5360A, 10, true }, { 0x75F5360A, 10, false }, { 0x76F4360A, 10, false }, { 0x76F5350A, 10, false },
            { 0x76F5360B, 10, false }, { 0, 254, false }, { 0, 255, true }, { 0x80FF4000, smallest, false } };
        for (const auto &[word, tolerance, isReplaced] : cases) {
            const OPRGBA32i replaced = kit::after(OPReplaceColorTransformation(from, to, tolerance), word);
            QCOMPARE(replaced, isReplaced ? to : OPRGBA32i(word));
        }
    }

    /// By the formulas in another program; most of these temperatures have a channel close to an integer.
    void colorsOfTemperatures()
    {
        const std::pair<int, unsigned> cases[] = { { smallest, 0xFF4300 }, { 1000, 0xFF4300 }, { 1542, 0xFF6E00 },
            { 1793, 0xFF7E00 }, { 1920, 0xFF8402 }, { 1931, 0xFF8504 }, { 2190, 0xFF9125 }, { 3151, 0xFFB677 },
            { 3830, 0xFFC99E }, { 4343, 0xFFD5B5 }, { 4476, 0xFFD9BA }, { 5031, 0xFFE4CE }, { 6499, 0xFFFEFA },
            { 6500, 0xFFFFFF }, { 6550, 0xFFFEFB }, { 6600, 0xFFFFFF }, { 6601, 0xFFFBFF }, { 6655, 0xFFF9FF },
            { 6752, 0xFCF7FF }, { 8351, 0xD8E3FF }, { 12591, 0xBCD1FF }, { 14305, 0xB7CEFF }, { 19819, 0xAAC6FF },
            { 28764, 0xA0BFFF }, { 36624, 0x99BBFF }, { 36625, 0x99BAFF }, { 40000, 0x97B9FF }, { largest, 0x97B9FF } };
        for (const auto &[kelvin, rgb] : cases)
            QCOMPARE(OPTemperatureCorrection::GetTemperatureColor(kelvin), OPRGBA32i(0xFF000000u | rgb));
    }

    void temperature()
    {
        const auto check = [](const OPTemperatureCorrection &correction, OPRGBA32i light, int strength, int shift) {
            const QString parameters = QString::asprintf("%08x %d %d", light.word, strength, shift);
            compare(correction, parameters, [=](OPRGBA32i pixel) {
                const auto blended = [=](int from, int to) {
                    return low((255000LL - strength) * from + qint64(strength) * to) / 255000 & 255;
                };
                int g = blended(pixel.g, light.g);
                g += low((shift > 0 ? 255 - g : g) * qint64(shift)) / 100;
                const QColor mixed = colorOf(pixelOf(blended(pixel.r, light.r), g, blended(pixel.b, light.b), pixel.a));
                QColor color = mixed.toHsl();
                color.setHsl(color.hslHue(), color.hslSaturation(), mean(pixel, 1), color.alpha());
                return pixelOf(color.toRgb());
            });
        };
        for (const int kelvin : { 1000, 3000, 6500, 12000 })
            for (const int amount : { 0, 60, 200, 250, -20, smallest, largest })
                for (const int shift : { 0, 1, 50, -1, -30, 1000, smallest, largest }) {
                    const OPTemperatureCorrection correction(kelvin, amount, shift);
                    check(correction, correction.GetTemperatureColor(kelvin), low(amount * 1275LL), shift);
                }
        check(OPTemperatureCorrection(), 0xFFFFFFFFu, 50, 0);
    }
};

KXCORE_TEST_MAIN(TestHues)
#include "tst_hues.moc"
