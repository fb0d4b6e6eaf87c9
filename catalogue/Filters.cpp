#include "Entries.h"

#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

namespace catalogue {

std::vector<Operation> filters()
{
    std::vector<Operation> list;

    Operation gaussian;
    gaussian.name = "Gaussian blur";
    gaussian.className = "OPGaussianBlurProcessing";
    gaussian.summary = "Blurs with a separable Gaussian in fixed point; colour counts by its alpha.";
    gaussian.parameters = { { "sigma", "pixels", "0.2 to some hundreds; 0, NaN and from 13108 on clear",
        "standard deviation; the blur reaches three times as far" } };
    gaussian.signature = "KXGaussianBlur 1.00000";
    gaussian.cost = "grows with sigma: 2 * (6 * sigma + 1) multiplications a channel and pixel";
    gaussian.kernel = "KXIterativeConvolutionFast1DAVX2Convolve, KXIterativeConvolutionFast1DAVX2ConvolveColumns, "
                      "KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied, VectorProcess, PremultiplyAlphaAVX2, "
                      "ReturnAlphaAVX2";
    gaussian.promises.needsFlat = true;
    gaussian.promises.needsTwoProcessors = true; // with one nothing is premultiplied
    list.push_back(filter<OPGaussianBlurProcessing>(gaussian,
        { { "sigma 5", { 5.0 } }, { "sigma 0.7", { 0.7 } }, { "sigma 40", { 40.0 } }, { "sigma 0", { 0.0 } } }));

    Operation box;
    box.name = "Box blur";
    box.className = "OPBoxBlurProcessing";
    box.summary = "Replaces each pixel by the mean of a square around it; colour counts by its alpha.";
    box.parameters = { { "radius", "pixels", "0 to 8191 and more", "the square's sides are twice that and one" } };
    box.signature = "KXBoxBlur 1.00000";
    box.cost = "the same for every radius: two running sums a channel and pixel";
    box.kernel = "LineHandlerAVX2";
    box.promises.needsFlat = true;
    list.push_back(
        filter<OPBoxBlurProcessing>(box, { { "radius 5", { 5 } }, { "radius 0", { 0 } }, { "radius 200", { 200 } } }));

    return list;
}

} // namespace catalogue
