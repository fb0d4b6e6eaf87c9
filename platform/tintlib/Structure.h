#pragma once

#include <QtCore/QByteArray>

namespace tint {

/// The structure of a profile as far as it tells how much work the profile asks for: Little CMS takes the counts and
/// positions in the data at their word, and pieces of data may be used over and over.
class Structure {
public:
    /// @p data must outlive the object. Little CMS has read the header and the directory of tags, so they are there.
    explicit Structure(const QByteArray &data)
        : m_data(data)
    {
    }

    /// Whether every tag lies within the profile. Little CMS passes over those that do not, and would take half of a
    /// profile for a whole one.
    bool TagsLieInside() const;

    /// Whether no tag is a chain of more elements than any conversion needs, of wider ones, or of more segments of
    /// curves. All elements of a chain, and all curves of an element, may be the same piece of data, so that a short
    /// tag can state a long chain; and each element costs time for every colour of a table that is made from the
    /// chain.
    bool ChainsAreShort() const;

private:
    quint32 WordAt(quint32 position) const;
    bool ChainIsShort(quint32 chain) const;
    bool IsWideTable(quint32 element) const;
    quint64 SegmentsOf(quint32 element) const;

    const QByteArray &m_data;
};

} // namespace tint
