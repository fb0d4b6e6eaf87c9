#include "Entries.h"

#include "OPAddNoiseProcessing.h"
#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"
#include "OPHighPassProcessing.h"
#include "OPSharpenProcessing.h"
#include "OPSmoothenProcessing.h"

namespace catalogue {

namespace {

constexpr char convolutionKernels[] =
    "KXIterativeConvolutionFast1DAVX2Convolve, KXIterativeConvolutionFast1DAVX2ConvolveColumns, "
    "KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied, VectorProcess, PremultiplyAlphaAVX2, ReturnAlphaAVX2";

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

} // namespace

std::vector<Operation> filters()
{
    return {
        filter<OPGaussianBlurProcessing>(
            { "Gaussian blur", "OPGaussianBlurProcessing",
                "Blurs with a separable Gaussian in fixed point; colour counts by its alpha.",
                { { "sigma", "pixels", "0.2 to some hundreds; 0, NaN and from 13108 on clear",
                    "standard deviation; the blur reaches three times as far" } },
                "grows with sigma: 2 * (6 * sigma + 1) multiplications a channel and pixel", convolutionKernels,
                premultiplies },
            "KXGaussianBlur 1.00000",
            { { "sigma 5", { 5.0 } }, { "sigma 0.7", { 0.7 } }, { "sigma 40", { 40.0 } }, { "sigma 0", { 0.0 } } }),
        filter<OPBoxBlurProcessing>(
            { "Box blur", "OPBoxBlurProcessing",
                "Replaces each pixel by the mean of a square around it; colour counts by its alpha.",
                { { "radius", "pixels", "0 to 8191 and more", "the square's sides are twice that and one" } },
                "the same for every radius: two running sums a channel and pixel", "LineHandlerAVX2", needsFlat },
            "KXBoxBlur 1.00000", { { "radius 5", { 5 } }, { "radius 0", { 0 } }, { "radius 200", { 200 } } }),
        filter<AddNoise>(
            { "Add noise", "OPAddNoiseProcessing", "Lays a picture of random pixels over the layer.",
                { { "amount", "percent", "0 to 100", "opacity of the noise" },
                    { "distribution", "", "0 or 1", "all values alike, or normally distributed around 255" },
                    { "keepAlpha", "", "false or true", "whether the layer keeps its alpha" } },
                "making the noise, some thirty times as long for the normal distribution; then a composition",
                "MersenneTwisterAVX2, UniformNoiseAVX2, GaussianNoiseAVX2, BlendWithOpacityAVX2", {} },
            "KXAddNoise 1.00000",
            { { "amount 50", { 50, 0, true } }, { "amount 30, normal", { 30, 1, true } },
                { "amount 100, with its alpha", { 100, 0, false } },
                { "amount 250, normal, with its alpha", { 250, 7, false } } }),
        filter<HighPass>(
            { "High pass", "OPHighPassProcessing",
                "Composes the layer minus its Gaussian blur, plus mid-grey, onto the layer.",
                { { "radius", "pixels", "0.2 to some hundreds", "sigma of the Gaussian: how large details may be" },
                    { "blendIndex", "", "0 to 3", "composed as SourceOver, Overlay, SoftLight or HardLight" },
                    { "amount", "percent", "0 to 100", "opacity of the composition" } },
                "a Gaussian blur and a composition, with a warm cache the composition alone",
                std::string(convolutionKernels)
                    + ", Compose_RGBA32iImage_RGBA32iImage_avx2, ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2",
                premultiplies },
            "KXHighPass 1.00000",
            { { "radius 3, Overlay", { 3.0, 1, 100 } }, { "radius 1.5, details alone", { 1.5, 0, 100 } },
                { "radius 0.5, half HardLight", { 0.5, 3, 50 } } }),
        filter<OPSharpenProcessing>(
            { "Sharpen", "OPSharpenProcessing", "Sharpens all four channels with three taps each way.",
                { { "amount", "1785ths", "0, which changes nothing, to some hundreds",
                    "how far a pixel moves away from the sum of its neighbours" } },
                "six multiplications a channel and pixel", "LineHandlerConvolutionAVX2", needsFlat },
            "KXSharpen 1.00000", { { "amount 150", { 150 } }, { "amount 0", { 0 } }, { "amount -90", { -90 } } }),
        filter<OPSmoothenProcessing>(
            { "Smoothen", "OPSmoothenProcessing", "Smoothens with three taps each way; colour counts by its alpha.",
                { { "amount", "765ths", "0 to 255, the mean of three pixels each way",
                    "how much a neighbour counts" } },
                "six multiplications a channel and pixel", convolutionKernels, premultiplies },
            "KXSmoothen 1.00000", { { "amount 255", { 255 } }, { "amount 0", { 0 } }, { "amount 100", { 100 } } }),
    };
}

} // namespace catalogue
