#include "TestSupport.h"

#include "KXComposer.h"
#include "Pictures.h"

using pictures::Storage;

namespace {

using Pixel = std::optional<OPRGBA32i>;

/// One pixel blended in one form of a mode: plain without @c second, with an optional mask; otherwise masked, with up to
/// two further masks.
struct Blend {
    int mode;
    OPRGBA32i source;
    OPRGBA32i destination;
    Pixel second, mask1, mask2;
    int opacity = 256;
    bool lock = false;
};

/// Whole vectors of the pixel and a tail.
constexpr int pixels = 19;

RGBA32iImage rowOf(OPRGBA32i pixel)
{
    RGBA32iImage image(pixels, 1, false);
    image.Fill(pixel);
    return image;
}

OPRGBA32i byTheReference(const Blend &b)
{
    const OPRGBA32i *const mask1 = b.mask1 ? &*b.mask1 : nullptr, *const mask2 = b.mask2 ? &*b.mask2 : nullptr;
    if (b.second)
        return reference::masked(
            b.mode, b.source, *b.second, b.destination, mask1, mask2, reference::Word(b.opacity), b.lock);
    return reference::plain(b.mode, b.source, b.destination, mask1, reference::Word(b.opacity), b.lock);
}

/// The same through the entry that uses this form.
RGBA32iImage byTheLibrary(const Blend &b)
{
    const auto mode = KXCompositionMode(b.mode);
    const double opacity = b.opacity / 256.0;
    const QRect r(0, 0, pixels, 1);
    const RGBA32iImage source = rowOf(b.source), second = rowOf(b.second.value_or(OPRGBA32i()));
    RGBA32iImage destination = rowOf(b.destination), clip = rowOf(b.mask1.value_or(OPRGBA32i())), none;
    RGBA32iImage mask2 = rowOf(b.mask2.value_or(OPRGBA32i())), clipMask = second;
    if (b.second && b.mask2)
        ComposeClippingMaskAndMaskOn(
            source, r, mode, destination, r, opacity, clip, r, mask2, r, false, second, r, false, b.lock);
    else if (b.second && b.mask1)
        ComposeClippingMaskOn(source, r, mode, destination, r, clip, r, clipMask, r, false, opacity, b.lock);
    else if (b.second)
        ComposeMaskOn(source, r, mode, destination, r, opacity, second, r, false, b.lock);
    else if (b.mask1)
        ComposeClippingMaskOn(source, r, mode, destination, r, clip, r, none, QRect(), false, opacity, b.lock);
    else
        Compose(source, r, mode, destination, r, opacity, b.lock);
    return destination;
}

} // namespace

Q_DECLARE_METATYPE(Blend)
Q_DECLARE_METATYPE(OPRGBA32i)

class TestModes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }
    void workedByHand_data();
    void workedByHand();
    void everyMode_data();
    void everyMode();
    void maskedFormsOfEveryMode_data() { everyMode_data(); }
    void maskedFormsOfEveryMode();
};

void TestModes::workedByHand_data()
{
    QTest::addColumn<Blend>("blend");
    QTest::addColumn<OPRGBA32i>("expected");

    // Every mode on one pair of pixels at half opacity. Of the source's alpha there remains: in the plain form 100, with
    // the mask 80; in the masked form 80, with both further masks 24. Mode 0 of the masked form has 80 and 24 too.
    const OPRGBA32i source(0xC8F0641Eu), destination(0x963CC880u), mask(0xCC000000u), half(0x80000000u),
        most(0x99000000u);
    const struct {
        int mode;
        Pixel plain, plainLockedWithMask, masked, maskedLockedWithMasks; // nothing: there is no such form
    } rows[] = {
        { 0, 0xBF9A934Cu, 0x968B9D55u, 0xB68B9D55u, 0x9657BA71u },
        { 2, 0x003CC880u, 0x963CC880u, {}, {} },
        { 3, 0x64F0641Eu, 0x96F0641Eu, 0x50F0641Eu, 0x96F0641Eu },
        { 6, 0x3A3CC880u, 0x963CC880u, {}, {} },
        { 8, 0x5B3CC880u, 0x963CC880u, 0x663CC880u, 0x963CC880u },
        { 12, 0xBFACD174u, 0x969AD076u, 0xB69AD076u, 0x965CCB7Du },
        { 13, 0xBF618D48u, 0x965B9751u, 0xB65B9751u, 0x9647B870u },
        { 14, 0xBF9BB96Fu, 0x968CBC73u, 0xB68CBC73u, 0x9657C47Cu },
        { 15, 0xBF72AF4Du, 0x966AB455u, 0xB66AB455u, 0x964CC172u },
        { 16, 0xBF62934Cu, 0x965C9D55u, 0xB65C9D55u, 0x9647BA71u },
        { 17, 0xBF9AB26Au, 0x968BB66Eu, 0xB68BB66Eu, 0x9657C27Au },
        { 18, 0xBF9EC370u, 0x968FC573u, 0xB68FC573u, 0x9658C77Cu },
        { 19, 0xBF5E9843u, 0x9659A04Du, 0xB659A04Du, 0x9646BB6Fu },
        { 20, 0xBF98A54Cu, 0x9689AB55u, 0xB689AB55u, 0x9656BE71u },
        { 21, 0xBF6AB05Bu, 0x9663B562u, 0xB663B562u, 0x9649C276u },
        { 22, 0xBF879361u, 0x967B9D67u, 0xB67B9D67u, 0x9652BA77u },
        { 23, 0xBF8AA16Au, 0x967DA86Eu, 0xB67DA86Eu, 0x9652BD7Au },
        { 24, 0xF6FCEC9Eu, 0x96FCEC9Eu, {}, {} },
        { 25, 0x04304000u, 0x96304000u, {}, {} },
        { 31, 0x920C8880u, 0x960C8880u, {}, {} },
        { 38, {}, {}, 0x963CC880u, 0x963CC880u },
        { 39, 0xFF646464u, 0x96505050u, 0xCC505050u, 0x96181818u },
        { 40, 0xFF898989u, 0xFF898989u, {}, {} },
        { 41, 0x965BAD83u, 0x965BAD83u, 0xFF5CAE84u, 0x965CAE84u },
        { 42, 0x64F0641Eu, 0x96F0641Eu, {}, {} },
        { 43, 0x3A3CC880u, 0x969A934Cu, {}, {} },
        { 44, 0xFF3CC880u, 0x969A934Cu, {}, {} },
        { 45, 0x963CC880u, 0x969A934Cu, {}, {} },
        { 46, 0x003CC880u, 0x969A934Cu, {}, {} },
        { 47, 0x903CC880u, 0x963CC880u, 0x913CC880u, 0x963CC880u },
        { 48, 0xBF5E8243u, 0x96598E4Du, {}, {} },
        { 49, 0xBFACD174u, 0x969AD076u, {}, {} },
        { 50, 0xBF5E8243u, 0x96598E4Du, {}, {} },
        { 51, 0xBF70C04Cu, 0x9668C255u, {}, {} },
        { 52, 0xBF72BD43u, 0x966AC04Du, {}, {} },
        { 53, 0xBF75A14Cu, 0x966CA855u, {}, {} },
        { 54, 0xBF50C343u, 0x964DC54Du, {}, {} },
        { 55, 0x963CC880u, 0x963CC880u, 0xCC3CC880u, 0xCC3CC880u },
        { 57, 0xFA84A058u, 0x969C924Bu, 0xE67AA55Du, 0x9658B870u },
    };
    for (const auto &row : rows) {
        const auto add = [&](const char *form, Pixel second, Pixel mask1, Pixel mask2, bool lock, Pixel expected) {
            QTest::addRow("%d %s", row.mode, form) << Blend { row.mode, source, destination, second, mask1, mask2, 128,
                lock } << expected.value_or(destination);
        };
        add("plain", {}, {}, {}, false, row.plain);
        add("plain, locked, with a mask", {}, mask, {}, true, row.plainLockedWithMask);
        add("masked", mask, {}, {}, false, row.masked);
        add("masked, locked, with two masks", mask, half, most, true, row.maskedLockedWithMasks);
    }

    // Where formulas turn. Over an opaque destination at full opacity the colour is the mode's own result.
    const OPRGBA32i white(0xFFFFFFFFu), one(0xFF010101u);
    const auto grey = [](int v) { return OPRGBA32i(0xFF000000u | unsigned(v) * 0x010101u); };
    const auto add = [](const char *name, const Blend &blend, OPRGBA32i expected) {
        QTest::newRow(name) << blend << expected;
    };
    const auto opaque = [&](int mode, int s, int d, int expected) {
        QTest::addRow("%d: %d over %d", mode, s, d) << Blend { mode, grey(s), grey(d), {}, {}, {} } << grey(expected);
    };
    opaque(12, 200, 200, 255);
    opaque(14, 0, 0, 1); // the shift by 8
    opaque(14, 255, 9, 255);
    opaque(15, 0, 128, 1);
    opaque(15, 100, 200, 189); // -17050 / 255 toward zero
    opaque(15, 128, 127, 127);
    opaque(20, 128, 0, 1);
    opaque(20, 127, 255, 254);
    opaque(18, 255, 0, 255);
    opaque(18, 254, 1, 255);
    opaque(18, 100, 60, 98);
    opaque(19, 0, 255, 0);
    opaque(19, 255, 100, 100); // -39680 / 255 is -155
    opaque(19, 200, 100, 57); // -39680 / 200 is -198
    opaque(21, 255, 128, 191); // 255 - 128 * 127 * 0.003921569 = 191.25
    opaque(21, 255, 127, 190); // 382 * 127 * 0.003921569 = 190.25
    opaque(23, 255, 255, 0);
    opaque(48, 255, 254, 254);
    opaque(51, 255, 255, 255);
    opaque(51, 0, 127, 0);
    opaque(51, 0, 128, 0);
    opaque(51, 2, 127, 1);
    opaque(52, 0, 127, 0);
    opaque(52, 255, 128, 255);
    opaque(52, 255, 127, 254); // 255 - 256 / 255
    opaque(52, 100, 200, 236); // 36720 / 155
    opaque(52, 254, 129, 255);
    opaque(53, 255, 127, 254);
    opaque(53, 0, 128, 0);
    opaque(53, 100, 200, 144);
    opaque(54, 100, 200, 255);
    opaque(54, 255, 128, 255);
    opaque(54, 2, 127, 0); // 255 - 256 / 2 is 127
    opaque(54, 3, 127, 255);

    // Source alpha 256, so that (255 - 256) * 255 wraps: a colour of 0 comes out as 255.
    add("0 opaque at full opacity", { 0, 0xFF0080FFu, 0xFF404000u, {}, {}, {} }, 0xFFFF80FFu);
    add("0 opaque at full opacity over nothing", { 0, 0xFF0080FFu, 0x00404000u, {}, {}, {} }, 0xFF0080FFu);
    add("0 opaque just below full opacity", { 0, 0xFF0080FFu, 0xFF404000u, {}, {}, {}, 255 }, 0xFF0080FFu);
    add("0 masked has no such wrap with a coverage of 0", { 0, 0xFF0080FFu, 0xFF404000u, 0x00FFFFFFu, {}, {} },
        0xFF404000u);
    add("0 both transparent", { 0, 0x00FFFFFFu, 0x00112233u, {}, {}, {} }, 0u);
    add("0 both transparent, locked", { 0, 0x00FFFFFFu, 0x00112233u, {}, {}, {}, 256, true }, 0u);
    add("13 both transparent", { 13, 0x00FFFFFFu, 0x00112233u, {}, {}, {} }, 0u);
    add("13 transparent source", { 13, 0x00FFFFFFu, 0x01112233u, {}, {}, {} }, 0x01112233u);
    add("13 over nothing", { 13, 0x7F102030u, 0x00112233u, {}, {}, {} }, 0x7F102030u);
    add("13 masked, both transparent, clip transparent", { 13, 0xFFFFFFFFu, 0x00112233u, 0xFF000000u, 0u, {} }, 0u);
    add("2 transparent source", { 2, 0x00FFFFFFu, 0x55112233u, {}, {}, {} }, 0x55112233u);
    add("2 least source", { 2, 0x01FFFFFFu, 0x55112233u, {}, 0u, {}, 1 }, 0x00112233u);
    add("3 at full opacity ignores the mask", { 3, 0x80102030u, 0x55112233u, {}, 0u, {} }, 0x80102030u);
    add("3 below full opacity does not", { 3, 0x80102030u, 0x55112233u, {}, 0u, {}, 255 }, 0x00102030u);
    add("38 outside the selection", { 38, 0x80102030u, 0x55112233u, 0u, {}, {} }, 0x80102030u);
    add("38 under a transparent clip", { 38, 0x80102030u, 0x55112233u, 0x01000000u, 0u, {} }, 0x80102030u);
    add("38 under a visible clip", { 38, 0x80102030u, 0x55112233u, 0x01000000u, 0x01000000u, 0u }, 0x55112233u);
    add("38 locked", { 38, 0x80102030u, 0x55112233u, 0u, {}, {}, 256, true }, 0x55112233u);
    add("39 masked by all", { 39, 0xFF102030u, 0x55112233u, 0xCC000000u, 0x80000000u, 0x99000000u }, 0x3D3D3D3Du);
    add("40 transparent", { 40, 0x00102030u, 0x55112233u, {}, {}, {}, 1 }, 0xFFFFFFFFu);
    add("40 transparent, locked", { 40, 0x00102030u, 0x55112233u, {}, {}, {}, 1, true }, 0x55FFFFFFu);
    add("41 transparent, locked", { 41, 0x00102030u, 0x55112233u, {}, {}, {}, 1, true }, 0x55FFFFFFu);
    add("41 black over colours", { 41, 0xFF000000u, 0xFFFF8000u, {}, {}, {} }, 0xFF680000u);
    add("42 transparent", { 42, 0x00102030u, 0x55112233u, {}, {}, {} }, 0x55112233u);
    add("43 transparent", { 43, 0x00102030u, 0x55112233u, {}, {}, {} }, 0x00112233u);
    add("44 below the limit ignores opacity and mask", { 44, 0x20102030u, 0x55112233u, {}, 0u, {}, 1 }, 0x75112233u);
    add("45", { 45, 0x20102030u, 0x55112233u, {}, 0u, {}, 1 }, 0x20112233u);
    add("46", { 46, 0x20102030u, 0x55112233u, {}, 0u, {}, 1 }, 0x35112233u);
    add("47 white", { 47, 0xFFFFFFFFu, 0x55112233u, {}, {}, {} }, 0xFF112233u);
    add("55 where nothing is", { 55, 0x20102030u, 0x00112233u, {}, 0u, {}, 1, true }, 0x20102030u);
    add("55 masked where nothing is", { 55, 0x20102030u, 0x99112233u, 0u, {}, {}, 1, true }, 0x20102030u);
    add("55 masked sets the alpha", { 55, 0x20102030u, 0x99112233u, 0x07000000u, 0u, 0u, 1, true }, 0x07112233u);
    add("57 of a coverage of 255", { 57, 0xFF102030u, 0x80112233u, {}, {}, {}, 255 }, 0xFF102030u);
    add("57 nothing", { 57, 0x00102030u, 0x00112233u, {}, {}, {} }, 0x00112233u);
    add("57 over nothing, locked", { 57, 0x80102030u, 0x00112233u, {}, {}, {}, 256, true }, 0u);
    add("57 less than the source, locked", { 57, 0x80102030u, 0x40112233u, {}, {}, {}, 256, true }, 0x40102030u);
    for (const int mode : { -1, 1, 4, 5, 7, 32, 37, 56, 58, 255 })
        QTest::addRow("%d changes nothing", mode) << Blend { mode, white, one, {}, {}, {} } << one;
}

void TestModes::workedByHand()
{
    QFETCH(Blend, blend);
    QFETCH(OPRGBA32i, expected);
    QCOMPARE(byTheReference(blend), expected);
    const RGBA32iImage result = byTheLibrary(blend);
    for (int x = 0; x < pixels; ++x)
        QCOMPARE(result.Bits()[x], expected);
}

void TestModes::everyMode_data()
{
    QTest::addColumn<int>("mode");
    for (int mode = -1; mode < 60; ++mode)
        QTest::addRow("%d", mode) << mode;
}

/// The plain form on noise: one picture from all pairings of storages.
void TestModes::everyMode()
{
    QFETCH(int, mode);
    const auto mode_ = KXCompositionMode(mode);
    QRandomGenerator random(quint32(mode + 1));
    const QSize size(139, 11); // two tiles in a row, with a tail
    const QRect area(0, 0, 139, 11);
    for (const double opacity : { 1.0, 0.5, 0.0040, 0.9, 1.004, 1.5, 7.0 })
        for (const bool lock : { false, true }) {
            const RGBA32iImage source = pictures::noise(random, size, Storage::Flat);
            const RGBA32iImage destination = pictures::noise(random, size, Storage::Flat);
            const auto expected = [&](bool isClamped) {
                reference::Canvas canvas(destination);
                if (reference::hasPlainForm(mode))
                    reference::compose(
                        canvas, area, { source, area }, mode, reference::opacity256(opacity, isClamped), lock);
                return canvas;
            };
            const reference::Canvas clamped = expected(true), unclamped = expected(false);
            const QImage sourceImage = pictures::toQImage(source);
            for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
                // Opacities are clamped only where no side is tiled.
                const auto &canvas = storage == Storage::Tiled ? unclamped : clamped;
                RGBA32iImage fromFlat = pictures::stored(destination, storage);
                RGBA32iImage fromTiled = pictures::stored(destination, storage);
                RGBA32iImage fromQImage = pictures::stored(destination, storage);
                Compose(source, area, mode_, fromFlat, area, opacity, lock);
                Compose(pictures::stored(source, Storage::Tiled), area, mode_, fromTiled, area, opacity, lock);
                Compose(sourceImage, area, mode_, fromQImage, area, opacity, lock);
                VERIFY_SAME(pictures::difference(canvas, fromFlat));
                VERIFY_SAME(pictures::difference(unclamped, fromTiled));
                VERIFY_SAME(pictures::difference(canvas, fromQImage));

                QImage onQImage = pictures::toQImage(destination);
                Compose(pictures::stored(source, storage), area, mode_, onQImage, area, opacity, lock);
                VERIFY_SAME(pictures::difference(canvas, onQImage));
            }
            QImage onQImage = pictures::toQImage(destination);
            Compose(sourceImage, area, mode_, onQImage, area, opacity, lock);
            VERIFY_SAME(pictures::difference(clamped, onQImage));
        }
}

/// The masked forms on noise, and the plain form with a clip as its mask.
void TestModes::maskedFormsOfEveryMode()
{
    QFETCH(int, mode);
    const auto mode_ = KXCompositionMode(mode);
    QRandomGenerator random(quint32(mode + 1));
    const QSize size(61, 5);
    const QRect area(0, 0, 61, 5);
    for (const double opacity : { 1.0, 0.5, 0.0040, 3.0 })
        for (const bool lock : { false, true }) {
            const reference::Word opacity256 = reference::opacity256(opacity, true);
            const auto noise = [&] { return pictures::noise(random, size, Storage::Flat); };
            const RGBA32iImage source = noise(), destination = noise(), mask = noise();
            RGBA32iImage clip = noise(), clipMask = noise(), none, result;
            const reference::Side s { source, area }, m { mask, area }, c { clip, area }, cm { clipMask, area };

            reference::Canvas throughMask(destination), clipped = throughMask, clippedMasked = throughMask,
                                                        throughBoth = throughMask;
            reference::composeMaskOn(throughMask, area, s, m, mode, opacity256, lock);
            if (reference::hasPlainForm(mode))
                reference::composeClipped(clipped, area, s, c, nullptr, nullptr, mode, opacity256, lock);
            reference::composeClipped(clippedMasked, area, s, c, &cm, nullptr, mode, opacity256, lock);
            reference::composeClipped(throughBoth, area, s, c, &m, &cm, mode, opacity256, lock);

            for (const Storage storage : { Storage::Flat, Storage::Tiled }) {
                result = pictures::stored(destination, storage);
                ComposeMaskOn(source, area, mode_, result, area, opacity, mask, area, false, lock);
                VERIFY_SAME(pictures::difference(throughMask, result));
            }
            destination.CopyTo(result, false);
            ComposeClippingMaskOn(source, area, mode_, result, area, clip, area, none, QRect(), false, opacity, lock);
            VERIFY_SAME(pictures::difference(clipped, result));
            destination.CopyTo(result, false);
            ComposeClippingMaskOn(source, area, mode_, result, area, clip, area, clipMask, area, false, opacity, lock);
            VERIFY_SAME(pictures::difference(clippedMasked, result));
            destination.CopyTo(result, false);
            ComposeClippingMaskAndMaskOn(
                source, area, mode_, result, area, opacity, clip, area, clipMask, area, false, mask, area, false, lock);
            VERIFY_SAME(pictures::difference(throughBoth, result));
        }
}

KXCORE_TEST_MAIN(TestModes)
#include "tst_modes.moc"
