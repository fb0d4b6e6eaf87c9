#include "tintClass.h"

#include "support/Log.h"

#include <QtCore/QByteArray>
#include <QtCore/QCryptographicHash>
#include <QtCore/QString>
#include <QtCore/QtEndian>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include <lcms2.h>
#include <lcms2_plugin.h>

static_assert(tintFormatBGRA8 == TYPE_BGRA_8, "the encoding of Little CMS");

namespace {

constexpr char sourcePath[] = "platform/tintlib/tintClass";

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
    OpenProfile(cmsContext context, const QByteArray &bytes)
        : m_data(bytes.constData())
        , m_size(cmsUInt32Number(bytes.size()))
        , m_allowance(4 * quint64(m_size) + 65536)
    {
        m_io.stream = this;
        m_io.ContextID = context;
        m_io.ReportedSize = m_size;
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

    const char *m_data;
    cmsUInt32Number m_size;
    cmsUInt32Number m_position = 0;
    quint64 m_allowance;
    cmsIOHANDLER m_io {};
    cmsHPROFILE m_handle = nullptr;
};

// The header and the directory were read by then: 128 bytes, the number of tags, and of each its signature, position and
// size.

quint32 wordAt(const QByteArray &data, quint64 offset) { return qFromBigEndian<quint32>(data.constData() + offset); }

struct DirectoryEntry {
    quint64 position;
    quint64 size;
};

DirectoryEntry entryAt(const QByteArray &data, quint32 index)
{
    return { wordAt(data, 132 + 12 * index + 4), wordAt(data, 132 + 12 * index + 8) };
}

/// Whether every tag lies within the profile. Little CMS passes over those that do not, and would take half of a profile
/// for a whole one.
bool tagsLieInside(const QByteArray &data)
{
    for (quint32 i = 0; i < wordAt(data, 128); ++i) {
        const DirectoryEntry entry = entryAt(data, i);
        if (entry.position + entry.size > quint64(data.size()))
            return false;
    }
    return true;
}

/// Whether no tag is a chain of more elements than anyone has a use for. The elements of a chain may be one piece of data
/// in turn, and each takes its time for every colour of a table that is made from the chain.
bool chainsAreShort(const QByteArray &data)
{
    constexpr quint32 longest = 32;
    for (quint32 i = 0; i < wordAt(data, 128); ++i) {
        const DirectoryEntry entry = entryAt(data, i);
        if (entry.size >= 16 && wordAt(data, entry.position) == cmsSigMultiProcessElementType
            && wordAt(data, entry.position + 12) > longest)
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

// --- Handles

struct Profile {
    QByteArray bytes;
    QByteArray digest; ///< SHA-256 of the bytes
    std::string info;
    tintColorSpaceSignature colorSpace;
};

using EngineKey = std::tuple<QByteArray, unsigned int, QByteArray, unsigned int, unsigned int, unsigned int>;

/// A transform of Little CMS: never changed once it is made, so that any number of handles and threads may use one.
class Engine {
public:
    /// Takes @p transform over, which is not null.
    explicit Engine(cmsHTRANSFORM transform)
        : m_transform(transform)
        , m_number(nextNumber())
    {
    }
    ~Engine() { cmsDeleteTransform(m_transform); }
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    void convert(const void *input, void *output, unsigned int count) const
    {
        cmsDoTransform(m_transform, input, output, count);
    }

    /// A number that no other engine of this process has, or 0 when the numbers have run out.
    quint32 number() const { return m_number; }

private:
    static quint32 nextNumber()
    {
        static std::atomic<quint64> last { 0 };
        const quint64 number = ++last;
        return number <= 0xffffffffU ? quint32(number) : 0;
    }

    cmsHTRANSFORM m_transform;
    quint32 m_number;
};

struct Transform {
    std::shared_ptr<const Engine> engine;
    bool remembers; ///< whether single pixels go through the thread's ColorMemory
};

/// The engines in use. Making one may take tens of milliseconds, and a walk over an image begins with a copy of its
/// transform: copies that are alive at the same time share one engine.
class Engines {
public:
    /// The engine for @p key: one in use, otherwise what @p make returns, which may be null.
    template <class Make>
    static std::shared_ptr<const Engine> get(const EngineKey &key, Make make)
    {
        static Engines &instance = *new Engines; // outlives whatever the application keeps in statics
        {
            const std::lock_guard<std::mutex> lock(instance.m_mutex);
            const auto found = instance.m_engines.find(key);
            if (found != instance.m_engines.end())
                if (auto engine = found->second.lock())
                    return engine;
        }
        std::shared_ptr<const Engine> engine = make(); // without the lock: others need not wait for it
        const std::lock_guard<std::mutex> lock(instance.m_mutex);
        for (auto i = instance.m_engines.begin(); i != instance.m_engines.end();)
            i = i->second.expired() ? instance.m_engines.erase(i) : std::next(i);
        if (engine)
            instance.m_engines.emplace(key, engine);
        return engine;
    }

private:
    std::mutex m_mutex;
    std::map<EngineKey, std::weak_ptr<const Engine>> m_engines;
};

/// What one thread remembers of the colours that it has converted: a table without collision lists, in which a newer
/// colour replaces an older one. Each thread has its own, so that there is nothing to lock and no cache line goes from
/// one processor to another.
///
/// A colour's place is its green byte and the low four bits of red - green and of blue - green: in photographs the
/// differences change slowly while brightness is noisy, so that the colours of a neighbourhood have places of their
/// own. Eight bits of the colour are left to tell colours of one place apart; an entry holds them with the engine's
/// number and the result:
///
///     number << 32 | tag << 24 | result
///
/// No engine has the number 0, so that an entry of a new table matches nothing.
class ColorMemory {
public:
    /// The calling thread's; null when there is no memory for one, or while the thread ends.
    static ColorMemory *ofThread();

    /// Converts @p color, 24 bits, by @p engine.
    quint32 convert(const Engine &engine, quint32 color)
    {
        const quint32 green = color >> 8 & 0xff, red = (color >> 16) - green, blue = (color & 0xff) - green;
        const quint64 tag = quint64(engine.number()) << 8 | (red & 0xf0) | (blue >> 4 & 0x0f);
        quint64 &entry = m_entries[green | (red & 0x0f) << 8 | (blue & 0x0f) << 12];
        if (entry >> 24 != tag)
            fill(entry, tag, engine, color);
        return quint32(entry) & 0xffffff;
    }

private:
    /// Out of line, so that what is remembered takes few instructions.
    Q_NEVER_INLINE static void fill(quint64 &entry, quint64 tag, const Engine &engine, quint32 color)
    {
        unsigned char pixel[4];
        qToLittleEndian(color, pixel);
        engine.convert(pixel, pixel, 1);
        // Read byte by byte, as Little CMS wrote it: a word would have to wait until its bytes have left for the cache.
        entry = tag << 24 | quint32(pixel[2]) << 16 | quint32(pixel[1]) << 8 | pixel[0];
    }

    static ColorMemory *make();

    quint64 m_entries[1 << 16] = {};
};

// Beside the owner, since these need no initialisation and so no check on each use. The model of the first saves a call for
// its address; a pointer always finds room in what the loader keeps for that.
[[gnu::tls_model("initial-exec")]] thread_local ColorMemory *memoryOfThread = nullptr;
thread_local bool threadEnds = false;

struct MemoryOwner {
    ~MemoryOwner()
    {
        delete memoryOfThread;
        memoryOfThread = nullptr;
        threadEnds = true;
    }
};

ColorMemory *ColorMemory::ofThread() { return Q_LIKELY(memoryOfThread) ? memoryOfThread : make(); }

Q_NEVER_INLINE ColorMemory *ColorMemory::make()
{
    static thread_local MemoryOwner owner;
    if (!threadEnds)
        memoryOfThread = new (std::nothrow) ColorMemory;
    return memoryOfThread;
}

/// One pixel of tintFormatBGRA8. Its fourth byte takes no part and is not written.
void convertPixel(const Engine &engine, const unsigned char *input, unsigned char *output)
{
    ColorMemory *const memory = ColorMemory::ofThread();
    if (Q_UNLIKELY(!memory)) {
        engine.convert(input, output, 1);
        return;
    }
    const quint32 result = memory->convert(engine, qFromLittleEndian<quint32>(input) & 0xffffff);
    output[0] = static_cast<unsigned char>(result);
    output[1] = static_cast<unsigned char>(result >> 8);
    output[2] = static_cast<unsigned char>(result >> 16);
}

} // namespace

void *tintClass::openProfileFromMem(const void *data, unsigned int size)
{
    if (!data || size > unsigned(INT_MAX))
        return nullptr;
    const auto *const bytes = static_cast<const char *>(data);
    const unsigned int stated = size < 4 ? 0 : qFromBigEndian<quint32>(bytes);
    const QByteArray given = QByteArray::fromRawData(bytes, int(std::min(size, stated)));
    const OpenProfile opened(loggingContext(), given);
    if (!opened.handle())
        return nullptr;
    const char *const fault = stated > size || !tagsLieInside(given) ? "Profile data is incomplete."
        : !chainsAreShort(given)                                     ? "Profile has too many elements."
        : !colorTagsAreReadable(opened.handle())                     ? "Profile has unreadable colour tags."
                                                                     : nullptr;
    if (fault) {
        support::logLine({ sourcePath, __LINE__ }, fault);
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
    const QByteArray &bytes = static_cast<Profile *>(profile)->bytes;
    const auto needed = static_cast<unsigned int>(bytes.size());
    if (buffer) {
        if (*size < needed)
            return 0;
        std::memcpy(buffer, bytes.constData(), needed);
    }
    *size = needed;
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
    const Profile &from = *static_cast<Profile *>(input), &to = *static_cast<Profile *>(output);
    const auto make = [&]() -> std::shared_ptr<const Engine> {
        const OpenProfile source(silentContext(), from.bytes), target(silentContext(), to.bytes);
        if (!source.handle() || !target.handle())
            return nullptr;
        const cmsHTRANSFORM transform = cmsCreateTransformTHR(
            silentContext(), source.handle(), inputFormat, target.handle(), outputFormat, intent, flags);
        return transform ? std::make_shared<const Engine>(transform) : nullptr;
    };
    auto transform = std::make_unique<Transform>();
    transform->engine = Engines::get({ from.digest, inputFormat, to.digest, outputFormat, intent, flags }, make);
    if (!transform->engine)
        return nullptr;
    transform->remembers = inputFormat == tintFormatBGRA8 && outputFormat == tintFormatBGRA8
        && !(flags & cmsFLAGS_COPY_ALPHA) && transform->engine->number() != 0;
    return transform.release();
}

void tintClass::doTransform(void *transform, const void *input, void *output, unsigned int count)
{
    if (!transform)
        return;
    const Transform &t = *static_cast<Transform *>(transform);
    if (count == 1 && t.remembers)
        convertPixel(*t.engine, static_cast<const unsigned char *>(input), static_cast<unsigned char *>(output));
    else
        t.engine->convert(input, output, count);
}

void tintClass::deleteTransform(void *transform) { delete static_cast<Transform *>(transform); }
