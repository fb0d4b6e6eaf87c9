#include "TestSupport.h"

#include "KXImage.h"

#include <QtCore/QRandomGenerator>

#include <array>

namespace {

constexpr OPRGBA32i red { 0xFFFF0000u }, faint { 0x01020304u }, clear { 0x00112233u };
constexpr QPoint nowhere(-1, -1);

/// A pixel that says where it belongs.
template <class T = OPRGBA32i>
T pixelFor(int x, int y)
{
    T p;
    p.word = 0xFF000000u | unsigned(y) << 12 | unsigned(x);
    return p;
}

const auto all = [](OPRGBA32i pixel) { return [pixel](int, int) { return pixel; }; };

/// One pixel, whatever the storage.
template <class Image>
auto at(const Image &image, int x, int y)
{
    typename Image::Pixel p {};
    image.ReadRow(unsigned(y), unsigned(x), &p, sizeof p);
    return p;
}

/// pixelFor at each place of @p image.
template <class Image>
void paint(Image &image)
{
    for (int y = 0; y < image.Height(); ++y)
        for (int x = 0; x < image.Width(); ++x) {
            const auto p = pixelFor<typename Image::Pixel>(x, y);
            image.WriteRow(unsigned(y), unsigned(x), &p, sizeof p);
        }
}

/// The first place at which @p image, read by rows and by pixels, has not what @p expected gives for it.
template <class Image, class Expected>
QPoint difference(const Image &image, Expected expected)
{
    std::vector<typename Image::Pixel> row(size_t(image.Width()));
    for (int y = 0; y < image.Height(); ++y) {
        image.ReadRow(unsigned(y), 0, row.data(), unsigned(row.size() * sizeof row[0]));
        for (int x = 0; x < image.Width(); ++x)
            if (const auto p = expected(x, y).word; row[size_t(x)].word != p || at(image, x, y).word != p)
                return QPoint(x, y);
    }
    return nowhere;
}

/// The same pixels in each storage, copied from one to the other.
template <class Image>
void storagesOf()
{
    const auto expected = pixelFor<typename Image::Pixel>;
    constexpr int tileHeight = 512 / sizeof(typename Image::Pixel);
    Image tiled(300, 130, true), flat(300, 130, false), deepFlat, deepTiled(1, 1, false), tiledNow;
    QVERIFY(tiled.TilesX() == 3 && tiled.TilesY() == 130 / tileHeight + 1);
    paint(tiled);
    QVERIFY(tiled.TileData(5)[130].word == expected(258, tileHeight + 1).word);
    Image::CopyRect(flat, tiled, tiled.Rect(), flat.Rect(), true);
    flat.CopyTo(deepFlat, false);
    flat.CopyTo(tiledNow, true);
    tiled.CopyTo(deepTiled, false);
    QVERIFY(!deepFlat.IsTiled() && deepFlat.Bits() != flat.Bits() && tiledNow.IsTiled() && deepTiled.IsTiled());
    for (int i = 0; tiled.HasTile(i); ++i)
        QVERIFY(deepTiled.TileData(i) != tiled.TileData(i));
    for (const Image *const each : { &tiled, &flat, &deepFlat, &tiledNow, &deepTiled })
        QCOMPARE(difference(*each, expected), nowhere);
}

} // namespace

Q_DECLARE_METATYPE(std::shared_ptr<int>)

class TestImage : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (QThread::idealThreadCount() < 2)
            QSKIP("nothing is copied between storages with one processor");
    }

    void construction()
    {
        const int registered = QMetaType::type("RGBA32iImage"); // by the library, before anyone asks for the type
        QVERIFY(registered != QMetaType::UnknownType && registered == qMetaTypeId<RGBA32iImage>());
        const RGBA32iImage image;
        QVERIFY(!image.IsTiled() && image.Rect() == QRect(0, 0, 0, 0) && !image.Bits() && !image.HasFlatWindow());
        QVERIFY(image.DpiX() == 96 && image.DpiY() == 0 && image.MetadataFlags() == 0 && !image.FakeIsContent());
        QVERIFY(image.ExifElements().isEmpty() && image.ApplicationWord(0) == 0 && image.ApplicationByte() == 0);
        // Width and height, and how many tiles that makes across and down.
        using Sizes = std::vector<std::array<int, 4>>;
        for (const auto &[width, height, tilesX, tilesY] :
            Sizes { { 0, 0, 0, 0 }, { 200, 0, 2, 0 }, { 128, 128, 1, 1 }, { 129, 257, 2, 3 }, { -3, 4, 0, 1 } }) {
            RGBA32iImage tiled(width, height, true), flat(width, height, false);
            const int count = tilesX * tilesY;
            QVERIFY(tiled.IsTiled() && tiled.TilesX() == tilesX && tiled.TilesY() == tilesY && !tiled.Bits());
            QVERIFY(!flat.IsTiled() && flat.TilesX() == 0 && flat.TilesY() == 0 && !flat.HasTile(0));
            QVERIFY(tiled.Rect() == QRect(0, 0, qMax(width, 0), height) && !tiled.HasTile(count));
            QVERIFY(count == 0 || (tiled.IsFakeTile(count - 1) && tiled.TileData(0) == tiled.TileData(count - 1)));
            QCOMPARE(flat.Bits() != nullptr, count > 0);
            for (RGBA32iImage *const each : { &tiled, &flat }) {
                QCOMPARE(difference(*each, all({})), nowhere);
                each->Fill(red); // harmless without pixels
                QCOMPARE(difference(*each, all(red)), nowhere);
            }
        }
    }

    void storages()
    {
        storagesOf<RGBA32iImage>();
        storagesOf<CMYKAImage>();
        storagesOf<HSLAImage>();
        storagesOf<RGBA64iImage>();
        storagesOf<RGBA64fImage>();
        RGBA32iImage a(20, 10, false), b(20, 10, false), other(10, 20, false);
        paint(a);
        QVERIFY(CopyFlatImageData(&a, &b) && !CopyFlatImageData(&a, &other));
        QVERIFY(difference(b, pixelFor<>) == nowhere && difference(other, all({})) == nowhere);
    }

    void copiesShare()
    {
        RGBA32iImage image(130, 20, true), deep;
        paint(image);
        image.SetFlatWindow(QSharedPointer<OPRGBA32i>(new OPRGBA32i), QRect(0, 0, 1, 1), QPoint(4, 5), QPoint(6, 7));
        image.SetApplicationWord(0, 11);
        image.SetApplicationWord(1, 12);
        image.SetApplicationByte(13);
        image.SetDpi(300, 301);
        image.SetMetadataFlags(14);
        image.SetFakeIsContent(true);
        RGBA32iImage copy = image, moved = std::move(copy);
        const RGBA32iImage &itself = moved;
        moved = itself;
        image.CopyTo(deep, false);
        for (const RGBA32iImage &each : { moved, deep }) {
            QVERIFY(each.IsTiled() && each.Rect() == QRect(0, 0, 130, 20) && each.TilesX() == 2 && each.TilesY() == 1);
            QVERIFY(each.ApplicationWord(0) == 11 && each.ApplicationWord(1) == 12 && each.ApplicationByte() == 13);
            QVERIFY(each.DpiX() == 300 && each.DpiY() == 301 && &each.Mutex() != &image.Mutex());
        }
        QVERIFY(moved.HasFlatWindow() && moved.Bits() == image.Bits() && moved.FlatWindowRect() == QRect(0, 0, 1, 1));
        QVERIFY(moved.FlatWindowOffset() == QPoint(4, 5) && moved.FlatWindowOrigin() == QPoint(6, 7));
        QVERIFY(moved.MetadataFlags() == 14 && moved.FakeIsContent());
        QVERIFY(deep.MetadataFlags() == 0 && !deep.FakeIsContent() && !deep.HasFlatWindow() && !deep.Bits());
        moved.TileData(1, true)[0] = red;
        QVERIFY(at(image, 128, 0) == pixelFor(128, 0) && image.TileData(0) == moved.TileData(0));
    }

    void copyOnWrite()
    {
        RGBA32iImage image(300, 200, true), single(10, 10, true);
        image.Fill(faint);
        const OPRGBA32i *const shared = image.TileData(0);
        QCOMPARE(image.TileData(4, false), shared); // reading copies nothing
        OPRGBA32i *const own = image.TileData(4, true);
        QVERIFY(own != shared && std::all_of(own, own + 128 * 128, [](OPRGBA32i p) { return p == faint; }));
        own[0] = red;
        QCOMPARE(image.TileData(4, true), own); // private already
        for (int i = 0; i < 6; ++i)
            QVERIFY(image.IsFakeTile(i) == (i != 4) && image.TileData(i)[0] == (i == 4 ? red : faint));
        const OPRGBA32i *const fresh = image.AllocTile(2, true);
        QVERIFY(fresh == image.TileData(2) && fresh != shared && !image.IsFakeTile(2) && shared[0] == faint);
        QVERIFY(std::all_of(fresh, fresh + 128 * 128, [](OPRGBA32i p) { return p == OPRGBA32i(); }));
        single.TileData(0, true); // the uniform block is shared even where it is the only tile
        QVERIFY(!single.IsFakeTile(0));
    }

    void invalidIndices()
    {
        RGBA32iImage tiled(300, 200, true), flat(5, 5, false);
        const testing::LogCapture log;
        QVERIFY(!tiled.TileData(-1, false) && !tiled.TileData(6, true) && !flat.TileData(0, false));
        QVERIFY(!tiled.IsFakeTile(6) && !tiled.IsFakeTile(-1));
        tiled.SetFakeIsContent(true);
        QVERIFY(!tiled.IsFakeTile(6) && !tiled.AllocTile(6, true)); // in silence
        const QString read = "[include/KXImage] Invalid tile index for getting the tile data %1";
        const QString compare = "[include/KXImage] Invalid tile index for compare the tile data with fake";
        QCOMPARE(log.texts(), (QStringList { read.arg(-1), read.arg(6), read.arg(0), compare, compare }));
    }

    void fills()
    {
        RGBA32iImage image(300, 200, true), flat(40, 40, false);
        for (const auto &[tile, expected] : { std::pair(0, pixelFor(2, 1)), std::pair(5, pixelFor(258, 129)) }) {
            paint(image);
            image.Fill(image.TileData(tile)[130]); // a pixel of its own
            QVERIFY(difference(image, all(expected)) == nowhere && image.IsFakeTile(0) && image.IsFakeTile(5));
        }
        const RGBA32iImage before = image, shared = flat;
        image.Fill(red); // takes a fresh block
        QVERIFY(difference(before, all(pixelFor(258, 129))) == nowhere && before.IsFakeTile(0));
        paint(flat);
        flat.Fill(flat.Bits()[700]);
        QCOMPARE(difference(shared, all(pixelFor(20, 17))), nowhere); // a flat buffer is never copied
    }

    void rowsAcrossTiles()
    {
        for (const bool tiled : { false, true })
            for (const auto &[width, height] : { std::pair(1, 1), std::pair(127, 129), std::pair(513, 257) }) {
                RGBA32iImage image(width, height, tiled);
                const RGBA32iImage untouched = image;
                QVector<OPRGBA32i> model(width * height);
                QRandomGenerator random(20240607);
                for (int round = 0; round < 400; ++round) {
                    const int x = random.bounded(width), y = random.bounded(height), n = random.bounded(width - x + 1);
                    OPRGBA32i *const inModel = model.data() + y * width + x;
                    std::vector<OPRGBA32i> row(size_t(n) + 1, red), expected = row;
                    std::copy_n(inModel, n, expected.begin());
                    QVERIFY(image.ReadRow(unsigned(y), unsigned(x), row.data(), unsigned(n) * 4) && row == expected);
                    std::generate(row.begin(), row.end(), [&] { return OPRGBA32i(random.generate()); });
                    QVERIFY(image.WriteRow(unsigned(y), unsigned(x), row.data(), unsigned(n) * 4));
                    std::copy_n(row.begin(), n, inModel);
                }
                QCOMPARE(difference(image, [&, w = width](int x, int y) { return model[y * w + x]; }), nowhere);
                QVERIFY(!tiled || difference(untouched, all({})) == nowhere); // a copy keeps its tiles
            }
    }

    void rowsOutside()
    {
        std::vector<OPRGBA32i> row(400, red);
        for (const bool isTiled : { false, true }) {
            RGBA32iImage image(130, 5, isTiled);
            for (const auto &[x, y] : { std::pair(130u, 0u), { 0u, 5u }, { ~0u, 0u }, { 0u, ~0u } })
                QVERIFY(!image.ReadRow(y, x, row.data(), 4) && !image.WriteRow(y, x, row.data(), 4));
            QVERIFY(image.ReadRow(4, 5, nullptr, 20) && image.WriteRow(4, 5, nullptr, 20));
            QVERIFY(!isTiled || image.IsFakeTile(0));
        }
        // A tiled row ends with its last tile, 256 pixels here, and does not go on in the next row of tiles.
        RGBA32iImage tiled(130, 130, true);
        QVERIFY(tiled.WriteRow(3, 2, row.data(), 1600) && tiled.IsFakeTile(2));
        QVERIFY(tiled.TileData(1)[3 * 128 + 127] == red && tiled.TileData(0)[3 * 128 + 1] == OPRGBA32i());
        tiled.Fill(faint);
        QVERIFY(tiled.ReadRow(3, 2, row.data(), 1600) && row[253] == faint && row[254] == red);
    }

    void nullAndFakeTiles()
    {
        RGBA32iImage image(300, 10, true), flat(300, 10, false), deep;
        image.Fill(faint);
        image.TileData(0, true);
        image.ReleaseTile(1);
        image.ReleaseTile(3); // out of range: nothing happens
        QVERIFY(!image.TileData(1) && !image.TileData(1, true) && !image.IsFakeTile(1) && image.IsFakeTile(2));
        std::vector<OPRGBA32i> row(300, red);
        QVERIFY(image.WriteRow(2, 200, row.data(), 4) && !image.TileData(1));
        QVERIFY(image.ReadRow(2, 0, row.data(), 1200)); // passed over: the buffer keeps what it had
        QVERIFY(row[0] == faint && row[127] == faint && row[128] == red && row[255] == red && row[256] == faint);
        image.CopyTo(deep, false);
        QVERIFY(!deep.IsFakeTile(0) && deep.IsFakeTile(1) && !deep.IsFakeTile(2)); // as deep was constructed
        flat.Fill(red);
        RGBA32iImage::CopyRect(flat, image, image.Rect(), flat.Rect(), true);
        QCOMPARE(difference(flat, [](int x, int) { return x < 128 ? faint : red; }), nowhere);
        image.SetFakeIsContent(true);
        QVERIFY(!image.IsFakeTile(2));
        RGBA32iImage::CopyRect(flat, image, image.Rect(), flat.Rect(), true);
        QCOMPARE(difference(flat, [](int x, int) { return x / 128 != 1 ? faint : red; }), nowhere);
        RGBA32iImage::CopyRect(deep, flat, QRect(130, 0, 5, 5), QRect(0, 0, 5, 5), true);
        QVERIFY(at(deep, 4, 4) == red && deep.IsFakeTile(1)); // only tiles under the rectangle become content
    }

    void rowsThroughAFlatWindow()
    {
        const struct {
            QPoint offset, origin, corner; // the window lies at corner
        } cases[] = { { { 0, 0 }, { 120, 3 }, { 120, 3 } }, { { 20, 2 }, { 0, 0 }, { -20, -2 } },
            { { 5, 5 }, { 205, 6 }, { 200, 1 } }, { { 0, 0 }, { 0, 40 }, { 0, 40 } } };
        const QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[750], [](OPRGBA32i *p) { delete[] p; });
        for (int i = 0; i < 750; ++i)
            pixels.data()[i] = OPRGBA32i(0x80000000u | unsigned(i));
        for (const auto &each : cases) {
            RGBA32iImage image(300, 9, true);
            image.Fill(faint);
            image.AllocTile(1, true); // not fake: the window does not show there
            image.SetFlatWindow(pixels, QRect(0, 0, 150, 5), each.offset, each.origin);
            const auto expected = [&](int x, int y) {
                const int wx = x - each.corner.x(), wy = y - each.corner.y();
                const bool covered = wx >= 0 && wx < 150 && wy >= 0 && wy < 5;
                return OPRGBA32i(x / 128 == 1 ? 0 : covered ? 0x80000000u | unsigned(wy * 150 + wx) : faint.word);
            };
            QCOMPARE(difference(image, expected), nowhere);
            image.ClearFlatWindow();
            QVERIFY(at(image, 260, 4) == faint && !image.HasFlatWindow() && !image.Bits());
        }
        RGBA32iImage flat(10, 10, false);
        flat.SetFlatWindow(pixels, QRect(0, 0, 150, 5), QPoint(), QPoint()); // only for tiled images
        QVERIFY(!flat.HasFlatWindow() && at(flat, 1, 1) == OPRGBA32i());
    }

    void copyRect_data()
    {
        QTest::addColumn<QRect>("sourceRect");
        QTest::addColumn<QPoint>("to");
        QTest::newRow("inside") << QRect(5, 6, 150, 20) << QPoint(100, 120);
        QTest::newRow("over the start") << QRect(-20, -30, 200, 100) << QPoint(-50, -10);
        QTest::newRow("over the end") << QRect(200, 150, 400, 400) << QPoint(1, 2);
        QTest::newRow("nothing in common") << QRect(10, 10, 20, 20) << QPoint(300, 0);
    }

    void copyRect()
    {
        QFETCH(QRect, sourceRect);
        QFETCH(QPoint, to);
        for (int pairing = 0; pairing < 8; ++pairing) {
            const bool sourceTiled = pairing & 1, tiled = pairing & 2, overwrite = pairing & 4;
            RGBA32iImage source(300, 200, sourceTiled), image(260, 270, tiled);
            paint(source);
            for (int y = 0; y < 200; y += 3) // every third row has transparent pixels
                for (int x = y % 5; x < 300; x += 5)
                    source.WriteRow(unsigned(y), unsigned(x), &clear, 4);
            image.Fill(faint);
            const RGBA32iImage before = image;
            const testing::LogCapture log;
            RGBA32iImage::CopyRect(image, source, sourceRect, QRect(to, sourceRect.size()), overwrite);
            const auto expected = [&](int x, int y) {
                const QPoint p = QPoint(x, y) - to + sourceRect.topLeft();
                if ((sourceTiled && tiled) || !sourceRect.contains(p) || !source.Rect().contains(p))
                    return faint;
                const OPRGBA32i pixel = at(source, p.x(), p.y());
                return pixel.a || overwrite || (!sourceTiled && !tiled) ? pixel : faint;
            };
            QCOMPARE(difference(image, expected), nowhere);
            QVERIFY(!tiled || difference(before, all(faint)) == nowhere); // a copy keeps its tiles
            QVERIFY(log.texts().isEmpty()); // between tiled images nothing is copied, in silence
        }
    }

    void clipRects()
    {
        const int low = INT_MIN, high = INT_MAX;
        const auto corners = [](int left, int top, int right, int bottom) {
            return QRect(QPoint(left, top), QPoint(right, bottom));
        };
        // A lies in an image of 100 by 80, B in one of 60 by 90; nothing expected: nothing in common.
        const auto check = [](QRect rectA, QRect rectB, QRect inA = QRect(), QPoint inB = QPoint()) {
            const auto area = ClipRects(QRect(0, 0, 100, 80), rectA, QRect(0, 0, 60, 90), rectB);
            if (!area || !inA.isValid())
                return !area && !inA.isValid();
            return QRect(area->sourceX, area->sourceY, area->width, area->height) == inA
                && QPoint(area->destinationX, area->destinationY) == inB;
        };
        const QRect all(0, 0, 100, 90), everything = corners(low, low, high, high);
        QVERIFY(check({ 10, 20, 30, 30 }, { 5, 5, 30, 30 }, { 10, 20, 30, 30 }, { 5, 5 }));
        QVERIFY(check({ 0, 0, 50, 50 }, { 7, 8, 9, 10 }, { 0, 0, 9, 10 }, { 7, 8 }));
        QVERIFY(check({ -10, -5, 40, 40 }, { 3, 4, 40, 40 }, { 0, 0, 30, 35 }, { 13, 9 }));
        QVERIFY(check({ 3, 4, 40, 40 }, { -10, -5, 40, 40 }, { 13, 9, 30, 35 }, { 0, 0 }));
        QVERIFY(check({ 90, 70, 50, 50 }, { 55, 85, 50, 50 }, { 90, 70, 5, 5 }, { 55, 85 }));
        QVERIFY(check({ 10, 10, 0, 5 }, all) && check(all, QRect()));
        QVERIFY(check({ -20, 0, 20, 20 }, all)); // touches the image from outside
        QVERIFY(check({ -50, 0, 60, 10 }, { -100, 0, 160, 10 })); // what is left of A falls before B
        // Corners and distances beyond what an int holds.
        QVERIFY(check(corners(-2000000000, -2000000000, 50, 50), corners(-2000000010, -2000000020, 50, 50),
            { 10, 20, 41, 31 }, { 0, 0 }));
        QVERIFY(check(everything, everything, { 0, 0, 60, 80 }) && check(corners(low, low, low + 10, low + 10), all));
        QVERIFY(check(corners(2000000000, 0, 50, 50), corners(-2000000000, 0, 50, 50)));
        QVERIFY(check(corners(low, low, low, low), corners(high, high, high, high)));
    }

    void exifElementsAreDeletedOnce()
    {
        auto alive = std::make_shared<int>(); // each element holds it until it is deleted
        const auto element = [&alive] { return new KXEXIFElement(KXEXIFElement::Make, QVariant::fromValue(alive)); };
        RGBA32iImage image(10, 10, true), copy, survivor;
        image.SetExifElements({ element(), element() });
        image.CopyTo(copy, false);
        survivor = image;
        QVERIFY(alive.use_count() == 3 && copy.ExifElements() == image.ExifElements()); // shared by all
        image.SetExifElements(image.ExifElements() << element()); // the copies keep theirs
        image.SetExifElements(image.ExifElements().mid(2) + image.ExifElements().mid(2)); // one, listed twice
        QVERIFY(alive.use_count() == 4 && survivor.ExifElements().size() == 2);
        image = copy = RGBA32iImage();
        QCOMPARE(alive.use_count(), 3L);
        survivor = RGBA32iImage();
        QCOMPARE(alive.use_count(), 1L);
    }
};

KXCORE_TEST_MAIN(TestImage)
#include "tst_image.moc"
