#include "kit/Test.h"

#include "OPExposureTransformation.h"
#include "OPInvertTransformation.h"
#include "OPLevelsTransformation.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// What an adjustment makes of the values of each channel, as a caller sees it.
struct Entries {
    explicit Entries(const BaseTransformation &adjustment)
    {
        for (unsigned i = 0; i < 256; ++i) {
            OPRGBA32i pixel(0x5A000000u | i << 16 | i << 8 | i);
            adjustment(pixel);
            r[i] = pixel.r, g[i] = pixel.g, b[i] = pixel.b;
        }
    }
    std::array<int, 256> r, g, b;
};

#define COMPARE_ENTRIES(actual, formula, where)                                                                        \
    for (int i = 0; i < 256; ++i)                                                                                      \
    QVERIFY2((actual)[size_t(i)] == (formula)(i),                                                                      \
        qPrintable(QString("%1: %2 becomes %3, not %4").arg(where).arg(i).arg((actual)[size_t(i)]).arg((formula)(i))))

/// The parameters of a levels adjustment that does nothing but for the 24 values.
struct Levels {
    int input[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    double gammas[4] = { 1, 1, 1, 1 };
    int amount = 100;

    Entries entries() { return Entries(OPLevelsTransformation(input, output, gammas, amount)); }
};

const std::set<int> oneShort { 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122, 132, 148, 164, 180,
    196, 212, 228, 244 };

/// A value after a gamma of 1.
int ramp(int i) { return oneShort.count(i) ? i - 1 : i; }

int identity(int i) { return i; }

} // namespace

/// The tables of the adjustments that change each channel by itself, against formulas of their own.
class TestTones : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Without its extents the formula is a product and a sum, cut at both ends.
    void exposure()
    {
        for (const double exposure : { 0.0, 1.0, 7.3, 20.0, 400.0, -3.0, -19.9 })
            for (const double offset : { 0.0, 0.1, -0.37, 1.0, -1.0, 3.0 }) {
                const double k = exposure * 0.049999750001249996 + 1.0;
                const auto expected = [&](int i) { return int(qBound(0.0, i * k + offset * 255.0, 255.0)); };
                const Entries entries(OPExposureTransformation(exposure, offset));
                const QString where = QString("exposure %1, offset %2").arg(exposure).arg(offset);
                COMPARE_ENTRIES(entries.r, expected, where);
                QVERIFY(entries.g == entries.r && entries.b == entries.r);
            }
        // A factor of -1.
        const double mirrored = -2 / 0.049999750001249996;
        const std::tuple<double, double, std::function<int(int)>> odd[] = { //
            { mirrored, 0.4, [](int i) { return i < 102 ? 0 : 255; } }, //
            { -21, 0, [](int) { return 255; } }, //
            { -1 / 0.049999750001249996, 0.5, [](int i) { return i < 255 ? 127 : 255; } }, // k is 0
            { infinite, 0, [](int) { return 255; } }, { -infinite, 0, [](int) { return 255; } }, //
            { notANumber, 0, [](int) { return 0; } }, { 0, notANumber, [](int) { return 0; } }, //
            { 0, infinite, [](int) { return 255; } }, { 0, -infinite, [](int) { return 0; } }
        };
        for (const auto &[exposure, offset, expected] : odd)
            COMPARE_ENTRIES(Entries(OPExposureTransformation(exposure, offset)).r, expected,
                QString("exposure %1, offset %2").arg(exposure).arg(offset));
    }

    void levelsThatDoNothing()
    {
        COMPARE_ENTRIES(Entries(OPLevelsTransformation()).r, identity, "default");
        Levels levels;
        for (const auto &channel : { levels.entries().r, levels.entries().g, levels.entries().b })
            COMPARE_ENTRIES(
                channel, [](int i) { return ramp(ramp(i)); }, "whole ranges");
        levels.output[0][0] = 200, levels.gammas[0] = 3, levels.amount = 0;
        COMPARE_ENTRIES(levels.entries().g, identity, "amount 0");
    }

    /// Each parameter by itself, on a ramp. The channel acts first, then the master.
    void levels()
    {
        const auto check = [](const char *what, auto set, auto expected, int channel = 1) {
            Levels levels;
            set(levels);
            const Entries entries = levels.entries();
            COMPARE_ENTRIES((channel == 1 ? entries.r : channel == 2 ? entries.g : entries.b), expected, what);
        };
        const auto cut = [](int p) { return p < 100 ? 0 : p > 200 ? 255 : (p - 100) * 255 / 100; };
        check(
            "master input", [](Levels &l) { l.input[0][0] = 100, l.input[0][1] = 200; },
            [&](int i) { return cut(ramp(ramp(i))); });
        for (int channel = 1; channel < 4; ++channel) {
            const auto input = [channel](Levels &l) { l.input[channel][0] = 100, l.input[channel][1] = 200; };
            check(
                "channel input", input, [&](int i) { return ramp(cut(ramp(i))); }, channel);
            check(
                "input of another channel", input, [](int i) { return ramp(ramp(i)); }, channel % 3 + 1);
        }
        check(
            "one value", [](Levels &l) { l.input[0][0] = l.input[0][1] = 99, l.output[0][0] = 50; },
            [](int i) { return ramp(ramp(i)) < 99 ? 50 : 255; });
        check(
            "reversed output", [](Levels &l) { l.output[0][0] = 255, l.output[0][1] = 0; },
            [](int i) { return 255 - ramp(ramp(i)); });
        check(
            "reversed input", [](Levels &l) { l.input[0][0] = 180, l.input[0][1] = 60; },
            [](int i) { return ramp(ramp(i)) < 180 ? 0 : 255; });
        check(
            "output of a channel", [](Levels &l) { l.output[2][0] = 64, l.output[2][1] = 128; },
            [](int i) { return ramp(64 + ramp(i) * 64 / 255); }, 2);
        check(
            "half", [](Levels &l) { l.output[0][0] = 255, l.output[0][1] = 0, l.amount = 50; },
            [](int i) { return (255 - ramp(ramp(i)) + i) / 2; });
        // The square root and the largest exponent, by whole numbers.
        check(
            "gamma 2", [](Levels &l) { l.gammas[0] = 2; },
            [](int i) {
                int p = 0;
                while ((p + 1) * (p + 1) <= ramp(i) * 255)
                    ++p;
                return p;
            });
        const std::pair<double, long double> limits[] = { { 0.01, 100 }, { 0, 100 }, { -7, 100 }, { -infinite, 100 },
            { notANumber, 100 }, { 9.99, 1 / 9.99L }, { 1e9, 1 / 9.99L }, { infinite, 1 / 9.99L } };
        for (const auto &[gamma, exponent] : limits)
            check(
                "limited gamma", [gamma = gamma](Levels &l) { l.gammas[0] = gamma; },
                [exponent = exponent](int i) { return int(255 * std::pow(ramp(i) / 255.0L, exponent)); });
    }

    /// A channel's gamma knows three cases.
    void gammasOfChannels()
    {
        for (const double gamma : { 0.01, 0.5, 0.999, 1.0, 1.5, 1.999, 2.0, 5.0, 50.0, -1.0, notANumber }) {
            Levels levels;
            levels.gammas[3] = gamma;
            const auto expected = [gamma](int i) {
                return gamma >= 2 ? 255 : gamma >= 1 ? ramp(ramp(i)) : i / 255 * 255;
            };
            COMPARE_ENTRIES(levels.entries().b, expected, QString("gamma %1").arg(gamma));
            COMPARE_ENTRIES(
                levels.entries().r, [](int i) { return ramp(ramp(i)); }, QString("gamma %1").arg(gamma));
        }
    }

    /// Whatever the parameters, there are tables, and amounts beyond 0..100 take the low byte.
    void levelsBeyondTheirRange()
    {
        Levels levels;
        levels.output[0][0] = 255, levels.output[0][1] = 0, levels.amount = 200;
        COMPARE_ENTRIES(
            levels.entries().r, [](int i) { return (2 * (255 - ramp(ramp(i))) - i) & 0xFF; }, "200 per cent");
        levels = Levels();
        levels.output[1][0] = 1000, levels.output[1][1] = 1255;
        COMPARE_ENTRIES(
            levels.entries().r, [](int i) { return ramp((1000 + ramp(i)) & 0xFF); }, "output beyond");
        for (const int low : { INT_MIN, -1, 0, 300, INT_MAX })
            for (const int high : { INT_MIN, -1, 0, 300, INT_MAX })
                for (const int amount : { INT_MIN, -1, 100, INT_MAX }) {
                    for (int c = 0; c < 4; ++c) {
                        levels.input[c][0] = low, levels.input[c][1] = high;
                        levels.output[c][0] = high, levels.output[c][1] = low;
                    }
                    levels.amount = amount;
                    levels.entries();
                }
    }

    void inverters()
    {
        OPRGBA32i pixel(0x12345678u);
        OPInvertTransformation()(pixel);
        QCOMPARE(pixel, OPRGBA32i(0x12CBA987u));
        OPInvertAlphaTransformation()(pixel);
        QCOMPARE(pixel, OPRGBA32i(0xEDCBA987u));
        OPInvertColor<OPRGBA32i>()(pixel);
        QCOMPARE(pixel, OPRGBA32i(0xED345678u));
        OPInvertColorAlpha<OPRGBA32i>()(pixel);
        QCOMPARE(pixel, OPRGBA32i(0x12345678u));
    }

    /// With an index an object changes that pixel of its buffer, which copies share, and otherwise does what its class does.
    void indexed()
    {
        OPRGBA32i pixels[3] = { 0x01020304u, 0x01020304u, 0x01020304u };
        OPIterativeExposureTransformation doubled(20 / (20 * 0.049999750001249996), 0);
        doubled.SetProcessingBuffer(pixels);
        doubled(1);
        QCOMPARE(pixels[1], OPRGBA32i(0x01040608u));
        const auto copy = doubled;
        static_cast<const BaseTransformation &>(copy)(2);
        QCOMPARE(pixels[2], OPRGBA32i(0x01040608u));
        doubled(pixels[2]);
        QCOMPARE(pixels[2], OPRGBA32i(0x01080C10u));
        QCOMPARE(pixels[0], OPRGBA32i(0x01020304u));
        QCOMPARE(copy.HasKernel(), AVX2LIB::Instance() != nullptr);
        OPIterativeLevelsTransformation().SetProcessingBuffer(nullptr);
    }
};

KXCORE_TEST_MAIN(TestTones)
#include "tst_tones.moc"
