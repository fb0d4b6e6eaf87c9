#pragma once

#include "compose/Modes.h"
#include "compose/Stamp.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>

/// The mode table: for each mode the function that blends a row in its plain form and the one for its masked form.
namespace compose {

/// Blends @p count pixels. Only the alpha of @p mask counts; null is no mask. @p opacity: 256 is full.
using BlendRow = void (*)(
    const OPRGBA32i *src, OPRGBA32i *dst, const OPRGBA32i *mask, int count, quint32 opacity, bool lockAlpha);

/// Blends @p count pixels in the masked form. Of @p second and the masks only the alpha counts. A null @p second covers
/// fully; a null mask is absent; @p mask2 is only looked at where there is a @p mask1.
using BlendMaskedRow = void (*)(const OPRGBA32i *src, const OPRGBA32i *second, OPRGBA32i *dst, const OPRGBA32i *mask1,
    const OPRGBA32i *mask2, int count, quint32 opacity, bool lockAlpha);

/// Blends the alpha of @p count pixels of two brush tips.
using BlendBrushRow = void (*)(const OPRGBA32i *src, OPRGBA32i *dst, int count);

struct BlendEntry {
    KXCompositionMode mode;
    const char *name;
    BlendRow row;
    BlendMaskedRow maskedRow;
};

struct BrushEntry {
    KXCompositionMode mode;
    BlendBrushRow row;
};

/// Copies the row and returns true if that is all there is to do: mode Source, at full opacity and unlocked, ignores
/// the mask.
template <class Mode>
bool copiesRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, quint32 opacity, bool lockAlpha)
{
    if (!std::is_same_v<Mode, Source> || lockAlpha || opacity != 256)
        return false;
    std::memmove(static_cast<void *>(dst), src, size_t(count) * sizeof(OPRGBA32i)); // an image may be laid on itself
    return true;
}

/// Rows of plain code, pixel by pixel.
struct PlainRows {
    template <class Mode>
    static void row(
        const OPRGBA32i *src, OPRGBA32i *dst, const OPRGBA32i *mask, int count, quint32 opacity, bool lockAlpha)
    {
        if (copiesRow<Mode>(src, dst, count, opacity, lockAlpha))
            return;
        for (int i = 0; i < count; ++i) {
            const PlainCoverage<Lane1> c { opacity, lockAlpha, mask != nullptr, mask ? mask[i].a : Lane1(255) };
            dst[i] = pack(Mode::blend(load(src[i]), load(dst[i]), c));
        }
    }

    template <class Mode>
    static void maskedRow(const OPRGBA32i *src, const OPRGBA32i *second, OPRGBA32i *dst, const OPRGBA32i *mask1,
        const OPRGBA32i *mask2, int count, quint32 opacity, bool lockAlpha)
    {
        for (int i = 0; i < count; ++i) {
            const MaskedCoverage<Lane1> c { opacity, lockAlpha, mask1 != nullptr, mask2 != nullptr,
                second ? second[i].a : Lane1(255), mask1 ? mask1[i].a : Lane1(255), mask2 ? mask2[i].a : Lane1(255) };
            dst[i] = pack(Mode::blend(load(src[i]), load(dst[i]), c));
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
            stamp.Apply(src[i], dst[i]);
    }
};

constexpr auto noMode = static_cast<KXCompositionMode>(-1);

inline void leaveRow(const OPRGBA32i *, OPRGBA32i *, const OPRGBA32i *, int, quint32, bool) { }
inline void leaveMaskedRow(
    const OPRGBA32i *, const OPRGBA32i *, OPRGBA32i *, const OPRGBA32i *, const OPRGBA32i *, int, quint32, bool)
{
}
inline void leaveBrushRow(const OPRGBA32i *, OPRGBA32i *, int) { }

template <class Rows, class Mode>
constexpr BlendEntry entryOf()
{
    BlendEntry entry { Mode::id, Mode::name, leaveRow, leaveMaskedRow };
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
    return { { entryOf<Rows, Mode>()..., { noMode, "", leaveRow, leaveMaskedRow } } };
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
