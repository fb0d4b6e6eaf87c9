#include "Operations.h"

#include "KXWBTransformation.h"

#include "Scene.h"
#include "Suite.h"

#include <algorithm>
#include <map>

namespace bench {

namespace {

const Sheet sheet { "Adjustments by what is in the picture, each as its first variant in docs/operations.md, in place "
                    "on a flat image.\n"
                    "Behind a time: reference / ours; ! is less than its goal.",
    "adjustment",
    { { "plain photo", "photo", Column::Plain }, { "plain noise", "noise", Column::Plain },
        { "photo", "photo", Column::Module }, { "noise", "noise", Column::Module },
        { "strokes", "strokes", Column::Module } },
    "photo" };

/// What the adjustments are held to on a photo, by their classes.
const std::map<std::string, Goal> &goals()
{
    static const std::map<std::string, Goal> all = [] {
        const Goal look { Column::OpenCV, lookUpOf4, 2 }, invert { Column::Module, "photo Invert", 0.5 };
        std::map<std::string, Goal> made;
        for (const char *name : { "OPBrightnessContrastTransformation", "OPColorBalanceTransformation",
                 "OPColorEnhancerTransformation", "OPCurvesTransformation", "OPExposureTransformation",
                 "OPGammaCorrectionTransformation", "OPLevelsTransformation", "OPPhotoFilterTransformation",
                 "OPPosterizeTransformation", "OPTintRGB32", "KXWBTransformation" })
            made[name] = look;
        for (const char *name : { "OPBlackAndWhiteTransformation", "OPDesaturateTransformation", "OPThresholdRGB32",
                 "OPColorize<OPRGBA32i>", "OPInvertColor<OPRGBA32i>", "OPInvertColorAlpha<OPRGBA32i>" })
            made[name] = invert;
        made["OPHueSaturationTransformation"] = { Column::OpenCV, hlsAndBack, 1.6 };
        made["OPTemperatureCorrection"] = { Column::OpenCV, hlsAndBack, 1.8 };
        made["OPColorizeTransformation"] = { Column::OpenCV, hlsAndBack, 5 };
        made["KXSelectiveColorsTransformation"] = { Column::Plain, {}, 8 };
        return made;
    }();
    return all;
}

/// One picture for all operations, restored before each.
catalogue::Input &input()
{
    static catalogue::Input made;
    if (made.image.Width() == 0)
        made.image = RGBA32iImage(width, height, false);
    return made;
}

void add(Suite &suite, const std::string &name, Scene scene, const catalogue::Operation &operation)
{
    static const std::atomic<bool> cancel { false };
    suite.addOurs(
        name, 5, [scene] { restore(input().image, scene)(); },
        [run = operation.variants.front().run] {
            run(input(), { cancel, [](int) {}, [] {} });
        });
}

} // namespace

const catalogue::Operation *operationNamed(const std::string &name)
{
    const auto &all = catalogue::operations();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const catalogue::Operation &each) { return each.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::string measuringName(Scene scene)
{
    return std::string("white balance measures ") + (scene == layer ? "noise" : "a photo");
}

void addOperations(Suite &suite)
{
    for (const Scene scene : measuredScenes) {
        suite.addRow(measuringName(scene), { Column::OpenCV, {}, 0.3 });
        suite.addOurs(
            measuringName(scene), 5, [scene] { restore(input().image, scene)(); },
            [] { KXWBTransformation(input().image, KXWBTransformation::BalanceFunction::Auto, 100); });
    }
    suite.addRow(lookUpOf4);
    suite.addRow(hlsAndBack);
    for (const catalogue::Operation &operation : catalogue::operations(catalogue::Kind::Adjustment)) {
        const auto goal = goals().find(operation.className);
        add(suite, suite.addCell(sheet, operation.name, "photo", goal != goals().end() ? goal->second : Goal()),
            photoLayer, operation);
        add(suite, suite.addCell(sheet, operation.name, "noise", {}), layer, operation);
        add(suite, suite.addCell(sheet, operation.name, "strokes", {}), strokes, operation);
    }

    // What a peer has too is measured by rows of its own.
    for (const auto kind : { catalogue::Kind::Filter, catalogue::Kind::Sampler, catalogue::Kind::Resizing })
        for (const catalogue::Operation &operation : catalogue::operations(kind)) {
            const std::string name = operation.name + ", " + operation.variants.front().name;
            suite.addRow(name);
            add(suite, name, photoLayer, operation);
        }
}

} // namespace bench
