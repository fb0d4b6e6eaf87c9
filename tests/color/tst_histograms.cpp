#include "kit/Picture.h"

#include "KXCore.h"

#include <QtGui/QImage>

#include <string_view>

using kit::Picture;

namespace {

/// @p picture with its first @p count pixels made of what @p letters name: channels, 0 or 1 for 255.
Picture changed(Picture picture, size_t count, const char *letters)
{
    for (size_t i = 0; i < count; ++i)
        picture.pixels[i] = kit::pixelOf([&, before = picture.pixels[i]](int c) {
            const int which = int(std::string_view("bgra01").find(letters[c]));
            return which < 4 ? kit::channel(before, which) : 255 * (which - 4);
        });
    return picture;
}

/// The first @p width columns of @p picture, whose pixels the image borrows.
QImage window(Picture &picture, int width)
{
    return QImage(reinterpret_cast<uchar *>(picture.pixels.data()), width, picture.height, picture.width * 4,
        QImage::Format_ARGB32);
}

/// QImages through @p transform: shared ones, windows into wider ones, and formats that are not served.
void checkQImages(const OPColorTransformBase &transform, Picture before, Picture after)
{
    QImage image = window(before, before.width).copy();
    const QImage shared = image;
    transform(image);
    transform.Invert(image);
    transform.Invert(image.bits(), 16);
    QVERIFY(image == window(after, before.width) && shared == window(before, before.width));
    for (const QImage &other : { QImage(), shared.convertToFormat(QImage::Format_Grayscale8),
             shared.convertToFormat(QImage::Format_RGB888), shared.convertToFormat(QImage::Format_RGBA64) }) {
        QImage same = other;
        transform(same);
        QCOMPARE(same, other);
    }
    Picture wide = before;
    QImage inner = window(wide, before.width - 3);
    transform(inner);
    for (int y = 0; y < before.height; ++y)
        std::copy_n(&before.at(before.width - 3, y), 3, &after.at(before.width - 3, y));
    COMPARE_PICTURE(wide, after);
}

} // namespace

class TestHistograms : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void counts()
    {
        Picture two(2, 1, 0x12070905u);
        two.pixels[1] = 0x00070907u;
        const RGBA32iImage photo = two.image(false);

#include "OPHistogrammCalculator-1.inc"

        QCOMPARE(used, std::vector<int>({ 0, 16 }));
        QVERIFY(red[7] == 2 && green[9] == 2 && blue[5] == 1 && blue[7] == 1 && red[0] == 0);
        QVERIFY(all[7] == 3 && all[9] == 2 && all[5] == 1 && all[0] == 0);
        int other[4][256] = { { 0, INT_MAX } };
        const OPHistogrammCalculator copy = count;
        count.SetOutput(other[0], other[1], other[2], other[3]);
        count(OPRGBA32i(0x00010203u));
        copy(OPRGBA32i(0x00080808u)); // where the original counted at that time
        QVERIFY(other[0][1] == INT_MIN && other[1][2] == 1 && other[2][3] == 1 && other[3][1] == 1);
        QVERIFY(red[8] == 1 && all[8] == 3 && all[1] == 0);

        unsigned r[256] = {}, g[256] = {}, b[256] = {};
        KXRGBHistogram histogram(r, g, b);
        std::for_each(photo.Bits(), photo.Bits() + 2, histogram);
        QVERIFY(r[7] == 2 && g[9] == 2 && b[5] == 1 && b[7] == 1);
        histogram.SetOutput(b, b, b);
        histogram(photo.Bits()[0]);
        QVERIFY(r[7] == 2 && g[9] == 2 && b[5] == 2 && b[7] == 2 && b[9] == 1);
    }

    void countsFromManyThreads()
    {
        int red[256] = {}, green[256] = {}, blue[256] = {}, all[256] = {};
        OPHistogrammCalculator calculator;
        calculator.SetOutput(red, green, blue, all);
        kit::atOnce(4, [&](int) {
            for (int i = 0; i < 200000; ++i)
                calculator(OPRGBA32i(0x00070707u));
        });
        QVERIFY(red[7] == 800000 && green[7] == 800000 && blue[7] == 800000 && all[7] == 2400000);
    }

    void thresholds()
    {
        const struct {
            std::vector<std::pair<size_t, unsigned>> bins;
            std::vector<int> expected;
        } cases[] = { { {}, { 255, 0 } }, { { { 100, 9 } }, { 92, 108 } }, { { { 0, 9 } }, { 0, 16 } },
            { { { 7, 9 } }, { 0, 16 } }, { { { 9, 9 } }, { 1, 17 } }, { { { 246, 9 } }, { 238, 254 } },
            { { { 248, 9 } }, { 239, 255 } }, { { { 255, 9 } }, { 239, 255 } },
            // A range of 15 is widened, one of 16 stays; of 15 the middle is rounded down.
            { { { 100, 5 }, { 113, 5 } }, { 98, 114 } }, { { { 100, 5 }, { 114, 5 } }, { 99, 115 } },
            // Ten of 10000 are cut off, eleven are not.
            { { { 10, 10 }, { 50, 4990 }, { 90, 4990 }, { 200, 10 } }, { 49, 91 } },
            { { { 10, 11 }, { 50, 4989 }, { 90, 4989 }, { 200, 11 } }, { 9, 201 } },
            { { { 0, 10 }, { 50, 4990 }, { 90, 4990 }, { 255, 10 } }, { 49, 91 } },
            { { { 10, 9 }, { 20, INT_MAX }, { 200, INT_MAX }, { 210, 9 } }, { 19, 201 } },
            { { { 10, 9 }, { 20, UINT_MAX }, { 200, UINT_MAX }, { 210, 9 } }, { 19, 201 } } }; // too large for an int
        for (const auto &[bins, expected] : cases) {
            int histogram[256] = {};
            unsigned counters[256] = {};
            for (const auto &[bin, count] : bins)
                histogram[bin] = int(counters[bin] = count);
            QCOMPARE(OPHistogrammCalculator::Threshold(counters), expected);
            if (std::all_of(histogram, histogram + 256, [](int count) { return count >= 0; }))
                QCOMPARE(OPHistogrammCalculator::Threshold(histogram), expected);
        }
    }

    void channelFilters()
    {
        const Picture before = Picture::random(130, 131, 1);
        using Filter = OPRGBChannelFilter;
        const std::pair<int, const char *> filters[] = { { Filter::NoFilter, "bgra" }, { Filter::NoBlue, "0gra" },
            { Filter::NoGreen, "b0ra" }, { Filter::NoRed, "bg0a" }, { Filter::RedAsGrey, "rrra" },
            { Filter::GreenAsGrey, "ggga" }, { Filter::BlueAsGrey, "bbba" }, { 7, "bgra" }, { INT_MIN, "bgra" } };
        for (const auto &[value, letters] : filters) {
            const Filter filter { Filter::RGBFilter(value) };
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
            COMPARE_PICTURE(memory, changed(before, 2, letters));
        }
        QImage picture(2, 2, QImage::Format_ARGB32);
        const QImage shared = picture;
        Filter filter;
        filter(picture);
        QVERIFY(filter.GetChannelFilter() == Filter::NoFilter && !picture.isDetached()); // not even that
        filter.SetChannelFilter(Filter::NoRed);
        QCOMPARE(filter.GetChannelFilter(), Filter::NoRed);
    }

    void alphaAsGrey()
    {
        const Picture before = Picture::random(300, 140, 2);
        const OPTCGrayscaleFromRGBA32iAlpha grey;
        checkQImages(grey, before, changed(before, before.pixels.size(), "aaa1"));
        unsigned word = 0x80123456u;
        grey(word);
        QCOMPARE(word, 0xFF808080u);
        RGBA32iImage flat = before.image(false), tiled = before.image(true), empty(200, 100, true);
        grey(flat);
        COMPARE_PICTURE(Picture::of(flat), before);
        const RGBA32iImage copy = tiled;
        grey(tiled);
        COMPARE_PICTURE(Picture::of(copy), before);
        COMPARE_PICTURE(Picture::of(tiled), changed(before, before.pixels.size(), "aaa1"));
        tiled.ReleaseTile(1);
        const OPRGBA32i *const own = tiled.TileData(0);
        grey(tiled); // once more: opaque becomes white
        QVERIFY(tiled.TileData(1) == nullptr && tiled.TileData(0) == own); // which nothing shares
        QVERIFY(tiled.TileData(0)[9].word == 0xFFFFFFFFu && tiled.TileData(5)[9].word == 0xFFFFFFFFu);
        grey(empty);
        QVERIFY(!empty.IsFakeTile(0) && !empty.IsFakeTile(1) && empty.TileData(0) != empty.TileData(1));
        QCOMPARE(empty.TileData(1)[128 * 128 - 1].word, 0xFF000000u); // also beyond the edges of the image
    }
};

KXCORE_TEST_MAIN(TestHistograms)
#include "tst_histograms.moc"
