#include "Entries.h"

#include "KXCMSTransform.h"

#include <lcms2.h>

namespace catalogue {

namespace {

/// The profile of @p made, which is closed.
KXCMSProfile profileOf(cmsHPROFILE made)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(made, nullptr, &size);
    QByteArray bytes(int(size), 0);
    cmsSaveProfileToMem(made, bytes.data(), &size);
    cmsCloseProfile(made);
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

KXCMSProfile srgb() { return profileOf(cmsCreate_sRGBProfile()); }

/// Primaries far outside of sRGB's, and a gamma of 2.2.
KXCMSProfile wideGamut()
{
    const cmsCIExyYTRIPLE primaries = { { 0.7347, 0.2653, 1 }, { 0.1152, 0.8264, 1 }, { 0.1566, 0.0177, 1 } };
    cmsToneCurve *const gamma = cmsBuildGamma(nullptr, 2.2), *const curves[] = { gamma, gamma, gamma };
    const cmsHPROFILE made = cmsCreateRGBProfile(cmsD50_xyY(), &primaries, curves);
    cmsFreeToneCurve(gamma);
    return profileOf(made);
}

} // namespace

std::vector<Operation> profileAdjustments()
{
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
        { { "wide gamut to sRGB", [] { return KXCMSTransform(wideGamut(), srgb()); } },
            { "sRGB to wide gamut", [] { return KXCMSTransform(srgb(), wideGamut()); } },
            { "empty", [] { return KXCMSTransform(); } } }));

    return list;
}

} // namespace catalogue
