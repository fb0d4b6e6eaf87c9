#include "kit/Kernels.h"

#include "KXCore.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>

using kit::after;

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// Compares what becomes of each value of red, green and blue with the low byte of a formula. Alpha stays.
template <class Red, class Green, class Blue>
void compare(const BaseTransformation &adjustment, const QVariantList &parameters, Red red, Green green, Blue blue)
{
    for (int i = 0; i < 256; ++i) {
        const auto r = uchar(i), g = uchar(i ^ 0x55), b = uchar(255 - i);
        const OPRGBA32i pixel = after(adjustment, OPRGBA32i(b, g, r, 0x5A));
        const OPRGBA32i expected(uchar(blue(b)), uchar(green(g)), uchar(red(r)), 0x5A);
        QVERIFY2(pixel == expected,
            qPrintable(QVariant(parameters).toStringList().join(", ")
                + QString::asprintf(": red %d becomes %08x, not %08x", i, pixel.word, expected.word)));
    }
}

template <class Formula>
void compare(const BaseTransformation &adjustment, const QVariantList &parameters, Formula formula)
{
    compare(adjustment, parameters, formula, formula, formula);
}

/// Whether @p actual is @p value, truncated and cut at 0 and 255, within what single precision may lose.
bool isTruncated(int actual, double value)
{
    return actual == int(qBound(0.0, value - 1e-4, 255.0)) || actual == int(qBound(0.0, value + 1e-4, 255.0));
}

const std::set<int> oneShort { 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122, 132, 148, 164, 180,
    196, 212, 228, 244 };

/// A value after a gamma of 1.
int ramp(int i) { return oneShort.count(i) ? i - 1 : i; }

int rampTwice(int i) { return ramp(ramp(i)); }
int identity(int i) { return i; }

/// The sum wraps.
int faded(int from, int to, qint64 share, int whole) { return int(from * (whole - share) + to * share) / whole; }

/// Levels of the master and of one channel, which do nothing but for the 24 values.
struct Levels {
    using Range = std::array<int, 2>;
    Range input { 0, 255 }, output { 0, 255 }, channelInput { 0, 255 }, channelOutput { 0, 255 };
    int amount = 100;
    double gamma = 1, channelGamma = 1;

    OPLevelsTransformation on(int channel) const
    {
        int from[4][2] = { { input[0], input[1] }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
        int to[4][2] = { { output[0], output[1] }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
        double gammas[4] = { gamma, 1, 1, 1 };
        std::copy_n(channelInput.data(), 2, from[channel]);
        std::copy_n(channelOutput.data(), 2, to[channel]);
        gammas[channel] = channelGamma;
        return { from, to, gammas, amount };
    }

    /// Compares with what the one channel and the master do; the channel acts first.
    template <class Channel, class Master>
    void check(Channel channel, Master master) const
    {
        const auto own = [=](int i) { return faded(i, master(uchar(channel(i))), amount, 100); };
        const auto other = [=](int i) { return faded(i, master(ramp(i)), amount, 100); };
        const QVariantList parameters { input[0], output[0], channelInput[0], channelOutput[0], amount, gamma,
            channelGamma };
        compare(on(1), parameters, own, other, other);
        compare(on(2), parameters, other, own, other);
        compare(on(3), parameters, other, other, own);
    }
};

} // namespace

/// The tables of adjustments, against formulas of their own.
class TestTones : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Without its extents the formula is a product and a sum, cut at both ends.
    void exposure()
    {
        const double per = 0.049999750001249996;
        for (const double exposure : { 0.0, 1.0, 7.3, 20.0, 400.0, -3.0, -19.9 })
            for (const double offset : { 0.0, 0.1, -0.37, 1.0, -1.0, 3.0 })
                compare(OPExposureTransformation(exposure, offset), { exposure, offset },
                    [=](int i) { return int(qBound(0.0, i * (exposure * per + 1) + offset * 255, 255.0)); });
        // Values from some value on, and below. Of the first the factor is -1, of the next three 0.
        const std::tuple<double, double, int, int, int> odd[] = { { -2 / per, 0.4, 0, 102, 255 },
            { -1 / per, 0.5, 127, 255, 255 }, { -1 / per, 0, 0, 255, 255 }, { -1 / per, -0.5, 0, 255, 255 },
            { -21, 0, 0, 0, 255 }, { infinite, 0, 0, 0, 255 }, { -infinite, 0, 0, 0, 255 },
            { notANumber, 0, 0, 256, 0 }, { 0, notANumber, 0, 256, 0 }, { 0, infinite, 0, 0, 255 },
            { 0, -infinite, 0, 256, 0 } };
        for (const auto &[exposure, offset, below, from, above] : odd)
            compare(OPExposureTransformation(exposure, offset), { exposure, offset },
                [=, below = below, from = from, above = above](int i) { return i < from ? below : above; });
    }

    /// Each parameter by itself.
    void levels()
    {
        using Range = Levels::Range;
        const auto stretched = [](int i) { return qBound(0, (ramp(i) - 100) * 255 / 100, 255); };
        const auto reverse = [](int i) { return 255 - ramp(i); };
        const Range whole { 0, 255 }, part { 100, 200 }, one { 99, 99 }, reversed { 255, 0 };
        Levels {}.check(ramp, ramp);
        Levels { part }.check(ramp, stretched);
        Levels { whole, whole, part }.check(stretched, ramp);
        Levels { one, { 50, 255 } }.check(ramp, [](int i) { return ramp(i) < 99 ? 50 : 255; });
        Levels { one, { 200, 100 } }.check(ramp, [](int i) { return ramp(i) <= 99 ? 200 : 100; });
        Levels { { 180, 60 } }.check(ramp, [](int i) { return ramp(i) < 180 ? 0 : 255; });
        Levels { whole, reversed }.check(ramp, reverse);
        Levels { whole, whole, whole, { 64, 128 } }.check([](int i) { return 64 + ramp(i) * 64 / 255; }, ramp);
        Levels { whole, whole, whole, { 1000, 1255 } }.check([](int i) { return 1000 + ramp(i); }, ramp);
        for (const int amount : { 0, 50, 200 })
            Levels { whole, reversed, part, whole, amount }.check(stretched, reverse);
        Levels { whole, whole, whole, whole, 100, 2 }.check(ramp, [](int i) { return int(std::sqrt(i * 255.0L)); });
        compare(OPLevelsTransformation(), {}, identity);
        // The largest and the smallest exponent of the master, and the three cases that a channel's gamma knows.
        for (const double gamma : { 0.01, 0.0, -7.0, -infinite, notANumber, 9.99, 1e9, infinite })
            Levels { whole, whole, whole, whole, 100, gamma }.check(
                ramp, [=](int i) { return int(255 * std::pow(i / 255.0L, gamma > 1 ? 1 / 9.99L : 100)); });
        for (const double gamma : { 0.01, 0.5, 0.999, 1.0, 1.5, 1.999, 2.0, 5.0, 50.0, -1.0, notANumber })
            Levels { whole, whole, whole, whole, 100, 1, gamma }.check(
                [=](int i) { return gamma >= 2 ? 255
                                 : gamma >= 1  ? ramp(i)
                                               : i / 255 * 255; }, ramp);
        // Whatever the parameters, there are tables: the sanitizers see to it.
        for (const int low : { INT_MIN, -1, 0, 300, INT_MAX })
            for (const int high : { INT_MIN, -1, 0, 300, INT_MAX })
                Levels { { low, high }, { high, low }, { high, low }, { low, high }, low }.on(1);
    }

    /// A result that is no integer counts as the smallest one. Quotients are whole only in the middle, or exact.
    void brightnessAndContrast()
    {
        for (const int c : { 0, 1, 50, 128, 200, 258, 259, 300, -1, -90, -254, -255, -400 })
            for (const int b : { 0, 1, 10, 20, 300, 1000000000, INT_MAX, -5, -70, -1000000000, INT_MIN })
                compare(OPBrightnessContrastTransformation(b, c), { b, c }, [b, c](int i) {
                    const double sum = 128.0 + b + (i - 128.0 + b) * 259 * (c + 255) / (255 * (259 - c));
                    return std::abs(sum) < 0x1p31 ? qBound(0, int(sum), 255) : 0;
                });
    }

    /// The smallest and the largest gamma, and roots and squares by whole numbers.
    void gamma()
    {
        const auto check = [](double gamma, auto formula) {
            compare(OPGammaCorrectionTransformation(gamma), { gamma }, formula);
        };
        check(1, ramp);
        check(0.5, [](int i) { return i * i / 255; });
        check(2, [](int i) { return int(std::sqrt(i * 255.0L)); });
        for (const double gamma : { 0.01, 0.0, -1.0, -infinite, notANumber, 5.0, 100.0, infinite })
            check(gamma, [=](int i) { return int(255 * std::pow(i / 255.0L, gamma > 1 ? 0.2L : 100)); });
    }

    /// Level j of n begins at the first i with i * n / 255 >= j, and 255 belongs to the last one.
    void posterize()
    {
        for (const int n : { 2, 3, 4, 5, 7, 16, 64, 100, 255, 256, 1000 })
            compare(OPPosterizeTransformation(n), { n },
                [n](int i) { return (i == 255 ? n - 1 : i * n / 255) * 255 / (n - 1); });
        for (const int levels : { 0, -1, INT_MIN })
            compare(OPPosterizeTransformation(levels), { levels }, identity);
#ifdef QT_NO_DEBUG
        compare(OPPosterizeTransformation(1), { 1 }, identity); // a debug build asserts
#endif
        OPPosterizeTransformation { INT_MAX };
    }

    void tint()
    {
        const auto between = [](int low, int high) {
            return [=](int i) { return ramp(low + ramp(i) * (high - low) / 255); };
        };
        const unsigned dark = 0x00102030u, light = 0x00F0E0D0u;
        compare(OPTintRGB32(dark, light, 100), { 100 }, between(16, 240), between(32, 224), between(48, 208));
        compare(OPTintRGB32(dark, light, 50), { 50 }, between(8, 248), between(16, 240), between(24, 232));
        compare(OPTintRGB32(0x000000FFu, 0x00FF0000u, 50), { 50 }, ramp, between(0, 128), between(127, 128));
        compare(OPTintRGB32(dark, light, 0), { 0 }, ramp);
        OPTintRGB32(dark, light, INT_MIN);
    }

    /// Bells around the middles of the three ranges, within what single precision may lose.
    void colorBalance()
    {
        const double middles[] = { 80, 127.5, 176 }, tops[] = { 0.43, 0.74, 0.43 };
        const double narrowness[] = { 0.00055, 0.0004, 0.00055 };
        const int choices[][3] = { { 0, 0, 0 }, { 100, 0, 0 }, { 0, -63, 0 }, { 0, 0, 77 }, { -40, 25, 90 },
            { 1000, -700, -2000 }, { INT_MAX, INT_MAX, INT_MAX }, { INT_MIN, INT_MIN, INT_MIN } };
        for (size_t k = 0; k < 8; ++k) {
            const int *const values[] = { choices[k], choices[(k + 1) % 8], choices[(k + 2) % 8] }; // blue first
            const OPColorBalanceTransformation balance(values[2], values[1], values[0]);
            for (const unsigned end : { 0u, 0x00FFFFFFu })
                QCOMPARE(after(balance, end), OPRGBA32i(end));
            for (int i = 1; i < 255; ++i)
                for (int channel = 0; channel < 3; ++channel) {
                    double sum = i;
                    for (int range = 0; range < 3; ++range)
                        sum += values[channel][range] * tops[range]
                            * std::exp(-narrowness[range] * std::pow(i - middles[range], 2));
                    QVERIFY(isTruncated(after(balance, unsigned(i) * 0x010101u).word >> 8 * channel & 255, sum));
                }
        }
        // In double precision what is taken from 252 would count, and it would become 251.
        const int darker[] = { -100, 0, 0 };
        QCOMPARE(after(OPColorBalanceTransformation(darker, darker, darker), 0x00FCFCFCu), OPRGBA32i(0x00FCFCFCu));
    }

    /// A channel by itself, within what single precision may lose, and sums of all three.
    void blackAndWhite()
    {
        for (const bool lightness : { false, true })
            for (const float weight : { 0.0f, 0.25f, 0.59f, 1.0f, 1.7f, 1e30f, -1.0f, std::nanf("") })
                for (int channel = 0; channel < 3; ++channel) {
                    float weights[] = { 0, 0, 0 };
                    weights[channel] = weight;
                    const OPBlackAndWhiteTransformation single(lightness, weights[2], weights[1], weights[0]);
                    for (unsigned i = 0; i < 256; ++i) {
                        const double x = i / 255.0;
                        const double of = !lightness ? i : (x > 0.008856 ? 116 * std::cbrt(x) - 16 : 903.3 * x) * 2.55;
                        const OPRGBA32i grey = after(single, 0x5A000000u | i << 8 * channel);
                        QVERIFY(isTruncated(grey.b, weight >= 0 && weight < 1e6f ? of * double(weight) : 0));
                        QCOMPARE(grey, OPRGBA32i(grey.b, grey.b, grey.b, 0x5A));
                    }
                }
        const auto sum = [](float r, float g, float b, unsigned pixel) {
            return after(OPBlackAndWhiteTransformation(false, r, g, b), pixel);
        };
        // 30 + 58 + 11, as 0.59 in single precision is less than that.
        QCOMPARE(sum(0.3f, 0.59f, 0.11f, 0xFF646464u), OPRGBA32i(0xFF636363u));
        QCOMPARE(sum(1, 1, 1, 0x00505050u), OPRGBA32i(0x00F0F0F0u));
        QCOMPARE(sum(1, 1, 1, 0x00606060u), OPRGBA32i(0x00FFFFFFu));
        // The lightness of white in single precision is 254.99998.
        QCOMPARE(after(OPBlackAndWhiteTransformation(true, 1, 0, 0), 0xFFFFFFFFu), OPRGBA32i(0xFFFEFEFEu));
    }

    void factorsOfBlackAndWhite()
    {
        for (int i = 0; i < 16000; i += 7) {
            const float weight = float(i) * 0.001f;
            if (const auto factors = OPBlackAndWhiteTransformation(false, weight, 0.3f, 0).ShareFactors())
                for (int value = 0; value < 256; ++value)
                    QCOMPARE(std::min(value * factors->r >> 16, 255), std::min(int(float(value) * weight), 255));
        }
        const auto hasFactors = [](float weight) {
            return OPBlackAndWhiteTransformation(false, 0.3f, 0.59f, weight).ShareFactors().has_value();
        };
        QVERIFY(hasFactors(0.11f) && hasFactors(1) && hasFactors(1.7f) && hasFactors(15.9f));
        // In single precision 10 times 1.3 is 13, but 20 times 1.3 is less than 26.
        QVERIFY(!hasFactors(1.3f) && !hasFactors(16) && !hasFactors(200));
        QVERIFY(!OPBlackAndWhiteTransformation(true, 0.3f, 0.59f, 0.11f).ShareFactors());
    }

    /// Levels up to a colour, and any levels; both faded, in parts of 255 and of 100.
    void fadedLevels()
    {
        const OPLevelsTransformation reversed = Levels { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 255, 0 } }.on(2);
        for (const int amount : { 0, 1, 50, 99, 100, 101, 250, -30, INT_MAX, INT_MIN }) {
            const auto product = [share = int(amount * 255LL) / 100](int channel) {
                return [=](int i) { return faded(i, ramp(ramp(i) * channel / 255), share, 255); };
            };
            compare(
                OPPhotoFilterTransformation(0x12EC8A00u, amount), { amount }, product(0xEC), product(0x8A), product(0));

            const auto through = [=](auto levels) { return [=](int i) { return faded(i, levels(i), amount, 100); }; };
            OPColorEnhancerTransformation enhancer;
            enhancer.SetAmountData(amount);
            compare(enhancer, { amount }, identity);
            enhancer.SetLevels(reversed);
            compare(enhancer, { amount }, through(rampTwice), through([](int i) { return ramp(255 - ramp(i)); }),
                through(rampTwice));
            enhancer.SetAmountData(0);
            compare(enhancer, { amount, 0 }, identity);
        }
    }

    /// Each range by its formula in another precision, with the cuts and the low bytes beyond them.
    void burnAndDodge()
    {
        using Burn = KXBurnCorrection;
        using Dodge = KXDodgeCorrection;
        using Real = long double;
        for (const double a : { 0.0, 0.137, 0.993, 2.713, -0.631, -2.117 }) {
            const auto check = [a](const KXTableTransformation &adjustment, int low, int high, auto formula) {
                compare(adjustment, { low, high, a },
                    [=](int i) { return qBound(low, int(std::trunc(255 * formula(i / Real(255)) + 0.5L)), high); });
            };
            const auto wave = [a](Real x) { return a / 4 * std::sin(std::acos(Real(-1)) * x); };
            check(Burn(a, Burn::Shadows), 0, INT_MAX, [=](Real x) { return x + a * (1 - std::exp(1 - x)); });
            check(Burn(a, Burn::Midtones), INT_MIN, 255, [=](Real x) { return x - wave(x); });
            check(Burn(a, Burn::Highlights), INT_MIN, 255, [=](Real x) { return x * (1 - 0.75L * a); });
            check(Dodge(a, Dodge::Shadows), INT_MIN, 255, [=](Real x) { return x + (1 - x) * a / 2; });
            check(Dodge(a, Dodge::Midtones), INT_MIN, 255, [=](Real x) { return x + wave(x); });
            check(Dodge(a, Dodge::Highlights), INT_MIN, 255, [=](Real x) { return x + a * (std::exp(x) - 1); });
        }
        // A range that is none.
        compare(Burn(0.7, Burn::RangeType(-1)), {}, identity);
        compare(Dodge(0.7, Dodge::RangeType(3)), {}, identity);
        Burn kept(0.5, Burn::Highlights);
        kept.SetData(0.1, Burn::RangeType(7));
        compare(kept, {}, [](int i) { return int(i * 0.625 + 0.5); });
    }

    void singleColours()
    {
        const std::pair<OPRGBA32i, unsigned> results[] = {
            { after(KXFillTransformation(0x12345678u), 0xFFFFFFFFu), 0x12345678 },
            { after(KXFillTransformation(), 0xFFFFFFFFu), 0 },
            { after(OPColorize<OPRGBA32i>(0x12345678u), 0xFFFFFFFFu), 0xFF345678 },
            { after(OPDesaturateTransformation(), 0x80FF0A04u), 0x80818181 },
            { after(OPDesaturateTransformation(), 0x80040AFFu), 0x80818181 },
            { after(OPInvertTransformation(), 0x12345678u), 0x12CBA987 },
            { after(OPInvertColor<OPRGBA32i>(), 0x12345678u), 0x12CBA987 },
            { after(OPInvertAlphaTransformation(), 0x12345678u), 0xED345678 },
            { after(OPInvertColorAlpha<OPRGBA32i>(), 0x12345678u), 0xED345678 },
            { after(OPThresholdRGB32(), 0xFF000000u), 0xFFFFFFFF },
            { after(OPThresholdRGB32(256), 0xFFFFFFFFu), 0xFF000000 },
        };
        for (const auto &[pixel, expected] : results)
            QCOMPARE(pixel, OPRGBA32i(expected));
        // 255 * 30 is 7650, 255 * 59 is 15045, 255 * 11 is 2805, and 30 * 200 + 59 * 100 + 11 * 50 is 12450.
        const std::pair<unsigned, int> luminances[] = { { 0x40FF0000, 76 }, { 0x4000FF00, 150 }, { 0x400000FF, 28 },
            { 0x40C86432, 124 } };
        for (const auto &[pixel, luminance] : luminances) {
            OPThresholdRGB32 threshold(luminance);
            QCOMPARE(after(threshold, pixel), OPRGBA32i(0x40FFFFFFu));
            threshold.SetLevel(luminance + 1);
            QCOMPARE(after(threshold, pixel), OPRGBA32i(0x40000000u));
            threshold.SetLevel(luminance);
            QCOMPARE(after(threshold, pixel), OPRGBA32i(0x40FFFFFFu));
        }
    }

    /// With an index an object changes that pixel of its buffer, which copies share.
    void indexed()
    {
        OPRGBA32i pixels[] = { 0x01020304u, 0x01020304u, 0x01020304u };
        OPIterativeExposureTransformation doubled(1 / 0.049999750001249996, 0);
        doubled.SetProcessingBuffer(pixels);
        doubled(1);
        const auto copy = doubled;
        static_cast<const BaseTransformation &>(copy)(2);
        doubled(pixels[2]);
        const unsigned expected[] = { 0x01020304u, 0x01040608u, 0x01080C10u };
        for (int i = 0; i < 3; ++i)
            QCOMPARE(pixels[i], OPRGBA32i(expected[i]));
    }
};

KXCORE_TEST_MAIN(TestTones)
#include "tst_tones.moc"
