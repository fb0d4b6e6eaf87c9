#include "kit/Kernels.h"

#include "KXBurnCorrection.h"
#include "KXDodgeCorrection.h"
#include "KXFillTransformation.h"
#include "OPBlackAndWhiteTransformation.h"
#include "OPBrightnessContrastTransformation.h"
#include "OPColorBalanceTransformation.h"
#include "OPColorEnhancerTransformation.h"
#include "OPDesaturateTransformation.h"
#include "OPExposureTransformation.h"
#include "OPGammaCorrectionTransformation.h"
#include "OPInvertTransformation.h"
#include "OPLevelsTransformation.h"
#include "OPPhotoFilterTransformation.h"
#include "OPPosterizeTransformation.h"
#include "OPThresholdRGB32.h"
#include "OPTintRGB32.h"

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

OPRGBA32i after(const BaseTransformation &adjustment, OPRGBA32i pixel)
{
    adjustment(pixel);
    return pixel;
}

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

    OPLevelsTransformation make() { return { input, output, gammas, amount }; }
    Entries entries() { return Entries(make()); }
};

const std::set<int> oneShort { 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122, 132, 148, 164, 180,
    196, 212, 228, 244 };

/// A value after a gamma of 1.
int ramp(int i) { return oneShort.count(i) ? i - 1 : i; }

int identity(int i) { return i; }

} // namespace

/// The tables of adjustments, against formulas of their own.
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
            "one value, reversed output",
            [](Levels &l) { l.input[0][0] = l.input[0][1] = 99, l.output[0][0] = 200, l.output[0][1] = 100; },
            [](int i) { return ramp(ramp(i)) <= 99 ? 200 : 100; });
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

    void brightnessAndContrast()
    {
        const auto check = [](int brightness, int contrast, auto expected) {
            COMPARE_ENTRIES(Entries(OPBrightnessContrastTransformation(brightness, contrast)).g, expected,
                QString("brightness %1, contrast %2").arg(brightness).arg(contrast));
        };
        for (const int b : { 0, 1, 10, -70, 300, -1000000000, 1000000000 })
            check(b, 0, [b](int i) { return int(qBound(0LL, i + 2LL * b, 255LL)); });
        for (const int c : { 1, 50, 128, 200, 258, -1, -90, -254, 300, -400 })
            for (const int b : { 0, 20, -5 })
                check(b, c, [b, c](int i) { // of whole numbers; no quotient is one but in the middle
                    const int up = (i + b - 128) * 259 * (c + 255), down = 255 * (259 - c);
                    const double result = 128 + b + double(up) / down;
                    return qBound(0, int(result), 255);
                });
        check(0, -255, [](int) { return 128; });
        for (const int b : { INT_MIN, INT_MAX }) // no integer
            check(b, 0, [](int) { return 0; });
        for (const int b : { -20, 0, 300 })
            check(b, 259, [](int) { return 0; });
    }

    /// The smallest and the largest gamma, and roots and squares by whole numbers.
    void gamma()
    {
        const auto check = [](double gamma, auto expected) {
            COMPARE_ENTRIES(
                Entries(OPGammaCorrectionTransformation(gamma)).b, expected, QString("gamma %1").arg(gamma));
        };
        check(1, ramp);
        check(0.5, [](int i) { return i * i / 255; });
        check(2, [](int i) { return int(std::sqrt(i * 255.0L)); });
        for (const double gamma : { 0.01, 0.0, -1.0, -infinite, notANumber })
            check(gamma, [](int i) { return int(255 * std::pow(i / 255.0L, 100)); });
        for (const double gamma : { 5.0, 100.0, infinite })
            check(gamma, [](int i) { return int(255 * std::pow(i / 255.0L, 0.2L)); });
    }

    /// Level j of n begins at the first i with i * n / 255 >= j, and 255 belongs to the last one.
    void posterize()
    {
        for (const int n : { 2, 3, 4, 5, 7, 16, 64, 100, 255, 256, 1000 }) {
            const auto expected = [n](int i) { return (i == 255 ? n - 1 : i * n / 255) * 255 / (n - 1); };
            const Entries entries { OPPosterizeTransformation(n) };
            int wrong = 0;
            for (int i = 0; i < 256; ++i)
                // Where a level begins exactly at i the product may fall short of it.
                wrong +=
                    entries.r[size_t(i)] != expected(i) && (i * n % 255 || entries.r[size_t(i)] != expected(i - 1));
            QCOMPARE(wrong, 0);
        }
        const Entries three { OPPosterizeTransformation(3) };
        QVERIFY(three.g[84] == 0 && three.g[86] == 127 && three.g[169] == 127 && three.g[171] == 255);
        for (const int levels : { 0, -1, INT_MIN })
            COMPARE_ENTRIES(Entries(OPPosterizeTransformation(levels)).r, identity, QString::number(levels));
#ifdef QT_NO_DEBUG
        COMPARE_ENTRIES(Entries(OPPosterizeTransformation(1)).r, identity, "one level"); // a debug build asserts
#endif
        OPPosterizeTransformation { INT_MAX };
    }

    void tint()
    {
        const OPTintRGB32 full(0x00102030u, 0x00F0E0D0u, 100);
        const auto between = [](int low, int high) {
            return [=](int i) { return ramp(low + ramp(i) * (high - low) / 255); };
        };
        COMPARE_ENTRIES(Entries(full).r, between(0x10, 0xF0), "red");
        COMPARE_ENTRIES(Entries(full).g, between(0x20, 0xE0), "green");
        COMPARE_ENTRIES(Entries(full).b, between(0x30, 0xD0), "blue");
        COMPARE_ENTRIES(Entries(OPTintRGB32(0x000000FFu, 0x00FF0000u, 50)).b, between(127, 128), "half");
        COMPARE_ENTRIES(Entries(OPTintRGB32(0x00102030u, 0x00F0E0D0u, 0)).g, ramp, "none");
        OPTintRGB32(0x00102030u, 0x00F0E0D0u, INT_MIN);
    }

    /// Bells around the middles of the three ranges, within what single precision may lose.
    void colorBalance()
    {
        const double middles[] = { 80, 127.5, 176 }, tops[] = { 0.43, 0.74, 0.43 };
        const double narrowness[] = { 0.00055, 0.0004, 0.00055 };
        const int choices[][3] = { { 0, 0, 0 }, { 100, 0, 0 }, { 0, -63, 0 }, { 0, 0, 77 }, { -40, 25, 90 },
            { 1000, -700, -2000 }, { INT_MAX, INT_MAX, INT_MAX }, { INT_MIN, INT_MIN, INT_MIN } };
        for (const auto &red : choices)
            for (const auto &green : choices) {
                const int(&blue)[3] = choices[4];
                const OPColorBalanceTransformation balance(red, green, blue);
                const auto check = [&](const std::array<int, 256> &entries, const int(&values)[3]) {
                    QVERIFY(entries[0] == 0 && entries[255] == 255);
                    for (int i = 1; i < 255; ++i) {
                        double sum = i;
                        for (int k = 0; k < 3; ++k)
                            sum += values[k] * tops[k] * std::exp(-narrowness[k] * std::pow(i - middles[k], 2));
                        const double low = qBound(0.0, std::floor(sum - 1e-4), 255.0);
                        const int entry = entries[size_t(i)];
                        QVERIFY2(entry == low || entry == qBound(0.0, std::floor(sum + 1e-4), 255.0),
                            qPrintable(QString("%1 becomes %2, not %3").arg(i).arg(entry).arg(sum)));
                    }
                };
                const Entries entries(balance);
                check(entries.r, red);
                check(entries.g, green);
                check(entries.b, blue);
            }
        // In double precision what is taken from 252 would count, and it would become 251.
        QCOMPARE(Entries(OPColorBalanceTransformation(choices[1], choices[1], choices[1])).r[80], 123);
        const int darker[] = { -100, 0, 0 };
        QCOMPARE(Entries(OPColorBalanceTransformation(darker, darker, darker)).r[252], 252);
    }

    /// A channel by itself, within what single precision may lose, and sums of all three.
    void blackAndWhite()
    {
        for (const bool lightness : { false, true })
            for (const float weight : { 0.0f, 0.25f, 0.59f, 1.0f, 1.7f, 1e30f, -1.0f, std::nanf("") }) {
                const OPBlackAndWhiteTransformation red(lightness, weight, 0, 0), green(lightness, 0, weight, 0),
                    blue(lightness, 0, 0, weight);
                for (unsigned i = 0; i < 256; ++i) {
                    const double x = i / 255.0;
                    const double of = !lightness ? i : (x > 0.008856 ? 116 * std::cbrt(x) - 16 : 903.3 * x) * 2.55;
                    const double share = weight >= 0 && weight < 1e6f ? std::min(of * double(weight), 255.0) : 0;
                    const OPRGBA32i grey = after(red, 0x5A000000u | i << 16);
                    QVERIFY2(grey.b == int(share + 1e-4) || grey.b == int(std::max(share - 1e-4, 0.0)),
                        qPrintable(QString("%1 of %2 becomes %3").arg(double(weight)).arg(i).arg(grey.b)));
                    QCOMPARE(grey, OPRGBA32i(grey.b, grey.b, grey.b, 0x5A));
                    QCOMPARE(after(green, 0x5A000000u | i << 8), grey);
                    QCOMPARE(after(blue, 0x5A000000u | i), grey);
                }
            }
        // 30 + 58 + 11, as 0.59 in single precision is less than that.
        QCOMPARE(after(OPBlackAndWhiteTransformation(false, 0.3f, 0.59f, 0.11f), 0xFF646464u), OPRGBA32i(0xFF636363u));
        QCOMPARE(after(OPBlackAndWhiteTransformation(false, 1, 1, 1), 0x00505050u), OPRGBA32i(0x00F0F0F0u));
        QCOMPARE(after(OPBlackAndWhiteTransformation(false, 1, 1, 1), 0x00606060u), OPRGBA32i(0x00FFFFFFu));
        // The lightness of white in single precision is 254.99998.
        QCOMPARE(after(OPBlackAndWhiteTransformation(true, 1, 0, 0), 0xFFFFFFFFu), OPRGBA32i(0xFFFEFEFEu));
    }

    /// Levels up to a colour, and any levels; both faded, in parts of 255 and of 100.
    void fadedLevels()
    {
        const auto faded = [](int from, int to, qint64 share, int whole) {
            return (int(from * (whole - share) + to * share) / whole) & 0xFF; // the sum wraps
        };
        for (const int amount : { 0, 1, 50, 99, 100, 101, 250, -30, INT_MAX, INT_MIN }) {
            const int share = int(amount * 255LL) / 100;
            const auto product = [&](int channel) {
                return [=](int i) { return faded(i, ramp(ramp(i) * channel / 255), share, 255); };
            };
            const Entries filter(OPPhotoFilterTransformation(0x12EC8A00u, amount));
            COMPARE_ENTRIES(filter.r, product(0xEC), amount);
            COMPARE_ENTRIES(filter.g, product(0x8A), amount);
            COMPARE_ENTRIES(filter.b, product(0), amount);

            Levels reversed;
            reversed.output[2][0] = 255, reversed.output[2][1] = 0;
            OPColorEnhancerTransformation first, last;
            first.SetAmountData(amount);
            for (OPColorEnhancerTransformation *const enhancer : { &first, &last }) {
                COMPARE_ENTRIES(Entries(*enhancer).r, identity, amount);
                enhancer->SetLevels(reversed.make());
            }
            COMPARE_ENTRIES(Entries(last).g, identity, amount);
            last.SetAmountData(amount);
            const Entries entries(last);
            COMPARE_ENTRIES(
                entries.g, [&](int i) { return faded(i, ramp(255 - ramp(i)), amount, 100); }, amount);
            COMPARE_ENTRIES(
                entries.b, [&](int i) { return faded(i, ramp(ramp(i)), amount, 100); }, amount);
            COMPARE_ENTRIES(
                Entries(first).g, [&](int i) { return entries.g[size_t(i)]; }, amount);
        }
    }

    /// Each range by its formula in another precision, with the cuts and the low bytes beyond them.
    void burnAndDodge()
    {
        using Burn = KXBurnCorrection;
        using Dodge = KXDodgeCorrection;
        using Real = long double;
        const Real pi = std::acos(Real(-1));
        const auto truncated = [](Real v) { return int(std::trunc(v + 0.5L)); };
        for (const double a : { 0.137, 0.993, 1.713, -0.631, -2.117 }) {
            const std::tuple<const char *, Entries, std::function<Real(Real)>> cases[] = {
                { "burn shadows", Entries(Burn(a, Burn::Shadows)),
                    [&](Real x) { return x + a * (1 - std::exp(1 - x)); } },
                { "burn midtones", Entries(Burn(a, Burn::Midtones)),
                    [&](Real x) { return x - a / 4 * std::sin(pi * x); } },
                { "burn highlights", Entries(Burn(a, Burn::Highlights)), [&](Real x) { return x * (1 - 0.75L * a); } },
                { "dodge shadows", Entries(Dodge(a, Dodge::Shadows)), [&](Real x) { return x + (1 - x) * a / 2; } },
                { "dodge midtones", Entries(Dodge(a, Dodge::Midtones)),
                    [&](Real x) { return x + a / 4 * std::sin(pi * x); } },
                { "dodge highlights", Entries(Dodge(a, Dodge::Highlights)),
                    [&](Real x) { return x + a * (std::exp(x) - 1); } },
            };
            for (const auto &[name, entries, formula] : cases) {
                const bool isBurnShadows = QString(name) == "burn shadows";
                const auto expected = [&, &formula = formula](int i) {
                    const int t = truncated(255 * formula(i / Real(255)));
                    return (isBurnShadows ? qMax(t, 0) : qMin(t, 255)) & 0xFF;
                };
                COMPARE_ENTRIES(entries.g, expected, QString("%1, %2").arg(name).arg(a));
                QVERIFY(entries.r == entries.g && entries.b == entries.g);
            }
        }
        const auto check = [](const BaseTransformation &t, const char *what) {
            COMPARE_ENTRIES(Entries(t).b, identity, what);
        };
        for (const int range : { 0, 1, 2, 3, -1 }) {
            check(Burn(range < 3 && range >= 0 ? 0 : 0.7, Burn::RangeType(range)), "burn");
            check(Dodge(range < 3 && range >= 0 ? 0 : 0.7, Dodge::RangeType(range)), "dodge");
        }
        check(Burn(), "default");
        check(Dodge(), "default");
        Burn kept(0.5, Burn::Highlights);
        kept.SetData(0.1, Burn::RangeType(7));
        const Burn moved(std::move(kept));
        QCOMPARE(Entries(moved).r[200], 125); // 200 * 0.625
    }

    void singleColours()
    {
        const std::pair<OPRGBA32i, unsigned> results[] = {
            { after(KXFillTransformation(0x12345678u), 0xFFFFFFFFu), 0x12345678 },
            { after(KXFillTransformation(), 0xFFFFFFFFu), 0 },
            { after(OPColorize<OPRGBA32i>(0x12345678u), 0xFFFFFFFFu), 0xFF345678 },
            { after(OPDesaturateTransformation(), 0x80FF0A03u), 0x80818181 },
            { after(OPDesaturateTransformation(), 0x80030AFFu), 0x80818181 },
            { after(OPInvertTransformation(), 0x12345678u), 0x12CBA987 },
            { after(OPInvertColor<OPRGBA32i>(), 0x12345678u), 0x12CBA987 },
            { after(OPInvertAlphaTransformation(), 0x12345678u), 0xED345678 },
            { after(OPInvertColorAlpha<OPRGBA32i>(), 0x12345678u), 0xED345678 },
            // 30 * 200 + 59 * 100 + 11 * 50 is 12450.
            { after(OPThresholdRGB32(124), 0x40C86432u), 0x40FFFFFF },
            { after(OPThresholdRGB32(125), 0x40C86432u), 0x40000000 },
            { after(OPThresholdRGB32(), 0xFF000000u), 0xFFFFFFFF },
            { after(OPThresholdRGB32(INT_MIN), 0xFF000000u), 0xFFFFFFFF },
            { after(OPThresholdRGB32(256), 0xFFFFFFFFu), 0xFF000000 },
        };
        for (const auto &[pixel, expected] : results)
            QCOMPARE(pixel, OPRGBA32i(expected));
        OPThresholdRGB32 threshold;
        threshold.SetLevel(255);
        QCOMPARE(after(threshold, 0x00FFFFFEu), OPRGBA32i(0u)); // 254.89
    }

    /// With an index an object changes that pixel of its buffer, which copies share, and otherwise does what its class
    /// does.
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
    }
};

KXCORE_TEST_MAIN(TestTones)
#include "tst_tones.moc"
