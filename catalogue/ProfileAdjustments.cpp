#include "Entries.h"
#include "Profiles.h"

#include "KXCMSTransform.h"

namespace catalogue {

std::vector<Operation> profileAdjustments()
{
    using profiles::loaded, profiles::srgb, profiles::wideGamut;
    std::vector<Operation> list;

    Operation profile;
    profile.name = "Profile transform";
    profile.className = "KXCMSTransform";
    profile.summary = "Converts colours from one ICC profile to another, perceptually.";
    profile.parameters = { { "source, target", "", "RGB profiles; anything else leaves the pixels as they are",
        "the profiles to convert from and to" } };
    profile.cost = "what Little CMS takes for new colours; colours that were just met are remembered";
    profile.promises.keepsAlpha = true;
    list.push_back(adjustment<KXCMSTransform>(profile,
        { { "wide gamut to sRGB", [] { return KXCMSTransform(loaded(wideGamut()), loaded(srgb())); } },
            { "sRGB to wide gamut", [] { return KXCMSTransform(loaded(srgb()), loaded(wideGamut())); } },
            { "empty", [] { return KXCMSTransform(); } } }));

    return list;
}

} // namespace catalogue
