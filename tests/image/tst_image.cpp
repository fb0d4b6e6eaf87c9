#include "TestSupport.h"

#include "KXImage.h"

#include <QtCore/QRandomGenerator>

#include <set>

namespace {

constexpr OPRGBA32i red { 0xFFFF0000u }, faint { 0x01020304u }, clear { 0x00112233u };

/// A pixel that says where it belongs.
template <class T>
T pixelFor(int x, int y)
{
    T p;
    p.word = 0xFF000000u | unsigned(y) << 12 | unsigned(x);
    return p;
}

/// One pixel, whatever the storage.
template <class Image>
auto at(const Image &image, int x, int y)
{
    typename Image::Pixel p;
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

std::vector<const OPRGBA32i *> blocks(const RGBA32iImage &image)
{
    std::vector<const OPRGBA32i *> result;
    for (int i = 0; image.HasTile(i); ++i)
        result.push_back(image.TileData(i));
    return result;
}

size_t countOfBlocks(const RGBA32iImage &image)
{
    const auto table = blocks(image);
    return std::set<const OPRGBA32i *>(table.begin(), table.end()).size();
}

QRect corners(int left, int top, int right, int bottom) { return QRect(QPoint(left, top), QPoint(right, bottom)); }

QSharedPointer<OPRGBA32i> windowPixels(int width, int height)
{
    QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[size_t(width * height)], [](OPRGBA32i *p) { delete[] p; });
    for (int i = 0; i < width * height; ++i)
        pixels.data()[i] = OPRGBA32i(0x80000000u | unsigned(i));
    return pixels;
}

} // namespace

Q_DECLARE_METATYPE(std::shared_ptr<int>)

class TestImage : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void construction();
    void sizes_data();
    void sizes();
    void eightBytePixels();
    void copiesShare();
    void everythingIsCopied();
    void copyOnWrite();
    void invalidIndices();
    void fillTakesAFreshBlock();
    void fillWithAPixelOfItsOwn();
    void deepCopies();
    void whatADeepCopyTakesOver();
    void rowsAcrossTiles_data();
    void rowsAcrossTiles();
    void rowsOutside();
    void nullTiles();
    void rowsThroughAFlatWindow_data();
    void rowsThroughAFlatWindow();
    void fakeIsContent();
    void copyRect_data();
    void copyRect();
    void copyRectLeavesFakeTilesAlone();
    void copyFlatImageData();
    void clipRects_data();
    void clipRects();
    void exifElementsAreDeletedOnce();
    void whatIsNotThereIsLeftAlone();
    void metaType();
};

void TestImage::construction()
{
    const RGBA32iImage none;
    QVERIFY(!none.IsTiled() && none.Width() == 0 && none.Height() == 0 && none.TilesX() == 0 && !none.Bits());
    QVERIFY(none.DpiX() == 96 && none.DpiY() == 0 && none.MetadataFlags() == 0 && none.ExifElements().isEmpty());
    QVERIFY(!none.HasFlatWindow() && !none.FakeIsContent() && none.ApplicationWord(0) == 0);

    const RGBA32iImage flat(5, 3, false);
    QVERIFY(!flat.IsTiled() && flat.TilesX() == 0 && flat.TilesY() == 0 && flat.Bits() && !flat.HasTile(0));
    for (int i = 0; i < 15; ++i)
        QCOMPARE(flat.Bits()[i], OPRGBA32i());

    const RGBA32iImage tiled(300, 200, true);
    QVERIFY(tiled.IsTiled() && tiled.TilesX() == 3 && tiled.TilesY() == 2 && !tiled.Bits());
    QVERIFY(blocks(tiled).size() == 6 && countOfBlocks(tiled) == 1);
    for (int i = 0; i < 6; ++i)
        QVERIFY(tiled.IsFakeTile(i));
    for (int i = 0; i < 128 * 128; ++i)
        QCOMPARE(tiled.TileData(5)[i], OPRGBA32i());
    QCOMPARE(tiled.Rect(), QRect(0, 0, 300, 200));
}

void TestImage::sizes_data()
{
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("tilesX");
    QTest::addColumn<int>("tilesY");
    QTest::newRow("nothing") << 0 << 0 << 0 << 0;
    QTest::newRow("no height") << 200 << 0 << 2 << 0;
    QTest::newRow("one pixel") << 1 << 1 << 1 << 1;
    QTest::newRow("one tile") << 128 << 128 << 1 << 1;
    QTest::newRow("one pixel more") << 129 << 257 << 2 << 3;
    QTest::newRow("negative counts as none") << -3 << 4 << 0 << 1;
}

void TestImage::sizes()
{
    QFETCH(int, width);
    QFETCH(int, height);
    RGBA32iImage tiled(width, height, true), flat(width, height, false);
    QTEST(tiled.TilesX(), "tilesX");
    QTEST(tiled.TilesY(), "tilesY");
    const bool hasPixels = width > 0 && height > 0;
    QCOMPARE(tiled.HasTile(0), hasPixels);
    QCOMPARE(flat.Bits() != nullptr, hasPixels);
    for (RGBA32iImage *const image : { &tiled, &flat }) {
        image->Fill(red); // harmless without pixels
        QCOMPARE(at(*image, width - 1, height - 1), hasPixels ? red : OPRGBA32i());
    }
}

/// Storage of 8-byte pixels: tiles of 128 by 64.
template <class Image>
void eightBytePixelsOf()
{
    using T = typename Image::Pixel;
    Image image(300, 130, true);
    QVERIFY(image.TilesX() == 3 && image.TilesY() == 3);
    paint(image);
    for (const QPoint p : { QPoint(0, 0), QPoint(127, 63), QPoint(128, 64), QPoint(299, 129) }) {
        const quint64 expected = pixelFor<T>(p.x(), p.y()).word;
        QCOMPARE(at(image, p.x(), p.y()).word, expected);
        QCOMPARE(image.TileData(p.y() / 64 * 3 + p.x() / 128)[p.y() % 64 * 128 + p.x() % 128].word, expected);
    }
    if (QThread::idealThreadCount() < 2)
        return;
    Image flat(300, 130, false), back(1, 1, true);
    Image::CopyRect(flat, image, image.Rect(), flat.Rect(), true);
    flat.CopyTo(back, true);
    for (int y = 0; y < 130; ++y)
        for (int x = 0; x < 300; ++x) {
            QCOMPARE(at(flat, x, y).word, pixelFor<T>(x, y).word);
            QCOMPARE(at(back, x, y).word, pixelFor<T>(x, y).word);
        }
}

void TestImage::eightBytePixels()
{
    eightBytePixelsOf<CMYKAImage>();
    eightBytePixelsOf<HSLAImage>();
    eightBytePixelsOf<RGBA64iImage>();
    eightBytePixelsOf<RGBA64fImage>();
}

void TestImage::copiesShare()
{
    RGBA32iImage tiled(200, 200, true);
    paint(tiled);
    RGBA32iImage copy = tiled;
    QCOMPARE(blocks(copy), blocks(tiled));
    copy.TileData(1, true)[0] = red;
    QCOMPARE(at(copy, 128, 0), red);
    QCOMPARE(at(tiled, 128, 0), pixelFor<OPRGBA32i>(128, 0));
    QVERIFY(copy.TileData(0) == tiled.TileData(0) && copy.TileData(1) != tiled.TileData(1));

    const RGBA32iImage flat(4, 4, false);
    RGBA32iImage same = flat;
    same.Bits()[3] = red; // a flat buffer is never copied
    QCOMPARE(flat.Bits()[3], red);

    RGBA32iImage moved = std::move(copy);
    const RGBA32iImage &itself = moved;
    moved = itself;
    QCOMPARE(at(moved, 128, 0), red);
    QVERIFY(&moved.Mutex() != &tiled.Mutex());
}

void TestImage::everythingIsCopied()
{
    RGBA32iImage image(130, 20, true);
    image.SetFlatWindow(windowPixels(3, 2), QRect(0, 0, 3, 2), QPoint(4, 5), QPoint(6, 7));
    image.SetApplicationWord(0, 11);
    image.SetApplicationWord(1, 12);
    image.SetApplicationByte(13);
    image.SetDpi(300, 301);
    image.SetMetadataFlags(14);
    image.SetFakeIsContent(true);
    RGBA32iImage copy(7, 7, false);
    copy = image;
    QVERIFY(copy.IsTiled() && copy.Rect() == QRect(0, 0, 130, 20) && copy.TilesX() == 2 && copy.TilesY() == 1);
    QVERIFY(copy.HasFlatWindow() && copy.Bits() == image.Bits() && copy.FlatWindowRect() == QRect(0, 0, 3, 2));
    QVERIFY(copy.FlatWindowOffset() == QPoint(4, 5) && copy.FlatWindowOrigin() == QPoint(6, 7));
    QVERIFY(copy.ApplicationWord(0) == 11 && copy.ApplicationWord(1) == 12 && copy.ApplicationByte() == 13);
    QVERIFY(copy.DpiX() == 300 && copy.DpiY() == 301 && copy.MetadataFlags() == 14 && copy.FakeIsContent());
}

void TestImage::copyOnWrite()
{
    RGBA32iImage image(300, 200, true);
    image.Fill(faint);
    const OPRGBA32i *const shared = image.TileData(0);
    QCOMPARE(image.TileData(4, false), shared); // reading copies nothing
    OPRGBA32i *const own = image.TileData(4, true);
    QVERIFY(own != shared);
    for (int i = 0; i < 128 * 128; ++i)
        QCOMPARE(own[i], faint); // with the old contents
    own[0] = red;
    QCOMPARE(image.TileData(4, true), own); // private already
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(image.IsFakeTile(i), i != 4);
        QCOMPARE(image.TileData(i)[0], i == 4 ? red : faint);
    }
    RGBA32iImage single(10, 10, true); // the uniform block is shared even where it is the only tile
    const OPRGBA32i *const uniform = single.TileData(0, false);
    QVERIFY(single.TileData(0, true) != uniform && !single.IsFakeTile(0));

    const OPRGBA32i *const fresh = image.AllocTile(2, true);
    QVERIFY(fresh == image.TileData(2) && fresh != shared && !image.IsFakeTile(2));
    QCOMPARE(fresh[128 * 128 - 1], OPRGBA32i());
    QCOMPARE(shared[0], faint);
}

void TestImage::invalidIndices()
{
    RGBA32iImage tiled(300, 200, true), flat(5, 5, false);
    QStringList lines;
    {
        testing::LogCapture log;
        QVERIFY(!tiled.TileData(-1, false) && !tiled.TileData(6, true) && !flat.TileData(0, false));
        QVERIFY(!tiled.IsFakeTile(6) && !tiled.IsFakeTile(-1));
        QVERIFY(!tiled.AllocTile(6, true) && !tiled.AllocTile(-1, false)); // in silence
        tiled.SetFakeIsContent(true);
        QVERIFY(!tiled.IsFakeTile(6)); // no index is looked at
        lines = log.texts();
    }
    const QString read = "[include/KXImage] Invalid tile index for getting the tile data %1";
    const QString compare = "[include/KXImage] Invalid tile index for compare the tile data with fake";
    QCOMPARE(lines, (QStringList { read.arg(-1), read.arg(6), read.arg(0), compare, compare }));
}

void TestImage::fillTakesAFreshBlock()
{
    RGBA32iImage image(300, 200, true);
    paint(image);
    const RGBA32iImage before = image;
    image.Fill(faint);
    QCOMPARE(countOfBlocks(image), size_t(1));
    for (int i = 0; i < 6; ++i) {
        QVERIFY(image.IsFakeTile(i) && !before.IsFakeTile(i));
        QCOMPARE(image.TileData(i)[77], faint);
    }
    for (const QPoint p : { QPoint(0, 0), QPoint(128, 128), QPoint(299, 199) })
        QCOMPARE(at(before, p.x(), p.y()), pixelFor<OPRGBA32i>(p.x(), p.y()));

    const RGBA32iImage fake = image; // also where the old tiles are all fake
    image.Fill(red);
    QCOMPARE(at(fake, 299, 199), faint);
    QVERIFY(fake.IsFakeTile(0));
}

void TestImage::fillWithAPixelOfItsOwn()
{
    for (const int tile : { 0, 5 }) {
        RGBA32iImage image(300, 200, true);
        paint(image);
        const OPRGBA32i *const value = image.TileData(tile) + 200, expected = *value;
        image.Fill(*value);
        for (int i = 0; i < 128 * 128; ++i)
            QCOMPARE(image.TileData(3)[i], expected);
    }
    RGBA32iImage flat(40, 40, false);
    paint(flat);
    const RGBA32iImage shared = flat; // a flat buffer is never copied
    flat.Fill(flat.Bits()[700]);
    for (int i = 0; i < 1600; ++i)
        QCOMPARE(shared.Bits()[i], pixelFor<OPRGBA32i>(700 % 40, 700 / 40));
}

void TestImage::deepCopies()
{
    if (QThread::idealThreadCount() < 2)
        QSKIP("copies between storages need two processors");
    RGBA32iImage tiled(300, 200, true), flat(300, 200, false), target(1, 1, false);
    paint(flat);
    tiled.Fill(faint);
    tiled.TileData(2, true)[0] = red;
    for (const bool forceTiled : { false, true }) {
        flat.CopyTo(target, forceTiled);
        QCOMPARE(target.IsTiled(), forceTiled);
        QVERIFY(forceTiled || target.Bits() != flat.Bits());
        for (int y = 0; y < 200; ++y)
            for (int x = 0; x < 300; ++x)
                QCOMPARE(at(target, x, y), pixelFor<OPRGBA32i>(x, y));

        tiled.CopyTo(target, forceTiled);
        QVERIFY(target.IsTiled());
        QCOMPARE(countOfBlocks(target), size_t(6)); // all private
        for (int i = 0; i < 6; ++i) {
            QVERIFY(!target.IsFakeTile(i) && target.TileData(i) != tiled.TileData(i));
            QCOMPARE(target.TileData(i)[0], i == 2 ? red : faint);
        }
    }
    const RGBA32iImage none;
    none.CopyTo(target, false);
    QVERIFY(target.Width() == 0 && !target.Bits());
}

void TestImage::whatADeepCopyTakesOver()
{
    RGBA32iImage image(20, 20, true), copy;
    image.SetDpi(72, 73);
    image.SetMetadataFlags(5);
    image.SetApplicationWord(1, 9);
    image.SetApplicationByte(8);
    image.SetFakeIsContent(true);
    image.SetFlatWindow(windowPixels(3, 2), QRect(0, 0, 3, 2), QPoint(), QPoint());
    image.CopyTo(copy, false);
    QVERIFY(copy.DpiX() == 72 && copy.DpiY() == 73 && copy.ApplicationWord(1) == 9 && copy.ApplicationByte() == 8);
    QVERIFY(copy.MetadataFlags() == 0 && !copy.FakeIsContent() && !copy.HasFlatWindow() && !copy.Bits());
}

void TestImage::rowsAcrossTiles_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<bool>("tiled");
    for (const bool tiled : { false, true })
        for (const QSize size : { QSize(1, 1), QSize(127, 129), QSize(128, 128), QSize(300, 130), QSize(513, 257) })
            QTest::addRow("%s %d by %d", tiled ? "tiled" : "flat", size.width(), size.height()) << size << tiled;
}

void TestImage::rowsAcrossTiles()
{
    QFETCH(QSize, size);
    QFETCH(bool, tiled);
    RGBA32iImage image(size.width(), size.height(), tiled);
    const RGBA32iImage untouched = image;
    QVector<OPRGBA32i> model(size.width() * size.height());
    QRandomGenerator random(20240607);
    for (int round = 0; round < 400; ++round) {
        const int x = random.bounded(size.width()), y = random.bounded(size.height());
        const int n = random.bounded(size.width() - x + 1);
        std::vector<OPRGBA32i> row(size_t(n) + 1, red), expected = row;
        std::copy_n(model.begin() + y * size.width() + x, n, expected.begin());
        QVERIFY(image.ReadRow(unsigned(y), unsigned(x), row.data(), unsigned(n) * 4));
        QVERIFY2(row == expected, qPrintable(QString("x %1 y %2 n %3").arg(x).arg(y).arg(n)));
        for (auto &p : row)
            p.word = random.generate();
        QVERIFY(image.WriteRow(unsigned(y), unsigned(x), row.data(), unsigned(n) * 4));
        std::copy_n(row.begin(), n, model.begin() + y * size.width() + x);
    }
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) {
            QCOMPARE(at(image, x, y), model[y * size.width() + x]);
            QVERIFY(!tiled || at(untouched, x, y) == OPRGBA32i()); // a copy keeps its tiles
        }
}

void TestImage::rowsOutside()
{
    OPRGBA32i row[400];
    for (const bool tiled : { false, true }) {
        RGBA32iImage image(130, 5, tiled);
        for (const auto &[x, y] : { std::pair<unsigned, unsigned> { 130, 0 }, { 0, 5 }, { ~0u, 0 }, { 0, ~0u } }) {
            QVERIFY(!image.ReadRow(y, x, row, 4));
            QVERIFY(!image.WriteRow(y, x, row, 4));
        }
    }
    const RGBA32iImage flat(130, 5, false);
    QVERIFY(flat.ReadRow(0, 0, nullptr, 520));

    // A tiled row ends with its last tile, 256 pixels here, not with the image, and does not go on in the next row of tiles.
    RGBA32iImage tiled(130, 130, true);
    std::fill(std::begin(row), std::end(row), red);
    QVERIFY(tiled.WriteRow(3, 2, row, sizeof row));
    QCOMPARE(tiled.TileData(1)[3 * 128 + 127], red);
    QCOMPARE(tiled.TileData(0)[3 * 128 + 1], OPRGBA32i());
    QVERIFY(tiled.IsFakeTile(2));
    tiled.Fill(faint);
    QVERIFY(tiled.ReadRow(3, 2, row, sizeof row));
    QCOMPARE(row[253], faint);
    QCOMPARE(row[254], red);
}

void TestImage::nullTiles()
{
    RGBA32iImage image(300, 10, true);
    image.Fill(faint);
    image.ReleaseTile(1);
    image.ReleaseTile(3); // out of range: nothing happens
    QVERIFY(!image.TileData(1) && !image.TileData(1, true) && !image.IsFakeTile(1) && image.IsFakeTile(2));

    std::vector<OPRGBA32i> row(300, red);
    QVERIFY(image.ReadRow(2, 0, row.data(), 1200));
    for (int x = 0; x < 300; ++x)
        QCOMPARE(row[size_t(x)], x / 128 == 1 ? red : faint); // passed over: the buffer keeps what it had
    std::fill(row.begin(), row.end(), clear);
    QVERIFY(image.WriteRow(2, 0, row.data(), 1200));
    QVERIFY(!image.TileData(1));

    RGBA32iImage copy;
    image.CopyTo(copy, false);
    QVERIFY(copy.IsFakeTile(1) && !copy.IsFakeTile(0)); // as the copy was constructed
    if (QThread::idealThreadCount() > 1) {
        RGBA32iImage flat(300, 10, false);
        flat.Fill(red);
        RGBA32iImage::CopyRect(flat, image, image.Rect(), flat.Rect(), true);
        for (int x = 0; x < 300; ++x)
            QCOMPARE(at(flat, x, 2), x / 128 == 1 ? red : clear);
    }
    image.AllocTile(1, true);
    QVERIFY(image.TileData(1));
}

void TestImage::rowsThroughAFlatWindow_data()
{
    QTest::addColumn<QPoint>("offset");
    QTest::addColumn<QPoint>("origin");
    QTest::addColumn<QRect>("covered"); // by the window of 150 by 5, in image coordinates
    QTest::newRow("at the corner") << QPoint(0, 0) << QPoint(0, 0) << QRect(0, 0, 150, 5);
    QTest::newRow("further in") << QPoint(0, 0) << QPoint(60, 3) << QRect(60, 3, 150, 5);
    QTest::newRow("off the corner") << QPoint(20, 2) << QPoint(0, 0) << QRect(-20, -2, 150, 5);
    QTest::newRow("over the right edge") << QPoint(5, 5) << QPoint(205, 6) << QRect(200, 1, 150, 5);
    QTest::newRow("outside") << QPoint(0, 0) << QPoint(0, 40) << QRect(0, 40, 150, 5);
}

void TestImage::rowsThroughAFlatWindow()
{
    QFETCH(QPoint, offset);
    QFETCH(QPoint, origin);
    QFETCH(QRect, covered);
    RGBA32iImage image(300, 9, true);
    image.Fill(faint);
    image.AllocTile(1, true); // not fake: the window does not show there
    image.SetFlatWindow(windowPixels(150, 5), QRect(0, 0, 150, 5), offset, origin);
    for (int y = 0; y < 9; ++y)
        for (const int x0 : { 0, 1, 100, 130, 299 }) {
            std::vector<OPRGBA32i> row(size_t(300 - x0));
            QVERIFY(image.ReadRow(unsigned(y), unsigned(x0), row.data(), unsigned(row.size()) * 4));
            for (int x = x0; x < 300; ++x) {
                const QPoint p = QPoint(x, y) - covered.topLeft();
                OPRGBA32i expected = covered.contains(x, y) ? 0x80000000u | unsigned(p.y() * 150 + p.x()) : faint.word;
                if (x / 128 == 1)
                    expected = OPRGBA32i();
                QVERIFY2(row[size_t(x - x0)] == expected, qPrintable(QString("from %1: %2 %3").arg(x0).arg(x).arg(y)));
            }
        }
    image.ClearFlatWindow();
    QCOMPARE(at(image, 70, 4), faint);
}

void TestImage::fakeIsContent()
{
    RGBA32iImage image(300, 10, true);
    image.Fill(faint);
    image.SetFakeIsContent(true);
    for (int i = 0; i < 3; ++i)
        QVERIFY(!image.IsFakeTile(i));
    if (QThread::idealThreadCount() > 1) {
        RGBA32iImage flat(300, 10, false);
        RGBA32iImage::CopyRect(flat, image, image.Rect(), flat.Rect(), false);
        QCOMPARE(at(flat, 299, 9), faint);
    }
    image.SetFakeIsContent(false);
    QVERIFY(image.IsFakeTile(0));
}

void TestImage::copyRect_data()
{
    QTest::addColumn<bool>("sourceTiled");
    QTest::addColumn<bool>("tiled");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<QRect>("sourceRect");
    QTest::addColumn<QPoint>("to");
    const struct {
        const char *name;
        QRect rect;
        QPoint to;
    } rows[] = { { "all", { 0, 0, 300, 200 }, { 0, 0 } }, { "inside", { 5, 6, 150, 20 }, { 100, 120 } },
        { "over the start", { -20, -30, 200, 100 }, { -50, -10 } },
        { "over the end", { 200, 150, 400, 400 }, { 1, 2 } }, { "nothing in common", { 10, 10, 20, 20 }, { 300, 0 } } };
    for (int pairing = 0; pairing < 8; ++pairing)
        for (const auto &row : rows)
            QTest::addRow("%s to %s%s: %s", pairing & 1 ? "tiled" : "flat", pairing & 2 ? "tiled" : "flat",
                pairing & 4 ? ", overwrite" : "", row.name)
                << bool(pairing & 1) << bool(pairing & 2) << bool(pairing & 4) << row.rect << row.to;
}

void TestImage::copyRect()
{
    if (QThread::idealThreadCount() < 2)
        QSKIP("nothing is copied with one processor");
    QFETCH(bool, sourceTiled);
    QFETCH(bool, tiled);
    QFETCH(bool, overwrite);
    QFETCH(QRect, sourceRect);
    QFETCH(QPoint, to);
    RGBA32iImage source(300, 200, sourceTiled), image(260, 270, tiled);
    paint(source);
    for (int y = 0; y < 200; y += 3) // every third row has transparent pixels
        for (int x = y % 5; x < 300; x += 5)
            source.WriteRow(unsigned(y), unsigned(x), &clear, 4);
    image.Fill(faint);
    const RGBA32iImage before = image;

    RGBA32iImage::CopyRect(image, source, sourceRect, QRect(to, sourceRect.size()), overwrite);

    const bool copiesAll = overwrite || (!sourceTiled && !tiled);
    for (int y = 0; y < 270; ++y)
        for (int x = 0; x < 260; ++x) {
            const QPoint p = QPoint(x, y) - to + sourceRect.topLeft();
            OPRGBA32i expected = faint;
            if (!(sourceTiled && tiled) && sourceRect.contains(p) && source.Rect().contains(p)) {
                const OPRGBA32i s = at(source, p.x(), p.y());
                if (copiesAll || s.a)
                    expected = s;
            }
            QVERIFY2(at(image, x, y) == expected, qPrintable(QString("%1 %2").arg(x).arg(y)));
            QVERIFY(!tiled || at(before, x, y) == faint); // a copy keeps its tiles
        }
}

void TestImage::copyRectLeavesFakeTilesAlone()
{
    if (QThread::idealThreadCount() < 2)
        QSKIP("nothing is copied with one processor");
    RGBA32iImage source(300, 20, true), flat(300, 20, false), tiled(300, 20, true);
    source.Fill(red);
    source.TileData(1, true);
    RGBA32iImage::CopyRect(flat, source, source.Rect(), flat.Rect(), true);
    for (int x = 0; x < 300; ++x)
        QCOMPARE(at(flat, x, 7), x / 128 == 1 ? red : OPRGBA32i());
    QStringList lines;
    {
        testing::LogCapture log;
        RGBA32iImage::CopyRect(tiled, source, source.Rect(), tiled.Rect(), true);
        lines = log.texts();
    }
    QVERIFY(lines.isEmpty() && tiled.IsFakeTile(1)); // tiled to tiled: nothing, in silence

    RGBA32iImage::CopyRect(tiled, flat, QRect(130, 0, 5, 5), QRect(0, 0, 5, 5), true);
    QVERIFY(!tiled.IsFakeTile(0) && tiled.IsFakeTile(1) && tiled.IsFakeTile(2)); // only tiles under the rectangle
}

void TestImage::copyFlatImageData()
{
    RGBA32iImage a(20, 10, false), b(20, 10, false), other(10, 20, false);
    paint(a);
    QVERIFY(CopyFlatImageData(&a, &b));
    QCOMPARE(at(b, 19, 9), pixelFor<OPRGBA32i>(19, 9));
    QVERIFY(!CopyFlatImageData(&a, &other));
    QCOMPARE(at(other, 0, 1), OPRGBA32i());
}

void TestImage::clipRects_data()
{
    QTest::addColumn<QRect>("rectA"); // in an image of 100 by 80
    QTest::addColumn<QRect>("rectB"); // in an image of 60 by 90
    QTest::addColumn<QRect>("inA"); // invalid: nothing in common
    QTest::addColumn<QPoint>("inB");
    const int low = INT_MIN, high = INT_MAX;
    const QRect none, all(0, 0, 100, 90);
    QTest::newRow("same place") << all << all << QRect(0, 0, 60, 80) << QPoint(0, 0);
    QTest::newRow("shifted") << QRect(10, 20, 30, 30) << QRect(5, 5, 30, 30) << QRect(10, 20, 30, 30) << QPoint(5, 5);
    QTest::newRow("B is smaller") << QRect(0, 0, 50, 50) << QRect(7, 8, 9, 10) << QRect(0, 0, 9, 10) << QPoint(7, 8);
    QTest::newRow("A hangs over its start")
        << QRect(-10, -5, 40, 40) << QRect(3, 4, 40, 40) << QRect(0, 0, 30, 35) << QPoint(13, 9);
    QTest::newRow("B hangs over its start")
        << QRect(3, 4, 40, 40) << QRect(-10, -5, 40, 40) << QRect(13, 9, 30, 35) << QPoint(0, 0);
    QTest::newRow("over both ends") << QRect(90, 70, 50, 50) << QRect(55, 85, 50, 50) << QRect(90, 70, 5, 5)
                                    << QPoint(55, 85);
    QTest::newRow("empty A") << QRect(10, 10, 0, 5) << all << none << QPoint();
    QTest::newRow("empty B") << all << QRect() << none << QPoint();
    QTest::newRow("touching from outside") << QRect(-20, 0, 20, 20) << all << none << QPoint();
    QTest::newRow("what is left of A falls before B")
        << QRect(-50, 0, 60, 10) << QRect(-100, 0, 160, 10) << none << QPoint();
    QTest::newRow("far corners that cancel out")
        << corners(-2000000000, -2000000000, 50, 50) << corners(-2000000010, -2000000020, 50, 50)
        << QRect(10, 20, 41, 31) << QPoint(0, 0);
    QTest::newRow("far apart") << corners(-2000000000, 0, 99, 79) << QRect(10, 10, 10, 10) << none << QPoint();
    QTest::newRow("lowest corner") << corners(low, low, low + 10, low + 10) << all << none << QPoint();
    QTest::newRow("lowest corner in B") << all << corners(low, low, -2, -2) << none << QPoint();
    QTest::newRow("highest corner") << corners(high - 10, high - 10, high, high) << all << none << QPoint();
    QTest::newRow("from the origin to the highest")
        << corners(0, 0, high - 1, high - 1) << corners(10, 10, high - 1, high - 1) << QRect(0, 0, 50, 80)
        << QPoint(10, 10);
    QTest::newRow("everything") << corners(low, low, high, high) << corners(low, low, high, high) << QRect(0, 0, 60, 80)
                                << QPoint(0, 0);
    QTest::newRow("turned round, very far apart") // more apart than an int holds
        << corners(2000000000, 0, 50, 50) << corners(-2000000000, 0, 50, 50) << none << QPoint();
    QTest::newRow("lowest on highest") << corners(low, low, low, low) << corners(high, high, high, high) << none
                                       << QPoint();
}

void TestImage::clipRects()
{
    QFETCH(QRect, rectA);
    QFETCH(QRect, rectB);
    QFETCH(QRect, inA);
    const auto area = ClipRects(QRect(0, 0, 100, 80), rectA, QRect(0, 0, 60, 90), rectB);
    QCOMPARE(bool(area), inA.isValid());
    if (area) {
        QCOMPARE(QRect(area->sourceX, area->sourceY, area->width, area->height), inA);
        QTEST(QPoint(area->destinationX, area->destinationY), "inB");
    }
    QVERIFY(!ClipRects(QRect(), rectA, QRect(0, 0, 60, 90), rectB));
}

void TestImage::exifElementsAreDeletedOnce()
{
    auto alive = std::make_shared<int>(); // each element holds it until it is deleted
    const auto element = [&alive] { return new KXEXIFElement(KXEXIFElement::Make, QVariant::fromValue(alive)); };
    {
        RGBA32iImage survivor;
        {
            RGBA32iImage image(10, 10, true), copy;
            image.SetExifElements({ element(), element() });
            QCOMPARE(alive.use_count(), 3L);
            image.CopyTo(copy, false);
            survivor = image;
            QCOMPARE(alive.use_count(), 3L); // shared, also by a deep copy
            QCOMPARE(copy.ExifElements(), image.ExifElements());
            image.SetExifElements(image.ExifElements() << element()); // the copies keep theirs
            QCOMPARE(alive.use_count(), 4L);
            image.SetExifElements(image.ExifElements().mid(2) + image.ExifElements().mid(2)); // one, listed twice
            QCOMPARE(alive.use_count(), 4L);
            QCOMPARE(survivor.ExifElements().size(), 2);
        }
        QCOMPARE(alive.use_count(), 3L);
    }
    QCOMPARE(alive.use_count(), 1L);
}

void TestImage::whatIsNotThereIsLeftAlone()
{
    RGBA32iImage flat(10, 10, false), tiled(200, 10, true);
    OPRGBA32i *const bits = flat.Bits();
    flat.SetFlatWindow(QSharedPointer<OPRGBA32i>(new OPRGBA32i), QRect(0, 0, 1, 1), QPoint(), QPoint());
    QVERIFY(!flat.HasFlatWindow() && flat.Bits() == bits);
    for (RGBA32iImage *image : { &flat, &tiled })
        QVERIFY(image->ReadRow(5, 5, nullptr, 20) && image->WriteRow(5, 5, nullptr, 20));
    QVERIFY(tiled.IsFakeTile(0));
    flat.Fill(red);
    RGBA32iImage copy = flat;
    RGBA32iImage::CopyRect(copy, flat, QRect(0, 0, 9, 10), QRect(1, 0, 9, 10), true); // one buffer, row by row
    QCOMPARE(flat.Bits()[9], red);
}

void TestImage::metaType()
{
    const int registered = QMetaType::type("RGBA32iImage"); // by the library, before anyone asks for the type itself
    QVERIFY(registered != QMetaType::UnknownType);
    QCOMPARE(qMetaTypeId<RGBA32iImage>(), registered);
    RGBA32iImage image(4, 4, false);
    image.Bits()[5] = red;
    QCOMPARE(QVariant::fromValue(image).value<RGBA32iImage>().Bits()[5], red);
}

KXCORE_TEST_MAIN(TestImage)
#include "tst_image.moc"
