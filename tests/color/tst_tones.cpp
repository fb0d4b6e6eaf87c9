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

/// @p actual is @p value, truncated and cut at 0 and 255, within what single precision may lose.
#define VERIFY_TRUNCATED(actual, value, where)                                                                         \
    QVERIFY2((actual) == int(qBound(0.0, (value)-1e-4, 255.0)) || (actual) == int(qBound(0.0, (value) + 1e-4, 255.0)), \
        qPrintable(QString("%1 becomes %2, not %3").arg(where).arg(actual).arg(value)))

/// Levels of the master and of one channel, which do nothing but for the 24 values.
struct Levels {
    using Range = std::array<int, 2>;
    Range input { 0, 255 }, output { 0, 255 }, channelInput { 0, 255 }, channelOutput { 0, 255 };
    int amount = 100;
    double gamma = 1, channelGamma = 1;

    OPLevelsTransformation on(int channel) const
    {
        int from[4][2], to[4][2];
        double gammas[4];
        for (int c = 0; c < 4; ++c) {
            const Levels own = c == channel ? *this : Levels();
            for (const size_t end : { 0, 1 }) {
                from[c][end] = c == 0 ? input[end] : own.channelInput[end];
                to[c][end] = c == 0 ? output[end] : own.channelOutput[end];
            }
            gammas[c] = c == 0 ? gamma : own.channelGamma;
        }
        return { from, to, gammas, amount };
    }
};

const std::set<int> oneShort { 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122, 132, 148, 164, 180,
    196, 212, 228, 244 };

/// A value after a gamma of 1.
int ramp(int i) { return oneShort.count(i) ? i - 1 : i; }

int rampTwice(int i) { return ramp(ramp(i)); }
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
        // Values from some value on, and below. Of the first the factor is -1, of the second 0.
        const double per = 0.049999750001249996;
        const std::tuple<double, double, int, int, int> odd[] = { { -2 / per, 0.4, 0, 102, 255 },
            { -1 / per, 0.5, 127, 255, 255 }, { -21, 0, 0, 0, 255 }, { infinite, 0, 0, 0, 255 },
            { -infinite, 0, 0, 0, 255 }, { notANumber, 0, 0, 256, 0 }, { 0, notANumber, 0, 256, 0 },
            { 0, infinite, 0, 0, 255 }, { 0, -infinite, 0, 256, 0 } };
        for (const auto &[exposure, offset, below, from, above] : odd) {
            const Entries entries(OPExposureTransformation(exposure, offset));
            for (int i = 0; i < 256; ++i)
                QCOMPARE(entries.r[size_t(i)], i < from ? below : above);
        }
    }

    /// Each parameter by itself. The channel acts first, then the master.
    void levels()
    {
        using Range = Levels::Range;
        const auto cut = [](int p) { return p < 100 ? 0 : p > 200 ? 255 : (p - 100) * 255 / 100; };
        const Range whole { 0, 255 }, part { 100, 200 }, one { 99, 99 }, reversed { 255, 0 };
        const std::tuple<Levels, std::function<int(int)>> cases[] = {
            { {}, rampTwice },
            { { part }, [=](int i) { return cut(rampTwice(i)); } },
            { { whole, whole, part }, [=](int i) { return ramp(cut(ramp(i))); } },
            { { one, { 50, 255 } }, [](int i) { return rampTwice(i) < 99 ? 50 : 255; } },
            { { one, { 200, 100 } }, [](int i) { return rampTwice(i) <= 99 ? 200 : 100; } },
            { { { 180, 60 } }, [](int i) { return rampTwice(i) < 180 ? 0 : 255; } },
            { { whole, reversed }, [](int i) { return 255 - rampTwice(i); } },
            { { whole, whole, whole, { 64, 128 } }, [](int i) { return ramp(64 + ramp(i) * 64 / 255); } },
            { { whole, whole, whole, { 1000, 1255 } }, [](int i) { return ramp((1000 + ramp(i)) & 0xFF); } },
            { { part, reversed, part, part, 0, 3, 3 }, identity },
            { { whole, reversed, whole, whole, 50 }, [](int i) { return (255 - rampTwice(i) + i) / 2; } },
            { { whole, reversed, whole, whole, 200 }, [](int i) { return (2 * (255 - rampTwice(i)) - i) & 0xFF; } },
            { { whole, whole, whole, whole, 100, 2 }, [](int i) { return int(std::sqrt(ramp(i) * 255.0L)); } },
        };
        for (const auto &[levels, expected] : cases) {
            COMPARE_ENTRIES(Entries(levels.on(1)).r, expected, &expected - &std::get<1>(cases[0]));
            QVERIFY(Entries(levels.on(2)).g == Entries(levels.on(1)).r);
            QVERIFY(Entries(levels.on(3)).b == Entries(levels.on(1)).r);
            QVERIFY(Entries(levels.on(2)).r == Entries(levels.on(0)).r);
        }
        COMPARE_ENTRIES(Entries(OPLevelsTransformation()).r, identity, "default");
        // The largest and the smallest exponent of the master, and the three cases that a channel's gamma knows.
        Levels levels;
        for (const double gamma : { 0.01, 0.0, -7.0, -infinite, notANumber, 9.99, 1e9, infinite }) {
            levels.gamma = gamma;
            const long double exponent = gamma > 1 ? 1 / 9.99L : 100;
            const auto expected = [=](int i) { return int(255 * std::pow(ramp(i) / 255.0L, exponent)); };
            COMPARE_ENTRIES(Entries(levels.on(2)).g, expected, gamma);
        }
        levels.gamma = 1;
        for (const double gamma : { 0.01, 0.5, 0.999, 1.0, 1.5, 1.999, 2.0, 5.0, 50.0, -1.0, notANumber }) {
            levels.channelGamma = gamma;
            const auto expected = [=](int i) { return gamma >= 2 ? 255 : gamma >= 1 ? rampTwice(i) : i / 255 * 255; };
            COMPARE_ENTRIES(Entries(levels.on(3)).b, expected, gamma);
            COMPARE_ENTRIES(Entries(levels.on(3)).r, rampTwice, gamma);
        }
    }

    /// Whatever the parameters, there are tables: the sanitizers see to it.
    void levelsBeyondAllRanges()
    {
        const int values[] = { INT_MIN, -1, 0, 300, INT_MAX };
        for (const int low : values)
            for (const int high : values)
                for (const int amount : values)
                    Levels { { low, high }, { high, low }, { high, low }, { low, high }, amount }.on(1);
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
            COMPARE_ENTRIES(Entries(OPGammaCorrectionTransformation(gamma)).b, expected, gamma);
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
            COMPARE_ENTRIES(Entries(OPPosterizeTransformation(levels)).r, identity, levels);
#ifdef QT_NO_DEBUG
        COMPARE_ENTRIES(Entries(OPPosterizeTransformation(1)).r, identity, "one level"); // a debug build asserts
#endif
        OPPosterizeTransformation { INT_MAX };
    }

    void tint()
    {
        const Entries full(OPTintRGB32(0x00102030u, 0x00F0E0D0u, 100));
        const auto between = [](int low, int high) {
            return [=](int i) { return ramp(low + ramp(i) * (high - low) / 255); };
        };
        COMPARE_ENTRIES(full.r, between(0x10, 0xF0), "red");
        COMPARE_ENTRIES(full.g, between(0x20, 0xE0), "green");
        COMPARE_ENTRIES(full.b, between(0x30, 0xD0), "blue");
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
        const auto check = [&](const std::array<int, 256> &entries, const int(&values)[3]) {
            QVERIFY(entries[0] == 0 && entries[255] == 255);
            for (int i = 1; i < 255; ++i) {
                double sum = i;
                for (int k = 0; k < 3; ++k)
                    sum += values[k] * tops[k] * std::exp(-narrowness[k] * std::pow(i - middles[k], 2));
                VERIFY_TRUNCATED(entries[size_t(i)], sum, i);
            }
        };
        for (size_t k = 0; k < 8; ++k) {
            const auto &red = choices[k], &green = choices[(k + 1) % 8], &blue = choices[(k + 2) % 8];
            const Entries entries(OPColorBalanceTransformation(red, green, blue));
            check(entries.r, red);
            check(entries.g, green);
            check(entries.b, blue);
        }
        // In double precision what is taken from 252 would count, and it would become 251.
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
                    const OPRGBA32i grey = after(red, 0x5A000000u | i << 16);
                    VERIFY_TRUNCATED(grey.b, weight >= 0 && weight < 1e6f ? of * double(weight) : 0, i);
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

            const Levels reversed { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 255, 0 } };
            OPColorEnhancerTransformation first, last;
            first.SetAmountData(amount);
            for (OPColorEnhancerTransformation *const enhancer : { &first, &last }) {
                COMPARE_ENTRIES(Entries(*enhancer).r, identity, amount);
                enhancer->SetLevels(reversed.on(2));
            }
            COMPARE_ENTRIES(Entries(last).g, identity, amount);
            last.SetAmountData(amount);
            const Entries entries(last);
            COMPARE_ENTRIES(
                entries.g, [&](int i) { return faded(i, ramp(255 - ramp(i)), amount, 100); }, amount);
            COMPARE_ENTRIES(
                entries.b, [&](int i) { return faded(i, rampTwice(i), amount, 100); }, amount);
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
        for (const double a : { 0.137, 0.993, 1.713, -0.631, -2.117 }) {
            const auto wave = [a](Real x) { return a / 4 * std::sin(std::acos(Real(-1)) * x); };
            const std::pair<Entries, std::function<Real(Real)>> cases[] = {
                { Entries(Burn(a, Burn::Shadows)), [=](Real x) { return x + a * (1 - std::exp(1 - x)); } },
                { Entries(Burn(a, Burn::Midtones)), [=](Real x) { return x - wave(x); } },
                { Entries(Burn(a, Burn::Highlights)), [=](Real x) { return x * (1 - 0.75L * a); } },
                { Entries(Dodge(a, Dodge::Shadows)), [=](Real x) { return x + (1 - x) * a / 2; } },
                { Entries(Dodge(a, Dodge::Midtones)), [=](Real x) { return x + wave(x); } },
                { Entries(Dodge(a, Dodge::Highlights)), [=](Real x) { return x + a * (std::exp(x) - 1); } },
            };
            for (size_t k = 0; k < 6; ++k) {
                const Entries &entries = cases[k].first;
                const auto expected = [&](int i) {
                    const int t = int(std::trunc(255 * cases[k].second(i / Real(255)) + 0.5L));
                    return (k == 0 ? qMax(t, 0) : qMin(t, 255)) & 0xFF;
                };
                COMPARE_ENTRIES(entries.g, expected, QString("case %1, %2").arg(k).arg(a));
                QVERIFY(entries.r == entries.g && entries.b == entries.g);
            }
        }
        for (const int range : { 0, 1, 2, 3, -1 }) {
            const double amount = range < 3 && range >= 0 ? 0 : 0.7;
            COMPARE_ENTRIES(Entries(Burn(amount, Burn::RangeType(range))).b, identity, range);
            COMPARE_ENTRIES(Entries(Dodge(amount, Dodge::RangeType(range))).b, identity, range);
        }
        Burn kept(0.5, Burn::Highlights);
        kept.SetData(0.1, Burn::RangeType(7));
        QCOMPARE(Entries(kept).r[200], 125); // 200 * 0.625
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
