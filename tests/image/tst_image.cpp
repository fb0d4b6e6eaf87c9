#include "kit/Test.h"

#include "KXImage.h"
#include "KXTileManager64.h"

#include <array>

using Element = KXEXIFElement;

namespace {

constexpr OPRGBA32i red { 0xFFFF0000u }, faint { 0x01020304u }, clear;
constexpr QPoint nowhere(-1, -1);

/// A pixel that says where it belongs; every fifth is transparent.
template <class T = OPRGBA32i>
T pixelFor(int x, int y)
{
    T p;
    p.word = ((x + y) % 5 ? 0xFF000000u : 0) | unsigned(y) << 12 | unsigned(x);
    return p;
}

const auto all = [](OPRGBA32i pixel) { return [pixel](int, int) { return pixel; }; };

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

/// The first place at which @p image, read by rows, has not what @p expected gives for it.
template <class Image, class Expected>
QPoint difference(const Image &image, Expected expected)
{
    std::vector<typename Image::Pixel> row(size_t(image.Width()));
    for (int y = 0; y < image.Height(); ++y) {
        image.ReadRow(unsigned(y), 0, row.data(), unsigned(row.size() * sizeof row[0]));
        for (int x = 0; x < image.Width(); ++x)
            if (row[size_t(x)].word != expected(x, y).word)
                return QPoint(x, y);
    }
    return nowhere;
}

/// The same pixels in each storage, copied from one to the other.
template <class Image>
void storagesOf()
{
    const auto expected = pixelFor<typename Image::Pixel>;
    Image tiled(300, 130, true), flat(300, 130, false), deepFlat, deepTiled(1, 1, false), tiledNow;
    paint(tiled);
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
    void construction()
    {
        const int registered = QMetaType::type("RGBA32iImage"); // by the library, before anyone asks for the type
        QVERIFY(registered != QMetaType::UnknownType && registered == qMetaTypeId<RGBA32iImage>());
        const RGBA32iImage image;
        QVERIFY(!image.IsTiled() && image.Rect() == QRect(0, 0, 0, 0) && !image.Bits() && !image.HasFlatWindow());
        QVERIFY(image.DpiX() == 96 && image.DpiY() == 0 && image.MetadataFlags() == 0 && !image.FakeIsContent());
        QVERIFY_EXCEPTION_THROWN(RGBA32iImage(1 << 16, 1 << 15, false), std::bad_alloc); // 2^31 pixels
        QVERIFY_EXCEPTION_THROWN(RGBA32iImage(INT_MAX, INT_MAX, true), std::bad_alloc);
        // Width and height, and how many tiles that makes across and down.
        using Sizes = std::vector<std::array<int, 4>>;
        for (const auto &[width, height, tilesX, tilesY] :
            Sizes { { 0, 0, 0, 0 }, { 200, -5, 2, 0 }, { 128, 128, 1, 1 }, { 129, 257, 2, 3 }, { -3, 4, 0, 1 } }) {
            RGBA32iImage tiled(width, height, true), flat(width, height, false);
            const int count = tilesX * tilesY;
            QVERIFY(tiled.TilesX() == tilesX && tiled.TilesY() == tilesY && !tiled.Bits() && !tiled.HasTile(count));
            QVERIFY(tiled.Rect() == QRect(0, 0, qMax(width, 0), qMax(height, 0)) && flat.TilesX() == 0);
            QVERIFY(count == 0 || (tiled.IsFakeTile(count - 1) && tiled.TileData(0) == tiled.TileData(count - 1)));
            for (RGBA32iImage *const each : { &tiled, &flat }) {
                QCOMPARE(difference(*each, all({})), nowhere);
                each->Fill(red); // harmless without pixels
                QCOMPARE(difference(*each, all(red)), nowhere);
            }
        }
    }

    void storages()
    {
        storagesOf<RGBA32iImage>(), storagesOf<CMYKAImage>(), storagesOf<HSLAImage>();
        storagesOf<RGBA64iImage>(), storagesOf<RGBA64fImage>();
        RGBA32iImage a(20, 10, false), b(20, 10, false), wide(21, 10, false), high(20, 11, false);
        paint(a);
        QVERIFY(CopyFlatImageData(&a, &b) && !CopyFlatImageData(&a, &wide) && !CopyFlatImageData(&a, &high));
        QVERIFY(difference(b, pixelFor<>) == nowhere && difference(wide, all({})) == nowhere);
    }

    void copiesShare()
    {
        RGBA32iImage image(130, 20, true), deep;
        paint(image);
        image.SetFlatWindow(QSharedPointer<OPRGBA32i>(new OPRGBA32i), QRect(0, 0, 1, 1), QPoint(4, 5), QPoint(6, 7));
        image.SetApplicationWord(0, 11), image.SetApplicationWord(1, 12);
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
            QVERIFY(each.ApplicationWord(1) == 12 && each.ApplicationByte() == 13 && &each.Mutex() != &image.Mutex());
            QVERIFY(each.DpiX() == 300 && each.DpiY() == 301 && each.ApplicationWord(0) == 11);
        }
        QVERIFY(moved.HasFlatWindow() && moved.Bits() == image.Bits() && moved.FlatWindowRect() == QRect(0, 0, 1, 1));
        QVERIFY(moved.FlatWindowOffset() == QPoint(4, 5) && moved.FlatWindowOrigin() == QPoint(6, 7));
        QVERIFY(moved.MetadataFlags() == 14 && moved.FakeIsContent());
        QVERIFY(deep.MetadataFlags() == 0 && !deep.FakeIsContent() && !deep.HasFlatWindow() && !deep.Bits());
        moved.TileData(1, true)[0] = red;
        QVERIFY(image.TileData(1, false)[0] == pixelFor(128, 0) && image.TileData(0) == moved.TileData(0));
    }

    void copyOnWrite()
    {
        RGBA32iImage image(300, 200, true), single(10, 10, true);
        image.Fill(faint);
        const OPRGBA32i *const shared = image.TileData(0);
        QCOMPARE(image.TileData(4, false), shared); // reading copies nothing
        OPRGBA32i *const own = image.TileData(4, true), *const fresh = image.AllocTile(2, true);
        QVERIFY(own != shared && std::all_of(own, own + 128 * 128, [](OPRGBA32i p) { return p == faint; }));
        QVERIFY(fresh != shared && std::all_of(fresh, fresh + 128 * 128, [](OPRGBA32i p) { return p == clear; }));
        own[0] = red;
        QVERIFY(image.TileData(4, true) == own && image.TileData(2) == fresh); // private already
        for (int i = 0; i < 6; ++i)
            QVERIFY(image.IsFakeTile(i) == (image.TileData(i) == shared) && image.IsFakeTile(i) == (i != 2 && i != 4));
        single.TileData(0, true); // the uniform block is shared even where it is the only tile
        QVERIFY(shared[0] == faint && !single.IsFakeTile(0));
    }

    void invalidIndices()
    {
        RGBA32iImage tiled(300, 200, true), flat(5, 5, false);
        const kit::LogCapture log;
        QVERIFY(!tiled.TileData(-1, false) && !tiled.TileData(6, true) && !flat.TileData(0, false));
        QVERIFY(!tiled.IsFakeTile(6) && !tiled.IsFakeTile(-1));
        tiled.ReleaseTile(6);
        tiled.SetFakeIsContent(true);
        QVERIFY(!tiled.IsFakeTile(6) && !tiled.AllocTile(6, true)); // these and the release in silence
        const QString read = "[include/KXImage] Invalid tile index for getting the tile data %1";
        const QString compare = "[include/KXImage] Invalid tile index for compare the tile data with fake";
        QCOMPARE(log.texts(), (QStringList { read.arg(-1), read.arg(6), read.arg(0), compare, compare }));
    }

    void fills()
    {
        RGBA32iImage image(300, 200, true), flat(40, 40, false);
        paint(image);
        image.Fill(image.TileData(5)[130]); // a pixel of its own
        const RGBA32iImage before = image, shared = flat;
        image.Fill(red); // takes a fresh block
        QVERIFY(difference(image, all(red)) == nowhere && image.IsFakeTile(0) && image.IsFakeTile(5));
        QVERIFY(difference(before, all(pixelFor(258, 129))) == nowhere && before.IsFakeTile(0) && before.IsFakeTile(5));
        paint(flat);
        flat.Fill(flat.Bits()[700]);
        QCOMPARE(difference(shared, all(pixelFor(20, 17))), nowhere); // a flat buffer is never copied
    }

    void rows()
    {
        for (const bool tiled : { false, true })
            for (const auto &[width, height] : { std::pair(1, 1), std::pair(127, 129), std::pair(513, 257) }) {
                RGBA32iImage image(width, height, tiled);
                const RGBA32iImage untouched = image;
                QVector<OPRGBA32i> model(width * height);
                QRandomGenerator random = kit::random();
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
                OPRGBA32i pixel;
                for (const auto &[x, y] : { std::pair(unsigned(width), 0u), { 0u, unsigned(height) }, { ~0u, ~0u } })
                    QVERIFY(!image.ReadRow(y, x, &pixel, 4) && !image.WriteRow(y, x, &pixel, 4));
                QVERIFY(image.ReadRow(0, 0, nullptr, 4) && image.WriteRow(0, 0, nullptr, 4));
            }
    }

    /// One pixel at a time, with the text of what is thrown for a position or a storage that has none.
    void checkedPixels()
    {
        RGBA32iImage image(3, 2, false), tiled(3, 2, true), none;
        CMYKAImage wide(3, 2, false);
        paint(image), paint(tiled), paint(wide);
        image.SetColor(0, 1, image.GetColor(2, 1));
        QVERIFY(image.GetColor(0, 1) == pixelFor(2, 1) && image.Bits()[3] == pixelFor(2, 1));
        QCOMPARE(wide.GetColor(1, 1).word, pixelFor<OPCMYKA>(1, 1).word);
        const QSharedPointer<OPRGBA32i> window(new OPRGBA32i[6], [](OPRGBA32i *p) { delete[] p; });
        tiled.SetFlatWindow(window, QRect(0, 0, 3, 2), {}, {}); // its buffer does not hold the image's pixels
        const struct {
            RGBA32iImage &image;
            int x, y;
        } rows[] = { { image, -1, 0 }, { image, 3, 0 }, { image, 0, -1 }, { image, 0, 2 }, { image, INT_MIN, INT_MAX },
            { tiled, 1, 1 }, { none, 0, 0 } };
        for (const auto &row : rows) {
            QCOMPARE(kit::outOfRange([&row] { row.image.GetColor(row.x, row.y); }), QByteArray("OPImage::GetColor"));
            QCOMPARE(
                kit::outOfRange([&row] { row.image.SetColor(row.x, row.y, red); }), QByteArray("OPImage::SetColor"));
        }
        QVERIFY(difference(image, [](int x, int y) { return pixelFor(x == 0 && y == 1 ? 2 : x, y); }) == nowhere);
    }

    /// A tiled row ends with its last tile, 256 pixels here, and does not go on in the next row of tiles.
    void rowsOverTheEnd()
    {
        std::vector<OPRGBA32i> row(400, red);
        RGBA32iImage image(130, 130, true);
        QVERIFY(image.WriteRow(3, 2, row.data(), 1600) && image.IsFakeTile(2));
        QVERIFY(image.TileData(1, false)[3 * 128 + 127] == red && image.TileData(0, false)[3 * 128 + 1] == clear);
        image.Fill(faint);
        QVERIFY(image.ReadRow(3, 2, row.data(), 1600) && row[253] == faint && row[254] == red);
    }

    void nullAndFakeTiles()
    {
        RGBA32iImage image(300, 10, true), flat(300, 10, false), deep;
        image.Fill(faint);
        image.TileData(0, true);
        image.ReleaseTile(1);
        QVERIFY(!image.TileData(1) && !image.TileData(1, true) && !image.IsFakeTile(1) && image.IsFakeTile(2));
        std::vector<OPRGBA32i> row(300, red);
        QVERIFY(image.WriteRow(2, 200, row.data(), 4) && !image.TileData(1));
        QVERIFY(image.ReadRow(2, 0, row.data(), 1200)); // passed over: the buffer keeps what it had
        QVERIFY(row[127] == faint && row[128] == red && row[255] == red && row[256] == faint);
        image.CopyTo(deep, false);
        QVERIFY(!deep.IsFakeTile(0) && deep.IsFakeTile(1) && !deep.IsFakeTile(2)); // as deep was constructed
        flat.Fill(red);
        for (const bool isContent : { false, true }) {
            image.SetFakeIsContent(isContent);
            QCOMPARE(image.IsFakeTile(2), !isContent);
            RGBA32iImage::CopyRect(flat, image, image.Rect(), flat.Rect(), true);
            const auto expected = [=](int x, int) { return x < 128 || (x >= 256 && isContent) ? faint : red; };
            QCOMPARE(difference(flat, expected), nowhere);
        }
        RGBA32iImage::CopyRect(deep, flat, QRect(130, 0, 5, 5), QRect(0, 0, 5, 5), true);
        // Only tiles under the rectangle become content.
        QVERIFY(deep.TileData(0, false)[4 * 128 + 4] == red && deep.IsFakeTile(1));
    }

    /// Of five private tiles and a null one. No row reads otherwise afterwards, and copies keep what they have.
    void transparentTilesBecomeFake()
    {
        const QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[40 * 30], [](OPRGBA32i *p) { delete[] p; });
        std::fill_n(pixels.data(), 40 * 30, red);
        const struct {
            QRect window; // in the image
            OPRGBA32i uniform;
            std::vector<int> becomeFake;
        } rows[] = { { QRect(), clear, { 0, 1, 4 } }, { { 100, 20, 28, 30 }, clear, { 1, 4 } },
            { { 100, 99, 40, 30 }, clear, {} }, { { 300, 0, 40, 30 }, clear, { 0, 1, 4 } },
            { { INT_MIN, INT_MIN, 40, 30 }, clear, { 0, 1, 4 } }, { QRect(), faint, {} } };
        for (const auto &[window, uniform, becomeFake] : rows) {
            RGBA32iImage image(300, 200, true);
            image.Fill(uniform);
            for (const int tile : { 0, 1, 2, 4, 5 })
                image.AllocTile(tile, true);
            image.TileData(2, true)[0] = OPRGBA32i(0x00000001u); // a colour under no alpha
            image.TileData(5, true)[128 * 128 - 1] = red; // beyond the edge of the image
            image.ReleaseTile(3);
            if (window.isValid())
                image.SetFlatWindow(pixels, QRect(QPoint(), window.size()), QPoint(), window.topLeft());
            RGBA32iImage before = image;
            const OPRGBA32i *const block = before.TileData(1);
            QCOMPARE(image.MakeTransparentTilesFake(), int(becomeFake.size()));
            for (const int tile : { 0, 1, 2, 3, 4, 5 })
                QCOMPARE(image.IsFakeTile(tile), std::count(becomeFake.begin(), becomeFake.end(), tile) == 1);
            QVERIFY(!image.TileData(3) && before.TileData(1) == block && !before.IsFakeTile(1));
            std::vector<OPRGBA32i> now(384, faint), then = now;
            for (unsigned y = 0; y < 200; ++y) // to the end of the tiles
                QVERIFY(
                    image.ReadRow(y, 0, now.data(), 1536) && before.ReadRow(y, 0, then.data(), 1536) && now == then);
        }
        RGBA32iImage flat(5, 5, false), none(0, 5, true);
        QVERIFY(flat.MakeTransparentTilesFake() == 0 && none.MakeTransparentTilesFake() == 0);
    }

    void rowsThroughAFlatWindow()
    {
        const QSharedPointer<OPRGBA32i> pixels(new OPRGBA32i[750], [](OPRGBA32i *p) { delete[] p; });
        for (int i = 0; i < 750; ++i)
            pixels.data()[i] = pixelFor(i % 150, i / 150);
        for (const auto &[offset, origin] : { std::pair(QPoint(0, 0), QPoint(120, 3)), { QPoint(20, 2), QPoint(0, 0) },
                 { QPoint(5, 5), QPoint(205, 6) }, { QPoint(0, 0), QPoint(0, 40) } }) {
            RGBA32iImage image(300, 9, true);
            image.Fill(faint);
            image.AllocTile(1, true); // not fake: the window does not show there
            image.SetFlatWindow(pixels, QRect(0, 0, 150, 5), offset, origin);
            const auto expected = [move = offset - origin](int x, int y) {
                const QPoint p = QPoint(x, y) + move;
                return x / 128 == 1 ? clear : QRect(0, 0, 150, 5).contains(p) ? pixelFor(p.x(), p.y()) : faint;
            };
            QCOMPARE(difference(image, expected), nowhere);
            image.ClearFlatWindow();
            QVERIFY(!image.HasFlatWindow() && !image.Bits());
        }
        RGBA32iImage flat(10, 10, false);
        flat.SetFlatWindow(pixels, QRect(0, 0, 1, 1), {}, {}), flat.ClearFlatWindow(); // only for tiled images
        QVERIFY(!flat.HasFlatWindow() && flat.Bits() && flat.Bits() != pixels.data());
    }

    void copyRect()
    {
        const std::pair<QRect, QPoint> cases[] = { { { 5, 6, 150, 20 }, { 100, 120 } },
            { { -20, -30, 200, 33 }, { -50, -10 } }, { { 200, 150, 400, 400 }, { 1, 2 } },
            { { 10, 10, 20, 20 }, { 300, 0 } } };
        for (int i = 0; i < 32; ++i) {
            const bool sourceTiled = i & 1, tiled = i & 2, overwrite = i & 4;
            const auto &[sourceRect, to] = cases[i / 8];
            RGBA32iImage source(300, 200, sourceTiled), image(260, 270, tiled);
            paint(source);
            image.Fill(faint);
            const RGBA32iImage before = image;
            RGBA32iImage::CopyRect(image, source, sourceRect, QRect(to, sourceRect.size()), overwrite);
            const auto expected = [&, from = sourceRect, offset = sourceRect.topLeft() - to](int x, int y) {
                const QPoint p = QPoint(x, y) + offset;
                if ((sourceTiled && tiled) || !from.contains(p) || !source.Rect().contains(p))
                    return faint;
                const OPRGBA32i pixel = pixelFor(p.x(), p.y());
                return pixel.a || overwrite || (!sourceTiled && !tiled) ? pixel : faint;
            };
            QCOMPARE(difference(image, expected), nowhere);
            QVERIFY(!tiled || difference(before, all(faint)) == nowhere); // a copy keeps its tiles
        }
    }

    /// The calling thread copies nothing itself, and on one processor there is nobody else.
    void copyRectOnOneProcessor()
    {
        const kit::Processors processors(1);
        RGBA32iImage flat(300, 20, false), tiled(300, 20, true), copy;
        flat.Fill(red);
        tiled.TileData(0, true);
        flat.CopyTo(copy, true);
        RGBA32iImage::CopyRect(flat, tiled, tiled.Rect(), flat.Rect(), true);
        QVERIFY(copy.IsFakeTile(0) && difference(flat, all(red)) == nowhere);
    }

    /// Sizes and distances beyond what an int holds; the last of A falls before B.
    void clipsHugeRectangles()
    {
        const QPoint low(INT_MIN, INT_MIN), high(INT_MAX, INT_MAX), farLeft(-2000000000, -2000000000), end(50, 50);
        const struct {
            QRect a, b, common; // in A, from the corner of the image of B on
        } rows[] = { { { farLeft, end }, { farLeft - QPoint(10, 20), end }, { 10, 20, 41, 31 } },
            { { low, high }, { low, high }, { 0, 0, 60, 80 } }, { { low, low }, { high, high }, {} },
            { { -50, 0, 60, 10 }, { -100, 0, 160, 10 }, {} } };
        for (const auto &row : rows) {
            const auto both = ClipRects(QRect(0, 0, 100, 80), row.a, QRect(0, 0, 60, 90), row.b);
            QCOMPARE(both ? QRect(both->sourceX, both->sourceY, both->width, both->height) : QRect(), row.common);
            QVERIFY(!both || (both->destinationX == 0 && both->destinationY == 0));
        }
    }

    void exifDictionary()
    {
        for (int type = 1; type < 80; ++type) {
            const auto t = Element::Type(type);
            QVERIFY(Element::GetTag(t) > Element::GetTag(Element::Type(type - 1))); // so that readers can search by tag
            QVERIFY(!Element::GetTypeName(t).isEmpty() && !Element::GetDescription(t).isEmpty());
        }
        const std::tuple<Element::Type, int, const char *, const char *> rows[] = {
            { Element::Unknown, 0, "Unkonwn", "An unkonwn EXIF tag." }, // spelled so on purpose
            { Element::Type(52), 37378, "Aperture", "The lens aperture. The unit is the APEX value." },
            { Element::Type(58), 37384, "Light source", "The kind of light source." }, { Element::Type(80), 0, "", "" },
            { Element::Type(-1), 0, "", "" }
        };
        for (const auto &[type, tag, name, description] : rows) {
            QCOMPARE(int(Element::GetTag(type)), tag);
            QCOMPARE(Element::GetTypeName(type), QString(name));
            QCOMPARE(Element::GetDescription(type), QString(description));
        }
        QVERIFY(Element::GetTag(Element::Type(1)) == 256 && Element::GetTag(Element::SceneType) == 41729);
        QVERIFY(Element::Orientation == 12 && Element::Copyright == 37 && Element::SceneType == 79);
        struct Translator : QTranslator {
            bool isEmpty() const override { return false; }
            QString translate(const char *context, const char *text, const char *more, int n) const override
            {
                return QString("%1|%2|%3|%4").arg(context, text, more).arg(n);
            }
        } translator;
        QCoreApplication::installTranslator(&translator); // until its end
        QCOMPARE(Element::GetTypeName(Element::Unknown), QString("QObject|Unkonwn||-1"));
        QCOMPARE(Element::GetDescription(Element::FNumber), QString("QObject|The F number.||-1"));
    }

    void exifElementsAreValues()
    {
        const QByteArray bytes("\0\1\xff", 3);
        Element a(Element::Make, bytes), c(Element::Flash, 1);
        const Element b(a), &self = c;
        c = a;
        c = self;
        a.SetValue(7);
        QVERIFY(a.ToRawDataValue() == "7" && b.ToRawDataValue() == bytes);
        QVERIFY(c.GetType() == Element::Make && c.GetValue() == bytes);
    }

    /// The table of KXEXIFElement.h, and its example.
    void exifValuesByTypeOfTheStandard()
    {
        RGBA32iImage image(1, 1, false);
        image.SetExifElements({ new Element(Element::Make, QString("Maker")), new Element(Element::Orientation, 6u),
            new Element(Element::BitsPerSample, QVariantList { 8u, 8u, 8u }),
            new Element(Element::MakerNote, QByteArray("\1\2")), new Element(Element::ExposureTime, 0.004) });
        QList<QByteArray> found;
        for (const Element *element : image.ExifElements())
            found << element->ToRawDataValue();
        QCOMPARE(found, (QList<QByteArray> { "Maker", "6", "", "\1\2", "0.004" }));
        QCOMPARE(image.ExifElements()[2]->GetValue().toList()[1].toUInt(), 8u);
    }

    void exifElementsAreDeletedOnce()
    {
        auto alive = std::make_shared<int>(); // each element holds it until it is deleted
        const auto element = [&alive] { return new Element(Element::Make, QVariant::fromValue(alive)); };
        RGBA32iImage image(10, 10, true), copy, survivor;
        image.SetExifElements({ element(), element() });
        image.CopyTo(copy, false);
        survivor = image;
        QVERIFY(alive.use_count() == 3 && copy.ExifElements() == image.ExifElements()); // shared by all
        image.SetExifElements(image.ExifElements() << element()); // the copies keep theirs
        image.SetExifElements(QVector<Element *>(2, element()).toList()); // one, listed twice
        QVERIFY(alive.use_count() == 4 && survivor.ExifElements().size() == 2);
        image = copy = RGBA32iImage();
        QCOMPARE(alive.use_count(), 3L);
        survivor = RGBA32iImage();
        QCOMPARE(alive.use_count(), 1L);
    }
};

KXCORE_TEST_MAIN(TestImage)
#include "tst_image.moc"
