#include "KXComposer.h"
#include "OPImagePainter.h"

#include "Operations.h"
#include "Scene.h"
#include "Suite.h"

#include <QtGui/QPainter>

#include <map>
#include <memory>
#include <utility>

namespace bench {

namespace {

constexpr double opacity = 0.7;
const QRect everything(0, 0, width, height);
constexpr char tiled[] = "compose tiles on tiles, SourceOver";
const auto nothing = [] {};

/// Flat images are composed on the pool, tiled ones on the calling thread.
const Sheet sheet {
    "Composition by what is in the pictures, module. QP: QPainter, premultiplied. Behind a time: reference / ours;\n"
    "! is less than its goal.",
    "mode",
    { { "tiles noise", "tiles noise", Column::Module }, { "tiles photo", "tiles photo", Column::Module },
        { "tiles strokes", "tiles strokes", Column::Module }, { "tiles painted", "tiles painted", Column::Module },
        { "pool photo", "pool photo", Column::Module }, { "pool strokes", "pool strokes", Column::Module },
        { "QP photo", "tiles photo", Column::PainterPremultiplied },
        { "QP strokes", "tiles strokes", Column::PainterPremultiplied } },
    nullptr
};

/// The modes that QPainter has under the same number and with the same meaning.
bool isPainterMode(KXCompositionMode mode)
{
    return mode == KXCompositionMode::SourceOver
        || (mode >= KXCompositionMode::Plus && mode <= KXCompositionMode::Exclusion);
}

/// Whether the mode does nothing to a visible destination where the source is transparent black.
bool leavesTheDestination(KXCompositionMode mode)
{
    switch (mode) {
    case KXCompositionMode::Source:
    case KXCompositionMode::DestinationIn:
    case KXCompositionMode::SourceOrDestination:
    case KXCompositionMode::SourceAndDestination:
    case KXCompositionMode::NotSourceAndDestination:
    case KXCompositionMode::FillUnmasked:
    case KXCompositionMode::AlphaToGrey:
    case KXCompositionMode::SourceToGrey:
    case KXCompositionMode::Luminosity:
    case KXCompositionMode::AlphaIntersect:
    case KXCompositionMode::AlphaMin:
    case KXCompositionMode::FillTransparent:
        return false;
    default:
        return true;
    }
}

void addPainter(Suite &suite, const std::string &name, KXCompositionMode mode, Column column, Scene over, Scene under)
{
    const auto source = std::make_shared<QImage>();
    addPainter(
        suite, name, column, under,
        [=] {
            if (source->isNull())
                *source = paintedPicture(over, formatOf(column));
        },
        [=](QPainter &painter) {
            painter.setCompositionMode(QPainter::CompositionMode(mode));
            painter.setOpacity(opacity);
            painter.drawImage(0, 0, *source);
        });
}

enum class Storage {
    Flat,
    Tiled, ///< all tiles hold pixels
    Painted ///< wholly transparent tiles are fake, as in a layer that began empty and was painted on
};

/// Pictures of ours, made when they are first needed and shared by all operations.
struct Layers {
    RGBA32iImage flatSource = flatPicture(layer), flatDestination = flatPicture(canvas), mask = flatPicture(coverage);
    RGBA32iImage tiledSource = tiledPicture(layer), tiledDestination = tiledPicture(canvas);
    RGBA32iImage fakeSource { width, height, true };

    const RGBA32iImage &Source(Scene scene, Storage storage)
    {
        auto &image = m_sources[{ scene, storage }];
        if (!image) {
            image = std::make_unique<RGBA32iImage>(storage == Storage::Flat ? flatPicture(scene) : tiledPicture(scene));
            if (storage == Storage::Painted)
                image->MakeTransparentTilesFake();
        }
        return *image;
    }

    static Layers &instance()
    {
        static Layers layers;
        return layers;
    }

private:
    std::map<std::pair<Scene, Storage>, std::unique_ptr<RGBA32iImage>> m_sources;
};

void restoreFlat() { restore(Layers::instance().flatDestination, canvas)(); }

/// A composition in the sheet. QPainter, which knows no storage, is measured beside the tiled one.
void addCell(
    Suite &suite, KXCompositionMode mode, Storage storage, const char *kind, Scene over, Scene under, Goal goal)
{
    const bool isTiled = storage != Storage::Flat;
    const std::string column = std::string(isTiled ? "tiles " : "pool ") + kind;
    const std::string name = suite.addCell(sheet, KXCompositionModeName(mode), column, goal);
    const auto destination = [isTiled]() -> RGBA32iImage & {
        Layers &l = Layers::instance();
        return isTiled ? l.tiledDestination : l.flatDestination;
    };
    suite.addOurs(
        name, 5, [=] { writeRows(destination(), under); },
        [=] {
            Compose(
                Layers::instance().Source(over, storage), everything, mode, destination(), everything, opacity, false);
        });
    if (storage == Storage::Tiled && isPainterMode(mode) && over != layer)
        addPainter(suite, name, mode, Column::PainterPremultiplied, over, under);
}

void addCells(Suite &suite, KXCompositionMode mode)
{
    const std::string line = KXCompositionModeName(mode);
    const bool isOver = mode == KXCompositionMode::SourceOver;
    const auto beyondNoise = [&](const std::string &noise) {
        return leavesTheDestination(mode) ? Goal { Column::Module, noise, 3 } : Goal();
    };
    const std::string tilesOfNoise = "tiles noise " + line;
    addCell(suite, mode, Storage::Tiled, "noise", layer, canvas, {});
    for (const Storage storage : { Storage::Tiled, Storage::Flat }) {
        const auto beyondPainter = [&](const char *kind, double ratio) {
            return Goal { Column::PainterPremultiplied, "tiles " + (kind + (" " + line)), ratio };
        };
        if (isPainterMode(mode)) {
            const double ratio = isOver                ? 0.9
                : mode == KXCompositionMode::Multiply  ? 5
                : mode == KXCompositionMode::SoftLight ? 10
                                                       : 0;
            addCell(suite, mode, storage, "photo", photoLayer, photoCanvas, beyondPainter("photo", ratio));
        }
        addCell(suite, mode, storage, "strokes", strokes, photoCanvas,
            isOver ? beyondPainter("strokes", 0.9)
                   : beyondNoise(storage == Storage::Tiled ? tilesOfNoise : composeName(mode)));
    }
    addCell(suite, mode, Storage::Painted, "painted", strokes, photoCanvas, beyondNoise(tilesOfNoise));
}

Goal goalOf(KXCompositionMode mode)
{
    switch (mode) {
    case KXCompositionMode::SourceOver:
        return { Column::PainterStraight, {}, 3 };
    case KXCompositionMode::Multiply:
        return { Column::PainterStraight, {}, 8 };
    case KXCompositionMode::SoftLight:
        return { Column::PainterStraight, {}, 12 };
    default:
        return { Column::Module, composeName(KXCompositionMode::Multiply), 0.5 };
    }
}

} // namespace

std::string composeName(KXCompositionMode mode) { return std::string("compose ") + KXCompositionModeName(mode); }

void addComposition(Suite &suite)
{
    for (const KXCompositionMode mode : KXCompositionModes()) {
        const std::string name = composeName(mode);
        suite.addRow(name, goalOf(mode));
        suite.addOurs(name, 7, restoreFlat, [mode] {
            Layers &l = Layers::instance();
            Compose(l.flatSource, everything, mode, l.flatDestination, everything, opacity, false);
        });
        if (isPainterMode(mode)) {
            addPainter(suite, name, mode, Column::PainterStraight, layer, canvas);
            addPainter(suite, name, mode, Column::PainterPremultiplied, layer, canvas);
        }
    }

    for (const KXCompositionMode mode : KXCompositionModes())
        addCells(suite, mode);

    // One destination for all runs; all of its tiles stay private.
    constexpr auto over = KXCompositionMode::SourceOver;
    suite.addRow(tiled, { Column::PainterStraight, {}, 1.8 });
    suite.addOurs(tiled, 7, nothing, [] {
        Layers &l = Layers::instance();
        Compose(l.tiledSource, everything, over, l.tiledDestination, everything, opacity, false);
    });
    addPainter(suite, tiled, over, Column::PainterStraight, layer, canvas);
    addPainter(suite, tiled, over, Column::PainterPremultiplied, layer, canvas);

    const std::string drawn = "draw a QImage";
    suite.addRow(drawn, { Column::PainterStraight, {}, 3 });
    suite.addOurs(drawn, 7, restoreFlat, [] {
        static const QImage source = paintedPicture(layer, QImage::Format_ARGB32);
        DrawImage(Layers::instance().flatDestination, over, QPoint(0, 0), source, opacity, false);
    });
    addPainter(suite, drawn, over, Column::PainterStraight, layer, canvas);
    addPainter(suite, drawn, over, Column::PainterPremultiplied, layer, canvas);

    // An adjustment layer: what is composed goes through levels first.
    for (const Scene scene : { layer, photoLayer }) {
        const std::string name = std::string("compose tiles through levels, ") + (scene == layer ? "noise" : "photo");
        suite.addRow(
            name, { Column::Module, scene == layer ? "tiles noise SourceOver" : "tiles photo SourceOver", 0.5 });
        suite.addModule(
            name, 7, [scene] { writeRows(Layers::instance().tiledDestination, scene == layer ? canvas : photoCanvas); },
            [scene, levels = operationNamed("Levels")->variants.front().make()] {
                Layers &l = Layers::instance();
                ComposeWithTransformation(l.Source(scene, Storage::Tiled), everything, over, l.tiledDestination,
                    everything, levels.get(), opacity, false);
            });
    }

    const std::string fake = "compose an empty layer on tiles";
    suite.addRow(fake, { Column::Module, tiled, 200 });
    suite.addOurs(fake, 7, nothing, [] {
        Layers &l = Layers::instance();
        Compose(l.fakeSource, everything, over, l.tiledDestination, everything, opacity, false);
    });

    const std::string masked = "compose through a mask, SourceOver";
    suite.addRow(masked, { Column::Module, composeName(over), 0.6 });
    suite.addOurs(masked, 7, restoreFlat, [] {
        Layers &l = Layers::instance();
        ComposeMaskOn(
            l.flatSource, everything, over, l.flatDestination, everything, opacity, l.mask, everything, true, false);
    });
}

} // namespace bench
