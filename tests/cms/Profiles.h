#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include <cmath>
#include <cstring>

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

inline QByteArray rgb(double gamma, const cmsCIExyYTRIPLE &primaries)
{
    const cmsCIExyY d65 = { 0.3127, 0.3290, 1 };
    cmsToneCurve *const curve = cmsBuildGamma(nullptr, gamma);
    cmsToneCurve *const curves[] = { curve, curve, curve };
    const QByteArray bytes = saved(cmsCreateRGBProfile(&d65, &primaries, curves));
    cmsFreeToneCurve(curve);
    return bytes;
}

/// Two profiles that Little CMS describes with one text.
inline QByteArray wideGamut() { return rgb(2.2, { { 0.64, 0.33, 1 }, { 0.21, 0.71, 1 }, { 0.15, 0.06, 1 } }); }
inline QByteArray linearWideGamut() { return rgb(1.0, { { 0.64, 0.33, 1 }, { 0.21, 0.71, 1 }, { 0.15, 0.06, 1 } }); }

inline QByteArray grey()
{
    cmsToneCurve *const curve = cmsBuildGamma(nullptr, 1.8);
    const QByteArray bytes = saved(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return bytes;
}

/// Any smooth map between 16-bit channels: the tables need not be good, only to differ from place to place.
inline cmsInt32Number sample(const cmsUInt16Number in[], cmsUInt16Number out[], void *channels)
{
    const auto *const count = static_cast<const int *>(channels);
    for (int o = 0; o < count[1]; ++o) {
        double sum = 0;
        for (int i = 0; i < count[0]; ++i)
            sum += in[i] / 65535.0 * (i == o ? 0.7 : 0.3 / (count[0] - 1));
        out[o] = cmsUInt16Number(65535 * std::pow(sum, 1 + 0.2 * o));
    }
    return TRUE;
}

/// Writes a table with @p points grid points, and curves around it, for the tag @p tag.
inline void writeTable(cmsHPROFILE profile, cmsTagSignature tag, int in, int out, unsigned points)
{
    int channels[] = { in, out };
    cmsPipeline *const lut = cmsPipelineAlloc(nullptr, unsigned(in), unsigned(out));
    cmsStage *const table = cmsStageAllocCLut16bit(nullptr, points, unsigned(in), unsigned(out), nullptr);
    cmsStageSampleCLut16bit(table, sample, channels, 0);
    cmsPipelineInsertStage(lut, cmsAT_END, cmsStageAllocToneCurves(nullptr, unsigned(in), nullptr));
    cmsPipelineInsertStage(lut, cmsAT_END, table);
    cmsPipelineInsertStage(lut, cmsAT_END, cmsStageAllocToneCurves(nullptr, unsigned(out), nullptr));
    cmsWriteTag(profile, tag, lut);
    cmsPipelineFree(lut);
}

/// A profile of tables: version 2.1 stores them as lut16, version 4.3 as lutAToB and lutBToA.
inline QByteArray tables(
    cmsColorSpaceSignature space, int channels, cmsProfileClassSignature deviceClass, double version, unsigned points)
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, version);
    cmsSetDeviceClass(profile, deviceClass);
    cmsSetColorSpace(profile, space);
    cmsSetPCS(profile, cmsSigLabData);
    writeTable(profile, cmsSigAToB0Tag, channels, 3, points);
    writeTable(profile, cmsSigBToA0Tag, 3, channels, points);
    return saved(profile);
}

inline QByteArray cmyk() { return tables(cmsSigCmykData, 4, cmsSigOutputClass, 2.1, 5); }
inline QByteArray rgbTables2() { return tables(cmsSigRgbData, 3, cmsSigDisplayClass, 2.1, 7); }
inline QByteArray rgbTables4() { return tables(cmsSigRgbData, 3, cmsSigDisplayClass, 4.3, 7); }

inline QList<QByteArray> all()
{
    return { srgb(), wideGamut(), linearWideGamut(), grey(), cmyk(), rgbTables2(), rgbTables4() };
}

} // namespace profiles
