#include "BaseTransformation.h"
#include "KXComposer.h"
#include "TestSupport.h"
#include "compose/Composer.h"
#include "kernels/Rows.h"

using KX = RGBA32iImage;
using Plain = compose::Composers<compose::PlainRows>;
using testing::Picture;

/// The composition entries of the module against the library's walks with plain rows.
class TestComposeKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyLengthAndOffset_data();
    void everyLengthAndOffset();
    void wholeDomains_data() { everyLengthAndOffset_data(); }
    void wholeDomains();
    void wholeImages();
    void overlapsItself();
    void serveEveryEntry();
    void letExceptionsOut();
    void transformsTheSource();
    void stamps();
};

namespace {

enum Form { Bare, Clipped, Masked, TwoMasks };
const Form forms[] = { Bare, Clipped, Masked, TwoMasks };

/// The images of one composition, of one size; the destination is the only one that is written.
struct Pictures {
    Pictures(int width, int height, bool tiledSource, bool tiledDestination)
        : source(Picture::random(width, height, 1).image(tiledSource))
        , mask(Picture::random(width, height, 2).image(false))
        , clip(Picture::random(width, height, 3).image(false))
        , clipMask(Picture::random(width, height, 4).image(false))
        , start(Picture::random(width, height, 5).image(tiledDestination))
    {
    }

    KX source, mask, clip, clipMask, start;
};

/// What the four forms need of a set of composers: the plain ones, or the symbols of the module.
struct Entries {
    std::function<decltype(Compose<KX, KX>)> bare;
    std::function<decltype(ComposeClippingMaskOn<KX, KX>)> clipped;
    std::function<decltype(ComposeMaskOn<KX, KX>)> masked;
    std::function<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)> twoMasks;

    Picture composed(Form form, Pictures &p, const QRect &rect, KXCompositionMode mode, double opacity, bool lock) const
    {
        KX dst;
        p.start.CopyTo(dst, false);
        if (form == Bare)
            bare(p.source, rect, mode, dst, rect, opacity, lock);
        else if (form == Clipped)
            clipped(p.source, rect, mode, dst, rect, p.clip, rect, p.clipMask, QRect(), true, opacity, lock);
        else if (form == Masked)
            masked(p.source, rect, mode, dst, rect, opacity, p.mask, rect, true, lock);
        else
            twoMasks(p.source, rect, mode, dst, rect, opacity, p.clip, rect, p.clipMask, rect, true, p.mask, rect, true,
                lock);
        return Picture::of(dst);
    }
};

const Entries plain { Plain::Compose<KX, KX>, Plain::ComposeClippingMaskOn, Plain::ComposeMaskOn<KX, KX>,
    Plain::ComposeClippingMaskAndMaskOn };
Entries fast;

/// Says how the module and the plain code differ, if they do.
#define COMPARE_FORM(form, pictures, rect, mode, opacity, lock, where)                                                 \
    VERIFY_SAME_AT(testing::difference(fast.composed(form, pictures, rect, mode, opacity, lock),                       \
                       plain.composed(form, pictures, rect, mode, opacity, lock)),                                     \
        QString("form %1, opacity %2, lock %3, %4").arg(form).arg(opacity).arg(lock).arg(where))

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

Q_DECLARE_METATYPE(KXCompositionMode)

void TestComposeKernels::initTestCase()
{
    if (!AVX2LIB::Instance())
        QSKIP("there is no kernel module, or this processor has no AVX2");
    loadAVX2Functions(true);
    using testing::kernel;
    fast = { kernel<decltype(Compose<KX, KX>)>("Compose_RGBA32iImage_RGBA32iImage_avx2"),
        kernel<decltype(ComposeClippingMaskOn<KX, KX>)>("ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2"),
        kernel<decltype(ComposeMaskOn<KX, KX>)>("ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2"),
        kernel<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)>(
            "ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2") };
}

void TestComposeKernels::everyLengthAndOffset_data()
{
    QTest::addColumn<KXCompositionMode>("mode");
    for (const KXCompositionMode mode : KXCompositionModes())
        QTest::newRow(KXCompositionModeName(mode)) << mode;
    QTest::newRow("unknown") << KXCompositionMode(7);
}

void TestComposeKernels::everyLengthAndOffset()
{
    QFETCH(KXCompositionMode, mode);
    QRandomGenerator random(20240607);
    // The destination of the bare form is tiled, so that its opacity is not clamped.
    Pictures tiled(80, 3, false, true), flat(80, 3, false, false);
    const double opacities[] = { 1 / 256.0, 127 / 256.0, 255 / 256.0, 1.0, 300 / 256.0 };
    for (int n = 0; n <= 67; ++n)
        for (int start = 0; start < 8; ++start)
            for (const Form form : forms) {
                const double opacity = opacities[random.bounded(5)];
                const bool lock = random.bounded(2);
                Pictures &p = form == Bare || form == Masked ? tiled : flat;
                COMPARE_FORM(form, p, QRect(start, 1, n, 1), mode, opacity, lock, QString("%1+%2").arg(start).arg(n));
            }
}

/// All pairs of source and destination bytes for chosen pairs of alphas, and all pairs of alphas for random bytes.
void TestComposeKernels::wholeDomains()
{
    QFETCH(KXCompositionMode, mode);
    using Byte = unsigned char;
    Pictures p(256, 256, false, false), q(256, 256, false, false);
    p.mask.Fill(OPRGBA32i(0xFFFFFFFFu));
    for (const Byte sa : { 0, 1, 127, 254, 255 })
        for (const Byte da : { 0, 1, 128, 255 }) {
            for (int i = 0; i < 65536; ++i) {
                const Byte x = Byte(i), y = Byte(i >> 8);
                p.source.Bits()[i] = OPRGBA32i(x, y, Byte(255 - x), sa);
                p.start.Bits()[i] = OPRGBA32i(y, x, Byte(x ^ y), da);
            }
            for (const Form form : { Bare, Masked })
                COMPARE_FORM(form, p, p.start.Rect(), mode, 1.0, false, QString("alphas %1 over %2").arg(sa).arg(da));
        }
    Picture source = Picture::of(q.source), start = Picture::of(q.start);
    for (size_t i = 0; i < 65536; ++i) {
        source.pixels[i].a = Byte(i);
        start.pixels[i].a = Byte(i >> 8);
    }
    q.source = source.image(false);
    q.start = start.image(false);
    for (const bool lock : { false, true })
        for (const double opacity : { 1.0, 255 / 256.0, 100 / 256.0 })
            for (const Form form : { Bare, Masked })
                COMPARE_FORM(form, q, q.start.Rect(), mode, opacity, lock, "all alphas");
}

void TestComposeKernels::wholeImages()
{
    for (const bool tiledSource : { false, true })
        for (const bool tiledDestination : { false, true }) {
            Pictures p(301, 263, tiledSource, tiledDestination);
            for (const QRect &rect : { QRect(0, 0, 301, 263), QRect(-17, 5, 290, 400), QRect(130, 100, 500, 30) })
                for (const Form form : forms) {
                    if (tiledDestination && (form == Clipped || form == TwoMasks))
                        continue; // there is no such composer
                    for (const auto mode : { KXCompositionMode::SourceOver, KXCompositionMode::SoftLight })
                        COMPARE_FORM(form, p, rect, mode, 0.7, false,
                            QString("%1tiled to %2tiled").arg(tiledSource ? "" : "un", tiledDestination ? "" : "un"));
                }
        }
}

/// An image laid on itself, moved: each pixel reads what the pixels before it, row by row, wrote.
void TestComposeKernels::overlapsItself()
{
    for (const QPoint &move : { QPoint(0, 1), QPoint(-1, 1), QPoint(3, -2), QPoint(2, 0) }) {
        Picture expected = Picture::random(200, 150, 3);
        KX actual = expected.image(true);
        const QRect from = expected.rect() & expected.rect().translated(-move);
        for (int y = from.top(); y <= from.bottom(); ++y) // at full opacity Source copies runs, each at once
            for (int x = from.left(), n; x <= from.right(); x += n) {
                n = std::min({ 128 - x % 128, 128 - (x + move.x()) % 128, from.right() + 1 - x });
                std::memmove(
                    static_cast<void *>(&expected.at(x + move.x(), y + move.y())), &expected.at(x, y), size_t(n) * 4);
            }
        fast.bare(actual, from, KXCompositionMode::Source, actual, from.translated(move), 1.0, false);
        COMPARE_PICTURE(Picture::of(actual), expected);
    }
    for (int move = -10; move <= 10; ++move) {
        const Picture row = Picture::random(64, 1, 4);
        KX expected = row.image(false), actual = row.image(false);
        const QRect from(12, 0, 40, 1);
        plain.bare(expected, from, KXCompositionMode::Multiply, expected, from.translated(move, 0), 0.5, false);
        fast.bare(actual, from, KXCompositionMode::Multiply, actual, from.translated(move, 0), 0.5, false);
        COMPARE_PICTURE(Picture::of(actual), Picture::of(expected));
    }
}

/// The module that is built has every composition entry, so that none of them falls back on its default form.
void TestComposeKernels::serveEveryEntry()
{
    testing::LogCapture log;
    loadAVX2Functions(true);
    QCOMPARE(log.texts(), QStringList());
}

/// A transformation that throws in one row of the source: on a worker, and on the calling thread, which does tiles.
void TestComposeKernels::letExceptionsOut()
{
    class Throwing : public BaseTransformation {
    public:
        using BaseTransformation::operator();
        void operator()(OPRGBA32i &pixel) const override
        {
            if (pixel == 0xFF123456u)
                throw std::runtime_error("no more colours");
        }
    } throwing;
    for (const bool tiled : { false, true }) {
        KX source = Picture(40, 200, OPRGBA32i(0xFF00FF00u)).image(false), dst(40, 200, tiled);
        source.Bits()[100 * 40 + 7] = OPRGBA32i(0xFF123456u);
        testing::LogCapture log;
        QVERIFY_EXCEPTION_THROWN(ComposeWithTransformation(source, source.Rect(), KXCompositionMode::Source, dst,
                                     dst.Rect(), &throwing, 1.0, false),
            std::exception);
        QCOMPARE(log.texts(), QStringList { "[src/KXComposer] Unexpected exception no more colours" });
        const Picture result = Picture::of(dst);
        QCOMPARE(result.at(39, 99).word, 0xFF00FF00u);
        // The other workers go on; the calling thread has no others.
        QCOMPARE(result.at(39, 199).word, tiled || workers::hardware() < 2 ? 0u : 0xFF00FF00u);
    }
}

void TestComposeKernels::transformsTheSource()
{
    Pictures p(301, 40, true, false), adjusted = p;
    Picture source = Picture::of(p.source);
    for (OPRGBA32i &pixel : source.pixels)
        Swap(false)(pixel);
    adjusted.source = source.image(true);
    const KX before = p.source;
    const QRect rect(-3, 2, 290, 50);
    const auto mode = KXCompositionMode::Overlay;
    for (const bool hasKernel : { false, true }) {
        Swap swap(hasKernel);
        KX bare, clipped, masked, twoMasks;
        for (KX *dst : { &bare, &clipped, &masked, &twoMasks })
            p.start.CopyTo(*dst, false);
        ComposeWithTransformation(p.source, rect, mode, bare, rect, &swap, 0.8, false);
        ComposeWithTransformationClippingMaskOn(
            p.source, rect, mode, clipped, rect, p.clip, rect, p.clipMask, QRect(), true, &swap, 0.8, false);
        ComposeWithTransformationMaskOn(p.source, rect, mode, masked, rect, 0.8, p.mask, rect, true, &swap, false);
        ComposeWithTransformationClippingMaskAndMaskOn(p.source, rect, mode, twoMasks, rect, 0.8, p.clip, rect,
            p.clipMask, rect, true, p.mask, rect, true, &swap, false);
        const KX *const actual[] = { &bare, &clipped, &masked, &twoMasks };
        for (const Form form : forms)
            COMPARE_PICTURE(Picture::of(*actual[form]), plain.composed(form, adjusted, rect, mode, 0.8, false));
        for (int tile = 0; tile < 3; ++tile)
            QCOMPARE(p.source.TileData(tile, false), before.TileData(tile));
    }
}

void TestComposeKernels::stamps()
{
    const auto darken = testing::kernel<decltype(ComposeAlphaDarken)>("ComposeAlphaDarken_avx2");
    QImage stamp(67, 67, QImage::Format_ARGB32);
    QRandomGenerator random(5);
    for (int i = 0; i < 67 * 67; ++i)
        reinterpret_cast<quint32 *>(stamp.bits())[i] = random.generate() | (i % 5 ? 0u : 0xFF000000u);
    for (int x = 0; x < 67; x += 7) // transparent corners
        stamp.setPixelColor(x, x, QColor(1, 2, 3, 0));
    const double parameters[][3] = { { 1, 1, 1 }, { 0.6, 0.2, 1 }, { 0.3, 0.7, 0.37 }, { 0, 0, 0.5 }, { 7.5, -3, -20 },
        { qQNaN(), qInf(), 0.5 } };
    for (const auto &[opacity, average, flow] : parameters)
        for (int n = 0; n <= 67; ++n) {
            const Picture start = Picture::random(150, 80, unsigned(n));
            KX expected = start.image(true), actual = start.image(true);
            const QRect rect(n % 5, 3, n, 67), to(100 - n / 2, 20, n, 67);
            Plain::ComposeAlphaDarken(stamp, rect, expected, to, opacity, average, flow);
            darken(stamp, rect, actual, to, opacity, average, flow);
            VERIFY_SAME_AT(testing::difference(Picture::of(actual), Picture::of(expected)),
                QString("opacity %1, average %2, width %3").arg(opacity).arg(average).arg(n));
        }
}

KXCORE_TEST_MAIN(TestComposeKernels)
#include "tst_composekernels.moc"
