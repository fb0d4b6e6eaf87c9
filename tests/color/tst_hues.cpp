#include "kit/Kernels.h"

#include "OPColorizeTransformation.h"
#include "OPHueSaturationTransformation.h"
#include "OPReplaceColorTransformation.h"
#include "OPTemperatureCorrection.h"

#include <QtGui/QColor>

#include <cmath>

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

/// Compares an adjustment, and its kernel, with @p expected over salted pixels.
template <class Expected>
void compare(const BaseTransformation &adjustment, const QString &parameters, Expected expected)
{
    auto random = kit::random();
    for (int round = 0; round < 100; ++round) {
        kit::Row row(round % 8, blocks::length, random);
        kit::Line wanted;
        for (int i = 0; i < row.length(); ++i) {
            if (round % 4 == 0)
                row[i].r = row[i].g = row[i].b;
            wanted.push_back(expected(row[i]));
        }
        kit::Line single(row.pixels(), row.pixels() + row.length());
        std::for_each(single.begin(), single.end(), [&](OPRGBA32i &pixel) { adjustment(pixel); });
        VERIFY_SAME_AT(kit::difference(single.data(), wanted), parameters);
        if (adjustment.HasKernel()) {
            adjustment(reinterpret_cast<unsigned char *>(row.pixels()), blocks::flag);
            COMPARE_ROW(row, wanted, parameters);
        }
    }
}

/// Hue and saturation by QColor.
OPRGBA32i turned(OPRGBA32i pixel, int hue, int saturation, int lightness, bool colorize)
{
    int h = 0, s = 0, l = 0;
    QColor color = colorOf(pixel);
    color.getHsl(&h, &s, &l);
    color.setHsl(
        colorize ? hue : low(qint64(h) + hue), cut(qint64(s) + saturation), cut(qint64(l) + lightness), pixel.a);
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
        const std::tuple<int, int, int, bool> choices[] = { { 0, 0, 0, false }, { 40, 50, 0, false },
            { -30, -10, 20, false }, { 300, 255, -20, false }, { 360, 60, 0, false }, { 361, 1, 0, false },
            { -1, 40, 0, false }, { 1, 40, 0, false }, { -360, 0, 0, false }, { 100000, -255, 7, false },
            { 210, 30, 0, true }, { -1, 30, 0, true }, { -2, 30, 0, true }, { 5000, 100, -9, true },
            { smallest, 90, 0, false }, { smallest, 90, 0, true }, { smallest + 1, 80, 3, false },
            { largest, 90, 0, false }, { largest, 90, 0, true }, { largest - 359, 90, 0, false },
            { largest - 358, 90, 0, false }, { 10, smallest, largest, false }, { 10, largest, smallest, false } };
        for (const auto &choice : choices) {
            const int h = std::get<0>(choice), s = std::get<1>(choice), l = std::get<2>(choice);
            const bool colorize = std::get<3>(choice);
            compare(OPHueSaturationTransformation(h, s, l, colorize),
                QString::asprintf("%d %d %d %d", h, s, l, colorize),
                [=](OPRGBA32i pixel) { return turned(pixel, h, s, l, colorize); });
        }
    }

    /// By hand, and by index.
    void singlePixels()
    {
        const auto check = [](auto adjustment, unsigned before, unsigned after) {
            OPRGBA32i pixels[] = { before, before };
            adjustment.SetProcessingBuffer(pixels);
            static_cast<const BaseTransformation &>(adjustment)(1);
            QCOMPARE(pixels[0], OPRGBA32i(before));
            QCOMPARE(pixels[1], OPRGBA32i(after));
        };
        using Turn = OPIterativeHueSaturationTransformation;
        check(Turn(), 0x12808080u, 0x12808080u);
        check(Turn(-1, 0, 0, false), 0x12808080u, 0xFF000000u);
        check(Turn(120, 0, 0, false), 0x12FF0000u, 0x1201FF01u); // of lightness 128, and 127 to either side
        check(Turn(-1, 0, 0, false), 0x12FF0000u, 0x12808080u);
        check(Turn(-2, 0, 0, false), 0x12FF0000u, 0xFF000000u);
        // Of lightness 128 and saturation 100 of 255: 50 to either side.
        check(OPIterativeColorizeTransformation(0xFFFF0000u, 100), 0x12C08040u, 0x12B24E4Eu);
        check(OPIterativeColorizeTransformation(0xFFFF0000u, 0), 0x12C08040u, 0x12C08040u);
        // Half way to white 227, 177, 127, which is hue 30 and saturation 163; then 64 to either side of 100.
        check(KXIterative<OPTemperatureCorrection>(6500, 100, 0), 0x12C86400u, 0x12A46424u);
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
        const kit::LogCapture log;
        for (const unsigned word : { 0xFFA06020u, 0x000000FFu, 0xFF00FF01u, 0xFF777777u, 0xFFFEFFFFu })
            for (const int amount : { 0, 1, 33, 60, 100, 101, 200, -50, smallest, largest }) {
                int h = 0, s = 0, l = 0;
                colorOf(word).getHsl(&h, &s, &l);
                const qint64 share = low(amount * 255LL) / 100;
                compare(OPColorizeTransformation(word, amount), QString::asprintf("%08x %d", word, amount),
                    [=, s = s, h = h](OPRGBA32i pixel) {
                        const int grey = mean(pixel, 0);
                        const OPRGBA32i tone = turned(OPRGBA32i(unsigned(grey) * 0x010101u), h, s * 100 / 255, 0, true);
                        const auto faded = [=](int from, int to) {
                            return low((255 - share) * from + share * to) / 255;
                        };
                        return pixelOf(faded(pixel.r, tone.r), faded(pixel.g, tone.g), faded(pixel.b, tone.b), pixel.a);
                    });
            }
    }

    /// The kernels, over all colours; a debug build, which takes its time, tries some of them.
    void everyColour()
    {
        SKIP_WITHOUT_MODULE();
        const OPHueSaturationTransformation keep, turn(75, 40, -10, false);
        const OPColorizeTransformation toned(0xFFA06020u, 70);
        const OPTemperatureCorrection warm(3000, 60, 5);
#ifdef NDEBUG
        constexpr unsigned step = blocks::length;
#else
        constexpr unsigned step = 31 * blocks::length;
#endif
        for (const BaseTransformation *adjustment :
            std::initializer_list<const BaseTransformation *> { &keep, &turn, &toned, &warm })
            for (unsigned first = 0; first < 1u << 24; first += step) {
                OPRGBA32i block[blocks::length], single[blocks::length];
                for (unsigned i = 0; i < blocks::length; ++i) {
                    block[i].word = single[i].word = first * 3 << 24 | (first + i);
                    (*adjustment)(single[i]);
                }
                (*adjustment)(reinterpret_cast<unsigned char *>(block), blocks::flag);
                if (!std::equal(block, block + blocks::length, single))
                    QFAIL(qPrintable(QString::number(first, 16)));
            }
    }

    void replace()
    {
        const OPRGBA32i from(0x80FF4000u), to(0x12345678u);
        const std::tuple<unsigned, int, bool> cases[] = { { 0x80FF4000u, 0, true }, { 0x81FF4000u, 0, false },
            { 0x80FE4000u, 0, false }, { 0x80FF4100u, 0, false }, { 0x80FF4001u, 0, false }, { 0x8AF54A0Au, 10, true },
            { 0x76F5360Au, 10, true }, { 0x75F5360Au, 10, false }, { 0x76F4360Au, 10, false },
            { 0x76F5350Au, 10, false }, { 0x76F5360Bu, 10, false }, { 0x00000000u, 254, false },
            { 0x00000000u, 255, true }, { 0xFF00FFFFu, 255, true }, { 0x80FF4000u, -1, false },
            { 0x80FF4000u, smallest, false }, { 0x00000000u, largest, true } };
        for (const auto &[word, tolerance, isReplaced] : cases) {
            OPRGBA32i pixels[] = { OPRGBA32i(word) };
            OPIterativeReplaceColorTransformation replace(from, to, tolerance);
            replace.SetProcessingBuffer(pixels);
            replace(0);
            QCOMPARE(pixels[0], isReplaced ? to : OPRGBA32i(word));
        }
    }

    /// Against the formula in double precision, where that is not close to an integer.
    void colorsOfTemperatures()
    {
        const auto color = OPTemperatureCorrection::GetTemperatureColor;
        QCOMPARE(color(6500), OPRGBA32i(0xFFFFFFFFu));
        QCOMPARE(color(1000), OPRGBA32i(0xFFFF4300u)); // 99.4708 * ln 10 - 161.11957 = 67.92
        QCOMPARE(color(6600), OPRGBA32i(0xFFFFFFFFu)); // 255.63 is cut
        QCOMPARE(color(40000), OPRGBA32i(0xFF97B9FFu)); // 329.69873 * 340 ^ -0.1332 = 151.69, 185.52
        for (const int kelvin : { 0, 999, smallest })
            QCOMPARE(color(kelvin), color(1000));
        for (const int kelvin : { 40001, 50000, largest })
            QCOMPARE(color(kelvin), color(40000));
        const auto check = [](int channel, double value) {
            value = qBound(0.0, value, 255.0);
            return std::abs(value - std::round(value)) < 1e-3 || channel == int(value);
        };
        for (int kelvin = 1000; kelvin <= 40000; kelvin += 7) {
            const OPRGBA32i actual = color(kelvin);
            const double t = kelvin / 100.0;
            const bool isCold = t > 66;
            QVERIFY(check(actual.r, isCold ? 329.69873 * std::pow(t - 60, -0.13320476) : 255));
            QVERIFY(check(
                actual.g, isCold ? 288.12216 * std::pow(t - 60, -0.075514846) : 99.4708 * std::log(t) - 161.11957));
            QVERIFY(check(actual.b, t >= 66 ? 255 : t <= 19 ? 0 : 138.51773 * std::log(t - 10) - 305.0448));
            QCOMPARE(actual.a, static_cast<unsigned char>(255));
        }
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
            for (const int amount : { 0, 1, 60, 200, 250, -20, smallest, largest })
                for (const int shift : { 0, 1, 50, 100, -1, -30, -100, 1000, smallest, largest }) {
                    const OPTemperatureCorrection correction(kelvin, amount, shift);
                    check(correction, correction.GetTemperatureColor(kelvin), low(amount * 1275LL), shift);
                }
        check(OPTemperatureCorrection(), 0xFFFFFFFFu, 50, 0);
    }
};

KXCORE_TEST_MAIN(TestHues)
#include "tst_hues.moc"
