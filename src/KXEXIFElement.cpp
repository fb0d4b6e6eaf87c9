#include "KXEXIFElement.h"

#include <QtCore/QObject>

#include <iterator>

namespace {

struct TagRow {
    unsigned short tag;
    const char *name;
    const char *description;
};

constexpr TagRow tagRows[] = {
    { 0, QT_TRANSLATE_NOOP("QObject", "Unkonwn"), QT_TRANSLATE_NOOP("QObject", "An unkonwn EXIF tag.") },
    { 256, QT_TRANSLATE_NOOP("QObject", "Image width"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of columns of image data, equal to the number of pixels per row. In JPEG compressed data a "
            "JPEG marker is used instead of this tag.") },
    { 257, QT_TRANSLATE_NOOP("QObject", "Image height"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of rows of image data. In JPEG compressed data a JPEG marker is used instead of this tag.") },
    { 258, QT_TRANSLATE_NOOP("QObject", "Bits per sample"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of bits per image component. In this standard each component of the image is 8 bits, so the "
            "value for this tag is 8. See also <SamplesPerPixel>. In JPEG compressed data a JPEG marker is used "
            "instead of this tag.") },
    { 259, QT_TRANSLATE_NOOP("QObject", "Compression scheme"),
        QT_TRANSLATE_NOOP("QObject",
            "The compression scheme used for the image data. When a primary image is JPEG compressed, this designation "
            "is not necessary and is omitted. When thumbnails use JPEG compression, this tag value is set to 6.") },
    { 262, QT_TRANSLATE_NOOP("QObject", "Pixel composition"),
        QT_TRANSLATE_NOOP(
            "QObject", "The pixel composition. In JPEG compressed data a JPEG marker is used instead of this tag.") },
    { 266, QT_TRANSLATE_NOOP("QObject", "Fill order"),
        QT_TRANSLATE_NOOP("QObject", "The logical order of bits within a byte.") },
    { 269, QT_TRANSLATE_NOOP("QObject", "Document name"),
        QT_TRANSLATE_NOOP("QObject", "The name of the document from which this image was scanned.") },
    { 270, QT_TRANSLATE_NOOP("QObject", "Image title"),
        QT_TRANSLATE_NOOP("QObject",
            "A character string giving the title of the image. It may be a comment such as \"1988 company picnic\" or "
            "the like. Two-bytes character codes cannot be used. When a 2-bytes code is necessary, the Exif Private "
            "tag <UserComment> is to be used.") },
    { 271, QT_TRANSLATE_NOOP("QObject", "Image input equipment manufacturer"),
        QT_TRANSLATE_NOOP("QObject",
            "The manufacturer of the recording equipment. This is the manufacturer of the DSC, scanner, video "
            "digitizer or other equipment that generated the image. When the field is left blank, it is treated as "
            "unknown.") },
    { 272, QT_TRANSLATE_NOOP("QObject", "Image input equipment model"),
        QT_TRANSLATE_NOOP("QObject",
            "The model name or model number of the equipment. This is the model name or number of the DSC, scanner, "
            "video digitizer or other equipment that generated the image. When the field is left blank, it is treated "
            "as unknown.") },
    { 273, QT_TRANSLATE_NOOP("QObject", "Image data location"),
        QT_TRANSLATE_NOOP("QObject",
            "For each strip, the byte offset of that strip. It is recommended that this be selected so the number of "
            "strip bytes does not exceed 64 Kbytes. With JPEG compressed data this designation is not needed and is "
            "omitted. See also <RowsPerStrip> and <StripByteCounts>.") },
    { 274, QT_TRANSLATE_NOOP("QObject", "Orientation of image"),
        QT_TRANSLATE_NOOP("QObject", "The image orientation viewed in terms of rows and columns.") },
    { 277, QT_TRANSLATE_NOOP("QObject", "Number of components"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of components per pixel. Since this standard applies to RGB and YCbCr images, the value set "
            "for this tag is 3. In JPEG compressed data a JPEG marker is used instead of this tag.") },
    { 278, QT_TRANSLATE_NOOP("QObject", "Number of rows per strip"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of rows per strip. This is the number of rows in the image of one strip when an image is "
            "divided into strips. With JPEG compressed data this designation is not needed and is omitted. See also "
            "<StripOffsets> and <StripByteCounts>.") },
    { 279, QT_TRANSLATE_NOOP("QObject", "Bytes per compressed strip"),
        QT_TRANSLATE_NOOP("QObject",
            "The total number of bytes in each strip. With JPEG compressed data this designation is not needed and is "
            "omitted.") },
    { 282, QT_TRANSLATE_NOOP("QObject", "Image resolution in width direction"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of pixels per <ResolutionUnit> in the <ImageWidth> direction. When the image resolution is "
            "unknown, 72 [dpi] is designated.") },
    { 283, QT_TRANSLATE_NOOP("QObject", "Image resolution in height direction"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of pixels per <ResolutionUnit> in the <ImageLength> direction. The same value as <XResolution> "
            "is designated.") },
    { 284, QT_TRANSLATE_NOOP("QObject", "Image data arrangement"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates whether pixel components are recorded in a chunky or planar format. In JPEG compressed files a "
            "JPEG marker is used instead of this tag. If this field does not exist, the TIFF default of 1 (chunky) is "
            "assumed.") },
    { 296, QT_TRANSLATE_NOOP("QObject", "Unit of X and Y resolution"),
        QT_TRANSLATE_NOOP("QObject",
            "The unit for measuring <XResolution> and <YResolution>. The same unit is used for both <XResolution> and "
            "<YResolution>. If the image resolution is unknown, 2 (inches) is designated.") },
    { 301, QT_TRANSLATE_NOOP("QObject", "Transfer function"),
        QT_TRANSLATE_NOOP("QObject",
            "A transfer function for the image, described in tabular style. Normally this tag is not necessary, since "
            "color space is specified in the color space information tag (<ColorSpace>).") },
    { 305, QT_TRANSLATE_NOOP("QObject", "Software used"),
        QT_TRANSLATE_NOOP("QObject",
            "This tag records the name and version of the software or firmware of the camera or image input device "
            "used to generate the image. The detailed format is not specified, but it is recommended that the example "
            "shown below be followed. When the field is left blank, it is treated as unknown.") },
    { 306, QT_TRANSLATE_NOOP("QObject", "File change date and time"),
        QT_TRANSLATE_NOOP("QObject",
            "The date and time of image creation. In Exif standard, it is the date and time the file was changed.") },
    { 315, QT_TRANSLATE_NOOP("QObject", "Person who created the image"),
        QT_TRANSLATE_NOOP("QObject",
            "This tag records the name of the camera owner, photographer or image creator. The detailed format is not "
            "specified, but it is recommended that the information be written as in the example below for ease of "
            "Interoperability. When the field is left blank, it is treated as unknown. Ex.) \"Camera owner, John "
            "Smith; Photographer, Michael Brown; Image creator, Ken James\"") },
    { 318, QT_TRANSLATE_NOOP("QObject", "White point chromaticity"),
        QT_TRANSLATE_NOOP("QObject",
            "The chromaticity of the white point of the image. Normally this tag is not necessary, since color space "
            "is specified in the colorspace information tag (<ColorSpace>).") },
    { 319, QT_TRANSLATE_NOOP("QObject", "Chromaticities of primaries"),
        QT_TRANSLATE_NOOP("QObject",
            "The chromaticity of the three primary colors of the image. Normally this tag is not necessary, since "
            "colorspace is specified in the colorspace information tag (<ColorSpace>).") },
    { 342, QT_TRANSLATE_NOOP("QObject", "Transfer range"),
        QT_TRANSLATE_NOOP("QObject", "Expands the range of the TransferFunction.") },
    { 512, QT_TRANSLATE_NOOP("QObject", "JPEGProc"),
        QT_TRANSLATE_NOOP("QObject", "This field indicates the process used to produce the compressed data.") },
    { 513, QT_TRANSLATE_NOOP("QObject", "Offset to JPEG SOI"),
        QT_TRANSLATE_NOOP("QObject",
            "The offset to the start byte (SOI) of JPEG compressed thumbnail data. This is not used for primary image "
            "JPEG data.") },
    { 514, QT_TRANSLATE_NOOP("QObject", "Bytes of JPEG data"),
        QT_TRANSLATE_NOOP("QObject",
            "The number of bytes of JPEG compressed thumbnail data. This is not used for primary image JPEG data. JPEG "
            "thumbnails are not divided but are recorded as a continuous JPEG bitstream from SOI to EOI. Appn and COM "
            "markers should not be recorded. Compressed thumbnails must be recorded in no more than 64 Kbytes, "
            "including all other data to be recorded in APP1.") },
    { 529, QT_TRANSLATE_NOOP("QObject", "Color space transformation matrix coefficients"),
        QT_TRANSLATE_NOOP("QObject",
            "The matrix coefficients for transformation from RGB to YCbCr image data. No default is given in TIFF; but "
            "here the value given in Appendix E, \"Color Space Guidelines\", is used as the default. The color space "
            "is declared in a color space information tag, with the default being the value that gives the optimal "
            "image characteristics Interoperability this condition.") },
    { 530, QT_TRANSLATE_NOOP("QObject", "Subsampling ratio of Y to C"),
        QT_TRANSLATE_NOOP("QObject",
            "The sampling ratio of chrominance components in relation to the luminance component. In JPEG compressed "
            "data a JPEG marker is used instead of this tag.") },
    { 531, QT_TRANSLATE_NOOP("QObject", "Y and C positioning"),
        QT_TRANSLATE_NOOP("QObject",
            "The position of chrominance components in relation to the luminance component. This field is designated "
            "only for JPEG compressed data or uncompressed YCbCr data. The TIFF default is 1 (centered); but when "
            "Y:Cb:Cr = 4:2:2 it is recommended in this standard that 2 (co-sited) be used to record data, in order to "
            "improve the image quality when viewed on TV systems. When this field does not exist, the reader shall "
            "assume the TIFF default. In the case of Y:Cb:Cr = 4:2:0, the TIFF default (centered) is recommended. If "
            "the reader does not have the capability of supporting both kinds of <YCbCrPositioning>, it shall follow "
            "the TIFF default regardless of the value in this field. It is preferable that readers be able to support "
            "both centered and co-sited positioning.") },
    { 532, QT_TRANSLATE_NOOP("QObject", "Pair of black and white reference values"),
        QT_TRANSLATE_NOOP("QObject",
            "The reference black point value and reference white point value. No defaults are given in TIFF, but the "
            "values below are given as defaults here. The color space is declared in a color space information tag, "
            "with the default being the value that gives the optimal image characteristics Interoperability these "
            "conditions.") },
    { 33421, QT_TRANSLATE_NOOP("QObject", "CFA repeat pattern dimension"),
        QT_TRANSLATE_NOOP("QObject",
            "Contains two values representing the minimum rows and columns to define the repeating patterns of the "
            "color filter array.") },
    { 33422, QT_TRANSLATE_NOOP("QObject", "CFA pattern"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the color filter array (CFA) geometric pattern of the image sensor when a one-chip color area "
            "sensor is used. It does not apply to all sensing methods.") },
    { 33423, QT_TRANSLATE_NOOP("QObject", "Battery level"),
        QT_TRANSLATE_NOOP("QObject", "Contains a value of the battery level as a fraction or string.") },
    { 33432, QT_TRANSLATE_NOOP("QObject", "Copyright holder"),
        QT_TRANSLATE_NOOP("QObject",
            "Copyright information. In this standard the tag is used to indicate both the photographer and editor "
            "copyrights. It is the copyright notice of the person or organization claiming rights to the image. The "
            "Interoperability copyright statement including date and rights should be written in this field; e.g., "
            "\"Copyright, John Smith, 19xx. All rights reserved.\". In this standard the field records both the "
            "photographer and editor copyrights, with each recorded in a separate part of the statement. When there is "
            "a clear distinction between the photographer and editor copyrights, these are to be written in the order "
            "of photographer followed by editor copyright, separated by NULL (in this case since the statement also "
            "ends with a NULL, there are two NULL codes). When only the photographer copyright is given, it is "
            "terminated by one NULL code. When only the editor copyright is given, the photographer copyright part "
            "consists of one space followed by a terminating NULL code, then the editor copyright is given. When the "
            "field is left blank, it is treated as unknown.") },
    { 33434, QT_TRANSLATE_NOOP("QObject", "Exposure time"),
        QT_TRANSLATE_NOOP("QObject", "Exposure time, given in seconds (sec).") },
    { 33437, QT_TRANSLATE_NOOP("QObject", "F number"), QT_TRANSLATE_NOOP("QObject", "The F number.") },
    { 33723, QT_TRANSLATE_NOOP("QObject", "IPTC-NAA"), QT_TRANSLATE_NOOP("QObject", "Contains an IPTC/NAA record.") },
    { 34675, QT_TRANSLATE_NOOP("QObject", "ICC profile"),
        QT_TRANSLATE_NOOP(
            "QObject", "Contains an InterColor Consortium (ICC) format color space characterization/profile.") },
    { 34850, QT_TRANSLATE_NOOP("QObject", "Exposure program"),
        QT_TRANSLATE_NOOP(
            "QObject", "The class of the program used by the camera to set exposure when the picture is taken.") },
    { 34852, QT_TRANSLATE_NOOP("QObject", "Spectral sensitivity"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the spectral sensitivity of each channel of the camera used. The tag value is an ASCII string "
            "compatible with the standard developed by the ASTM Technical Committee.") },
    { 34855, QT_TRANSLATE_NOOP("QObject", "ISO speed ratings"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the ISO Speed and ISO Latitude of the camera or input device as specified in ISO 12232.") },
    { 34856, QT_TRANSLATE_NOOP("QObject", "Optoelectric coefficient"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the Opto-Electoric Conversion Function (OECF) specified in ISO 14524. <OECF> is the "
            "relationship between the camera optical input and the image values.") },
    { 36864, QT_TRANSLATE_NOOP("QObject", "Exif version"),
        QT_TRANSLATE_NOOP("QObject",
            "The version of this standard supported. Nonexistence of this field is taken to mean nonconformance to the "
            "standard.") },
    { 36867, QT_TRANSLATE_NOOP("QObject", "Date and time original image was generated"),
        QT_TRANSLATE_NOOP("QObject",
            "The date and time when the original image data was generated. For a digital still camera the date and "
            "time the picture was taken are recorded.") },
    { 36868, QT_TRANSLATE_NOOP("QObject", "Date and time image was made digital data"),
        QT_TRANSLATE_NOOP("QObject", "The date and time when the image was stored as digital data.") },
    { 37121, QT_TRANSLATE_NOOP("QObject", "Meaning of each component"),
        QT_TRANSLATE_NOOP("QObject",
            "Information specific to compressed data. The channels of each component are arranged in order from the "
            "1st component to the 4th. For uncompressed data the data arrangement is given in the "
            "<PhotometricInterpretation> tag. However, since <PhotometricInterpretation> can only express the order of "
            "Y, Cb and Cr, this tag is provided for cases when compressed data uses components other than Y, Cb, and "
            "Cr and to enable support of other sequences.") },
    { 37122, QT_TRANSLATE_NOOP("QObject", "Image compression mode"),
        QT_TRANSLATE_NOOP("QObject",
            "Information specific to compressed data. The compression mode used for a compressed image is indicated in "
            "unit bits per pixel.") },
    { 37377, QT_TRANSLATE_NOOP("QObject", "Shutter speed"),
        QT_TRANSLATE_NOOP(
            "QObject", "Shutter speed. The unit is the APEX (Additive System of Photographic Exposure) setting.") },
    { 37378, QT_TRANSLATE_NOOP("QObject", "Aperture"),
        QT_TRANSLATE_NOOP("QObject", "The lens aperture. The unit is the APEX value.") },
    { 37379, QT_TRANSLATE_NOOP("QObject", "Brightness"),
        QT_TRANSLATE_NOOP("QObject",
            "The value of brightness. The unit is the APEX value. Ordinarily it is given in the range of -99.99 to "
            "99.99.") },
    { 37380, QT_TRANSLATE_NOOP("QObject", "Exposure bias"),
        QT_TRANSLATE_NOOP("QObject",
            "The exposure bias. The units is the APEX value. Ordinarily it is given in the range of -99.99 to "
            "99.99.") },
    { 37381, QT_TRANSLATE_NOOP("QObject", "Maximum lens aperture"),
        QT_TRANSLATE_NOOP("QObject",
            "The smallest F number of the lens. The unit is the APEX value. Ordinarily it is given in the range of "
            "00.00 to 99.99, but it is not limited to this range.") },
    { 37382, QT_TRANSLATE_NOOP("QObject", "Subject distance"),
        QT_TRANSLATE_NOOP("QObject", "The distance to the subject, given in meters.") },
    { 37383, QT_TRANSLATE_NOOP("QObject", "Metering mode"), QT_TRANSLATE_NOOP("QObject", "The metering mode.") },
    { 37384, QT_TRANSLATE_NOOP("QObject", "Light source"), QT_TRANSLATE_NOOP("QObject", "The kind of light source.") },
    { 37385, QT_TRANSLATE_NOOP("QObject", "Flash"),
        QT_TRANSLATE_NOOP("QObject", "This tag is recorded when an image is taken using a strobe light (flash).") },
    { 37386, QT_TRANSLATE_NOOP("QObject", "Lens focal length"),
        QT_TRANSLATE_NOOP("QObject",
            "The actual focal length of the lens, in mm. Conversion is not made to the focal length of a 35 mm film "
            "camera.") },
    { 37500, QT_TRANSLATE_NOOP("QObject", "Manufacturer notes"),
        QT_TRANSLATE_NOOP("QObject",
            "A tag for manufacturers of Exif writers to record any desired information. The contents are up to the "
            "manufacturer.") },
    { 37510, QT_TRANSLATE_NOOP("QObject", "User comments"),
        QT_TRANSLATE_NOOP("QObject",
            "A tag for Exif users to write keywords or comments on the image besides those in <ImageDescription>, and "
            "without the character code limitations of the <ImageDescription> tag.") },
    { 37520, QT_TRANSLATE_NOOP("QObject", "DateTime subseconds"),
        QT_TRANSLATE_NOOP("QObject", "A tag used to record fractions of seconds for the <DateTime> tag.") },
    { 37521, QT_TRANSLATE_NOOP("QObject", "DateTimeOriginal subseconds"),
        QT_TRANSLATE_NOOP("QObject", "A tag used to record fractions of seconds for the <DateTimeOriginal> tag.") },
    { 37522, QT_TRANSLATE_NOOP("QObject", "DateTimeDigitized subseconds"),
        QT_TRANSLATE_NOOP("QObject", "A tag used to record fractions of seconds for the <DateTimeDigitized> tag.") },
    { 40960, QT_TRANSLATE_NOOP("QObject", "Supported FlashPix version"),
        QT_TRANSLATE_NOOP("QObject", "The FlashPix format version supported by a FPXR file.") },
    { 40961, QT_TRANSLATE_NOOP("QObject", "Color space information"),
        QT_TRANSLATE_NOOP("QObject",
            "The color space information tag is always recorded as the color space specifier. Normally sRGB is used to "
            "define the color space based on the PC monitor conditions and environment. If a color space other than "
            "sRGB is used, Uncalibrated is set. Image data recorded as Uncalibrated can be treated as sRGB when it is "
            "converted to FlashPix.") },
    { 40962, QT_TRANSLATE_NOOP("QObject", "Valid image width"),
        QT_TRANSLATE_NOOP("QObject",
            "Information specific to compressed data. When a compressed file is recorded, the valid width of the "
            "meaningful image must be recorded in this tag, whether or not there is padding data or a restart marker. "
            "This tag should not exist in an uncompressed file.") },
    { 40963, QT_TRANSLATE_NOOP("QObject", "Valid image height"),
        QT_TRANSLATE_NOOP("QObject",
            "Information specific to compressed data. When a compressed file is recorded, the valid height of the "
            "meaningful image must be recorded in this tag, whether or not there is padding data or a restart marker. "
            "This tag should not exist in an uncompressed file. Since data padding is unnecessary in the vertical "
            "direction, the number of lines recorded in this valid image height tag will in fact be the same as that "
            "recorded in the SOF.") },
    { 41483, QT_TRANSLATE_NOOP("QObject", "Flash energy"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the strobe energy at the time the image is captured, as measured in Beam Candle Power Seconds "
            "(BCPS).") },
    { 41484, QT_TRANSLATE_NOOP("QObject", "Spatial frequency response"),
        QT_TRANSLATE_NOOP("QObject",
            "This tag records the camera or input device spatial frequency table and SFR values in the direction of "
            "image width, image height, and diagonal direction, as specified in ISO 12233.") },
    { 41486, QT_TRANSLATE_NOOP("QObject", "Focal plane X resolution"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the number of pixels in the image width (X) direction per <FocalPlaneResolutionUnit> on the "
            "camera focal plane.") },
    { 41487, QT_TRANSLATE_NOOP("QObject", "Focal plane Y resolution"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the number of pixels in the image height (V) direction per <FocalPlaneResolutionUnit> on the "
            "camera focal plane.") },
    { 41488, QT_TRANSLATE_NOOP("QObject", "Focal plane resolution unit"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the unit for measuring <FocalPlaneXResolution> and <FocalPlaneYResolution>. This value is the "
            "same as the <ResolutionUnit>.") },
    { 41492, QT_TRANSLATE_NOOP("QObject", "Subject location"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the location of the main subject in the scene. The value of this tag represents the pixel at "
            "the center of the main subject relative to the left edge, prior to rotation processing as per the "
            "<Rotation> tag. The first value indicates the X column number and second indicates the Y row number.") },
    { 41493, QT_TRANSLATE_NOOP("QObject", "Exposure index"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the exposure index selected on the camera or input device at the time the image is captured.") },
    { 41495, QT_TRANSLATE_NOOP("QObject", "Sensing method"),
        QT_TRANSLATE_NOOP("QObject", "Indicates the image sensor type on the camera or input device.") },
    { 41728, QT_TRANSLATE_NOOP("QObject", "File source"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the image source. If a DSC recorded the image, this tag value of this tag always be set to 3, "
            "indicating that the image was recorded on a DSC.") },
    { 41729, QT_TRANSLATE_NOOP("QObject", "Scene type"),
        QT_TRANSLATE_NOOP("QObject",
            "Indicates the type of scene. If a DSC recorded the image, this tag value must always be set to 1, "
            "indicating that the image was directly photographed.") },
};

static_assert(std::size(tagRows) == KXEXIFElement::SceneType + 1, "one row per kind");

/// Null for a value that is no kind.
const TagRow *rowOf(KXEXIFElement::Type type)
{
    return unsigned(type) < std::size(tagRows) ? &tagRows[unsigned(type)] : nullptr;
}

} // namespace

class KXEXIFElement::Private {
public:
    Type m_Type;
    QVariant m_Value;
};

KXEXIFElement::KXEXIFElement(Type type, const QVariant &value)
    : d(new Private { type, value })
{
}

KXEXIFElement::KXEXIFElement(const KXEXIFElement &other)
    : d(new Private(*other.d))
{
}

KXEXIFElement::~KXEXIFElement() = default;

KXEXIFElement &KXEXIFElement::operator=(const KXEXIFElement &other)
{
    d.reset(new Private(*other.d));
    return *this;
}

KXEXIFElement::Type KXEXIFElement::GetType() const { return d->m_Type; }

QVariant KXEXIFElement::GetValue() const { return d->m_Value; }

void KXEXIFElement::SetValue(const QVariant &value) { d.reset(new Private { d->m_Type, value }); }

QByteArray KXEXIFElement::ToRawDataValue() const { return d->m_Value.toByteArray(); }

unsigned short KXEXIFElement::GetTag(Type type)
{
    const TagRow *row = rowOf(type);
    return row ? row->tag : 0;
}

QString KXEXIFElement::GetTypeName(Type type)
{
    const TagRow *row = rowOf(type);
    return row ? QObject::tr(row->name) : QString();
}

QString KXEXIFElement::GetDescription(Type type)
{
    const TagRow *row = rowOf(type);
    return row ? QObject::tr(row->description) : QString();
}
