#include "tintClass.h"

#include "support/Log.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <lcms2.h>
#include <lcms2_plugin.h>

static_assert(tintFormatBGRA8 == TYPE_BGRA_8, "the encoding of Little CMS");

namespace {

constexpr char sourcePath[] = "platform/tintlib/tintClass";

using Bytes = std::vector<unsigned char>;

// --- Contexts: they belong to this file, so that neither the messages nor the settings of the application's own use of
// --- Little CMS and of ours meet. They live as long as the process.

void logMessage(cmsContext, cmsUInt32Number, const char *text) { support::logLine({ sourcePath, __LINE__ }, text); }

cmsContext loggingContext()
{
    static const cmsContext context = [] {
        const cmsContext c = cmsCreateContext(nullptr, nullptr);
        cmsSetLogErrorHandlerTHR(c, logMessage);
        return c;
    }();
    return context;
}

cmsContext silentContext()
{
    static const cmsContext context = cmsCreateContext(nullptr, nullptr);
    return context;
}

// --- Reading

/// A profile as Little CMS sees it, read from bytes that must outlive it.
///
/// Tags may overlap and may refer to one piece of data over and over, so that a few bytes can stand for any amount of
/// work. Hence the allowance: an honest profile is read about once, and reading fails when the whole has been read some
/// times over.
class OpenProfile {
public:
    OpenProfile(cmsContext context, const unsigned char *data, cmsUInt32Number size)
        : m_data(data)
        , m_size(size)
        , m_allowance(8 * quint64(size) + 65536)
    {
        m_io.stream = this;
        m_io.ContextID = context;
        m_io.ReportedSize = size;
        m_io.Read = read;
        m_io.Seek = seek;
        m_io.Tell = [](cmsIOHANDLER *io) { return self(io)->m_position; };
        m_io.Close = [](cmsIOHANDLER *) -> cmsBool { return TRUE; };
        m_io.Write = [](cmsIOHANDLER *, cmsUInt32Number, const void *) -> cmsBool { return FALSE; };
        m_handle = cmsOpenProfileFromIOhandlerTHR(context, &m_io);
    }
    ~OpenProfile()
    {
        if (m_handle)
            cmsCloseProfile(m_handle);
    }
    OpenProfile(const OpenProfile &) = delete;
    OpenProfile &operator=(const OpenProfile &) = delete;

    /// Null when Little CMS refused the header or the tag directory.
    cmsHPROFILE handle() const { return m_handle; }

private:
    static OpenProfile *self(cmsIOHANDLER *io) { return static_cast<OpenProfile *>(io->stream); }

    static cmsUInt32Number read(cmsIOHANDLER *io, void *buffer, cmsUInt32Number size, cmsUInt32Number count)
    {
        OpenProfile *const p = self(io);
        const quint64 bytes = quint64(size) * count;
        if (bytes > p->m_size - p->m_position || bytes > p->m_allowance) {
            cmsSignalError(io->ContextID, cmsERROR_READ, "Profile data ends early; %u bytes wanted at %u.",
                unsigned(std::min<quint64>(bytes, 0xffffffffU)), p->m_position);
            return 0;
        }
        std::memcpy(buffer, p->m_data + p->m_position, bytes);
        p->m_position += cmsUInt32Number(bytes);
        p->m_allowance -= bytes;
        return count;
    }

    static cmsBool seek(cmsIOHANDLER *io, cmsUInt32Number offset)
    {
        OpenProfile *const p = self(io);
        if (offset > p->m_size) {
            cmsSignalError(io->ContextID, cmsERROR_SEEK, "Profile data ends before position %u.", offset);
            return FALSE;
        }
        p->m_position = offset;
        return TRUE;
    }

    const unsigned char *m_data;
    cmsUInt32Number m_size;
    cmsUInt32Number m_position = 0;
    quint64 m_allowance;
    cmsIOHANDLER m_io {};
    cmsHPROFILE m_handle = nullptr;
};

quint32 wordAt(const unsigned char *data, quint64 offset) { return qFromBigEndian<quint32>(data + offset); }

constexpr quint64 directoryStart = 128, directoryEntry = 12;

/// Whether every tag of the directory lies within the profile. Little CMS passes over those that do not, and would take
/// half of a profile for a whole one.
bool tagsLieInside(const unsigned char *data, quint64 size)
{
    const quint64 count = wordAt(data, directoryStart), first = directoryStart + 4;
    if (first + count * directoryEntry > size)
        return false;
    for (quint64 entry = first; entry < first + count * directoryEntry; entry += directoryEntry)
        if (quint64(wordAt(data, entry + 4)) + wordAt(data, entry + 8) > size)
            return false;
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

// --- Handles

struct Profile {
    Bytes bytes;
    std::string info;
    tintColorSpaceSignature colorSpace;
};

/// Remembers converted colours, for any number of threads without a lock: an entry is one word that holds a colour
/// together with its result, so that whatever a thread finds there is either of use or recognised as another colour's.
class ColorCache {
public:
    /// Whether the result for @p color is known, and then the result in @p result; colours have 24 bits.
    bool find(quint32 color, quint32 &result) const
    {
        const quint64 entry = m_entries[slot(color)].load(std::memory_order_relaxed);
        if (entry >> 24 != (Filled | color))
            return false;
        result = quint32(entry) & 0xffffff;
        return true;
    }

    void insert(quint32 color, quint32 result)
    {
        m_entries[slot(color)].store((Filled | color) << 24 | result, std::memory_order_relaxed);
    }

private:
    static constexpr quint64 Filled = 1 << 24;
    static constexpr int Bits = 13;
    static quint32 slot(quint32 color) { return color * 0x9e3779b1U >> (32 - Bits); }

    std::atomic<quint64> m_entries[1 << Bits] {};
};

struct Transform {
    ~Transform() { cmsDeleteTransform(engine); }

    cmsHTRANSFORM engine;
    std::unique_ptr<ColorCache> cache; ///< none for formats other than tintFormatBGRA8
};

/// One pixel of tintFormatBGRA8. Its fourth byte takes no part and is not written.
void convertPixel(Transform &transform, const unsigned char *input, unsigned char *output)
{
    const quint32 color = quint32(input[0]) | quint32(input[1]) << 8 | quint32(input[2]) << 16;
    quint32 result;
    if (!transform.cache->find(color, result)) {
        unsigned char pixel[4] = { input[0], input[1], input[2], 0 };
        cmsDoTransform(transform.engine, pixel, pixel, 1);
        result = quint32(pixel[0]) | quint32(pixel[1]) << 8 | quint32(pixel[2]) << 16;
        transform.cache->insert(color, result);
    }
    output[0] = static_cast<unsigned char>(result);
    output[1] = static_cast<unsigned char>(result >> 8);
    output[2] = static_cast<unsigned char>(result >> 16);
}

/// From here on the engine's own loop over a row costs less per pixel than the look-up.
constexpr unsigned int rowCount = 8;

} // namespace

void *tintClass::openProfileFromMem(const void *data, unsigned int size)
{
    if (!data)
        return nullptr;
    const auto *const bytes = static_cast<const unsigned char *>(data);
    const OpenProfile opened(loggingContext(), bytes, size);
    if (!opened.handle())
        return nullptr;
    const quint32 stated = wordAt(bytes, 0); // the header was read, so it is there
    if (stated > size || !tagsLieInside(bytes, stated)) {
        support::logLine({ sourcePath, __LINE__ }, "Profile data is incomplete.");
        return nullptr;
    }
    if (!colorTagsAreReadable(opened.handle()))
        return nullptr;
    auto profile = std::make_unique<Profile>();
    profile->bytes.assign(bytes, bytes + stated);
    profile->colorSpace = tintColorSpaceSignature(cmsGetColorSpace(opened.handle()));
    QCryptographicHash digest(QCryptographicHash::Sha256);
    digest.addData(reinterpret_cast<const char *>(bytes), int(stated));
    QString info = description(opened.handle());
    if (!info.isEmpty())
        info += QLatin1Char('\n');
    profile->info = (info + QLatin1String(digest.result().toHex())).toStdString();
    return profile.release();
}

int tintClass::closeProfile(void *profile)
{
    delete static_cast<Profile *>(profile);
    return profile != nullptr;
}

int tintClass::saveProfileToMem(void *profile, void *buffer, unsigned int *size)
{
    if (!profile || !size)
        return 0;
    const Bytes &bytes = static_cast<Profile *>(profile)->bytes;
    if (buffer) {
        if (*size < bytes.size())
            return 0;
        std::memcpy(buffer, bytes.data(), bytes.size());
    }
    *size = static_cast<unsigned int>(bytes.size());
    return 1;
}

unsigned int tintClass::getProfileInfo(void *profile, char *buffer, unsigned int size)
{
    if (!profile)
        return 0;
    const std::string &info = static_cast<Profile *>(profile)->info;
    const auto whole = static_cast<unsigned int>(info.size()) + 1;
    if (!buffer)
        return size == 0 ? whole : 0;
    if (size == 0)
        return 0;
    const unsigned int written = std::min(size, whole);
    std::memcpy(buffer, info.data(), written - 1);
    buffer[written - 1] = 0;
    return written;
}

tintColorSpaceSignature tintClass::getColorSpace(void *profile)
{
    return profile ? static_cast<Profile *>(profile)->colorSpace : tintSigNone;
}

void *tintClass::createTransform(void *input, unsigned int inputFormat, void *output, unsigned int outputFormat,
    unsigned int intent, unsigned int flags)
{
    if (!input || !output)
        return nullptr;
    const Bytes &from = static_cast<Profile *>(input)->bytes, &to = static_cast<Profile *>(output)->bytes;
    const OpenProfile source(silentContext(), from.data(), cmsUInt32Number(from.size()));
    const OpenProfile target(silentContext(), to.data(), cmsUInt32Number(to.size()));
    if (!source.handle() || !target.handle())
        return nullptr;
    auto transform = std::make_unique<Transform>();
    if (inputFormat == tintFormatBGRA8 && outputFormat == tintFormatBGRA8 && !(flags & cmsFLAGS_COPY_ALPHA))
        transform->cache = std::make_unique<ColorCache>();
    transform->engine = cmsCreateTransformTHR(
        silentContext(), source.handle(), inputFormat, target.handle(), outputFormat, intent, flags);
    return transform->engine ? transform.release() : nullptr;
}

void tintClass::doTransform(void *transform, const void *input, void *output, unsigned int count)
{
    if (!transform)
        return;
    Transform &t = *static_cast<Transform *>(transform);
    if (!t.cache || count >= rowCount) {
        cmsDoTransform(t.engine, input, output, count);
        return;
    }
    const auto *in = static_cast<const unsigned char *>(input);
    auto *out = static_cast<unsigned char *>(output);
    for (unsigned int i = 0; i < count; ++i)
        convertPixel(t, in + 4 * i, out + 4 * i);
}

void tintClass::deleteTransform(void *transform) { delete static_cast<Transform *>(transform); }
