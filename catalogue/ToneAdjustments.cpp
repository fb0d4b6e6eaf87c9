#include "Entries.h"

#include "OPExposureTransformation.h"
#include "OPInvertTransformation.h"
#include "OPLevelsTransformation.h"

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
