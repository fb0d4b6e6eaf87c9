#pragma once

/// @file
/// EXIF metadata of an image.

#include "KXGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <memory>

/// One typed EXIF tag with its value, and the dictionary of the tags.
///
/// Elements are values: a copy is independent of the original. They are neither read from nor written to files here;
/// the value is what the file reader put in. An image holds a list of pointers to elements and owns them
/// (@c KXImage::SetExifElements).
///
/// Values: an element keeps any QVariant as it is. Readers and dialogs of one application have to agree; this goes well
/// with the types that the standard gives the tags:
///
///     type of the standard            QVariant of    example         ToRawDataValue
///     ASCII                           QString        Make            the text in UTF-8
///     BYTE, UNDEFINED                 QByteArray     MakerNote       the bytes
///     SHORT, LONG, one number         uint           Orientation     "6"
///     RATIONAL, SRATIONAL             double         ExposureTime    "0.004"
///     several numbers of any type     QVariantList   BitsPerSample   nothing
///
/// @code
/// image.SetExifElements({ new KXEXIFElement(KXEXIFElement::Make, QString("Maker")),
///     new KXEXIFElement(KXEXIFElement::Orientation, 6u),
///     new KXEXIFElement(KXEXIFElement::BitsPerSample, QVariantList { 8u, 8u, 8u }) });
/// @endcode
///
/// Threads: as for any value. The dictionary functions may be called from any thread.
class KX_EXPORT KXEXIFElement {
public:
    /// The kinds of tags, in ascending order of their tag numbers, so that a reader may search by tag. The numbers are
    /// those of the rows of the dictionary.
    enum Type : int {
        Unknown = 0,
        ImageWidth,
        ImageLength,
        BitsPerSample,
        Compression,
        PhotometricInterpretation,
        FillOrder,
        DocumentName,
        ImageDescription,
        Make,
        Model,
        StripOffsets,
        Orientation,
        SamplesPerPixel,
        RowsPerStrip,
        StripByteCounts,
        XResolution,
        YResolution,
        PlanarConfiguration,
        ResolutionUnit,
        TransferFunction,
        Software,
        DateTime,
        Artist,
        WhitePoint,
        PrimaryChromaticities,
        TransferRange,
        JPEGProc,
        JPEGInterchangeFormat,
        JPEGInterchangeFormatLength,
        YCbCrCoefficients,
        YCbCrSubSampling,
        YCbCrPositioning,
        ReferenceBlackWhite,
        CFARepeatPatternDim,
        CFAPattern,
        BatteryLevel,
        Copyright,
        ExposureTime,
        FNumber,
        IPTCNAA,
        InterColorProfile,
        ExposureProgram,
        SpectralSensitivity,
        ISOSpeedRatings,
        OECF,
        ExifVersion,
        DateTimeOriginal,
        DateTimeDigitized,
        ComponentsConfiguration,
        CompressedBitsPerPixel,
        ShutterSpeedValue,
        ApertureValue,
        BrightnessValue,
        ExposureBiasValue,
        MaxApertureValue,
        SubjectDistance,
        MeteringMode,
        LightSource,
        Flash,
        FocalLength,
        MakerNote,
        UserComment,
        SubSecTime,
        SubSecTimeOriginal,
        SubSecTimeDigitized,
        FlashpixVersion,
        ColorSpace,
        PixelXDimension,
        PixelYDimension,
        FlashEnergy,
        SpatialFrequencyResponse,
        FocalPlaneXResolution,
        FocalPlaneYResolution,
        FocalPlaneResolutionUnit,
        SubjectLocation,
        ExposureIndex,
        SensingMethod,
        FileSource,
        SceneType,
    };

    KXEXIFElement(Type type, const QVariant &value);
    KXEXIFElement(const KXEXIFElement &other);
    ~KXEXIFElement();
    KXEXIFElement &operator=(const KXEXIFElement &other);

    Type GetType() const;

    QVariant GetValue() const;
    void SetValue(const QVariant &value);

    /// The value by QVariant::toByteArray(): the bytes of a byte array, numbers and strings as text, nothing for what
    /// QVariant cannot convert.
    QByteArray ToRawDataValue() const;

    /// The number of the tag in the Exif standard (TIFF tags included). 0 for @c Unknown and for any value that is no
    /// kind.
    static unsigned short GetTag(Type type);

    /// A short name to show, and a description of one or more sentences after the Exif standard, in which names of tags
    /// stand in angle brackets: plain text, not markup. Both are translated by QObject::tr with the English text as the
    /// key, in its context "QObject". An empty string for a value that is no kind; @c Unknown is one, and its texts say
    /// "Unkonwn" and "An unkonwn EXIF tag.": translations go by these keys, which therefore stay as they are.
    static QString GetTypeName(Type type);
    static QString GetDescription(Type type);

private:
    class Private;
    std::unique_ptr<Private> d;
};
