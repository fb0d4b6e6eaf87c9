#include "KXCore.h"
#include "kit/Formulas.h"
#include "kit/Kernels.h"
#include "lines/ConvolutionKernels.h"
#include "lines/Convolve.h"
#include "lines/LineHandlers.h"

using Taps = std::vector<short>;
using kit::Line, kit::Picture, kit::Row, kit::fromModule;

namespace {

Taps randomTaps(int size, QRandomGenerator &random, bool symmetric)
{
    Taps taps(static_cast<size_t>(size));
    for (short &tap : taps)
        tap = short(random.bounded(4) == 0 ? (random.bounded(2) ? 32767 : -32768) : random.bounded(65536) - 32768);
    if (symmetric)
        std::copy_n(taps.begin(), size / 2, taps.rbegin());
    return taps;
}

} // namespace

Q_DECLARE_METATYPE(Taps)

/// The kernels of the module that work along rows, against the plain code and against formulas.
class TestRowKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        if (!QByteArrayList { "convolution", "passes" }.contains(QTest::currentTestFunction()))
            SKIP_WITHOUT_MODULE();
        m_slide = fromModule(KX_SYMBOL(LineHandlerAVX2));
    }

    /// Every colour under every alpha, then blocks that are opaque but for one pixel, and one that is all opaque.
    void alphaBlocks()
    {
        const auto check = [](const BaseTransformation &stage, auto formula) {
            for (int block = 0; block <= 512 + blocks::length; ++block) {
                const int colour = block / 2 % 256;
                Line pixels, expected, single;
                for (int k = 0; k < blocks::length; ++k) {
                    const int alpha = block < 512 ? block % 2 * 128 + k : block == 512 + k ? 200 : 255;
                    const int channels[] = { colour, 255 - colour, (colour * 7 + alpha) & 0xFF, alpha };
                    pixels.push_back(kit::pixelOf([&](int c) { return channels[c]; }));
                    expected.push_back(
                        kit::pixelOf([&](int c) { return c == 3 ? alpha : formula(channels[c], alpha); }));
                    single.push_back(kit::after(stage, pixels.back()));
                }
                VERIFY_SAME_AT(kit::difference(single.data(), expected), QString("plain, block %1").arg(block));
                VERIFY_SAME_AT(kit::blockDifference(stage, pixels), QString("block %1").arg(block));
            }
        };
        check(KXBlur::PremultiplyAlpha(), [](int c, int a) { return (c * a + 127) / 255; });
        check(KXBlur::ReturnAlpha(), [](int c, int a) { return a ? ((c * 255 + (a >> 1)) / a & 0xFF) : 0; });
    }

    void selections()
    {
        QRandomGenerator random = kit::random();
        for (int i = 0; i < 8 * 40; ++i) {
            const int offset = i % 8, length = i < 300 ? i / 8 : 10000;
            Row row(offset, length, random), filtered(7 - offset, length, random);
            Row selection(i * 3 % 8, length, random);
            Line expected;
            for (int x = 0; x < length; ++x)
                expected.push_back(kit::moved(row[x], filtered[x], selection[x].a));
            fromModule(KX_SYMBOL(MergeSelectionAVX2))(row.pixels(), filtered.pixels(), selection.pixels(), length);
            COMPARE_ROW(row, expected, QString("length %1").arg(length));
        }
    }

    /// Every colour under every alpha, alone in its window: premultiplying and each quotient q * 255 / m with q <= m.
    void premultipliedMeansOverTheirDomain()
    {
        OPRGBABlurAccumulatorPremul accumulator(0);
        Row source(0, 65536), destination(0, 65536);
        Line expected;
        for (unsigned i = 0; i < 65536; ++i) {
            const unsigned a = i & 0xFF, c = i >> 8;
            const auto pixel = [a](unsigned rb, unsigned g) { return OPRGBA32i(a << 24 | rb << 16 | g << 8 | rb); };
            const auto straight = [a](unsigned colour) { return a ? colour * a / 255 * 255 / a : 0; };
            source[int(i)] = pixel(c, 255 - c);
            expected.push_back(pixel(straight(c), straight(255 - c)));
        }
        m_slide(&accumulator, source.pixels(), destination.pixels(), 0, 65535, 0, 65535, 0);
        COMPARE_ROW(destination, expected, "every colour and alpha");
    }

    /// The first sample is 0, and samples grow by 1 every window's length: the sum of a window is where it begins.
    void windowMeansOverTheirDomain()
    {
        // Sums of 16 bits, larger ones, and those whose means need double precision.
        QList<int> radii { 129, 511, 1000, 2047, 4095, 8100, 8190, 8191, 8192 };
        for (int radius = 0; radius <= 128; ++radius)
            radii << radius;
        for (const int radius : radii) {
            const int size = 2 * radius + 1, length = 255 * size + 1;
            Row source(0, 256 * size);
            for (int i = 0; i < source.length(); ++i)
                source[i].word = unsigned(i / size) * 0x01010101u;
            checkMeans(source, radius, radius, Line(source.pixels(), source.pixels() + length)); // i / size, again
        }
    }

    /// Sums next to where the mean changes, in windows up to the largest: all pixels are alike but one, which is less.
    void meansOfWindowsWiderThanTheLine()
    {
        for (const int radius : { 300, 8191, 8192, 1 << 20, OPRGBABlurAccumulatorBase::MaximumRadius }) {
            for (unsigned mean = 1; mean < 256; ++mean)
                for (const unsigned less : { 0, 1 }) {
                    Row source(0, 9);
                    for (int i = 0; i < 9; ++i)
                        source[i].word = (mean - (i == 4 ? less : 0)) * 0x01010101u;
                    checkMeans(source, 0, radius, Line(9, OPRGBA32i((mean - less) * 0x01010101u)));
                }
        }
    }

    void lineKernels()
    {
        for (const double sigma : { 0.0, 0.3, 0.5, 1.0, 2.7, 10.0, 30.0 })
            checkLineKernel(OPGaussianAlpha1D(sigma), QString("gaussian alpha, sigma %1").arg(sigma));
        for (const int shift : { 0, 1, 2, 3, 7, 15, 16, 31, 40, 100, 4000000 })
            for (const int sign : { 1, -1 })
                checkLineKernel(OPShiftEdge1D(sign * shift), QString("shift by %1").arg(sign * shift));
        for (const int amount : { 0, 1, 150, 1784, 1785, -1, -299, -1784, -1785, 8000000, INT_MAX, INT_MIN })
            checkLineKernel(OPSimpleSharpenKernel1D(amount), QString("sharpen by %1").arg(amount));

        OPKernelBase other(KernelAlpha); // nothing that the module knows
        fromModule(KX_SYMBOL(LineHandlerConvolutionAVX2))(&other);
    }

    /// Every sum of two neighbours beside every channel.
    void sharpeningOverItsDomain()
    {
        Line source;
        for (unsigned sum = 0; sum <= 510; ++sum)
            for (unsigned center = 0; center < 256; ++center)
                for (const unsigned channel : { sum / 2, center, sum - sum / 2 })
                    source.push_back(OPRGBA32i(channel * 0x01010101u));
        // Amounts that share no factor with 1785 reach every remainder of the division.
        for (const int amount : { 1, 11, 150, 446, 892, 1783, 1784, -1, -299, -1784 })
            compareLine(OPSimpleSharpenKernel1D(amount), source, 0, source.size(), QString("amount %1").arg(amount));
    }

    void convolution_data()
    {
        QTest::addColumn<Taps>("taps");
        QRandomGenerator random = kit::random();
        for (int size = 0; size <= 35; ++size)
            QTest::addRow("any %d taps", size) << randomTaps(size, random, false);
        for (int size = 1; size <= 37; size += 2)
            QTest::addRow("any %d mirrored taps", size) << randomTaps(size, random, true);
        for (const int size : { 255, 256, 257, 258, 259, 511, 513, 515, 517, 771 })
            QTest::addRow("any %d taps", size) << randomTaps(size, random, size == 257 || size == 515 || size == 771);
        for (const int sigma : { 1, 5, 20, 36, 40, 50, 64, 100, 400 })
            QTest::addRow("gaussian of sigma %d", sigma) << KXBlur::CreateGaussianKernel(sigma);
        for (const int size : { 300, 301 })
            QTest::addRow("box of %d", size) << Taps(size_t(size), 54);
        QTest::newRow("white on all taps") << Taps(2001, 32767); // sums wrap
        QTest::newRow("one among zeros") << Taps { 0, 0, 0, 9000, 0 };
        Taps ramp, down, step(601, 3), longest, tooLong; // the last two at the most steps of a staircase, and beyond
        for (int i = 0; i < 601; ++i) {
            ramp.push_back(short(std::min(i, 600 - i) / 3 - 7));
            down.push_back(short(200 - i / 3));
            longest.push_back(short(std::min({ i + 1, 64, 601 - i })));
            tooLong.push_back(short(std::min({ i + 1, 129, 601 - i })));
        }
        std::fill(step.begin() + 250, step.end(), short(-150));
        QTest::newRow("ramp") << ramp;
        QTest::newRow("steps down only") << down;
        QTest::newRow("one high step") << step;
        QTest::newRow("128 steps") << longest;
        QTest::newRow("more steps") << tooLong;
    }

    /// By each form of the code there is.
    void convolution()
    {
        QFETCH(Taps, taps);
        QRandomGenerator random = kit::random();
        QList<int> lengths { 511, 512, 513, 515, 1027, 2160 };
        for (int length = 67; length >= 0; length -= taps.size() > 40 ? 9 : 1)
            lengths << length;
        for (const int length : lengths)
            for (int offset = 0; offset < (length > 67 ? 1 : 8); ++offset) {
                Row source(7 - offset, length + std::max(int(taps.size()) - 1, 0), random);
                // Edges from black to white and runs of one value, which is what drives sums to their ends.
                for (int i = 640; i < source.length(); ++i)
                    if (i / 640 % 2)
                        source[i].word = i / 320 % 2 ? 0xFFFFFFFF : 0;
                Line expected;
                for (int i = 0; i < length; ++i)
                    expected.push_back(kit::convolved(taps, [&](int j) { return source[i + j]; }));
                const QString where = QString("offset %1, length %2").arg(offset).arg(length);
                Row fast(offset, length), plain(offset, length), single(offset, length);
                if (const auto convolve = fromModule(KX_SYMBOL(KXIterativeConvolutionFast1DAVX2Convolve))) {
                    convolve(source.words(), fast.words(), unsigned(length), taps);
                    COMPARE_ROW(fast, expected, "module, " + where);
                }
                lines::convolve(source.pixels(), plain.pixels(), length, taps);
                COMPARE_ROW(plain, expected, "plain, " + where);
                lines::convolvePixels(source.pixels(), single.pixels(), 0, length, taps);
                COMPARE_ROW(single, expected, "pixel by pixel, " + where);
            }
    }

    /// Any part of pictures of any size, of whose rows and columns the kernels that there are take a part, or many at
    /// once.
    void passes()
    {
        QRandomGenerator random = kit::random();
        for (int repeat = 0; repeat < 700; ++repeat) {
            const int most = int(lines::columns::maxTaps),
                      sizes[] = { 1 + random.bounded(12), random.bounded(most), most, most + 2 };
            const int size = sizes[repeat % 7 % 4], amount = random.bounded(-2000, 2000);
            const Taps taps =
                repeat % 3 ? randomTaps(size, random, random.bounded(4)) : KXBlur::CreateGaussianKernel(size / 6.0);
            Picture expected =
                Picture::random(1 + random.bounded(repeat % 9 ? 90 : 700), 1 + random.bounded(90), quint32(repeat));
            const QRect rect = random.bounded(10) == 0
                ? QRect() // all of it
                : QRect(random.bounded(-5, 9), random.bounded(-5, 9), 1 + random.bounded(700), 1 + random.bounded(90));
            const QRect area = rect.isValid() ? rect & expected.rect() : expected.rect();
            const bool sharpens = repeat % 7 == 0, premultiplies = repeat % 5 > 1 && !sharpens;
            RGBA32iImage image = expected.image(false);
            if (sharpens) {
                using Sharpen = OPSimpleSharpenKernel1D;
                lines::LineHandlerConvolution2D<Sharpen>(Sharpen(amount), image, rect).Run(kit::noCancel, nullptr);
            } else {
                KXIterativeConvolutionFast2D<RGBA32iImage> convolution(taps, image, rect);
                convolution.SetPremultiply(premultiplies);
                convolution.Run(kit::noCancel, nullptr);
            }
            kit::premultiply(expected, premultiplies ? area : QRect());
            for (const auto lines : { Qt::Horizontal, Qt::Vertical })
                if (sharpens)
                    kit::sharpen(expected, area, lines, amount);
                else
                    kit::convolve(expected, area, lines, taps);
            kit::unpremultiply(expected, premultiplies ? area : QRect());
            VERIFY_SAME_AT(kit::difference(Picture::of(image), expected),
                QString::asprintf("%d taps or amount %d, %d by %d, premultiplied %d", int(taps.size()), amount,
                    area.width(), area.height(), premultiplies));
        }
    }

private:
    /// Slides a window of four channels along @p source, and one of alpha, from the position @p first on. Of each of
    /// the @p means all channels are alike.
    void checkMeans(Row &source, int first, int radius, const Line &means)
    {
        OPRGBABlurAccumulator channels(radius);
        OPAlphaBlurAccumulatorWithRGBColorize alpha(radius, OPRGBA32i(0x123456u));
        Line ofAlpha = means;
        for (OPRGBA32i &mean : ofAlpha)
            mean.word = (mean.word & 0xFF000000u) | 0x123456u;
        const std::pair<OPRGBABlurAccumulatorBase *, const Line *> windows[] { { &channels, &means },
            { &alpha, &ofAlpha } };
        for (const auto &[window, expected] : windows) {
            Row destination(0, int(means.size()));
            m_slide(window, source.pixels(), destination.pixels(), 0, source.length() - 1, first,
                first + destination.length() - 1, radius);
            COMPARE_ROW(destination, *expected, QString("radius %1").arg(radius));
        }
    }

    /// Runs @p kernel over @p length pixels of a line, by itself and by the module.
    template <class Kernel>
    void compareLine(Kernel kernel, const Line &source, int offset, size_t length, const QString &where)
    {
        Line expected(length, OPRGBA32i(0x12345678u)), actual = expected;
        kernel.SetSource(&source);
        kernel.SetSourceOffset(offset);
        kernel.SetDestination(&expected);
        for (int i = 0; i < int(length); ++i)
            kernel(i);
        kernel.SetDestination(&actual);
        fromModule(KX_SYMBOL(LineHandlerConvolutionAVX2))(&kernel);
        VERIFY_SAME_AT(kit::difference(actual.data(), expected), where);
    }

    /// The same for lines of many lengths.
    template <class Kernel>
    void checkLineKernel(Kernel kernel, const QString &name)
    {
        QRandomGenerator random = kit::random();
        for (int length = 0; length <= 67; ++length)
            for (int repeat = 0; repeat < 6; ++repeat) {
                const int beside = std::min(kernel.Left() + 2, 200);
                const int offset = random.bounded(2) * random.bounded(beside);
                const int after = random.bounded(2) * random.bounded(beside);
                Line source(size_t(offset + length + after));
                const bool sparse = repeat % 2; // few alphas differ, so that edges have room to move
                for (OPRGBA32i &pixel : source) {
                    pixel = kit::saltedPixel(random);
                    if (sparse && random.bounded(16))
                        pixel.a = repeat == 1 ? 255 : 0;
                }
                compareLine(kernel, source, offset, size_t(length), name + QString(", offset %1").arg(offset));
            }
    }

    decltype(LineHandlerAVX2) *m_slide = nullptr;
};

KXCORE_TEST_MAIN(TestRowKernels)
#include "tst_rowkernels.moc"
