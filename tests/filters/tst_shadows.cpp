#include "KXCore.h"

#include "kit/Filters.h"
#include "support/Workers.h"

using kit::Picture;
using Drop = OPDropShadowProcessing;
using Inner = OPInnerShadowProcessing;

namespace {

const unsigned colour = 0x00C86432;

/// What is seen of a layer.
Picture seen(const Picture &layer, const Picture &mask, const QPoint &offset, bool isSeenOutside)
{
    Picture shape(layer.width, layer.height);
    shape.fill(layer.rect(), [&](int x, int y) {
        const QPoint p = QPoint(x, y) - offset;
        const bool isInside = mask.rect().contains(p);
        OPRGBA32i pixel = isInside || isSeenOutside ? layer.at(x, y) : OPRGBA32i();
        if (isInside)
            pixel.a = uchar(pixel.a * mask.at(p.x(), p.y()).a / 255);
        return pixel;
    });
    return shape;
}

/// The alphas of @p shape with @p margin around it, averaged over rows and then over columns. Around the shape they are
/// 0, also where windows go beyond the margin: so what they sum lies within the shape.
Picture blurred(const Picture &shape, int margin)
{
    Picture rows(shape.width + 2 * margin, shape.height), both(rows.width, shape.height + 2 * margin);
    const auto mean = [margin](int at, int length, auto alpha) { // of the window that begins at @p at of the shape
        int sum = 0;
        for (int i = qMax(at, 0); i < qMin(at + 2 * margin + 1, length); ++i)
            sum += alpha(i);
        return OPRGBA32i(unsigned(sum / (2 * margin + 1)) << 24);
    };
    rows.fill(rows.rect(),
        [&](int x, int y) { return mean(x - 2 * margin, shape.width, [&](int i) { return int(shape.at(i, y).a); }); });
    both.fill(both.rect(),
        [&](int x, int y) { return mean(y - 2 * margin, shape.height, [&](int i) { return int(rows.at(x, i).a); }); });
    return both;
}

template <class Filter>
typename Filter::Params paramsOf(int blurRadius)
{
    typename Filter::Params params;
    params.blurRadius = blurRadius;
    params.color = QColor(0xC8, 0x64, 0x32, 7); // whose alpha does not count
    return params;
}

} // namespace

class TestShadows : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    /// One pixel of alpha 90: a third in each of three columns, a third of that in each of three rows.
    void onePixel()
    {
        KXFilterData data = kit::onLayer(Picture(1, 1, OPRGBA32i(0x5A010203u)));
        data.maskInverted = true;
        const auto drop = kit::filtered<Drop>(data, paramsOf<Drop>(1));
        COMPARE_PICTURE(Picture::of(drop.image), Picture(3, 3, OPRGBA32i(10u << 24 | colour)));
        QCOMPARE(drop.origin, QPoint());
        const auto [color, shape, origin] = kit::filtered<Inner>(data, paramsOf<Inner>(1));
        COMPARE_PICTURE(Picture::of(color), Picture(1, 1, OPRGBA32i(90u << 24 | colour)));
        COMPARE_PICTURE(Picture::of(shape), Picture(3, 3, OPRGBA32i(245u << 24)));
        QCOMPARE(origin, QPoint(-1, -1));
    }

    void againstTheFormula()
    {
        const Picture mask = Picture::random(50, 40, 61);
        for (const auto &[size, radius] : { std::pair(QSize(140, 9), 0), { QSize(31, 150), 1 }, { QSize(64, 64), 7 },
                 { QSize(90, 20), 40 }, { QSize(15, 31), 130 }, { QSize(1, 1), 300 } }) // also wider than the layer
            for (const QPoint offset : { QPoint(), QPoint(20, 3), QPoint(-15, -30), QPoint(INT_MIN, INT_MIN) })
                for (const int form : { 0, 1, 2, 3 }) {
                    const bool tiled = form & 1, inverted = form & 2, isMasked = !offset.isNull() || tiled;
                    const kit::Processors these(form == 3 ? 1 : 3);
                    const Picture layer = Picture::random(size.width(), size.height(), 60);
                    KXFilterData data;
                    data.image = layer.image(tiled);
                    data.mask = isMasked ? mask.image(tiled) : RGBA32iImage(0, 40, false);
                    data.maskOffset = offset;
                    data.maskInverted = inverted;
                    data.selectionRect = QRect(1, 1, 3, 3); // nobody looks at it
                    const QPoint at(qBound(-1000, offset.x(), 1000), qBound(-1000, offset.y(), 1000));
                    check(data, seen(layer, isMasked ? mask : Picture(0, 0), at, inverted), radius);
                    COMPARE_PICTURE(Picture::of(data.image), layer);
                }
    }

    /// What has no area stays so; a negative radius crops; a margin beyond all images is refused.
    void oddSizes()
    {
        kit::Watch watch;
        KXFilterData data;
        data.maskInverted = true;
        for (const QSize size : { QSize(0, 0), QSize(0, 5) }) {
            data.image = RGBA32iImage(size.width(), size.height(), false);
            QCOMPARE(kit::filtered<Drop>(data, Drop::Params(), watch).image.Rect(), QRect(QPoint(), size));
            QCOMPARE(watch.steps.load(), 0);
        }
        const Picture layer = Picture::random(9, 8, 62);
        data.image = layer.image(true);
        for (const auto &[radius, size] :
            { std::pair(-3, QSize(3, 2)), { -4, QSize(1, 0) }, { INT_MIN, QSize(0, 0) } }) {
            const Picture cropped = Picture::of(kit::filtered<Drop>(data, paramsOf<Drop>(radius), watch).image);
            Picture expected(size.width(), size.height());
            expected.fill(expected.rect(), [&](int x, int y) { return colour | layer.at(x + 3, y + 3).a << 24u; });
            COMPARE_PICTURE(cropped, expected);
            QCOMPARE(watch.steps.load(), size.isEmpty() ? 0 : 5);
        }
        for (const int radius : { INT_MAX, 1 << 30, 1 << 20 })
            QVERIFY_EXCEPTION_THROWN(kit::filtered<Drop>(data, paramsOf<Drop>(radius)), std::bad_alloc);
    }

private:
    /// Both shadows of what is seen of a layer. On a single processor walks leave pixels as they are.
    static void check(const KXFilterData &data, const Picture &shape, int radius)
    {
        const bool walks = workers::hardware() > 1, isChanged = radius || walks;
        Picture drop = blurred(shape, radius), inverse = drop, coloured = shape;
        for (size_t i = 0; i < drop.pixels.size(); ++i) {
            const unsigned a = drop.pixels[i].a, under = radius ? 0 : shape.pixels[i].word & 0xFFFFFFu;
            drop.pixels[i].word = a << 24 | (isChanged ? colour : under);
            inverse.pixels[i].word = (isChanged ? 255 - a : a) << 24 | under;
        }
        for (OPRGBA32i &pixel : coloured.pixels)
            pixel.word = walks ? (pixel.word & 0xFF000000u) | colour : pixel.word;

        const int lines = radius ? drop.width + drop.height : drop.height;
        kit::Watch watch;
        COMPARE_PICTURE(Picture::of(kit::filtered<Drop>(data, paramsOf<Drop>(radius), watch).image), drop);
        QCOMPARE(watch.steps.load(), lines);
        const auto result = kit::filtered<Inner>(data, paramsOf<Inner>(radius), watch);
        COMPARE_PICTURE(Picture::of(result.color), coloured);
        COMPARE_PICTURE(Picture::of(result.shape), inverse);
        QCOMPARE(result.origin, QPoint(-radius, -radius));
        QCOMPARE(watch.steps.load(), lines + shape.height);
    }
};

KXCORE_TEST_MAIN(TestShadows)
#include "tst_shadows.moc"
