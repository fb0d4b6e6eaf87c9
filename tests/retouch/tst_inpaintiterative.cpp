#include "OPInpaintIterative.h"

#include "catalogue/PlainInpainting.h"
#include "kit/QtPictures.h"
#include "kit/Table.h"

namespace {

#include "OPInpaintIterative-1.inc"

/// A mask drawn in text, rows divided by '/': '#' is unknown, '+' known with an alpha that is not 0.
RGBA32iImage drawn(const QString &text)
{
    return kit::drawn(text, [](QChar c) {
        return c == '#' ? 0xFF000000u : c == '+' ? 0x7F000000u : 0x00123456u;
    }).image(false);
}

/// While it lives the stage is @p stage.
class Stage {
public:
    explicit Stage(int stage) { set(stage); }
    ~Stage() { set(1); }

    static void set(int stage)
    {
        RGBA32iImage none;
        while (OPInpaintIterative::GetIteration() != stage)
            OPInpaintIterative(none, none, QRect(), QRect()).NextIteration();
    }
};

} // namespace

class TestInpaintIterative : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Images, masks and rectangles of many sizes and places, stages in any order, against the text done pixel by
    /// pixel: all pixels, the rectangle and what a sweep says, also where it ends with what is thrown.
    void equalsThePlainForm()
    {
        QRandomGenerator random = kit::random(1);
        const auto copied = [](const RGBA32iImage &image) { return kit::Picture::of(image).image(false); };
        const kit::LogCapture log;
        int repaired = 0;
        for (int round = 0; round < 3000; ++round) {
            const QSize size(random.bounded(1, 24), random.bounded(1, 24));
            const bool isOne = random.bounded(8) == 0; // the image is the mask
            const bool isSmaller = random.bounded(8) == 0, isShifted = random.bounded(4) == 0;
            RGBA32iImage mask = kit::Picture::random(size.width(), size.height(), random.generate()).image(false);
            for (int i = random.bounded(5); i > 0; --i) {
                const QPoint corner(random.bounded(size.width()), random.bounded(size.height()));
                const QRect hole = mask.Rect() & QRect(corner, QSize(random.bounded(1, 9), random.bounded(1, 9)));
                for (int y = hole.y(); y < hole.y() + hole.height(); ++y)
                    for (int x = hole.x(); x < hole.x() + hole.width(); ++x)
                        mask.SetColor(x, y, i == 1 ? 0x7F000000u : 0xFF000000u);
            }
            RGBA32iImage image = isOne
                ? mask
                : kit::Picture::random(size.width() - (isSmaller ? 1 : 0), size.height(), random.generate())
                      .image(false);
            RGBA32iImage plainMask = copied(mask), plainImage = isOne ? plainMask : copied(image);
            const auto edge = [&](int reach) { return random.bounded(4) ? 0 : random.bounded(-reach, reach + 1); };
            const QRect inMask = mask.Rect().adjusted(edge(3), edge(3), edge(3), edge(3));
            const QRect inImage =
                inMask.translated(isShifted ? random.bounded(-3, 4) : 0, isShifted ? random.bounded(-3, 4) : 0);
            catalogue::PlainInpaintIterative plain(plainImage, plainMask, inImage, inMask);
            OPInpaintIterative sweep(image, mask, inImage, inMask);
            const int mainStage = random.bounded(1, 4);
            for (int n = 0; n < 12; ++n) {
                const Stage stage(random.bounded(5) ? mainStage : random.bounded(1, 4));
                const bool changes = plain.run(OPInpaintIterative::GetIteration());
                const QByteArray where = "round " + QByteArray::number(round);
                QVERIFY2(sweep() == changes && sweep.workRect == plain.workRect, where);
                using Pair = std::pair<RGBA32iImage, RGBA32iImage>;
                for (const auto &[actual, expected] :
                    { Pair(image, plainImage), Pair(mask, plainMask), Pair(sweep.frontier, plain.frontier) })
                    VERIFY_SAME_AT(kit::difference(kit::Picture::of(actual), kit::Picture::of(expected)), where);
                repaired += changes;
            }
        }
        QVERIFY(log.texts().size() > 300 && repaired > 3000);
    }

    /// What a sweep leaves of a mask, all of which its rectangle is.
    void rulesThatLookWrong_data()
    {
        const kit::Table<int, QString, QString> table("stage", "before", "after");
        const auto stays = [&table](
                               const char *rule, int stage, const char *mask) { table.row(rule, stage, mask, mask); };
        const QString empty = "......./......./......./......./......./......./.......";
        stays("a single pixel has no slope", 2, "...../...../..#../...../.....");
        table.row("nor has the inside of a line, until its end is repaired", 1,
            "......./......./......./..###../......./......./.......", empty);
        table.row("it spreads right and down within a sweep", 1,
            "......./......./..###../..###../..###../......./.......", empty);
        table.row("the last column is left out, so that the inside of a line there stays", 1,
            "......./......./......#/......#/......#/......./.......",
            "......./......./......./......#/......./......./.......");
        // What is half marked, '+', gives the pixel above it a slope. All blocks but the second hold one of the three
        // pixels two rows above or two columns beside it.
        stays("the second block asks for the pixel two rows above", 1, "..#../...../#.#.#/..+../.....");
        // Here all blocks but the second hold the pixel above or the one two rows below.
        table.row("the second block does not ask for the pixel two rows below", 1, "...../..#../..#../...../..#..",
            "...../..#../...../...../..#..");
    }

    void rulesThatLookWrong()
    {
        QFETCH(int, stage);
        QFETCH(QString, before);
        QFETCH(QString, after);
        RGBA32iImage mask = drawn(before), image(mask.Width(), mask.Height(), false);
        const Stage set(stage);
        OPInpaintIterative(image, mask, image.Rect(), mask.Rect())();
        const auto alphas = [](const RGBA32iImage &of) {
            kit::Picture picture = kit::Picture::of(of);
            for (OPRGBA32i &pixel : picture.pixels)
                pixel &= 0xFF000000u;
            return picture;
        };
        COMPARE_PICTURE(alphas(mask), alphas(drawn(after)));
    }

    /// The loop of the header, on holes and scratches that are marked a pixel wider than they are.
    void repairsCompletely()
    {
        QRandomGenerator random = kit::random(2);
        for (int round = 0; round < 100; ++round) {
            RGBA32iImage mask(60, 50, false), image(60, 50, false);
            image.Fill(OPRGBA32i(0xFF123456u));
            for (int i = random.bounded(1, 40), x = random.bounded(4, 54), y = random.bounded(4, 44); i > 0; --i) {
                for (int at = 0; at < 9; ++at)
                    mask.SetColor(x + at % 3, y + at / 3, 0xFF000000u);
                image.SetColor(x + 1, y + 1, OPRGBA32i());
                x = qBound(4, x + random.bounded(-2, 3), 53);
                y = qBound(4, y + random.bounded(-2, 3), 43);
            }
            const RGBA32iImage sharesPixels = mask;
            repair(image, mask, mask.Rect());
            for (int y = 0; y < 50; ++y)
                for (int x = 0; x < 60; ++x)
                    QVERIFY(image.GetColor(x, y) == 0xFF123456u && sharesPixels.GetColor(x, y) == 0u);
            QCOMPARE(OPInpaintIterative::GetIteration(), 1);
        }
    }

    /// Copies share what is on the frontier.
    void copies()
    {
        RGBA32iImage mask = drawn("....../....../..#.../....../......"), image(6, 5, false);
        OPInpaintIterative first(image, mask, mask.Rect(), mask.Rect()), second = first, third = std::move(second);
        QVERIFY(first() && !third());
        QVERIFY(third.workRect.isNull() && !third());
    }

    void badInput()
    {
        const QString read = "[include/OPTransformImageColors] Unexpected exception OPImage::GetColor";
        RGBA32iImage image(4, 4, false), tiled(4, 4, true), mask = drawn("##../##../..../...."), none;
        const kit::LogCapture log;
        QCOMPARE(kit::outOfRange([&] { OPInpaintIterative(image, tiled, image.Rect(), image.Rect()); }),
            QByteArray("OPImage::GetColor"));
        const QRect all(QPoint(INT_MIN, INT_MIN), QPoint(INT_MAX, INT_MAX));
        for (const QRect &rect : { QRect(), QRect(2, 2, 0, 1), QRect(9, 9, 5, 5), QRect(-9, -9, 5, 5) }) {
            OPInpaintIterative(image, mask, all, rect)();
            QVERIFY(!OPInpaintIterative(none, none, rect, all)());
            QVERIFY(!OPInpaintIterative(image, mask, rect, rect)());
        }
        QCOMPARE(log.texts(), QStringList());
        // The first pixel that is visited lies at the border, and nothing is changed: the object is at its end.
        for (RGBA32iImage *const each : { &image, &tiled, &none }) {
            const Stage stage(3);
            OPInpaintIterative sweep(*each, mask, mask.Rect(), mask.Rect());
            QVERIFY(!sweep() && !sweep() && sweep.workRect.isNull());
            OPInpaintIterative(image, mask, all, mask.Rect())(); // places beyond all numbers
            QCOMPARE(mask.GetColor(0, 0).a, 255);
        }
        OPInpaintIterative(image, mask, mask.Rect(), all)(); // stage 1: the mask ends before its rectangle does
        QCOMPARE(log.texts(), (QStringList { read, read, read, read, read, read, read }));
    }

    void stages()
    {
        OPInpaintIterative any(*std::make_unique<RGBA32iImage>(), RGBA32iImage(), QRect(), QRect());
        QCOMPARE(OPInpaintIterative::GetIterationCount(), 3);
        for (const int next : { 2, 3, 1 }) {
            any.NextIteration();
            QCOMPARE(OPInpaintIterative::GetIteration(), next);
        }
        std::atomic<bool> isInRange { true };
        QVERIFY(kit::onPool(4, 4, [&] {
            for (int i = 0; i < 3000; ++i) {
                any.NextIteration();
                const int stage = OPInpaintIterative::GetIteration();
                if (stage < 1 || stage > 3)
                    isInRange = false;
            }
        }));
        QVERIFY(isInRange && OPInpaintIterative::GetIteration() == 1); // 12000 steps
    }
};

KXCORE_TEST_MAIN(TestInpaintIterative)
#include "tst_inpaintiterative.moc"
