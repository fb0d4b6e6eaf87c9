#include "kit/Picture.h"

#include "KXRGBHistogram.h"
#include "OPColorEnhancerTransformation.h"
#include "OPHistogrammCalculator.h"
#include "OPLevelsTransformation.h"
#include "OPRGBChannelFilter.h"
#include "OPTCGrayscaleFromRGBA32iAlpha.h"

#include <QtGui/QImage>

#include <array>
#include <thread>

using kit::Picture;

namespace {

using Bins = std::array<int, 256>;

struct Counts {
    Bins r {}, g {}, b {}, all {};
    void receive(OPHistogrammCalculator &calculator) { calculator.SetOutput(r.data(), g.data(), b.data(), all.data()); }
};

/// @p picture with its first @p count pixels made of what @p letters name: channels, nothing or all.
Picture changed(Picture picture, size_t count, const char *letters)
{
    for (size_t i = 0; i < count; ++i)
        picture.pixels[i] = kit::pixelOf([&, p = picture.pixels[i]](int c) {
            const char letter = letters[c];
            return letter == 'b' ? p.b
                : letter == 'g'  ? p.g
                : letter == 'r'  ? p.r
                : letter == 'a'  ? p.a
                : letter == '0'  ? 0
                                 : 255;
        });
    return picture;
}

QImage qImage(const Picture &picture)
{
    QImage image(picture.width, picture.height, QImage::Format_ARGB32);
    for (int y = 0; y < picture.height; ++y)
        std::memcpy(image.scanLine(y), &picture.at(0, y), size_t(picture.width) * 4);
    return image;
}

/// QImages through @p transform: shared ones, windows into wider ones, and formats that are not served.
void checkQImages(const OPColorTransformBase &transform, const Picture &before, const Picture &after)
{
    QImage image = qImage(before);
    const QImage shared = image;
    transform(image);
    QCOMPARE(image, qImage(after));
    QCOMPARE(shared, qImage(before));
    std::vector<uchar> buffer(size_t(shared.height() * (shared.bytesPerLine() + 12)), 0x55);
    QImage wide(buffer.data(), shared.width(), shared.height(), shared.bytesPerLine() + 12, shared.format());
    for (int y = 0; y < shared.height(); ++y)
        std::memcpy(wide.scanLine(y), shared.scanLine(y), size_t(shared.bytesPerLine()));
    transform(wide);
    QCOMPARE(wide, qImage(after));
    QVERIFY(buffer.back() == 0x55);
    for (const auto format : { QImage::Format_Mono, QImage::Format_Grayscale8, QImage::Format_RGB888,
             QImage::Format_RGBA64, QImage::Format_Indexed8 }) {
        QImage other = shared.convertToFormat(format);
        const QImage copy = other;
        transform(other);
        QCOMPARE(other, copy);
    }
    QImage null;
    transform(null);
    transform.Invert(image);
    QCOMPARE(image, qImage(after));
}

} // namespace

class TestHistograms : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void counts()
    {
        Counts first, second;
        OPHistogrammCalculator calculator;
        first.receive(calculator);
        calculator(OPRGBA32i(0x12070905u));
        const OPHistogrammCalculator copy = calculator;
        second.receive(calculator);
        calculator(OPRGBA32i(0u));
        copy(OPRGBA32i(0x00070907u)); // where the original counted at that time
        QVERIFY(first.r[7] == 2 && first.g[9] == 2 && first.b[5] == 1 && first.b[7] == 1);
        QVERIFY(first.all[7] == 3 && first.all[9] == 2 && first.all[5] == 1 && first.all[0] == 0);
        QVERIFY(second.r[0] == 1 && second.g[0] == 1 && second.b[0] == 1 && second.all[0] == 3);

        std::array<unsigned, 256> r {}, g {}, b {}, other {};
        KXRGBHistogram histogram(r.data(), g.data(), b.data());
        histogram(OPRGBA32i(0x12070905u));
        histogram.SetOutput(other.data(), other.data(), other.data());
        histogram(OPRGBA32i(0x12070907u));
        QVERIFY(r[7] == 1 && g[9] == 1 && b[5] == 1 && other[7] == 2 && other[9] == 1);

        first.r[1] = INT_MAX; // and one more
        first.receive(calculator);
        calculator(OPRGBA32i(0x00010000u));
        QCOMPARE(first.r[1], INT_MIN);
    }

    void countsFromManyThreads()
    {
        Counts counts;
        OPHistogrammCalculator calculator;
        counts.receive(calculator);
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (unsigned i = 0; i < 200000; ++i)
                    calculator(OPRGBA32i(7u << 16 | t << 8 | (i & 1)));
            });
        for (std::thread &thread : threads)
            thread.join();
        QVERIFY(counts.r[7] == 800000 && counts.b[0] == 400000 && counts.b[1] == 400000);
        for (size_t t = 0; t < 4; ++t)
            QVERIFY(counts.g[t] == 200000 && counts.all[t] == (t < 2 ? 600000 : 200000));
    }

    void thresholds()
    {
        const struct {
            std::vector<std::pair<size_t, int>> bins;
            std::vector<int> expected;
        } cases[] = { { {}, { 255, 0 } }, { { { 100, 9 } }, { 92, 108 } }, { { { 3, 9 } }, { 0, 16 } },
            { { { 253, 9 } }, { 239, 255 } }, { { { 0, 9 } }, { 0, 16 } }, { { { 255, 9 } }, { 239, 255 } },
            { { { 7, 9 } }, { 0, 16 } }, { { { 248, 9 } }, { 239, 255 } }, { { { 9, 9 } }, { 1, 17 } },
            { { { 247, 9 } }, { 239, 255 } }, { { { 246, 9 } }, { 238, 254 } },
            // A range of 15 is widened, one of 16 stays; of 15 the middle is rounded down.
            { { { 100, 5 }, { 113, 5 } }, { 98, 114 } }, { { { 100, 5 }, { 114, 5 } }, { 99, 115 } },
            { { { 0, 5 }, { 255, 5 } }, { 0, 255 } },
            // One of 1000 is cut off, two are not.
            { { { 10, 1 }, { 50, 499 }, { 90, 499 }, { 200, 1 } }, { 49, 91 } },
            { { { 10, 2 }, { 50, 498 }, { 90, 498 }, { 200, 2 } }, { 9, 201 } },
            { { { 0, 1 }, { 50, 499 }, { 90, 499 }, { 255, 1 } }, { 49, 91 } },
            { { { 20, INT_MAX }, { 200, INT_MAX } }, { 19, 201 } } };
        for (const auto &[bins, expected] : cases) {
            Bins histogram {};
            for (const auto &[bin, count] : bins)
                histogram[bin] = count;
            QCOMPARE(OPHistogrammCalculator::Threshold(histogram.data()), expected);
        }
    }

    void automaticLevels()
    {
        Picture veiled(20, 20);
        for (size_t i = 0; i < veiled.pixels.size(); ++i)
            veiled.pixels[i] = OPRGBA32i(0xFF000000u | unsigned(60 + i % 101) * 0x010101u);
        const RGBA32iImage photo = veiled.image(false);

        int red[256] = {}, green[256] = {}, blue[256] = {}, all[256] = {};
        OPHistogrammCalculator count;
        count.SetOutput(red, green, blue, all);
        for (int i = 0; i < photo.Width() * photo.Height(); ++i)
            count(photo.Bits()[i]);
        const std::vector<int> used = OPHistogrammCalculator::Threshold(all);

        int input[4][2] = { { used[0], used[1] }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
        int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
        double gammas[4] = { 1, 1, 1, 1 };
        const OPLevelsTransformation levels(input, output, gammas, 100);

        OPColorEnhancerTransformation enhancer; // whose amount follows a slider
        enhancer.SetLevels(levels);
        enhancer.SetAmountData(50);

        QCOMPARE(used, std::vector<int>({ 59, 161 }));
        QVERIFY(levels.Tables().g[59] == 0 && levels.Tables().g[161] == 255 && levels.Tables().g[110] == 127);
        OPRGBA32i pixel(0xFF3B3B3Bu); // 59, which levels make black
        enhancer(pixel);
        QCOMPARE(pixel, OPRGBA32i(0xFF1D1D1Du));
    }

    void channelFilters()
    {
        const Picture before = Picture::random(130, 131, 1);
        using Filter = OPRGBChannelFilter;
        const std::pair<int, const char *> filters[] = { { Filter::NoFilter, "bgra" }, { Filter::NoBlue, "0gra" },
            { Filter::NoGreen, "b0ra" }, { Filter::NoRed, "bg0a" }, { Filter::RedAsGrey, "rrra" },
            { Filter::GreenAsGrey, "ggga" }, { Filter::BlueAsGrey, "bbba" }, { 7, "bgra" }, { INT_MIN, "bgra" } };
        for (const auto &[value, letters] : filters) {
            Filter filter;
            QCOMPARE(filter.GetChannelFilter(), Filter::NoFilter);
            filter.SetChannelFilter(Filter::RGBFilter(value));
            QCOMPARE(int(filter.GetChannelFilter()), value);
            checkQImages(filter, before, changed(before, before.pixels.size(), letters));
            RGBA32iImage flat = before.image(false), tiled = before.image(true);
            filter(flat); // the first quarter, rounded down: 130 * 131 is 17030
            COMPARE_PICTURE(Picture::of(flat), changed(before, 4257, letters));
            filter(tiled);
            COMPARE_PICTURE(Picture::of(tiled), before);
            Picture memory = before;
            filter(memory.pixels.data(), 11);
            filter(memory.pixels.data() + 5, 3);
            filter(nullptr, 16);
            filter.Invert(memory.pixels.data(), 16);
            COMPARE_PICTURE(memory, changed(before, 2, letters));
        }
        QImage picture = qImage(before);
        const QImage shared = picture;
        Filter()(picture);
        QVERIFY(!picture.isDetached()); // not even that
        QCOMPARE(Filter(Filter::NoRed).GetChannelFilter(), Filter::NoRed);
    }

    void alphaAsGrey()
    {
        const Picture before = Picture::random(300, 140, 2);
        const OPTCGrayscaleFromRGBA32iAlpha grey;
        checkQImages(grey, before, changed(before, before.pixels.size(), "aaa1"));
        unsigned word = 0x80123456u;
        grey(word);
        QCOMPARE(word, 0xFF808080u);
        RGBA32iImage flat = before.image(false), tiled = before.image(true);
        grey(flat);
        COMPARE_PICTURE(Picture::of(flat), before);
        const RGBA32iImage copy = tiled;
        tiled.ReleaseTile(1);
        const OPRGBA32i *own = tiled.TileData(0);
        grey(tiled);
        COMPARE_PICTURE(Picture::of(copy), before);
        QVERIFY(tiled.TileData(1) == nullptr && tiled.TileData(0) != own);
        own = tiled.TileData(0);
        tiled.AllocTile(1, true);
        grey(tiled); // once more: opaque becomes white
        QVERIFY(tiled.TileData(0) == own); // what nothing shares stays where it is
        QVERIFY(tiled.TileData(1)[9] == OPRGBA32i(0xFF000000u) && tiled.TileData(5)[9] == OPRGBA32i(0xFFFFFFFFu));
        RGBA32iImage empty(200, 100, true);
        grey(empty);
        QVERIFY(!empty.IsFakeTile(0) && !empty.IsFakeTile(1) && empty.TileData(0) != empty.TileData(1));
        QCOMPARE(empty.TileData(1)[9], OPRGBA32i(0xFF000000u));
    }
};

KXCORE_TEST_MAIN(TestHistograms)
#include "tst_histograms.moc"
