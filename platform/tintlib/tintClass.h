#pragma once

/// @file
/// The colour engine: ICC profiles and transforms between them as opaque handles, over Little CMS 2.
///
/// Profiles   A profile handle is immutable: it holds the profile's bytes as they were given and what was found out
///            about them. Any number of threads may use one handle, and a transform does not need the handles that it
///            was made from any more.
/// Transforms One transform handle may be used by any number of threads at once, without a lock. Each handle is
///            released by itself; while one lives, further ones for the same conversion are cheap to make.
/// Log        What Little CMS has to say about bytes that it cannot read goes to the debug log as
///            "[platform/tintlib/...:line] text". Making a transform says nothing.
/// Errors     Null or 0, as each operation says; std::bad_alloc passes through. Handles of one kind must not be
///            passed for the other.

/// Colour spaces of the ICC format by their four-character signatures. Profiles may carry others.
enum tintColorSpaceSignature : unsigned int {
    tintSigNone = 0,
    tintSigRgbData = 0x52474220, ///< 'RGB '
};

/// Pixels of four bytes in the order blue, green, red and one that is no colour, in the encoding of Little CMS.
constexpr unsigned int tintFormatBGRA8 = 0x44499;

/// The operations of the engine.
class tintClass {
public:
    /// Reads the ICC profile in the first bytes of @p data; what follows the size that the profile states is ignored.
    /// The bytes are copied. Null when they are no profile, when they are fewer than the profile states, when a tag
    /// lies outside or when one of those that define the profile's colours cannot be read. The memory and the time
    /// taken are bounded by a multiple of @p size, whatever the bytes are.
    static void *openProfileFromMem(const void *data, unsigned int size);

    /// Releases a profile. Non-zero on success; 0 for null.
    static int closeProfile(void *profile);

    /// With a null @p buffer stores the size of the profile in *@p size. Otherwise *@p size is the size of the buffer:
    /// the profile is written, and *@p size becomes the number of bytes. The bytes are those that were opened. Non-zero
    /// on success; 0, with nothing written, for null handles and for a buffer that is too small.
    static int saveProfileToMem(void *profile, void *buffer, unsigned int *size);

    /// A text in UTF-8 that is specific to the profile's bytes: its description, when it has one, on a first line, and
    /// the SHA-256 of the bytes in hexadecimal. With a null @p buffer and a @p size of 0 gives the size of the text
    /// with its terminating zero. Otherwise writes the text, cut to @p size - 1 bytes, with its terminating zero and
    /// gives the number of bytes written, zero included. 0 on failure.
    static unsigned int getProfileInfo(void *profile, char *buffer, unsigned int size);

    /// The colour space signature of the profile as its header gives it; 0 for null.
    static tintColorSpaceSignature getColorSpace(void *profile);

    /// Builds a transform between pixel formats and with an intent and flags in the encoding of Little CMS. Null when
    /// the engine cannot convert from the one profile to the other in this way.
    static void *createTransform(void *input, unsigned int inputFormat, void *output, unsigned int outputFormat,
        unsigned int intent, unsigned int flags);

    /// Converts @p count pixels; @p input and @p output may be the same memory, and must not overlap otherwise. Bytes
    /// of a pixel that are no colours are not written (unless the flags asked for that), so that in place they stay.
    /// Does nothing for null.
    ///
    /// Pixels of the format tintFormatBGRA8 are cheap where colours come again: a thread remembers what it has
    /// converted. The result is in any case that of Little CMS for the same pixel.
    static void doTransform(void *transform, const void *input, void *output, unsigned int count);

    /// Releases a transform; null is accepted.
    static void deleteTransform(void *transform);
};
