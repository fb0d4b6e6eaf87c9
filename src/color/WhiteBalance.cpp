#include "WhiteBalance.h"

#include "Spline.h"
#include "Tables.h"
#include "support/Arithmetic.h"

#include <QtCore/QPointF>

#include <algorithm>
#include <cmath>

// The order of the floating-point operations is part of the results, here as in all of the folder.

namespace {

using arithmetic::truncate;
using color::limited;
using Table = KXChannelTables::Table;
using Histogram = std::array<qint64, 256>;

/// Calls @p use on each pixel, row by row.
template <class Use>
void forEachPixel(const color::MeasuredPixels &picture, Use use)
{
    for (int y = 0; y < picture.height; ++y) {
        const OPRGBA32i *const row = picture.rows.Row(y);
        for (int x = 0; x < picture.width; ++x)
            use(row[x]);
    }
}

struct Histograms {
    Histogram l {}, r {}, g {}, b {};
};

/// Red and blue have each other's usual weights in the luminance. That is intended.
Histograms counted(const color::MeasuredPixels &picture)
{
    Histograms counts;
    forEachPixel(picture, [&counts](OPRGBA32i p) {
        ++counts.r[p.r], ++counts.g[p.g], ++counts.b[p.b];
        ++counts.l[(59u * p.g + 30u * p.b + 11u * p.r) / 100u];
    });
    return counts;
}

/// The lowest and the highest bin that is not empty, both 0 where all are.
void setExtent(const Histogram &counts, double &lowest, double &highest)
{
    const auto isFilled = [](qint64 count) { return count > 0; };
    const auto first = std::find_if(counts.begin(), counts.end(), isFilled);
    if (first == counts.end())
        return;
    lowest = double(first - counts.begin());
    highest = double(counts.rend() - std::find_if(counts.rbegin(), counts.rend(), isFilled) - 1);
}

double meanOf(const Histogram &counts, double pixelCount)
{
    qint64 sum = 0; // of up to 255 * 2^53, exact as a double up to 2^45 pixels
    for (int i = 0; i < 256; ++i)
        sum += i * counts[size_t(i)];
    return double(sum) / pixelCount;
}

/// In degrees, as HSV has it; 0 for a grey.
double hueOf(int r, int g, int b)
{
    const int most = std::max({ r, g, b });
    const double d = most - std::min({ r, g, b });
    if (d == 0)
        return 0;
    const double hue = most == r ? 60 * ((g - b) / d) : most == g ? 60 * ((b - r) / d + 2) : 60 * ((r - g) / d + 4);
    return hue < 0 ? hue + 360 : hue;
}

/// What a pixel adds to the six sums of the second pass: Y, Cb, Cr, and the squared distance of each channel from its
/// mean.
///
/// The first three have one form, a term of red plus one of green, plus one of blue, plus a constant: products are
/// taken negative where the formulas subtract them, which changes no bit. So has the square of red, with terms of 0.
/// The terms of each value of a channel stand in tables, and the sums run side by side, each in the order of pixels.
struct Terms {
    using Four = std::array<double, 4>;

    struct Sums {
        Four ofFour {}; ///< Y, Cb, Cr, squares of red
        double squaresG = 0, squaresB = 0;
    };

    explicit Terms(const WBData &data)
    {
        const auto square = [](double distance) { return distance * distance; };
        for (size_t k = 0; k < 256; ++k) {
            const double i = double(k);
            r[k] = { 0.2567882352941176 * i, -0.1482235294117647 * i, 0.4392156862745098 * i, square(i - data.meanR) };
            g[k] = { 0.5041294117647058 * i, -0.2909921568627451 * i, -0.36778823529411764 * i, 0 };
            b[k] = { 0.09790588235294118 * i, 0.4392156862745098 * i, -0.07142745098039215 * i, 0 };
            squareG[k] = square(i - data.meanG);
            squareB[k] = square(i - data.meanB);
        }
    }

    Sums SumsOver(const color::MeasuredPixels &picture) const
    {
        constexpr Four constant { 16, 128, 128, 0 };
        Sums sums;
        forEachPixel(picture, [&](OPRGBA32i p) {
            const Four &red = r[p.r], &green = g[p.g], &blue = b[p.b];
            for (size_t k = 0; k < 4; ++k)
                sums.ofFour[k] += red[k] + green[k] + blue[k] + constant[k];
            sums.squaresG += squareG[p.g];
            sums.squaresB += squareB[p.b];
        });
        return sums;
    }

    std::array<Four, 256> r, g, b;
    std::array<double, 256> squareG, squareB;
};

void measureSpreads(const color::MeasuredPixels &picture, double pixelCount, WBData &data)
{
    const auto [ofFour, squaresG, squaresB] = Terms(data).SumsOver(picture);
    const auto [y, cb, cr, squaresR] = ofFour;
    data.meanY = y / pixelCount;
    data.meanCb = cb / pixelCount;
    data.meanCr = cr / pixelCount;
    data.stdR = std::sqrt(squaresR / pixelCount);
    data.stdG = std::sqrt(squaresG / pixelCount);
    data.stdB = std::sqrt(squaresB / pixelCount);

    const double sum = data.stdR + data.stdG + data.stdB;
    const auto gain = [sum](double deviation) { return deviation != 0 ? 0.3333333333333333 / deviation * sum : 0.0; };
    data.gainR = gain(data.stdR);
    data.gainG = gain(data.stdG);
    data.gainB = gain(data.stdB);

    const auto [least, most] = std::minmax({ data.stdR, data.stdG, data.stdB });
    data.mix = (std::abs(most - least) + std::abs(data.meanCb - data.meanCr)) * 0.005;
    data.stretchLow = std::min({ data.minR, data.minG, data.minB });
    data.stretchHigh = std::max({ data.maxR, data.maxG, data.maxB });
}

struct Chroma {
    double u = 0, v = 0;
};

Chroma chromaOf(OPRGBA32i p)
{
    const double r = p.r, g = p.g, b = p.b;
    return { 0.436 * b - 0.147 * r - 0.289 * g, 0.615 * r - 0.515 * g - 0.1 * b };
}

/// Whether (|V| + |U|) / (Y + 0.00001) is below 0.75, with Y = 0.587 g + 0.299 r + 0.114 b.
///
/// In thousandths U, V and Y are whole numbers, and of them that asks whether 4 (|V| + |U|) <= 3 Y. Where the two
/// sides are equal, the quotient is 0.75 Y / (Y + 0.01), at least 2.9e-8 below 0.75; where the left one is larger, the
/// quotient is at least 9e-7 above. Its rounding, of some 1e-14, does not decide. No number here reaches 2^24, so that
/// single precision is exact.
bool isNearlyGrey(OPRGBA32i p)
{
    const float r = float(p.word >> 16 & 255), g = float(p.word >> 8 & 255), b = float(p.word & 255);
    const float u = 436 * b - 147 * r - 289 * g, v = 615 * r - 515 * g - 100 * b;
    return 4 * (std::abs(v) + std::abs(u)) <= 3 * (587 * g + 299 * r + 114 * b);
}

/// The first pixels of little colour, at most 2049.
std::vector<OPRGBA32i> nearlyGreyPixels(const color::MeasuredPixels &picture)
{
    constexpr size_t most = 2049;
    constexpr int stretch = 64; // pixels that are looked at side by side, as where none of them counts is seen sooner
    std::vector<OPRGBA32i> found;
    found.reserve(most);
    for (int y = 0; y < picture.height; ++y) {
        const OPRGBA32i *const row = picture.rows.Row(y);
        for (int x = 0; x < picture.width; x += stretch) {
            const int end = x + std::min(stretch, picture.width - x);
            int count = 0;
            for (int i = x; i < end; ++i)
                count += isNearlyGrey(row[i]);
            for (int i = x; count > 0; ++i)
                if (isNearlyGrey(row[i])) {
                    found.push_back(row[i]);
                    --count;
                    if (found.size() == most)
                        return found;
                }
        }
    }
    return found;
}

/// The mean chroma of what @p corrected makes of pixels.
template <class Corrected>
Chroma meanChroma(const std::vector<OPRGBA32i> &pixels, Corrected corrected)
{
    Chroma sum;
    for (const OPRGBA32i pixel : pixels) {
        const Chroma chroma = chromaOf(corrected(pixel));
        sum.u += chroma.u, sum.v += chroma.v;
    }
    return { sum.u / double(pixels.size()), sum.v / double(pixels.size()) };
}

/// Searches for offsets of red and blue by which the first pixels of little colour become grey in the mean. Each step
/// corrects those pixels as they are in the picture, not what the step before made of them.
void findGreyPoint(const color::MeasuredPixels &picture, WBData &data)
{
    const std::vector<OPRGBA32i> nearlyGrey = nearlyGreyPixels(picture);
    double &a = data.offsetR = data.gainR * 0.1, &c = data.offsetB = data.gainB * 0.1;
    data.scaleG = limited(data.gainG, 0.0, 1.0);
    if (nearlyGrey.empty())
        return;
    const auto byte = [](double v) { return static_cast<unsigned char>(truncate(limited(v))); };
    Chroma chroma = meanChroma(nearlyGrey, [](OPRGBA32i p) { return p; });
    for (int step = 0; step < 256 && chroma.u != chroma.v; ++step) {
        constexpr double per510 = -0.00196078431372549;
        if (std::abs(chroma.v) > std::abs(chroma.u))
            a += chroma.v * per510;
        else
            c += chroma.u * per510;
        const Chroma before = chroma;
        chroma = meanChroma(nearlyGrey, [&, r = a * 255, b = c * 255](OPRGBA32i p) {
            return OPRGBA32i(byte(b + p.b), byte(p.g * data.scaleG), byte(p.r + r), p.a);
        });
        if (std::abs(before.u - chroma.u) < 0.0000001 && std::abs(before.v - chroma.v) < 0.0000001)
            return;
    }
}

/// Nothing reads these; they are part of what is measured.
void findLevels(WBData &data)
{
    const double m = std::log((data.minL + data.maxL) * 0.00196078431372549);
    if (m == 0)
        return;
    const auto shadow = [&](double y) {
        const double exponent = 1 / (std::log(y * color::perByte) / m);
        return truncate(std::pow(data.minL * color::perByte, exponent) * 255);
    };
    data.shadowLevel = std::min(shadow(data.meanY), shadow(data.keyYCopy));
    const double spread = std::log((data.stdR + data.stdG + data.stdB) * 0.3333333333333333);
    const double exponent = 1 / (-0.689233281 / (spread - 5.541263545158426));
    data.highlightLevel = std::pow(data.maxL * color::perByte, exponent) * 255;
}

/// The curve through (0, 0), (1, low), (q, 255 - q), (254, high) and (255, 255).
Table splineTable(double q, double low, double high)
{
    const std::array<QPointF, 5> points { QPointF(0, 0), { 1, low }, { q, 255 - q }, { 254, high }, { 255, 255 } };
    double cubic[5] = {}, quadratic[5] = {}, linear[5] = {};
    color::buildSpline(points, cubic, quadratic, linear);
    return color::tableOf(
        [&](int x) { return arithmetic::clamp8(color::splineValue(x, points, cubic, quadratic, linear)); });
}

/// From -1, which lightens shadows, to 1, which darkens lights. While the curve falls somewhere, the second point moves
/// down or the last but one up, or both. Each of them reaches its end in four steps, and with both there the loop is
/// over: it has at most nine rounds, whatever @p s is.
Table toneCurve(double s)
{
    constexpr double step = 0.255;
    const double q = limited((s + 1.0) * 126.5 + 1.0);
    double low = 1, high = 254;
    const auto lower = [&] { low = limited(low - step); };
    const auto raise = [&] { high = limited(high + step); };
    for (;;) {
        const Table table = splineTable(q, low, high);
        const auto fall = std::is_sorted_until(table.begin(), table.end());
        if (fall == table.end() || (low == 0 && high == 255))
            return table;
        if (fall - table.begin() > 128) {
            raise();
            if (high == 255)
                lower();
        } else {
            lower();
            if (low == 0)
                raise();
        }
    }
}

using Bins = std::array<double, 8>; ///< a histogram in eighths; whole numbers, but for the type

double distanceOf(const Bins &a, const Bins &b)
{
    double sumA = 0, sumB = 0, sum = 0;
    for (size_t i = 0; i < 8; ++i)
        sumA += a[i], sumB += b[i];
    const double norm = std::sqrt(sumA * sumB);
    if (!(norm > 0))
        return 0;
    for (int i = 0; i < 8; ++i) {
        const int d = i - 4;
        const double difference = a[size_t(i)] - b[size_t(i)];
        const double e = (std::abs(d) + 1) * (d * d * 0.5 + 1) * (difference * difference) / norm;
        const bool isMassAtEnd = (i == 0 || i == 7) && b[size_t(i)] > 0.03;
        sum += isMassAtEnd ? e * e : e;
    }
    return std::sqrt(sum);
}

/// The histogram stretched to all of the range: bin i gets what bin j = (i - first) / s0 has, cut to 0..255. No two i
/// get the same pixels, as s0 is below 1: j grows by more than 1 with each i. What is cut to 0 are the i below first,
/// and with such i bin 0 is empty; what is cut to 255 or more is i = last where that is 255, and otherwise bin 255 is
/// empty.
Bins stretched(const Histogram &counts)
{
    double first = 0, last = 0;
    setExtent(counts, first, last);
    const double s0 = (last - first) / 256;
    Bins bins {};
    if (s0 == 0)
        return bins;
    for (int i = 0; i < 256; ++i) {
        const int j = arithmetic::clamp8(truncate((i - first) / s0));
        bins[size_t(i / 32)] += double(counts[size_t(j)]);
    }
    return bins;
}

/// Which tone curve brings the histogram closest to a stretched one, in 0..1.
double toneKey(const Histogram &counts)
{
    constexpr size_t tries = 40;
    static const auto curves = [] { // the same for every picture
        std::array<Table, tries> tables;
        for (size_t j = 0; j < tries; ++j)
            tables[j] = toneCurve(double(j) * 0.0499 - 0.99);
        return tables;
    }();
    const Bins target = stretched(counts);
    size_t best = 0;
    double bestScore = 0;
    for (size_t j = 0; j < tries; ++j) {
        Bins carried {};
        for (size_t i = 0; i < 256; ++i)
            carried[curves[j][i] / 32u] += double(counts[i]);
        const double score = distanceOf(target, carried);
        if (score != 0 && (bestScore == 0 || score < bestScore))
            best = j, bestScore = score;
    }
    return limited(double(best) * 0.02495 + 0.005, 0.0, 1.0);
}

} // namespace

WBData color::measured(const MeasuredPixels &picture)
{
    WBData data;
    if (picture.rows.first && picture.width > 0 && picture.height > 0) {
        const double pixelCount = double(picture.width) * picture.height;
        const Histograms counts = counted(picture);
        setExtent(counts.l, data.minL, data.maxL);
        setExtent(counts.r, data.minR, data.maxR);
        setExtent(counts.g, data.minG, data.maxG);
        setExtent(counts.b, data.minB, data.maxB);
        data.meanR = meanOf(counts.r, pixelCount);
        data.meanG = meanOf(counts.g, pixelCount);
        data.meanB = meanOf(counts.b, pixelCount);
        data.hueShift = 15 - truncate(hueOf(truncate(data.meanR), truncate(data.meanG), truncate(data.meanB)));
        if (data.hueShift < 0)
            data.hueShift += 360;
        measureSpreads(picture, pixelCount, data);
        findGreyPoint(picture, data);
        data.rect = QRect(0, 0, picture.width, picture.height);
        data.keyY = data.keyYCopy = data.meanY;
        findLevels(data);
        data.key = toneKey(counts.l);
    }
    data.keyPercent = truncate(data.key * 100.0);
    const Table table = toneCurve(limited((data.keyPercent - 50.0) * 0.02, -1.0, 1.0));
    data.table.assign(table.begin(), table.end());
    return data;
}
