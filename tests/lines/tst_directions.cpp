#include "OPImageUtils.h"

#include "TestSupport.h"
#include "lines/Pictures.h"

#include <QtGui/QImage>

using namespace OPImageUtils;
using testing::Picture;

class TestDirections : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void records_data();
    void records();
    void linesOfQImages_data();
    void linesOfQImages();
    void linesOfImages();
    void wrappersGiveTheRectangle();
};

void TestDirections::records_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<int>("radius");
    QTest::addColumn<QList<int>>("rows"); // first line, last line, first, last, read first, read last
    QTest::addColumn<QList<int>>("columns");
    // In an image of 40 by 30.
    QTest::newRow("whole") << QRect(0, 0, 40, 30) << 5 << QList<int> { 0, 29, 0, 39, 0, 39 }
                           << QList<int> { 0, 39, 0, 29, 0, 29 };
    QTest::newRow("inside: one more to the left")
        << QRect(10, 8, 4, 3) << 2 << QList<int> { 8, 10, 10, 13, 7, 15 } << QList<int> { 10, 13, 8, 10, 5, 12 };
    QTest::newRow("clamped on both sides")
        << QRect(2, 1, 36, 28) << 3 << QList<int> { 1, 28, 2, 37, 0, 39 } << QList<int> { 2, 37, 1, 28, 0, 29 };
    QTest::newRow("no reach still reads the pixel before")
        << QRect(10, 8, 1, 1) << 0 << QList<int> { 8, 8, 10, 10, 9, 10 } << QList<int> { 10, 10, 8, 8, 7, 8 };
    QTest::newRow("a reach that no image has")
        << QRect(10, 8, 1, 1) << INT_MAX << QList<int> { 8, 8, 10, 10, 0, 39 } << QList<int> { 10, 10, 8, 8, 0, 29 };
}

template <class Image>
static QList<QList<int>> recordsOf(const Image &image, const QRect &rect, int radius)
{
    const auto list = [](const LineRecord &r) {
        return QList<int> { r.firstLine, r.lastLine, r.first, r.last, r.readFirst, r.readLast };
    };
    return { list(HorizontalDirection<Image>(image, rect, radius)),
        list(VerticalDirection<Image>(image, rect, radius)) };
}

void TestDirections::records()
{
    QFETCH(QRect, rect);
    QFETCH(int, radius);
    QFETCH(QList<int>, rows);
    QFETCH(QList<int>, columns);
    const QList<QList<int>> expected { rows, columns };
    QCOMPARE(recordsOf(QImage(40, 30, QImage::Format_ARGB32), rect, radius), expected);
    QCOMPARE(recordsOf(RGBA32iImage(40, 30, false), rect, radius), expected);
    QCOMPARE(recordsOf(RGBA32iImage(40, 30, true), rect, radius), expected);
}

void TestDirections::linesOfQImages_data()
{
    QTest::addColumn<Qt::Orientation>("lines");
    QTest::addColumn<unsigned>("line");
    QTest::addColumn<unsigned>("start");
    QTest::addColumn<unsigned>("bytes");
    QTest::addColumn<bool>("inRange");
    // In an image of 6 by 5.
    QTest::newRow("row, all but the last pixel") << Qt::Horizontal << 4u << 0u << 20u << true;
    QTest::newRow("a whole row is refused") << Qt::Horizontal << 4u << 0u << 24u << false;
    QTest::newRow("the last pixel of a row is refused") << Qt::Horizontal << 0u << 5u << 4u << false;
    QTest::newRow("the pixel before it is not") << Qt::Horizontal << 0u << 4u << 4u << true;
    QTest::newRow("no such row") << Qt::Horizontal << 5u << 0u << 4u << false;
    QTest::newRow("start behind the row") << Qt::Horizontal << 0u << 6u << 0u << false;
    QTest::newRow("start far behind") << Qt::Horizontal << 0u << 0xFFFFFFFFu << 8u << false;
    QTest::newRow("column, all but the last pixel") << Qt::Vertical << 5u << 0u << 16u << true;
    QTest::newRow("a whole column is refused") << Qt::Vertical << 5u << 0u << 20u << false;
    QTest::newRow("no such column") << Qt::Vertical << 6u << 0u << 4u << false;
    QTest::newRow("less than a pixel of a column") << Qt::Vertical << 0u << 4u << 3u << true;
    QTest::newRow("start below the column") << Qt::Vertical << 0u << 5u << 3u << false;
}

void TestDirections::linesOfQImages()
{
    QFETCH(Qt::Orientation, lines);
    QFETCH(unsigned, line);
    QFETCH(unsigned, start);
    QFETCH(unsigned, bytes);
    QFETCH(bool, inRange);
    Picture picture = Picture::random(6, 5, 7);
    QImage image(6, 5, QImage::Format_ARGB32);
    for (int y = 0; y < 5; ++y)
        memcpy(image.scanLine(y), &picture.at(0, y), 24);
    const QImage before = image;
    const HorizontalDirection<QImage> rows(image, image.rect(), 0);
    const VerticalDirection<QImage> columns(image, image.rect(), 0);
    std::vector<OPRGBA32i> buffer(8, OPRGBA32i(0x11223344u));
    auto *const raw = reinterpret_cast<unsigned char *>(buffer.data());

    QCOMPARE(lines == Qt::Horizontal ? rows.Read(image, line, start, raw, bytes)
                                     : columns.Read(image, line, start, raw, bytes),
        inRange);
    for (unsigned i = 0; i < 8; ++i)
        QCOMPARE(
            buffer[i].word, inRange && i < bytes / 4 ? picture.on(lines, int(line), int(start + i)).word : 0x11223344u);

    std::fill(buffer.begin(), buffer.end(), OPRGBA32i(0x55667788u));
    QCOMPARE(lines == Qt::Horizontal ? rows.Write(image, line, start, raw, bytes)
                                     : columns.Write(image, line, start, raw, bytes),
        inRange);
    for (unsigned i = 0; inRange && i < bytes / 4; ++i)
        picture.on(lines, int(line), int(start + i)) = OPRGBA32i(0x55667788u);
    for (int y = 0; y < 5; ++y)
        QVERIFY(memcmp(image.constScanLine(y), &picture.at(0, y), 24) == 0);
    QVERIFY(image == before || (inRange && bytes >= 4));
}

void TestDirections::linesOfImages()
{
    Picture picture = Picture::random(6, 5, 8);
    RGBA32iImage flat = picture.image(false), tiled = picture.image(true);
    const HorizontalDirection<RGBA32iImage> rows(flat, flat.Rect(), 0);
    const VerticalDirection<RGBA32iImage> columns(flat, flat.Rect(), 0);
    std::vector<OPRGBA32i> buffer(6);
    auto *const raw = reinterpret_cast<unsigned char *>(buffer.data());

    for (const RGBA32iImage *image : { &flat, &tiled }) {
        QVERIFY(rows.Read(*image, 2, 0, raw, 24)); // also up to the end
        for (int x = 0; x < 6; ++x)
            QCOMPARE(buffer[size_t(x)].word, picture.at(x, 2).word);
        QVERIFY(!rows.Read(*image, 5, 0, raw, 4));
        QVERIFY(!rows.Read(*image, 0, 6, raw, 4));
    }
    QVERIFY(columns.Read(flat, 5, 1, raw, 16));
    for (int y = 1; y < 5; ++y)
        QCOMPARE(buffer[size_t(y - 1)].word, picture.at(5, y).word);

    buffer.assign(6, OPRGBA32i(0x55667788u));
    QVERIFY(columns.Write(flat, 3, 3, raw, 400)); // ends with the column
    picture.at(3, 3) = picture.at(3, 4) = buffer[0];
    for (const auto &outside : { QPoint(6, 0), QPoint(0, 5) }) {
        QVERIFY(!columns.Read(flat, unsigned(outside.x()), unsigned(outside.y()), raw, 4));
        QVERIFY(!columns.Write(flat, unsigned(outside.x()), unsigned(outside.y()), raw, 4));
    }
    COMPARE_PICTURE(Picture::of(flat), picture);
    QVERIFY(!columns.Read(tiled, 0, 0, raw, 4)); // columns are those of flat images
    QVERIFY(!columns.Write(tiled, 0, 0, raw, 4));
}

void TestDirections::wrappersGiveTheRectangle()
{
    QImage image(6, 5, QImage::Format_ARGB32);
    QCOMPARE(KXBlurImageWrapper<QImage>(image).GetRect(), QRect(0, 0, 6, 5));
    QCOMPARE(KXBlurImageWrapperConst<QImage>(image).GetRect(), QRect(0, 0, 6, 5));
}

KXCORE_TEST_MAIN(TestDirections)
#include "tst_directions.moc"
