#include "kit/Picture.h"
#include "kit/Test.h"

#include "RangedLane.h"
#include "compose/ModeTable.h"

using namespace compose;

namespace {

/// What lies on one another at one place, and how it is blended.
struct Case {
    OPRGBA32i source, destination;
    quint32 clip, mask, secondMask, opacity;
    bool lock, hasClip, hasSecondMask;

    explicit Case(QRandomGenerator &random)
        : source(kit::saltedPixel(random))
        , destination(kit::saltedPixel(random))
        , clip(kit::saltedByte(random))
        , mask(kit::saltedByte(random))
        , secondMask(kit::saltedByte(random))
        , opacity(random.bounded(3) ? random.bounded(1, 257) : 256)
        , lock(random.bounded(2))
        , hasClip(random.bounded(2))
        , hasSecondMask(random.bounded(2))
    {
    }

    template <class V>
    PlainCoverage<V> Covered(PlainCoverage<V> *) const
    {
        return { opacity, lock, hasClip, V(clip) };
    }
    template <class V>
    MaskedCoverage<V> Covered(MaskedCoverage<V> *) const
    {
        return { opacity, lock, hasClip, hasSecondMask, V(mask), V(clip), V(secondMask) };
    }

    template <class Mode, template <class> class Coverage, class V>
    Pixel<V> Blended(bool isOpaque) const
    {
        const auto of = [](OPRGBA32i p) { return Pixel<V> { V(p.b), V(p.g), V(p.r), V(p.a) }; };
        const Coverage<V> covered = Covered(static_cast<Coverage<V> *>(nullptr));
        if constexpr (isSimplerOnOpaque<Mode>)
            if (isOpaque)
                return blendOnOpaque<Mode>(of(source), of(destination), covered);
        return Mode::blend(of(source), of(destination), covered);
    }
};

/// Where a formula of the mode leaves a range, or gives something else than the plain lane; empty if nowhere.
template <class Mode, template <class> class Coverage>
QString rangesBroken()
{
    QRandomGenerator random = kit::random(quint32(Mode::id));
    for (int i = 0; i < 20000; ++i) {
        Case c(random);
        const bool isOpaque = isSimplerOnOpaque<Mode> && i % 2;
        if (isOpaque)
            c.destination.a = 255;
        const auto ranged = c.Blended<Mode, Coverage, Ranged>(isOpaque);
        const auto plain = c.Blended<Mode, Coverage, Lane1>(false);
        const Ranged actual[] = { ranged.b, ranged.g, ranged.r, ranged.a };
        const Lane1 expected[] = { plain.b, plain.g, plain.r, plain.a };
        for (int k = 0; k < 4; ++k)
            if (!actual[k].isExact || actual[k].v > 255 || actual[k].v != expected[k])
                return QString::asprintf("%s: %08x on %08x, clip %u (%d), mask %u, second mask %u (%d), opacity %u, "
                                         "lock %d: channel %d is %u, exact %d, instead of %u",
                    Mode::name, c.source.word, c.destination.word, c.clip, c.hasClip, c.mask, c.secondMask,
                    c.hasSecondMask, c.opacity, c.lock, k, actual[k].v, actual[k].isExact, expected[k]);
    }
    return {};
}

template <class Mode>
void checkMode()
{
    if constexpr (Mode::forms != Forms::Masked)
        QCOMPARE((rangesBroken<Mode, PlainCoverage>()), QString());
    if constexpr (Mode::forms != Forms::Plain)
        QCOMPARE((rangesBroken<Mode, MaskedCoverage>()), QString());
}

template <class... Mode>
void checkModes(ModeList<Mode...>)
{
    (checkMode<Mode>(), ...);
}

/// A product of three bytes, divided as if it were one of two.
struct TooLarge : Separable<TooLarge, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Multiply;
    static constexpr char name[] = "too large";

    template <class V>
    static V mix(V s, V d)
    {
        return min(div255(mul(mul(s, d), s)), V(255));
    }
};

} // namespace

/// The ranges within which formulas are exact in vectors.
class TestModes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void staysInRange()
    {
        checkModes(AllModes());
        QVERIFY((rangesBroken<TooLarge, PlainCoverage>()).contains("exact 0"));
        QVERIFY((rangesBroken<TooLarge, MaskedCoverage>()).contains("exact 0"));
    }
};

KXCORE_TEST_MAIN(TestModes)
#include "tst_modes.moc"
