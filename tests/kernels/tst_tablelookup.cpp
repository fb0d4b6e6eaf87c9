#include "TableLookUp.h"
#include "kit/Kernels.h"
#include "kit/Test.h"

#include <cpuid.h>

using vectors::LookUp, vectors::Result;

/// Both ways in which the kernel module looks up in tables, whichever of them it takes on this processor.
class TestTableLookUp : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (!__builtin_cpu_supports("avx2"))
            QSKIP("this processor has no AVX2");
    }

    /// The processor has AVX-512 BW and VBMI, and the system keeps all vectors and masks.
    void fastest()
    {
        unsigned a = 0, b = 0, c = 0, d = 0, kept = 0;
        if (__get_cpuid(1, &a, &b, &c, &d) && (c & bit_OSXSAVE))
            asm("xgetbv" : "=a"(kept), "=d"(d) : "c"(0));
        const bool isWide = (kept & 0xE6) == 0xE6 && __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & bit_AVX512BW)
            && (c & bit_AVX512VBMI);
        QCOMPARE(vectors::hasPermutations(), isWide);
        QVERIFY(vectors::fastestLookUp == (isWide ? vectors::lookUpByPermutations : vectors::lookUpByShuffles));
    }

    /// Every value of every channel and every grey, through tables in which no two entries need be equal.
    void results()
    {
        for (const Result result : { Result::Channels, Result::OfGreys, Result::Sums }) {
            check(vectors::lookUpByShuffles, result);
            if (vectors::hasPermutations())
                check(vectors::lookUpByPermutations, result);
        }
    }

private:
    static void check(LookUp *lookUp, Result result)
    {
        QRandomGenerator random = kit::random();
        KXChannelTables tables;
        for (KXChannelTables::Table *table : { &tables.r, &tables.g, &tables.b })
            std::generate(table->begin(), table->end(), [&] { return uchar(random.bounded(256)); });
        for (int block = 0; block < 64; ++block) {
            kit::Row from(block % 8, blocks::length), to(block / 8, blocks::length);
            kit::Line expected;
            for (int k = 0; k < blocks::length; ++k) {
                const auto b = uchar(block * blocks::length + k);
                const uchar g = block < 32 ? 255 - b : b; // in the second half almost grey
                const auto r = uchar(block < 32 ? b * 7 + block : b ^ (block % 4));
                from[k] = OPRGBA32i(b, g, r, uchar(k));
                const bool ofGreys = result == Result::OfGreys;
                const int grey = (std::max({ b, g, r }) + std::min({ b, g, r })) / 2;
                const uchar found[] = { tables.b[ofGreys ? grey : b], tables.g[ofGreys ? grey : g],
                    tables.r[ofGreys ? grey : r] };
                const auto sum = uchar(std::min(found[0] + found[1] + found[2], 255));
                expected.push_back(result == Result::Sums ? OPRGBA32i(sum, sum, sum, uchar(k))
                                                          : OPRGBA32i(found[0], found[1], found[2], uchar(k)));
            }
            const auto bytes = [](kit::Row &row) { return reinterpret_cast<unsigned char *>(row.pixels()); };
            lookUp(tables, bytes(from), bytes(to), result);
            COMPARE_ROW(to, expected, QString("block %1").arg(block));
            lookUp(tables, bytes(from), bytes(from), result);
            COMPARE_ROW(from, expected, QString("block %1, in place").arg(block));
        }
    }
};

KXCORE_TEST_MAIN(TestTableLookUp)
#include "tst_tablelookup.moc"
