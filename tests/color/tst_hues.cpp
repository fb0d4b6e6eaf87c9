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

/// Compares an adjustment, and its kernel, with @p expected over all greys, and over every @p step-th block of a row of
/// all colours in disorder.
template <class Expected>
void compare(const BaseTransformation &adjustment, const QString &parameters, Expected expected, int step = 1201)
{
    for (int first = -256; first < 1 << 24; first += blocks::length * (first < 0 ? 1 : step)) {
        const unsigned block = unsigned(first) / blocks::length, alpha = (block * 85 & 255) << 24;
        kit::Row row(block % 8, blocks::length);
        kit::Line wanted, single;
        for (int i = 0; i < row.length(); ++i) {
            const unsigned n = unsigned(first + i), colour = first < 0 ? (n & 255) * 0x010101 : n * 0x9E3779 & 0xFFFFFF;
            single.push_back(row[i] = OPRGBA32i(alpha | colour));
            wanted.push_back(expected(row[i]));
            adjustment(single.back());
        }
        VERIFY_SAME_AT(kit::difference(single.data(), wanted), parameters);
        if (adjustment.HasKernel()) {
            adjustment(reinterpret_cast<unsigned char *>(row.pixels()), blocks::flag);
            COMPARE_ROW(row, wanted, parameters);
        }
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

    /// The kernels, over all colours; a debug build, which takes its time, tries some of them.
    void everyColour()
    {
        SKIP_WITHOUT_MODULE();
#ifdef NDEBUG
        constexpr int step = 1;
#else
        constexpr int step = 31;
#endif
        const auto compareAll = [](const auto &adjustment) {
            const auto plain = [&](OPRGBA32i pixel) { return adjustment(pixel), pixel; };
            compare(adjustment, "", plain, step);
        };
        compareAll(OPHueSaturationTransformation());
        compareAll(OPHueSaturationTransformation(75, 40, -10, false));
        compareAll(OPColorizeTransformation(0xFFA06020u, 70));
        compareAll(OPTemperatureCorrection(3000, 60, 5));
    }

    void replace()
    {
        const OPRGBA32i from(0x80FF4000u), to(0x12345678u);
        const std::tuple<unsigned, int, bool> cases[] = { { 0x80FF4000u, 0, true }, { 0x8AF54A0Au, 10, true },
            { 0x76F5360Au, 10, true }, { 0x75F5360Au, 10, false }, { 0x76F4360Au, 10, false },
            { 0x76F5350Au, 10, false }, { 0x76F5360Bu, 10, false }, { 0x00000000u, 254, false },
            { 0xFF00FFFFu, 255, true }, { 0x80FF4000u, smallest, false }, { 0x00000000u, largest, true } };
        for (const auto &[word, tolerance, isReplaced] : cases) {
            OPRGBA32i pixel(word);
            OPReplaceColorTransformation(from, to, tolerance)(pixel);
            QCOMPARE(pixel, isReplaced ? to : OPRGBA32i(word));
        }
    }

    /// Against the formula in double precision, where that is not close to an integer.
    void colorsOfTemperatures()
    {
        const auto color = OPTemperatureCorrection::GetTemperatureColor;
        QCOMPARE(color(6500), OPRGBA32i(0xFFFFFFFFu));
        QCOMPARE(color(smallest), color(1000));
        QCOMPARE(color(largest), color(40000));
        for (int kelvin = 1000; kelvin <= 40000; kelvin += 13) {
            const double t = kelvin / 100.0, u = t - 60;
            const double cold[] = { 255, 288.12216 * std::pow(u, -0.075514846), 329.69873 * std::pow(u, -0.13320476) };
            const double blue = t <= 19 ? 0 : 138.51773 * std::log(t - 10) - 305.0448;
            const double warm[] = { t >= 66 ? 255 : blue, 99.4708 * std::log(t) - 161.11957, 255 };
            QCOMPARE(color(kelvin).a, static_cast<unsigned char>(255));
            for (int c = 0; c < 3; ++c) {
                const double value = qBound(0.0, (t > 66 ? cold : warm)[c], 255.0);
                QVERIFY(std::abs(value - std::round(value)) < 1e-3 || kit::channel(color(kelvin), c) == int(value));
            }
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
