#include "ColorMemory.h"

#include <QtCore/QtEndian>

#include <new>

namespace tint {

namespace {

/// What one thread remembers of the colours that it has converted: a table with one entry per place, in which a newer
/// colour replaces an older one. Each thread has its own, so that there is nothing to lock and no cache line goes from
/// one processor to another.
///
/// A colour's place is given by its green byte and the low four bits of red - green and of blue - green: in photographs
/// these differences change slowly while brightness is noisy, so that the colours of a neighbourhood get places of
/// their own. Eight bits of the colour are left, which tell the colours of one place apart; an entry holds them with
/// the engine's number and the result:
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

// No members of the owner: without a constructor they need no check on each use whether they were initialised. The
// model "initial-exec" makes reading the pointer one instruction instead of a call; the loader keeps some room for such
// variables, and a pointer fits into it.
[[gnu::tls_model("initial-exec")]] thread_local ColorMemory *memoryOfThread = nullptr;
thread_local bool threadEnds = false;

/// Deletes the thread's memory when the thread ends.
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

} // namespace

void convertRemembering(const Engine &engine, const unsigned char *input, unsigned char *output)
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

} // namespace tint
