#include "kit/Picture.h"
#include "kit/Random.h"
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
    auto Covered(PlainCoverage<V> *) const
    {
        return PlainCoverage<V> { opacity, lock, hasClip, V(clip) };
    }
    template <class V>
    auto Covered(MaskedCoverage<V> *) const
    {
        return MaskedCoverage<V> { opacity, lock, hasClip, hasSecondMask, V(mask), V(clip), V(secondMask) };
    }

    template <class V>
    static Pixel<V> Of(OPRGBA32i p)
    {
        return { V(p.b), V(p.g), V(p.r), V(p.a) };
    }
    template <class Mode, template <class> class Coverage, class V>
    Pixel<V> Blended() const
    {
        return Mode::blend(Of<V>(source), Of<V>(destination), Covered<V>(static_cast<Coverage<V> *>(nullptr)));
    }
    template <class Mode, template <class> class Coverage, class V>
    Pixel<V> OnOpaque() const
    {
        return blendOnOpaque<Mode>(Of<V>(source), Of<V>(destination), Covered<V>(static_cast<Coverage<V> *>(nullptr)));
    }

    QString Text() const
    {
        return QString::asprintf("%08x on %08x, clip %u (%d), mask %u, second mask %u (%d), opacity %u, lock %d",
            source.word, destination.word, clip, hasClip, mask, secondMask, hasSecondMask, opacity, lock);
    }
};

/// Empty if @p ranged is what @p plain says, in bytes, and was computed within all ranges.
QString difference(const Pixel<Ranged> &ranged, const Pixel<Lane1> &plain)
{
    const Ranged actual[] = { ranged.b, ranged.g, ranged.r, ranged.a };
    const Lane1 expected[] = { plain.b, plain.g, plain.r, plain.a };
    for (int i = 0; i < 4; ++i) {
        if (!actual[i].isExact || actual[i].v > 255)
            return QString("channel %1 leaves its range").arg(i);
        if (actual[i].v != expected[i])
            return QString("channel %1 is %2 instead of %3").arg(i).arg(actual[i].v).arg(expected[i]);
    }
    return {};
}

template <class Mode, template <class> class Coverage>
QString rangesBroken()
{
    QRandomGenerator random = kit::random(quint32(Mode::id));
    for (int i = 0; i < 20000; ++i) {
        Case c(random);
        QString text = difference(c.Blended<Mode, Coverage, Ranged>(), c.Blended<Mode, Coverage, Lane1>());
        if constexpr (isSimplerOnOpaque<Mode>)
            if (text.isEmpty()) {
                c.destination.a = 255;
                text = difference(c.OnOpaque<Mode, Coverage, Ranged>(), c.Blended<Mode, Coverage, Lane1>());
            }
        if (!text.isEmpty())
            return QString("%1: %2: %3").arg(Mode::name, c.Text(), text);
    }
    return {};
}

/// What the mode really leaves where @p hide makes a case bare, over all alphas of the destination.
template <class Mode, template <class> class Coverage, class Hide>
Kept keptWhere(bool lock, Hide hide)
{
    QRandomGenerator random = kit::random(quint32(Mode::id));
    bool keepsVisible = true, keepsHidden = true, clearsHidden = true;
    for (int i = 0; i < 256 * 64; ++i) {
        Case c(random);
        c.destination.a = static_cast<unsigned char>(i % 256);
        c.lock = lock;
        hide(c);
        const OPRGBA32i result = pack(c.Blended<Mode, Coverage, Lane1>());
        if (c.destination.a != 0) {
            keepsVisible = keepsVisible && result == c.destination;
        } else {
            keepsHidden = keepsHidden && result == c.destination;
            clearsHidden = clearsHidden && result == OPRGBA32i();
        }
    }
    return keepsVisible && keepsHidden ? Kept::All : keepsVisible && clearsHidden ? Kept::Visible : Kept::Nothing;
}

template <class Mode, template <class> class Coverage>
QString uncoveredWrong(bool hasMasks)
{
    const std::function<void(Case &)> hides[] = {
        [](Case &c) { c.source.a = 0; },
        [](Case &c) { c.hasClip = true, c.clip = 0; },
        [](Case &c) { c.mask = 0; },
        [](Case &c) { c.hasClip = c.hasSecondMask = true, c.secondMask = 0; },
    };
    for (const bool lock : { false, true })
        for (int i = 0; i < (hasMasks ? 4 : 2); ++i) {
            const Uncovered told = Mode::uncovered(lock);
            const Kept kept = keptWhere<Mode, Coverage>(lock, hides[i]);
            if (kept != (i == 0 ? told.bySource : told.byMask))
                return QString("%1, lock %2, hidden by %3: keeps %4").arg(Mode::name).arg(lock).arg(i).arg(int(kept));
        }
    return {};
}

/// Calls @p visit(mode) for each mode.
template <class Visit, class... Mode>
void forEachMode(ModeList<Mode...>, Visit visit)
{
    (visit(Mode()), ...);
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

/// What the modes say beside their formulas, and the ranges within which these are exact in vectors.
class TestModes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void staysInRange()
    {
        forEachMode(AllModes(), [](auto mode) {
            using Mode = decltype(mode);
            if constexpr (Mode::forms != Forms::Masked)
                QCOMPARE((rangesBroken<Mode, PlainCoverage>()), QString());
            if constexpr (Mode::forms != Forms::Plain)
                QCOMPARE((rangesBroken<Mode, MaskedCoverage>()), QString());
        });
    }

    void noticesWhatLeavesItsRange()
    {
        QVERIFY((rangesBroken<TooLarge, PlainCoverage>()).contains("leaves its range"));
        QVERIFY((rangesBroken<TooLarge, MaskedCoverage>()).contains("leaves its range"));
        const Ranged zero(0), one(1), byte(255), wide(65536), lost(7, false);
        const Ranged broken[] = { mul(Ranged(32768), one), mul(wide, Ranged(-1u)), mulWide(wide, wide), div255(wide),
            divide(one, zero), divide(Ranged(1 << 24), one), quotient255(Ranged(1 << 24), one), lost + one,
            select(one == lost, one, one), weighted(byte, wide, byte, zero, byte, zero, one),
            weighted(byte, one, byte, one, byte, one, zero), weightedWrapping(byte, one, byte, Ranged(-256u), one),
            truncateToLane(toFloat(Ranged(256))), select(Ranged(1u << 31) < one, one, one) };
        for (const Ranged &value : broken)
            QVERIFY(!value.isExact);
        QVERIFY(select(one == zero, lost, one).isExact);
    }

    /// All pairs of bytes, on lanes of 16 bits.
    void mixesWithin16Bits()
    {
        forEachMode(AllModes(), [](auto mode) {
            using Mode = decltype(mode);
            if constexpr (isSimplerOnOpaque<Mode>)
                if constexpr (Mode::mixFits16Bits) {
                    Ranged::limit = 65535;
                    for (quint32 i = 0; i < 65536; ++i) {
                        const Ranged mixed = Mode::mix(Ranged(i % 256), Ranged(i / 256));
                        QVERIFY2(mixed.isExact && mixed.v <= 255, Mode::name);
                    }
                    Ranged::limit = 0xFFFFFFFF;
                }
        });
    }

    void keepsWhatItTells()
    {
        forEachMode(AllModes(), [](auto mode) {
            using Mode = decltype(mode);
            if constexpr (Mode::forms != Forms::Masked)
                QCOMPARE((uncoveredWrong<Mode, PlainCoverage>(false)), QString());
            if constexpr (Mode::forms != Forms::Plain)
                QCOMPARE((uncoveredWrong<Mode, MaskedCoverage>(true)), QString());
        });
    }
};

KXCORE_TEST_MAIN(TestModes)
#include "tst_modes.moc"
