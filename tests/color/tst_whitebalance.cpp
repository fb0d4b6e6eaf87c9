#include "kit/Kernels.h"

#include "KXWBTransformation.h"
#include "OPTransformImageColors.h"

#include <QtGui/QImage>

#include <array>
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

KXWBTransformation balanced(const Picture &picture, Balance function = Balance::Auto, int amount = 100)
{
    return { picture.image(false), function, amount };
}

/// Of a row of pixels.
KXWBTransformation balanced(std::initializer_list<unsigned> colours, Balance function = Balance::Auto, int amount = 100)
{
    Picture row(int(colours.size()), 1);
    std::copy(colours.begin(), colours.end(), row.pixels.begin());
    return balanced(row, function, amount);
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

/// The offsets of red and blue after the search for grey points.
std::pair<double, double> greyPoint(const Picture &picture, const WBData &data)
{
    using Colours = std::vector<std::array<double, 3>>; // blue, green, red
    const auto mean = [](const Colours &list, std::array<double, 3> weights) {
        double sum = 0;
        for (const auto &p : list)
            sum += weights[0] * p[0] + weights[1] * p[1] + weights[2] * p[2];
        return sum / double(list.size());
    };
    const std::array<double, 3> u { 0.436, -0.289, -0.147 }, v { -0.1, -0.515, 0.615 }, y { 0.114, 0.587, 0.299 };
    Colours kept;
    for (const OPRGBA32i p : picture.pixels) {
        const Colours one { { double(p.b), double(p.g), double(p.r) } };
        if (kept.size() < 2049 && std::abs(mean(one, u)) + std::abs(mean(one, v)) < 0.75 * (mean(one, y) + 0.00001))
            kept.push_back(one[0]);
    }
    double a = data.gainR / 10, c = data.gainB / 10, meanU = mean(kept, u), meanV = mean(kept, v);
    for (int step = 0; step < 256 && !kept.empty(); ++step) {
        std::abs(meanV) > std::abs(meanU) ? a -= meanV / 510 : c -= meanU / 510;
        Colours moved = kept;
        for (auto &p : moved)
            p = { std::floor(qBound(0.0, p[0] + 255 * c, 255.0)), std::floor(p[1] * qMin(data.gainG, 1.0)),
                std::floor(qBound(0.0, p[2] + 255 * a, 255.0)) };
        const double oldU = std::exchange(meanU, mean(moved, u)), oldV = std::exchange(meanV, mean(moved, v));
        if (std::abs(oldU - meanU) < 1e-7 && std::abs(oldV - meanV) < 1e-7)
            break;
    }
    return { a, c };
}

} // namespace

class TestWhiteBalance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Two pixels: red 200 and 100, green 100 and 60, blue 50 and 30.
    void measurements()
    {
        const auto made = balanced({ 0xFFC86432u, 0x00643C1Eu });
        const WBData &data = made.Measurements();
        const std::pair<double, double> expected[] = {
            { data.meanR, 150 }, { data.meanG, 80 }, { data.meanB, 40 }, { data.minR, 100 }, { data.minG, 60 },
            { data.minB, 30 }, { data.maxR, 200 }, { data.maxG, 100 }, { data.maxB, 50 }, { data.stdR, 50 },
            { data.stdG, 20 }, { data.stdB, 10 }, { data.minL, 55 }, // (59 * 60 + 30 * 30 + 11 * 100) / 100 is 55.4
            { data.maxL, 96 }, { data.hueShift, 354 }, // 15 - 60 * 40 / 110, and the 21.8 of that truncated
            { data.gainR, 8 / 15.0 }, { data.gainG, 4 / 3.0 }, { data.gainB, 8 / 3.0 }, { data.scaleG, 1 },
            { data.stretchLow, 30 }, { data.stretchHigh, 200 },
            { data.meanY, 16 + (65.481 * 150 + 128.553 * 80 + 24.966 * 40) / 255 },
            { data.meanCb, 128 + (112 * 40 - 74.203 * 80 - 37.797 * 150) / 255 },
            { data.meanCr, 128 + (112 * 150 - 93.786 * 80 - 18.214 * 40) / 255 },
            { data.mix, (40 + data.meanCr - data.meanCb) / 200 }, { data.keyY, data.meanY },
            { data.keyYCopy, data.meanY },
            { data.shadowLevel,
                std::floor(255 * std::pow(55 / 255.0, std::log(151 / 510.0) / std::log(data.meanY / 255))) },
            { data.highlightLevel, 255 * std::pow(96 / 255.0, (5.541263545158426 - std::log(80 / 3.0)) / 0.689233281) }
        };
        for (size_t i = 0; i < std::size(expected); ++i)
            QVERIFY2(isNear(expected[i].first, expected[i].second), qPrintable(QString::number(i)));
        QCOMPARE(data.rect, QRect(0, 0, 2, 1));
        const std::pair<unsigned, int> hues[] = { { 0xFF646464u, 15 }, { 0xFFFF0001u, 16 }, { 0xFF00FF00u, 255 },
            { 0xFF0000FFu, 135 }, { 0xFFFF00FFu, 75 }, { 0xFF00FF80u, 225 } };
        for (const auto &[colour, shift] : hues)
            QCOMPARE(balanced({ colour }).Measurements().hueShift, double(shift));
    }

    /// The two searches. Tones were found by another program, which moves ten pixels at a time in as many passes as it
    /// takes; the sum over i * table[i] stands for the table. 50 per cent is the straight line. For two pixels several
    /// curves are equally good, and the first one counts.
    void searches()
    {
        const std::tuple<Picture, int, int> expected[] = { { cast(1, 1, 100, 1, 0), 0, 8290560 },
            { cast(2, 1, 100, 60, 0), 47, 5802490 }, { cast(40, 40, 60, 30, 15), 35, 6827045 },
            { cast(90, 40, 40, 200, -20), 55, 5139020 }, { cast(64, 33, 150, 90, 40), 60, 4674399 },
            { cast(30, 20, 200, 50, -10), 80, 2157657 }, { cast(50, 50, 0, 250, 3), 50, 255 * 256 * 511 / 6 },
            { cast(40, 40, 0, 20, 0), 7, 8301465 }, { cast(30, 30, 0, 40, 0), 15, 8220339 },
            { cast(25, 25, 225, 30, 0), 90, 1104349 } };
        for (const auto &[picture, percent, sum] : expected) {
            const auto made = balanced(picture);
            const WBData &data = made.Measurements();
            int tableSum = 0;
            for (size_t i = 0; i < data.table.size(); ++i)
                tableSum += int(i) * data.table[i];
            QCOMPARE(data.keyPercent, percent);
            QCOMPARE(tableSum, sum);
            const auto [a, c] = greyPoint(picture, data);
            QVERIFY2(isNear(data.offsetR, a) && isNear(data.offsetB, c), qPrintable(QString::number(percent)));
            QCOMPARE(data.scaleG, qMin(data.gainG, 1.0));
        }
    }

    /// Without pixels nothing is measured, and the tone curve is the one of -1: stairs, as two points have one x.
    void nothingToMeasure()
    {
        const auto check = [](const KXWBTransformation &made) {
            const WBData &data = made.Measurements();
            QVERIFY(data.mix == 0 && data.key == 0 && data.keyPercent == 0 && data.stretchHigh == 0);
            QVERIFY(data.rect.isNull() && data.gainG == 0 && data.scaleG == 0 && data.hueShift == 0);
            QVERIFY(data.table[0] == 0 && std::count(data.table.begin() + 1, data.table.end(), 254) == 255);
        };
        for (const QSize size : { QSize(0, 0), QSize(5, 0), QSize(0, 5) })
            check({ RGBA32iImage(size.width(), size.height(), false), Balance::Auto, 100 });
        check({ QImage(), Balance::UnderExposure, 100 });
#ifdef QT_NO_DEBUG // a debug build asserts
        RGBA32iImage tiled = Picture(3, 3, 0xFF123456u).image(true);
        check({ tiled, Balance::Auto, 100 });
        tiled.SetFlatWindow(QSharedPointer<OPRGBA32i>::create(0xFF123456u), QRect(0, 0, 1, 1), {}, {});
        check({ tiled, Balance::Auto, 100 });
        OPRGBA32i same = pixel;
        balanced({ 1 }, Balance(3))(same);
        balanced({ 1 }, Balance(-1))(same);
        QCOMPARE(same, pixel);
#endif
    }

    void exposures()
    {
        for (const int amount : { 0, 1, 50, 100, 200, -30 }) {
            const auto made = balanced({ 0xFF102030u }, Balance::Auto, amount);
            for (int i = 0; i < 256; ++i) {
                const auto faded = [&](int to) { return uchar((to * amount + i * (100 - amount)) / 100); };
                QCOMPARE(made.Tables(Balance::OverExposure).r[size_t(i)], faded(i * i / 255));
                QCOMPARE(made.Tables(Balance::UnderExposure).b[size_t(i)], faded(255 - (255 - i) * (255 - i) / 256));
            }
        }
    }

    void automatic()
    {
        for (const int amount : { 0, 40, 100, 150 })
            for (const int red : { -30, 0, 20 }) {
                const auto made = balanced(cast(30, 20, 60, 90, red), Balance::Auto, amount);
                const WBData &d = made.Measurements();
                const auto check = [&](const auto &table, auto corrected, double low, double high, double mean) {
                    const auto limit = [](double v) { return qBound(0.0, v, 255.0); };
                    for (int i = 0; i < 256; ++i) {
                        const double place = (limit(corrected(i)) - low) / (high - low);
                        const double v = limit(d.meanY - mean + i) * (1 - d.mix)
                            + limit(place * d.stretchHigh + d.stretchLow) * d.mix;
                        const int n = (int(v) * amount * 2550 + i * (100 - amount) * 2550) / 255000;
                        QCOMPARE(table[size_t(i)], d.table[n & 255]);
                    }
                };
                const KXChannelTables &tables = made.Tables(Balance::Auto);
                check(
                    tables.r, [&](int i) { return d.offsetR * 255 + i; }, d.minR, d.maxR, d.meanR);
                check(
                    tables.g, [&](int i) { return i * d.scaleG; }, d.minG, d.maxG, d.meanG);
                check(
                    tables.b, [&](int i) { return d.offsetB * 255 + i; }, d.minB, d.maxB, d.meanB);
            }
        // Of one red every red is at an end; green of 0 is corrected to 0, so that all of its values are 0 divided by
        // 0: the smallest integer, of which an even multiple of 2^31 is 0 when it wraps.
        const auto flat = balanced({ 0xFFB40000u });
        const WBData &data = flat.Measurements();
        QCOMPARE(flat.Tables(Balance::Auto).g, KXChannelTables::Table());
        const double mixed = (data.meanY + 10) * (1 - data.mix) + 255 * data.mix; // of 190, to the right of 180
        QCOMPARE(flat.Tables(Balance::Auto).r[190], data.table[size_t(mixed)]);
        balanced({ 0xFFB40000u, 0 }, Balance::Auto, INT_MIN);
    }

    /// Any format, and rows further apart than they are long; nothing is detached.
    void qtImages()
    {
        const Picture picture = cast(37, 20, 60, 90, 12);
        const auto expected = balanced(picture);
        std::vector<uchar> bytes(20 * 160, 0xEE);
        for (int y = 0; y < 20; ++y)
            std::memcpy(&bytes[size_t(y) * 160], &picture.at(0, y), 148);
        const QImage padded(bytes.data(), 37, 20, 160, QImage::Format_ARGB32);
        QImage opaque = padded.copy();
        opaque.reinterpretAsFormat(QImage::Format_RGB32);
        for (const QImage &image : { padded, opaque, opaque.convertToFormat(QImage::Format_RGB888) }) {
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
        const KXWBTransformation balance(photo, KXWBTransformation::BalanceFunction::Auto, 100); // photo is flat
        OPIterativeTransformImageColors(balance, &photo, QRect(), cancel, progress)();

        // A copy has measurements of its own, and an assignment shares them, beyond the life of the object.
        KXIterativeWBTransformation last(cast(3, 3, 9, 9, 9).image(false), Balance::OverExposure, 20);
        {
            const auto copy = std::make_unique<KXIterativeWBTransformation>(expected.image(false), Balance::Auto, 100);
            KXIterativeWBTransformation assigned = last;
            assigned = *copy;
            assigned = *&assigned;
            last = assigned;
            QVERIFY(&last.Measurements() == &copy->Measurements());
            QVERIFY(&KXWBTransformation(last).Measurements() != &copy->Measurements());
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
        const KXWBTransformation unknown = balanced({ 0xFF102030u }, Balance(3));
        QVERIFY(first.HasKernel() && unknown.HasKernel());
        QCOMPARE(after(first), first.Tables(Balance::OverExposure)(pixel)); // the unknown one chose nothing
        for (const Balance function : functions) {
            const KXWBTransformation last = balanced({ 0xFF102030u }, function);
            const KXWBTransformation copy = first;
            QCOMPARE(after(first), first.Tables(function)(pixel));
            QCOMPARE(after(unknown), unknown.Tables(function)(pixel));
            OPRGBA32i single = pixel;
            first(single);
            QCOMPARE(single, first.Tables(Balance::OverExposure)(pixel));
        }
        std::atomic<int> wrong { 0 };
        QVERIFY(kit::onPool(4, 12, [&] {
            for (const Balance function : functions) {
                const KXWBTransformation made = balanced({ 0xFF102030u, 0xFFF0F0F0u }, function);
                wrong += std::none_of(std::begin(functions), std::end(functions),
                    [&, result = after(made)](Balance f) { return made.Tables(f)(pixel) == result; });
            }
        }));
        QCOMPARE(wrong.load(), 0);
        KXWBTransformation::m_WhiteBalanceTransformationAVX2 = nullptr;
        QCOMPARE(after(first), pixel);
        balanced({ 0xFF102030u }, Balance::UnderExposure);
        QCOMPARE(after(first), first.Tables(Balance::UnderExposure)(pixel));
    }
};

KXCORE_TEST_MAIN(TestWhiteBalance)
#include "tst_whitebalance.moc"
