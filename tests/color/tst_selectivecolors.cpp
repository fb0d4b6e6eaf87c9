#include "KXSelectiveColorsTransformation.h"
#include "color/SelectiveColors.h"
#include "kit/Kernels.h"

#include <cmath>

using List = SelectiveParamsList;
using Selective = KXIterativeSelectiveColorsTransformation;

const float infinite = float(qInf()), none = float(qQNaN());

class TestSelectiveColors : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Red, green and blue in quarters, and their weights: in quarters too, but in 1.1 eighths in whites and blacks.
    void weights()
    {
        const int rows[][14] = { { 4, 3, 1, 1, 2, 0, 0, 0, 0, 0, 1, 0 }, { 3, 4, 1, 0, 2, 1, 0, 0, 0, 0, 1, 0 },
            { 1, 4, 3, 0, 0, 1, 2, 0, 0, 0, 1, 0 }, { 1, 3, 4, 0, 0, 0, 2, 1, 0, 0, 1, 0 },
            { 3, 1, 4, 0, 0, 0, 0, 1, 2, 0, 1, 0 }, { 4, 1, 3, 1, 0, 0, 0, 0, 2, 0, 1, 0 },
            { 4, 4, 4, 0, 0, 0, 0, 0, 0, 8, 0, 0 }, { 3, 3, 3, 0, 0, 0, 0, 0, 0, 2, 2, 0 },
            { 2, 2, 2, 0, 0, 0, 0, 0, 0, 0, 4, 0 }, { 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 2, 1 }, { 0, 0, 0 } };
        for (const auto &row : rows)
            for (int range = 0; range < 11; ++range)
                QVERIFY(Selective().weight(range, row[0] / 4.0f, row[1] / 4.0f, row[2] / 4.0f)
                    == row[3 + range] * (range == List::Whites || range == List::Blacks ? 1.1f / 8 : .25f));
        QVERIFY(Selective().weight(-1, 1, .5f, 0) == 0);
    }

    void contributions()
    {
        const std::tuple<int, float, float, float, float, float> rows[] = { { 0, .75f, .5f, 0, 1, -.125f },
            { 1, .75f, .5f, 0, 1, -.5f }, { -9, .5f, .5f, 0, 1, -.5f },
            { 0, .75f, .5f, .5f, .5f, -.15625f }, // (1.5 * 1.5 - 1) * 0.25 * 0.5
            { 1, .25f, 1, 0, .5f, -.125f }, { 1, .25f, -2, 0, .5f, .375f }, // limited to 0 and to 1
            { 0, 1, -1, 0, 1, 0 }, { 0, 1, 1, 1, 1, 0 }, // nothing there to change
            { 1, .5f, 0, infinite, 1, -.5f }, { 1, .5f, 0, -infinite, 1, .5f }, { 1, .5f, infinite, 1, 1, -.5f },
            { 1, .5f, infinite, 0, 1, none }, { 0, 1, 0, infinite, 1, none }, { 1, .5f, none, 0, 1, none } };
        for (const auto &[mode, value, colour, black, weight, expected] : rows) {
            List list;
            list.m_Mode = mode;
            const float phi = Selective(list).phi(value, colour, black, weight);
            QVERIFY2(std::isnan(expected) ? std::isnan(phi) : phi == expected, qPrintable(QString::number(phi)));
        }
    }

    void pixels()
    {
        const std::tuple<int, int, SelectiveParams, unsigned, unsigned> rows[] = {
            { List::Reds, 0, { 100, 0, 0, 0 }, 0x12FF0000, 0x12FF0000 },
            { List::Reds, 0, { -100, 0, 0, 0 }, 0x12FF0000, 0x12FF0000 },
            { List::Reds, 1, { 100, 0, 0, 0 }, 0x12FF0000, 0x12000000 },
            { List::Reds, 1, { 0, -20, -40, 0 }, 0xFFFF0000, 0xFFFF3366 },
            { List::Cyans, 0, { -50, -50, -50, 0 }, 0x0000FFFF, 0x0080FFFF }, // 127.5 goes up
            { List::Neutrals, 1, { 0, 0, 0, 10 }, 0xFF808080, 0xFF676767 }, // 128 - 25.5 * 0.99608 is 102.6
            { List::Blacks, 1, { 0, 0, 0, -100 }, 0xFF404040, 0xFF5A5A5A }, // 64 + 191 * 0.13750
            { List::Whites, 0, { 0, none, 0, 0 }, 0xFF808080, 0xFF800080 } // 0.000017 is enough
        };
        for (const auto &[range, mode, inks, before, after] : rows) {
            List list;
            list.m_Params[range] = inks;
            list.m_Mode = mode;
            QCOMPARE(kit::after(Selective { list }, before), OPRGBA32i(after));
        }

#include "KXSelectiveColorsTransformation-1.inc"
        QCOMPARE(kit::after(adjust, 0xFF6666CC), OPRGBA32i(0xFF4E66CC)); // 0.4 - 0.4 * 0.6 * 0.4 is 77.52 / 255
    }

    void identities()
    {
        List longer, shorter;
        longer.m_Params << SelectiveParams { 9, 9, 9, 9 };
        QVERIFY(Selective().Params().isEmpty() && Selective(longer).Params().size() == 9);
#ifdef QT_NO_DEBUG
        shorter.m_Params = { {}, {} };
#endif
        for (Selective adjust : { Selective(), Selective(longer), Selective(shorter) })
            for (unsigned grey = 0; grey < 256; ++grey) {
                OPRGBA32i pixel(grey * 0x01010101);
                adjust.SetProcessingBuffer(&pixel);
                adjust(0);
                QCOMPARE(pixel, OPRGBA32i(grey * 0x01010101));
            }
    }

    /// By the C library, around each half.
    void rounding()
    {
        for (int n = 0; n < 256; ++n)
            for (float half = (float(n) + .5f) / 255, x = half * .999998f; x < half * 1.000002f;
                 x = std::nextafter(x, 2.0f))
                QCOMPARE(int(color::selective::level(x)), std::min(int(std::round(x * 255)), 255));
    }

    /// All colours, in shares that have parameters of their own.
    void kernel()
    {
        SKIP_WITHOUT_MODULE();
        constexpr unsigned shares = 37;
        QRandomGenerator random = kit::random();
        const float odd[] = { infinite, -infinite, none, 1e38f, -1e38f, 1e-40f, 100, -100 };
        for (unsigned share = 0; share < shares; ++share) {
            List list;
            for (SelectiveParams &inks : list.m_Params)
                for (float *const ink : { &inks.cyan, &inks.magenta, &inks.yellow, &inks.black })
                    *ink = random.bounded(int(share % 3) * 2 + 1) ? odd[random.bounded(8)]
                                                                  : float(random.bounded(-999, 999)) / 9;
            list.m_Mode = share / 3 % 2 ? int(share) - 20 : 0;
            const Selective selective(list);
            for (unsigned first = share * blocks::length; first < 1 << 24; first += shares * blocks::length) {
                kit::Line pixels;
                for (unsigned i = 0; i < blocks::length; ++i)
                    pixels.emplace_back(first * 3 << 24 | (first + i));
                VERIFY_SAME_AT(kit::blockDifference(selective, pixels), QString::number(first, 16));
            }
        }
    }

    void streams()
    {
        for (int form = 0; form < 8; ++form) {
            const auto stream = [form](auto &&...arguments) {
                auto made = std::make_unique<QDataStream>(arguments...);
                made->setByteOrder(QDataStream::ByteOrder(form & 1));
                made->setFloatingPointPrecision(QDataStream::FloatingPointPrecision(form >> 1 & 1));
                made->setVersion(form & 4 ? QDataStream::Qt_5_15 : QDataStream::Qt_4_5);
                return made;
            };
            const auto written = [stream](const List &list) {
                QByteArray to;
                return list.Write(*stream(&to, QIODevice::WriteOnly)) ? to : "refused";
            };
            QByteArray bytes = "KXSelectiveColorsFilter 1.00000";
            const auto numbers = stream(&bytes, QIODevice::Append);
            for (int i = 0; i < 9; ++i)
                *numbers << float(i) << float(i + 10) << float(i + 20) << float(i + 30);
            *numbers << 37;
            QCOMPARE(bytes.size(), form >= 6 ? 323 : 179); // streams of the old version have no doubles for floats

            List before, list;
            before.m_Params[3] = { 5, 6, 7, 8 };
            const QByteArray unread = written(before);
            for (int size = 0; size <= bytes.size(); ++size) {
                list = before;
                QCOMPARE(list.Read(*stream(bytes.left(size))), size == bytes.size());
                const int used = size < bytes.size() ? size - (size - 31) % (form >= 6 ? 8 : 4) : size;
                QCOMPARE(written(list), size < 31 ? unread : bytes.left(used).leftJustified(bytes.size(), '\0'));
                if (size < 31)
                    QVERIFY(!list.Read(*stream(QByteArray(bytes).replace(size, 1, "!"))) && written(list) == unread);
            }
            const Selective made(list);
            QVERIFY(made.Mode() == 37 && made.Params().isSharedWith(list.m_Params));
            for (unsigned i = 0; i < 9; ++i)
                QVERIFY(made.Cyan()[i] == float(i) * .01f && made.Magenta()[i] == float(i + 10) * .01f
                    && made.Yellow()[i] == float(i + 20) * .01f && made.Black()[i] == float(i + 30) * .01f);
            QCOMPARE(written(List(std::move(before))), unread);
            QVERIFY(before.m_Params.isEmpty() && !before.Read(*stream(unread.left(30))) && before.m_Params.isEmpty());
            QVERIFY(before.Read(*stream(bytes)) && written(before) == bytes);
        }
        QDataStream nowhere;
        QVERIFY(!List().Write(nowhere) && !List().Read(nowhere));
    }
};

KXCORE_TEST_MAIN(TestSelectiveColors)
#include "tst_selectivecolors.moc"
