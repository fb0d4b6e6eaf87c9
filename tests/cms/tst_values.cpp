#include "KXEXIFElement.h"
#include "KXTileManager64.h"

#include "TestSupport.h"

#include <QtCore/QTranslator>

using Element = KXEXIFElement;

/// Small parts that images are made of: elements of EXIF data, and blocks of memory for tiles.
class TestValues : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void dictionary()
    {
        QFile file(EXIF_TAGS); // number, tag, name and description of each kind
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto row = [](int type) {
            const auto t = Element::Type(type);
            const QString start = QString("%1\t%2\t").arg(type).arg(Element::GetTag(t));
            return start + Element::GetTypeName(t) + "\t" + Element::GetDescription(t);
        };
        for (int type = 0; type < 80; ++type)
            QCOMPARE(row(type), QString(file.readLine()).trimmed());
        for (const int type : { 80, -1, INT_MAX, INT_MIN })
            QCOMPARE(row(type), QString("%1\t0\t\t").arg(type));
        QVERIFY(Element::Orientation == 12 && Element::Copyright == 37 && Element::SceneType == 79);
    }

    void textsAreTranslatedByTheEnglishKey()
    {
        struct Translator : QTranslator {
            bool isEmpty() const override { return false; }
            QString translate(const char *context, const char *text, const char *more, int n) const override
            {
                return QString("%1|%2|%3|%4").arg(context, text, more).arg(n);
            }
        } translator;
        QCoreApplication::installTranslator(&translator); // until its end
        QCOMPARE(Element::GetTypeName(Element::Unknown), QString("QObject|Unkonwn||-1"));
        QCOMPARE(Element::GetDescription(Element::FNumber), QString("QObject|The F number.||-1"));
        QCOMPARE(Element::GetTypeName(Element::Type(80)), QString());
    }

    void elementsAreValues()
    {
        const QByteArray bytes("\0\1\xff", 3);
        Element a(Element::Make, bytes), c(Element::Flash, 1), &self = c;
        const Element b(a);
        c = a;
        c = self;
        a.SetValue(7);
        QCOMPARE(a.ToRawDataValue(), QByteArray("7"));
        QCOMPARE(b.ToRawDataValue(), bytes);
        QVERIFY(c.GetType() == Element::Make && c.GetValue() == bytes);
        QCOMPARE(Element(Element::Flash, QRect(1, 2, 3, 4)).ToRawDataValue(), QByteArray());
    }

    void blocksAreWholeAndTheirOwn()
    {
        KXTileManager64 *const manager = KXTileManager64::Instance();
        void *const a = manager->AllocTile(), *const b = manager->AllocTile();
        std::memset(b, 2, 65536);
        std::memset(a, 1, 65536); // a sanitizer sees a block that is shorter
        manager->Release(a);
        QCOMPARE(QByteArray(static_cast<char *>(b), 65536), QByteArray(65536, 2));
        manager->Release(b);
        manager->Release(nullptr);
        const QStringList texts { OPTMAlreadyFree().what(), OPTMBadInstance().what(), OPTMInvalidBlock().what(),
            OPTMSwapError().what(), OPTMSwapFileError().what() };
        QCOMPARE(texts.join(' '),
            "Tile already free. Tile manager instance doesn't exist. Invalid tile pointer. "
            "Nothing to swap. Can't create swap file.");
    }
};

KXCORE_TEST_MAIN(TestValues)
#include "tst_values.moc"
