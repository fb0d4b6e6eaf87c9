#pragma once

#include "KXCMSProfile.h"

#include <QtCore/QDataStream>
#include <QtCore/QList>

#include <cmath>
#include <cstring>
#include <vector>

#include <lcms2.h>

/// ICC profiles built with Little CMS: one of each kind that the library meets. The same bytes in every run.
namespace profiles {

/// The bytes of @p profile, which is closed. The header's date is set to a fixed one.
inline QByteArray saved(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    QByteArray bytes(int(size), 0);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    std::memcpy(bytes.data() + 24, "\x07\xd0\0\x01\0\x01\0\0\0\0\0\0", 12);
    return bytes;
}

inline QByteArray srgb() { return saved(cmsCreate_sRGBProfile()); }

/// A profile of that gamma. Little CMS describes all of a kind with one text.
inline QByteArray ofGamma(double gamma, bool grey)
{
    const cmsCIExyYTRIPLE wide = { { 0.64, 0.33, 1 }, { 0.21, 0.71, 1 }, { 0.15, 0.06, 1 } };
    cmsToneCurve *const curve = cmsBuildGamma(nullptr, gamma), *const curves[] = { curve, curve, curve };
    const QByteArray bytes =
        saved(grey ? cmsCreateGrayProfile(cmsD50_xyY(), curve) : cmsCreateRGBProfile(cmsD50_xyY(), &wide, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

inline QByteArray wideGamut() { return ofGamma(2.2, false); }
inline QByteArray linearWideGamut() { return ofGamma(1.0, false); }
inline QByteArray grey() { return ofGamma(1.8, true); }

/// A profile of tables of any values, with curves around them: lut16 in version 2.1, lutAToB and lutBToA in 4.3.
inline QByteArray tables(cmsColorSpaceSignature space, unsigned channels, double version)
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, version);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, space);
    cmsSetPCS(profile, cmsSigLabData);
    for (const cmsTagSignature tag : { cmsSigAToB0Tag, cmsSigBToA0Tag }) {
        const unsigned in = tag == cmsSigAToB0Tag ? channels : 3, out = channels + 3 - in;
        std::vector<cmsUInt16Number> values(size_t(std::pow(5, in)) * out); // five points a side
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = cmsUInt16Number(i * 40503);
        cmsPipeline *const lut = cmsPipelineAlloc(nullptr, in, out);
        cmsPipelineInsertStage(lut, cmsAT_END, cmsStageAllocToneCurves(nullptr, in, nullptr));
        cmsPipelineInsertStage(lut, cmsAT_END, cmsStageAllocCLut16bit(nullptr, 5, in, out, values.data()));
        cmsPipelineInsertStage(lut, cmsAT_END, cmsStageAllocToneCurves(nullptr, out, nullptr));
        cmsWriteTag(profile, tag, lut);
        cmsPipelineFree(lut);
    }
    return saved(profile);
}

inline QByteArray cmyk() { return tables(cmsSigCmykData, 4, 2.1); }
inline QByteArray rgbTables2() { return tables(cmsSigRgbData, 3, 2.1); }
inline QByteArray rgbTables4() { return tables(cmsSigRgbData, 3, 4.3); }

inline QList<QByteArray> all()
{
    return { srgb(), wideGamut(), linearWideGamut(), grey(), cmyk(), rgbTables2(), rgbTables4() };
}

inline KXCMSProfile loaded(const QByteArray &bytes)
{
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

/// A profile of one tag, a chain of @p elements that are all one table of @p side by @p side colours: long to read.
inline QByteArray chain(quint32 elements, quint32 side)
{
    const quint32 size = 16 + 8 * elements + 28 + 8 * side * side, channels = 0x20002;
    QByteArray bytes = srgb().left(128);
    QDataStream out(&bytes, QIODevice::Append);
    out << 1 << quint32(cmsSigDToB0Tag) << 144 << size; // the directory
    out << quint32(cmsSigMultiProcessElementType) << 0 << channels << elements;
    for (quint32 i = 0; i < elements; ++i)
        out << 16 + 8 * elements << 0;
    out << quint32(cmsSigCLutElemType) << 0 << channels << (side << 24 | side << 16) << 0 << 0 << 0;
    bytes.append(QByteArray(int(8 * side * side), 0));
    QDataStream(&bytes, QIODevice::ReadWrite) << quint32(bytes.size());
    return bytes;
}

} // namespace profiles
