#include "KXResizeImage.h"
#include "kit/Images.h"
#include "kit/Table.h"
#include "transform/ResizeTables.h"

#include <cmath>

using kit::Picture, transform::ResizeFilter, transform::ResizeTable;
using Coefficients = std::vector<std::pair<int, std::vector<short>>>; ///< of each result: its first sample, and they

Q_DECLARE_METATYPE(Coefficients)
Q_DECLARE_METATYPE(KXResizeType)

namespace {

constexpr ResizeFilter box { transform::boxWeight, 0.5f }, lanczos { transform::lanczos3Weight, 3.0f };

const ResizeFilter &filterOf(KXResizeType type) { return type == KXResizeBox ? box : lanczos; }

Picture resized(const RGBA32iImage &source, QSize size, KXResizeType type)
{
    RGBA32iImage result(size.width(), size.height(), false);
    return KXResizeImage(source, result, type) ? Picture::of(result) : Picture(0, 0);
}

/// A line of a picture as the table makes it, in whole numbers.
std::vector<OPRGBA32i> byTable(const std::vector<OPRGBA32i> &line, const ResizeTable &table)
{
    std::vector<OPRGBA32i> result;
    for (const transform::ResizeTaps &taps : table.taps)
        result.push_back(kit::pixelOf([&](int c) {
            qint64 sum = 8192;
            for (int k = 0; k < taps.count; ++k)
                sum += qint64(kit::channel(line[size_t(taps.firstSample + k)], c))
                    * table.coefficients[taps.firstCoefficient + size_t(k)];
            return int(qBound(qint64(0), sum >> 14, qint64(255)));
        }));
    return result;
}

Coefficients coefficientsOf(const ResizeTable &table)
{
    Coefficients result;
    for (const auto &[first, sample, count] : table.taps) {
        const short *const begin = table.coefficients.data() + first;
        result.push_back({ sample, { begin, begin + count } });
    }
    return result;
}

/// sin(pi x) / (pi x) * sin(pi x / 3) / (pi x / 3), within three lobes.
double sinc3(double x)
{
    const double a = M_PI * x;
    return std::abs(x) >= 3 ? 0 : x == 0 ? 1 : 3 * std::sin(a) * std::sin(a / 3) / (a * a);
}

} // namespace

/// KXResizeImage.
class TestResize : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tables_data()
    {
        const kit::Table<KXResizeType, int, int, Coefficients> table("type", "from", "to", "expected");
        const short one = 16384, half = 8192;
        table.row("box, 2: repeats", KXResizeBox, 3, 6,
            { { 0, { one } }, { 0, { one } }, { 1, { one } }, { 1, { one } }, { 2, { one } }, { 2, { one } } });
        table.row("box, 1/2: zeros are cut off", KXResizeBox, 4, 2, { { 0, { half, half } }, { 2, { half, half } } });
        table.row("box, 2/3: an edge at 0.5 belongs to both", KXResizeBox, 3, 2,
            { { 0, { half, half } }, { 1, { half, half } } });
        table.row("box, 1/3: 5461.8 each, and the remainder in the middle", KXResizeBox, 3, 1,
            { { 0, { 5461, 5462, 5461 } } });
        // The middle is that of the samples 0 to 4, before the last one of weight 0 is cut off.
        table.row("box, 2/7: the middle before cutting", KXResizeBox, 7, 2,
            { { 0, { 5461, 5461, 5462 } }, { 3, { 4096, 4096, 4096, 4096 } } });
        // What follows was computed elsewhere, in single precision step by step.
        table.row("lanczos, 3/2: cut at the edge", KXResizeLanczos3, 2, 3,
            { { 0, { 18418, -2034 } }, { 0, { half, half } }, { 0, { -2033, 18417 } } });
        table.row("lanczos, 2/3: widened", KXResizeLanczos3, 3, 2,
            { { 0, { 10713, 6853, -1182 } }, { 0, { -1182, 6853, 10713 } } });
        table.row("lanczos, 1/2", KXResizeLanczos3, 8, 4,
            { { 0, { 7728, 7728, 2346, -1153, -590, 261, 64 } },
                { 0, { -1078, 2195, 7230, 7230, 2191, -1078, -550, 244 } },
                { 0, { 244, -550, -1078, 2195, 7226, 7230, 2195, -1078 } },
                { 1, { 64, 261, -588, -1155, 2346, 7728, 7728 } } });
        table.row("lanczos, 1: the others are below a step", KXResizeLanczos3, 4, 4,
            { { 0, { one } }, { 1, { one } }, { 2, { one } }, { 3, { one } } });
        table.row(
            "lanczos, a single sample", KXResizeLanczos3, 1, 3, { { 0, { one } }, { 0, { one } }, { 0, { one } } });
    }
    void tables()
    {
        QFETCH(KXResizeType, type);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(Coefficients, expected);
        QVERIFY(coefficientsOf(ResizeTable(from, to, filterOf(type))) == expected);
    }

    /// Results for which double precision or another order of operations has other coefficients: in the weights, their
    /// sum and the division by it, in the centre, in the width of the window, and in where that ends. Computed
    /// elsewhere, step by step.
    void singlePrecision()
    {
        const auto check = [](int from, int to, size_t i, const Coefficients::value_type &expected) {
            QVERIFY(coefficientsOf(ResizeTable(from, to, lanczos)).at(i) == expected);
        };
        check(60, 43, 22, { 27, { 61, 160, -1733, 4891, 11669, 2564, -1574, 341, 5 } });
        check(11, 41, 33, { 6, { 423, -2315, 10531, 9986, -2241 } });
        check(8, 7, 0, { 0, { 14547, 2818, -1275, 294 } });
    }

    /// Whatever the lengths are, coefficients add up to 1.0, begin and end with another than 0, and meet the line.
    void allTables()
    {
        const auto check = [](int from, int to, const ResizeFilter &filter) {
            const ResizeTable table(from, to, filter);
            QCOMPARE(table.taps.size(), size_t(to));
            for (const auto &[first, sample, count] : table.taps) {
                const short *const begin = table.coefficients.data() + first;
                QVERIFY(count > 0 && sample >= 0 && sample <= from - count && begin[0] != 0 && begin[count - 1] != 0);
                QCOMPARE(std::accumulate(begin, begin + count, 0), 16384);
            }
        };
        for (const ResizeFilter &filter : { box, lanczos }) {
            for (int from = 1; from < 40; ++from)
                for (int to = 1; to < 40; ++to)
                    check(from, to, filter);
            check(3, 20000, filter);
            check(20000, 3, filter);
            check(1000000, 1, filter); // no weight is as much as a step
        }
        check(4233259, 8550252, box); // the last window begins behind the last sample
        check((1 << 23) + 9, 2000, box);
        // Beyond 2^23 there are no halves: a centre at an odd number is a whole sample away from those on both sides.
        check((1 << 23) + 2000, (1 << 23) + 1000, box);
    }

    /// Lines of every length, for whole vectors and what is left of them, along rows and along columns.
    void lines()
    {
        for (const KXResizeType type : { KXResizeBox, KXResizeLanczos3 })
            for (const auto &[from, to] : { std::pair(1, 9), { 2, 5 }, { 7, 7 }, { 9, 1 }, { 33, 16 }, { 40, 21 },
                     { 60, 91 }, { 137, 68 }, { 300, 23 }, { 700, 1050 }, { 1037, 1 }, { 20, 1100 } })
                for (int other = 1; other < 20; other += 1 + other / 9) {
                    const ResizeTable table(from, to, filterOf(type));
                    const Picture wide = Picture::random(from, other, quint32(from)), rows(to, other),
                                  columns(other, to);
                    Picture high(other, from), expectedRows = rows, expectedColumns = columns;
                    for (int line = 0; line < other; ++line) {
                        std::vector<OPRGBA32i> source;
                        for (int i = 0; i < from; ++i)
                            source.push_back(high.at(line, i) = wide.at(i, line));
                        const auto result = byTable(source, table);
                        for (int i = 0; i < to; ++i)
                            expectedRows.at(i, line) = expectedColumns.at(line, i) = result[size_t(i)];
                    }
                    const QString where = QString("%1 to %2, %3 lines").arg(from).arg(to).arg(other);
                    VERIFY_SAME_AT(
                        kit::difference(resized(wide.image(false), { to, other }, type), expectedRows), where);
                    VERIFY_SAME_AT(
                        kit::difference(resized(high.image(false), { other, to }, type), expectedColumns), where);
                }
    }

    /// A result lies as near to the weighted sum of real numbers as coefficients of 16384ths let it: half of a step,
    /// and for each of its samples up to a 16384th of it, which the middle one gives back.
    void realNumbers()
    {
        for (const auto &[from, to] : { std::pair(90, 45), { 90, 31 }, { 90, 7 }, { 30, 45 }, { 30, 299 } }) {
            const double scale = double(to) / from, widening = std::min(scale, 1.0), reach = 3 / widening;
            const Picture source = Picture::random(from, 1, quint32(to));
            const Picture result = resized(source.image(false), { to, 1 }, KXResizeLanczos3);
            for (int i = 0; i < to; ++i)
                for (int c = 0; c < 4; ++c) {
                    double sum = 0, weights = 0;
                    int count = 0;
                    for (int j = 0; j < from; ++j) {
                        const double distance = j + 0.5 - (i + 0.5) / scale, weight = sinc3(distance * widening);
                        sum += weight * kit::channel(source.at(j, 0), c);
                        weights += weight;
                        count += std::abs(distance) < reach;
                    }
                    const double exact = qBound(0.0, sum / weights, 255.0), most = 0.5 + 2 * 255.0 * count / 16384;
                    QVERIFY(std::abs(kit::channel(result.at(i, 0), c) - exact) <= most);
                }
        }
    }

    /// Rows come first: the picture between is as wide as the result. A pass that keeps the size changes nothing.
    void twoPasses()
    {
        const QSize size(211, 140);
        const RGBA32iImage source = Picture::random(size.width(), size.height(), 3).image(false);
        for (const KXResizeType type : { KXResizeBox, KXResizeLanczos3 }) {
            COMPARE_PICTURE(resized(source, size, type), Picture::of(source));
            for (const QSize to : { QSize(100, 300), QSize(300, 50), QSize(1, 1), QSize(1700, 37) }) {
                const Picture between = resized(source, QSize(to.width(), size.height()), type);
                const Picture expected = resized(between.image(false), to, type);
                COMPARE_PICTURE(resized(source, to, type), expected);
                for (const int processors : { 1, 3 }) {
                    const kit::Processors some(processors);
                    COMPARE_PICTURE(resized(source, to, type), expected);
                }
            }
        }
    }

    /// A tiled source is what its rows read as; a tiled destination has no columns.
    void tiles()
    {
        QRandomGenerator random = kit::random(5);
        RGBA32iImage source = kit::patchy(random, { 300, 260 }, true);
        for (const bool isWindowed : { false, true }) {
            if (isWindowed)
                kit::addWindow(random, source, QRect(90, 40, 150, 180));
            const RGBA32iImage shown = Picture::of(source).image(false);
            const Picture expected = resized(shown, { 170, 400 }, KXResizeLanczos3);
            COMPARE_PICTURE(resized(source, { 170, 400 }, KXResizeLanczos3), expected);
        }

        RGBA32iImage tiled(170, 400, true);
        tiled.Fill(0x12345678u);
        QVERIFY(KXResizeImage(source, tiled, KXResizeLanczos3));
        COMPARE_PICTURE(Picture::of(tiled), Picture(170, 400, 0x12345678u));
    }

    /// All of the source is read before the destination is written.
    void intoItself()
    {
        RGBA32iImage image = Picture::random(90, 70, 1).image(false), copy = image;
        const Picture before = Picture::of(image);
        QVERIFY(KXResizeImage(image, image, KXResizeLanczos3) && KXResizeImage(image, copy, KXResizeBox));
        COMPARE_PICTURE(Picture::of(copy), before);

        RGBA32iImage tiled(90, 35, true); // with rows of the destination in its window
        tiled.SetFlatWindow({ image.Bits() + 90, [](OPRGBA32i *) {} }, tiled.Rect(), QPoint(), QPoint());
        const Picture expected = resized(Picture::of(tiled).image(false), { 90, 70 }, KXResizeBox);
        QVERIFY(KXResizeImage(tiled, image, KXResizeBox));
        COMPARE_PICTURE(Picture::of(image), expected);
    }

    void refuses()
    {
        const auto refused = [](QSize from, QSize to, KXResizeType type) {
            const RGBA32iImage source = Picture(from.width(), from.height(), 0xFFFFFFFFu).image(false);
            RGBA32iImage destination(to.width(), to.height(), false);
            return !KXResizeImage(source, destination, type)
                && kit::difference(Picture::of(destination), Picture(to.width(), to.height())).isEmpty();
        };
        const kit::LogCapture log;
        for (const QSize empty : { QSize(0, 5), QSize(5, 0), QSize(0, 0) })
            for (const KXResizeType type : { KXResizeBox, KXResizeLanczos3 })
                QVERIFY(refused(empty, { 4, 4 }, type) && refused({ 4, 4 }, empty, type));
        for (const int type : { -1, 2, 1000 })
            QVERIFY(refused({ 4, 4 }, { 2, 2 }, KXResizeType(type)));
        QCOMPARE(log.texts(), QStringList());
    }
};

KXCORE_TEST_MAIN(TestResize)
#include "tst_resize.moc"
