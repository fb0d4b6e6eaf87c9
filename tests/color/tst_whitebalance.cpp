#include "kit/Kernels.h"

#include "KXCore.h"

#include <QtGui/QImage>

#include <cmath>

namespace {

using Balance = KXWBTransformation::BalanceFunction;
using kit::Picture;

constexpr Balance functions[] = { Balance::Auto, Balance::OverExposure, Balance::UnderExposure };

/// Greys from @p base on, a little apart, with a cast.
Picture cast(int w, int h, int base, int spread, int red)
{
    Picture picture(w, h);
    for (int i = 0; i < w * h; ++i)
        picture.pixels[size_t(i)] = kit::pixelOf(
            [&](int c) { return qBound(0, base + i * 37 % spread + i * (c + 3) % 9 + (c - 1) * red, 255); });
    return picture;
}

Picture row(std::initializer_list<unsigned> colours)
{
    Picture picture(int(colours.size()), 1);
    std::copy(colours.begin(), colours.end(), picture.pixels.begin());
    return picture;
}

KXWBTransformation balanced(const Picture &picture, Balance function = Balance::Auto, int amount = 100)
{
    return { picture.image(false), function, amount };
}

bool isNear(double a, double b) { return std::abs(a - b) < 1e-9; }

constexpr OPRGBA32i pixel(0x01643C1Eu);

/// What its kernel makes of that pixel.
OPRGBA32i after(const KXWBTransformation &object)
{
    kit::Line pixels(blocks::length, pixel);
    object(reinterpret_cast<unsigned char *>(pixels.data()), blocks::flag);
    return pixels.back();
}

} // namespace

class TestWhiteBalance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Two pixels: red 200 and 100, green 100 and 60, blue 50 and 30.
    void measurements()
    {
        const auto made = balanced(row({ 0xFFC86432u, 0x00643C1Eu }));
        const WBData &data = made.Measurements();
        const double y = 16 + (65.481 * 150 + 128.553 * 80 + 24.966 * 40) / 255;
        const double cb = 128 + (112 * 40 - 74.203 * 80 - 37.797 * 150) / 255;
        const double cr = 128 + (112 * 150 - 93.786 * 80 - 18.214 * 40) / 255;
        const double least = 55, most = 96; // of luminance; (59 * 60 + 30 * 30 + 11 * 100) / 100 is 55.4
        const double hueShift = 354; // 15 - 60 * 40 / 110, and the 21.8 of that truncated
        const double shadow =
            std::floor(255 * std::pow(least / 255, std::log((least + most) / 510) / std::log(y / 255)));
        const double highlight = 255 * std::pow(most / 255, (5.541263545158426 - std::log(80 / 3.0)) / 0.689233281);
        const double expected[] = { y, 150, 80, 40, hueShift, cb, cr, least, most, 100, 60, 30, 200, 100, 50, 50, 20,
            10, 8 / 15.0, 4 / 3.0, 8 / 3.0, -0.145392156863, 1, 0.134241176471, 30, 200, (40 + cr - cb) / 200 };
        const double *const values = &data.meanY;
        for (size_t i = 0; i < std::size(expected); ++i)
            QVERIFY2(isNear(values[i], expected[i]), qPrintable(QString::number(i)));
        QVERIFY(data.keyY == data.meanY && data.keyYCopy == data.meanY);
        QVERIFY(isNear(data.shadowLevel, shadow) && isNear(data.highlightLevel, highlight));
        QCOMPARE(data.rect, QRect(0, 0, 2, 1));
        const std::pair<unsigned, int> hues[] = { { 0xFF646464u, 15 }, { 0xFFFF0001u, 16 }, { 0xFF00FF00u, 255 },
            { 0xFF0000FFu, 135 }, { 0xFFFF00FFu, 75 }, { 0xFF00FF80u, 225 } };
        for (const auto &[colour, shift] : hues)
            QCOMPARE(balanced(row({ colour })).Measurements().hueShift, double(shift));
    }

    /// The searches, with what another program found, which moves ten pixels at a time in as many passes as it takes;
    /// the sum over i * table[i] stands for the table. 50 per cent is the straight line. For two pixels several curves
    /// are equally good, and the first one counts. In the last picture but one three colours are just
    /// grey enough to count; in the last one only black does, whose U equals its V.
    void searches()
    {
        const struct {
            Picture picture;
            int percent, tableSum;
            double offsetR, offsetB;
        } expected[] = { { cast(1, 1, 100, 1, 0), 0, 8290560, -0.37937254902, -0.374184313725 },
            { cast(2, 1, 100, 60, 0), 47, 5802490, 0.00479551820728, 0.0155549019608 },
            { cast(40, 40, 60, 30, 15), 35, 6827045, -0.0478998980037, 0.0758126122589 },
            { cast(90, 40, 40, 200, -20), 55, 5139020, 0.0888860513911, -0.0585212729678 },
            { cast(64, 33, 150, 90, 40), 60, 4674399, -0.187355657447, 0.0993018483984 },
            { cast(30, 20, 200, 50, -10), 80, 2157657, 0.0278113496192, -0.0401781959174 },
            { cast(50, 50, 0, 250, 3), 50, 255 * 256 * 511 / 6, -0.00455680442822, 0.0248475529358 },
            { cast(40, 40, 0, 20, 0), 7, 8301465, 0.00902241403835, 0.0200019291833 },
            { cast(30, 30, 0, 40, 0), 15, 8220339, 0.00642525124486, 0.0164315088675 },
            { cast(25, 25, 225, 30, 0), 90, 1104349, 0.0162876039296, 0.0255365542089 },
            { row({ 0x083E2Fu, 0x159D65u, 0x802C5Eu, 0x0E815Cu, 0xFF2000u }), 40, 6377799, 0.134151347986,
                0.0367311765759 },
            { row({ 0, 0xFF2000u }), 22, 8076868, 0.0375163398693, 0 } };
        for (const auto &[picture, percent, tableSum, offsetR, offsetB] : expected) {
            const auto made = balanced(picture);
            const WBData &data = made.Measurements();
            int sum = 0;
            for (size_t i = 0; i < data.table.size(); ++i)
                sum += int(i) * data.table[i];
            QCOMPARE(data.keyPercent, percent);
            QCOMPARE(sum, tableSum);
            QVERIFY2(
                isNear(data.offsetR, offsetR) && isNear(data.offsetB, offsetB), qPrintable(QString::number(percent)));
            QCOMPARE(data.scaleG, qMin(data.gainG, 1.0));
        }
    }

    /// Without pixels nothing is measured, and the tone curve is the one of -1: stairs, as two points have one x.
    void nothingToMeasure()
    {
        const auto check = [](const auto &image) {
            const KXWBTransformation made(image, Balance::UnderExposure, 100);
            const WBData &data = made.Measurements();
            QVERIFY(data.mix == 0 && data.key == 0 && data.keyPercent == 0 && data.stretchHigh == 0);
            QVERIFY(data.rect.isNull() && data.gainG == 0 && data.scaleG == 0 && data.hueShift == 0);
            QVERIFY(data.table[0] == 0 && std::count(data.table.begin() + 1, data.table.end(), 254) == 255);
        };
        for (const QSize size : { QSize(0, 0), QSize(5, 0), QSize(0, 5) })
            check(RGBA32iImage(size.width(), size.height(), false));
        check(QImage());
#ifdef QT_NO_DEBUG // a debug build asserts
        RGBA32iImage tiled = Picture(3, 3, 0xFF123456u).image(true);
        check(tiled);
        tiled.SetFlatWindow(QSharedPointer<OPRGBA32i>::create(0xFF123456u), QRect(0, 0, 1, 1), {}, {});
        check(tiled);
        OPRGBA32i same = pixel;
        balanced(row({ 1 }), Balance(3))(same);
        balanced(row({ 1 }), Balance(-1))(same);
        QCOMPARE(same, pixel);
#endif
    }

    /// What each function makes of each value.
    void functionsOfValues()
    {
        const auto limit = [](double v) { return qBound(0.0, v, 255.0); };
        for (const int amount : { 0, 1, 40, 100, 150, -30 })
            for (const int red : { -30, 0, 20 }) {
                const auto made = balanced(cast(30, 20, 60, 90, red), Balance::Auto, amount);
                const WBData &d = made.Measurements();
                const double least[] = { d.minB, d.minG, d.minR }, most[] = { d.maxB, d.maxG, d.maxR };
                const double means[] = { d.meanB, d.meanG, d.meanR };
                for (int i = 0; i < 256; ++i) {
                    const auto faded = [&](int to) { return (to * amount + i * (100 - amount)) / 100; };
                    const auto compare = [&](Balance function, auto expected) {
                        const OPRGBA32i colour = kit::pixelOf([&](int c) { return c == 3 ? 9 : expected(c); });
                        QCOMPARE(made.Tables(function)(kit::pixelOf([i](int c) { return c == 3 ? 9 : i; })), colour);
                    };
                    compare(Balance::OverExposure, [&](int) { return faded(i * i / 255); });
                    compare(Balance::UnderExposure, [&](int) { return faded(255 - (255 - i) * (255 - i) / 256); });
                    const double corrected[] = { d.offsetB * 255 + i, i * d.scaleG, d.offsetR * 255 + i };
                    compare(Balance::Auto, [&](int c) {
                        const double place = (limit(corrected[c]) - least[c]) / (most[c] - least[c]);
                        const double v = limit(d.meanY - means[c] + i) * (1 - d.mix)
                            + limit(place * d.stretchHigh + d.stretchLow) * d.mix;
                        return int(d.table[faded(int(v)) & 255]);
                    });
                }
            }
        // Of one red every red is at an end; green of 0 is corrected to 0, so that all of its values are 0 divided by
        // 0: the smallest integer, of which an even multiple of 2^31 is 0 when it wraps.
        const auto flat = balanced(row({ 0xFFB40000u }));
        const WBData &data = flat.Measurements();
        QCOMPARE(flat.Tables(Balance::Auto).g, KXChannelTables::Table());
        const double mixed = (data.meanY + 10) * (1 - data.mix) + 255 * data.mix; // of 190, to the right of 180
        QCOMPARE(flat.Tables(Balance::Auto).r[190], data.table[size_t(mixed)]);
        balanced(row({ 0xFFB40000u, 0 }), Balance::Auto, INT_MIN);
    }

    /// Any format, and rows further apart than they are long; nothing is detached.
    void qtImages()
    {
        const Picture wide = cast(40, 20, 60, 90, 12);
        const QImage padded(reinterpret_cast<const uchar *>(wide.pixels.data()), 37, 20, 160, QImage::Format_ARGB32);
        const KXWBTransformation expected(ConvertImage<QImage, RGBA32iImage>(padded.copy()), Balance::Auto, 100);
        for (const QImage &image : { padded, padded.convertToFormat(QImage::Format_RGB888) }) {
            const uchar *const before = image.constBits();
            const KXWBTransformation made(image, Balance::Auto, 100);
            QVERIFY(image.constBits() == before);
            QCOMPARE(made.Measurements().meanY, expected.Measurements().meanY);
            QCOMPARE(made.Tables(Balance::Auto).r, expected.Tables(Balance::Auto).r);
        }
    }

    /// The example of the header, and that each object works as its class does.
    void copies()
    {
        RGBA32iImage photo = cast(90, 40, 60, 90, 25).image(false);
        Picture expected = Picture::of(photo);
        const std::atomic<bool> &cancel = kit::noCancel;
        const std::function<void()> progress;
#include "KXWBTransformation-1.inc"

        // A copy has measurements of its own, and an assignment shares them, beyond the life of the object.
        KXIterativeWBTransformation last(row({ 1 }).image(false), Balance::OverExposure, 20);
        {
            const KXIterativeWBTransformation made(expected.image(false), Balance::Auto, 100);
            last = *&last;
            last = made;
            QVERIFY(&last.Measurements() == &made.Measurements());
            QVERIFY(&KXWBTransformation(last).Measurements() != &made.Measurements());
        }
        QCOMPARE(KXWBTransformation(last).Measurements().rect, QRect(0, 0, 90, 40));
        last.SetProcessingBuffer(expected.pixels.data());
        for (int i = 0; i < 90 * 40; ++i)
            last(i);
        COMPARE_PICTURE(Picture::of(photo), expected);
    }

    /// The object made last decides what all blocks go through, with the tables of the object that is called.
    void kernelOfTheLast()
    {
        SKIP_WITHOUT_MODULE();
        const KXWBTransformation first = balanced(cast(16, 16, 60, 90, 9), Balance::OverExposure, 70);
        const KXWBTransformation unknown = balanced(row({ 1 }), Balance(3)); // chooses nothing
        QVERIFY(first.HasKernel() && unknown.HasKernel());
        QCOMPARE(after(first), first.Tables(Balance::OverExposure)(pixel));
        for (const Balance function : functions) {
            KXWBTransformation::m_WhiteBalanceTransformationAVX2 = nullptr;
            QCOMPARE(after(first), pixel);
            const KXWBTransformation last = balanced(row({ 1 }), function), copy = first;
            QCOMPARE(after(first), first.Tables(function)(pixel));
            QCOMPARE(after(unknown), unknown.Tables(function)(pixel));
            OPRGBA32i single = pixel;
            copy(single);
            QCOMPARE(single, first.Tables(Balance::OverExposure)(pixel));
        }
        std::atomic<int> wrong { 0 };
        QVERIFY(kit::onPool(4, 12, [&] {
            for (const Balance function : functions) {
                const OPRGBA32i result = after(balanced(cast(16, 16, 60, 90, 9), function, 70));
                wrong += std::none_of(std::begin(functions), std::end(functions),
                    [&](Balance f) { return first.Tables(f)(pixel) == result; });
            }
        }));
        QCOMPARE(wrong.load(), 0);

        AVX2LIB::UseModule(nullptr);
        KXWBTransformation::m_WhiteBalanceAutoAVX2 = nullptr;
        balanced(row({ 1 })); // has no kernel to choose
        QCOMPARE(after(first), pixel);
    }
};

KXCORE_TEST_MAIN(TestWhiteBalance)
#include "tst_whitebalance.moc"
