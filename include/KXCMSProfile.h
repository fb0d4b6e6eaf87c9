#pragma once

/// @file
/// ICC profile of an image.

#include "KXGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>
#include <type_traits>

/// An ICC profile, shared by its copies.
///
/// Content  A profile object is empty, or it has a profile. Copies share one holder: what one of them loads, **all of
///          them see**. There are two ways to be empty, and they differ in just this:
///           - without a holder, as after default construction. What such an object loads is its own.
///           - with a holder in which there is no profile, as after loading an empty file. Copies share that state too.
/// Bytes    Kept as they were loaded and saved as they were loaded. Bytes after the end that the profile states are
///          dropped.
/// Bad data Whatever is not a whole ICC profile is refused: the answer is false, and what was there stays there. That
///          goes for any bytes, truncated, corrupt or hostile; nothing is read past their end, and the work is bounded.
///          The engine's complaints go to the debug log.
/// Memory   Where there is none std::bad_alloc is thrown, with everything as it was.
/// Cost     An empty object costs a pointer. A copy costs a count of references.
/// Threads  Objects that share a holder may be read, compared, saved and used for transforms from any threads. Loading
///          into a shared holder while another thread uses it is not supported.
class KX_EXPORT KXCMSProfile {
public:
    /// The colour space of a profile by its four-character signature in the ICC format. These are those met with;
    /// a profile may carry any other value.
    enum ColorSpace : unsigned int {
        NoColorSpace = 0, ///< of an empty profile
        XYZ = 0x58595A20,
        Lab = 0x4C616220,
        Luv = 0x4C757620,
        YCbCr = 0x59436272,
        Yxy = 0x59787920,
        Rgb = 0x52474220, ///< 'RGB ', the only one that is ever converted
        Gray = 0x47524159,
        Hsv = 0x48535620,
        Hls = 0x484C5320,
        Cmyk = 0x434D594B,
        Cmy = 0x434D5920,
    };

    /// An empty profile without a holder.
    KXCMSProfile() noexcept;
    /// Shares the holder of @p other; without one nothing is shared.
    KXCMSProfile(const KXCMSProfile &other);
    /// Takes the share of @p other, which is left without a holder.
    KXCMSProfile(KXCMSProfile &&other) noexcept;
    ~KXCMSProfile();
    KXCMSProfile &operator=(const KXCMSProfile &other);
    KXCMSProfile &operator=(KXCMSProfile &&other) noexcept;

    /// Whether the profiles have the same bytes, or are both empty (@c GetInfo decides).
    bool operator==(const KXCMSProfile &other) const;
    bool operator!=(const KXCMSProfile &other) const;

    /// Loads the file @p path into the holder, for all that share it; the first load makes a holder.
    ///
    /// An empty file empties the holder, for all that share it, and gives true. False, with everything as it was, when
    /// the file does not exist or cannot be read, and for bad data.
    bool Load(const QString &path);

    /// Loads the first @p size bytes of @p data into the holder, for all that share it; the first load makes a holder.
    ///
    /// A @p size of 0 empties **this object only**, by dropping its share of the holder, and gives true; @p data is not
    /// looked at then. False, with everything as it was, for a negative @p size, null @p data and bad data.
    bool Load(const char *data, int size);

    /// The same with the bytes of @p data. A template, so that literals and strings stay paths.
    template <class Bytes, std::enable_if_t<std::is_same<Bytes, QByteArray>::value, int> = 0>
    bool Load(const Bytes &data)
    {
        return Load(data.constData(), data.size());
    }

    /// The same, and says nothing about the outcome.
    void FromByteArray(const QByteArray &data);

    /// Writes the profile to @p buffer, which has room for @p size bytes. Returns the number of bytes written, 0 when
    /// empty, and -1, with nothing written, when they do not fit or @p buffer is null.
    int Save(char *buffer, int size) const;

    /// Writes the profile to the file @p path, over what is there. False when empty, which leaves the file alone, and
    /// when not all bytes could be written, which may leave a part of them.
    bool Save(const QString &path) const;

    /// The bytes of the profile; none when empty.
    QByteArray ToByteArray() const;

    /// How many bytes @c Save writes; 0 when empty, -1 when the engine cannot say.
    int GetMemSize() const;

    bool IsEmpty() const;

    /// The signature in the profile's header; @c NoColorSpace when empty.
    ColorSpace GetColorSpace() const;

    /// A text that is specific to the bytes of the profile and the same in every run: its description, when it has one,
    /// on the first line, and a digest of the bytes. An empty string when empty, and when the engine cannot tell, which
    /// is reported as "Read profile info error.".
    QString GetInfo() const;

private:
    friend class KXCMSTransform;
    class Private;

    /// The engine's handle; null when empty.
    void *Handle() const;

    std::unique_ptr<Private> d; ///< null without a holder
};
