#include <QtCore/QDirIterator>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QtTest>

#include <array>

/// The tour and the README's program, run as a newcomer runs them.
class TestTour : public QObject {
    Q_OBJECT

public:
    TestTour(const QString &tour, const QString &readme)
        : m_tour(tour)
        , m_readme(readme)
    {
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        QImage photo(40, 30, QImage::Format_RGB32);
        photo.fill(Qt::darkGreen);
        QVERIFY(photo.save(at("photo.png")));
        write("empty.jpg", {});
        write("text.png", "this is not a picture\n");
        QFile png(at("photo.png"));
        QVERIFY(png.open(QIODevice::ReadOnly));
        const QByteArray bytes = png.readAll();
        write("cut.png", bytes.left(bytes.size() - 30));
        // Only the size of this one is ever looked at: 20000 by 20000 pixels, with the checksum that belongs to it.
        write("huge.png", bytes.left(16) + QByteArray::fromHex("00004e2000004e200806000000e3704639") + bytes.mid(33));
        write("file", "not a folder");
        QVERIFY(QDir(at("")).mkdir("folder") && QDir(at("")).mkdir("an out folder"));
    }

    void sceneOfItsOwn()
    {
        const Outcome outcome = run({ "--scene", "300x200", "--out", at("new/deep/out") });
        QVERIFY2(outcome.status == 0 && outcome.errors.isEmpty(), outcome.errors.constData());
        QVERIFY(outcome.output.contains("100 %")); // of a filter's own progress
        QVERIFY(outcome.output.contains("new/deep/out/index.html"));
        QCOMPARE(QImage(at("new/deep/out/result.png")).size(), QSize(300, 200));
        QVERIFY(!QImage(at("new/deep/out/modes.png")).isNull());

        const QByteArray page = read("new/deep/out/index.html");
        const int steps = page.count("<section class=\"step\">");
        QVERIFY(steps >= 10);
        for (const char *each : { "</b> private", "</b> shared", "</b> fake", " ms</span></header>" })
            QCOMPARE(page.count(each), steps);
        QCOMPARE(page.count("src=\""), page.count("src=\"data:image/")); // nothing lies outside the page
        QVERIFY(!page.contains("{{") && !page.contains("http"));
        for (const char *mode : { ">0 SourceOver<", ">38 FillUnmasked, through a mask<", ">57 AlphaAccumulate<" })
            QVERIFY2(page.contains(mode), mode);
        QCOMPARE(everything().filter("new/deep/out/").size(), 2 * steps + 3);
    }

    void photos()
    {
        const struct {
            const char *name;
            QSize size;
            QImage::Format format;
        } cases[] = { { "photo.jpg", { 200, 130 }, QImage::Format_RGB32 },
            { "photo.bmp", { 33, 40 }, QImage::Format_Indexed8 }, { "deep.png", { 150, 20 }, QImage::Format_RGBA64 },
            { "pixel.png", { 1, 1 }, QImage::Format_ARGB32 }, { "a column.png", { 1, 700 }, QImage::Format_ARGB32 } };
        write("an out folder/notes.txt", "keep");
        for (const auto &each : cases) {
            QImage photo(each.size, QImage::Format_RGB32);
            photo.fill(QColor(200, 120, 40));
            QVERIFY(photo.convertToFormat(each.format).save(at(each.name)));
            const Outcome outcome = run({ at(each.name), "--out", at("an out folder") });
            QVERIFY2(outcome.status == 0 && outcome.errors.isEmpty(), outcome.errors.constData());
            QCOMPARE(QImage(at("an out folder/result.png")).size(), each.size);
        }
        QCOMPARE(read("an out folder/notes.txt"), QByteArray("keep")); // other files stay
    }

    void failures()
    {
        const QStringList before = everything();
        using Row = std::array<QString, 3>; // the photo, the folder to write into, and what the error names
        std::vector<Row> rows { { "photo.png", at("file"), "file" },
            { "photo.png", at("file/below/it"), "file/below/it" }, { "photo.png", "/proc/tour", "/proc/tour" },
            { "photo.png", "", "''" } };
        for (const char *photo : { "missing.png", "empty.jpg", "text.png", "cut.png", "huge.png", "folder" })
            rows.push_back({ photo, at("out"), photo });
        for (const auto &[photo, out, named] : rows) {
            const Outcome outcome = run({ at(photo), "--out", out });
            QVERIFY2(outcome.status == 1 && outcome.errors.contains(named.toLocal8Bit()), outcome.errors.constData());
            QVERIFY(outcome.errors.count('\n') == 1 && outcome.errors.endsWith('\n'));
            QCOMPARE(everything(), before);
        }
    }

    void programOfTheReadme()
    {
        QImage photo(300, 200, QImage::Format_RGB32);
        photo.fill(QColor(100, 100, 100));
        QVERIFY(photo.save(at("grey.png")));
        QCOMPARE(QProcess::execute(m_readme, { at("grey.png"), at("glow.png") }), 0);
        // Screen of 100 with 100 is 255 - (155 * 155 >> 8) = 162; at 179 of 256, 178 of 255, (162 * 178 + 100 * 77) / 255.
        QCOMPARE(QImage(at("glow.png")).pixelColor(150, 100), QColor(143, 143, 143));
    }

private:
    struct Outcome {
        int status;
        QByteArray output, errors;
    };

    Outcome run(const QStringList &arguments)
    {
        QProcess process;
        process.start(m_tour, arguments);
        const bool ended = process.waitForFinished(300000) && process.exitStatus() == QProcess::NormalExit;
        return { ended ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError() };
    }

    QString at(const QString &name) const { return m_folder.path() + '/' + name; }

    void write(const QString &name, const QByteArray &bytes)
    {
        QFile file(at(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    QByteArray read(const QString &name)
    {
        QFile file(at(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList everything() const
    {
        QStringList names;
        QDirIterator entries(
            m_folder.path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (entries.hasNext())
            names << entries.next();
        names.sort();
        return names;
    }

    QString m_tour, m_readme;
    QTemporaryDir m_folder;
};

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2; // tst_tour TOUR README [arguments of QtTest]
    QCoreApplication application(argc, argv);
    TestTour test(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
    QStringList arguments = application.arguments();
    arguments.erase(arguments.begin() + 1, arguments.begin() + 3);
    return QTest::qExec(&test, arguments);
}

#include "tst_tour.moc"
