#include "BaseTransformation.h"
#include "compose/Composer.h"
#include "kit/Kernels.h"
#include "kit/Layers.h"
#include "kit/Random.h"

using KX = RGBA32iImage;
using Plain = compose::Composers<compose::PlainRows>;
using kit::Picture;

namespace {

struct NoMoreColours : BaseTransformation {
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &) const override { throw std::runtime_error("no more colours"); }
};

} // namespace

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

    /// All pairs of source and destination bytes for chosen pairs of alphas, and all pairs of alphas for random bytes.
    void wholeDomains()
    {
        for (const KXCompositionMode mode : KXCompositionModes())
            compareDomains(mode);
        compareDomains(KXCompositionMode(7)); // which is none
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
                        Plain::Compose(expected, from, mode, expected, to, 1.0, false);
                        Compose(actual, from, mode, actual, to, 1.0, false);
                        VERIFY_SAME_AT(kit::difference(Picture::of(actual), Picture::of(expected)),
                            QString("moved by %1, %2").arg(dx).arg(dy));
                        if (dx == 0 && dy == 1 && mode == KXCompositionMode::Source) // every row is the first
                            QCOMPARE(Picture::of(actual).at(139, 19), start.at(139, 0));
                    }
    }

    /// A worker ends where it throws, others go on. There are as many as processors for flat images and under clips,
    /// none beside the caller for other images and for a tiled source below a tiled clip without a mask.
    void letsExceptionsOut()
    {
        const kit::Processors processors(3);
        NoMoreColours adjustment;
        for (const kit::Form form : kit::forms) // those with a clip onto flat images only
            for (int storages = 0; storages < (form == kit::Bare || form == kit::Masked ? 8 : 4); ++storages) {
                const bool tiled = storages & 1, tiledClip = storages & 2, onTiles = storages & 4;
                kit::Layers p({ 9, 9 }, tiled, onTiles);
                p.clip = Picture::of(p.clip).image(tiledClip);
                const kit::LogCapture log;
                const kit::Call call { form, p.start.Rect(), KXCompositionMode::Overlay, 0.8, false };
                QVERIFY_EXCEPTION_THROWN(kit::composed(call, p, &adjustment), std::exception);
                const bool alone = onTiles || (tiled && (form == kit::Clipped ? tiledClip : form != kit::TwoMasks));
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

private:
    static void compareDomains(KXCompositionMode mode)
    {
        using Byte = unsigned char;
        kit::Layers p({ 256, 256 }, false, false);
        const QRect all = p.start.Rect();
        const auto compare = [&](double opacity, bool lock, const QString &where) {
            for (const bool masked : { false, true }) {
                KX fast, plain;
                p.start.CopyTo(fast, false), p.start.CopyTo(plain, false);
                if (masked) {
                    ComposeMaskOn(p.source, all, mode, fast, all, opacity, p.mask, all, true, lock);
                    Plain::ComposeMaskOn(p.source, all, mode, plain, all, opacity, p.mask, all, true, lock);
                } else {
                    Compose(p.source, all, mode, fast, all, opacity, lock);
                    Plain::Compose(p.source, all, mode, plain, all, opacity, lock);
                }
                VERIFY_SAME_AT(kit::difference(Picture::of(fast), Picture::of(plain)),
                    QString("mode %1, masked %2, opacity %3, lock %4, %5")
                        .arg(int(mode))
                        .arg(masked)
                        .arg(opacity)
                        .arg(lock)
                        .arg(where));
            }
        };
        for (int i = 0; i < 65536; ++i) {
            p.source.Bits()[i].a = Byte(i);
            p.start.Bits()[i].a = Byte(i >> 8);
        }
        for (const bool lock : { false, true })
            for (const double opacity : { 1.0, 255 / 256.0, 100 / 256.0 })
                compare(opacity, lock, "all alphas");
        p.mask.Fill(OPRGBA32i(0xFFFFFFFFu));
        for (const Byte sa : { 0, 1, 127, 254, 255 })
            for (const Byte da : { 0, 1, 128, 255 }) {
                for (int i = 0; i < 65536; ++i) {
                    const Byte x = Byte(i), y = Byte(i >> 8);
                    p.source.Bits()[i] = OPRGBA32i(x, y, Byte(255 - x), sa);
                    p.start.Bits()[i] = OPRGBA32i(y, x, Byte(x ^ y), da);
                }
                compare(1.0, false, QString("alphas %1, %2").arg(sa).arg(da));
            }
    }
};

KXCORE_TEST_MAIN(TestComposeKernels)
#include "tst_composekernels.moc"
