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
        const std::tuple<Element::Type, int, const char *, const char *> rows[] = {
            { Element::Unknown, 0, "Unkonwn", "An unkonwn EXIF tag." }, // spelled so on purpose
            { Element::Type(6), 266, "Fill order", "The logical order of bits within a byte." },
            { Element::Type(52), 37378, "Aperture", "The lens aperture. The unit is the APEX value." },
            { Element::Type(58), 37384, "Light source", "The kind of light source." },
            { Element::Type(80), 0, "", "" },
            { Element::Type(-1), 0, "", "" },
        };
        for (const auto &[type, tag, name, description] : rows) {
            QCOMPARE(int(Element::GetTag(type)), tag);
            QCOMPARE(Element::GetTypeName(type), QString(name));
            QCOMPARE(Element::GetDescription(type), QString(description));
        }
        QVERIFY(Element::GetTag(Element::Type(1)) == 256 && Element::GetTag(Element::SceneType) == 41729);
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
    }

    void elementsAreValues()
    {
        const QByteArray bytes("\0\1\xff", 3);
        Element a(Element::Make, bytes), c(Element::Flash, 1);
        const Element b(a), &self = c;
        c = a;
        c = self;
        a.SetValue(7);
        QVERIFY(a.ToRawDataValue() == "7" && b.ToRawDataValue() == bytes);
        QVERIFY(c.GetType() == Element::Make && c.GetValue() == bytes);
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
    }
};

KXCORE_TEST_MAIN(TestValues)
#include "tst_values.moc"
