#include "OPFloodFillHelper.h"
#include "OPInpaint.h"
#include "OPInpaintIterative.h"

#include "Scene.h"
#include "Suite.h"

#include "catalogue/PlainInpainting.h"

#include <algorithm>
#include <optional>

namespace bench {

namespace {

constexpr char plainForm[] = ", pixel by pixel";

/// A tenth of the picture, in its middle.
QRect hole()
{
    const QSize size(int(width * 0.316), int(height * 0.316));
    return QRect(QPoint((width - size.width()) / 2, (height - size.height()) / 2), size);
}

QImage &picture()
{
    static QImage damaged;
    return damaged;
}

void damage()
{
    const auto *const bytes = reinterpret_cast<const uchar *>(pixelsOf(photoLayer));
    picture() = QImage(bytes, width, height, QImage::Format_ARGB32).copy();
    const QRect area = hole();
    for (int y = area.y(); y < area.y() + area.height(); ++y)
        std::fill_n(reinterpret_cast<QRgb *>(picture().scanLine(y)) + area.x(), area.width(), 0u);
}

/// Finding the holes of a QImage, and filling them once: by @p Engine, whose rows are named with @p suffix.
template <class Engine, class Fill>
void addInpainting(Suite &suite, const std::string &suffix, double ratio, int repetitions, Fill fill)
{
    static std::optional<Engine> engine;
    const std::string find = "inpaint, find the holes", once = "inpaint, fill once";
    const auto renew = [] {
        damage();
        engine.emplace(picture());
    };
    suite.addRow(find + suffix, { Column::Module, find + plainForm, ratio });
    suite.addOurs(find + suffix, repetitions, damage, [] { engine.emplace(picture()); });
    suite.addRow(once + suffix, { Column::Module, once + plainForm, ratio });
    suite.addOurs(once + suffix, repetitions, renew, [fill] { fill(*engine); });
}

RGBA32iImage &image()
{
    static RGBA32iImage damaged = flatPicture(photoLayer);
    return damaged;
}

/// Where the hole is marked.
RGBA32iImage &mask()
{
    static RGBA32iImage marked(width, height, false);
    return marked;
}

void markHole()
{
    restore(image(), photoLayer)();
    const QRect area = hole();
    for (int y = area.y(); y < area.y() + area.height(); ++y)
        for (int x = area.x(); x < area.x() + area.width(); ++x) {
            mask().SetColor(x, y, 0xFF000000u);
            image().SetColor(x, y, OPRGBA32i());
        }
}

/// Finding the frontier, and the first sweep in @p stage, after which most of the hole is repaired.
template <class Engine, class Sweep>
void addRepair(Suite &suite, const std::string &suffix, double ratio, int repetitions, Sweep sweep)
{
    static std::optional<Engine> engine;
    const auto renew = [] {
        markHole();
        engine.emplace(image(), mask(), mask().Rect(), mask().Rect());
    };
    const std::string find = "repair, find the frontier";
    suite.addRow(find + suffix, { Column::Module, find + plainForm, ratio });
    suite.addOurs(
        find + suffix, repetitions, markHole, [] { engine.emplace(image(), mask(), mask().Rect(), mask().Rect()); });
    for (const int stage : { 1, 2 }) {
        const std::string once = "repair, a sweep in stage " + std::to_string(stage);
        suite.addRow(once + suffix, { Column::Module, once + plainForm, ratio });
        suite.addOurs(once + suffix, repetitions, renew, [sweep, stage] { sweep(*engine, stage); });
    }
}

void addFills(Suite &suite)
{
    static RGBA32iImage other(width, height, false);
    static const QPoint seed(fillSeed[0], fillSeed[1]);
    constexpr unsigned color = 0xFF336699;
    const auto renew = [] { restore(image(), photoLayer)(); };
    const auto add = [&](const char *name, double ratio, std::function<void()> run) {
        suite.addRow(name, { Column::OpenCV, {}, ratio });
        suite.addOurs(name, 9, renew, std::move(run));
    };
    add(floodFillName, 1, [] { OPFloodFillHelper::FloodFill(image(), seed, fillAll, color, nullptr); });
    add(floodFillIntoName, 1, [] { OPFloodFillHelper::FloodFill(image(), other, seed, fillAll, color, nullptr); });
    add(floodFillImageName, 1, [] {
        auto *const bytes = reinterpret_cast<uchar *>(image().Bits());
        QImage wrapped(bytes, width, height, QImage::Format_ARGB32);
        OPFloodFillHelper::FloodFill(wrapped, seed, fillAll, color, nullptr);
    });
    add(floodFillPartName, 1, [] { OPFloodFillHelper::FloodFill(image(), seed, fillPart, color, nullptr); });
    add(colorRangeName, 0.5, [] { OPFloodFillHelper::ColorRangeFill(image(), other, seed, fillPart, color, nullptr); });
}

} // namespace

void addRetouching(Suite &suite)
{
    addFills(suite);
    addInpainting<OPInpaint>(suite, "", 4, 5, [](OPInpaint &engine) { engine(0); });
    addInpainting<catalogue::PlainInpaint>(
        suite, plainForm, 0, 2, [](catalogue::PlainInpaint &engine) { engine.run(); });
    addRepair<OPInpaintIterative>(suite, "", 4, 5, [](OPInpaintIterative &engine, int stage) {
        while (OPInpaintIterative::GetIteration() != stage)
            engine.NextIteration();
        engine();
    });
    addRepair<catalogue::PlainInpaintIterative>(
        suite, plainForm, 0, 2, [](catalogue::PlainInpaintIterative &engine, int stage) { engine.run(stage); });
}

} // namespace bench
