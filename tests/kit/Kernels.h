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

/// What @p adjustment makes of a pixel, for which its position may count.
inline OPRGBA32i after(const BaseTransformation &adjustment, OPRGBA32i pixel, int x = 0, int y = 0)
{
    adjustment(pixel); // an adjustment serves one of the two forms
    adjustment(x, y, pixel);
    return pixel;
}

/// Empty when the kernel of @p adjustment makes of a block of pixels, from (@p x, @p y) on, what the adjustment makes
/// of each of them. Without a kernel there is no difference.
inline QString blockDifference(const BaseTransformation &adjustment, const Line &pixels, int x = 0, int y = 0)
{
    Row block(pixels.front().g % 8, blocks::length); // at any address
    Line expected;
    for (int i = 0; i < blocks::length; ++i) {
        block[i] = pixels[size_t(i)];
        expected.push_back(adjustment.HasKernel() ? after(adjustment, block[i], x + i, y) : block[i]);
    }
    auto *const bytes = reinterpret_cast<unsigned char *>(block.pixels());
    adjustment(bytes, blocks::flag);
    adjustment(x, y, bytes, blocks::flag);
    return block.isGuardIntact() ? difference(block.pixels(), expected) : "written beyond the block";
}

} // namespace kit
