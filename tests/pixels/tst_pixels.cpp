#include "TestSupport.h"

#include "KXPixels.h"

#include <cmath>
#include <limits>

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();

/// The spare bytes of the wide pixels belong to the value.
template <class Pixel>
static bool copiesAllBytes()
{
    QByteArray bytes(sizeof(Pixel), 0x5A);
    Pixel from, to;
    const Pixel zero {};
    std::memcpy(static_cast<void *>(&from), bytes.constData(), sizeof from);
    to = from;
    return !std::memcmp(&to, bytes.constData(), sizeof to) && !std::memcmp(&zero, bytes.fill(0).constData(), sizeof to);
}

class TestPixels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void words()
    {
        const OPRGBA32i pixel(0x80FF4020u), white(0xFFFFFFFFu), black(0xFF000000u);
        QVERIFY(std::memcmp(&pixel, "\x20\x40\xFF\x80", 4) == 0);
        QVERIFY(pixel.b == 0x20 && pixel.g == 0x40 && pixel.r == 0xFF && pixel.a == 0x80);
        QVERIFY(OPRGBA32i(0x20, 0x40, 0xFF, 0x80).word == 0x80FF4020 && unsigned(pixel) == 0x80FF4020);
        OPRGBA32i changed = pixel;
        QVERIFY((changed &= 0x00FFFFFF) == 0x00FF4020u && (changed |= int(0xFF000000)) == 0xFFFF4020u);
        QCOMPARE(changed.word, 0xFFFF4020u); // both work in place
        QVERIFY(!OPRGBA32i() && !!OPRGBA32i(1u));
        QVERIFY(white == OPRGBA32i(0xFFFFFFFFu) && white != black && !(white == black) && !(white != white));
        QVERIFY(white == -1 && white != 0 && OPRGBA32i() == 0 && !(black == -1)); // int: the word that it reads as
        QVERIFY(black == 0xFF000000u && black != 0xFF000001u);

        QVERIFY(copiesAllBytes<OPRGBA32i>() && copiesAllBytes<OPCMYKA>() && copiesAllBytes<OPHSLA>());
        QVERIFY(copiesAllBytes<OPRGBA64i>() && copiesAllBytes<OPRGBA64f>());
        QVERIFY(copiesAllBytes<OPRGBA128i>() && copiesAllBytes<OPRGBA128f>());
    }

    void clamp()
    {
        QCOMPARE(Clamp(0.25f, 0.0f, 1.0f), 0.25f);
        QCOMPARE(Clamp(-3.0f, 0.0f, 1.0f), 0.0f);
        QCOMPARE(Clamp(infinity, -1.0f, 1.0f), 1.0f);
        QCOMPARE(Clamp(notANumber, 0.5f, 1.0f), 0.5f);
        QCOMPARE(Clamp(0.0f, 2.0f, 1.0f), 2.0f); // an empty range: the end that is asked first
        QCOMPARE(Clamp(5.0f, 2.0f, 1.0f), 1.0f);
    }

    void gamma()
    {
        const std::pair<float, int> bytes[] = { { -0.1f, 0 }, { notANumber, 0 }, { 2.0f, 255 }, { infinity, 255 },
            { 0.001f, 3 }, // 0.001 * 12.92 * 255 + 0.5 = 3.79
            { 0.0031f, 10 }, // 10.71
            { 0.5f, 188 }, // 187.516 + 0.5
            { 0.2f, 124 } }; // 123.56 + 0.5
        for (const auto &[value, expected] : bytes)
            QCOMPARE(int(MakeGamma(value)), expected);
        for (int i = 0; i <= 255; ++i) {
            const double v = i / 255.0, exact = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
            const float intensity = VoltageToIntensitySrgb(float(v));
            QVERIFY(std::fabs(intensity - exact) < 1e-6);
            QCOMPARE(int(MakeGamma(intensity)), i);
        }
        QCOMPARE(VoltageToIntensitySrgb(-1.0f), -0.07739938f);
        QVERIFY(VoltageToIntensitySrgb(2.0f) > 4.0f && std::isnan(VoltageToIntensitySrgb(notANumber)));
    }
};

KXCORE_TEST_MAIN(TestPixels)
#include "tst_pixels.moc"
