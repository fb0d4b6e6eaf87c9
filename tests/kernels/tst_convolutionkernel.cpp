#include "TestSupport.h"
#include "kernels/Rows.h"

#include <algorithm>
#include <cmath>
#include <numeric>

using testing::Row;

/// The fixed-point convolution of the module against the formula of one line.
class TestConvolutionKernel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyLengthAndOffset_data();
    void everyLengthAndOffset();
    void longLines_data();
    void longLines();

private:
    using Convolve = void(const unsigned *, unsigned *, unsigned, const std::vector<short> &);
    Convolve *m_convolve = nullptr;
};

namespace {

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

void addKernels()
{
    QTest::addColumn<std::vector<short>>("kernel");
    QRandomGenerator random(4711);
    QTest::newRow("no tap") << std::vector<short>();
    QTest::newRow("identity") << std::vector<short> { 0, 16384, 0 };
    QTest::newRow("box of three") << std::vector<short> { 5461, 5462, 5461 };
    QTest::newRow("sharpen") << std::vector<short> { -6425, 29235, -6425 };
    for (int radius = 1; radius <= 18; ++radius)
        QTest::addRow("gaussian of radius %d", radius) << gaussian(radius, radius / 3.0);
    for (int size = 1; size <= 20; ++size)
        QTest::addRow("any %d taps", size) << randomKernel(size, random, false);
    for (int size = 1; size <= 35; size += 2)
        QTest::addRow("any %d mirrored taps", size) << randomKernel(size, random, true);
    QTest::newRow("white on all taps") << std::vector<short>(2001, 32767); // sums wrap
}

} // namespace

Q_DECLARE_METATYPE(std::vector<short>)

void TestConvolutionKernel::initTestCase()
{
    m_convolve = testing::kernel<Convolve>("KXIterativeConvolutionFast1DAVX2Convolve");
    if (!m_convolve)
        QSKIP("no kernel module, or no AVX2");
}

void TestConvolutionKernel::everyLengthAndOffset_data() { addKernels(); }

void TestConvolutionKernel::everyLengthAndOffset()
{
    QFETCH(std::vector<short>, kernel);
    QRandomGenerator random(20240607);
    for (int length = 0; length <= 67; ++length)
        for (int offset = 0; offset < 8; ++offset) {
            const Row source = Row::random(offset, length + std::max(int(kernel.size()) - 1, 0), random);
            Row destination(7 - offset, length);
            m_convolve(source.data(), destination.data(), unsigned(length), kernel);
            COMPARE_ROW(destination, convolved(source, length, kernel), QString("offset %1").arg(offset));
        }
}

void TestConvolutionKernel::longLines_data()
{
    QTest::addColumn<std::vector<short>>("kernel");
    QRandomGenerator random(4712);
    for (int sigma : { 1, 5, 20, 36, 40, 50, 64, 100, 400 })
        QTest::addRow("gaussian of sigma %d", sigma) << gaussian(3 * sigma, sigma);
    for (int size : { 255, 256, 257, 258, 259, 511, 513, 515, 517, 771 }) {
        QTest::addRow("any %d taps", size) << randomKernel(size, random, false);
        if (size % 2)
            QTest::addRow("any %d mirrored taps", size) << randomKernel(size, random, true);
    }
    QTest::newRow("box of 301") << std::vector<short>(301, 54);
    QTest::newRow("box of 300") << std::vector<short>(300, 54);
    QTest::newRow("ramp") << [] {
        std::vector<short> kernel(601);
        for (int i = 0; i < 601; ++i)
            kernel[size_t(i)] = short(std::min(i, 600 - i) / 3 - 7);
        return kernel;
    }();
    QTest::newRow("steps down only") << [] {
        std::vector<short> kernel(601);
        for (int i = 0; i < 601; ++i)
            kernel[size_t(i)] = short(200 - i / 3);
        return kernel;
    }();
    QTest::newRow("one high step") << [] {
        std::vector<short> kernel(601, 3);
        std::fill(kernel.begin() + 250, kernel.end(), short(-150));
        return kernel;
    }();
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
        Row destination(3, length);
        m_convolve(source.data(), destination.data(), unsigned(length), kernel);
        COMPARE_ROW(destination, convolved(source, length, kernel), QString("length %1").arg(length));
    }
}

KXCORE_TEST_MAIN(TestConvolutionKernel)
#include "tst_convolutionkernel.moc"
