#include "Structure.h"

#include <QtCore/QtEndian>

#include <algorithm>

#include <lcms2.h>

namespace tint {

namespace {

// The layout of a profile, in bytes. An entry of the directory holds the signature of a tag, its position and its size.
constexpr quint32 colorSpaceAt = 16;
constexpr quint32 tagCountAt = 128;
constexpr quint32 directoryAt = 132;
constexpr quint32 entryBytes = 12;

// The layout of a chain, of a set of curves in it and of one curve. Chains and sets have a table of the positions,
// counted from their own begin, and sizes of what they consist of.
constexpr quint32 elementCountAt = 12, elementTableAt = 16;
constexpr quint32 channelCountAt = 8, curveTableAt = 12;
constexpr quint32 segmentCountAt = 8;
constexpr quint32 tableEntryBytes = 8;

// How much a chain may hold. Those of real profiles have a handful of elements, whose curves are of a few segments.
constexpr quint32 mostElements = 32;
constexpr quint32 mostInputs = 6;
constexpr quint64 mostSegments = 1024;

} // namespace

/// Four bytes of the profile; 0 where they do not lie within. Positions wrap at 32 bits, as those of Little CMS do.
quint32 Structure::WordAt(quint32 position) const
{
    return quint64(position) + 4 <= quint64(m_data.size()) ? qFromBigEndian<quint32>(m_data.constData() + position) : 0;
}

bool Structure::TagsLieInside() const
{
    for (quint32 i = 0; i < WordAt(tagCountAt); ++i) {
        const quint32 entry = directoryAt + entryBytes * i;
        if (quint64(WordAt(entry + 4)) + WordAt(entry + 8) > quint64(m_data.size()))
            return false;
    }
    return true;
}

bool Structure::ChainsAreShort() const
{
    for (quint32 i = 0; i < WordAt(tagCountAt); ++i) {
        const quint32 tag = WordAt(directoryAt + entryBytes * i + 4);
        if (WordAt(tag) == cmsSigMultiProcessElementType && !ChainIsShort(tag))
            return false;
    }
    return true;
}

bool Structure::ChainIsShort(quint32 chain) const
{
    const quint32 elements = WordAt(chain + elementCountAt);
    if (elements > mostElements)
        return false;
    quint64 segments = 0;
    for (quint32 i = 0; i < elements; ++i) {
        const quint32 element = chain + WordAt(chain + elementTableAt + tableEntryBytes * i);
        if (IsWideTable(element))
            return false;
        segments += SegmentsOf(element);
    }
    return segments <= mostSegments;
}

/// Whether the element is a table with more inputs than any conversion needs: each input doubles the time that it takes
/// to look a colour up. Only profiles of three colours are ever converted, so only theirs are looked at.
bool Structure::IsWideTable(quint32 element) const
{
    return WordAt(colorSpaceAt) == cmsSigRgbData && WordAt(element) == cmsSigCLutElemType
        && WordAt(element + channelCountAt) >> 16 > mostInputs;
}

/// How many segments the curves of the element have together; 0 when it is no set of curves. Little CMS samples a
/// curve at thousands of places when it reads it, and looks through its segments one by one for each value: so a curve
/// counts as one segment at least. More than @c mostSegments are not counted on.
quint64 Structure::SegmentsOf(quint32 element) const
{
    if (WordAt(element) != cmsSigCurveSetElemType)
        return 0;
    const quint32 curves = WordAt(element + channelCountAt) >> 16;
    quint64 segments = 0;
    for (quint32 i = 0; i < curves && segments <= mostSegments; ++i) {
        const quint32 curve = element + WordAt(element + curveTableAt + tableEntryBytes * i);
        segments += std::max(WordAt(curve + segmentCountAt) >> 16, 1u);
    }
    return segments;
}

} // namespace tint
