#pragma once

#include "compose/Modes.h"
#include "compose/Stamp.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>

/// The mode table: for each mode the function that blends a row in its plain form and the one for its masked form.
namespace compose {

/// Pixels that lie on one another in a run of a row. Of the clip and the masks only the alpha counts.
struct LayerRows {
    const OPRGBA32i *source;
    OPRGBA32i *destination;
    const OPRGBA32i *clip; ///< null: there is none
    const OPRGBA32i *mask; ///< in the masked form alone; null covers fully
    const OPRGBA32i *secondMask; ///< only looked at where there is a clip; null covers fully

    /// What lies @p i pixels further on.
    LayerRows From(int i) const
    {
        const auto from = [i](const OPRGBA32i *row) { return row ? row + i : nullptr; };
        return { source + i, destination + i, from(clip), from(mask), from(secondMask) };
    }
};

/// How pixels are blended, beside their mode.
struct Blending {
    quint32 opacity; ///< 256 is full
    bool lockAlpha;
};

/// Blends @p count pixels.
using BlendRow = void (*)(const LayerRows &rows, int count, const Blending &blending);

/// Blends the alpha of @p count pixels of two brush tips.
using BlendBrushRow = void (*)(const OPRGBA32i *src, OPRGBA32i *dst, int count);

struct BlendEntry {
    KXCompositionMode mode;
    const char *name;
    BlendRow row;
    BlendRow maskedRow;
};

struct BrushEntry {
    KXCompositionMode mode;
    BlendBrushRow row;
};

/// Copies the row and returns true if that is all there is to do: mode Source, at full opacity and unlocked, ignores
/// the clip.
template <class Mode>
bool copiesRow(const LayerRows &rows, int count, const Blending &blending)
{
    if (!std::is_same_v<Mode, Source> || blending.lockAlpha || blending.opacity != 256)
        return false;
    std::memmove(static_cast<void *>(rows.destination), rows.source, // an image may be laid on itself
        size_t(count) * sizeof(OPRGBA32i));
    return true;
}

/// Rows of plain code, pixel by pixel. The modes that would divide otherwise take their shortcuts.
struct PlainRows {
    template <class Mode>
    static void row(const LayerRows &rows, int count, const Blending &blending)
    {
        if (copiesRow<Mode>(rows, count, blending))
            return;
        for (int i = 0; i < count; ++i) {
            const auto &[source, destination, clip, mask, secondMask] = rows;
            const PlainCoverage<Lane1> c { blending.opacity, blending.lockAlpha, clip != nullptr,
                clip ? clip[i].a : Lane1(255) };
            destination[i] = blended<Mode>(source[i], destination[i], c);
        }
    }

    template <class Mode>
    static void maskedRow(const LayerRows &rows, int count, const Blending &blending)
    {
        for (int i = 0; i < count; ++i) {
            const auto &[source, destination, clip, mask, secondMask] = rows;
            const auto alpha = [i](const OPRGBA32i *row) { return row ? row[i].a : Lane1(255); };
            const MaskedCoverage<Lane1> c { blending.opacity, blending.lockAlpha, clip != nullptr,
                secondMask != nullptr, alpha(mask), alpha(clip), alpha(secondMask) };
            destination[i] = blended<Mode>(source[i], destination[i], c);
        }
    }

    template <class Brush>
    static void brushRow(const OPRGBA32i *src, OPRGBA32i *dst, int count)
    {
        for (int i = 0; i < count; ++i)
            dst[i].a = static_cast<unsigned char>(Brush::template alpha<Lane1>(src[i].a, dst[i].a));
    }

    static void stampRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, const Stamp &stamp)
    {
        for (int i = 0; i < count; ++i)
            if (src[i].a != 0)
                dst[i] = pack(stamp.Apply(load(src[i]), load(dst[i])));
    }

private:
    template <class Mode, class Coverage>
    static OPRGBA32i blended(OPRGBA32i src, OPRGBA32i dst, const Coverage &c)
    {
        if constexpr (isSimplerOnOpaque<Mode>) {
            if (src.a == 0)
                return dst.a == 0 && Mode::uncovered(c.lock).bySource == Kept::Visible ? OPRGBA32i() : dst;
            if (dst.a == 255 && c.opacity <= 256)
                return pack(blendOnOpaque<Mode>(load(src), load(dst), c));
        }
        return pack(Mode::blend(load(src), load(dst), c));
    }
};

constexpr auto noMode = static_cast<KXCompositionMode>(-1);

inline void leaveRow(const LayerRows &, int, const Blending &) { }
inline void leaveBrushRow(const OPRGBA32i *, OPRGBA32i *, int) { }

template <class Rows, class Mode>
constexpr BlendEntry entryOf()
{
    BlendEntry entry { Mode::id, Mode::name, leaveRow, leaveRow };
    if constexpr (Mode::forms != Forms::Masked)
        entry.row = Rows::template row<Mode>;
    if constexpr (Mode::forms != Forms::Plain)
        entry.maskedRow = Rows::template maskedRow<Mode>;
    return entry;
}

/// The table of @p Rows, ended by a record that does nothing.
template <class Rows, class... Mode>
constexpr std::array<BlendEntry, sizeof...(Mode) + 1> makeTable(ModeList<Mode...>)
{
    return { { entryOf<Rows, Mode>()..., { noMode, "", leaveRow, leaveRow } } };
}

template <class Rows, class... Brush>
constexpr std::array<BrushEntry, sizeof...(Brush) + 1> makeBrushTable(ModeList<Brush...>)
{
    return { { { Brush::id, Rows::template brushRow<Brush> }..., { noMode, leaveBrushRow } } };
}

template <class Rows>
inline constexpr auto modeTable = makeTable<Rows>(AllModes {});

template <class Rows>
inline constexpr auto brushTable = makeBrushTable<Rows>(DualBrushModes {});

/// The record of @p mode, or the end record.
template <class Entry, std::size_t Size>
const Entry &findMode(const std::array<Entry, Size> &table, KXCompositionMode mode)
{
    std::size_t i = 0;
    while (i + 1 < Size && table[i].mode != mode)
        ++i;
    return table[i];
}

} // namespace compose
