#pragma once

#include "compose/ModeTable.h"

namespace compose {

/// A mode with its opacity and lock: what a walk calls for each of its rows.
template <class Rows>
class Blender {
public:
    Blender(KXCompositionMode mode, const Blending &blending)
        : m_entry(findMode(modeTable<Rows>, mode))
        , m_blending(blending)
    {
    }

    void Row(const LayerRows &rows, int count) const { m_entry.row(rows, count, m_blending); }
    void MaskedRow(const LayerRows &rows, int count) const { m_entry.maskedRow(rows, count, m_blending); }

private:
    const BlendEntry &m_entry;
    Blending m_blending;
};

} // namespace compose
