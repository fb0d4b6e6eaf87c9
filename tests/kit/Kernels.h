#pragma once

#include "color/Blocks.h"
#include "kit/Picture.h"
#include "support/Kernels.h"

/// Ends a test that has nothing to do where no kernels are.
#define SKIP_WITHOUT_MODULE()                                                                                          \
    do {                                                                                                               \
        if (!AVX2LIB::Instance())                                                                                      \
            QSKIP("there is no kernel module, or this processor has no AVX2");                                         \
    } while (false)

/// Compares a row, and says where in the test's loops it was when it fails.
#define COMPARE_ROW(row, expected, where)                                                                              \
    VERIFY_SAME_AT(kit::difference(row.pixels(), expected), where);                                                    \
    QVERIFY2(row.isGuardIntact(), qPrintable(where + QString(": written beyond the row")))

/// What tests of the kernel module share: looking its symbols up, guarded rows, and blocks.
namespace kit {

using Line = std::vector<OPRGBA32i>;

/// The kernel KX_SYMBOL(name), or null without a module.
template <class Function>
Function *fromModule(kernels::Symbol<Function> symbol)
{
    return symbol.In(AVX2LIB::Instance());
}

/// A row of pixels that begins @p offset pixels behind a 32-byte boundary, between two guards.
class Row {
public:
    Row(int offset, int length)
        : m_pixels(size_t(guard + offset + length + guard + 8), guardPixel)
        , m_offset(guard + offset)
        , m_length(length)
    {
        while (reinterpret_cast<quintptr>(m_pixels.data() + m_offset - offset) % 32 != 0)
            ++m_offset;
    }

    Row(int offset, int length, QRandomGenerator &random)
        : Row(offset, length)
    {
        std::generate_n(pixels(), length, [&] { return saltedPixel(random); });
    }

    OPRGBA32i *pixels() { return m_pixels.data() + m_offset; }
    unsigned *words() { return reinterpret_cast<unsigned *>(pixels()); }
    OPRGBA32i &operator[](int i) { return pixels()[i]; }
    int length() const { return m_length; }

    /// Whether nothing outside the row was written.
    bool isGuardIntact() const
    {
        const auto row = m_pixels.begin() + m_offset;
        return std::count(m_pixels.begin(), row, guardPixel) == m_offset
            && std::count(row + m_length, m_pixels.end(), guardPixel) == m_pixels.end() - row - m_length;
    }

private:
    static constexpr int guard = 16;
    static constexpr OPRGBA32i guardPixel { 0xC3A5C3A5 };

    Line m_pixels;
    int m_offset, m_length;
};

/// Runs the block kernel @p symbol, and @p plain on each pixel, and compares with @p formula(colour, alpha): every
/// colour under every alpha, then blocks that are opaque but for one pixel, and one that is all opaque.
template <class Formula>
void compareBlocks(
    kernels::Symbol<void(unsigned char *, bool)> symbol, const BaseTransformation &plain, Formula formula)
{
    for (int block = 0; block <= 512 + blocks::length; ++block) {
        const int colour = block / 2 % 256;
        Row fast(block % 8, blocks::length), single(0, blocks::length);
        Line expected;
        for (int k = 0; k < blocks::length; ++k) {
            const int alpha = block < 512 ? block % 2 * 128 + k : block == 512 + k ? 200 : 255;
            const int channels[] = { colour, 255 - colour, (colour * 7 + alpha) & 0xFF, alpha };
            fast[k] = single[k] = pixelOf([&](int c) { return channels[c]; });
            expected.push_back(pixelOf([&](int c) { return c == 3 ? alpha : formula(channels[c], alpha); }));
            plain(single[k]);
        }
        fromModule(symbol)(reinterpret_cast<unsigned char *>(fast.pixels()), blocks::flag);
        COMPARE_ROW(fast, expected, QString("block %1").arg(block));
        COMPARE_ROW(single, expected, QString("plain, block %1").arg(block));
    }
}

} // namespace kit
