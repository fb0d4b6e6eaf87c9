#include "Profile.h"

#include "Context.h"
#include "OpenProfile.h"
#include "Structure.h"
#include "support/Log.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <algorithm>
#include <vector>

namespace tint {

namespace {

/// Whether each tag that takes part in converting colours, and that the profile has, can be read.
bool colorTagsAreReadable(EngineCall &call, cmsHPROFILE profile)
{
    static constexpr cmsTagSignature tags[] = { cmsSigMediaWhitePointTag, cmsSigChromaticAdaptationTag,
        cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag, cmsSigRedTRCTag, cmsSigGreenTRCTag,
        cmsSigBlueTRCTag, cmsSigGrayTRCTag, cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag, cmsSigBToA0Tag,
        cmsSigBToA1Tag, cmsSigBToA2Tag, cmsSigDToB0Tag, cmsSigDToB1Tag, cmsSigDToB2Tag, cmsSigDToB3Tag, cmsSigBToD0Tag,
        cmsSigBToD1Tag, cmsSigBToD2Tag, cmsSigBToD3Tag };
    bool answer = false;
    call.Do([&answer, profile] {
        answer = std::all_of(std::begin(tags), std::end(tags),
            [profile](cmsTagSignature tag) { return !cmsIsTag(profile, tag) || cmsReadTag(profile, tag); });
    });
    return answer;
}

/// The description in English, or in what language there is; empty without one.
QString description(EngineCall &call, cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    call.Do([&] { size = cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", nullptr, 0); });
    std::vector<wchar_t> text(size / sizeof(wchar_t) + 1);
    if (size)
        call.Do([&] { cmsGetProfileInfo(profile, cmsInfoDescription, "en", "US", text.data(), size); });
    text.back() = 0;
    return QString::fromWCharArray(text.data());
}

} // namespace

std::unique_ptr<Profile> readProfile(const char *data, unsigned int size)
{
    const unsigned int stated = size < 4 ? 0 : qFromBigEndian<quint32>(data);
    const QByteArray given = QByteArray::fromRawData(data, int(std::min(size, stated)));
    EngineCall call;
    const OpenProfile opened(call, loggingContext(), given);
    if (!opened.handle())
        return nullptr;
    const Structure structure(given);
    const char *const fault = stated > size || !structure.TagsLieInside() ? "Profile data is incomplete."
        : !structure.ChainsAreShort()                                     ? "Profile has too many or too wide elements."
        : !colorTagsAreReadable(call, opened.handle())                    ? "Profile has unreadable colour tags."
                                                                          : nullptr;
    if (fault) {
        support::logLine({ "platform/tintlib/Profile", __LINE__ }, fault);
        return nullptr;
    }
    auto profile = std::make_unique<Profile>();
    profile->bytes = QByteArray(given.constData(), given.size());
    profile->digest = QCryptographicHash::hash(profile->bytes, QCryptographicHash::Sha256);
    profile->colorSpace = tintColorSpaceSignature(cmsGetColorSpace(opened.handle()));
    QString info = description(call, opened.handle());
    if (!info.isEmpty())
        info += QLatin1Char('\n');
    profile->info = (info + QLatin1String(profile->digest.toHex())).toStdString();
    return profile;
}

} // namespace tint
