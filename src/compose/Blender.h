#pragma once

#include "compose/ModeTable.h"

namespace compose {

/// A mode with its opacity and lock: what a walk calls for each of its rows.
template <class Rows>
class Blender {
public:
    Blender(KXCompositionMode mode, quint32 opacity256, bool lockAlpha)
        : m_entry(findMode(modeTable<Rows>, mode))
        , m_opacity(opacity256)
        , m_lock(lockAlpha)
    {
    }

    void Row(const OPRGBA32i *src, OPRGBA32i *dst, const OPRGBA32i *mask, int n) const
    {
        m_entry.row(src, dst, mask, n, m_opacity, m_lock);
    }

    void MaskedRow(const OPRGBA32i *src, const OPRGBA32i *second, OPRGBA32i *dst, const OPRGBA32i *mask1,
        const OPRGBA32i *mask2, int n) const
    {
        m_entry.maskedRow(src, second, dst, mask1, mask2, n, m_opacity, m_lock);
    }

private:
    const BlendEntry &m_entry;
    quint32 m_opacity;
    bool m_lock;
};

} // namespace compose
