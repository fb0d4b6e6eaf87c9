#include "OPDiffuseGlowProcessing.h"

#include "color/Blocks.h"
#include "kit/Formulas.h"

#include <cmath>

using kit::Picture;
using Glow = OPDiffuseGlowProcessing;

namespace {

const QSize size(71, 170); // more rows than a kernel for columns takes at once
const QRect selected(-5, 20, 40, 58); // in the layer; the selection's own rectangle begins at (3, 3)

int luminance(OPRGBA32i p) { return (p.g * 59 + p.r * 30 + p.b * 11) / 100; }

/// Alpha under a Gaussian, in the halves of a pixel that round up.
void blurAlpha(Picture &picture, const QRect &area, int radius)
{
    const int reach = std::max(3 * radius, 1);
    const auto weight = [radius](int k) { return std::exp(-0.5 * k * k / (radius * radius)); };
    for (const auto lines : { Qt::Horizontal, Qt::Vertical })
        kit::alongLines(picture, area, picture.rect(), lines, [&](auto at) {
            double sum = 0, weights = 0;
            for (int k = -reach; k <= reach && radius != 0; ++k) {
                sum += at(k).a * weight(k);
                weights += weight(k);
            }
            OPRGBA32i pixel = at(0);
            pixel.a = static_cast<unsigned char>(radius == 0 ? 0 : std::floor(sum / weights + 0.5));
            return pixel;
        });
}

Glow::DiffuseGlowData onLayer(const Picture &layer, const Glow::Params &params)
{
    Glow::DiffuseGlowData data;
    data.params = params;
    data.image = layer.image(false);
    return data;
}

} // namespace

class TestGlow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// A white pixel on black. Weights of 0.399, 0.242, 0.054 and 0.0044 leave alphas of 102, 62, 14 and 1, of which
    /// three reach the threshold; the second blur makes of these what then is the grey over black.
    void row()
    {
        for (const int white : { 4, 4096 }) { // a kernel does a long row in stretches
            Picture layer(white + 5, 1, OPRGBA32i(0xFF000000u));
            layer.at(white, 0) = OPRGBA32i(0xFFFFFFFFu);
            const Picture glowing = Picture::of(Glow(kit::noCancel).run(onLayer(layer, { 100, 1, 60, Qt::white, 0 })));
            const int expected[] = { 1, 15, 77, 177, 255, 177, 77, 15, 1 };
            for (int x = -4; x <= 4; ++x)
                QCOMPARE(glowing.at(white + x, 0), OPRGBA32i(0xFF000000u | unsigned(expected[x + 4]) * 0x010101u));
            // A selection of everything, as far as rectangles go, changes nothing.
            Glow::DiffuseGlowData selectedAll = onLayer(layer, { 100, 1, 60, Qt::white, 0 });
            selectedAll.selection = Picture(white + 5, 1, OPRGBA32i(0xFF000000u)).image(true);
            selectedAll.selectionRect = QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX));
            COMPARE_PICTURE(Picture::of(Glow(kit::noCancel).run(selectedAll)), glowing);
        }
        // Everything is bright: 127 parts of white and 128 of 200.
        const Glow::Params half { 50, 2, 200, Qt::white, 0 };
        const Picture grey(5, 4, OPRGBA32i(0xFFC8C8C8u));
        COMPARE_PICTURE(
            Picture::of(Glow(kit::noCancel).run(onLayer(grey, half))), Picture(5, 4, OPRGBA32i(0xFFE3E3E3u)));
    }

    void pictures()
    {
        const QColor color(250, 128, 3, 7);
        const Glow::Params all[] = { { 80, 2, 128, color, 0 }, { 100, 3, 60, color, 5 }, { 100, 1, 0, color, 1 },
            { 100, 2, 256, color, 0 }, { 0, 1, 100, color, 0 }, { 70, 0, 128, color, 1 }, { 90, -4, 100, color, 1 },
            { 30, 9, 128, color, 0 }, { 50, 21, 90, color, 0 }, { 60, 22, 128, color, 0 } };
        for (const Glow::Params &params : all)
            for (const bool isSelected : { false, true })
                for (const int processors : { 1, 3 }) {
                    const kit::Processors these(processors);
                    Picture layer = Picture::random(size.width(), size.height(), 5);
                    for (int y = 70; y < 120; ++y) // sums over samples that are the same are not taken
                        for (int x = 0; x < size.width(); ++x)
                            layer.at(x, y) = OPRGBA32i(0xFFFFFFFFu);
                    Glow::DiffuseGlowData data = onLayer(layer, params);
                    const Picture mask = Picture::random(60, 80, 6);
                    if (isSelected) {
                        data.selection = mask.image(false);
                        data.selectionRect = QRect(QPoint(3, 3), selected.size());
                        data.selectionOffset = selected.topLeft() - QPoint(3, 3);
                    }
                    const Picture result = Picture::of(Glow(kit::noCancel).run(data));
                    COMPARE_PICTURE(result, expected(layer, params, isSelected ? &mask : nullptr, processors > 1));
                }
        // In a single row nothing blurs what the rows' own sums are off by. Stretches of it are white.
        const kit::Processors several(3);
        for (const int radius : { 1, 2, 5, 13 }) {
            Picture layer = Picture::random(30000, 1, 7);
            for (int x = 0; x < 30000; ++x)
                if (x % 399 < 200)
                    layer.at(x, 0) = OPRGBA32i(0xFFFFFFFFu);
            const Glow::Params params { 100, radius, 128, color, 1 };
            COMPARE_PICTURE(
                Picture::of(Glow(kit::noCancel).run(onLayer(layer, params))), expected(layer, params, nullptr, true));
        }
    }

    void thresholds()
    {
        const OPRGBA32i pixel(0x40C8640Au); // 30 * 200 + 59 * 100 + 11 * 10 = 12010
        for (int threshold = -1; threshold <= 257; ++threshold) {
            const Glow::OPAlphaThreshold alpha(threshold);
            const Glow::OPColorizeThreshold bright(threshold, OPRGBA32i(0x12345678u));
            OPRGBA32i one = pixel, other = pixel;
            alpha(one);
            bright(other);
            QCOMPARE(one, OPRGBA32i(threshold <= 0x40 ? 0xFFC8640Au : 0x00C8640Au));
            QCOMPARE(other, OPRGBA32i(threshold <= 120 ? 0xFF345678u : 0x00345678u));
            for (const BaseTransformation *stage :
                { static_cast<const BaseTransformation *>(&alpha), static_cast<const BaseTransformation *>(&bright) })
                for (unsigned first = 0; first < 256 && stage->HasKernel(); first += blocks::length) {
                    std::vector<OPRGBA32i> block, plain; // greys, a quarter of them just a bit darker
                    for (unsigned grey = first; grey < first + blocks::length; ++grey) {
                        block.emplace_back(grey * 0x01010101u - (grey % 4 == 1));
                        plain.push_back(block.back());
                        (*stage)(plain.back());
                    }
                    (*stage)(reinterpret_cast<unsigned char *>(block.data()), blocks::flag);
                    VERIFY_SAME_AT(kit::difference(block.data(), plain), QString::number(threshold));
                }
        }
        QVERIFY(Glow::Params() == Glow::Params());
        for (const Glow::Params &other : { Glow::Params { 1, 5, 128, Qt::white, 0 }, { 100, 1, 128, Qt::white, 0 },
                 { 100, 5, 1, Qt::white, 0 }, { 100, 5, 128, Qt::red, 0 }, { 100, 5, 128, Qt::white, 1 } })
            QVERIFY(other != Glow::Params());
    }

private:
    /// Without thresholds, as on a single processor, the layer itself is what is laid over it.
    static Picture expected(const Picture &layer, const Glow::Params &params, const Picture *mask, bool hasThresholds)
    {
        const int reach = std::max(3 * params.radius, 1);
        const QRect area = mask ? selected.adjusted(-reach, -reach, reach, reach) & layer.rect() : layer.rect();
        Picture glow = layer;
        const auto threshold = [&](auto stage) {
            for (int y = area.top(); y <= area.bottom(); ++y)
                for (int x = area.left(); hasThresholds && x <= area.right(); ++x)
                    glow.at(x, y) = stage(glow.at(x, y));
        };
        threshold([&](OPRGBA32i p) { return OPRGBA32i(luminance(p) < params.threshold ? 0x00FA8003u : 0xFFFA8003u); });
        blurAlpha(glow, area, params.radius);
        threshold([&](OPRGBA32i p) {
            return OPRGBA32i((p.word & 0x00FFFFFFu) | (p.a < params.threshold ? 0u : 0xFF000000u));
        });
        blurAlpha(glow, area, params.radius);

        Picture result = layer;
        const QRect shown = mask ? selected & layer.rect() : layer.rect();
        for (int y = shown.top(); y <= shown.bottom(); ++y)
            for (int x = shown.left(); x <= shown.right(); ++x) {
                OPRGBA32i &pixel = result.at(x, y);
                const OPRGBA32i blended = kit::laidOver(glow.at(x, y), pixel, params.amount, params.mode == 0);
                // The selection begins beside the layer; its own rectangle is moved by as much as its offset.
                pixel = mask ? kit::moved(pixel, blended, mask->at(x + 11, y - 17).a) : blended;
            }
        return result;
    }
};

KXCORE_TEST_MAIN(TestGlow)
#include "tst_glow.moc"
