#include <QtCore/QDirIterator>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>
#include <QtTest/QtTest>

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
        QVERIFY(QDir(at("")).mkdir("folder"));
    }

    void sceneOfItsOwn()
    {
        const Outcome outcome = run({ "--scene", "300x200", "--out", at("new/deep/out") });
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.status, 0);
        QVERIFY(outcome.output.contains("100 %")); // of a filter's own progress
        QVERIFY(outcome.output.contains("new/deep/out/index.html"));
        QCOMPARE(QImage(at("new/deep/out/result.png")).size(), QSize(300, 200));
        QVERIFY(!QImage(at("new/deep/out/modes.png")).isNull());

        const QByteArray page = read("new/deep/out/index.html");
        const int steps = page.count("<section class=\"step\">");
        QVERIFY(steps >= 10);
        QCOMPARE(page.count("</b> private"), steps);
        QCOMPARE(page.count("</b> shared"), steps);
        QCOMPARE(page.count("</b> fake"), steps);
        QCOMPARE(page.count(" ms</span></header>"), steps);
        QCOMPARE(page.count("src=\""), page.count("src=\"data:image/")); // nothing lies outside the page
        QVERIFY(!page.contains("{{") && !page.contains("http"));
        for (const char *mode : { ">0 SourceOver<", ">38 FillUnmasked, through a mask<", ">57 AlphaAccumulate<" })
            QVERIFY2(page.contains(mode), mode);
        const QStringList files =
            QDir(at("new/deep/out")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QCOMPARE(files.size(), 2 * steps + 3);
    }

    void photos_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("format");
        QTest::newRow("jpeg") << "photo.jpg" << QSize(200, 130) << int(QImage::Format_RGB32);
        QTest::newRow("indexed") << "photo.bmp" << QSize(33, 40) << int(QImage::Format_Indexed8);
        QTest::newRow("16 bits and alpha") << "deep.png" << QSize(150, 20) << int(QImage::Format_RGBA64);
        QTest::newRow("a single pixel") << "pixel.png" << QSize(1, 1) << int(QImage::Format_ARGB32);
        QTest::newRow("a column") << "column.png" << QSize(1, 700) << int(QImage::Format_ARGB32);
        QTest::newRow("a row, in a folder with spaces") << "a row.png" << QSize(2000, 2) << int(QImage::Format_RGB32);
    }

    void photos()
    {
        QFETCH(QString, name);
        QFETCH(QSize, size);
        QFETCH(int, format);
        QImage photo(size, QImage::Format_RGB32);
        photo.fill(QColor(200, 120, 40));
        QVERIFY(photo.convertToFormat(QImage::Format(format)).save(at(name)));
        const Outcome outcome = run({ at(name), "--out", at("an out folder") });
        QCOMPARE(outcome.errors, QByteArray());
        QCOMPARE(outcome.status, 0);
        QCOMPARE(QImage(at("an out folder/result.png")).size(), size);
    }

    void otherFilesStay()
    {
        QVERIFY(QDir(at("")).mkpath("mine"));
        write("mine/notes.txt", "keep");
        write("mine/index.html", "old");
        QCOMPARE(run({ "--scene", "20x20", "--out", at("mine") }).status, 0);
        QCOMPARE(read("mine/notes.txt"), QByteArray("keep"));
        QVERIFY(read("mine/index.html").size() > 1000);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("photo");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("named");
        for (const char *photo : { "missing.png", "empty.jpg", "text.png", "cut.png", "huge.png", "folder" })
            QTest::addRow("photo: %s", photo) << photo << "out" << photo;
        QTest::newRow("out: a file") << "photo.png"
                                     << "file"
                                     << "file";
        QTest::newRow("out: below a file") << "photo.png"
                                           << "file/below/it"
                                           << "file/below/it";
        QTest::newRow("out: in the process table") << "photo.png"
                                                   << "/proc/tour"
                                                   << "/proc/tour";
        QTest::newRow("out: nothing") << "photo.png"
                                      << ""
                                      << "''";
    }

    void failures()
    {
        QFETCH(QString, photo);
        QFETCH(QString, out);
        QFETCH(QString, named);
        const QStringList before = everything();
        const Outcome outcome = run({ at(photo), "--out", out.isEmpty() || out[0] == '/' ? out : at(out) });
        QCOMPARE(outcome.status, 1);
        QVERIFY2(outcome.errors.contains(named.toLocal8Bit()), outcome.errors.constData());
        QCOMPARE(outcome.errors.count('\n'), 1);
        QVERIFY(outcome.errors.endsWith('\n'));
        QCOMPARE(everything(), before);
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
        if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit)
            return { -1, process.readAllStandardOutput(), process.readAllStandardError() };
        return { process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError() };
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
