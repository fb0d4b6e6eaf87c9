#include "KXComposer.h"

#include "Scene.h"
#include "Suite.h"

#include <QtGui/QPainter>

#include <memory>

namespace bench {

namespace {

constexpr double opacity = 0.7;
const QRect everything(0, 0, width, height);
constexpr char tiled[] = "compose tiles on tiles, SourceOver";
const auto nothing = [] {};

/// The modes that QPainter has under the same number and with the same meaning.
bool isPainterMode(KXCompositionMode mode)
{
    return mode == KXCompositionMode::SourceOver
        || (mode >= KXCompositionMode::Plus && mode <= KXCompositionMode::Exclusion);
}

void addPainter(Suite &suite, const std::string &name, KXCompositionMode mode, Column column, QImage::Format format)
{
    struct Pictures {
        QImage source, destination, pristine;
    };
    const auto pictures = std::make_shared<Pictures>();
    suite.addPeer(
        name, column, 5,
        [=] {
            if (pictures->source.isNull()) {
                pictures->source = paintedPicture(layer, format);
                pictures->pristine = paintedPicture(canvas, format);
            }
            pictures->destination = pictures->pristine.copy();
        },
        [=] {
            QPainter painter(&pictures->destination);
            painter.setCompositionMode(QPainter::CompositionMode(mode));
            painter.setOpacity(opacity);
            painter.drawImage(0, 0, pictures->source);
        });
}

/// Pictures of ours, made when they are first needed and shared by all operations.
struct Layers {
    RGBA32iImage flatSource = flatPicture(layer), flatDestination = flatPicture(canvas), mask = flatPicture(coverage);
    RGBA32iImage tiledSource = tiledPicture(layer), tiledDestination = tiledPicture(canvas);
    RGBA32iImage fakeSource { width, height, true };

    static Layers &instance()
    {
        static Layers layers;
        return layers;
    }
};

void restoreFlat() { restore(Layers::instance().flatDestination, canvas)(); }

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
            addPainter(suite, name, mode, Column::PainterStraight, QImage::Format_ARGB32);
            addPainter(suite, name, mode, Column::PainterPremultiplied, QImage::Format_ARGB32_Premultiplied);
        }
    }

    // One destination for all runs: what the pixels are makes no difference, and all of its tiles stay private.
    constexpr auto over = KXCompositionMode::SourceOver;
    suite.addRow(tiled, { Column::PainterStraight, {}, 1.8 });
    suite.addOurs(tiled, 7, nothing, [] {
        Layers &l = Layers::instance();
        Compose(l.tiledSource, everything, over, l.tiledDestination, everything, opacity, false);
    });
    addPainter(suite, tiled, over, Column::PainterStraight, QImage::Format_ARGB32);
    addPainter(suite, tiled, over, Column::PainterPremultiplied, QImage::Format_ARGB32_Premultiplied);

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
