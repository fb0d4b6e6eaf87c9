#include "kit/Kernels.h"
#include "kit/Picture.h"

#include "KXWBTransformation.h"
#include "OPTransformImageColors.h"

#include <QtGui/QImage>

#include <array>
#include <cmath>
#include <set>

namespace {

using Balance = KXWBTransformation::BalanceFunction;
using kit::Picture;

constexpr Balance functions[] = { Balance::Auto, Balance::OverExposure, Balance::UnderExposure };

Picture row(const std::vector<unsigned> &colours)
{
    Picture picture(int(colours.size()), 1);
    std::copy(colours.begin(), colours.end(), picture.pixels.begin());
    return picture;
}

/// Pixels around a colour, with a cast.
Picture cast(int w, int h, unsigned seed)
{
    QRandomGenerator random = kit::random(seed);
    const int base = random.bounded(30, 180), spread = random.bounded(2, 75), red = random.bounded(-30, 30);
    Picture picture(w, h);
    for (OPRGBA32i &pixel : picture.pixels) {
        const int grey = base + random.bounded(spread);
        pixel = kit::pixelOf([&](int c) { return qBound(0, grey + random.bounded(9) + (c - 1) * red, 255); });
    }
    return picture;
}

KXWBTransformation balanced(const Picture &picture, Balance function = Balance::Auto, int amount = 100)
{
    return { picture.image(false), function, amount };
}

bool isNear(double a, double b) { return std::abs(a - b) < 1e-9; }

/// The natural spline through points, in another precision, by elimination in a full matrix of second derivatives.
std::vector<int> splined(const std::vector<QPointF> &p)
{
    using Real = long double;
    Real m[5][6] = {}, x[5], y[5];
    for (int k = 0; k < 5; ++k)
        x[k] = p[size_t(k)].x(), y[k] = p[size_t(k)].y(), m[k][k] = 1;
    for (int k = 1; k < 4; ++k) {
        const Real below = x[k] - x[k - 1], above = x[k + 1] - x[k];
        m[k][k - 1] = below, m[k][k] = 2 * (below + above), m[k][k + 1] = above;
        m[k][5] = 6 * ((y[k + 1] - y[k]) / above - (y[k] - y[k - 1]) / below);
    }
    for (int k = 0; k < 5; ++k)
        for (int row = 0; row < 5; ++row)
            for (int column = 5; row != k && column >= k; --column)
                m[row][column] -= m[k][column] * m[row][k] / m[k][k];
    std::vector<int> table;
    for (int i = 0; i < 256; ++i) {
        int k = 0;
        while (k < 3 && x[k + 1] <= i)
            ++k;
        const Real h = x[k + 1] - x[k], a = (x[k + 1] - i) / h, b = (i - x[k]) / h;
        const Real low = m[k][5] / m[k][k], high = m[k + 1][5] / m[k + 1][k + 1];
        const Real value = a * y[k] + b * y[k + 1] + ((a * a * a - a) * low + (b * b * b - b) * high) * h * h / 6;
        table.push_back(qBound(0, int(std::trunc(value + 0.5L)), 255));
    }
    return table;
}

/// By quarters of the way to the ends, as steps of 0.255 are.
std::vector<int> toneCurve(double s)
{
    const double q = (s + 1) * 126.5 + 1;
    for (int lowered = 0, raised = 0;;) {
        const double low = lowered < 4 ? 1 - lowered * 0.255 : 0, high = raised < 4 ? 254 + raised * 0.255 : 255;
        const auto table = splined({ { 0, 0 }, { 1, low }, { q, 255 - q }, { 254, high }, { 255, 255 } });
        const auto fall = std::is_sorted_until(table.begin(), table.end()) - table.begin();
        if (fall == 256 || (lowered >= 4 && raised >= 4))
            return table;
        int &first = fall > 128 ? raised : lowered, &second = fall > 128 ? lowered : raised;
        if (++first >= 4)
            ++second;
    }
}

/// Which curve wins, with the passes that move ten pixels at a time.
int winner(const Picture &picture)
{
    std::array<double, 256> counts {}, left, stretched {};
    for (const OPRGBA32i p : picture.pixels)
        ++counts[size_t(59 * p.g + 30 * p.b + 11 * p.r) / 100];
    int first = 0, last = 255;
    for (; counts[size_t(first)] == 0; ++first) { }
    for (; counts[size_t(last)] == 0; --last) { }
    left = counts;
    for (bool isMore = last > first; isMore;) {
        isMore = false;
        for (int i = 0; i < 256; ++i) {
            double &from = left[size_t(qBound(0, int((i - first) / ((last - first) / 256.0)), 255))];
            isMore |= from > 10;
            const double moved = std::min(from, 10.0);
            from -= moved, stretched[size_t(i)] += moved;
        }
    }
    int best = 0;
    double bestScore = 0;
    for (int j = 0; j < 40; ++j) {
        const std::vector<int> curve = toneCurve(j * 0.0499 - 0.99);
        double a[8] = {}, b[8] = {}, sumA = 0, sumB = 0, sum = 0;
        for (size_t i = 0; i < 256; ++i) {
            a[i / 32] += stretched[i], b[curve[i] / 32] += counts[i];
            sumA += stretched[i], sumB += counts[i];
        }
        for (int i = 0; i < 8 && sumA > 0; ++i) {
            static const double weights[] = { 45, 22, 9, 3, 1, 3, 9, 22 };
            const double e = weights[i] * std::pow(a[i] - b[i], 2) / std::sqrt(sumA * sumB);
            sum += i % 7 == 0 && b[i] > 0.03 ? e * e : e;
        }
        if (sum != 0 && (bestScore == 0 || std::sqrt(sum) < bestScore))
            best = j, bestScore = std::sqrt(sum);
    }
    return best;
}

/// The offsets of red and blue after the search.
std::pair<double, double> greyPoint(const Picture &picture, const WBData &data)
{
    using Colours = std::vector<std::array<double, 3>>; // blue, green, red
    const auto u = [](const auto &p) { return 0.436 * p[0] - 0.147 * p[2] - 0.289 * p[1]; };
    const auto v = [](const auto &p) { return 0.615 * p[2] - 0.515 * p[1] - 0.1 * p[0]; };
    const auto mean = [](const Colours &list, auto of) {
        double sum = 0;
        for (const auto &p : list)
            sum += of(p);
        return sum / double(list.size());
    };
    Colours kept;
    for (const OPRGBA32i pixel : picture.pixels) {
        const std::array<double, 3> p { double(pixel.b), double(pixel.g), double(pixel.r) };
        const double y = 0.587 * p[1] + 0.299 * p[2] + 0.114 * p[0];
        if (kept.size() < 2049 && (std::abs(u(p)) + std::abs(v(p))) / (y + 0.00001) < 0.75)
            kept.push_back(p);
    }
    double a = data.gainR / 10, c = data.gainB / 10, meanU = mean(kept, u), meanV = mean(kept, v);
    for (int step = 0; step < 256 && !kept.empty() && meanU != meanV; ++step) {
        std::abs(meanV) > std::abs(meanU) ? a -= meanV / 510 : c -= meanU / 510;
        Colours moved = kept;
        for (auto &p : moved)
            p = { std::floor(qBound(0.0, p[0] + 255 * c, 255.0)), std::floor(p[1] * qMin(data.gainG, 1.0)),
                std::floor(qBound(0.0, p[2] + 255 * a, 255.0)) };
        const double oldU = std::exchange(meanU, mean(moved, u)), oldV = std::exchange(meanV, mean(moved, v));
        if (isNear(oldU, meanU) && isNear(oldV, meanV))
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
        const auto made = balanced(row({ 0xFFC86432u, 0x00643C1Eu }));
        const WBData &data = made.Measurements();
        const std::pair<double, double> expected[] = { { data.meanR, 150 }, { data.meanG, 80 }, { data.meanB, 40 },
            { data.minR, 100 }, { data.minG, 60 }, { data.minB, 30 }, { data.maxR, 200 }, { data.maxG, 100 },
            { data.maxB, 50 }, { data.stdR, 50 }, { data.stdG, 20 }, { data.stdB, 10 },
            { data.minL, 55 }, // (59 * 60 + 30 * 30 + 11 * 100) / 100 is 55.4
            { data.maxL, 96 }, { data.hueShift, 354 }, // 15 - 60 * 40 / 110, and the 21.8 of that truncated
            { data.gainR, 8 / 15.0 }, { data.gainG, 4 / 3.0 }, { data.gainB, 8 / 3.0 }, { data.scaleG, 1 },
            { data.stretchLow, 30 }, { data.stretchHigh, 200 },
            { data.meanY, 16 + (65.481 * 150 + 128.553 * 80 + 24.966 * 40) / 255 },
            { data.meanCb, 128 + (112 * 40 - 74.203 * 80 - 37.797 * 150) / 255 },
            { data.meanCr, 128 + (112 * 150 - 93.786 * 80 - 18.214 * 40) / 255 },
            { data.mix, (40 + data.meanCr - data.meanCb) / 200 }, { data.keyY, data.meanY },
            { data.keyYCopy, data.meanY } };
        for (size_t i = 0; i < std::size(expected); ++i)
            QVERIFY2(isNear(expected[i].first, expected[i].second), qPrintable(QString::number(i)));
        QCOMPARE(data.rect, QRect(0, 0, 2, 1));
        const double m = std::log(151 / 510.0);
        QCOMPARE(data.shadowLevel, std::floor(255 * std::pow(55 / 255.0, m / std::log(data.meanY / 255))));
        const double e = (5.541263545158426 - std::log(80 / 3.0)) / 0.689233281;
        QVERIFY(isNear(data.highlightLevel, 255 * std::pow(96 / 255.0, e)));

        const std::pair<unsigned, int> hues[] = { { 0xFF646464u, 15 }, { 0xFFFF0001u, 16 }, { 0xFF00FF00u, 255 },
            { 0xFF0000FFu, 135 }, { 0xFFFF00FFu, 75 }, { 0xFF00FF80u, 225 } };
        for (const auto &[colour, shift] : hues)
            QCOMPARE(balanced(row({ colour })).Measurements().hueShift, double(shift));
    }

    void greyPoints()
    {
        const Picture pictures[] = { row({ 0xFF643C1Eu, 0xFFC86432u }), row({ 0xFFC80000u, 0xFF00C800u }),
            row({ 0xFF404040u, 0xFFFFFFFFu, 0xFF101418u }), cast(8, 9, 1), cast(90, 40, 2), cast(64, 33, 3) };
        for (const Picture &picture : pictures) {
            const auto made = balanced(picture);
            const WBData &data = made.Measurements();
            const auto [a, c] = greyPoint(picture, data);
            QVERIFY2(isNear(data.offsetR, a) && isNear(data.offsetB, c), qPrintable(QString::number(a)));
            QCOMPARE(data.scaleG, qMin(data.gainG, 1.0));
        }
    }

    /// The example of the header.
    void example()
    {
        RGBA32iImage photo = cast(90, 40, 2).image(false);
        const Picture before = Picture::of(photo);
        const std::atomic<bool> &cancel = kit::noCancel;
        const std::function<void()> progress;
        const KXWBTransformation balance(photo, KXWBTransformation::BalanceFunction::Auto, 100); // photo is flat
        OPIterativeTransformImageColors(balance, &photo, QRect(), cancel, progress)();
        Picture expected = before;
        for (OPRGBA32i &pixel : expected.pixels)
            balance(pixel);
        COMPARE_PICTURE(Picture::of(photo), expected);
        QVERIFY(!kit::difference(expected, before).isEmpty());
    }

    /// The search for the tone curve, and what it finds. Of one tone, and of black and white, all curves make the same.
    void tones()
    {
        std::vector<Picture> pictures { row({ 0xFF646464u }), row({ 0xFF000000u, 0xFFFFFFFFu }) };
        QVERIFY(winner(pictures[0]) == 0 && winner(pictures[1]) == 0);
        for (unsigned seed = 0; seed < 14; ++seed)
            pictures.push_back(cast(1 + int(seed) * 5, 40, seed));
        std::set<int> found;
        for (const Picture &picture : pictures) {
            const auto made = balanced(picture);
            const int best = winner(picture);
            found.insert(best);
            QVERIFY(isNear(made.Measurements().key, best * 0.02495 + 0.005));
            QCOMPARE(made.Measurements().keyPercent, int(best * 2.495 + 0.5));
            const double s = (made.Measurements().keyPercent - 50) / 50.0;
            const auto &table = made.Measurements().table;
            QVERIFY(s == -1 || std::vector<int>(table.begin(), table.end()) == toneCurve(s));
        }
        QVERIFY(found.size() > 4);
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
        check({ Picture(3, 3, 0xFF123456u).image(true), Balance::Auto, 100 });
        OPRGBA32i pixel(0x12345678u);
        balanced(row({ 1 }), Balance(3))(pixel);
        balanced(row({ 1 }), Balance(-1))(pixel);
        QCOMPARE(pixel, OPRGBA32i(0x12345678u));
#endif
    }

    void exposures()
    {
        const auto mapped = [](Balance function, int value) {
            OPRGBA32i pixel(unsigned(value) * 0x010101u);
            balanced(row({ 0xFF102030u }), function)(pixel);
            return int(pixel.word >> 8);
        };
        for (const auto &[from, to] : { std::pair(255, 255), { 128, 64 }, { 16, 1 } })
            QCOMPARE(mapped(Balance::OverExposure, from), to * 0x0101);
        for (const auto &[from, to] : { std::pair(0, 1), { 255, 255 }, { 128, 192 } }) // 127 * 127 / 256 is 63.004
            QCOMPARE(mapped(Balance::UnderExposure, from), to * 0x0101);
        for (const int amount : { 0, 1, 50, 100, 200, -30 })
            for (int i = 0; i < 256; ++i) {
                const auto made = balanced(row({ 0xFF102030u }), Balance::Auto, amount);
                const auto faded = [&](int to) { return uchar((to * amount + i * (100 - amount)) / 100); };
                QCOMPARE(made.Tables(Balance::OverExposure).r[size_t(i)], faded(i * i / 255));
                QCOMPARE(made.Tables(Balance::UnderExposure).b[size_t(i)], faded(255 - (255 - i) * (255 - i) / 256));
            }
    }

    void automatic()
    {
        for (const int amount : { 0, 40, 100, 150 })
            for (unsigned seed = 0; seed < 6; ++seed) {
                const auto made = balanced(cast(30, 20, seed), Balance::Auto, amount);
                const WBData &d = made.Measurements();
                const auto check = [&](const auto &table, auto corrected, double low, double high, double mean) {
                    const auto limit = [](double v) { return qBound(0.0, v, 255.0); };
                    for (int i = 0; i < 256; ++i) {
                        const double stretched =
                            (limit(corrected(i)) - low) / (high - low) * d.stretchHigh + d.stretchLow;
                        const double v = limit(d.meanY - mean + i) * (1 - d.mix) + limit(stretched) * d.mix;
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
        const auto flat = balanced(row({ 0xFFB40000u }));
        const WBData &data = flat.Measurements();
        QVERIFY(data.offsetR == 0 && data.scaleG == 0 && data.minR == data.maxR);
        QCOMPARE(flat.Tables(Balance::Auto).g, KXChannelTables::Table());
        const double mixed = (data.meanY + 10) * (1 - data.mix) + 255 * data.mix; // of 190, to the right of 180
        QCOMPARE(flat.Tables(Balance::Auto).r[190], data.table[size_t(qMin(int(mixed), 255))]);
        balanced(row({ 0xFFB40000u, 0 }), Balance::Auto, INT_MIN);
    }

    void qtImages()
    {
        const Picture picture = cast(37, 20, 5);
        const auto expected = balanced(picture);
        std::vector<uchar> bytes(20 * 160, 0xEE); // rows of 37 pixels and 12 bytes more
        for (int y = 0; y < 20; ++y)
            std::memcpy(&bytes[size_t(y) * 160], &picture.at(0, y), 148);
        const QImage padded(bytes.data(), 37, 20, 160, QImage::Format_ARGB32);
        QImage opaque = padded.copy();
        opaque.reinterpretAsFormat(QImage::Format_RGB32);
        const QImage others[] = { padded, opaque, opaque.convertToFormat(QImage::Format_RGB888),
            opaque.convertToFormat(QImage::Format_ARGB32_Premultiplied) };
        for (const QImage &image : others) {
            const QImage shared = image;
            const uchar *const before = image.constBits();
            const KXWBTransformation made(shared, Balance::Auto, 100);
            QVERIFY(image.constBits() == before && shared.constBits() == before);
            QCOMPARE(made.Measurements().meanY, expected.Measurements().meanY);
            QCOMPARE(made.Measurements().table, expected.Measurements().table);
            for (const auto channel : { &KXChannelTables::r, &KXChannelTables::g, &KXChannelTables::b })
                QCOMPARE(made.Tables(Balance::Auto).*channel, expected.Tables(Balance::Auto).*channel);
        }
    }

    /// A copy measures on its own, an assignment shares; both outlive where they came from.
    void copies()
    {
        auto first = std::make_unique<KXWBTransformation>(balanced(cast(9, 9, 6)));
        const auto tables = first->Tables(Balance::Auto);
        const KXWBTransformation copy(*first);
        KXWBTransformation assigned = balanced(row({ 0xFF102030u }), Balance::OverExposure, 20), again = assigned;
        assigned = *first;
        again = assigned;
        again = *&again;
        QVERIFY(&assigned.Measurements() == &first->Measurements() && &again.Measurements() == &first->Measurements());
        QVERIFY(&copy.Measurements() != &first->Measurements());
        first.reset();
        for (const KXWBTransformation &other : { copy, assigned, again }) {
            QCOMPARE(other.Measurements().rect, QRect(0, 0, 9, 9));
            OPRGBA32i pixel(0x80643C1Eu);
            other(pixel);
            QCOMPARE(pixel, tables(OPRGBA32i(0x80643C1Eu)));
        }
        OPRGBA32i pixels[] = { 0xFF646464u, 0xFF808080u };
        KXIterativeWBTransformation indexed(row({ 0xFF102030u }).image(false), Balance::OverExposure, 100);
        indexed.SetProcessingBuffer(pixels);
        indexed(1);
        QVERIFY(pixels[0] == OPRGBA32i(0xFF646464u) && pixels[1] == OPRGBA32i(0xFF404040u));
    }

    /// The object made last decides what all blocks go through, with the tables of the object that is called.
    void kernelOfTheLast()
    {
        SKIP_WITHOUT_MODULE();
        const Picture picture = cast(16, 16, 7);
        const KXWBTransformation first = balanced(picture, Balance::OverExposure, 70);
        const KXWBTransformation unknown = balanced(picture, Balance(3));
        QVERIFY(first.HasKernel() && unknown.HasKernel());
        const auto after = [](const KXWBTransformation &object) {
            kit::Line pixels(blocks::length, 0x01643C1Eu);
            object(reinterpret_cast<unsigned char *>(pixels.data()), blocks::flag);
            return pixels.back();
        };
        const OPRGBA32i pixel(0x01643C1Eu);
        QCOMPARE(after(first), first.Tables(Balance::OverExposure)(pixel)); // the unknown one chose nothing
        for (const Balance function : functions) {
            const KXWBTransformation last = balanced(row({ 0xFF102030u }), function);
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
                const KXWBTransformation made = balanced(row({ 0xFF102030u, 0xFFF0F0F0u }), function);
                wrong += std::none_of(std::begin(functions), std::end(functions),
                    [&, result = after(made)](Balance f) { return made.Tables(f)(pixel) == result; });
            }
        }));
        QCOMPARE(wrong.load(), 0);
        KXWBTransformation::m_WhiteBalanceTransformationAVX2 = [](const auto &, unsigned char *, bool) {};
        QCOMPARE(after(first), pixel);
        balanced(picture, Balance::UnderExposure);
        QCOMPARE(after(first), first.Tables(Balance::UnderExposure)(pixel));
    }
};

KXCORE_TEST_MAIN(TestWhiteBalance)
#include "tst_whitebalance.moc"
