#include <KXCore.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <type_traits>

// What applications may name of the adjustments: the function objects of their kernels, with what these are given
// before the pixels and the flag, and the classes that are called with an index.

template <class... Given>
using Kernel = std::function<void(Given..., unsigned char *, bool)>;

#define SHOWS(adjustment, kernel, ...)                                                                                 \
    static_assert(std::is_same<decltype(adjustment::kernel), Kernel<__VA_ARGS__>>::value, #kernel)
#define SHOWS_OF_ITSELF(adjustment, kernel) SHOWS(adjustment, kernel, const adjustment &)
#define IS_INDEXED(adjustment, indexed)                                                                                \
    static_assert(std::is_base_of<KXIterative<adjustment>, indexed>::value, #indexed)

SHOWS_OF_ITSELF(OPBlackAndWhiteTransformation, m_BlackAndWhiteAVX2);
SHOWS_OF_ITSELF(OPBrightnessContrastTransformation, m_BrightnessContrastAVX2);
SHOWS_OF_ITSELF(OPColorBalanceTransformation, m_ColorBalanceAVX2);
SHOWS(OPColorEnhancerTransformation, m_ColorEnhancerAVX2, const OPColorEnhancerTransformation &,
    const OPLevelsTransformation &);
SHOWS(OPColorizeTransformation, m_ColorizeTransformationAVX2, const OPColorizeTransformation &,
    const OPHueSaturationTransformation &);
SHOWS_OF_ITSELF(OPCurvesTransformation, m_CurvesAVX2);
SHOWS(OPDesaturateTransformation, m_DesaturateAVX2, );
SHOWS_OF_ITSELF(OPExposureTransformation, m_ExposureAVX2);
SHOWS_OF_ITSELF(OPGammaCorrectionTransformation, m_GammaCorrectionAVX2);
SHOWS_OF_ITSELF(OPHueSaturationTransformation, m_HueSaturationAVX2);
SHOWS(OPInvertTransformation, m_InvertAVX2, );
SHOWS_OF_ITSELF(OPLevelsTransformation, m_LevelsAVX2);
SHOWS(OPPhotoFilterTransformation, m_PhotoFilterAVX2, const OPPhotoFilterTransformation &,
    const OPLevelsTransformation &);
SHOWS_OF_ITSELF(OPPosterizeTransformation, m_PosterizeAVX2);
SHOWS_OF_ITSELF(KXSelectiveColorsTransformation, m_SelectiveColorsAVX2);
SHOWS_OF_ITSELF(OPTemperatureCorrection, m_TemperatureCorrectionAVX2);
SHOWS_OF_ITSELF(OPThresholdRGB32, m_ThresholdAVX2);
SHOWS(OPTintRGB32, m_TintAVX2, const OPLevelsTransformation &);
SHOWS_OF_ITSELF(KXWBTransformation, m_WhiteBalanceTransformationAVX2);
SHOWS_OF_ITSELF(KXWBTransformation, m_WhiteBalanceAutoAVX2);
SHOWS_OF_ITSELF(KXWBTransformation, m_WhiteBalanceOverExposureAVX2);
SHOWS_OF_ITSELF(KXWBTransformation, m_WhiteBalanceUnderExposureAVX2);
SHOWS(OPColorize<OPRGBA32i>, m_ColorizeOPRGBA32iAVX2, const OPRGBA32i &);
SHOWS(OPInvertColor<OPRGBA32i>, m_InvertColorOPRGBA32iAVX2, );
SHOWS(OPInvertColorAlpha<OPRGBA32i>, m_InvertColorAlphaOPRGBA32iAVX2, );

IS_INDEXED(OPBlackAndWhiteTransformation, OPIterativeBlackAndWhiteTransformation);
IS_INDEXED(OPBrightnessContrastTransformation, OPIterativeBrightnessContrastTransformation);
IS_INDEXED(OPColorBalanceTransformation, OPIterativeColorBalanceTransformation);
IS_INDEXED(OPColorizeTransformation, OPIterativeColorizeTransformation);
IS_INDEXED(OPCurvesTransformation, OPIterativeCurvesTransformation);
IS_INDEXED(OPExposureTransformation, OPIterativeExposureTransformation);
IS_INDEXED(OPGammaCorrectionTransformation, OPIterativeGammaCorrectionTransformation);
IS_INDEXED(OPHueSaturationTransformation, OPIterativeHueSaturationTransformation);
IS_INDEXED(OPLevelsTransformation, OPIterativeLevelsTransformation);
IS_INDEXED(OPPhotoFilterTransformation, OPIterativePhotoFilterTransformation);
IS_INDEXED(OPPosterizeTransformation, OPIterativePosterizeTransformation);
IS_INDEXED(OPReplaceColorTransformation, OPIterativeReplaceColorTransformation);
IS_INDEXED(KXSelectiveColorsTransformation, KXIterativeSelectiveColorsTransformation);
IS_INDEXED(KXWBTransformation, KXIterativeWBTransformation);

/// An adjustment as an application may write it. What it computes in its constructor once got lost on the way to an odd
/// address in the base (GCC 12 with optimization).
class Ramp : public KXTableTransformation {
public:
    Ramp(int low, int high);
    using KXTableTransformation::operator();
    void operator()(unsigned char *, bool) const override { }
};

template <class Entry>
KXChannelTables::Table tableOf(Entry entry)
{
    KXChannelTables::Table table;
    for (int i = 0; i < 256; ++i)
        table[size_t(i)] = static_cast<unsigned char>(entry(i));
    return table;
}

template <class Entry>
KXChannelTables sameTables(Entry entry)
{
    const KXChannelTables::Table table = tableOf(entry);
    return { table, table, table };
}

Q_NEVER_INLINE Ramp::Ramp(int low, int high)
    : KXTableTransformation(sameTables([=](int i) { return low + i * (high - low) / 255; }))
{
    m_HasKernel = true;
}

namespace {

int failures = 0;

void check(bool holds, const char *what)
{
    failures += !holds;
    if (!holds)
        std::puts(what);
}

} // namespace

/// Uses the installed library as a stranger would. With the argument "module" the kernel module must have been found
/// beside the installed library, unless the processor cannot run it.
int main(int argc, char **argv)
{
    const bool expected = argc > 1 && std::strcmp(argv[1], "module") == 0 && __builtin_cpu_supports("avx2");
    check((AVX2LIB::Instance() != nullptr) == expected, "the module is not where it was installed, or where none was");

    const OPRGBA32i grey(100, 100, 100, 255);
    RGBA32iImage layer(300, 200, true), canvas(300, 200, true);
    layer.TileData(4, true)[0] = grey;
    loadAVX2Functions(true);
    Compose(layer, layer.Rect(), KXCompositionMode::Multiply, canvas, canvas.Rect(), 0.9, false);
    check(canvas.TileData(4)[0].b == 100 && canvas.IsFakeTile(0), "composition gives something else");

    check(std::strlen(OPTMSwapError().what()) > 0, "an exported exception has no text");

    const std::atomic<bool> cancel { false };
    std::atomic<int> calls { 0 };
    OPGaussianBlurProcessing filter(cancel);
    QObject::connect(
        &filter, &OPAdjustmentProcessing::ProgressChanged, &filter, [&calls](int) { ++calls; }, Qt::DirectConnection);
    OPGaussianBlurProcessing::BlurData data;
    data.image = RGBA32iImage(20, 10, false);
    data.image.Fill(grey);
    check(filter.run(data).Bits()[105] == grey && calls == 30, "the filter or its signals do not work");

    const Ramp ramp(60, 200);
    for (int i = 0; i < 256; ++i)
        check(ramp.Tables().g[size_t(i)] == 60 + i * 140 / 255, "the tables of an application's adjustment are lost");

    std::puts(expected ? "with the module" : "without a module");
    return failures;
}
