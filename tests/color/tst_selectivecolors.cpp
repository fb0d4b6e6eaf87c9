#include "KXSelectiveColorsTransformation.h"
#include "color/SelectiveColors.h"
#include "kit/Kernels.h"

#include <QtCore/QBuffer>

#include <cmath>
#include <limits>

using List = SelectiveParamsList;
using Selective = KXSelectiveColorsTransformation;

namespace {

constexpr float infinite = std::numeric_limits<float>::infinity(), none = std::numeric_limits<float>::quiet_NaN();

/// One range alone.
List only(int range, SelectiveParams inks, int mode)
{
    List list;
    list.m_Params[range] = inks;
    list.m_Mode = mode;
    return list;
}

OPRGBA32i adjusted(const List &list, OPRGBA32i pixel)
{
    Selective { list }(pixel);
    return pixel;
}

/// All numbers of a list, in the order of its stream.
QList<double> numbers(const List &list)
{
    QList<double> all;
    for (const SelectiveParams &inks : list.m_Params)
        all << inks.cyan << inks.magenta << inks.yellow << inks.black;
    return all << list.m_Mode;
}

/// 1, 2, 3 and so on.
List counting()
{
    List list;
    float number = 0;
    for (SelectiveParams &inks : list.m_Params)
        inks = { number + 1, number + 2, number + 3, number + 4 }, number += 4;
    list.m_Mode = 37;
    return list;
}

} // namespace

class TestSelectiveColors : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Channels whose weights need no rounding; those of whites and blacks are multiples of 1.1.
    void weights()
    {
        struct Row {
            float r, g, b;
            QMap<int, float> expected; // what is not named is 0
        };
        const Row rows[] = { { 1, 0, 0, { { List::Reds, 1 } } }, { 0, 1, 1, { { List::Cyans, 1 } } },
            { 1, .75f, .25f, { { List::Reds, .25f }, { List::Yellows, .5f }, { List::Neutrals, .25f } } },
            { .75f, 1, .25f, { { List::Greens, .25f }, { List::Yellows, .5f }, { List::Neutrals, .25f } } },
            { .25f, 1, .75f, { { List::Greens, .25f }, { List::Cyans, .5f }, { List::Neutrals, .25f } } },
            { .25f, .75f, 1, { { List::Blues, .25f }, { List::Cyans, .5f }, { List::Neutrals, .25f } } },
            { .75f, .25f, 1, { { List::Blues, .25f }, { List::Magentas, .5f }, { List::Neutrals, .25f } } },
            { 1, .25f, .75f, { { List::Reds, .25f }, { List::Magentas, .5f }, { List::Neutrals, .25f } } },
            { 1, 1, 1, { { List::Whites, 1.1f } } }, { 0, 0, 0, {} }, { .5f, .5f, .5f, { { List::Neutrals, 1 } } },
            { .75f, .75f, .75f, { { List::Neutrals, .5f }, { List::Whites, .25f * 1.1f } } },
            { .25f, .25f, .25f, { { List::Neutrals, .5f }, { List::Blacks, .125f * 1.1f } } },
            { .5f, .75f, .75f, { { List::Cyans, .25f }, { List::Neutrals, .75f } } },
            { .5f, .25f, .25f, { { List::Reds, .25f }, { List::Neutrals, .75f } } } };
        for (const Row &row : rows)
            for (int range = -1; range < 11; ++range)
                QVERIFY(Selective().weight(range, row.r, row.g, row.b) == row.expected.value(range, 0));
    }

    void contributions()
    {
        struct Row {
            int mode;
            float value, colour, black, weight, expected;
        };
        const Row rows[] = { { 0, .75f, .5f, 0, 1, -.125f }, { 1, .75f, .5f, 0, 1, -.5f }, { -9, .5f, .5f, 0, 1, -.5f },
            { 0, .75f, .5f, .5f, .5f, -.15625f }, // (1.5 * 1.5 - 1) * 0.25 * 0.5
            { 1, .25f, 1, 0, .5f, -.125f }, { 1, .25f, -2, 0, .5f, .375f }, // limited to 0 and to 1
            { 0, .5f, -4, 0, 1, .5f }, { 0, 1, -1, 0, 1, 0 }, { 0, 1, 1, 1, 1, 0 }, // nothing there to change
            { 1, .5f, -1, 9, 1, .5f }, { 1, .5f, 0, infinite, 1, -.5f }, { 1, .5f, 0, -infinite, 1, .5f },
            { 1, .5f, infinite, 0, 1, none }, { 0, 1, 0, infinite, 1, none }, { 1, .5f, none, 0, 1, none } };
        for (const auto &[mode, value, colour, black, weight, expected] : rows) {
            const Selective selective(only(0, {}, mode));
            QVERIFY(selective.Mode() == mode && selective.Params().size() == 9);
            const float phi = selective.phi(value, colour, black, weight);
            QVERIFY2(std::isnan(expected) ? std::isnan(phi) : phi == expected, qPrintable(QString::number(phi)));
        }
    }

    void pixels()
    {
        struct Row {
            int range, mode;
            SelectiveParams inks;
            unsigned before, after;
        };
        const Row rows[] = { { List::Reds, 0, { 100, 0, 0, 0 }, 0x12FF0000, 0x12FF0000 },
            { List::Reds, 0, { -100, 0, 0, 0 }, 0x12FF0000, 0x12FF0000 },
            { List::Reds, 1, { 100, 0, 0, 0 }, 0x12FF0000, 0x12000000 },
            { List::Reds, 1, { 0, -20, -40, 0 }, 0xFFFF0000, 0xFFFF3366 },
            { List::Cyans, 0, { -50, -50, -50, 0 }, 0x0000FFFF, 0x0080FFFF }, // 127.5 goes up
            { List::Neutrals, 1, { 0, 0, 0, 10 }, 0xFF808080, 0xFF676767 }, // 128 - 25.5 * 0.99608 is 102.6
            { List::Blacks, 1, { 0, 0, 0, -100 }, 0xFF000000, 0xFF000000 },
            { List::Blacks, 1, { 0, 0, 0, -100 }, 0xFF404040, 0xFF5A5A5A } }; // 64 + 191 * 0.13750
        for (const auto &[range, mode, inks, before, after] : rows)
            QCOMPARE(adjusted(only(range, inks, mode), before), OPRGBA32i(after));

        SelectiveParamsList list;
        list.m_Params[SelectiveParamsList::Blues].cyan = 40; // deeper skies
        list.m_Params[SelectiveParamsList::Reds] = { -20, 0, 10, 0 }; // warmer skin
        const KXSelectiveColorsTransformation adjust(list);
        OPRGBA32i sky(0xFF6666CC);
        adjust(sky);
        QCOMPARE(sky, OPRGBA32i(0xFF4E66CC)); // 0.4 - 0.4 * 0.6 * 0.4 is 77.52 / 255

        List longer = only(List::Blues, {}, 0);
        longer.m_Params << SelectiveParams { 9, 9, 9, 9 };
        for (unsigned i = 0; i < 256; ++i) {
            OPRGBA32i pixel(i << 24 | i << 16 | (255 - i) << 8 | i);
            const OPRGBA32i before = pixel;
            Selective {}(pixel);
            QVERIFY(pixel == before && adjusted(longer, before) == before && adjusted(List(), before) == before);
        }
#ifdef QT_NO_DEBUG
        longer.m_Params = { { 100, 0, 0, 0 } };
        QCOMPARE(adjusted(longer, 0x00FFFF80), OPRGBA32i(0x00FFFF80)); // reds alone, of weight 0 here
#endif
    }

    /// A parameter that is no number shows where a range acts, and on what.
    void whereRangesAct()
    {
        const int levels[] = { 0, 1, 63, 126, 127, 128, 129, 200, 254, 255 };
        for (const int r : levels)
            for (const int g : levels)
                for (const int b : levels) {
                    const int most = std::max({ r, g, b }), least = std::min({ r, g, b });
                    const bool acts[] = { r > std::max(g, b), std::min(r, g) > b, g > std::max(r, b),
                        std::min(g, b) > r, b > std::max(r, g), std::min(r, b) > g, least > 127,
                        std::abs(2 * least - 255) + std::abs(2 * most - 255) < 510, most < 128 && most > 0 };
                    const OPRGBA32i pixel(uchar(b), uchar(g), uchar(r), 7);
                    for (int range = 0; range < 9; ++range)
                        for (const int mode : { 0, 1 }) {
                            const unsigned left = acts[range] ? 0xFF000000 : 0xFFFFFFFF;
                            QCOMPARE(adjusted(only(range, { 0, 0, 0, none }, mode), pixel), pixel & left);
                            QCOMPARE(
                                adjusted(only(range, { 0, none, 0, 0 }, mode), pixel), pixel & (left | 0xFFFF00FF));
                        }
                }
    }

    /// By the C library, around each half.
    void rounding()
    {
        for (int n = 0; n < 256; ++n) {
            float value = (float(n) + 0.5f) / 255;
            for (int i = 0; i < 40; ++i)
                value = std::nextafter(value, 0.0f);
            for (int i = 0; i < 80; ++i, value = std::nextafter(value, 2.0f))
                QCOMPARE(int(color::selective::level(value)), std::min(int(std::round(value * 255.0f)), 255));
        }
        for (const float value : { -infinite, -1.0f, none, 1.5f, infinite })
            QCOMPARE(int(color::selective::level(value)), value > 0 ? 255 : 0);
    }

    /// For all colours with some parameters, and with others for one block of colours in a hundred.
    void kernel()
    {
        SKIP_WITHOUT_MODULE();
#ifdef QT_NO_DEBUG
        const int thorough = 6;
#else
        const int thorough = 0; // it would take minutes
#endif
        QRandomGenerator random = kit::random();
        const float odd[] = { infinite, -infinite, none, 1e38f, -1e38f, 1e-40f, 100, -100 };
        for (int round = 0; round < 36; ++round) {
            List list;
            for (SelectiveParams &inks : list.m_Params)
                for (float *const ink : { &inks.cyan, &inks.magenta, &inks.yellow, &inks.black })
                    *ink = random.bounded(round % 3 * 2 + 1) ? odd[random.bounded(8)]
                                                             : float(random.bounded(-999, 999)) / 9;
            list.m_Mode = round / 3 % 2;
            const Selective selective(list);
            for (int block = 0; block < 1 << 17; block += round < thorough ? 1 : 101) {
                kit::Row row(block % 8, blocks::length);
                kit::Line expected;
                for (int i = 0; i < blocks::length; ++i)
                    expected.push_back(row[i].word = unsigned(block << 7 | i) | unsigned(block) << 24);
                for (OPRGBA32i &pixel : expected)
                    selective(pixel);
                selective(reinterpret_cast<unsigned char *>(row.pixels()), blocks::flag);
                COMPARE_ROW(row, expected, QString("round %1, block %2").arg(round).arg(block));
            }
        }
    }

    void streams()
    {
        for (int form = 0; form < 8; ++form) {
            const bool isSingle = form & 2 || form & 4; // streams of the old version have no doubles for floats
            const auto setUp = [form](QDataStream &stream) {
                stream.setByteOrder(form & 1 ? QDataStream::LittleEndian : QDataStream::BigEndian);
                stream.setFloatingPointPrecision(
                    form & 2 ? QDataStream::SinglePrecision : QDataStream::DoublePrecision);
                stream.setVersion(form & 4 ? QDataStream::Qt_4_5 : QDataStream::Qt_5_15);
            };
            const auto read = [setUp](List &list, const QByteArray &from) {
                QDataStream in(from);
                setUp(in);
                return list.Read(in);
            };
            const QByteArray signature = "KXSelectiveColorsFilter 1.00000";
            const QList<double> all = numbers(counting());
            QByteArray bytes, digits;
            QDataStream out(&bytes, QIODevice::WriteOnly), digitsOut(&digits, QIODevice::WriteOnly);
            setUp(out), setUp(digitsOut);
            QVERIFY(counting().Write(out));
            for (int i = 0; i < 36; ++i)
                digitsOut << float(all[i]);
            digitsOut << 37;
            QCOMPARE(bytes, signature + digits);
            QCOMPARE(bytes.size(), isSingle ? 179 : 323);

            const List before = only(3, { 5, 6, 7, 8 }, 9);
            for (int size = 0; size <= bytes.size(); ++size) {
                List list = before, empty = before;
                const List moved = std::move(empty);
                QVERIFY(empty.m_Params.isEmpty() && numbers(moved) == numbers(before));
                QCOMPARE(read(list, bytes.left(size)), size == bytes.size());
                QCOMPARE(read(empty, bytes.left(size)), size == bytes.size());
                if (size < 31) {
                    QByteArray damaged = bytes;
                    damaged[size] = '!';
                    QVERIFY(!read(list, damaged) && numbers(list) == numbers(before) && empty.m_Params.isEmpty());
                    continue;
                }
                const int whole = size == bytes.size() ? 37 : std::min((size - 31) / (isSingle ? 4 : 8), 36);
                for (int i = 0; i < 37; ++i)
                    QCOMPARE(numbers(list)[i], i < whole ? all[i] : 0);
                QVERIFY(numbers(empty) == numbers(list) && before.m_Params[3].cyan == 5);
            }
        }
        QBuffer closed;
        closed.open(QIODevice::ReadOnly); // takes nothing
        QDataStream refused(&closed);
        QVERIFY(!List().Write(refused) && !List().Read(refused));
    }
};

KXCORE_TEST_MAIN(TestSelectiveColors)
#include "tst_selectivecolors.moc"
