#include "TestSupport.h"
#include "kernels/Rows.h"
#include "lines/Convolve.h"

#include <algorithm>
#include <cmath>
#include <numeric>

using testing::Row;

/// The fixed-point convolution of one line, by the module and by the plain code, against the formula.
class TestConvolutionKernel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyLengthAndOffset_data();
    void everyLengthAndOffset();
    void longLines_data();
    void longLines();
};

namespace {

using Convolve = void(const unsigned *, unsigned *, unsigned, const std::vector<short> &);

/// Sums of 32 bits that start at 8192, shifted by 14 and clamped, each byte of a pixel by itself.
std::vector<unsigned> convolved(const Row &source, int length, const std::vector<short> &kernel)
{
    std::vector<unsigned> result(size_t(length), 0u);
    for (int i = 0; i < length; ++i)
        for (int channel = 0; channel < 4; ++channel) {
            qint64 sum = 8192;
            for (int j = 0; j < int(kernel.size()); ++j)
                sum += source.bytes()[4 * (i + j) + channel] * kernel[size_t(j)];
            const int value = int(quint32(sum)) >> 14; // wraps as 32-bit additions do
            result[size_t(i)] |= unsigned(std::clamp(value, 0, 255)) << 8 * channel;
        }
    return result;
}

std::vector<short> gaussian(int radius, double sigma)
{
    std::vector<double> weights;
    for (int i = -radius; i <= radius; ++i)
        weights.push_back(std::exp(-i * i / (2 * sigma * sigma)));
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    std::vector<short> kernel;
    for (double w : weights)
        kernel.push_back(short(w / sum * 16384 + 0.5));
    return kernel;
}

std::vector<short> randomKernel(int size, QRandomGenerator &random, bool symmetric)
{
    std::vector<short> kernel(static_cast<size_t>(size));
    for (short &tap : kernel)
        tap = short(random.bounded(4) == 0 ? (random.bounded(2) ? 32767 : -32768) : random.bounded(65536) - 32768);
    if (symmetric)
        std::copy_n(kernel.begin(), size / 2, kernel.rbegin());
    return kernel;
}

/// Convolves a line of @p length pixels of @p source by each form of the code there is.
void check(const Row &source, int offset, int length, const std::vector<short> &kernel)
{
    const std::vector<unsigned> expected = convolved(source, length, kernel);
    const auto *const in = reinterpret_cast<const OPRGBA32i *>(source.data());
    const QString where = QString("offset %1, length %2").arg(offset).arg(length);
    Row fast(offset, length), plain(offset, length), tail(offset, length);
    if (const auto module = testing::kernel<Convolve>("KXIterativeConvolutionFast1DAVX2Convolve")) {
        module(source.data(), fast.data(), unsigned(length), kernel);
        COMPARE_ROW(fast, expected, "module, " + where);
    }
    lines::convolve(in, reinterpret_cast<OPRGBA32i *>(plain.data()), length, lines::Taps(kernel));
    COMPARE_ROW(plain, expected, "plain, " + where);
    lines::convolvePixels(in, reinterpret_cast<OPRGBA32i *>(tail.data()), 0, length, lines::Taps(kernel));
    COMPARE_ROW(tail, expected, "pixel by pixel, " + where);
}

} // namespace

Q_DECLARE_METATYPE(std::vector<short>)

void TestConvolutionKernel::everyLengthAndOffset_data()
{
    QTest::addColumn<std::vector<short>>("kernel");
    QRandomGenerator random(4711);
    QTest::newRow("no tap") << std::vector<short>();
    QTest::newRow("identity") << std::vector<short> { 0, 16384, 0 };
    QTest::newRow("sharpen") << std::vector<short> { -6425, 29235, -6425 };
    for (int radius = 1; radius <= 18; ++radius)
        QTest::addRow("gaussian of radius %d", radius) << gaussian(radius, radius / 3.0);
    for (int size = 1; size <= 35; ++size)
        QTest::addRow("any %d taps", size) << randomKernel(size, random, false);
    for (int size = 1; size <= 35; size += 2)
        QTest::addRow("any %d mirrored taps", size) << randomKernel(size, random, true);
}

void TestConvolutionKernel::everyLengthAndOffset()
{
    QFETCH(std::vector<short>, kernel);
    QRandomGenerator random(20240607);
    for (int length = 0; length <= 67; ++length)
        for (int offset = 0; offset < 8; ++offset)
            check(
                Row::random(7 - offset, length + std::max(int(kernel.size()) - 1, 0), random), offset, length, kernel);
}

void TestConvolutionKernel::longLines_data()
{
    QTest::addColumn<std::vector<short>>("kernel");
    QRandomGenerator random(4712);
    for (int sigma : { 1, 5, 20, 36, 40, 50, 64, 100, 400 })
        QTest::addRow("gaussian of sigma %d", sigma) << gaussian(3 * sigma, sigma);
    for (int size : { 255, 256, 257, 258, 259, 511, 513, 515, 517, 771 })
        QTest::addRow("any %d taps", size) << randomKernel(size, random, size == 257 || size == 515 || size == 771);
    for (int size : { 300, 301 })
        QTest::addRow("box of %d", size) << std::vector<short>(size_t(size), 54);
    QTest::newRow("white on all taps") << std::vector<short>(2001, 32767); // sums wrap
    std::vector<short> ramp(601), down(601), step(601, 3);
    for (int i = 0; i < 601; ++i) {
        ramp[size_t(i)] = short(std::min(i, 600 - i) / 3 - 7);
        down[size_t(i)] = short(200 - i / 3);
    }
    std::fill(step.begin() + 250, step.end(), short(-150));
    QTest::newRow("ramp") << ramp;
    QTest::newRow("steps down only") << down;
    QTest::newRow("one high step") << step;
}

void TestConvolutionKernel::longLines()
{
    QFETCH(std::vector<short>, kernel);
    QRandomGenerator random(20240608);
    for (int length : { 0, 1, 3, 4, 5, 31, 511, 512, 513, 515, 1027, 2160 }) {
        Row source = Row::random(length % 8, length + int(kernel.size()) - 1, random);
        // Edges from black to white and runs of one value, which is what drives sums to their ends.
        for (int i = 0; i < source.length(); ++i)
            if (i / 640 % 2)
                source.data()[i] = i / 320 % 2 ? 0xFFFFFFFF : 0;
        check(source, 3, length, kernel);
    }
}

KXCORE_TEST_MAIN(TestConvolutionKernel)
#include "tst_convolutionkernel.moc"
