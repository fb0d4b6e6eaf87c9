#include "Entries.h"

#include "KXBurnCorrection.h"
#include "KXDodgeCorrection.h"
#include "KXFillTransformation.h"
#include "OPBrightnessContrastTransformation.h"
#include "OPCurvesTransformation.h"
#include "OPDesaturateTransformation.h"
#include "OPExposureTransformation.h"
#include "OPGammaCorrectionTransformation.h"
#include "OPInvertTransformation.h"
#include "OPLevelsTransformation.h"
#include "OPPosterizeTransformation.h"
#include "OPThresholdRGB32.h"
#include "OPTintRGB32.h"

#include <limits>

namespace catalogue {

namespace {

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

const QVector<QPoint> straight { { 0, 0 }, { 255, 255 } };

OPCurvesTransformation curves(const QVector<QPoint> &master, const QVector<QPoint> &red, const QVector<QPoint> &green,
    const QVector<QPoint> &blue, int amount)
{
    QVector<QPoint> four[] = { master, red, green, blue };
    return OPCurvesTransformation(four, amount);
}

} // namespace

std::vector<Operation> toneAdjustments()
{
    return {
        adjustment<OPBrightnessContrastTransformation>(
            { "Brightness and contrast", "OPBrightnessContrastTransformation",
                "Shifts all tones, twice as far as asked for, and spreads them around the middle grey.",
                { { "brightness", "steps of a channel", "-128 to 128", "counts twice" },
                    { "contrast", "", "-128 to 128; -255 grey, 258 black and white", "how far tones are spread" } },
                threeLoads, "BrightnessContrastTransformationAVX2", keepsAlpha },
            { { "brightness 10, contrast 60", [] { return OPBrightnessContrastTransformation(10, 60); } },
                { "contrast -80", [] { return OPBrightnessContrastTransformation(0, -80); } } }),
        adjustment<OPExposureTransformation>(
            { "Exposure", "OPExposureTransformation",
                "Multiplies all channels as a longer or shorter exposure would, and shifts them.",
                { { "exposure", "twentieths of the light", "-20 to 20",
                      "20 doubles the light; below -20 all becomes white" },
                    { "offset", "fraction of the range", "-0.5 to 0.5", "what is added" } },
                threeLoads, "ExposureTransformationAVX2", keepsAlpha },
            { { "exposure 10", [] { return OPExposureTransformation(10, 0); } },
                { "exposure -8, offset 0.1", [] { return OPExposureTransformation(-8, 0.1); } },
                { "exposure -40, offset 0.3", [] { return OPExposureTransformation(-40, 0.3); } } }),
        adjustment<OPLevelsTransformation>(
            { "Levels", "OPLevelsTransformation",
                "Stretches a range of each channel to another one, with a gamma in between.",
                { { "input levels", "", "0 to 255, low and high", "for the master, red, green and blue" },
                    { "output levels", "", "0 to 255", "what those are mapped to; low above high inverts" },
                    { "gammas", "", "0.1 to 9.99 for the master, 1 for a channel",
                        "above 1 lighter; a channel's is truncated to whole numbers" },
                    { "amount", "per cent", "0 to 100", "how far from the unchanged channel" } },
                threeLoads, "LevelsTransformationAVX2", keepsAlpha },
            { { "30 to 220, gamma 1.3", strongerContrast }, { "each channel another way, 60 per cent", channelsApart },
                { "the default", [] { return OPLevelsTransformation(); } } }),
        adjustment<OPCurvesTransformation>(
            { "Curves", "OPCurvesTransformation", "Remaps each channel along curves through a few points.",
                { { "curves", "", "two points or more each, from (0, 0) to (255, 255)",
                      "of the master, red, green and blue; beyond its ends a curve goes on" },
                    { "amount", "per cent", "0 to 100", "how far from the unchanged channel" } },
                threeLoads, "CurvesTransformationAVX2", keepsAlpha },
            { { "more contrast",
                  [] {
                      return curves(
                          { { 0, 0 }, { 64, 40 }, { 192, 215 }, { 255, 255 } }, straight, straight, straight, 100);
                  } },
                { "as a film developed in the wrong bath, 80 per cent",
                    [] {
                        return curves(straight, { { 0, 0 }, { 70, 40 }, { 180, 220 }, { 255, 255 } },
                            { { 0, 0 }, { 80, 70 }, { 170, 200 }, { 255, 255 } }, { { 0, 50 }, { 255, 200 } }, 80);
                    } },
                { "stairs, and a curve that goes on beyond its ends",
                    [] {
                        return curves(straight, { { 0, 20 }, { 90, 20 }, { 90, 130 }, { 180, 130 }, { 180, 240 } },
                            { { 64, 0 }, { 128, 128 }, { 192, 255 } }, straight, 100);
                    } } }),
        adjustment<OPGammaCorrectionTransformation>(
            { "Gamma correction", "OPGammaCorrectionTransformation",
                "Makes middle tones lighter or darker, and leaves black and white.",
                { { "gamma", "", "0.1 to 5; cut at 0.01 and 5", "above 1 lighter" } }, threeLoads,
                "GammaCorrectionTransformationAVX2", keepsAlpha },
            { { "gamma 1.8", [] { return OPGammaCorrectionTransformation(1.8); } },
                { "gamma 0.5", [] { return OPGammaCorrectionTransformation(0.5); } } }),
        adjustment<OPPosterizeTransformation>(
            { "Posterize", "OPPosterizeTransformation", "Leaves a few values in each channel, evenly spread.",
                { { "levels", "", "2 to 64", "how many values" } }, threeLoads, "PosterizeTransformationAVX2",
                keepsAlpha },
            { { "4 levels", [] { return OPPosterizeTransformation(4); } },
                { "2 levels", [] { return OPPosterizeTransformation(2); } } }),
        adjustment<OPTintRGB32>({ "Tint", "OPTintRGB32", "Black becomes one colour and white another.",
                                    { { "dark colour, light colour", "", "any", "what black and white become" },
                                        { "amount", "per cent", "0 to 100", "how far black and white move" } },
                                    threeLoads, "TintAVX2", keepsAlpha },
            { { "blue to yellow, 80 per cent", [] { return OPTintRGB32(0xFF203060u, 0xFFFFE8B0u, 80); } },
                { "0 per cent", [] { return OPTintRGB32(0xFF203060u, 0xFFFFE8B0u, 0); } } }),
        adjustment<KXBurnCorrection>({ "Burn", "KXBurnCorrection", "Makes shadows, middle tones or highlights darker.",
                                         { { "amount", "fraction", "0 to 1", "how much" },
                                             { "range", "", "shadows, middle tones, highlights", "which tones" } },
                                         threeLoads, "", keepsAlpha },
            { { "0.5 in middle tones", [] { return KXBurnCorrection(0.5, KXBurnCorrection::Midtones); } },
                { "0.1 in shadows", [] { return KXBurnCorrection(0.1, KXBurnCorrection::Shadows); } },
                { "0.4 in highlights", [] { return KXBurnCorrection(0.4, KXBurnCorrection::Highlights); } } }),
        adjustment<KXDodgeCorrection>(
            { "Dodge", "KXDodgeCorrection", "Makes shadows, middle tones or highlights lighter.",
                { { "amount", "fraction", "0 to 1", "how much" },
                    { "range", "", "shadows, middle tones, highlights", "which tones" } },
                threeLoads, "", keepsAlpha },
            { { "0.5 in middle tones", [] { return KXDodgeCorrection(0.5, KXDodgeCorrection::Midtones); } },
                { "0.3 in shadows", [] { return KXDodgeCorrection(0.3, KXDodgeCorrection::Shadows); } },
                { "0.1 in highlights", [] { return KXDodgeCorrection(0.1, KXDodgeCorrection::Highlights); } } }),
        adjustment<OPThresholdRGB32>(
            { "Threshold", "OPThresholdRGB32", "Black where a pixel's luminance is below the level, otherwise white.",
                { { "level", "", "0 to 255", "the darkest luminance that becomes white" } },
                "three multiplications and a division a pixel; none of the latter by the kernel", "ThresholdAVX2",
                keepsAlpha },
            { { "level 110", [] { return OPThresholdRGB32(110); } },
                { "the largest level", [] { return OPThresholdRGB32(std::numeric_limits<int>::max()); } },
                { "not set", [] { return OPThresholdRGB32(); } } }),
        adjustment<OPDesaturateTransformation>(
            { "Desaturate", "OPDesaturateTransformation", "Takes the colour away and keeps the lightness of HSL.", {},
                "next to nothing", "DesaturateTransformationAVX2", keepsAlpha }),
        adjustment<OPColorize<OPRGBA32i>>({ "Colorize, by type of pixel", "OPColorize<OPRGBA32i>",
                                              "Gives every pixel one colour, and leaves its alpha.",
                                              { { "colour", "", "any", "whose red, green and blue every pixel gets" } },
                                              "next to nothing", "ColorizeOPRGBA32iAVX2", keepsAlpha },
            { { "orange", [] { return OPColorize<OPRGBA32i>(0x12FF8000u); } } }),
        adjustment<KXFillTransformation>(
            { "Fill", "KXFillTransformation", "Gives every pixel one colour, alpha included.",
                { { "colour", "", "any", "what every pixel becomes" } }, "next to nothing", "", {} },
            { { "orange, half transparent", [] { return KXFillTransformation(0x80FF8000u); } },
                { "the default", [] { return KXFillTransformation(); } } }),
        adjustment<OPInvertTransformation>(
            { "Invert", "OPInvertTransformation", "The negative: each colour becomes 255 minus its value.", {},
                "next to nothing", "InvertTransformationAVX2", keepsAlpha }),
        adjustment<OPInvertColor<OPRGBA32i>>({ "Invert, by type of pixel", "OPInvertColor<OPRGBA32i>",
            "As Invert, for code that is written over types of pixels.", {}, "next to nothing",
            "InvertColorOPRGBA32iAVX2", keepsAlpha }),
        adjustment<OPInvertAlphaTransformation>({ "Invert alpha", "OPInvertAlphaTransformation",
            "Makes what is transparent opaque, and the other way round.", {}, "next to nothing", "", {} }),
        adjustment<OPInvertColorAlpha<OPRGBA32i>>({ "Invert alpha, by type of pixel", "OPInvertColorAlpha<OPRGBA32i>",
            "As Invert alpha, for code that is written over types of pixels; it has a kernel.", {}, "next to nothing",
            "InvertColorAlphaOPRGBA32iAVX2", {} }),
    };
}

} // namespace catalogue
