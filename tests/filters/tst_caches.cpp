#include "KXBlur.h"
#include "KXComposer.h"
#include "KXIterativeConvolution.h"
#include "OPHighPassProcessing.h"

#include "kit/Picture.h"

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
                    int last = 0;
                    const auto result = cache.run(with<HighPassData>(data, { radius, index, 60 }), kit::noCancel,
                        [&last](int value) { last = value; });
                    COMPARE_PICTURE(
                        Picture::of(result), composed(data, expected.image(false), KXCompositionMode(mode), 0.6));
                    COMPARE_PICTURE(Picture::of(cache.picture), expected);
                    QCOMPARE(cache.radius, radius);
                    QCOMPARE(cache.ranges.last(), index == 0 ? lines + lines / 100 : 2);
                    QCOMPARE(last, cache.ranges.last());
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
        }
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
                const auto result = cache.run(with<HighPassData>(data, { 1.5, 1, 100 }), cancel,
                    [&](int value) { cancel = cancel || value == step; });
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
};

KXCORE_TEST_MAIN(TestCaches)
#include "tst_caches.moc"
