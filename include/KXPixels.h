#pragma once

/// @file
/// Pixel types and the scalar colour helpers.
///
/// All pixels are straight (not premultiplied) colour with an alpha of their own. They are plain data: trivially
/// copyable, aligned to their word (those of 16 bytes: to 4), usable from any thread.

#include "KXGlobal.h"

/// The main pixel: bytes blue, green, red, alpha in memory, which is a little-endian QImage::Format_ARGB32 pixel; as a
/// word 0xAARRGGBB, as a QRgb is. Word 0 is fully transparent black.
union KX_EXPORT OPRGBA32i {
    unsigned int word;
    struct {
        unsigned char b, g, r, a;
    };

    constexpr OPRGBA32i()
        : word(0)
    {
    }
    constexpr OPRGBA32i(unsigned int value)
        : word(value)
    {
    }
    /// Blue, green, red, alpha.
    constexpr OPRGBA32i(unsigned char blue, unsigned char green, unsigned char red, unsigned char alpha)
        : word(unsigned(alpha) << 24 | unsigned(red) << 16 | unsigned(green) << 8 | blue)
    {
    }
    constexpr OPRGBA32i(const OPRGBA32i &) = default;
    constexpr OPRGBA32i(OPRGBA32i &&) = default;
    OPRGBA32i &operator=(const OPRGBA32i &) = default;
    OPRGBA32i &operator=(OPRGBA32i &&) = default;

    constexpr bool operator!() const { return word == 0; }
    constexpr bool operator==(const OPRGBA32i &other) const { return word == other.word; }
    constexpr bool operator!=(const OPRGBA32i &other) const { return word != other.word; }
    /// The word against an integer: -1 equals 0xFFFFFFFF.
    constexpr bool operator==(int value) const { return word == static_cast<unsigned int>(value); }
    constexpr bool operator!=(int value) const { return word != static_cast<unsigned int>(value); }
    constexpr bool operator==(unsigned int value) const { return word == value; }
    constexpr bool operator!=(unsigned int value) const { return word != value; }
    constexpr operator unsigned int() const { return word; }
    constexpr operator unsigned int() { return word; }
    OPRGBA32i &operator&=(int value)
    {
        word &= static_cast<unsigned int>(value);
        return *this;
    }
    OPRGBA32i &operator|=(int value)
    {
        word |= static_cast<unsigned int>(value);
        return *this;
    }
};

/// Cyan, magenta, yellow, black, alpha, one byte each; three spare bytes follow, which the library writes as 0.
union KX_EXPORT OPCMYKA {
    quint64 word = 0;
    struct {
        unsigned char c, m, y, k, a, spare[3];
    };
};

/// Hue in hundredths of a degree (the library produces 0 to 35900), saturation, lightness and alpha 0 to 255; three
/// spare bytes follow, which the library writes as 0.
union KX_EXPORT OPHSLA {
    quint64 word = 0;
    struct {
        quint16 h;
        unsigned char s, l, a, spare[3];
    };
};

/// Four 16-bit channels: blue, green, red, alpha.
union KX_EXPORT OPRGBA64i {
    quint64 word = 0;
    struct {
        quint16 b, g, r, a;
    };
};

/// Four IEEE 754 binary16 channels, held as their bits: blue, green, red, alpha.
union KX_EXPORT OPRGBA64f {
    quint64 word = 0;
    struct {
        quint16 b, g, r, a;
    };
};

/// Four 32-bit integer channels: blue, green, red, alpha. Only an argument of colour transformations.
union KX_EXPORT OPRGBA128i {
    qint32 channels[4] = {};
    struct {
        qint32 b, g, r, a;
    };
};

/// Four 32-bit float channels: blue, green, red, alpha. Only an argument of colour transformations.
union KX_EXPORT OPRGBA128f {
    float channels[4] = {};
    struct {
        float b, g, r, a;
    };
};

static_assert(sizeof(OPRGBA32i) == 4 && sizeof(OPCMYKA) == 8 && sizeof(OPHSLA) == 8 && sizeof(OPRGBA64i) == 8
        && sizeof(OPRGBA64f) == 8 && sizeof(OPRGBA128i) == 16 && sizeof(OPRGBA128f) == 16,
    "pixels have fixed sizes");

/// Bytes of a foreign image, one pixel after the other: pixel i begins at byte i * pixelStride and holds red, green,
/// blue. Rows follow one another without padding. Does not own the bytes.
struct RGB32iRawImage {
    quint16 height = 0;
    quint16 width = 0;
    quint16 pixelStride = 0; ///< bytes from one pixel to the next
    const unsigned char *pixels = nullptr;
};

/// @p lo when @p v is below it or NaN; otherwise the smaller of @p v and @p hi.
KX_EXPORT float Clamp(float v, float lo, float hi);

/// Linear intensity to an sRGB byte. Values outside 0..1 are clamped, NaN gives 0.
KX_EXPORT unsigned char MakeGamma(float v);

/// sRGB value in 0..1 to linear intensity. Values outside are not clamped; NaN stays NaN.
KX_EXPORT float VoltageToIntensitySrgb(float v);
