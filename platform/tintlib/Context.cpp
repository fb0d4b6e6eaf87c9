#include "Context.h"

#include "support/Log.h"

#include <lcms2_plugin.h>

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>

namespace tint {

namespace {

// The model "initial-exec" needs no memory at a thread's first use.
[[gnu::tls_model("initial-exec")]] thread_local EngineCall *callOfThread = nullptr;

void logMessage(cmsContext, cmsUInt32Number, const char *text)
{
    try {
        support::logLine({ "platform/tintlib/Context", __LINE__ }, text);
    } catch (...) {
        if (callOfThread)
            callOfThread->Threw(std::current_exception());
    }
}

/// What contexts are made of, so that it cannot be missing: a context that lacks a part of its own uses that of the
/// application, for messages and even for memory.
class Reserve {
public:
    /// Null once it is used up; two contexts take some 1200 bytes.
    void *Take(size_t size)
    {
        const size_t needed =
            (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
        if (needed > sizeof m_bytes - m_used)
            return nullptr;
        m_used += needed;
        return m_bytes + m_used - needed;
    }

    bool Has(const void *block) const
    {
        const std::less<const void *> before;
        return !before(block, m_bytes) && before(block, m_bytes + sizeof m_bytes);
    }

    bool isOpen = false; ///< while contexts are made, which happens once and before they are used

private:
    alignas(std::max_align_t) char m_bytes[1 << 13] = {};
    size_t m_used = 0;
};

Reserve reserve;

/// What @p allocate gives for @p size bytes, noted where that is nothing.
template <class Allocate>
void *allocated(quint64 size, Allocate allocate)
{
    constexpr quint64 limit = 512u << 20; // as in Little CMS's own functions
    constexpr quint64 ofHonestProfiles = 16u << 20; // nothing is missed where a profile states a huge table
    void *block = reserve.isOpen ? reserve.Take(size) : nullptr;
    if (!block && size <= limit)
        block = allocate();
    if (!block && size <= ofHonestProfiles && callOfThread)
        callOfThread->Lacks();
    return block;
}

template <class Plugin>
Plugin pluginOf(cmsUInt32Number type, cmsPluginBase *next)
{
    Plugin plugin {};
    plugin.base.Magic = cmsPluginMagicNumber;
    plugin.base.ExpectedVersion = 2060;
    plugin.base.Type = type;
    plugin.base.Next = next;
    return plugin;
}

/// Little CMS asks for as much memory as a tag states for its table, and fills it only as far as the tag has data.
/// Zeroed memory comes from calloc, which the system backs only where it is touched: a small profile that states a huge
/// table costs next to nothing.
cmsPluginMemHandler memory(cmsPluginBase *next)
{
    auto plugin = pluginOf<cmsPluginMemHandler>(cmsPluginMemHandlerSig, next);
    plugin.MallocPtr = [](cmsContext, cmsUInt32Number size) {
        return allocated(size, [=] { return std::malloc(size); });
    };
    plugin.FreePtr = [](cmsContext, void *block) {
        if (!reserve.Has(block))
            std::free(block);
    };
    plugin.ReallocPtr = [](cmsContext, void *block, cmsUInt32Number size) {
        return allocated(size, [=] { return std::realloc(block, size); });
    };
    plugin.MallocZeroPtr = [](cmsContext, cmsUInt32Number size) {
        return allocated(size, [=] { return std::calloc(1, size); });
    };
    plugin.CallocPtr = [](cmsContext, cmsUInt32Number count, cmsUInt32Number size) {
        return allocated(quint64(count) * size, [=] { return std::calloc(count, size); });
    };
    return plugin;
}

/// No locks: each profile that is opened is used by one thread. Little CMS's own crash where they get no memory.
cmsPluginMutex noLocks(cmsPluginBase *next)
{
    auto plugin = pluginOf<cmsPluginMutex>(cmsPluginMutexSig, next);
    plugin.CreateMutexPtr = [](cmsContext) -> void * {
        static char something;
        return &something;
    };
    plugin.DestroyMutexPtr = [](cmsContext, void *) {};
    plugin.LockMutexPtr = [](cmsContext, void *) -> cmsBool { return TRUE; };
    plugin.UnlockMutexPtr = [](cmsContext, void *) {};
    return plugin;
}

// Pixels of TYPE_BGRA_8 to and from the words that Little CMS calculates with, red first. Its own functions give the
// same and are written for every order of channels: conversions by a matrix take an eighth longer with them.

cmsUInt8Number *unpackBgra8(_cmstransform_struct *, cmsUInt16Number words[], cmsUInt8Number *pixel, cmsUInt32Number)
{
    const auto word = [](unsigned channel) { return static_cast<cmsUInt16Number>(channel * 257); };
    words[0] = word(pixel[2]);
    words[1] = word(pixel[1]);
    words[2] = word(pixel[0]);
    return pixel + 4;
}

cmsUInt8Number *packBgra8(_cmstransform_struct *, cmsUInt16Number words[], cmsUInt8Number *pixel, cmsUInt32Number)
{
    const auto byte = [](unsigned word) { return static_cast<cmsUInt8Number>((word * 65281u + 8388608u) >> 24); };
    pixel[0] = byte(words[2]);
    pixel[1] = byte(words[1]);
    pixel[2] = byte(words[0]);
    return pixel + 4;
}

/// Of words that hold bytes already.
cmsUInt8Number *packBytesAsBgra8(
    _cmstransform_struct *, cmsUInt16Number words[], cmsUInt8Number *pixel, cmsUInt32Number)
{
    pixel[0] = static_cast<cmsUInt8Number>(words[2]);
    pixel[1] = static_cast<cmsUInt8Number>(words[1]);
    pixel[2] = static_cast<cmsUInt8Number>(words[0]);
    return pixel + 4;
}

cmsPluginFormatters formatters(cmsPluginBase *next)
{
    auto plugin = pluginOf<cmsPluginFormatters>(cmsPluginFormattersSig, next);
    plugin.FormattersFactory = [](cmsUInt32Number type, cmsFormatterDirection direction, cmsUInt32Number flags) {
        constexpr cmsUInt32Number bytes = TYPE_BGRA_8 | OPTIMIZED_SH(1);
        cmsFormatter formatter {}; // none: Little CMS takes its own
        if (flags & CMS_PACK_FLAGS_FLOAT)
            return formatter;
        if (direction == cmsFormatterInput && type == TYPE_BGRA_8)
            formatter.Fmt16 = unpackBgra8;
        else if (direction == cmsFormatterOutput && (type == TYPE_BGRA_8 || type == bytes))
            formatter.Fmt16 = type == bytes ? packBytesAsBgra8 : packBgra8;
        return formatter;
    };
    return plugin;
}

struct Contexts {
    Contexts()
    {
        auto last = formatters(nullptr);
        auto middle = noLocks(&last.base);
        auto first = memory(&middle.base);
        reserve.isOpen = true;
        logging = cmsCreateContext(&first, nullptr);
        silent = cmsCreateContext(&first, nullptr);
        reserve.isOpen = false;
        cmsSetLogErrorHandlerTHR(logging, logMessage);
    }

    cmsContext logging, silent;
};

const Contexts &contexts()
{
    static const Contexts made;
    return made;
}

} // namespace

cmsContext loggingContext() { return contexts().logging; }
cmsContext silentContext() { return contexts().silent; }

EngineCall::EngineCall()
    : m_outer(callOfThread)
{
    callOfThread = this;
}

EngineCall::~EngineCall() { callOfThread = m_outer; }

void EngineCall::Finish() const
{
    if (m_thrown)
        std::rethrow_exception(m_thrown);
    if (m_lacksMemory)
        throw std::bad_alloc();
}

} // namespace tint
