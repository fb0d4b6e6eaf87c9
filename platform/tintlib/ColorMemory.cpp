#include "ColorMemory.h"

#include <QtCore/QtEndian>

#include <pthread.h>

#include <algorithm>
#include <memory>
#include <new>

namespace tint {

namespace {

void writeColor(quint32 color, unsigned char *pixel)
{
    pixel[0] = static_cast<unsigned char>(color);
    pixel[1] = static_cast<unsigned char>(color >> 8);
    pixel[2] = static_cast<unsigned char>(color >> 16);
}

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
    /// The calling thread's; null when there is no memory for one.
    static ColorMemory *ofThread();

    /// Converts @p color, 24 bits, by @p engine.
    quint32 convert(const Engine &engine, quint32 color)
    {
        const quint64 tag = tagOf(engine, color);
        quint64 &entry = m_entries[placeOf(color)];
        if (entry >> 24 != tag)
            fill(entry, tag, engine, color);
        return quint32(entry) & 0xffffff;
    }

    void convertRun(const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count);

private:
    static quint32 placeOf(quint32 color)
    {
        const quint32 green = color >> 8 & 0xff, red = (color >> 16) - green, blue = (color & 0xff) - green;
        return green | (red & 0x0f) << 8 | (blue & 0x0f) << 12;
    }

    static quint64 tagOf(const Engine &engine, quint32 color)
    {
        const quint32 green = color >> 8 & 0xff, red = (color >> 16) - green, blue = (color & 0xff) - green;
        return quint64(engine.number()) << 8 | (red & 0xf0) | (blue >> 4 & 0x0f);
    }

    /// Out of line, so that what is remembered takes few instructions.
    Q_NEVER_INLINE static void fill(quint64 &entry, quint64 tag, const Engine &engine, quint32 color)
    {
        unsigned char pixel[4];
        qToLittleEndian(color, pixel);
        engine.convert(pixel, pixel, 1);
        // Read byte by byte, as Little CMS wrote it: a word would have to wait until its bytes have left for the cache.
        entry = tag << 24 | quint32(pixel[2]) << 16 | quint32(pixel[1]) << 8 | pixel[0];
    }

    quint32 convertChunk(const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count);
    void judge(quint32 count, quint32 found);

    static ColorMemory *make();

    // Looking up what is not there costs half as much again as converting by a matrix. So the colours of a run are
    // looked up as long as half of them are found, window by window. A window in which next to none is found, or too
    // many in a row with fewer than half, and the engine gets all pixels for a while, each time for a longer one: in
    // noise one pixel in hundreds is looked up.
    static constexpr quint32 chunk = 128; ///< pixels that are looked up, and then converted, together
    static constexpr quint32 window = 4096;
    static constexpr int patience = 4; ///< a table that is empty for an engine has to fill first
    static constexpr quint32 shortestPause = 1 << 19, longestPause = 1 << 23;

    quint64 m_entries[1 << 16] = {};
    quint32 m_engine = 0; ///< the number of the engine that the rest is about
    quint32 m_looked = 0, m_found = 0; ///< pixels of this window
    int m_windowsLeft = patience; ///< before a pause
    quint32 m_paused = 0; ///< pixels that go to the engine unlooked
    quint32 m_nextPause = shortestPause;
};

void ColorMemory::convertRun(const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count)
{
    if (m_engine != engine.number()) {
        m_engine = engine.number();
        m_looked = m_found = m_paused = 0;
        m_windowsLeft = patience;
        m_nextPause = shortestPause;
    }
    while (count > 0) {
        const quint32 n = std::min(count, m_paused > 0 ? m_paused : chunk);
        if (m_paused > 0) {
            engine.convert(input, output, n);
            m_paused -= n;
        } else {
            judge(n, convertChunk(engine, input, output, n));
        }
        input += size_t(4) * n;
        output += size_t(4) * n;
        count -= n;
    }
}

/// Converts up to @c chunk pixels. Returns how many colours were found in the table.
quint32 ColorMemory::convertChunk(
    const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count)
{
    quint32 results[chunk], missed[chunk], missing = 0;
    const auto colorAt = [input](quint32 i) { return qFromLittleEndian<quint32>(input + 4 * i) & 0xffffff; };
    for (quint32 i = 0; i < count; ++i) {
        const quint32 color = colorAt(i);
        const quint64 entry = m_entries[placeOf(color)];
        results[i] = quint32(entry);
        missed[missing] = i;
        missing += entry >> 24 != tagOf(engine, color);
    }
    if (missing > 0) {
        unsigned char pixels[4 * chunk];
        for (quint32 k = 0; k < missing; ++k)
            qToLittleEndian(colorAt(missed[k]), pixels + 4 * k);
        engine.convert(pixels, pixels, missing);
        for (quint32 k = 0; k < missing; ++k) {
            const quint32 color = colorAt(missed[k]), result = qFromLittleEndian<quint32>(pixels + 4 * k) & 0xffffff;
            results[missed[k]] = result;
            m_entries[placeOf(color)] = tagOf(engine, color) << 24 | result;
        }
    }
    for (quint32 i = 0; i < count; ++i)
        writeColor(results[i], output + 4 * i);
    return count - missing;
}

/// Takes note that @p found of @p count colours were in the table.
void ColorMemory::judge(quint32 count, quint32 found)
{
    m_looked += count;
    m_found += found;
    if (m_looked < window)
        return;
    if (2 * m_found >= m_looked) {
        m_windowsLeft = patience;
        m_nextPause = shortestPause;
    } else if (--m_windowsLeft == 0 || 16 * m_found < m_looked) {
        m_windowsLeft = patience;
        m_paused = m_nextPause;
        m_nextPause = std::min(2 * m_nextPause, longestPause);
    }
    m_looked = m_found = 0;
}

// A plain pointer needs no check on each use whether it was initialised, and no memory. The model "initial-exec" makes
// reading it one instruction instead of a call; the loader keeps some room for such variables, and a pointer fits into
// it.
[[gnu::tls_model("initial-exec")]] thread_local ColorMemory *memoryOfThread = nullptr;

/// Frees the memory of each thread that ends. A destructor of a thread_local variable would do it too, but the runtime
/// ends the process where there is no memory to register one.
class Owner {
public:
    Owner()
        : m_works(pthread_key_create(&m_key, [](void *memory) {
            memoryOfThread = nullptr;
            delete static_cast<ColorMemory *>(memory);
        }) == 0)
    {
    }

    bool Take(ColorMemory *memory) const { return m_works && pthread_setspecific(m_key, memory) == 0; }

private:
    pthread_key_t m_key;
    bool m_works;
};

ColorMemory *ColorMemory::ofThread() { return Q_LIKELY(memoryOfThread) ? memoryOfThread : make(); }

Q_NEVER_INLINE ColorMemory *ColorMemory::make()
{
    static const Owner owner; // for as long as the process: the library is linked so that it is never unloaded
    std::unique_ptr<ColorMemory> memory(new (std::nothrow) ColorMemory);
    if (memory && owner.Take(memory.get()))
        memoryOfThread = memory.release();
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
    writeColor(memory->convert(engine, qFromLittleEndian<quint32>(input) & 0xffffff), output);
}

void convertRun(const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count)
{
    if (ColorMemory *const memory = ColorMemory::ofThread())
        memory->convertRun(engine, input, output, count);
    else
        engine.convert(input, output, count);
}

} // namespace tint
