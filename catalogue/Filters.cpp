#include "Entries.h"

#include "KXComposer.h"
#include "KXRefineSelectionProcessing.h"
#include "OPAddNoiseProcessing.h"
#include "OPBoxBlurProcessing.h"
#include "OPDiffuseGlowProcessing.h"
#include "OPDropShadowProcessing.h"
#include "OPGaussianBlurProcessing.h"
#include "OPHighPassProcessing.h"
#include "OPInnerShadowProcessing.h"
#include "OPSharpenProcessing.h"
#include "OPSmoothenProcessing.h"
#include "OPVignetteProcessing.h"

namespace catalogue {

namespace {

constexpr char convolutionKernels[] =
    "KXIterativeConvolutionFast1DAVX2Convolve, KXIterativeConvolutionFast1DAVX2ConvolveColumns, "
    "KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied, VectorProcess, PremultiplyAlphaAVX2, ReturnAlphaAVX2";

/// Of what is merged by the alphas of a selection.
const std::string mergeKernel = ", MergeSelectionAVX2";

/// Of what convolves premultiplied pixels: on one processor nothing is premultiplied.
constexpr auto premultiplies = needsFlat | needsTwoProcessors;

// Filters with caches of their own, empty at first.

struct HighPassCache {
    QReadWriteLock lock;
    double radius = -1;
    RGBA32iImage picture;
};
struct HighPass : private HighPassCache, public OPHighPassProcessing {
    explicit HighPass(const std::atomic<bool> &cancel)
        : OPHighPassProcessing(cancel, lock, radius, picture)
    {
    }
};

struct NoiseCache {
    QReadWriteLock lock;
    RGBA32iImage uniform, gaussian;
};
struct AddNoise : private NoiseCache, public OPAddNoiseProcessing { // the same noise in every run
    explicit AddNoise(const std::atomic<bool> &cancel)
        : OPAddNoiseProcessing(cancel, lock, uniform, gaussian)
    {
        SetSeed(20240607);
    }
};

// The stages of the vignette. Their centre lies where the tests of the catalogue have pixels on all sides of it.

template <class Stage>
Operation vignette(
    const std::string &name, const std::string &className, const std::string &summary, const std::string &kernel)
{
    return adjustment<Stage>(
        { name, className, summary,
            { { "centreX, centreY", "pixels", "any", "the centre of the ellipse, and its semi-axes" },
                { "end", "", "0 to 1", "the share of itself that a pixel keeps at the falloff" },
                { "falloff", "pixels", "from 1 on", "distance from the ellipse" },
                { "colour", "", "any, its alpha does not count", "what pixels are moved to" } },
            "three divisions and two square roots a pixel that is not well inside the ellipse", kernel,
            keepsAlpha | dependsOnPosition },
        { { "at (700, 500)", [] { return Stage(700, 500, 0.2, 400, OPRGBA32i(0xFF204060u)); } },
            { "halves of pixels", [] { return Stage(1200.5, 999.5, 0.5, 900, OPRGBA32i(0xFFFFFFFFu)); } },
            { "falloff 0", [] { return Stage(900, 40, 1, 0, OPRGBA32i(0xFF80FF00u)); } },
            { "end 1.5", [] { return Stage(60.25, 1400, 1.5, 800, OPRGBA32i(0xFF808080u)); } } });
}

struct RefineSelection : public KXRefineSelectionProcessing { // of a mask that fills its canvas, and keeps its storage
    using KXRefineSelectionProcessing::KXRefineSelectionProcessing;

    KXRefineSelectionResult run(RefineSelectionData data)
    {
        RGBA32iImage mask = data.image;
        data.canvas = mask.Rect().size();
        data.selectionOffset = QPoint();
        const auto refined = KXRefineSelectionProcessing::run(std::move(data));
        if (!mask.IsTiled())
            return refined;
        for (int y = 0; y < mask.Height(); ++y)
            mask.WriteRow(
                unsigned(y), 0, refined.image.Bits() + qptrdiff(y) * mask.Width(), unsigned(mask.Width()) * 4);
        return { mask, refined.rect };
    }
};

// Shadows as pictures of the layer's size and storage. The layer has no mask.

RGBA32iImage transparent(const RGBA32iImage &layer)
{
    return RGBA32iImage(layer.Width(), layer.Height(), layer.IsTiled());
}

struct DropShadow : public OPDropShadowProcessing {
    using OPDropShadowProcessing::OPDropShadowProcessing;

    DropShadowResult run(DropShadowData data)
    {
        DropShadowResult result { transparent(data.image), QPoint() };
        data.maskInverted = true;
        const int margin = data.params.blurRadius;
        const RGBA32iImage shadow = OPDropShadowProcessing::run(std::move(data)).image;
        const QRect all = result.image.Rect();
        ComposeSource(shadow, all.translated(margin, margin), result.image, all);
        return result;
    }
};

struct InnerShadow : public OPInnerShadowProcessing {
    using OPInnerShadowProcessing::OPInnerShadowProcessing;

    KXFilterResult run(InnerShadowData data)
    {
        KXFilterResult result { transparent(data.image), QPoint() };
        data.maskInverted = true;
        const auto [color, shape, origin] = OPInnerShadowProcessing::run(std::move(data));
        const QRect all = result.image.Rect();
        ComposeMaskOn(
            color, all, KXCompositionMode::Source, result.image, all, 1.0, shape, all.translated(-origin), true, false);
        return result;
    }
};

/// What the parameter list of both shadows says.
std::vector<Parameter> shadowParameters()
{
    const char *const kept = "kept for the application, which composes the shadow";
    return { { "angle", "degrees", "any", kept }, { "colour", "", "any, its alpha does not count", "the shadow's" },
        { "opacity", "per cent", "any", kept }, { "distance", "pixels", "any", kept },
        { "spread", "per cent", "any", kept },
        { "blurRadius", "pixels", "0 to the size of the layer", "alpha is averaged over a square around each pixel" },
        { "noise", "per cent", "any", kept } };
}

/// Parameters of a shadow of that colour and blur radius.
template <class Params>
Params shadowOf(const QColor &color, int blurRadius)
{
    return { { 120, color, 60, 18, 0, blurRadius, 0 } };
}

constexpr char shadowCost[] = "the same for every blur radius: two running sums a pixel";

} // namespace

std::vector<Operation> glowThresholds()
{
    const Parameter threshold { "threshold", "", "1 to 255; beyond it all pixels are alike", "what is enough" };
    return {
        adjustment<OPDiffuseGlowProcessing::OPAlphaThreshold>(
            { "Alpha threshold", "OPDiffuseGlowProcessing::OPAlphaThreshold",
                "Makes alpha 0 where it is below a threshold, otherwise 255.", { threshold }, "next to nothing",
                "AlphaThresholdAVX2", {} },
            { { "threshold 128", [] { return OPAlphaThreshold(128); } },
                { "threshold 0", [] { return OPAlphaThreshold(0); } },
                { "threshold 255", [] { return OPAlphaThreshold(255); } },
                { "threshold 256", [] { return OPAlphaThreshold(256); } } }),
        adjustment<OPDiffuseGlowProcessing::OPColorizeThreshold>(
            { "Colorize threshold", "OPDiffuseGlowProcessing::OPColorizeThreshold",
                "Makes a pixel one colour, opaque where its luminance reaches a threshold, otherwise transparent.",
                { threshold, { "colour", "", "any, its alpha does not count", "what pixels become" } },
                "three multiplications and a division a pixel; the kernel does without the division",
                "ColorizeThresholdAVX2", {} },
            { { "threshold 128", [] { return OPColorizeThreshold(128, OPRGBA32i(0x80FFE0C0u)); } },
                { "threshold -1", [] { return OPColorizeThreshold(-1, OPRGBA32i(0xFF102030u)); } },
                { "threshold 1000", [] { return OPColorizeThreshold(1000, OPRGBA32i(0xFFFFFFFFu)); } } }),
    };
}

std::vector<Operation> vignettes()
{
    return {
        vignette<KXLinearVignette>("Linear vignette", "KXLinearVignette",
            "Moves pixels beyond an ellipse to a colour, the more the further away, along a straight line.",
            "LinearAVX2"),
        vignette<KXParabolicVignette>("Parabolic vignette", "KXParabolicVignette",
            "Moves pixels beyond an ellipse to a colour, the more the further away, along a parabola.",
            "ParabolicAVX2"),
    };
}

std::vector<Operation> filters()
{
    return {
        filter<OPGaussianBlurProcessing>(
            { "Gaussian blur", "OPGaussianBlurProcessing",
                "Blurs with a separable Gaussian in fixed point; colour counts by its alpha.",
                { { "sigma", "pixels", "0.2 to some hundreds; 0, NaN and from 13108 on clear",
                    "standard deviation; the blur reaches three times as far" } },
                "grows with sigma: 2 * (6 * sigma + 1) multiplications a channel and pixel",
                convolutionKernels + mergeKernel, premultiplies },
            "KXGaussianBlur 1.00000",
            { { "sigma 5", { 5.0 } }, { "sigma 0.7", { 0.7 } }, { "sigma 40", { 40.0 } }, { "sigma 0", { 0.0 } } }),
        filter<OPBoxBlurProcessing>(
            { "Box blur", "OPBoxBlurProcessing",
                "Replaces each pixel by the mean of a square around it; colour counts by its alpha.",
                { { "radius", "pixels", "0 to 8191 and more", "the square's sides are twice that and one" } },
                "the same for every radius: two running sums a channel and pixel", "LineHandlerAVX2" + mergeKernel,
                needsFlat },
            "KXBoxBlur 1.00000", { { "radius 5", { 5 } }, { "radius 0", { 0 } }, { "radius 200", { 200 } } }),
        filter<AddNoise>(
            { "Add noise", "OPAddNoiseProcessing", "Lays a picture of random pixels over the layer.",
                { { "amount", "per cent", "0 to 100", "opacity of the noise" },
                    { "distribution", "", "0 or 1", "all values alike, or normally distributed around 255" },
                    { "keepAlpha", "", "false or true", "whether the layer keeps its alpha" } },
                "making the noise, some thirty times as long for the normal distribution; then a composition",
                "MersenneTwisterAVX2, UniformNoiseAVX2, GaussianNoiseAVX2, BlendWithOpacityAVX2" + mergeKernel, {} },
            "KXAddNoise 1.00000",
            { { "amount 50", { 50, 0, true } }, { "amount 30, normal", { 30, 1, true } },
                { "amount 100, with its alpha", { 100, 0, false } },
                { "amount 250, normal, with its alpha", { 250, 7, false } } }),
        filter<OPDiffuseGlowProcessing>(
            { "Diffuse glow", "OPDiffuseGlowProcessing",
                "Lays a soft halo, in one colour, around the bright parts of the layer.",
                { { "amount", "per cent", "0 to 100", "opacity of the glow" },
                    { "radius", "pixels", "1 to some hundreds; with 0 nothing glows",
                        "sigma of the two blurs; each reaches three times as far" },
                    { "threshold", "", "1 to 255; with 0 everything glows", "the luminance that glows" },
                    { "colour", "", "any, its alpha does not count", "that of the glow" },
                    { "mode", "", "0 or 1", "whether the glow covers what is transparent" } },
                "grows with the radius: 24 multiplications a pixel for each pixel of it; then a composition",
                "BrightMaskAVX2, GaussianMaskRowAVX2, GaussianMaskColumnsAVX2, IterativeVectorProcess, "
                "ColorizeThresholdAVX2, LineHandlerConvolutionAVX2, AlphaThresholdAVX2, BlendWithOpacityAVX2"
                    + mergeKernel,
                needsFlat | needsTwoProcessors },
            "KXDiffuseGlow 1.00000",
            { { "radius 3", { 80, 3, 150, QColor(255, 220, 180), 0 } },
                { "radius 2, with its alpha", { 100, 2, 100, Qt::white, 1 } },
                { "radius 0, amount 250", { 250, 0, 90, Qt::red, 0 } },
                { "radius -7", { 60, -7, 128, QColor(), -1 } } }),
        filter<DropShadow>(
            { "Drop shadow", "OPDropShadowProcessing", "Makes the shadow that the layer drops: its blurred alpha.",
                shadowParameters(), shadowCost,
                "LineHandlerAVX2, SlideAlphaColumnsAVX2, IterativeVectorProcess, ColorizeOPRGBA32iAVX2",
                needsTwoProcessors },
            "KXDropShadow 1.00000",
            { { "radius 6", shadowOf<DropShadow::Params>(QColor(20, 10, 60), 6) },
                { "radius 0", shadowOf<DropShadow::Params>(Qt::red, 0) },
                { "radius 200", shadowOf<DropShadow::Params>(QColor(1, 2, 3, 4), 200) },
                { "radius -9", shadowOf<DropShadow::Params>(QColor(), -9) } }),
        filter<HighPass>(
            { "High pass", "OPHighPassProcessing",
                "Composes the layer minus its Gaussian blur, plus mid-grey, onto the layer.",
                { { "radius", "pixels", "0.2 to some hundreds", "sigma of the Gaussian: how large details may be" },
                    { "blendIndex", "", "0 to 3", "composed as SourceOver, Overlay, SoftLight or HardLight" },
                    { "amount", "per cent", "0 to 100", "opacity of the composition" } },
                "a Gaussian blur and a composition, with a warm cache the composition alone",
                std::string(convolutionKernels)
                    + ", Compose_RGBA32iImage_RGBA32iImage_avx2, ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2",
                premultiplies },
            "KXHighPass 1.00000",
            { { "radius 3, Overlay", { 3.0, 1, 100 } }, { "radius 1.5, details alone", { 1.5, 0, 100 } },
                { "radius 0.5, half HardLight", { 0.5, 3, 50 } } }),
        filter<InnerShadow>(
            { "Inner shadow", "OPInnerShadowProcessing",
                "Makes the shadow that falls into the layer: what its blurred alpha leaves of it.", shadowParameters(),
                shadowCost,
                "LineHandlerAVX2, SlideAlphaColumnsAVX2, IterativeVectorProcess, ColorizeOPRGBA32iAVX2, "
                "InvertColorAlphaOPRGBA32iAVX2",
                needsTwoProcessors },
            "KXInnerShadow 1.00000",
            { { "radius 6", shadowOf<InnerShadow::Params>(QColor(20, 10, 60), 6) },
                { "radius 0", shadowOf<InnerShadow::Params>(Qt::red, 0) },
                { "radius -9", shadowOf<InnerShadow::Params>(QColor(), -9) } }),
        filter<RefineSelection>(
            { "Refine selection", "KXRefineSelectionProcessing",
                "Feathers the mask of a selection, and moves its edge outward or inward.",
                { { "feather", "pixels", "0 to the size of the mask", "radius of three box means each way" },
                    { "contract", "pixels", "negative to positive", "how far the edge moves outward" } },
                "twelve running sums a pixel whatever the feather; moving an edge grows with the distance",
                "LineHandlerAVX2, SlideAlphaColumnsAVX2, LineHandlerConvolutionAVX2", {} },
            "KXRefineSelection 1.00000",
            { { "feather 4", { 4.0, 0 } }, { "outward by 3", { 0.0, 3 } }, { "feather 2, inward by 5", { 2.0, -5 } },
                { "as it is", { 0.0, 0 } } }),
        filter<OPSharpenProcessing>(
            { "Sharpen", "OPSharpenProcessing", "Sharpens all four channels with three taps each way.",
                { { "amount", "1785ths", "0, which changes nothing, to some hundreds",
                    "how far a pixel moves away from the sum of its neighbours" } },
                "six multiplications a channel and pixel",
                "LineHandlerConvolutionAVX2, SharpenColumnsAVX2" + mergeKernel, needsFlat },
            "KXSharpen 1.00000", { { "amount 150", { 150 } }, { "amount 0", { 0 } }, { "amount -90", { -90 } } }),
        filter<OPSmoothenProcessing>(
            { "Smoothen", "OPSmoothenProcessing", "Smoothens with three taps each way; colour counts by its alpha.",
                { { "amount", "765ths", "0 to 255, the mean of three pixels each way",
                    "how much a neighbour counts" } },
                "six multiplications a channel and pixel", convolutionKernels + mergeKernel, premultiplies },
            "KXSmoothen 1.00000", { { "amount 255", { 255 } }, { "amount 0", { 0 } }, { "amount 100", { 100 } } }),
        filter<OPVignetteProcessing>(
            { "Vignette", "OPVignetteProcessing",
                "Moves pixels beyond the ellipse that the layer's edges touch to a colour.",
                { { "falloff", "pixels", "from 1 on", "distance from the ellipse at which the amount is reached" },
                    { "amount", "per cent", "0 to 100", "how far pixels are moved there" },
                    { "shape", "", "0 or 1", "along a straight line, or a parabola" },
                    { "colour", "", "any, its alpha does not count", "what pixels are moved to" } },
                "three divisions and two square roots a pixel that is not well inside the ellipse",
                "PixelTransformIterativeVectorProcess, LinearAVX2, ParabolicAVX2" + mergeKernel,
                keepsAlpha | needsTwoProcessors },
            "KXVignette 1.00001",
            { { "parabolic", { 40, 80, Qt::black, 1 } }, { "linear", { 60, 100, QColor(200, 30, 90), 0 } },
                { "falloff 0, amount 0", { 0, 0, QColor(), 0 } },
                { "amount -50", { -30, -50, QColor::fromHsv(20, 90, 200), 1 } } }),
    };
}

} // namespace catalogue
