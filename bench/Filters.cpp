#include "KXRefineSelectionProcessing.h"
#include "OPAddNoiseProcessing.h"
#include "OPBoxBlurProcessing.h"
#include "OPDiffuseGlowProcessing.h"
#include "OPDropShadowProcessing.h"
#include "OPGaussianBlurProcessing.h"
#include "OPHighPassProcessing.h"
#include "OPSharpenProcessing.h"
#include "OPSmoothenProcessing.h"
#include "OPVignetteProcessing.h"

#include "Scene.h"
#include "Suite.h"

#include <cstring>
#include <utility>
#include <vector>

namespace bench {

namespace {

const std::atomic<bool> cancel { false };

RGBA32iImage &image()
{
    static RGBA32iImage flat = flatPicture(layer);
    return flat;
}

/// Measures a filter's @p run on a picture; @p set gives its data what else it needs.
template <class Filter, class Data, class Set>
void add(Suite &suite, const std::string &name, int repetitions, RGBA32iImage (Filter::*run)(Data), Set set,
    Scene scene = layer)
{
    suite.addOurs(
        name, repetitions, [scene] { restore(image(), scene)(); },
        [run, set] {
            Data data;
            data.image = image();
            set(data);
            (Filter(cancel).*run)(std::move(data));
        });
}

/// The high pass, with a cache that it misses and with one that it hits.
void addHighPass(Suite &suite)
{
    static QReadWriteLock lock;
    static double radius;
    static RGBA32iImage details;
    const auto run = [](int amount) {
        OPHighPassProcessing::HighPassData data;
        data.image = image();
        data.params.radius = 10;
        data.params.amount = amount;
        OPHighPassProcessing(cancel, lock, radius, details).run(data);
    };
    const std::string blur = gaussianName(10), mode = composeName(KXCompositionMode::Overlay);
    suite.addRow(blur);
    add(suite, blur, 9, &OPGaussianBlurProcessing::run, [](auto &data) { data.params.sigma = 10; });
    const auto forget = [] {
        restore(image(), layer)();
        radius = -1;
    };
    const std::string cold = "high pass, radius 10", warm = cold + ", again";
    suite.addRow(cold, { Column::Module, blur, 0.6 });
    suite.addOurs(cold, 9, forget, [run] { run(70); });
    suite.addRow(warm, { Column::Module, mode, 0.8 });
    suite.addOurs(
        warm, 9,
        [run] {
            if (radius != 10)
                run(0);
            restore(image(), layer)();
        },
        [run] { run(70); });
}

/// Noise with a cache that it hits, and the making of a picture of noise.
void addNoise(Suite &suite)
{
    static QReadWriteLock lock;
    static RGBA32iImage uniform, gaussian;
    const auto run = [] {
        OPAddNoiseProcessing::AddNoiseData data;
        data.image = image();
        OPAddNoiseProcessing(cancel, lock, uniform, gaussian).run(data);
    };
    const std::string warm = "add noise, again";
    suite.addRow(warm, { Column::Module, composeName(KXCompositionMode::SourceOver), 0.5 });
    suite.addOurs(
        warm, 9,
        [run] {
            if (uniform.Rect() != image().Rect())
                run();
            restore(image(), layer)();
        },
        run);
    suite.addRow(noiseName, { Column::OpenCV, {}, 0.5 });
    suite.addOurs(
        noiseName, 5, [] {},
        [] {
            const OPUniformNoise noise(1);
            OPRGBA32i *const first = image().Bits(), *const end = first + qptrdiff(pixels);
            for (OPRGBA32i *p = first; p != end; p += noise.HasKernel() ? BaseTransformation::BlockLength : 1)
                noise.HasKernel() ? noise(reinterpret_cast<unsigned char *>(p), false) : noise(*p);
        });
}

/// The drop shadow of a layer without a mask, and the box blur that it is held against.
void addShadow(Suite &suite)
{
    constexpr int radius = 20;
    suite.addRow(boxName(radius));
    add(suite, boxName(radius), 9, &OPBoxBlurProcessing::run, [](auto &data) { data.params.radius = radius; });
    const std::string shadow = "drop shadow, radius " + std::to_string(radius);
    suite.addRow(shadow, { Column::Module, boxName(radius), 1.2 });
    suite.addOurs(
        shadow, 9, [] { restore(image(), layer)(); },
        [] {
            OPDropShadowProcessing::DropShadowData data;
            data.image = image();
            data.maskInverted = true;
            data.params.blurRadius = radius;
            OPDropShadowProcessing(cancel).run(std::move(data));
        });
}

/// Diffuse glow, which blurs its mask twice, against the Gaussian of the same radius. A photo's mask has large areas.
void addGlow(Suite &suite)
{
    constexpr int radius = 5;
    for (const Scene scene : { layer, photoLayer }) {
        const std::string of = scene == layer ? "" : ", of a photo", blur = gaussianName(radius) + of;
        if (scene != layer) {
            suite.addRow(blur);
            add(
                suite, blur, 9, &OPGaussianBlurProcessing::run, [](auto &data) { data.params.sigma = radius; }, scene);
        }
        const std::string glow = "diffuse glow, radius " + std::to_string(radius) + of;
        suite.addRow(glow, { Column::Module, blur, 0.5 });
        add(
            suite, glow, 9, &OPDiffuseGlowProcessing::run, [](auto &data) { data.params.radius = radius; }, scene);
    }
}

/// How many times faster than OpenCV a Gaussian has to be.
double goalOf(int sigma) { return sigma <= 1 ? 1 : sigma <= 5 ? 1.8 : sigma <= 20 ? 3 : 6; }

} // namespace

std::string gaussianName(int sigma) { return "gaussian blur, sigma " + std::to_string(sigma); }
std::string boxName(int radius) { return "box blur, radius " + std::to_string(radius); }

void addFilters(Suite &suite)
{
    // The speed of the memory, to hold the rest against: the time in which an image can be copied at all.
    suite.addRow("copy of the image");
    suite.addOurs(
        "copy of the image", 9, [] {},
        [] {
            static std::vector<OPRGBA32i> copy(static_cast<size_t>(pixels));
            std::memcpy(static_cast<void *>(copy.data()), pixelsOf(layer), size_t(pixels) * sizeof(OPRGBA32i));
        });

    for (const int sigma : gaussianSigmas) {
        const int repetitions = sigma < 20 ? 9 : sigma < 100 ? 5 : 3; // fewer of what takes long
        suite.addRow(gaussianName(sigma), { Column::OpenCV, {}, goalOf(sigma) });
        add(suite, gaussianName(sigma), repetitions, &OPGaussianBlurProcessing::run,
            [sigma](auto &data) { data.params.sigma = sigma; });
    }
    // What is not selected must cost next to nothing.
    RGBA32iImage selection(256, 256, false);
    selection.Fill(OPRGBA32i(0x80FFFFFFu));
    const std::string selected = gaussianName(5) + ", 256 x 256 of it";
    suite.addRow(selected, { Column::Module, gaussianName(5), 50 });
    add(suite, selected, 9, &OPGaussianBlurProcessing::run, [selection](auto &data) {
        data.params.sigma = 5;
        data.selection = selection;
        data.selectionRect = selection.Rect();
        data.selectionOffset = QPoint(1800, 950);
    });
    for (const int radius : boxRadii) {
        suite.addRow(boxName(radius), { Column::OpenCV, {}, 0.8 });
        add(suite, boxName(radius), 9, &OPBoxBlurProcessing::run,
            [radius](auto &data) { data.params.radius = radius; });
    }
    addShadow(suite);
    suite.addRow(sharpenName, { Column::OpenCV, {}, 0.8 });
    add(suite, sharpenName, 9, &OPSharpenProcessing::run, [](auto &data) { data.params.amount = sharpenAmount; });
    addHighPass(suite);
    addNoise(suite);
    addGlow(suite);
    suite.addRow(featherName, { Column::OpenCV, {}, 0.8 });
    static RGBA32iImage mask;
    suite.addOurs(
        featherName, 9, [] { mask = image(); },
        [] {
            QRect rect = mask.Rect();
            FeatherAlphaMask(mask, rect, featherRadius);
        });
    const std::string smoothen = "smoothen";
    suite.addRow(smoothen, { Column::Module, gaussianName(1), 0.8 });
    add(suite, smoothen, 9, &OPSmoothenProcessing::run, [](auto &data) { data.params.amount = 255; });
    const std::string vignette = "parabolic vignette";
    suite.addRow(vignette, { Column::Plain, {}, 4 });
    add(suite, vignette, 9, &OPVignetteProcessing::run, [](auto &data) { data.params.falloff = 400; });
}

} // namespace bench
