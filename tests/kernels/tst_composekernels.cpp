#include "BaseTransformation.h"
#include "KXComposer.h"
#include "compose/Composer.h"
#include "kit/Kernels.h"
#include "kit/Random.h"

using KX = RGBA32iImage;
using Plain = compose::Composers<compose::PlainRows>;
using kit::Picture;

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

/// What the four forms need of a set of composers.
struct Entries {
    std::function<decltype(Compose<KX, KX>)> bare;
    std::function<decltype(ComposeClippingMaskOn<KX, KX>)> clipped;
    std::function<decltype(ComposeMaskOn<KX, KX>)> masked;
    std::function<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)> twoMasks;

    Picture composed(Form form, Pictures &p, QRect rect, KXCompositionMode mode, double opacity, bool lock) const
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
const Entries fast { Compose<KX, KX>, ComposeClippingMaskOn<KX, KX>, ComposeMaskOn<KX, KX>,
    ComposeClippingMaskAndMaskOn<KX, KX> };

/// Says how the module and the plain code differ, if they do.
#define COMPARE_FORM(form, pictures, rect, mode, opacity, lock, where)                                                 \
    VERIFY_SAME_AT(kit::difference(fast.composed(form, pictures, rect, mode, opacity, lock),                           \
                       plain.composed(form, pictures, rect, mode, opacity, lock)),                                     \
        QString("form %1, opacity %2, lock %3, %4").arg(form).arg(opacity).arg(lock).arg(where))

/// Swaps blue and red and halves alpha, with a kernel or without; of one colour it throws.
struct Swap : BaseTransformation {
    using BaseTransformation::operator();
    explicit Swap(bool hasKernel) { m_HasKernel = hasKernel; }

    void operator()(OPRGBA32i &p) const override
    {
        if (p == OPRGBA32i(0xFF123456u))
            throw std::runtime_error("no more colours");
        p = OPRGBA32i(p.r, p.g, p.b, static_cast<unsigned char>(p.a / 2));
    }
    void operator()(unsigned char *pixels, bool) const override
    {
        for (int i = 0; i < 128; ++i)
            (*this)(reinterpret_cast<OPRGBA32i *>(pixels)[i]);
    }
};

/// As Entries::composed, in mode Overlay at 0.8, with the source's pixels swapped on the way.
Picture swapped(Form form, Pictures &p, QRect rect, Swap swap)
{
    const auto mode = KXCompositionMode::Overlay;
    KX dst;
    p.start.CopyTo(dst, false);
    if (form == Bare)
        ComposeWithTransformation(p.source, rect, mode, dst, rect, &swap, 0.8, false);
    else if (form == Clipped)
        ComposeWithTransformationClippingMaskOn(
            p.source, rect, mode, dst, rect, p.clip, rect, p.clipMask, QRect(), true, &swap, 0.8, false);
    else if (form == Masked)
        ComposeWithTransformationMaskOn(p.source, rect, mode, dst, rect, 0.8, p.mask, rect, true, &swap, false);
    else
        ComposeWithTransformationClippingMaskAndMaskOn(p.source, rect, mode, dst, rect, 0.8, p.clip, rect, p.clipMask,
            rect, true, p.mask, rect, true, &swap, false);
    return Picture::of(dst);
}

} // namespace

Q_DECLARE_METATYPE(KXCompositionMode)

/// The composition entries of the module, to which the public functions are bound, against walks with plain rows.
class TestComposeKernels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        SKIP_WITHOUT_MODULE();
        const kit::LogCapture log;
        loadAVX2Functions(true);
        QCOMPARE(log.texts(), QStringList()); // every entry is there
    }

    void everyLengthAndOffset_data()
    {
        QTest::addColumn<KXCompositionMode>("mode");
        for (const KXCompositionMode mode : KXCompositionModes())
            QTest::newRow(KXCompositionModeName(mode)) << mode;
        QTest::newRow("unknown") << KXCompositionMode(7);
    }

    void everyLengthAndOffset()
    {
        QFETCH(KXCompositionMode, mode);
        QRandomGenerator random = kit::random();
        // The destination of the bare form is tiled, so that its opacity is not clamped.
        Pictures tiled(80, 3, false, true), flat(80, 3, false, false);
        const double opacities[] = { 1 / 256.0, 127 / 256.0, 255 / 256.0, 1.0, 300 / 256.0 };
        for (int n = 0; n <= 67; ++n)
            for (int start = 0; start < 8; ++start)
                for (const Form form : forms) {
                    const QRect rect(start, 1, n, 1);
                    const double opacity = opacities[random.bounded(5)];
                    const bool lock = random.bounded(2);
                    Pictures &p = form == Bare || form == Masked ? tiled : flat;
                    COMPARE_FORM(form, p, rect, mode, opacity, lock, QString("%1+%2").arg(start).arg(n));
                }
    }

    void wholeDomains_data() { everyLengthAndOffset_data(); }

    /// All pairs of source and destination bytes for chosen pairs of alphas, and all pairs of alphas for random bytes.
    void wholeDomains()
    {
        QFETCH(KXCompositionMode, mode);
        using Byte = unsigned char;
        Pictures p(256, 256, false, false);
        for (int i = 0; i < 65536; ++i) {
            p.source.Bits()[i].a = Byte(i);
            p.start.Bits()[i].a = Byte(i >> 8);
        }
        for (const bool lock : { false, true })
            for (const double opacity : { 1.0, 255 / 256.0, 100 / 256.0 })
                for (const Form form : { Bare, Masked })
                    COMPARE_FORM(form, p, p.start.Rect(), mode, opacity, lock, "all alphas");
        p.mask.Fill(OPRGBA32i(0xFFFFFFFFu));
        for (const Byte sa : { 0, 1, 127, 254, 255 })
            for (const Byte da : { 0, 1, 128, 255 }) {
                for (int i = 0; i < 65536; ++i) {
                    const Byte x = Byte(i), y = Byte(i >> 8);
                    p.source.Bits()[i] = OPRGBA32i(x, y, Byte(255 - x), sa);
                    p.start.Bits()[i] = OPRGBA32i(y, x, Byte(x ^ y), da);
                }
                for (const Form form : { Bare, Masked })
                    COMPARE_FORM(form, p, p.start.Rect(), mode, 1.0, false, QString("alphas %1, %2").arg(sa).arg(da));
            }
    }

    /// An image laid on itself, moved: each pixel reads what the pixels before it, row by row, wrote. The rows of a
    /// flat image are shared out among workers, so there it can only move along them.
    void overlapsItself()
    {
        const Picture start = Picture::random(140, 20, 3);
        for (const bool tiled : { false, true })
            for (int dx = -10; dx <= 10; ++dx)
                for (int dy = -tiled; dy <= int(tiled); ++dy)
                    for (const auto mode : { KXCompositionMode::Source, KXCompositionMode::Multiply }) {
                        KX expected = start.image(tiled), actual = start.image(tiled);
                        const QRect from = QRect(-dx, -dy, 140, 20) & start.rect(), to = from.translated(dx, dy);
                        plain.bare(expected, from, mode, expected, to, 1.0, false);
                        fast.bare(actual, from, mode, actual, to, 1.0, false);
                        VERIFY_SAME_AT(kit::difference(Picture::of(actual), Picture::of(expected)),
                            QString("moved by %1, %2").arg(dx).arg(dy));
                        if (dx == 0 && dy == 1 && mode == KXCompositionMode::Source) // every row is the first
                            QCOMPARE(Picture::of(actual).at(139, 19), start.at(139, 0));
                    }
    }

    void transformsTheSource()
    {
        const QRect rect(-3, 2, 290, 50);
        for (const bool tiled : { false, true })
            for (const bool hasKernel : { false, true }) {
                Swap swap(hasKernel);
                Pictures p(301, 40, tiled, false), adjusted = p;
                const Picture before = Picture::of(p.source);
                Picture source = before;
                for (OPRGBA32i &pixel : source.pixels)
                    swap(pixel);
                adjusted.source = source.image(tiled);
                for (const Form form : forms)
                    COMPARE_PICTURE(swapped(form, p, rect, swap),
                        plain.composed(form, adjusted, rect, KXCompositionMode::Overlay, 0.8, false));
                COMPARE_PICTURE(Picture::of(p.source), before);
            }
    }

    /// A worker ends where it throws, others go on. There are as many as processors for flat images and under clips,
    /// none beside the caller for other images and for a tiled source below a tiled clip without a mask.
    void letsExceptionsOut()
    {
        const kit::Processors processors(3);
        for (const Form form : forms) // those with a clip onto flat images only
            for (int storages = 0; storages < (form == Bare || form == Masked ? 8 : 4); ++storages) {
                const bool tiled = storages & 1, tiledClip = storages & 2, onTiles = storages & 4;
                Pictures p(9, 9, false, onTiles);
                p.source = Picture(9, 9, OPRGBA32i(0xFF123456u)).image(tiled);
                p.clip = Picture::of(p.clip).image(tiledClip);
                const kit::LogCapture log;
                QVERIFY_EXCEPTION_THROWN(swapped(form, p, p.start.Rect(), Swap(false)), std::exception);
                const bool alone = onTiles || (tiled && (form == Clipped ? tiledClip : form != TwoMasks));
                const QString line = "[src/KXComposer] Unexpected exception no more colours";
                QCOMPARE(log.texts().join(QString()), line.repeated(alone ? 1 : 3));
            }
    }

    void stamps()
    {
        Picture tip = Picture::random(67, 67, 5);
        const QImage stamp(reinterpret_cast<unsigned char *>(tip.pixels.data()), 67, 67, QImage::Format_ARGB32);
        const double parameters[][3] = { { 1, 1, 1 }, { 0.6, 0.2, 1 }, { 0.3, 0.7, 0.37 }, { 0, 0, 0.5 },
            { 7.5, -3, -20 }, { qQNaN(), qInf(), 0.5 } };
        for (const auto &[opacity, average, flow] : parameters)
            for (int n = 0; n <= 67; ++n) {
                const Picture start = Picture::random(150, 80, unsigned(n));
                KX expected = start.image(true), actual = start.image(true);
                const QRect rect(n % 5, 3, n, 67), to(100 - n / 2, 20, n, 67);
                Plain::ComposeAlphaDarken(stamp, rect, expected, to, opacity, average, flow);
                ComposeAlphaDarken(stamp, rect, actual, to, opacity, average, flow);
                VERIFY_SAME_AT(kit::difference(Picture::of(actual), Picture::of(expected)),
                    QString("opacity %1, average %2, width %3").arg(opacity).arg(average).arg(n));
            }
    }
};

KXCORE_TEST_MAIN(TestComposeKernels)
#include "tst_composekernels.moc"
