#include "Entries.h"

#include "KXResizeImage.h"
#include "OPImageTransformation.h"

#include <QtGui/QTransform>

namespace catalogue {

namespace {

Operation sampler(const std::string &name, const std::string &className, const std::string &summary,
    const std::string &cost, const std::string &kernel, decltype(Operation::sample) sample)
{
    const About about { name, className, summary,
        { { "transform", "", "what can be inverted", "where the pixels of the source come to lie" },
            { "sourceRect", "pixels", "any; empty: all of the source", "whose place in the destination is walked" } },
        cost, kernel, needsFlat };
    Operation operation { about, Kind::Sampler, {}, {}, {} };
    operation.sample = sample;
    const Choice<QTransform> choices[] = { { "turned by 20 degrees", QTransform().rotate(20) },
        { "enlarged", QTransform::fromScale(2.5, 1.75) }, { "reduced to a quarter", QTransform::fromScale(0.25, 0.25) },
        { "in perspective", QTransform(1, 0.05, 0.002, 0.03, 0.9, 0.001, 5, 8, 1) } };
    for (const auto &choice : choices) {
        Variant variant;
        variant.name = choice.name;
        variant.run = [sample, transform = choice.value](const Input &input, const Watch &) {
            RGBA32iImage result(input.image.Width(), input.image.Height(), false);
            sample(input.image, transform, result, QRect());
            return result;
        };
        operation.variants.push_back(std::move(variant));
    }
    return operation;
}

Operation resizing(const std::string &name, const std::string &className, const std::string &summary, KXResizeType type)
{
    const About about { name, className, summary, { { "destination", "", "any size", "whose size the result has" } },
        "a multiplication a channel and sample, once along rows and once along columns",
        "ResizeRowAVX2, ResizeColumnsAVX2", {} };
    Operation operation { about, Kind::Resizing, {}, {}, {} };
    operation.resizeType = type;
    for (const auto &choice :
        { Choice<double> { "to two thirds", 2.0 / 3 }, { "to 1.7", 1.7 }, { "to a tenth", 0.1 } }) {
        Variant variant;
        variant.name = choice.name;
        variant.run = [type, factor = choice.value](const Input &input, const Watch &) {
            const QSize size = input.image.Rect().size() * factor;
            RGBA32iImage result(size.width(), size.height(), false);
            KXResizeImage(input.image, result, type);
            return result;
        };
        operation.variants.push_back(std::move(variant));
    }
    return operation;
}

} // namespace

std::vector<Operation> samplers()
{
    return {
        sampler("Nearest pixel", "NearestNeighbourTransformImage", "Takes the pixel under each position.",
            "a position in double precision and a load a pixel", "", NearestNeighbourTransformImage),
        sampler("Bilinear", "BilinearTransformImage",
            "Interpolates between two by two pixels; what makes the source half as large or smaller is filtered first.",
            "three interpolations a pixel, and a box mean along each axis where it is filtered",
            "SampleBilinearAVX2, LineHandlerAVX2", BilinearTransformImage),
        sampler("Bicubic", "BicubicTransformImage",
            "Interpolates between four by four pixels; what makes the source half as large or smaller is filtered "
            "first.",
            "five interpolations a pixel, and three box means along each axis where it is filtered",
            "SampleBicubicAVX2, LineHandlerAVX2", BicubicTransformImage),
    };
}

std::vector<Operation> resizings()
{
    return {
        resizing("Box", "KXResizeBox", "Makes each pixel the mean of those of the source that it covers.", KXResizeBox),
        resizing("Lanczos", "KXResizeLanczos3", "Weighs the pixels around a position, with three lobes on each side.",
            KXResizeLanczos3),
    };
}

} // namespace catalogue
