#include "KXRefineSelectionProcessing.h"
#include "kit/Formulas.h"

#include <cmath>

using kit::Picture;

namespace {

/// @p mask as it lies in a canvas at @p offset, seen through @p area.
Picture seenThrough(const Picture &mask, QPoint offset, const QRect &area)
{
    Picture seen(area.width(), area.height());
    seen.fill(seen.rect(), [&](int x, int y) {
        const QPoint at = area.topLeft() + QPoint(x, y) - offset;
        return mask.rect().contains(at) ? mask.at(at.x(), at.y()) : OPRGBA32i();
    });
    return seen;
}

/// As the filter's manual has it.
Picture refined(const Picture &mask, double feather, int contract)
{
    Picture picture = mask;
    for (int round = 0; round < 3 && feather != 0; ++round) {
        kit::alphaBothWays(
            picture, mask.rect(), [&](auto at) { return kit::means(at, std::max(int(feather), 0), false)[3]; });
        for (OPRGBA32i &pixel : picture.pixels)
            pixel.word &= 0xFF000000u;
    }
    // Beyond its edges the mask is transparent.
    picture = seenThrough(picture, QPoint(1, 1), mask.rect().adjusted(0, 0, 2, 2));
    kit::alphaBothWays(picture, picture.rect(), [contract](auto at) {
        int alpha = at(0).a;
        for (int k = -qAbs(contract); k <= qAbs(contract); ++k)
            alpha = contract < 0 ? std::min<int>(alpha, at(k).a) : std::max<int>(alpha, at(k).a);
        return alpha;
    });
    return seenThrough(picture, QPoint(-1, -1), mask.rect());
}

Picture feathered(const Picture &mask, float radius)
{
    const int margin = int(radius * 3 + 1), reach = int(radius * 3);
    const Picture old = seenThrough(mask, QPoint(margin, margin), mask.rect().adjusted(0, 0, 2 * margin, 2 * margin));
    std::vector<float> weights;
    float all = 0;
    for (int x = -reach; x <= reach; ++x)
        all += weights.emplace_back(std::exp(float(-x * x) / (2 * radius * radius)));
    Picture result = old;
    kit::alphaBothWays(result, result.rect(), [&](auto at) {
        float sum = 0;
        for (int x = -reach; x <= reach; ++x)
            sum += float(at(x).a) * (weights[size_t(x + reach)] / all);
        return std::min(int(sum), 255);
    });
    for (size_t i = 0; i < old.pixels.size(); ++i)
        if (old.pixels[i].a == 255 && result.pixels[i].a < 128)
            result.pixels[i].a = 128;
    return result;
}

struct Area {
    QPoint offset;
    QSize canvas;
    double feather;
    int contract;
    QRect rect; // what comes back of a mask of 40 by 30
};

const QSize wide(1000, 1000);

} // namespace

class TestRefine : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void areas()
    {
        const Area areas[] = {
            { { 100, 200 }, wide, 0.0, 0, { 100, 200, 40, 30 } },
            { { -5, 990 }, wide, -0.0, 7, { -5, 990, 40, 30 } }, // without a feather no canvas counts
            { { -2147483647, 2147483647 }, wide, 0.0, 1, {} },
            { { 100, 200 }, wide, 2.7, 0, { 91, 191, 58, 48 } }, // 2.7 * 3 + 1 = 9.1
            { { 100, 200 }, wide, 2.0, 4, { 89, 189, 62, 52 } },
            { { 100, 200 }, wide, 2.0, -4, { 93, 193, 54, 44 } }, // inward nothing is added
            { { -5, 990 }, wide, 3.0, 0, { 0, 980, 45, 20 } },
            { { 100, 200 }, { 110, 400 }, 1.0, 2, { 94, 194, 16, 42 } },
            { { -50, 0 }, wide, 5.0, 0, { 0, 0, 6, 46 } }, // the mask lies beside the canvas
            { { -500, 0 }, wide, 5.0, 0, {} },
            { { 0, 0 }, {}, 5.0, 0, {} },
            { { 100, 200 }, wide, 0.1, 0, { 99, 199, 42, 32 } },
            { { 100, 200 }, wide, -0.5, 1, { 99, 199, 42, 32 } },
            { { 100, 200 }, wide, -3.0, 0, { 108, 208, 24, 14 } }, // -8
            { { 100, 200 }, wide, -9.0, 0, {} },
            { { 10, 20 }, { 60, 70 }, 60.0, 2147483647, { 0, 0, 60, 70 } },
            { { 100, 200 }, wide, qQNaN(), 5, {} },
            { { 100, 200 }, wide, 1e300, 5, {} },
        };
        const Picture mask = Picture::random(40, 30, 4);
        for (const auto &area : areas)
            for (const bool tiled : { false, true }) {
                KXRefineSelectionProcessing::RefineSelectionData data;
                data.image = mask.image(tiled);
                data.selectionOffset = area.offset;
                data.canvas = area.canvas;
                data.params = { area.feather, area.contract };
                const auto result = KXRefineSelectionProcessing(kit::noCancel).run(data);
                QCOMPARE(result.rect, area.rect);
                const int contract = std::min(area.contract, 100); // further than all that there is
                COMPARE_PICTURE(Picture::of(result.image),
                    refined(seenThrough(mask, area.offset, area.rect), area.feather, contract));
                QVERIFY(!result.image.IsTiled());
                COMPARE_PICTURE(Picture::of(data.image), mask);
            }
    }

    void masksByHand()
    {
        // Taps of exp(0) and exp(-1 / 0.32), over their sum: 0.91922, and 0.04039 on both sides.
        RGBA32iImage mask = Picture(1, 1, OPRGBA32i(0xFF102030u)).image(false);
        QRect rect(7, 8, 1, 1);
        FeatherAlphaMask(mask, rect, 0.4f);
        QCOMPARE(rect, QRect(5, 6, 5, 5));
        Picture expected(5, 5);
        expected.at(2, 1).a = expected.at(1, 2).a = expected.at(3, 2).a = expected.at(2, 3).a = 9;
        expected.at(2, 2) = OPRGBA32i(0xD7102030u); // 215
        COMPARE_PICTURE(Picture::of(mask), expected);

        for (const float radius : { 0.0f, 0.1f, -4.0f, float(qQNaN()), float(qInf()), -float(qInf()), 1e9f }) {
            const Picture before = Picture::random(9, 7, 3);
            mask = before.image(true);
            rect = QRect(-2147483000, 3, 9, 7);
            QVERIFY_EXCEPTION_THROWN(FeatherAlphaMask(mask, rect, radius), std::bad_alloc);
            QVERIFY(mask.IsTiled() && rect.x() == -2147483000);
            rect.moveLeft(0);
            FeatherAlphaMask(mask, rect, radius);
            QCOMPARE(rect, QRect(-1, 2, 11, 9));
            COMPARE_PICTURE(Picture::of(mask), seenThrough(before, QPoint(1, 1), QRect(0, 0, 11, 9)));
        }
        for (const float radius : { 1e5f, 5e8f }) // more than there is memory for
            QVERIFY_EXCEPTION_THROWN(FeatherAlphaMask(mask, rect, radius), std::bad_alloc);
        QCOMPARE(rect, QRect(-1, 2, 11, 9));
        rect = QRect(QPoint(INT_MAX, 5), QPoint(INT_MIN, 5)); // sides far apart, in the wrong order
        FeatherAlphaMask(mask, rect, 1.0f);
        QVERIFY(mask.Rect().isEmpty());
    }

    void masks()
    {
        for (const QSize size : { QSize(1, 1), QSize(40, 30), QSize(200, 3), QSize(2, 90) })
            for (const float radius : { 0.34f, 1.0f, 3.3333333f, 12.5f })
                for (const bool tiled : { false, true }) {
                    Picture mask = Picture::random(size.width(), size.height(), quint32(size.width()));
                    // Along a slope sums are almost whole: they tell in which order they were made.
                    if (tiled)
                        mask.fill(mask.rect(), [](int x, int y) { return unsigned(5 * x + 3 * y) << 24; });
                    RGBA32iImage image = mask.image(tiled);
                    const RGBA32iImage same = image;
                    QRect rect(QPoint(-3, 12), size);
                    FeatherAlphaMask(image, rect, radius);
                    const int margin = int(radius * 3 + 1);
                    QCOMPARE(rect, QRect(QPoint(-3, 12), size).adjusted(-margin, -margin, margin, margin));
                    COMPARE_PICTURE(Picture::of(image), feathered(mask, radius));
                    COMPARE_PICTURE(Picture::of(same), mask);
                }
    }

    /// An image and a rectangle of different sizes, and what is not there at all.
    void oddMasks()
    {
        const Picture mask(20, 10, OPRGBA32i(0xFFFFFFFFu));
        for (const QSize size :
            { QSize(), QSize(0, 5), QSize(4, 3), QSize(30, 3), QSize(-9, 4), QSize(-5, 4), QSize(4, -5) })
            for (const Picture &before : { Picture(0, 0), mask }) {
                RGBA32iImage image = before.image(false);
                QRect rect(QPoint(4, 5), size);
                FeatherAlphaMask(image, rect, 1.0f); // a margin of 4
                QCOMPARE(rect, QRect(QPoint(4, 5), size).adjusted(-4, -4, 4, 4));
                QCOMPARE(image.Rect(), QRect(QPoint(), rect.size().expandedTo(QSize(0, 0))));
                const bool hasRoom = std::min(size.width(), size.height()) >= -4; // beside the margins
                const QRect shown = hasRoom ? before.rect().translated(4, 4) & image.Rect() : QRect();
                const Picture after = Picture::of(image);
                for (int y = shown.top(); y <= shown.bottom(); ++y)
                    for (int x = shown.left(); x <= shown.right(); ++x)
                        QVERIFY(after.at(x, y).a >= 128);
                if (!hasRoom)
                    COMPARE_PICTURE(after, Picture(after.width, after.height));
            }
    }
};

KXCORE_TEST_MAIN(TestRefine)
#include "tst_refine.moc"
