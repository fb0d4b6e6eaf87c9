#pragma once

#include "AVX2LIB.h"
#include "lines/Pictures.h"

/// Rows for tests of the kernels: random, with the values that break things strewn in, at any offset, between guards.
namespace testing {

/// The kernel @p name of the module, or null without a module.
template <class Function>
Function *kernel(const char *name)
{
    const AVX2LIB *module = AVX2LIB::Instance();
    return module ? reinterpret_cast<Function *>(module->GetProcAddress(name)) : nullptr;
}

/// A row of 32-bit pixels that begins @p offset pixels behind a 32-byte boundary, between two guards.
class Row {
public:
    Row(int offset, int length)
        : m_words(size_t(guard + offset + length + guard + 8), guardWord)
        , m_offset(guard + offset)
        , m_length(length)
    {
        while (reinterpret_cast<quintptr>(m_words.data() + m_offset - offset) % 32 != 0)
            ++m_offset;
    }

    static Row random(int offset, int length, QRandomGenerator &random)
    {
        Row row(offset, length);
        for (int i = 0; i < 4 * length; ++i)
            row.bytes()[i] = saltedByte(random);
        return row;
    }

    unsigned *data() { return m_words.data() + m_offset; }
    const unsigned *data() const { return m_words.data() + m_offset; }
    unsigned char *bytes() { return reinterpret_cast<unsigned char *>(data()); }
    const unsigned char *bytes() const { return reinterpret_cast<const unsigned char *>(data()); }
    int length() const { return m_length; }

    /// Whether nothing outside the row was written.
    bool isGuardIntact() const
    {
        for (int i = 0; i < int(m_words.size()); ++i)
            if ((i < m_offset || i >= m_offset + m_length) && m_words[size_t(i)] != guardWord)
                return false;
        return true;
    }

    Row(Row &&) = default; // moving keeps the heap block, and so the alignment
    Row &operator=(Row &&) = default;

private:
    static constexpr int guard = 16;
    static constexpr unsigned guardWord = 0xC3A5C3A5;

    std::vector<unsigned> m_words;
    int m_offset, m_length;
};

/// Empty when @p row holds @p expected and its guards are intact; otherwise the first difference in words.
inline QString difference(const Row &row, const std::vector<unsigned> &expected)
{
    for (int i = 0; i < row.length(); ++i)
        if (row.data()[i] != expected[size_t(i)])
            return QString::asprintf(
                "pixel %d of %d: expected %08x, got %08x", i, row.length(), expected[size_t(i)], row.data()[i]);
    return row.isGuardIntact() ? QString() : QString("a guard was overwritten");
}

} // namespace testing

/// Compares a row, and says where in the test's loops it was when it fails.
#define COMPARE_ROW(row, expected, where) VERIFY_SAME_AT(testing::difference(row, expected), where)
