#include "Entries.h"

#include "KXBlur.h"

namespace catalogue {

std::vector<Operation> alphaAdjustments()
{
    return {
        adjustment<KXBlur::PremultiplyAlpha>({ "Premultiply", "KXBlur::PremultiplyAlpha",
            "Multiplies each colour by its alpha, as a convolution of straight pixels wants it.", {}, "next to nothing",
            "PremultiplyAlphaAVX2", keepsAlpha }),
        adjustment<KXBlur::ReturnAlpha>({ "Unpremultiply", "KXBlur::ReturnAlpha",
            "Divides each colour by its alpha again; a colour above its alpha wraps.", {}, "three divisions a pixel",
            "ReturnAlphaAVX2", keepsAlpha }),
    };
}

} // namespace catalogue
