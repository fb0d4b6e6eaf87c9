#include "KXBlur.h"
#include "TestSupport.h"
#include "color/Blocks.h"
#include "kernels/Rows.h"

#include <QtCore/QRect>

#include <atomic>
#include <functional>
#include <thread>

using testing::Row;

/// The kernels of the module that work on blocks of pixels, and the walks that cut images into blocks.
class TestBlockKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void premultiply();
    void returnAlpha();
    void opaqueBlocks();
    void walk_data();
    void walk();
};

namespace {

using Block = void(unsigned char *, bool);
using Plain = void(OPRGBA32i *, int, const QRect &, BaseTransformation *);
using Iterative = void(
    OPRGBA32i *, int, const QRect &, BaseTransformation *, const std::atomic<bool> &, std::function<void()>);

/// Runs the block kernel @p name, and @p plain, over every pair of a colour and an alpha and compares with
/// @p formula(colour, alpha).
template <class Formula>
void compareWholeDomain(const char *name, const BaseTransformation &plain, Formula formula)
{
    std::vector<unsigned> expected(blocks::length);
    for (unsigned i = 0; i < 65536; i += blocks::length) {
        Row row(int(i / blocks::length % 8), blocks::length), pixels(0, blocks::length);
        for (unsigned k = 0; k < unsigned(blocks::length); ++k) {
            const unsigned c = (i + k) >> 8, a = (i + k) & 0xFF, other = (c * 7 + a) & 0xFF;
            row.data()[k] = pixels.data()[k] = a << 24 | other << 16 | (255 - c) << 8 | c;
            expected[k] = a << 24 | formula(other, a) << 16 | formula(255 - c, a) << 8 | formula(c, a);
            plain(*reinterpret_cast<OPRGBA32i *>(pixels.data() + k));
        }
        testing::kernel<Block>(name)(row.bytes(), blocks::flag);
        COMPARE_ROW(row, expected, QString("colour %1").arg(i >> 8));
        COMPARE_ROW(pixels, expected, QString("plain, colour %1").arg(i >> 8));
    }
}

/// Changes pixels, one by one or in blocks; where positions are given, by their pattern.
class Inversion : public BaseTransformation {
public:
    explicit Inversion(bool hasKernel) { m_HasKernel = hasKernel; }
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0xFFFFFF; }
    void operator()(unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < blocks::length; ++i)
            (*this)(reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }
    void operator()(int x, int y, OPRGBA32i &pixel) const override { pixel.word ^= patternAt(x, y); }
    void operator()(int x, int y, unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < blocks::length; ++i)
            (*this)(x + i, y, reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }
    static unsigned patternAt(int x, int y) { return unsigned(x) * 3 + unsigned(y) * 65599; }
};

} // namespace

void TestBlockKernels::initTestCase()
{
    if (!AVX2LIB::Instance())
        QSKIP("no kernel module, or no AVX2");
}

void TestBlockKernels::premultiply()
{
    compareWholeDomain(
        "PremultiplyAlphaAVX2", KXBlur::PremultiplyAlpha(), [](unsigned c, unsigned a) { return (c * a + 127) / 255; });
}

void TestBlockKernels::returnAlpha()
{
    compareWholeDomain("ReturnAlphaAVX2", KXBlur::ReturnAlpha(),
        [](unsigned c, unsigned a) { return a ? ((c * 255 + (a >> 1)) / a & 0xFF) : 0; });
}

/// Blocks in which all but one pixel are opaque.
void TestBlockKernels::opaqueBlocks()
{
    for (int odd = -1; odd < blocks::length; ++odd) {
        std::vector<unsigned> expected(blocks::length, 0xFF336699);
        Row row(0, blocks::length);
        std::copy(expected.begin(), expected.end(), row.data());
        if (odd >= 0) {
            row.data()[odd] = 0x80FF0180;
            expected[size_t(odd)] = 0x80800140; // (255, 1, 128) * 128 / 255, rounded
        }
        testing::kernel<Block>("PremultiplyAlphaAVX2")(row.bytes(), blocks::flag);
        COMPARE_ROW(row, expected, QString("premultiplied, odd one %1").arg(odd));
        if (odd >= 0)
            expected[size_t(odd)] = 0x80FF0280; // and back: 1 * 255 / 128 is 2, rounded
        testing::kernel<Block>("ReturnAlphaAVX2")(row.bytes(), blocks::flag);
        COMPARE_ROW(row, expected, QString("straight again, odd one %1").arg(odd));
    }
}

void TestBlockKernels::walk_data()
{
    QTest::addColumn<QByteArray>("symbol");
    QTest::addColumn<bool>("hasKernel");
    for (const char *symbol : { "VectorProcess", "IterativeVectorProcess", "PixelTransformIterativeVectorProcess" })
        for (bool hasKernel : { false, true })
            QTest::addRow("%s %s", symbol, hasKernel ? "in blocks" : "by pixels") << QByteArray(symbol) << hasKernel;
}

/// Rectangles of all widths around a block in a larger buffer: what is changed, and what is not.
void TestBlockKernels::walk()
{
    QFETCH(QByteArray, symbol);
    QFETCH(bool, hasKernel);
    const bool plain = symbol == "VectorProcess", positions = symbol.startsWith("Pixel");
    QRandomGenerator random(20240611);
    for (int width : { 1, 2, 7, 63, 64, 65, 127, 128, 129, 300 })
        for (int height : { 1, 2, 9 }) {
            const int stride = width + 5;
            const QRect rect(3, 2, width, height);
            Row image = Row::random(width % 8, stride * (height + 4), random);
            std::vector<unsigned> expected(image.data(), image.data() + image.length());
            const int rows = plain ? height - 1 : height; // the plain walk leaves its last row out
            if (std::thread::hardware_concurrency() > 1)
                for (int y = rect.y(); y < rect.y() + rows; ++y)
                    for (int x = rect.x(); x < rect.x() + width; ++x)
                        expected[size_t(y * stride + x)] ^= positions ? Inversion::patternAt(x, y) : 0xFFFFFF;
            Inversion inversion(hasKernel);
            std::atomic<bool> cancel { false };
            std::atomic<int> steps { 0 };
            OPRGBA32i *const data = reinterpret_cast<OPRGBA32i *>(image.data());
            const std::atomic<bool> cancelled { true };
            if (!plain) // leaves everything as it is
                testing::kernel<Iterative>(symbol)(data, stride, rect, &inversion, cancelled, [&] { ++steps; });
            if (plain)
                testing::kernel<Plain>(symbol)(data, stride, rect, &inversion);
            else
                testing::kernel<Iterative>(symbol)(data, stride, rect, &inversion, cancel, [&] { ++steps; });
            COMPARE_ROW(image, expected, QString("%1 by %2").arg(width).arg(height));
            if (!plain && std::thread::hardware_concurrency() > 1)
                QCOMPARE(steps.load(), rows);
        }
}

KXCORE_TEST_MAIN(TestBlockKernels)
#include "tst_blockkernels.moc"
