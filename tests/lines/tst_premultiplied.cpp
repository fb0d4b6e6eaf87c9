#include "KXIterativeConvolution.h"
#include "TestSupport.h"

#include <QtCore/QRandomGenerator>

#include <array>
#include <atomic>
#include <cmath>
#include <stdexcept>
#include <thread>
#include <vector>

/// The pair of passes with premultiplication around it: what a cancel or an exception leaves of it, line by line.
class TestPremultiplied : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void stops_data();
    void stops();
};

namespace {

constexpr int width = 61, height = 47;
const QRect rect(3, 2, 50, 40);
const std::vector<short> kernel { 3000, 10384, 3000 };

using Pixels = std::vector<std::array<int, 4>>; // blue, green, red, alpha

std::array<int, 4> &at(Pixels &pixels, int x, int y) { return pixels[size_t(y * width + x)]; }

Pixels pixelsOf(const RGBA32iImage &image)
{
    Pixels result;
    for (int i = 0; i < width * height; ++i) {
        const OPRGBA32i p = image.Bits()[i];
        result.push_back({ p.b, p.g, p.r, p.a });
    }
    return result;
}

/// Both leave the last row of the rectangle as it is.
template <class Formula>
void walk(Pixels &pixels, Formula formula)
{
    for (int y = rect.top(); y < rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            formula(at(pixels, x, y));
}

void premultiply(std::array<int, 4> &p)
{
    for (int c = 0; c < 3; ++c)
        p[size_t(c)] = int(std::floor(p[size_t(c)] * p[3] / 255.0 + 0.5)); // never exactly halfway
}

void straighten(std::array<int, 4> &p)
{
    for (int c = 0; c < 3; ++c)
        p[size_t(c)] = p[3] ? (p[size_t(c)] * 255 + p[3] / 2) / p[3] % 256 : 0;
}

void convolve(Pixels &pixels, Qt::Orientation along)
{
    const Pixels before = pixels;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            for (size_t c = 0; c < 4; ++c) {
                int sum = 8192;
                for (int j = -1; j <= 1; ++j) {
                    const int sx = along == Qt::Horizontal ? qBound(rect.left(), x + j, rect.right()) : x;
                    const int sy = along == Qt::Vertical ? qBound(rect.top(), y + j, rect.bottom()) : y;
                    sum += before[size_t(sy * width + sx)][c] * kernel[size_t(j + 1)];
                }
                at(pixels, x, y)[c] = qBound(0, sum >> 14, 255);
            }
}

} // namespace

void TestPremultiplied::stops_data()
{
    QTest::addColumn<int>("stopAfter");
    QTest::addColumn<bool>("throws");
    for (const int step : { 0, 1, 7, 39, 40, 41, 60, 89, 90, 1000 }) {
        QTest::addRow("cancelled after %d", step) << step << false;
        if (step > 0)
            QTest::addRow("thrown out after %d", step) << step << true;
    }
}

void TestPremultiplied::stops()
{
    if (std::thread::hardware_concurrency() < 2)
        QSKIP("on a single processor pixels are not premultiplied at all");
    QFETCH(int, stopAfter);
    QFETCH(bool, throws);
    RGBA32iImage image(width, height, false);
    QRandomGenerator random(48);
    for (int i = 0; i < width * height; ++i)
        image.Bits()[i].word = random.generate() | (random.bounded(3) ? 0 : 0xFF000000u);

    Pixels none = pixelsOf(image), rows = none; // no line convolved; all rows, no column
    walk(none, premultiply);
    rows = none;
    convolve(rows, Qt::Horizontal);
    Pixels all = rows;
    convolve(all, Qt::Vertical);
    for (Pixels *pixels : { &none, &rows, &all })
        walk(*pixels, straighten);

    std::atomic<bool> cancel { stopAfter == 0 };
    std::atomic<int> steps { 0 };
    KXIterativeConvolutionFast2D<RGBA32iImage> passes(kernel, image, rect);
    passes.SetPremultiply(true);
    bool thrown = false;
    try {
        passes.Run(cancel, [&] {
            if (++steps < stopAfter)
                return;
            cancel = true;
            if (throws)
                throw std::runtime_error("enough");
        });
    } catch (const std::exception &) {
        thrown = true;
    }
    QCOMPARE(thrown, throws && stopAfter <= 90);

    Pixels actual = pixelsOf(image);
    const auto isLine = [&](Pixels &expected, int line, Qt::Orientation along) {
        const bool isRow = along == Qt::Horizontal;
        for (int i = isRow ? rect.left() : rect.top(); i <= (isRow ? rect.right() : rect.bottom()); ++i)
            if (isRow ? at(actual, i, line) != at(expected, i, line) : at(actual, line, i) != at(expected, line, i))
                return false;
        return true;
    };
    int finished = 0;
    if (steps < 40) { // among the rows: each is one or the other
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            const bool isFinished = isLine(rows, y, Qt::Horizontal);
            QVERIFY2(isFinished || isLine(none, y, Qt::Horizontal), qPrintable(QString("row %1").arg(y)));
            finished += isFinished;
        }
    } else {
        finished = 40;
        for (int x = rect.left(); x <= rect.right(); ++x) {
            const bool isFinished = isLine(all, x, Qt::Vertical);
            QVERIFY2(isFinished || isLine(rows, x, Qt::Vertical), qPrintable(QString("column %1").arg(x)));
            finished += isFinished;
        }
    }
    QCOMPARE(finished, steps.load());
    // Nothing around the rectangle has changed.
    QRandomGenerator again(48);
    for (int i = 0; i < width * height; ++i) {
        const unsigned before = again.generate() | (again.bounded(3) ? 0 : 0xFF000000u);
        if (!rect.contains(i % width, i / width))
            QCOMPARE(image.Bits()[i].word, before);
    }
}

KXCORE_TEST_MAIN(TestPremultiplied)
#include "tst_premultiplied.moc"
