#include "Context.h"

#include "support/Log.h"

#include <lcms2_plugin.h>

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <utility>

namespace tint {

/// The head of each block that Little CMS gets: the call that it was allocated in, and its neighbours there. The end of
/// the call forgets the blocks that are left.
struct alignas(std::max_align_t) Block {
    EngineCall *call;
    Block *previous, *next;
};

// The model "initial-exec" needs no memory at a thread's first use.
[[gnu::tls_model("initial-exec")]] static thread_local EngineCall *callOfThread = nullptr;

void keepForCaller(const std::exception_ptr &exception)
{
    if (callOfThread)
        callOfThread->m_thrown = exception;
}

/// The memory that Little CMS gets.
class Blocks {
public:
    /// @p allocate(bytes) is asked for @p size bytes and a head. Does not return where a call lacks memory.
    template <class Allocate>
    static void *Make(quint64 size, Allocate allocate)
    {
        constexpr quint64 limit = 512u << 20; // as in Little CMS's own functions
        constexpr quint64 ofHonestProfiles = 16u << 20; // a profile that states a huge table is refused
        auto *const block = size > limit ? nullptr : static_cast<Block *>(allocate(sizeof(Block) + size_t(size)));
        EngineCall *const call = callOfThread && callOfThread->m_isRunning ? callOfThread : nullptr;
        if (!block) {
            if (call && size <= ofHonestProfiles)
                std::longjmp(call->m_jump, 1);
            return nullptr;
        }
        Link(block, call);
        return block + 1;
    }

    static void *Resize(void *memory, quint64 size)
    {
        if (!memory)
            return Make(size, [](size_t bytes) { return std::malloc(bytes); });
        Block *const old = static_cast<Block *>(memory) - 1;
        EngineCall *const call = old->call;
        return Make(size, [old, call](size_t bytes) {
            Unlink(old);
            void *const moved = std::realloc(old, bytes);
            if (!moved)
                Link(old, call);
            return moved;
        });
    }

    static void Free(void *memory)
    {
        if (!memory)
            return;
        Block *const block = static_cast<Block *>(memory) - 1;
        Unlink(block);
        std::free(block);
    }

private:
    static void Link(Block *block, EngineCall *call)
    {
        *block = { call, nullptr, call ? call->m_first : nullptr };
        if (!call)
            return;
        if (block->next)
            block->next->previous = block;
        call->m_first = block;
    }

    static void Unlink(const Block *block)
    {
        if (!block->call)
            return;
        (block->previous ? block->previous->next : block->call->m_first) = block->next;
        if (block->next)
            block->next->previous = block->previous;
    }
};

namespace {

void logMessage(cmsContext, cmsUInt32Number, const char *text)
{
    try {
        support::logLine({ "platform/tintlib/Context", __LINE__ }, text);
    } catch (...) {
        keepForCaller(std::current_exception());
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
        void *const reserved = reserve.isOpen ? reserve.Take(size) : nullptr;
        return reserved ? reserved : Blocks::Make(size, [](size_t bytes) { return std::malloc(bytes); });
    };
    plugin.FreePtr = [](cmsContext, void *memory) {
        if (!reserve.Has(memory))
            Blocks::Free(memory);
    };
    plugin.ReallocPtr = [](cmsContext, void *memory, cmsUInt32Number size) { return Blocks::Resize(memory, size); };
    plugin.MallocZeroPtr = [](cmsContext, cmsUInt32Number size) {
        void *const reserved = reserve.isOpen ? reserve.Take(size) : nullptr;
        return reserved ? reserved : Blocks::Make(size, [](size_t bytes) { return std::calloc(1, bytes); });
    };
    plugin.CallocPtr = [](cmsContext context, cmsUInt32Number count, cmsUInt32Number size) -> void * {
        const quint64 bytes = quint64(count) * size;
        return bytes > 0xffffffffU ? nullptr : _cmsMallocZero(context, cmsUInt32Number(bytes));
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

EngineCall::~EngineCall()
{
    for (Block *block = m_first; block; block = block->next)
        block->call = nullptr;
    callOfThread = m_outer;
}

void EngineCall::Run(void (*body)(void *), void *given)
{
    if (setjmp(m_jump) != 0) {
        Abandon();
        throw std::bad_alloc();
    }
    m_isRunning = true;
    body(given);
    m_isRunning = false;
    if (m_thrown) {
        Abandon();
        std::rethrow_exception(m_thrown);
    }
}

void EngineCall::Abandon()
{
    m_isRunning = false;
    m_isAbandoned = true;
    while (m_first)
        std::free(std::exchange(m_first, m_first->next));
}

} // namespace tint
