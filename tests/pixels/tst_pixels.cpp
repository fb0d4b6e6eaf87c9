#include "TestSupport.h"

#include "KXPixels.h"

#include <cmath>
#include <limits>

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();

class TestPixels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordAndBytes();
    void comparisons();
    void copiesWholePixels();
    void clamp_data();
    void clamp();
    void makeGamma_data();
    void makeGamma();
    void voltageToIntensity();
};

void TestPixels::wordAndBytes()
{
    const OPRGBA32i pixel(0x80FF4020u);
    const unsigned char bytes[4] = { 0x20, 0x40, 0xFF, 0x80 };
    QVERIFY(std::memcmp(&pixel, bytes, 4) == 0);
    QCOMPARE(pixel.b, bytes[0]);
    QCOMPARE(pixel.a, bytes[3]);
    QCOMPARE(OPRGBA32i(0x20, 0x40, 0xFF, 0x80).word, 0x80FF4020u);
    QCOMPARE(OPRGBA32i().word, 0u);
    QCOMPARE(static_cast<unsigned int>(pixel), 0x80FF4020u);

    OPRGBA32i changed = pixel;
    QCOMPARE((changed &= 0x00FFFFFF).word, 0x00FF4020u);
    QCOMPARE((changed |= int(0xFF000000)).word, 0xFFFF4020u);
    QCOMPARE(changed.word, 0xFFFF4020u); // both work in place
}

void TestPixels::comparisons()
{
    const OPRGBA32i white(0xFFFFFFFFu), black(0xFF000000u);
    QVERIFY(!OPRGBA32i());
    QVERIFY(!!OPRGBA32i(1u));
    QVERIFY(white == OPRGBA32i(0xFFFFFFFFu) && white != black && !(white == black) && !(white != white));
    QVERIFY(white == -1 && white != 0 && OPRGBA32i() == 0 && !(black == -1)); // int: the word that it reads as
    QVERIFY(black == 0xFF000000u && black != 0xFF000001u);
}

/// The spare bytes of the wide pixels belong to the value.
template <class Pixel>
void checkCopy()
{
    unsigned char bytes[sizeof(Pixel)];
    for (size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<unsigned char>(i * 17 + 3);
    Pixel from, to;
    const Pixel zero {};
    std::memcpy(static_cast<void *>(&from), bytes, sizeof bytes);
    to = from;
    QVERIFY(std::memcmp(&to, bytes, sizeof bytes) == 0);
    std::memset(bytes, 0, sizeof bytes);
    QVERIFY(std::memcmp(&zero, bytes, sizeof bytes) == 0);
}

void TestPixels::copiesWholePixels()
{
    checkCopy<OPRGBA32i>();
    checkCopy<OPCMYKA>();
    checkCopy<OPHSLA>();
    checkCopy<OPRGBA64i>();
    checkCopy<OPRGBA64f>();
    checkCopy<OPRGBA128i>();
    checkCopy<OPRGBA128f>();
}

void TestPixels::clamp_data()
{
    for (const char *column : { "value", "low", "high", "expected" })
        QTest::addColumn<float>(column);
    QTest::newRow("inside") << 0.25f << 0.0f << 1.0f << 0.25f;
    QTest::newRow("below") << -3.0f << 0.0f << 1.0f << 0.0f;
    QTest::newRow("above") << 3.0f << 0.0f << 1.0f << 1.0f;
    QTest::newRow("NaN is the lower end") << notANumber << 0.5f << 1.0f << 0.5f;
    QTest::newRow("infinite") << infinity << -1.0f << 1.0f << 1.0f;
    QTest::newRow("empty range, below") << 0.0f << 2.0f << 1.0f << 2.0f;
    QTest::newRow("empty range, above") << 5.0f << 2.0f << 1.0f << 1.0f;
}

void TestPixels::clamp()
{
    QFETCH(float, value);
    QFETCH(float, low);
    QFETCH(float, high);
    QFETCH(float, expected);
    QCOMPARE(Clamp(value, low, high), expected);
}

void TestPixels::makeGamma_data()
{
    QTest::addColumn<float>("value");
    QTest::addColumn<int>("expected");
    QTest::newRow("negative") << -0.1f << 0;
    QTest::newRow("NaN") << notANumber << 0;
    QTest::newRow("above 1") << 2.0f << 255;
    QTest::newRow("infinite") << infinity << 255;
    QTest::newRow("0") << 0.0f << 0;
    QTest::newRow("1") << 1.0f << 255;
    QTest::newRow("linear part, 3.79 up") << 0.001f << 3; // 0.001 * 12.92 * 255 + 0.5
    QTest::newRow("linear part, end") << 0.0031f << 10; // 10.71
    QTest::newRow("power part, 0.5") << 0.5f << 188; // 187.516 + 0.5
    QTest::newRow("power part, 0.2") << 0.2f << 124; // 123.56 + 0.5
}

void TestPixels::makeGamma()
{
    QFETCH(float, value);
    QFETCH(int, expected);
    QCOMPARE(int(MakeGamma(value)), expected);
}

void TestPixels::voltageToIntensity()
{
    for (int i = 0; i <= 255; ++i) {
        const double v = i / 255.0, exact = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        const float intensity = VoltageToIntensitySrgb(float(v));
        QVERIFY2(std::fabs(intensity - exact) < 1e-6, qPrintable(QString("%1").arg(i)));
        QCOMPARE(int(MakeGamma(intensity)), i);
    }
    QCOMPARE(VoltageToIntensitySrgb(-1.0f), -0.07739938f);
    QVERIFY(VoltageToIntensitySrgb(2.0f) > 4.0f);
    QVERIFY(std::isnan(VoltageToIntensitySrgb(notANumber)));
}

KXCORE_TEST_MAIN(TestPixels)
#include "tst_pixels.moc"
