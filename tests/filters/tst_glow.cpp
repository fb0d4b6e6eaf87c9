#include "OPDiffuseGlowProcessing.h"

#include "kit/Filters.h"
#include "kit/Kernels.h"
#include "support/Workers.h"

#include <cmath>

using kit::Picture, kit::after;
using Glow = OPDiffuseGlowProcessing;

namespace {

const QSize size(71, 170); // more rows than a kernel for columns takes at once

int luminance(OPRGBA32i p) { return (p.g * 59 + p.r * 30 + p.b * 11) / 100; }

/// Alpha under a Gaussian, in the halves of a pixel that round up.
void blurAlpha(Picture &picture, const QRect &area, int radius)
{
    const int reach = std::max(3 * radius, 1);
    const auto weight = [radius](int k) { return std::exp(-0.5 * k * k / (radius * radius)); };
    kit::alphaBothWays(picture, area, [&](auto at) {
        double sum = 0, weights = 0;
        for (int k = -reach; k <= reach; ++k) {
            sum += at(k).a * weight(k);
            weights += weight(k);
        }
        return radius == 0 ? 0 : std::floor(sum / weights + 0.5);
    });
}

Picture glowing(const KXFilterData &data, const Glow::Params &params)
{
    return Picture::of(kit::filtered<Glow>(data, params));
}

} // namespace

class TestGlow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// A white pixel on black. Weights of 0.399, 0.242, 0.054 and 0.0044 leave alphas of 102, 62, 14 and 1, of which
    /// three reach the threshold; the second blur makes of these what then is the grey over black.
    void row()
    {
        const Glow::Params white { 100, 1, 60, Qt::white, 0 };
        for (const int at : { 4, 4096 }) { // a kernel does a long row in stretches
            Picture layer(at + 5, 1, OPRGBA32i(0xFF000000u));
            layer.at(at, 0) = OPRGBA32i(0xFFFFFFFFu);
            const Picture result = glowing(kit::onLayer(layer), white);
            const int expected[] = { 1, 15, 77, 177, 255, 177, 77, 15, 1 };
            for (int x = -4; x <= 4; ++x)
                QCOMPARE(result.at(at + x, 0), OPRGBA32i(0xFF000000u | unsigned(expected[x + 4]) * 0x010101u));
            // A selection of everything, as far as rectangles go, changes nothing.
            KXFilterData selectedAll = kit::onLayer(layer);
            selectedAll.selection = Picture(at + 5, 1, OPRGBA32i(0xFF000000u)).image(true);
            selectedAll.selectionRect = QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX));
            COMPARE_PICTURE(glowing(selectedAll, white), result);
        }
        // Everything is bright: 127 parts of white and 128 of 200.
        COMPARE_PICTURE(glowing(kit::onLayer(Picture(5, 4, OPRGBA32i(0xFFC8C8C8u))), { 50, 2, 200, Qt::white, 0 }),
            Picture(5, 4, OPRGBA32i(0xFFE3E3E3u)));
    }

    void pictures()
    {
        const QColor color(250, 128, 3, 7);
        const Glow::Params all[] = { { 80, 2, 128, color, 0 }, { 100, 3, 60, color, 5 }, { 100, 1, 0, color, 1 },
            { 100, 2, 256, color, 0 }, { 0, 1, 100, color, 0 }, { 70, 0, 128, color, 1 }, { 90, -4, 100, color, 1 },
            { 30, 9, 128, color, 0 }, { 50, 21, 90, color, 0 }, { 60, 22, 128, color, 0 } };
        for (const Glow::Params &params : all)
            for (const QRect &selected : { QRect(), QRect(-5, 20, 40, 58) })
                for (const int processors : { 1, 3 }) {
                    const kit::Processors these(processors);
                    Picture layer = Picture::random(size.width(), size.height(), 5);
                    layer.fill(QRect(0, 70, size.width(), 50), // sums over samples that are the same are not taken
                        [](int, int) { return OPRGBA32i(0xFFFFFFFFu); });
                    check(layer, selected, params);
                }
        // In a single row nothing blurs what the rows' own sums are off by. Stretches of it are white.
        const kit::Processors several(3);
        for (const int radius : { 1, 2, 5, 13 }) {
            Picture layer = Picture::random(30000, 1, 7);
            for (int x = 0; x < 30000; ++x)
                if (x % 399 < 200)
                    layer.at(x, 0) = OPRGBA32i(0xFFFFFFFFu);
            check(layer, QRect(), { 100, radius, 128, color, 1 });
        }
    }

    void thresholds()
    {
        const OPRGBA32i pixel(0x40C8640Au); // 30 * 200 + 59 * 100 + 11 * 10 = 12010
        for (int threshold = -1; threshold <= 257; ++threshold) {
            const Glow::OPAlphaThreshold alpha(threshold);
            const Glow::OPColorizeThreshold bright(threshold, OPRGBA32i(0x12345678u));
            QCOMPARE(after(alpha, pixel), OPRGBA32i(threshold <= 0x40 ? 0xFFC8640Au : 0x00C8640Au));
            QCOMPARE(after(bright, pixel), OPRGBA32i(threshold <= 120 ? 0xFF345678u : 0x00345678u));
            for (unsigned first = 0; first < 256; first += blocks::length) {
                kit::Line greys; // a quarter of them just a bit darker
                for (unsigned grey = first; grey < first + blocks::length; ++grey)
                    greys.emplace_back(grey * 0x01010101u - (grey % 4 == 1));
                VERIFY_SAME_AT(kit::blockDifference(alpha, greys), QString::number(threshold));
                VERIFY_SAME_AT(kit::blockDifference(bright, greys), QString::number(threshold));
            }
        }
        QVERIFY(Glow::Params() == Glow::Params());
        for (const Glow::Params &other : { Glow::Params { 1, 5, 128, Qt::white, 0 }, { 100, 1, 128, Qt::white, 0 },
                 { 100, 5, 1, Qt::white, 0 }, { 100, 5, 128, Qt::red, 0 }, { 100, 5, 128, Qt::white, 1 } })
            QVERIFY(other != Glow::Params());
    }

private:
    /// Without thresholds, as on a single processor, the layer itself is what is laid over it.
    static void check(const Picture &layer, const QRect &selected, const Glow::Params &params)
    {
        const int reach = std::max(3 * params.radius, 1);
        const QRect seen = selected.isEmpty() ? layer.rect() : selected.adjusted(-reach, -reach, reach, reach);
        const QRect area = seen & layer.rect();
        Picture glow = layer;
        const auto threshold = [&](auto stage) {
            if (workers::hardware() > 1)
                glow.fill(area, [&](int x, int y) { return stage(glow.at(x, y)); });
        };
        threshold([&](OPRGBA32i p) { return OPRGBA32i(luminance(p) < params.threshold ? 0x00FA8003u : 0xFFFA8003u); });
        blurAlpha(glow, area, params.radius);
        threshold([&](OPRGBA32i p) {
            return OPRGBA32i((p.word & 0x00FFFFFFu) | (p.a < params.threshold ? 0u : 0xFF000000u));
        });
        blurAlpha(glow, area, params.radius);

        for (size_t i = 0; i < layer.pixels.size(); ++i)
            glow.pixels[i] = kit::laidOver(glow.pixels[i], layer.pixels[i], params.amount, params.mode == 0);
        const KXFilterData data = kit::onLayer(layer, selected);
        const Picture expected = kit::merged(data, glow);
        COMPARE_PICTURE(glowing(data, params), expected);
    }
};

KXCORE_TEST_MAIN(TestGlow)
#include "tst_glow.moc"
