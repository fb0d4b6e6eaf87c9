#pragma once

#include "AVX2LIB.h"
#include "lines/Pictures.h"

/// Rows for tests of the kernels: random, with the values that break things strewn in, at any offset, between guards.
namespace testing {

using Line = std::vector<OPRGBA32i>;

/// The kernel @p name of the module, or null without a module.
template <class Function>
Function *kernel(const char *name)
{
    const AVX2LIB *module = AVX2LIB::Instance();
    return module ? reinterpret_cast<Function *>(module->GetProcAddress(name)) : nullptr;
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

    static Row random(int offset, int length, QRandomGenerator &random)
    {
        Row row(offset, length);
        for (int i = 0; i < length; ++i)
            row[i] = saltedPixel(random);
        return row;
    }

    OPRGBA32i *pixels() { return m_pixels.data() + m_offset; }
    unsigned *words() { return reinterpret_cast<unsigned *>(pixels()); }
    OPRGBA32i &operator[](int i) { return pixels()[i]; }
    int length() const { return m_length; }

    /// Whether nothing outside the row was written.
    bool isGuardIntact() const
    {
        for (int i = 0; i < int(m_pixels.size()); ++i)
            if ((i < m_offset || i >= m_offset + m_length) && m_pixels[size_t(i)] != guardPixel)
                return false;
        return true;
    }

    Row(Row &&) = default; // moving keeps the heap block, and so the alignment

private:
    static constexpr int guard = 16;
    static constexpr OPRGBA32i guardPixel { 0xC3A5C3A5 };

    Line m_pixels;
    int m_offset, m_length;
};

/// Empty when the pixels are the @p expected ones, otherwise the first difference.
inline QString difference(const OPRGBA32i *actual, const Line &expected)
{
    const auto [e, a] = std::mismatch(expected.begin(), expected.end(), actual);
    return e == expected.end() ? QString()
                               : QString::asprintf("pixel %d of %d: expected %08x, got %08x", int(e - expected.begin()),
                                   int(expected.size()), e->word, a->word);
}

} // namespace testing

/// Compares a row, and says where in the test's loops it was when it fails.
#define COMPARE_ROW(row, expected, where)                                                                              \
    VERIFY_SAME_AT(testing::difference(row.pixels(), expected), where);                                                \
    QVERIFY2(row.isGuardIntact(), qPrintable(where + QString(": written beyond the row")))
