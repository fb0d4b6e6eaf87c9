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
        for (int type = 1; type < 80; ++type) {
            const auto t = Element::Type(type);
            QVERIFY(Element::GetTag(t) > Element::GetTag(Element::Type(type - 1))); // so that readers can search by tag
            QVERIFY(!Element::GetTypeName(t).isEmpty() && !Element::GetDescription(t).isEmpty());
        }
        const struct {
            int type, tag;
            const char *name, *description;
        } rows[] = {
            { 0, 0, "Unkonwn", "An unkonwn EXIF tag." }, // spelled so on purpose
            { 6, 266, "Fill order", "The logical order of bits within a byte." },
            { 12, 274, "Orientation of image", "The image orientation viewed in terms of rows and columns." },
            { 36, 33423, "Battery level", "Contains a value of the battery level as a fraction or string." },
            { 52, 37378, "Aperture", "The lens aperture. The unit is the APEX value." },
            { 58, 37384, "Light source", "The kind of light source." },
            { 80, 0, "", "" },
            { -1, 0, "", "" },
        };
        for (const auto &row : rows) {
            const auto t = Element::Type(row.type);
            QCOMPARE(int(Element::GetTag(t)), row.tag);
            QCOMPARE(Element::GetTypeName(t), QString(row.name));
            QCOMPARE(Element::GetDescription(t), QString(row.description));
        }
        QCOMPARE(int(Element::GetTag(Element::Type(1))), 256);
        QCOMPARE(int(Element::GetTag(Element::SceneType)), 41729);
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
