#include "KXEXIFElement.h"
#include "KXImage.h"

#include "TestSupport.h"

#include <QtCore/QTranslator>

using Element = KXEXIFElement;

class TestExif : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void dictionary_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("tag");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("description");
        const auto row = [](int type, int tag, const char *name, const char *description) {
            QTest::addRow("%d", type) << type << tag << name << description;
        };
        row(0, 0, "Unkonwn", "An unkonwn EXIF tag.");
        row(1, 256, "Image width",
            "The number of columns of image data, equal to the number of pixels per row. In JPEG compressed data a "
            "JPEG "
            "marker is used instead of this tag.");
        row(6, 266, "Fill order", "The logical order of bits within a byte.");
        row(12, 274, "Orientation of image", "The image orientation viewed in terms of rows and columns.");
        row(16, 282, "Image resolution in width direction",
            "The number of pixels per <ResolutionUnit> in the <ImageWidth> direction. When the image resolution is "
            "unknown, 72 [dpi] is designated.");
        row(26, 342, "Transfer range", "Expands the range of the TransferFunction.");
        row(36, 33423, "Battery level", "Contains a value of the battery level as a fraction or string.");
        row(39, 33437, "F number", "The F number.");
        row(45, 34856, "Optoelectric coefficient",
            "Indicates the Opto-Electoric Conversion Function (OECF) specified in ISO 14524. <OECF> is the "
            "relationship "
            "between the camera optical input and the image values.");
        row(52, 37378, "Aperture", "The lens aperture. The unit is the APEX value.");
        row(57, 37383, "Metering mode", "The metering mode.");
        row(58, 37384, "Light source", "The kind of light source.");
        row(79, 41729, "Scene type",
            "Indicates the type of scene. If a DSC recorded the image, this tag value must always be set to 1, "
            "indicating that the image was directly photographed.");
        row(80, 0, "", "");
        row(-1, 0, "", "");
        row(INT_MAX, 0, "", "");
        row(INT_MIN, 0, "", "");
    }

    void dictionary()
    {
        QFETCH(int, type);
        QTEST(int(Element::GetTag(Element::Type(type))), "tag");
        QTEST(Element::GetTypeName(Element::Type(type)), "name");
        QTEST(Element::GetDescription(Element::Type(type)), "description");
    }

    void tagsAscendAndEveryKindHasItsTexts()
    {
        QSet<QString> names;
        for (int type = 0; type < 80; ++type) {
            if (type > 0)
                QVERIFY2(Element::GetTag(Element::Type(type)) > Element::GetTag(Element::Type(type - 1)),
                    qPrintable(QString::number(type)));
            names << Element::GetTypeName(Element::Type(type));
            QVERIFY(Element::GetDescription(Element::Type(type)).endsWith('.')
                || Element::GetDescription(Element::Type(type)).endsWith(QStringLiteral("Ken James\"")));
        }
        QCOMPARE(names.size(), 80);
        // The kinds have the numbers of the table, not only the order.
        QCOMPARE(int(Element::GetTag(Element::Orientation)), 0x0112);
        QCOMPARE(int(Element::GetTag(Element::Copyright)), 0x8298);
        QCOMPARE(int(Element::GetTag(Element::MakerNote)), 0x927c);
        QCOMPARE(int(Element::GetTag(Element::SceneType)), 0xa301);
    }

    void textsAreTranslatedByTheEnglishKey()
    {
        struct Translator : QTranslator {
            bool isEmpty() const override { return false; }
            QString translate(const char *context, const char *text, const char *disambiguation, int n) const override
            {
                return QStringLiteral("%1|%2|%3|%4").arg(context, text, disambiguation).arg(n);
            }
        } translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const QString name = Element::GetTypeName(Element::Unknown);
        const QString description = Element::GetDescription(Element::FNumber);
        const QString nothing = Element::GetTypeName(Element::Type(80));
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(name, QString("QObject|Unkonwn||-1"));
        QCOMPARE(description, QString("QObject|The F number.||-1"));
        QCOMPARE(nothing, QString());
    }

    void elementsAreValues()
    {
        Element a(Element::Make, QStringLiteral("Camera"));
        Element b(a), c(Element::Flash, 1);
        c = a;
        a.SetValue(7);
        QCOMPARE(a.GetValue(), QVariant(7));
        QCOMPARE(b.GetValue(), QVariant("Camera"));
        QCOMPARE(c.GetType(), Element::Make);
        QCOMPARE(c.GetValue(), QVariant("Camera"));
        const Element &self = c;
        c = self;
        QCOMPARE(c.GetValue(), QVariant("Camera"));
    }

    void rawDataIsWhatTheVariantMakesOfIt()
    {
        const QByteArray bytes("\0\1\xff", 3);
        QCOMPARE(Element(Element::MakerNote, bytes).ToRawDataValue(), bytes);
        QCOMPARE(Element(Element::Flash, 25).ToRawDataValue(), QByteArray("25"));
        QCOMPARE(Element(Element::Flash, QRect(1, 2, 3, 4)).ToRawDataValue(), QByteArray());
        QCOMPARE(Element(Element::Flash, QVariant()).ToRawDataValue(), QByteArray());
    }

    void anImageDeletesItsElementsWithTheLastCopy()
    {
        std::weak_ptr<int> alive;
        {
            RGBA32iImage copy;
            {
                auto value = std::make_shared<int>(5);
                alive = value;
                RGBA32iImage image(4, 4, false);
                image.SetExifElements({ new Element(Element::UserComment, QVariant::fromValue(value)),
                    new Element(Element::Make, "Camera") });
                copy = image;
            }
            QVERIFY(!alive.expired());
            QCOMPARE(copy.ExifElements().size(), 2);
            QCOMPARE(copy.ExifElements().at(1)->GetValue(), QVariant("Camera"));
        }
        QVERIFY(alive.expired());
    }
};

Q_DECLARE_METATYPE(std::shared_ptr<int>)
KXCORE_TEST_MAIN(TestExif)
#include "tst_exif.moc"
