#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include "TestSupport.h"

#include <QtCore/QBuffer>
#include <QtCore/QDataStream>

using Gaussian = OPGaussianBlurProcessing::Params;
using Box = OPBoxBlurProcessing::Params;

class TestParamStreams : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void bytes_data();
    void bytes();
    void truncated();
    void otherSignatures();
    void precisionAndOrder();
    void failingWrites();
    void sequence();
};

/// What the fields are, so that the two kinds of parameters can be tested alike.
static void set(Gaussian &params) { params.sigma = 1.5; }
static void set(Box &params) { params.radius = 0x01020304; }
static bool isSet(const Gaussian &params) { return params.sigma == 1.5; }
static bool isSet(const Box &params) { return params.radius == 0x01020304; }
static bool isDefault(const Gaussian &params) { return params.sigma == 5.0; }
static bool isDefault(const Box &params) { return params.radius == 5; }

template <class Params>
static QByteArray written(const Params &params)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << params;
    return bytes;
}

void TestParamStreams::bytes_data()
{
    QTest::addColumn<QByteArray>("actual");
    QTest::addColumn<QByteArray>("expected");
    Gaussian gaussian;
    Box box;
    QTest::newRow("gaussian, default") << written(gaussian)
                                       << "KXGaussianBlur 1.00000" + QByteArray::fromHex("4014000000000000");
    QTest::newRow("box, default") << written(box) << "KXBoxBlur 1.00000" + QByteArray::fromHex("00000005");
    set(gaussian);
    set(box);
    QTest::newRow("gaussian") << written(gaussian)
                              << "KXGaussianBlur 1.00000" + QByteArray::fromHex("3FF8000000000000");
    QTest::newRow("box") << written(box) << "KXBoxBlur 1.00000" + QByteArray::fromHex("01020304");
}

void TestParamStreams::bytes()
{
    QFETCH(QByteArray, actual);
    QFETCH(QByteArray, expected);
    QCOMPARE(actual, expected);
}

/// Reads @p bytes in three ways. Only whole ones succeed; until the field nothing is stored by @c Read.
template <class Params>
static void read(const QByteArray &bytes, bool whole, const QString &line)
{
    Params params;
    set(params);
    {
        QDataStream stream(bytes);
        QCOMPARE(params.Read(stream), whole);
    }
    if (whole)
        QVERIFY(isSet(params));
    set(params);
    testing::LogCapture log;
    QDataStream stream(bytes);
    const QDataStream::Status before = stream.status();
    QVERIFY(&(stream >> params) == &stream);
    QCOMPARE(log.texts(), whole ? QStringList() : QStringList(line));
    QVERIFY(whole ? isSet(params) : isDefault(params));
    if (whole)
        QCOMPARE(stream.status(), before);
}

template <class Params>
static void readTruncated(const QString &line)
{
    Params params;
    set(params);
    const QByteArray bytes = written(params);
    for (int size = 0; size <= bytes.size(); ++size)
        read<Params>(bytes.left(size), size == bytes.size(), line);
    read<Params>(bytes + "more", true, line);
}

static const QString gaussianReadError = "[src\\filters\\OPGaussianBlurProcessing] Read gaussian blur data error.";
static const QString boxReadError = "[src\\filters\\OPBoxBlurProcessing] Read box blur data error.";

void TestParamStreams::truncated()
{
    readTruncated<Gaussian>(gaussianReadError);
    readTruncated<Box>(boxReadError);
}

void TestParamStreams::otherSignatures()
{
    const QByteArray field = QByteArray::fromHex("3FF80000000000000102030405060708");
    for (const char *other : { "KXGaussianBlur 1.00001", "kxGaussianBlur 1.00000", "KXGaussianBlur 1.0000\0",
             "KXBoxBlur 1.00000\x01\x02\x03\x04", "KXDropShadow 1.000000000" }) {
        read<Gaussian>(QByteArray(other, 22) + field, false, gaussianReadError);
        Gaussian params;
        set(params);
        const QByteArray bytes = QByteArray(other, 22) + field;
        QDataStream stream(bytes);
        QVERIFY(!params.Read(stream));
        QVERIFY(isSet(params)); // nothing was stored
        QCOMPARE(stream.device()->pos(), 22); // and the stream stands behind what was compared
        QCOMPARE(stream.status(), QDataStream::Ok);
    }
    read<Box>("KXBoxBlur 2.00000" + field, false, boxReadError);
    read<Box>("KXSharpen 1.00000" + field, false, boxReadError); // as long, of another filter
}

void TestParamStreams::precisionAndOrder()
{
    // The fields go as the caller's stream is set; the signature is the same bytes in all.
    const auto check = [](auto setUp, const QByteArray &sigma, const QByteArray &radius) {
        Gaussian gaussian;
        Box box;
        set(gaussian);
        set(box);
        QByteArray bytes;
        {
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            setUp(stream);
            QVERIFY(gaussian.Write(stream) && box.Write(stream));
        }
        QCOMPARE(bytes, "KXGaussianBlur 1.00000" + sigma + "KXBoxBlur 1.00000" + radius);
        QDataStream stream(bytes);
        setUp(stream);
        gaussian = Gaussian();
        box = Box();
        QVERIFY(gaussian.Read(stream) && isSet(gaussian) && box.Read(stream) && isSet(box));
    };
    const auto hex = [](const char *digits) { return QByteArray::fromHex(digits); };
    check([](QDataStream &s) { s.setByteOrder(QDataStream::LittleEndian); }, hex("000000000000F83F"), hex("04030201"));
    check([](QDataStream &s) { s.setFloatingPointPrecision(QDataStream::SinglePrecision); }, hex("3FC00000"),
        hex("01020304"));
    // Before version 4.6 a double is 8 bytes whatever the precision.
    check(
        [](QDataStream &s) {
            s.setVersion(QDataStream::Qt_4_5);
            s.setFloatingPointPrecision(QDataStream::SinglePrecision);
        },
        hex("3FF8000000000000"), hex("01020304"));
}

void TestParamStreams::failingWrites()
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly); // takes nothing
    const auto check = [&](const auto &params, const QString &line) {
        QDataStream stream(&buffer);
        QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QBuffer): ReadOnly device");
        QVERIFY(!params.Write(stream));
        QDataStream other(&buffer);
        testing::LogCapture log;
        QVERIFY(&(other << params) == &other);
        QVERIFY2(log.texts().contains(line), qPrintable(log.texts().join('\n')));
    };
    check(Gaussian(), "[src\\filters\\OPGaussianBlurProcessing] Write gaussian blur data error.");
    check(Box(), "[src\\filters\\OPBoxBlurProcessing] Write box blur data error.");

    QByteArray target;
    QDataStream broken(&target, QIODevice::WriteOnly);
    broken.setStatus(QDataStream::WriteFailed);
    QVERIFY(!Box().Write(broken));
    QVERIFY(target.isEmpty());
}

void TestParamStreams::sequence()
{
    // Parameters follow one another in a stream.
    Gaussian gaussian;
    Box box;
    set(gaussian);
    set(box);
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << gaussian << box << Gaussian();
    QDataStream stream(bytes);
    Gaussian first, third;
    Box second;
    stream >> first >> second >> third;
    QVERIFY(isSet(first) && isSet(second) && isDefault(third) && stream.atEnd());
}

KXCORE_TEST_MAIN(TestParamStreams)
#include "tst_paramstreams.moc"
