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

/// A profile of chains of elements in both directions: segmented curves and a matrix.
inline QByteArray rgbChains()
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 4.3);
    cmsSetDeviceClass(profile, cmsSigDisplayClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigXYZData);
    cmsCurveSegment segments[] = { { -1e22f, 0, 6, { 1, 1, 0, 0 }, 0, nullptr },
        { 0, 1, 6, { 1.9, 0.9, 0.1, 0.01 }, 0, nullptr }, { 1, 1e22f, 6, { 1, 1, 0, 0 }, 0, nullptr } };
    cmsToneCurve *const curve = cmsBuildSegmentedToneCurve(nullptr, 3, segments),
                        *const curves[] = { curve, curve, curve };
    const double matrix[] = { 0.4, 0.3, 0.1, 0.2, 0.6, 0.1, 0.1, 0.1, 0.5 };
    for (const cmsTagSignature tag : { cmsSigDToB0Tag, cmsSigBToD0Tag }) {
        cmsPipeline *const chain = cmsPipelineAlloc(nullptr, 3, 3);
        cmsPipelineInsertStage(chain, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, curves));
        cmsPipelineInsertStage(chain, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, matrix, nullptr));
        cmsWriteTag(profile, tag, chain);
        cmsPipelineFree(chain);
    }
    cmsFreeToneCurve(curve);
    return saved(profile);
}

/// A profile of a list of named colours.
inline QByteArray named()
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetDeviceClass(profile, cmsSigNamedColorClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsNAMEDCOLORLIST *const list = cmsAllocNamedColorList(nullptr, 0, 3, "", "");
    cmsUInt16Number place[] = { 1, 2, 3 }, colorants[cmsMAXCHANNELS] = { 4, 5, 6 };
    cmsAppendNamedColor(list, "red", place, colorants);
    cmsWriteTag(profile, cmsSigNamedColor2Tag, list);
    cmsFreeNamedColorList(list);
    return saved(profile);
}

inline QByteArray cmyk() { return tables(cmsSigCmykData, 4, 2.1); }
inline QByteArray rgbTables2() { return tables(cmsSigRgbData, 3, 2.1); }
inline QByteArray rgbTables4() { return tables(cmsSigRgbData, 3, 4.3); }

inline QList<QByteArray> all()
{
    return { srgb(), wideGamut(), linearWideGamut(), grey(), cmyk(), rgbTables2(), rgbTables4(), rgbChains(), named() };
}

inline KXCMSProfile loaded(const QByteArray &bytes)
{
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

enum class Place { BehindTheChain, BeforeTheChain };

/// A profile of one tag, a chain of @p elements that are all the same piece of data, @p element: long to read.
inline QByteArray chainOf(quint32 elements, const QByteArray &element, Place place = Place::BehindTheChain)
{
    const bool before = place == Place::BeforeTheChain;
    const quint32 length = quint32(element.size()), table = 16 + 8 * elements, channels = 0x30003;
    QByteArray bytes = srgb().left(128);
    QDataStream out(&bytes, QIODevice::Append);
    out << 1 << quint32(cmsSigDToB0Tag) << 144 + (before ? length : 0)
        << table + (before ? 0 : length); // the directory
    if (before)
        out.writeRawData(element.constData(), element.size());
    out << quint32(cmsSigMultiProcessElementType) << 0 << channels << elements;
    for (quint32 i = 0; i < elements; ++i)
        out << (before ? 0 - length : table) << length; // counted from the begin of the chain, and wrapping
    if (!before)
        out.writeRawData(element.constData(), element.size());
    QDataStream(&bytes, QIODevice::ReadWrite) << quint32(bytes.size());
    return bytes;
}

/// A chain of tables of @p side points along each of three inputs.
inline QByteArray chain(quint32 elements, quint32 side)
{
    QByteArray table;
    const quint32 points = side << 24 | side << 16 | side << 8;
    QDataStream(&table, QIODevice::WriteOnly) << quint32(cmsSigCLutElemType) << 0 << 0x30003 << points << 0 << 0 << 0;
    return chainOf(elements, table + QByteArray(int(12 * side * side * side), 0));
}

/// An element of a chain: a set of curves that are all one curve of straight segments.
inline QByteArray curveSet(quint32 curves, quint32 segments)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setFloatingPointPrecision(QDataStream::SinglePrecision);
    out << quint32(cmsSigCurveSetElemType) << 0 << (curves << 16 | curves);
    for (quint32 i = 0; i < curves; ++i)
        out << 12 + 8 * curves << 12 + 32 * segments - 4;
    out << quint32(cmsSigSegmentedCurve) << 0 << (segments << 16);
    for (quint32 i = 1; i < segments; ++i)
        out << float(i) / float(segments); // where one ends and the next one begins
    for (quint32 i = 0; i < segments; ++i)
        out << quint32(cmsSigFormulaCurveSeg) << 0 << 0 << 1.f << 1.f << 0.f << 0.f; // (1 * x + 0) ^ 1 + 0
    return bytes;
}

} // namespace profiles
