#include "Entries.h"

#include "KXBlur.h"

namespace catalogue {

std::vector<Operation> alphaAdjustments()
{
    std::vector<Operation> list;

    Operation premultiply;
    premultiply.name = "Premultiply";
    premultiply.className = "KXBlur::PremultiplyAlpha";
    premultiply.summary = "Multiplies each colour by its alpha, as a convolution of straight pixels wants it.";
    premultiply.cost = "next to nothing";
    premultiply.kernel = "PremultiplyAlphaAVX2";
    premultiply.promises.keepsAlpha = true;
    list.push_back(
        adjustment<KXBlur::PremultiplyAlpha>(premultiply, { { "", [] { return KXBlur::PremultiplyAlpha(); } } }));

    Operation unpremultiply;
    unpremultiply.name = "Unpremultiply";
    unpremultiply.className = "KXBlur::ReturnAlpha";
    unpremultiply.summary = "Divides each colour by its alpha again; a colour above its alpha wraps.";
    unpremultiply.cost = "three divisions a pixel";
    unpremultiply.kernel = "ReturnAlphaAVX2";
    unpremultiply.promises.keepsAlpha = true;
    list.push_back(adjustment<KXBlur::ReturnAlpha>(unpremultiply, { { "", [] { return KXBlur::ReturnAlpha(); } } }));

    return list;
}

} // namespace catalogue
