#include "KXCore.h"

#include "color/Blocks.h"
#include "kit/Filters.h"

#include <ctime>
#include <random>

using kit::Picture;

namespace {

/// High passes on one cache.
struct HighPass : kit::Watch {
    RGBA32iImage run(const KXFilterData &head, const OPHighPassProcessing::Params &params)
    {
        OPHighPassProcessing filter(cancel, lock, radius, picture);
        return Watch::run(filter, kit::dataOf<OPHighPassProcessing>(head, params));
    }

    QReadWriteLock lock;
    double radius = -1;
    RGBA32iImage picture;
};

struct SeededNoise : OPAddNoiseProcessing {
    using OPAddNoiseProcessing::OPAddNoiseProcessing, OPAddNoiseProcessing::SetSeed;
};

struct AddNoise : kit::Watch {
    RGBA32iImage run(const KXFilterData &head, const OPAddNoiseProcessing::Params &params, quint32 seed = 1)
    {
        SeededNoise filter(cancel, lock, pictures[0], pictures[1]);
        filter.SetSeed(seed);
        return Watch::run(filter, kit::dataOf<OPAddNoiseProcessing>(head, params));
    }

    QReadWriteLock lock;
    RGBA32iImage pictures[2]; ///< uniform, Gaussian
};

const Picture layer = Picture::random(150, 131, 60);
const QSize size = layer.rect().size();
const QRect selected(-9, 100, 60, 50); // of which the layer holds 51 x 31

/// The layer, and perhaps a selection on it. Each run writes into its own.
KXFilterData head(bool isSelected) { return kit::onLayer(layer, isSelected ? selected : QRect()); }

/// The picture of details, from a blur over all of the layer.
Picture details(const KXFilterData &data, double radius)
{
    RGBA32iImage work = layer.image(false);
    const bool isSelected = !data.selectionRect.isEmpty();
    const int reach = int(radius);
    const QRect shown = isSelected ? selected : layer.rect();
    const QRect area = isSelected ? selected.adjusted(-reach, -reach, reach, reach) : shown;
    KXIterativeConvolutionFast2D<RGBA32iImage> blur(KXBlur::CreateGaussianKernel(radius), work, area & work.Rect());
    blur.SetPremultiply(true);
    if (area.isValid())
        blur.Run(kit::noCancel, {});
    const Picture blurred = Picture::of(work), mask = Picture::of(data.selection);
    Picture result(shown.width(), shown.height());
    result.fill(result.rect(), [&](int x, int y) {
        const QPoint at = shown.topLeft() + QPoint(x, y);
        if (!layer.rect().contains(at))
            return OPRGBA32i();
        const OPRGBA32i l = layer.at(at.x(), at.y()), b = blurred.at(at.x(), at.y());
        const int m = isSelected ? mask.at(data.selectionRect.x() + x, data.selectionRect.y() + y).a : 255;
        return kit::pixelOf([&](int c) {
            return c == 3 ? b.a * m / 255 : qBound(0, kit::channel(l, c) - kit::channel(b, c) + 128, 255);
        });
    });
    return result;
}

/// The layer with @p picture composed onto it.
Picture composed(const KXFilterData &data, const RGBA32iImage &picture, KXCompositionMode mode, double strength)
{
    RGBA32iImage image = layer.image(false);
    if (data.selectionRect.isEmpty())
        Compose(picture, picture.Rect(), mode, image, image.Rect(), strength, false);
    else
        ComposeMaskOn(
            picture, picture.Rect(), mode, image, selected, strength, data.selection, data.selectionRect, false, false);
    return Picture::of(image);
}

/// Noise as the standard library draws it. Its polar method gives the two values of a pair in the other order.
template <class Distribution>
Picture noise(QSize size, quint32 seed, Distribution distribution, bool inPairs)
{
    std::mt19937 engine(seed);
    Distribution red = distribution, green = distribution, blue = distribution, alpha = distribution;
    Picture picture(size.width(), size.height());
    for (OPRGBA32i &pixel : picture.pixels) {
        const auto byte = [](double value) { return value < 0 ? 0 : value < 255 ? unsigned(value) : 255u; };
        const unsigned r = byte(red(engine)), g = byte(green(engine)), b = byte(blue(engine)), a = byte(alpha(engine));
        pixel = OPRGBA32i(a << 24 | r << 16 | g << 8 | b);
    }
    for (size_t i = 0; inPairs && i + 1 < picture.pixels.size(); i += 2)
        std::swap(picture.pixels[i], picture.pixels[i + 1]);
    return picture;
}

Picture uniformNoise(QSize size, quint32 seed)
{
    return noise(size, seed, std::uniform_int_distribution<int>(0, 255), false);
}

Picture gaussianNoise(QSize size, quint32 seed)
{
    return noise(size, seed, std::normal_distribution<double>(255.0, 255.0), true);
}

/// Noise over the layer.
Picture noisy(const KXFilterData &data, const Picture &noise, const OPAddNoiseProcessing::Params &params)
{
    Picture result = layer;
    const QRect area = (data.selectionRect.isEmpty() ? layer.rect() : selected) & layer.rect();
    result.fill(area, [&](int x, int y) {
        const OPRGBA32i above = noise.at(x - area.x(), y - area.y());
        return kit::laidOver(above, layer.at(x, y), params.amount, params.keepAlpha);
    });
    return kit::merged(data, result);
}

} // namespace

/// The filters that keep a picture between runs.
class TestCaches : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { loadAVX2Functions(true); }

    void highPass()
    {
        for (const bool isSelected : { false, true }) {
            HighPass cache;
            for (const double radius : { 2.7, 0.5 }) {
                const Picture expected = details(head(isSelected), radius);
                const QSize blurred = isSelected ? QSize(51 + int(radius), 31 + int(radius)) : size;
                const int lines = blurred.width() + blurred.height() + (isSelected ? 31 : size.height());
                for (const auto &[index, mode] : { std::pair(0, 0), { 1, 15 }, { 2, 21 }, { 3, 20 }, { 4, 0 } }) {
                    const RGBA32iImage result = cache.run(head(isSelected), { radius, index, 60 });
                    COMPARE_PICTURE(Picture::of(result),
                        composed(head(isSelected), expected.image(false), KXCompositionMode(mode), 0.6));
                    COMPARE_PICTURE(Picture::of(cache.picture), expected);
                    QCOMPARE(cache.radius, radius);
                    QCOMPARE(cache.steps.load(), index == 0 ? lines + lines / 100 : 2);
                }
            }
        }
    }

    void highPassOfWhatIsFlat()
    {
        HighPass cache;
        cache.run(kit::onLayer(Picture(9, 8, OPRGBA32i(0xFF3060C0u))), { 2.0, 0, 100 });
        COMPARE_PICTURE(Picture::of(cache.picture), Picture(9, 8, OPRGBA32i(0xFF808080u)));
    }

    void oddHighPasses()
    {
        HighPass cache;
        cache.run(KXFilterData(), { 2.0, 0, 100 }); // no area: nothing is kept
        QVERIFY(cache.radius == -1 && cache.steps == 1);

        // A picture of another size counts, where it lies.
        cache.radius = 2.0;
        cache.picture = Picture(40, 200, OPRGBA32i(0xFF102030u)).image(false);
        for (const bool isSelected : { false, true }) {
            COMPARE_PICTURE(Picture::of(cache.run(head(isSelected), { 2.0, 2, 100 })),
                composed(head(isSelected), cache.picture, KXCompositionMode::SoftLight, 1));
            QCOMPARE(cache.steps.load(), 2);
        }
        for (const double radius : { qQNaN(), 1e300, -3.0, -100.0 }) { // of these no two are the same
            QCOMPARE(cache.run(head(true), { radius, 0, 100 }).Rect(), layer.rect());
            QVERIFY(cache.steps > 2);
            if (radius < 0) // an edge of the selection, or all of it, is not blurred
                COMPARE_PICTURE(Picture::of(cache.picture), details(head(true), radius));
        }
        KXFilterData huge = head(true);
        huge.selectionRect = QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)); // there is no such picture
        QVERIFY_EXCEPTION_THROWN(cache.run(huge, { 1.0, 0, 100 }), std::bad_alloc);
    }

    void cancelledHighPasses()
    {
        for (const bool isSelected : { false, true }) {
            HighPass cache;
            cache.run(head(isSelected), { 1.0, 1, 100 });
            const Picture before = Picture::of(cache.picture);
            const int steps = cache.steps;
            for (const int step : { 1, steps / 2, steps - steps / 100 }) { // the last one is that of the last row
                cache.cancel = false;
                cache.cancelAt = step;
                COMPARE_PICTURE(Picture::of(cache.run(head(isSelected), { 1.5, 1, 100 })), layer);
                QVERIFY(cache.cancel && cache.steps > 2 && cache.radius == 1.0);
                COMPARE_PICTURE(Picture::of(cache.picture), before);
            }
        }
    }

    /// Runs of several threads on one cache, each of which finds what another has made or makes it itself.
    void highPassesAtOnce()
    {
        HighPass cache;
        std::atomic<int> wrong { 0 };
        kit::atOnce(3, [&](int i) {
            const double radius = i < 2 ? 0.5 : 1.0;
            const RGBA32iImage picture = details(head(false), radius).image(false);
            const Picture expected = composed(head(false), picture, KXCompositionMode::Overlay, 1);
            for (int run = 0; run < 20; ++run)
                wrong += Picture::of(cache.run(head(false), { radius, 1, 100 })).pixels != expected.pixels;
        });
        QCOMPARE(wrong.load(), 0);
        COMPARE_PICTURE(Picture::of(cache.picture), details(head(false), cache.radius));
    }

    /// The standard library's words, from wherever the sequence has got to.
    void engine()
    {
        for (const int words : { 0, 1, 622 }) {
            std::mt19937 expected(5489);
            expected.discard(quint64(words));
            const OPUniformNoise noise(5489);
            for (int i = 0; i < words; ++i)
                noise.Engine()();
            std::vector<OPRGBA32i> block(blocks::length);
            blocks::apply(noise, block.data(), blocks::length);
            for (const OPRGBA32i pixel : block)
                for (const int shift : { 16, 8, 0, 24 })
                    QCOMPARE(pixel.word >> shift & 255, unsigned(expected() >> 24));
        }
    }

    void noises()
    {
        for (const bool isSelected : { false, true })
            for (const int distribution : { 0, 1, -3 })
                for (const bool keepAlpha : { false, true }) {
                    const QSize made = isSelected ? selected.size() : size;
                    const int rows = isSelected ? 31 : size.height();
                    const Picture expected = distribution == 0 ? uniformNoise(made, 9) : gaussianNoise(made, 9);
                    AddNoise cache;
                    for (const int amount : { 73, 100, 0 }) {
                        const OPAddNoiseProcessing::Params params { amount, distribution, keepAlpha };
                        const auto result = cache.run(head(isSelected), params, amount == 73 ? 9 : 8);
                        COMPARE_PICTURE(Picture::of(result), noisy(head(isSelected), expected, params));
                        COMPARE_PICTURE(Picture::of(cache.pictures[distribution != 0]), expected);
                        QVERIFY(cache.pictures[distribution == 0].Rect().isEmpty());
                        QCOMPARE(cache.steps.load(), amount == 73 ? made.height() + rows : rows);
                    }
                }
    }

    void noisesThatAreKept()
    {
        const OPAddNoiseProcessing::Params params { 50, 0, true };
        AddNoise cache;
        for (const QSize kept : { QSize(size.width(), 1), QSize(1, size.height()) }) { // none fits
            cache.pictures[0] = RGBA32iImage(kept.width(), kept.height(), false);
            cache.run(head(false), params, 1);
            QCOMPARE(cache.steps.load(), 2 * size.height());
        }
        cache.cancelAt = selected.height(); // in the last row that is made, of another size
        COMPARE_PICTURE(Picture::of(cache.run(head(true), params, 2)), layer);
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(size, 1));
        cache.cancelAt = -1;
        cache.cancel = false;
        cache.run(head(true), params, 2);
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(selected.size(), 2));
        QCOMPARE(cache.steps.load(), 50 + 31);

        KXFilterData huge; // wider than QRect can tell
        huge.selectionRect = QRect(QPoint(INT_MIN, 0), QPoint(INT_MAX, 0));
        QVERIFY_EXCEPTION_THROWN(cache.run(huge, params), std::bad_alloc);

        // Without a seed it is the clock's.
        const auto before = std::time(nullptr);
        RGBA32iImage kept[2];
        OPAddNoiseProcessing(kit::noCancel, cache.lock, kept[0], kept[1])
            .run(kit::dataOf<OPAddNoiseProcessing>(head(false), params));
        bool isFound = false;
        for (auto seed = before, now = std::time(nullptr); seed <= now; ++seed)
            isFound = isFound || Picture::of(kept[0]).pixels == uniformNoise(size, quint32(seed)).pixels;
        QVERIFY(isFound);
    }

    /// Runs of several threads on one cache: of two sizes, so that all of them store and find.
    void noisesAtOnce()
    {
        AddNoise cache;
        std::atomic<int> wrong { 0 };
        kit::atOnce(3, [&](int i) {
            const bool isSelected = i == 1;
            const OPAddNoiseProcessing::Params params { 60, 0, false };
            const Picture noise = uniformNoise(isSelected ? selected.size() : size, 5);
            const Picture expected = noisy(head(isSelected), noise, params);
            for (int run = 0; run < 20; ++run)
                wrong += Picture::of(cache.run(head(isSelected), params, 5)).pixels != expected.pixels;
        });
        QCOMPARE(wrong.load(), 0);
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(cache.pictures[0].Rect().size(), 5));
    }
};

KXCORE_TEST_MAIN(TestCaches)
#include "tst_caches.moc"
