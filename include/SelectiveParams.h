#pragma once

/// @file
/// The parameters of selective colours, which KXSelectiveColorsTransformation.h explains, and their stream.

#include "KXGlobal.h"

#include <QtCore/QDataStream>
#include <QtCore/QList>
#include <QtCore/QMetaType>

/// How much ink a range of colours gains, in per cent. A dialog offers -100 to 100; nothing is limited. **The signs are
/// those of ink, not of light**: what is positive makes a picture darker.
struct SelectiveParams {
    float cyan = 0; ///< lowers red
    float magenta = 0; ///< lowers green
    float yellow = 0; ///< lowers blue
    float black = 0; ///< lowers all three
};
Q_DECLARE_METATYPE(SelectiveParams)

/// The parameters of all ranges of colours, and how they count.
///
/// Values   Copies share the records until one of them changes. What was moved from has no records left, and gets them
///          again by an assignment or by @c Read.
struct KX_EXPORT SelectiveParamsList {
    /// The places of the ranges in @c m_Params.
    enum Range { Reds, Yellows, Greens, Cyans, Blues, Magentas, Whites, Neutrals, Blacks };

    /// Nine records, all 0, which change nothing.
    SelectiveParamsList();

    /// Writes the 31 bytes "KXSelectiveColorsFilter 1.00000", then cyan, magenta, yellow and black of each record, then
    /// the mode: 323 bytes with a new QDataStream. False when the stream fails.
    ///
    /// Version, byte order and precision are those that the stream is set to, and none of them is stored, nor is how
    /// many records there are: **what was written with one floating-point precision must be read with the same**.
    bool Write(QDataStream &stream) const;

    /// Reads what @c Write wrote: @c m_Count records, and the mode. False, with nothing stored, when the signature is
    /// another or is cut off. False too when the stream fails later; then what was not read any more is 0.
    bool Read(QDataStream &stream);

    QList<SelectiveParams> m_Params; ///< by @c Range
    int m_Mode = 0; ///< 0 relative, anything else absolute
    int m_Count = Blacks + 1; ///< how many ranges there are, and how many records @c Read takes: leave it at 9
};
