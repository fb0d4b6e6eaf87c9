#include "Entries.h"

#include "OPBlackAndWhiteTransformation.h"
#include "OPColorBalanceTransformation.h"
#include "OPColorEnhancerTransformation.h"
#include "OPColorizeTransformation.h"
#include "OPHueSaturationTransformation.h"
#include "OPPhotoFilterTransformation.h"
#include "OPReplaceColorTransformation.h"
#include "OPTemperatureCorrection.h"

#include <cmath>

namespace catalogue {

namespace {

OPColorBalanceTransformation warmLights()
{
    const int red[] = { 0, 10, 25 }, green[] = { 0, 0, 5 }, blue[] = { 15, 0, -20 };
    return { red, green, blue };
}

OPColorBalanceTransformation beyondItsRange()
{
    const int red[] = { 400, -300, 0 }, green[] = { 0, 1000000000, 0 }, blue[] = { -90, -90, -90 };
    return { red, green, blue };
}

OPColorEnhancerTransformation enhancer(int amount)
{
    int input[4][2] = { { 0, 255 }, { 12, 240 }, { 20, 251 }, { 35, 210 } };
    int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    double gammas[4] = { 1, 1, 1, 1 };
    OPColorEnhancerTransformation made;
    made.SetLevels(OPLevelsTransformation(input, output, gammas, 100));
    made.SetAmountData(amount);
    return made;
}

} // namespace

std::vector<Operation> colorAdjustments()
{
    const char *const values = "-100 to 100; of shadows, middle tones and highlights";
    return {
        adjustment<OPHueSaturationTransformation>(
            { "Hue and saturation", "OPHueSaturationTransformation",
                "Turns hues, and makes colours stronger or weaker, lighter or darker.",
                { { "hue", "degrees", "0 to 359; a sum below -1 becomes opaque black", "how far hues turn" },
                    { "saturation, lightness", "", "-255 to 255", "what is added to them" },
                    { "colorize", "", "yes or no", "whether the hue is the one that every pixel gets" } },
                "to HSL and back, whatever the parameters", "HueSaturationTransformationAVX2", {} },
            { { "hue 40, saturation 50", [] { return OPHueSaturationTransformation(40, 50, 0, false); } },
                { "hue -30, lightness 20", [] { return OPHueSaturationTransformation(-30, -10, 20, false); } },
                { "all of hue 210", [] { return OPHueSaturationTransformation(210, 30, 0, true); } },
                { "the default", [] { return OPHueSaturationTransformation(); } } }),
        adjustment<OPColorizeTransformation>(
            { "Colorize", "OPColorizeTransformation",
                "Gives all pixels the hue of one colour, as a toned photograph has it.",
                { { "colour", "", "any; its lightness does not count", "whose hue and, mildly, saturation pixels get" },
                    { "amount", "per cent", "0 to 100", "how far from the unchanged pixel" } },
                "three loads and three divisions by a constant a pixel", "ColorizeTransformationAVX2", keepsAlpha },
            { { "sepia", [] { return OPColorizeTransformation(0xFFA06020u, 100); } },
                { "blue, 60 per cent", [] { return OPColorizeTransformation(0xFF2040FFu, 60); } } }),
        adjustment<OPColorBalanceTransformation>(
            { "Colour balance", "OPColorBalanceTransformation",
                "Shifts the colour of shadows, middle tones and highlights, each by itself.",
                { { "red", "", values, "cyan to red" }, { "green", "", values, "magenta to green" },
                    { "blue", "", values, "yellow to blue" } },
                threeLoads, "ColorBalanceTransformationAVX2", keepsAlpha },
            { { "warm lights, cool shadows", warmLights }, { "beyond the range of a dialog", beyondItsRange } }),
        adjustment<OPBlackAndWhiteTransformation>(
            { "Black and white", "OPBlackAndWhiteTransformation",
                "A grey picture in which red, green and blue count by weights.",
                { { "lightness curve", "", "off or on", "whether the lightness of each value counts instead of it" },
                    { "red, green, blue", "", "0 to 1, with a sum of about 1",
                        "the weights; nothing normalises them" } },
                "three loads from tables and two additions a pixel", "BlackAndWhiteTransformationAVX2", keepsAlpha },
            { { "luminance", [] { return OPBlackAndWhiteTransformation(false, 0.3f, 0.59f, 0.11f); } },
                { "a red filter, lightness", [] { return OPBlackAndWhiteTransformation(true, 0.8f, 0.2f, 0); } },
                { "beyond white", [] { return OPBlackAndWhiteTransformation(false, 1.5f, -2, 3.7f); } },
                { "weights out of range",
                    [] { return OPBlackAndWhiteTransformation(false, 2e7f, 0.01f, std::nanf("")); } } }),
        adjustment<OPPhotoFilterTransformation>(
            { "Photo filter", "OPPhotoFilterTransformation", "A coloured glass in front of the lens.",
                { { "colour", "", "any", "of the glass" }, { "amount", "per cent", "0 to 100", "density" } },
                threeLoads, "PhotoFilterTransformationAVX2", keepsAlpha },
            { { "orange, 60 per cent", [] { return OPPhotoFilterTransformation(0xFFEC8A00u, 60); } },
                { "blue, 250 per cent", [] { return OPPhotoFilterTransformation(0xFF0060FFu, 250); } } }),
        adjustment<OPColorEnhancerTransformation>(
            { "Colour enhancer", "OPColorEnhancerTransformation", "Fades levels that come from the picture.",
                { { "levels", "", "any", "an OPLevelsTransformation, by the ends of the picture's histograms" },
                    { "amount", "per cent", "0 to 100", "how far from the unchanged channel" } },
                threeLoads, "ColorEnhancerTransformationAVX2", keepsAlpha },
            { { "70 per cent", [] { return enhancer(70); } }, { "-30 per cent", [] { return enhancer(-30); } },
                { "the default", [] { return OPColorEnhancerTransformation(); } } }),
        adjustment<OPReplaceColorTransformation>(
            { "Replace colour", "OPReplaceColorTransformation",
                "Gives all pixels that are close to one colour another one, alpha included.",
                { { "from, to", "", "any", "the colours" },
                    { "tolerance", "steps of a channel", "0 to 255", "how far any channel may be away" } },
                "four comparisons a pixel", "", {} },
            { { "middle tones to orange", [] { return OPReplaceColorTransformation(0xFF808080u, 0xFFFF8000u, 50); } },
                { "every pixel", [] { return OPReplaceColorTransformation(0, 0x12345678u, 255); } } }),
        adjustment<OPTemperatureCorrection>(
            { "Temperature", "OPTemperatureCorrection", "Makes colours warmer or colder, and leaves their lightness.",
                { { "temperature", "kelvin", "1000 to 40000; 6500 is white",
                      "of the light that is put over the picture" },
                    { "amount", "half per cent", "0 to 200", "how far to the colour of the light" },
                    { "green shift", "per cent", "-100 to 100", "how far green goes to 0 or 255" } },
                "three loads, to HSL and back", "TemperatureCorrectionAVX2", keepsAlpha },
            { { "3000 K", [] { return OPTemperatureCorrection(3000, 60, 0); } },
                { "12000 K, green 10", [] { return OPTemperatureCorrection(12000, 80, 10); } },
                { "the default", [] { return OPTemperatureCorrection(); } } }),
    };
}

} // namespace catalogue
