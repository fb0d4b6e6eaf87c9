#include "Entries.h"
#include "Profiles.h"

#include "KXCMSTransform.h"

namespace catalogue {

std::vector<Operation> profileAdjustments()
{
    using profiles::loaded, profiles::srgb, profiles::wideGamut;
    return {
        adjustment<KXCMSTransform>(
            { "Profile transform", "KXCMSTransform", "Converts colours from one ICC profile to another, perceptually.",
                { { "source, target", "", "RGB profiles; anything else leaves the pixels as they are",
                    "the profiles to convert from and to" } },
                "what Little CMS takes for new colours; colours that were just met are remembered", "", keepsAlpha },
            { { "wide gamut to sRGB", [] { return KXCMSTransform(loaded(wideGamut()), loaded(srgb())); } },
                { "sRGB to wide gamut", [] { return KXCMSTransform(loaded(srgb()), loaded(wideGamut())); } },
                { "empty", [] { return KXCMSTransform(); } } }),
    };
}

} // namespace catalogue
