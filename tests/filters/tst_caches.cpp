#include "KXBlur.h"
#include "KXComposer.h"
#include "KXIterativeConvolution.h"
#include "OPAddNoiseProcessing.h"
#include "OPHighPassProcessing.h"

#include "kit/Formulas.h"

#include <cmath>
#include <ctime>
#include <random>
#include <thread>

using kit::Picture;

namespace {

struct HighPass {
    QReadWriteLock lock;
    double radius = -1;
    RGBA32iImage picture;

    RGBA32iImage run(
        const OPHighPassProcessing::HighPassData &data, const std::atomic<bool> &cancel = kit::noCancel,
        const std::function<void(int)> &progress = [](int) {})
    {
        OPHighPassProcessing filter(cancel, lock, radius, picture);
        QObject::connect(&filter, &OPHighPassProcessing::RangeChanged, [this](int, int most) { ranges << most; });
        QObject::connect(&filter, &OPHighPassProcessing::ProgressChanged, progress);
        return filter.run(data);
    }

    QList<int> ranges;
};

struct SeededNoise : OPAddNoiseProcessing {
    using OPAddNoiseProcessing::OPAddNoiseProcessing, OPAddNoiseProcessing::SetSeed;
};

struct AddNoise {
    QReadWriteLock lock;
    RGBA32iImage pictures[2]; ///< uniform, Gaussian

    RGBA32iImage run(
        const OPAddNoiseProcessing::AddNoiseData &data, quint32 seed = 1,
        const std::atomic<bool> &cancel = kit::noCancel, const std::function<void(int)> &progress = [](int) {})
    {
        SeededNoise filter(cancel, lock, pictures[0], pictures[1]);
        filter.SetSeed(seed);
        QObject::connect(&filter, &SeededNoise::RangeChanged, [this](int, int most) { ranges << most; });
        QObject::connect(&filter, &SeededNoise::ProgressChanged, progress);
        return filter.run(data);
    }

    QList<int> ranges;
};

const QSize size(150, 131);
const QRect selected(-9, 100, 60, 50); // in the layer, which holds 51 x 31 of it
constexpr auto selectionStart = 4; // of what is selected, in the selection's own coordinates, both ways

/// A layer, and perhaps a selection on it.
KXFilterData head(bool isSelected, quint32 sequence = 60)
{
    KXFilterData data;
    data.image = Picture::random(size.width(), size.height(), sequence).image(false);
    if (isSelected) {
        data.selection = Picture::random(70, 70, sequence + 1).image(false);
        data.selectionRect = QRect(QPoint(selectionStart, selectionStart), selected.size());
        data.selectionOffset = selected.topLeft() - data.selectionRect.topLeft();
    }
    return data;
}

template <class Data>
Data with(const KXFilterData &head, decltype(Data::params) params)
{
    Data data;
    static_cast<KXFilterData &>(data) = head;
    data.image = Picture::of(head.image).image(false); // each run writes into its layer
    data.params = params;
    return data;
}

using HighPassData = OPHighPassProcessing::HighPassData;

/// The picture of details, from a blur over all of the layer.
Picture details(const KXFilterData &data, double radius)
{
    RGBA32iImage work = Picture::of(data.image).image(false);
    const bool isSelected = !data.selectionRect.isEmpty();
    const int reach = int(radius);
    const QRect area = isSelected ? selected.adjusted(-reach, -reach, reach, reach) : work.Rect();
    KXIterativeConvolutionFast2D<RGBA32iImage> blur(KXBlur::CreateGaussianKernel(radius), work, area & work.Rect());
    blur.SetPremultiply(true);
    if (area.isValid())
        blur.Run(kit::noCancel, {});
    const Picture layer = Picture::of(data.image), blurred = Picture::of(work), mask = Picture::of(data.selection);
    const QRect shown = isSelected ? selected : layer.rect();
    Picture result(shown.width(), shown.height());
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) {
            const QPoint at = shown.topLeft() + QPoint(x, y);
            if (!layer.rect().contains(at))
                continue;
            const OPRGBA32i l = layer.at(at.x(), at.y()), b = blurred.at(at.x(), at.y());
            const int m = isSelected ? mask.at(selectionStart + x, selectionStart + y).a : 255;
            result.at(x, y) = kit::pixelOf([&](int c) {
                return c == 3 ? b.a * m / 255 : qBound(0, kit::channel(l, c) - kit::channel(b, c) + 128, 255);
            });
        }
    return result;
}

/// The layer with @p picture composed onto it.
Picture composed(const KXFilterData &data, const RGBA32iImage &picture, KXCompositionMode mode, double strength)
{
    RGBA32iImage image = Picture::of(data.image).image(false);
    if (data.selectionRect.isEmpty())
        Compose(picture, picture.Rect(), mode, image, image.Rect(), strength, false);
    else
        ComposeMaskOn(
            picture, picture.Rect(), mode, image, selected, strength, data.selection, data.selectionRect, false, false);
    return Picture::of(image);
}

using AddNoiseData = OPAddNoiseProcessing::AddNoiseData;

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

/// Noise over a layer: the mean of the colours by their alphas, then the selection's share of the way there.
Picture noisy(const KXFilterData &data, const Picture &noise, const OPAddNoiseProcessing::Params &params)
{
    Picture result = Picture::of(data.image);
    const Picture mask = Picture::of(data.selection);
    const bool isSelected = !data.selectionRect.isEmpty();
    const QRect area = isSelected ? selected & result.rect() : result.rect();
    // Where the selection begins beside the layer its own rectangle is moved by as much as its offset.
    const int maskX = selectionStart - std::min(data.selectionOffset.x(), 0);
    for (int y = 0; y < area.height(); ++y)
        for (int x = 0; x < area.width(); ++x) {
            OPRGBA32i &pixel = result.at(area.x() + x, area.y() + y);
            const OPRGBA32i blended = kit::laidOver(noise.at(x, y), pixel, params.amount, params.keepAlpha);
            pixel = kit::moved(pixel, blended, isSelected ? mask.at(maskX + x, selectionStart + y).a : 255);
        }
    return result;
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
            const KXFilterData data = head(isSelected);
            HighPass cache;
            for (const double radius : { 2.7, 0.5 }) {
                const Picture expected = details(data, radius);
                const QSize blurred = isSelected ? QSize(51 + int(radius), 31 + int(radius)) : size;
                const int lines = blurred.width() + blurred.height() + (isSelected ? 31 : size.height());
                for (const auto &[index, mode] : { std::pair(0, 0), { 1, 15 }, { 2, 21 }, { 3, 20 }, { 4, 0 } }) {
                    std::atomic<int> last { 0 };
                    const auto result = cache.run(with<HighPassData>(data, { radius, index, 60 }), kit::noCancel,
                        [&last](int value) { last = value; });
                    COMPARE_PICTURE(
                        Picture::of(result), composed(data, expected.image(false), KXCompositionMode(mode), 0.6));
                    COMPARE_PICTURE(Picture::of(cache.picture), expected);
                    QCOMPARE(cache.radius, radius);
                    QCOMPARE(cache.ranges.last(), index == 0 ? lines + lines / 100 : 2);
                    QCOMPARE(last.load(), cache.ranges.last());
                }
            }
        }
    }

    void highPassOfWhatIsFlat()
    {
        HighPass cache;
        KXFilterData data;
        data.image = Picture(9, 8, OPRGBA32i(0xFF3060C0u)).image(false);
        cache.run(with<HighPassData>(data, { 2.0, 0, 100 }));
        COMPARE_PICTURE(Picture::of(cache.picture), Picture(9, 8, OPRGBA32i(0xFF808080u)));
    }

    void oddHighPasses()
    {
        HighPass cache;
        KXFilterData data;
        cache.run(with<HighPassData>(data, { 2.0, 0, 100 })); // no area: nothing is kept
        QVERIFY(cache.radius == -1 && cache.ranges == QList<int>({ 1 }));

        // A picture of another size counts, where it lies.
        cache.radius = 2.0;
        cache.picture = Picture(40, 200, OPRGBA32i(0xFF102030u)).image(false);
        for (const bool isSelected : { false, true }) {
            data = head(isSelected);
            COMPARE_PICTURE(Picture::of(cache.run(with<HighPassData>(data, { 2.0, 2, 100 }))),
                composed(data, cache.picture, KXCompositionMode::SoftLight, 1));
            QCOMPARE(cache.ranges.last(), 2);
        }
        for (const double radius : { qQNaN(), 1e300, -3.0, -100.0 }) { // of these no two are the same
            data = head(true);
            QCOMPARE(cache.run(with<HighPassData>(data, { radius, 0, 100 })).Rect(), QRect(QPoint(), size));
            QVERIFY(cache.ranges.last() > 2);
            if (radius < 0) // an edge of the selection, or all of it, is not blurred
                COMPARE_PICTURE(Picture::of(cache.picture), details(data, radius));
        }
        data.selectionRect = QRect(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX)); // there is no such picture
        QVERIFY_EXCEPTION_THROWN(cache.run(with<HighPassData>(data, { 1.0, 0, 100 })), std::bad_alloc);
    }

    void cancelledHighPasses()
    {
        for (const bool isSelected : { false, true }) {
            const KXFilterData data = head(isSelected);
            HighPass cache;
            cache.run(with<HighPassData>(data, { 1.0, 1, 100 }));
            const Picture before = Picture::of(cache.picture);
            const int steps = cache.ranges.last();
            for (const int step : { 1, steps / 2, steps - steps / 100 }) { // the last one is that of the last row
                std::atomic<bool> cancel { false };
                const auto result = cache.run(with<HighPassData>(data, { 1.5, 1, 100 }), cancel, [&](int value) {
                    if (value == step)
                        cancel = true;
                });
                QVERIFY(cancel && cache.ranges.last() > 2);
                COMPARE_PICTURE(Picture::of(result), Picture::of(data.image));
                COMPARE_PICTURE(Picture::of(cache.picture), before);
                QCOMPARE(cache.radius, 1.0);
            }
        }
    }

    /// Runs of several threads on one cache, each of which finds what another has made or makes it itself.
    void highPassesAtOnce()
    {
        const KXFilterData data = head(false);
        HighPass cache;
        std::atomic<int> wrong { 0 };
        std::vector<std::thread> threads;
        for (const double radius : { 0.5, 0.5, 1.0 })
            threads.emplace_back([&, radius] {
                const Picture expected =
                    composed(data, details(data, radius).image(false), KXCompositionMode::Overlay, 1);
                for (int i = 0; i < 20; ++i) {
                    OPHighPassProcessing filter(kit::noCancel, cache.lock, cache.radius, cache.picture);
                    const auto result = filter.run(with<HighPassData>(data, { radius, 1, 100 }));
                    wrong += kit::difference(Picture::of(result), expected).isEmpty() ? 0 : 1;
                }
            });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
        COMPARE_PICTURE(Picture::of(cache.picture), details(data, cache.radius));
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
            std::vector<OPRGBA32i> block(BaseTransformation::BlockLength);
            if (noise.HasKernel())
                noise(reinterpret_cast<unsigned char *>(block.data()), false);
            else
                std::for_each(block.begin(), block.end(), [&noise](OPRGBA32i &pixel) { noise(pixel); });
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
                    const KXFilterData data = head(isSelected);
                    const QSize made = isSelected ? selected.size() : size;
                    const int rows = isSelected ? 31 : size.height();
                    const Picture expected = distribution == 0 ? uniformNoise(made, 9) : gaussianNoise(made, 9);
                    AddNoise cache;
                    for (const int amount : { 73, 100, 0 }) {
                        const OPAddNoiseProcessing::Params params { amount, distribution, keepAlpha };
                        const auto result = cache.run(with<AddNoiseData>(data, params), quint32(amount == 73 ? 9 : 8));
                        COMPARE_PICTURE(Picture::of(result), noisy(data, expected, params));
                        COMPARE_PICTURE(Picture::of(cache.pictures[distribution != 0]), expected);
                        QVERIFY(cache.pictures[distribution == 0].Rect().isEmpty());
                        QCOMPARE(cache.ranges.last(), amount == 73 ? made.height() + rows : rows);
                    }
                }
    }

    /// Against the distributions themselves.
    void shares()
    {
        const QSize large(500, 400);
        const double values = 4.0 * large.width() * large.height();
        AddNoise cache;
        KXFilterData data;
        data.image = RGBA32iImage(large.width(), large.height(), false);
        std::vector<int> counts[2] { std::vector<int>(256), std::vector<int>(256) };
        for (const int distribution : { 0, 1 }) {
            cache.run(with<AddNoiseData>(data, { 10, distribution, true }), kit::seed());
            for (const OPRGBA32i pixel : Picture::of(cache.pictures[distribution]).pixels)
                for (int c = 0; c < 4; ++c)
                    ++counts[distribution][kit::channel(pixel, c)];
        }
        const auto isNear = [values](double count, double share) { // within six standard deviations
            return std::abs(count - values * share) < 6 * std::sqrt(values * share * (1 - share));
        };
        const auto below = [](double value) { return std::erfc((255 - value) / 255 / std::sqrt(2.0)) / 2; };
        for (int value = 0; value < 256; ++value) {
            QVERIFY(isNear(counts[0][size_t(value)], 1 / 256.0));
            const double share = value == 255 ? 0.5 : below(value + 1) - (value == 0 ? 0 : below(value));
            QVERIFY2(isNear(counts[1][size_t(value)], share), qPrintable(QString::number(value)));
        }
    }

    void noisesThatAreKept()
    {
        const KXFilterData all = head(false), part = head(true);
        const OPAddNoiseProcessing::Params params { 50, 0, true };
        AddNoise cache;
        const int rows = size.height();
        for (const QSize kept : { QSize(size.width(), 1), QSize(1, rows) }) { // none fits
            cache.pictures[0] = RGBA32iImage(kept.width(), kept.height(), false);
            cache.run(with<AddNoiseData>(all, params), 1);
            QCOMPARE(cache.ranges.last(), 2 * rows);
        }
        std::atomic<bool> cancel { false }; // in the last row that is made, of another size
        const auto result = cache.run(with<AddNoiseData>(part, params), 2, cancel, [&cancel](int value) {
            if (value == selected.height())
                cancel = true;
        });
        COMPARE_PICTURE(Picture::of(result), Picture::of(part.image));
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(size, 1));
        cache.run(with<AddNoiseData>(part, params), 2);
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(selected.size(), 2));
        QCOMPARE(cache.ranges.mid(2), QList<int>({ 50 + 31, 50 + 31 }));

        AddNoiseData huge; // wider than QRect can tell
        huge.selectionRect = QRect(QPoint(INT_MIN, 0), QPoint(INT_MAX, 0));
        QVERIFY_EXCEPTION_THROWN(cache.run(huge), std::bad_alloc);

        // Without a seed it is the clock's.
        const auto before = std::time(nullptr);
        RGBA32iImage kept[2];
        OPAddNoiseProcessing(kit::noCancel, cache.lock, kept[0], kept[1]).run(with<AddNoiseData>(all, params));
        bool isFound = false;
        for (auto seed = before, now = std::time(nullptr); seed <= now; ++seed)
            isFound = isFound || kit::difference(Picture::of(kept[0]), uniformNoise(size, quint32(seed))).isEmpty();
        QVERIFY(isFound);
    }

    /// Runs of several threads on one cache: of two sizes, so that all of them store and find.
    void noisesAtOnce()
    {
        AddNoise cache;
        std::atomic<int> wrong { 0 };
        std::vector<std::thread> threads;
        for (const bool isSelected : { false, true, false })
            threads.emplace_back([&, isSelected] {
                const KXFilterData data = head(isSelected);
                const OPAddNoiseProcessing::Params params { 60, 0, false };
                const Picture expected = noisy(data, uniformNoise(isSelected ? selected.size() : size, 5), params);
                for (int i = 0; i < 20; ++i) {
                    SeededNoise filter(kit::noCancel, cache.lock, cache.pictures[0], cache.pictures[1]);
                    filter.SetSeed(5);
                    const auto result = filter.run(with<AddNoiseData>(data, params));
                    wrong += kit::difference(Picture::of(result), expected).isEmpty() ? 0 : 1;
                }
            });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(wrong.load(), 0);
        COMPARE_PICTURE(Picture::of(cache.pictures[0]), uniformNoise(cache.pictures[0].Rect().size(), 5));
    }
};

KXCORE_TEST_MAIN(TestCaches)
#include "tst_caches.moc"
