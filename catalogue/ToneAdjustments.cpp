#include "Entries.h"

#include "KXBurnCorrection.h"
#include "KXDodgeCorrection.h"
#include "KXFillTransformation.h"
#include "OPBrightnessContrastTransformation.h"
#include "OPDesaturateTransformation.h"
#include "OPExposureTransformation.h"
#include "OPGammaCorrectionTransformation.h"
#include "OPInvertTransformation.h"
#include "OPLevelsTransformation.h"
#include "OPPosterizeTransformation.h"
#include "OPThresholdRGB32.h"
#include "OPTintRGB32.h"

namespace catalogue {

namespace {

const char *const threeLoads = "three loads from tables a pixel, whatever the parameters";

struct Levels {
    int input[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    double gammas[4] = { 1, 1, 1, 1 };
    int amount = 100;

    OPLevelsTransformation operator()() { return { input, output, gammas, amount }; }
};

OPLevelsTransformation strongerContrast()
{
    Levels levels;
    levels.input[0][0] = 30, levels.input[0][1] = 220;
    levels.gammas[0] = 1.3;
    return levels();
}

/// Red inverted, green cut, blue only halfway there.
OPLevelsTransformation channelsApart()
{
    Levels levels;
    levels.output[1][0] = 255, levels.output[1][1] = 0;
    levels.input[2][0] = levels.input[2][1] = 100;
    levels.gammas[3] = 0.5;
    levels.amount = 60;
    return levels();
}

} // namespace

std::vector<Operation> toneAdjustments()
{
    std::vector<Operation> list;

    Operation brightness;
    brightness.name = "Brightness and contrast";
    brightness.className = "OPBrightnessContrastTransformation";
    brightness.summary = "Shifts all tones, twice as far as asked for, and spreads them around the middle grey.";
    brightness.parameters = { { "brightness", "steps of a channel", "-128 to 128", "counts twice" },
        { "contrast", "", "-128 to 128; -255 grey, 258 black and white", "how far tones are spread" } };
    brightness.cost = threeLoads;
    brightness.kernel = "BrightnessContrastTransformationAVX2";
    brightness.promises.keepsAlpha = true;
    list.push_back(adjustment<OPBrightnessContrastTransformation>(brightness,
        { { "brightness 10, contrast 60", [] { return OPBrightnessContrastTransformation(10, 60); } },
            { "contrast -80", [] { return OPBrightnessContrastTransformation(0, -80); } } }));

    Operation exposure;
    exposure.name = "Exposure";
    exposure.className = "OPExposureTransformation";
    exposure.summary = "Multiplies all channels as a longer or shorter exposure would, and shifts them.";
    exposure.parameters = { { "exposure", "twentieths of the light", "-20 to 20",
                                "20 doubles the light; below -20 all becomes white" },
        { "offset", "fraction of the range", "-0.5 to 0.5", "what is added" } };
    exposure.cost = threeLoads;
    exposure.kernel = "ExposureTransformationAVX2";
    exposure.promises.keepsAlpha = true;
    list.push_back(adjustment<OPExposureTransformation>(exposure,
        { { "exposure 10", [] { return OPExposureTransformation(10, 0); } },
            { "exposure -8, offset 0.1", [] { return OPExposureTransformation(-8, 0.1); } },
            { "exposure -40, offset 0.3", [] { return OPExposureTransformation(-40, 0.3); } } }));

    Operation levels;
    levels.name = "Levels";
    levels.className = "OPLevelsTransformation";
    levels.summary = "Stretches a range of each channel to another one, with a gamma in between.";
    levels.parameters = { { "input levels", "", "0 to 255, low and high", "for the master, red, green and blue" },
        { "output levels", "", "0 to 255", "what those are mapped to; low above high inverts" },
        { "gammas", "", "0.1 to 9.99 for the master, 1 for a channel",
            "above 1 lighter; a channel's is truncated to whole numbers" },
        { "amount", "per cent", "0 to 100", "how far from the unchanged channel" } };
    levels.cost = threeLoads;
    levels.kernel = "LevelsTransformationAVX2";
    levels.promises.keepsAlpha = true;
    list.push_back(adjustment<OPLevelsTransformation>(levels,
        { { "30 to 220, gamma 1.3", strongerContrast }, { "each channel another way, 60 per cent", channelsApart },
            { "the default", [] { return OPLevelsTransformation(); } } }));

    Operation gamma;
    gamma.name = "Gamma correction";
    gamma.className = "OPGammaCorrectionTransformation";
    gamma.summary = "Makes middle tones lighter or darker, and leaves black and white.";
    gamma.parameters = { { "gamma", "", "0.1 to 5; cut at 0.01 and 5", "above 1 lighter" } };
    gamma.cost = threeLoads;
    gamma.kernel = "GammaCorrectionTransformationAVX2";
    gamma.promises.keepsAlpha = true;
    list.push_back(adjustment<OPGammaCorrectionTransformation>(gamma,
        { { "gamma 1.8", [] { return OPGammaCorrectionTransformation(1.8); } },
            { "gamma 0.5", [] { return OPGammaCorrectionTransformation(0.5); } } }));

    Operation posterize;
    posterize.name = "Posterize";
    posterize.className = "OPPosterizeTransformation";
    posterize.summary = "Leaves a few values in each channel, evenly spread.";
    posterize.parameters = { { "levels", "", "2 to 64", "how many values" } };
    posterize.cost = threeLoads;
    posterize.kernel = "PosterizeTransformationAVX2";
    posterize.promises.keepsAlpha = true;
    list.push_back(adjustment<OPPosterizeTransformation>(posterize,
        { { "4 levels", [] { return OPPosterizeTransformation(4); } },
            { "2 levels", [] { return OPPosterizeTransformation(2); } } }));

    Operation tint;
    tint.name = "Tint";
    tint.className = "OPTintRGB32";
    tint.summary = "Black becomes one colour and white another.";
    tint.parameters = { { "dark colour, light colour", "", "any", "what black and white become" },
        { "amount", "per cent", "0 to 100", "how far black and white move" } };
    tint.cost = threeLoads;
    tint.kernel = "TintAVX2";
    tint.promises.keepsAlpha = true;
    list.push_back(adjustment<OPTintRGB32>(tint,
        { { "blue to yellow, 80 per cent", [] { return OPTintRGB32(0xFF203060u, 0xFFFFE8B0u, 80); } },
            { "0 per cent", [] { return OPTintRGB32(0xFF203060u, 0xFFFFE8B0u, 0); } } }));

    Operation burn;
    burn.name = "Burn";
    burn.className = "KXBurnCorrection";
    burn.summary = "Makes shadows, middle tones or highlights darker.";
    burn.parameters = { { "amount", "fraction", "0 to 1", "how much" },
        { "range", "", "shadows, middle tones, highlights", "which tones" } };
    burn.cost = threeLoads;
    burn.promises.keepsAlpha = true;
    list.push_back(adjustment<KXBurnCorrection>(burn,
        { { "0.5 in middle tones", [] { return KXBurnCorrection(0.5, KXBurnCorrection::Midtones); } },
            { "0.1 in shadows", [] { return KXBurnCorrection(0.1, KXBurnCorrection::Shadows); } },
            { "0.4 in highlights", [] { return KXBurnCorrection(0.4, KXBurnCorrection::Highlights); } } }));

    Operation dodge = burn;
    dodge.name = "Dodge";
    dodge.className = "KXDodgeCorrection";
    dodge.summary = "Makes shadows, middle tones or highlights lighter.";
    list.push_back(adjustment<KXDodgeCorrection>(dodge,
        { { "0.5 in middle tones", [] { return KXDodgeCorrection(0.5, KXDodgeCorrection::Midtones); } },
            { "0.3 in shadows", [] { return KXDodgeCorrection(0.3, KXDodgeCorrection::Shadows); } },
            { "0.1 in highlights", [] { return KXDodgeCorrection(0.1, KXDodgeCorrection::Highlights); } } }));

    Operation threshold;
    threshold.name = "Threshold";
    threshold.className = "OPThresholdRGB32";
    threshold.summary = "Black where a pixel's luminance is below the level, otherwise white.";
    threshold.parameters = { { "level", "", "0 to 255", "the darkest luminance that becomes white" } };
    threshold.cost = "three multiplications and a division a pixel; none of the latter by the kernel";
    threshold.kernel = "ThresholdAVX2";
    threshold.promises.keepsAlpha = true;
    list.push_back(adjustment<OPThresholdRGB32>(threshold,
        { { "level 110", [] { return OPThresholdRGB32(110); } }, { "level 256", [] { return OPThresholdRGB32(256); } },
            { "not set", [] { return OPThresholdRGB32(); } } }));

    Operation desaturate;
    desaturate.name = "Desaturate";
    desaturate.className = "OPDesaturateTransformation";
    desaturate.summary = "Takes the colour away and keeps the lightness of HSL.";
    desaturate.cost = "next to nothing";
    desaturate.kernel = "DesaturateTransformationAVX2";
    desaturate.promises.keepsAlpha = true;
    list.push_back(
        adjustment<OPDesaturateTransformation>(desaturate, { { "", [] { return OPDesaturateTransformation(); } } }));

    Operation colorize;
    colorize.name = "Colorize, by type of pixel";
    colorize.className = "OPColorize<OPRGBA32i>";
    colorize.summary = "Gives every pixel one colour, and leaves its alpha.";
    colorize.parameters = { { "colour", "", "any", "whose red, green and blue every pixel gets" } };
    colorize.cost = "next to nothing";
    colorize.kernel = "ColorizeOPRGBA32iAVX2";
    colorize.promises.keepsAlpha = true;
    list.push_back(adjustment<OPColorize<OPRGBA32i>>(
        colorize, { { "orange", [] { return OPColorize<OPRGBA32i>(0x12FF8000u); } } }));

    Operation fill;
    fill.name = "Fill";
    fill.className = "KXFillTransformation";
    fill.summary = "Gives every pixel one colour, alpha included.";
    fill.parameters = { { "colour", "", "any", "what every pixel becomes" } };
    fill.cost = "next to nothing";
    list.push_back(adjustment<KXFillTransformation>(fill,
        { { "orange, half transparent", [] { return KXFillTransformation(0x80FF8000u); } },
            { "the default", [] { return KXFillTransformation(); } } }));

    Operation invert;
    invert.name = "Invert";
    invert.className = "OPInvertTransformation";
    invert.summary = "The negative: each colour becomes 255 minus its value.";
    invert.cost = "next to nothing";
    invert.kernel = "InvertTransformationAVX2";
    invert.promises.keepsAlpha = true;
    list.push_back(adjustment<OPInvertTransformation>(invert, { { "", [] { return OPInvertTransformation(); } } }));

    Operation invertColor = invert;
    invertColor.name = "Invert, by type of pixel";
    invertColor.className = "OPInvertColor<OPRGBA32i>";
    invertColor.summary = "As Invert, for code that is written over types of pixels.";
    invertColor.kernel = "InvertColorOPRGBA32iAVX2";
    list.push_back(
        adjustment<OPInvertColor<OPRGBA32i>>(invertColor, { { "", [] { return OPInvertColor<OPRGBA32i>(); } } }));

    Operation invertAlpha;
    invertAlpha.name = "Invert alpha";
    invertAlpha.className = "OPInvertAlphaTransformation";
    invertAlpha.summary = "Makes what is transparent opaque, and the other way round.";
    invertAlpha.cost = "next to nothing";
    list.push_back(
        adjustment<OPInvertAlphaTransformation>(invertAlpha, { { "", [] { return OPInvertAlphaTransformation(); } } }));

    Operation invertColorAlpha = invertAlpha;
    invertColorAlpha.name = "Invert alpha, by type of pixel";
    invertColorAlpha.className = "OPInvertColorAlpha<OPRGBA32i>";
    invertColorAlpha.summary = "As Invert alpha, for code that is written over types of pixels; it has a kernel.";
    invertColorAlpha.kernel = "InvertColorAlphaOPRGBA32iAVX2";
    list.push_back(adjustment<OPInvertColorAlpha<OPRGBA32i>>(
        invertColorAlpha, { { "", [] { return OPInvertColorAlpha<OPRGBA32i>(); } } }));

    return list;
}

} // namespace catalogue
