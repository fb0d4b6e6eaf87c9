#include "BaseTransformation.h"
#include "KXComposer.h"
#include "TestSupport.h"
#include "compose/Composer.h"
#include "kernels/Rows.h"

using KX = RGBA32iImage;
using Plain = compose::Composers<compose::PlainRows>;

/// The composition entries of the module against the library's walks with plain rows.
class TestComposeKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyLengthAndOffset_data();
    void everyLengthAndOffset();
    void wholeDomains_data() { everyLengthAndOffset_data(); }
    void wholeDomains();
    void wholeImages_data();
    void wholeImages();
    void overlapsItself();
    void serveEveryEntry();
    void letExceptionsOut_data();
    void letExceptionsOut();
    void transformsTheSource_data();
    void transformsTheSource();
    void stamps_data();
    void stamps();
    void dualBrushes();
};

namespace {

enum Form { Bare, Clipped, Masked, TwoMasks };

/// The images of one composition, of one size; the destination is the only one that is written.
struct Pictures {
    Pictures(int width, int height, bool tiledSource, bool tiledDestination, QRandomGenerator &random)
        : source(picture(width, height, tiledSource, random))
        , mask(picture(width, height, false, random))
        , clip(picture(width, height, false, random))
        , clipMask(picture(width, height, false, random))
        , start(picture(width, height, tiledDestination, random))
    {
    }

    static KX picture(int width, int height, bool tiled, QRandomGenerator &random)
    {
        KX result(width, height, tiled);
        std::vector<unsigned char> row(4 * size_t(width));
        for (int y = 0; y < height; ++y) {
            for (unsigned char &byte : row)
                byte = testing::saltedByte(random);
            result.WriteRow(unsigned(y), 0, row.data(), unsigned(row.size()));
        }
        return result;
    }

    KX source, mask, clip, clipMask, start;
};

/// What the four forms need of a set of composers: the plain ones, or the symbols of the module.
struct Entries {
    std::function<decltype(Compose<KX, KX>)> bare;
    std::function<decltype(ComposeClippingMaskOn<KX, KX>)> clipped;
    std::function<decltype(ComposeMaskOn<KX, KX>)> masked;
    std::function<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)> twoMasks;

    KX composed(Form form, Pictures &p, const QRect &rect, KXCompositionMode mode, double opacity, bool lock) const
    {
        KX dst;
        p.start.CopyTo(dst, false);
        switch (form) {
        case Bare:
            bare(p.source, rect, mode, dst, rect, opacity, lock);
            break;
        case Clipped:
            clipped(p.source, rect, mode, dst, rect, p.clip, rect, p.clipMask, QRect(), true, opacity, lock);
            break;
        case Masked:
            masked(p.source, rect, mode, dst, rect, opacity, p.mask, rect, true, lock);
            break;
        case TwoMasks:
            twoMasks(p.source, rect, mode, dst, rect, opacity, p.clip, rect, p.clipMask, rect, true, p.mask, rect, true,
                lock);
            break;
        }
        return dst;
    }
};

const Entries plain { Plain::Compose<KX, KX>, Plain::ComposeClippingMaskOn, Plain::ComposeMaskOn<KX, KX>,
    Plain::ComposeClippingMaskAndMaskOn };

Entries moduleEntries()
{
    return { testing::kernel<decltype(Compose<KX, KX>)>("Compose_RGBA32iImage_RGBA32iImage_avx2"),
        testing::kernel<decltype(ComposeClippingMaskOn<KX, KX>)>(
            "ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2"),
        testing::kernel<decltype(ComposeMaskOn<KX, KX>)>("ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2"),
        testing::kernel<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)>(
            "ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2") };
}

/// Empty when both images hold the same pixels everywhere, otherwise the first difference.
QString difference(const KX &actual, const KX &expected)
{
    QVector<quint32> a(actual.Width()), e(actual.Width());
    for (int y = 0; y < actual.Height(); ++y) {
        actual.ReadRow(unsigned(y), 0, a.data(), unsigned(4 * a.size()));
        expected.ReadRow(unsigned(y), 0, e.data(), unsigned(4 * e.size()));
        for (int x = 0; x < a.size(); ++x)
            if (a[x] != e[x])
                return QString("(%1, %2): expected %3, got %4")
                    .arg(x)
                    .arg(y)
                    .arg(e[x], 8, 16, QChar('0'))
                    .arg(a[x], 8, 16, QChar('0'));
    }
    return {};
}

#define COMPARE_IMAGES(actual, expected, where)                                                                        \
    do {                                                                                                               \
        const QString text = difference(actual, expected);                                                             \
        QVERIFY2(text.isEmpty(), qPrintable(QString(where) + ": " + text));                                            \
    } while (false)

/// Swaps blue and red and halves alpha; with a kernel or without.
class Swap : public BaseTransformation {
public:
    using BaseTransformation::operator();
    explicit Swap(bool hasKernel) { m_HasKernel = hasKernel; }

    void operator()(OPRGBA32i &p) const override { p = OPRGBA32i(p.r, p.g, p.b, static_cast<unsigned char>(p.a / 2)); }
    void operator()(unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < 128; ++i)
            (*this)(reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }
};

} // namespace

void TestComposeKernels::initTestCase()
{
    if (!AVX2LIB::Instance())
        QSKIP("there is no kernel module, or this processor has no AVX2");
}

void TestComposeKernels::everyLengthAndOffset_data()
{
    QTest::addColumn<int>("mode");
    for (const KXCompositionMode mode : KXCompositionModes())
        QTest::newRow(KXCompositionModeName(mode)) << int(mode);
    QTest::newRow("unknown") << 7;
}

void TestComposeKernels::everyLengthAndOffset()
{
    QFETCH(int, mode);
    const Entries fast = moduleEntries();
    QRandomGenerator random(20240607);
    // The destination of the bare form is tiled, so that its opacity is not clamped.
    Pictures tiled(80, 3, false, true, random), flat(80, 3, false, false, random);
    const double opacities[] = { 1 / 256.0, 127 / 256.0, 255 / 256.0, 1.0, 300 / 256.0 };
    for (int n = 0; n <= 67; ++n)
        for (int start = 0; start < 8; ++start)
            for (const Form form : { Bare, Clipped, Masked, TwoMasks }) {
                const double opacity = opacities[random.bounded(5)];
                const bool lock = random.bounded(2);
                Pictures &p = form == Bare || form == Masked ? tiled : flat;
                const QRect row(start, 1, n, 1);
                COMPARE_IMAGES(fast.composed(form, p, row, KXCompositionMode(mode), opacity, lock),
                    plain.composed(form, p, row, KXCompositionMode(mode), opacity, lock),
                    QString("form %1 n %2 start %3 opacity %4 lock %5")
                        .arg(form)
                        .arg(n)
                        .arg(start)
                        .arg(opacity)
                        .arg(lock));
            }
}

/// All pairs of source and destination bytes for chosen pairs of alphas, and all pairs of alphas for random bytes.
void TestComposeKernels::wholeDomains()
{
    QFETCH(int, mode);
    const Entries fast = moduleEntries();
    QRandomGenerator random(4711);
    const auto compare = [&](Pictures &p, const QString &where, double opacity = 1.0, bool lock = false) {
        for (const Form form : { Bare, Masked })
            COMPARE_IMAGES(fast.composed(form, p, p.start.Rect(), KXCompositionMode(mode), opacity, lock),
                plain.composed(form, p, p.start.Rect(), KXCompositionMode(mode), opacity, lock), where);
    };
    using Byte = unsigned char;
    Pictures p(256, 256, false, false, random);
    for (const Byte sa : { 0, 1, 127, 254, 255 })
        for (const Byte da : { 0, 1, 128, 255 }) {
            for (int i = 0; i < 65536; ++i) {
                const Byte x = Byte(i), y = Byte(i >> 8);
                p.source.Bits()[i] = OPRGBA32i(x, y, Byte(255 - x), sa);
                p.start.Bits()[i] = OPRGBA32i(y, x, Byte(x ^ y), da);
            }
            p.mask.Fill(OPRGBA32i(0xFFFFFFFFu));
            compare(p, QString("alphas %1 over %2").arg(sa).arg(da));
            if (QTest::currentTestFailed())
                return;
        }
    Pictures q(256, 256, false, false, random);
    for (int i = 0; i < 65536; ++i) {
        q.source.Bits()[i].a = Byte(i);
        q.start.Bits()[i].a = Byte(i >> 8);
    }
    for (const bool lock : { false, true })
        for (const double opacity : { 1.0, 255 / 256.0, 100 / 256.0 })
            compare(q, QString("all alphas, opacity %1, lock %2").arg(opacity).arg(lock), opacity, lock);
}

void TestComposeKernels::wholeImages_data()
{
    QTest::addColumn<bool>("tiledSource");
    QTest::addColumn<bool>("tiledDestination");
    for (const bool source : { false, true })
        for (const bool destination : { false, true })
            QTest::addRow("%s to %s", source ? "tiled" : "flat", destination ? "tiled" : "flat")
                << source << destination;
}

void TestComposeKernels::wholeImages()
{
    QFETCH(bool, tiledSource);
    QFETCH(bool, tiledDestination);
    const Entries fast = moduleEntries();
    QRandomGenerator random(99);
    Pictures p(301, 263, tiledSource, tiledDestination, random);
    for (const QRect &rect : { QRect(0, 0, 301, 263), QRect(-17, 5, 290, 400), QRect(130, 100, 500, 30) })
        for (const Form form : { Bare, Masked, Clipped, TwoMasks }) {
            if (tiledDestination && (form == Clipped || form == TwoMasks))
                continue; // there is no such composer
            for (const KXCompositionMode mode : { KXCompositionMode::SourceOver, KXCompositionMode::SoftLight })
                COMPARE_IMAGES(fast.composed(form, p, rect, mode, 0.7, false),
                    plain.composed(form, p, rect, mode, 0.7, false), QString("form %1").arg(form));
        }
}

/// An image laid on itself, moved: each pixel reads what the pixels before it, row by row, wrote.
void TestComposeKernels::overlapsItself()
{
    QRandomGenerator random(3);
    for (const QPoint &move : { QPoint(0, 1), QPoint(-1, 1), QPoint(3, -2), QPoint(2, 0) }) {
        KX actual = Pictures::picture(200, 150, true, random);
        QVector<quint32> pixels(200 * 150);
        for (unsigned y = 0; y < 150; ++y)
            actual.ReadRow(y, 0, pixels.data() + 200 * y, 800);
        const QRect from = QRect(0, 0, 200, 150) & QRect(0, 0, 200, 150).translated(-move);
        for (int y = from.top(); y <= from.bottom(); ++y) // at full opacity Source copies runs, each at once
            for (int x = from.left(), n; x <= from.right(); x += n) {
                n = std::min({ 128 - x % 128, 128 - (x + move.x()) % 128, from.right() + 1 - x });
                std::memmove(&pixels[(y + move.y()) * 200 + x + move.x()], &pixels[y * 200 + x], size_t(n) * 4);
            }
        moduleEntries().bare(actual, from, KXCompositionMode::Source, actual, from.translated(move), 1.0, false);
        QVector<quint32> row(200);
        for (int y = 0; y < 150; ++y) {
            actual.ReadRow(unsigned(y), 0, row.data(), 800);
            QVERIFY2(row == pixels.mid(200 * y, 200), qPrintable(QString("row %1").arg(y)));
        }
    }
    for (int move = -10; move <= 10; ++move) {
        KX row = Pictures::picture(64, 1, false, random), expected, actual;
        row.CopyTo(expected, false);
        row.CopyTo(actual, false);
        const QRect from(12, 0, 40, 1);
        plain.bare(expected, from, KXCompositionMode::Multiply, expected, from.translated(move, 0), 0.5, false);
        moduleEntries().bare(actual, from, KXCompositionMode::Multiply, actual, from.translated(move, 0), 0.5, false);
        COMPARE_IMAGES(actual, expected, QString("moved by %1").arg(move));
    }
}

/// The module that is built has every composition entry, so that none of them falls back on its default form.
void TestComposeKernels::serveEveryEntry()
{
    testing::LogCapture log;
    loadAVX2Functions(true);
    QCOMPARE(log.texts(), QStringList());
}

void TestComposeKernels::letExceptionsOut_data()
{
    QTest::addColumn<bool>("tiledDestination");
    QTest::newRow("from a worker") << false;
    QTest::newRow("from the calling thread") << true;
}

/// A transformation that throws in one row of the source.
void TestComposeKernels::letExceptionsOut()
{
    QFETCH(bool, tiledDestination);
    class Throwing : public BaseTransformation {
    public:
        using BaseTransformation::operator();
        void operator()(OPRGBA32i &pixel) const override
        {
            if (pixel == 0xFF123456u)
                throw std::runtime_error("no more colours");
        }
    } throwing;
    loadAVX2Functions(true);
    KX source(40, 200, false), dst(40, 200, tiledDestination);
    source.Fill(OPRGBA32i(0xFF00FF00u));
    source.Bits()[100 * 40 + 7] = OPRGBA32i(0xFF123456u);
    testing::LogCapture log;
    bool thrown = false;
    try {
        ComposeWithTransformation(
            source, source.Rect(), KXCompositionMode::Source, dst, dst.Rect(), &throwing, 1.0, false);
    } catch (const std::exception &e) {
        thrown = QByteArray(e.what()) == "no more colours";
    }
    QVERIFY(thrown);
    QCOMPARE(log.texts(), QStringList { "[src/KXComposer] Unexpected exception no more colours" });
    QVector<quint32> row(40);
    dst.ReadRow(99, 0, row.data(), 160);
    QCOMPARE(row, QVector<quint32>(40, 0xFF00FF00u));
    // The other workers go on; the calling thread has no others.
    dst.ReadRow(199, 0, row.data(), 160);
    QCOMPARE(row, QVector<quint32>(40, tiledDestination || workers::hardware() < 2 ? 0u : 0xFF00FF00u));
}

void TestComposeKernels::transformsTheSource_data()
{
    QTest::addColumn<bool>("hasKernel");
    QTest::newRow("pixel by pixel") << false;
    QTest::newRow("by blocks") << true;
}

void TestComposeKernels::transformsTheSource()
{
    QFETCH(bool, hasKernel);
    loadAVX2Functions(true);
    QRandomGenerator random(8);
    Pictures p(301, 40, true, false, random), adjusted = p;
    p.source.CopyTo(adjusted.source, true);
    for (int tile = 0; tile < 3; ++tile)
        for (int i = 0; i < 128 * 128; ++i)
            Swap(false)(adjusted.source.TileData(tile, true)[i]);
    const KX before = p.source;

    Swap swap(hasKernel);
    const QRect rect(-3, 2, 290, 50);
    const auto mode = KXCompositionMode::Overlay;
    for (const Form form : { Bare, Clipped, Masked, TwoMasks }) {
        KX actual;
        p.start.CopyTo(actual, false);
        switch (form) {
        case Bare:
            ComposeWithTransformation(p.source, rect, mode, actual, rect, &swap, 0.8, false);
            break;
        case Clipped:
            ComposeWithTransformationClippingMaskOn(
                p.source, rect, mode, actual, rect, p.clip, rect, p.clipMask, QRect(), true, &swap, 0.8, false);
            break;
        case Masked:
            ComposeWithTransformationMaskOn(p.source, rect, mode, actual, rect, 0.8, p.mask, rect, true, &swap, false);
            break;
        case TwoMasks:
            ComposeWithTransformationClippingMaskAndMaskOn(p.source, rect, mode, actual, rect, 0.8, p.clip, rect,
                p.clipMask, rect, true, p.mask, rect, true, &swap, false);
            break;
        }
        COMPARE_IMAGES(actual, plain.composed(form, adjusted, rect, mode, 0.8, false), QString("form %1").arg(form));
    }
    for (int tile = 0; tile < 3; ++tile)
        QCOMPARE(p.source.TileData(tile, false), before.TileData(tile));
}

void TestComposeKernels::stamps_data()
{
    QTest::addColumn<double>("opacity");
    QTest::addColumn<double>("average");
    QTest::addColumn<double>("flow");
    QTest::newRow("all of it") << 1.0 << 1.0 << 1.0;
    QTest::newRow("towards the opacity") << 0.6 << 0.2 << 1.0;
    QTest::newRow("towards the average") << 0.3 << 0.7 << 0.37;
    QTest::newRow("nothing") << 0.0 << 0.0 << 0.5;
    QTest::newRow("out of range") << 7.5 << -3.0 << -20.0;
    QTest::newRow("no numbers") << qQNaN() << qInf() << 0.5;
}

void TestComposeKernels::stamps()
{
    QFETCH(double, opacity);
    QFETCH(double, average);
    QFETCH(double, flow);
    const auto fast = testing::kernel<decltype(ComposeAlphaDarken)>("ComposeAlphaDarken_avx2");
    QRandomGenerator random(5);
    QImage stamp(67, 67, QImage::Format_ARGB32);
    for (int i = 0; i < 67 * 67; ++i)
        reinterpret_cast<quint32 *>(stamp.bits())[i] = random.generate() | (i % 5 ? 0u : 0xFF000000u);
    for (int x = 0; x < 67; x += 7) // transparent corners
        stamp.setPixelColor(x, x, QColor(1, 2, 3, 0));
    for (int n = 0; n <= 67; ++n) {
        KX expected = Pictures::picture(150, 80, true, random), actual;
        expected.CopyTo(actual, true);
        const QRect rect(n % 5, 3, n, 67), to(100 - n / 2, 20, n, 67);
        Plain::ComposeAlphaDarken(stamp, rect, expected, to, opacity, average, flow);
        fast(stamp, rect, actual, to, opacity, average, flow);
        COMPARE_IMAGES(actual, expected, QString("n %1").arg(n));
    }
}

void TestComposeKernels::dualBrushes()
{
    const auto fast = testing::kernel<decltype(ComposeDualBrush)>("ComposeDualBrush_avx2");
    QImage source(259, 256, QImage::Format_ARGB32), start(259, 256, QImage::Format_ARGB32);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 259; ++x) {
            source.setPixel(x, y, qRgba(1, 2, 3, x & 255));
            start.setPixel(x, y, qRgba(4, 5, 6, y));
        }
    for (int mode = 0; mode < 60; ++mode) {
        QImage expected = start, actual = start;
        Plain::ComposeDualBrush(source, source.rect(), expected, start.rect(), KXCompositionMode(mode));
        fast(source, source.rect(), actual, start.rect(), KXCompositionMode(mode));
        QVERIFY2(actual == expected, qPrintable(QString("mode %1").arg(mode)));
    }
}

KXCORE_TEST_MAIN(TestComposeKernels)
#include "tst_composekernels.moc"
