#include "Profile.h"

#include "OpenProfile.h"
#include "support/Log.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <algorithm>
#include <vector>

namespace tint {

namespace {

// The layout of a profile, in bytes. Little CMS has read the header and the directory before anything here looks at
// them, so they are there. An entry of the directory holds the signature of a tag, its position and its size.
constexpr quint32 colorSpaceAt = 16;
constexpr quint32 tagCountAt = 128;
constexpr quint32 directoryAt = 132;
constexpr quint32 entryBytes = 12;

quint32 wordAt(const QByteArray &data, quint64 offset) { return qFromBigEndian<quint32>(data.constData() + offset); }

struct DirectoryEntry {
    quint64 position;
    quint64 size;
};

DirectoryEntry entryAt(const QByteArray &data, quint32 index)
{
    const quint32 entry = directoryAt + entryBytes * index;
    return { wordAt(data, entry + 4), wordAt(data, entry + 8) };
}

/// Whether every tag lies within the profile. Little CMS passes over those that do not, and would take half of a
/// profile for a whole one.
bool tagsLieInside(const QByteArray &data)
{
    for (quint32 i = 0; i < wordAt(data, tagCountAt); ++i) {
        const DirectoryEntry entry = entryAt(data, i);
        if (entry.position + entry.size > quint64(data.size()))
            return false;
    }
    return true;
}

/// Whether the element at @p position is a table with more inputs than any conversion needs: each input doubles the
/// time that it takes to look a colour up. Only profiles of three colours are ever converted, so only theirs are looked
/// at.
bool isWideTable(const QByteArray &data, quint64 position)
{
    constexpr quint32 widest = 6;
    return wordAt(data, colorSpaceAt) == cmsSigRgbData && position + 12 <= quint64(data.size())
        && wordAt(data, position) == cmsSigCLutElemType && wordAt(data, position + 8) >> 16 > widest;
}

/// Whether no tag is a chain of more elements, or of wider ones, than any conversion needs. All elements of a chain may
/// be the same piece of data, so that a short tag can state a long chain; and each element costs time for every colour
/// of a table that is made from the chain.
bool chainsAreShort(const QByteArray &data)
{
    constexpr quint32 longest = 32;
    for (quint32 i = 0; i < wordAt(data, tagCountAt); ++i) {
        const DirectoryEntry entry = entryAt(data, i);
        if (entry.size < 16 || wordAt(data, entry.position) != cmsSigMultiProcessElementType)
            continue;
        const quint32 elements = wordAt(data, entry.position + 12);
        if (elements > longest)
            return false;
        for (quint64 at = entry.position + 16, end = at + 8 * elements; at < end && at + 8 <= quint64(data.size());
             at += 8)
            if (isWideTable(data, entry.position + wordAt(data, at)))
                return false;
    }
    return true;
}

/// Whether each tag that takes part in converting colours, and that the profile has, can be read.
bool colorTagsAreReadable(cmsHPROFILE profile)
{
    static constexpr cmsTagSignature tags[] = { cmsSigMediaWhitePointTag, cmsSigChromaticAdaptationTag,
        cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag, cmsSigRedTRCTag, cmsSigGreenTRCTag,
        cmsSigBlueTRCTag, cmsSigGrayTRCTag, cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag, cmsSigBToA0Tag,
        cmsSigBToA1Tag, cmsSigBToA2Tag, cmsSigDToB0Tag, cmsSigDToB1Tag, cmsSigDToB2Tag, cmsSigDToB3Tag, cmsSigBToD0Tag,
        cmsSigBToD1Tag, cmsSigBToD2Tag, cmsSigBToD3Tag };
    return std::all_of(std::begin(tags), std::end(tags),
        [profile](cmsTagSignature tag) { return !cmsIsTag(profile, tag) || cmsReadTag(profile, tag); });
}

/// The description in English, or in what language there is; empty without one.
QString description(cmsHPROFILE profile)
{
    const cmsUInt32Number size = cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", nullptr, 0);
    std::vector<wchar_t> text(size / sizeof(wchar_t) + 1);
    if (size)
        cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", text.data(), size);
    text.back() = 0;
    return QString::fromWCharArray(text.data());
}

} // namespace

std::unique_ptr<Profile> readProfile(const char *data, unsigned int size)
{
    const unsigned int stated = size < 4 ? 0 : qFromBigEndian<quint32>(data);
    const QByteArray given = QByteArray::fromRawData(data, int(std::min(size, stated)));
    const OpenProfile opened(loggingContext(), given);
    if (!opened.handle())
        return nullptr;
    const char *const fault = stated > size || !tagsLieInside(given) ? "Profile data is incomplete."
        : !chainsAreShort(given)                                     ? "Profile has too many or too wide elements."
        : !colorTagsAreReadable(opened.handle())                     ? "Profile has unreadable colour tags."
                                                                     : nullptr;
    if (fault) {
        support::logLine({ "platform/tintlib/Profile", __LINE__ }, fault);
        return nullptr;
    }
    auto profile = std::make_unique<Profile>();
    profile->bytes = QByteArray(given.constData(), given.size());
    profile->digest = QCryptographicHash::hash(profile->bytes, QCryptographicHash::Sha256);
    profile->colorSpace = tintColorSpaceSignature(cmsGetColorSpace(opened.handle()));
    QString info = description(opened.handle());
    if (!info.isEmpty())
        info += QLatin1Char('\n');
    profile->info = (info + QLatin1String(profile->digest.toHex())).toStdString();
    return profile;
}

} // namespace tint
