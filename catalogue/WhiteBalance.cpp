#include "Entries.h"

#include "KXWBTransformation.h"

namespace catalogue {

namespace {

using Balance = KXWBTransformation::BalanceFunction;

/// What the entry measures, whatever picture it is then applied to: a ramp from shadows to lights with a warm cast. It
/// is small, so that measuring costs little wherever objects are made.
RGBA32iImage warmRamp()
{
    RGBA32iImage image(8, 8, false);
    for (int i = 0; i < 64; ++i) {
        const int grey = 20 + 3 * i;
        image.Bits()[i] = OPRGBA32i(uchar(grey - 14), uchar(grey + i % 5), uchar(grey + 24), 255);
    }
    return image;
}

std::function<KXWBTransformation()> balance(Balance function, int amount)
{
    return [=] { return KXWBTransformation(warmRamp(), function, amount); };
}

} // namespace

std::vector<Operation> whiteBalance()
{
    return { adjustment<KXWBTransformation>(
        { "White balance", "KXWBTransformation",
            "Measures a picture (in the tour, a small warm ramp), takes its colour cast off and mends its tones.",
            { { "picture", "", "flat, or a QImage", "what is measured" },
                { "function", "", "automatic, over- or underexposure", "what is mended" },
                { "amount", "per cent", "0 to 100", "how far from the unchanged channel" } },
            "three looks at each pixel of the measured picture, once; then three loads a pixel",
            "WhiteBalanceAutoAVX2, WhiteBalanceOverExposureAVX2, WhiteBalanceUnderExposureAVX2", keepsAlpha },
        { { "automatic, of a warm ramp", balance(Balance::Auto, 100) },
            { "overexposure", balance(Balance::OverExposure, 100) },
            { "underexposure, 60 per cent", balance(Balance::UnderExposure, 60) } }) };
}

} // namespace catalogue
