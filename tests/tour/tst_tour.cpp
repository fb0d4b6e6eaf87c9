#include "kit/Test.h"

#include <QtGui/QImage>

/// The tour and the README's program, run as a newcomer runs them.
class TestTour : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qunsetenv("ASAN_OPTIONS"); // it is for this program, which has read it
        qunsetenv("DISPLAY"); // with OpenGL there is one more sheet
        QVERIFY(QDir(at("")).mkdir("folder") && QDir(at("")).mkdir("an out folder"));
        writePhoto("photo.png", { 40, 30 }, QImage::Format_RGB32);
        write("empty.jpg", {});
        write("text.png", "this is not a picture\n");
        const QByteArray bytes = read("photo.png");
        write("cut.png", bytes.left(bytes.size() - 30));
        // Only the size of this one is ever looked at: 20000 by 20000 pixels, with the checksum that belongs to it.
        write("huge.png", bytes.left(16) + QByteArray::fromHex("00004e2000004e200806000000e3704639") + bytes.mid(33));
    }

    void sceneOfItsOwn()
    {
        const Outcome outcome = run({ "--scene", "300x200", "--out", at("new/deep/out") });
        QVERIFY2(outcome.status == 0 && outcome.errors.isEmpty(), outcome.errors.constData());
        for (const char *each : { "100 %", "new/deep/out/index.html" }) // of a filter's own progress, and the result
            QVERIFY2(outcome.output.contains(each), each);
        QCOMPARE(QImage(at("new/deep/out/result.png")).size(), QSize(300, 200));

        const QByteArray page = read("new/deep/out/index.html");
        const int steps = page.count("<section class=\"step\">");
        for (const char *each : { "</b> private", "</b> shared", "</b> fake", " ms</span></header>" })
            QCOMPARE(page.count(each), steps);
        QCOMPARE(page.count("src=\""), page.count("src=\"data:image/")); // nothing lies outside the page
        QVERIFY(steps >= 10 && !page.contains("{{") && !page.contains("http"));
        QVERIFY(page.contains(">38 FillUnmasked, through a mask<") && page.contains(">57 AlphaAccumulate<"));
        QCOMPARE(everything().filter("new/deep/out/").size(), 2 * steps + 9);
    }

    /// Every picture, whether with the module, without it or on eight processors.
    void samePicturesEverywhere()
    {
        const auto pictures = [&](const QString &out, const QStringList &options, const char *processors) {
            QProcess process;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("KXCORE_TEST_PROCESSORS", processors);
            process.setProcessEnvironment(environment);
            process.start(TOUR_ON_PROCESSORS, QStringList { "--scene", "300x200", "--out", at(out) } + options);
            QStringList digests; // a comparison tells which picture differs
            if (process.waitForFinished(300000))
                for (const QString &name : QDir(at(out)).entryList({ "*.png" })) {
                    const QImage image = QImage(at(out) + '/' + name).convertToFormat(QImage::Format_ARGB32);
                    QCryptographicHash hash(QCryptographicHash::Sha1);
                    for (int y = 0; y < image.height(); ++y)
                        hash.addData(reinterpret_cast<const char *>(image.constScanLine(y)), image.width() * 4);
                    digests << name + ' ' + hash.result().toHex();
                }
            return digests;
        };
        const auto plain = pictures("plain", { "--plain" }, "2");
        QVERIFY(plain.size() > 20 && !plain.filter("modes.png").isEmpty());
        QCOMPARE(pictures("module", {}, "2"), plain);
        QCOMPARE(pictures("eight", {}, "8"), plain);
        QCOMPARE(pictures("plain on eight", { "--plain" }, "8"), plain);
    }

    void photos()
    {
        const std::tuple<const char *, QSize, QImage::Format> photos[] = {
            { "photo.jpg", { 200, 130 }, QImage::Format_RGB32 }, { "photo.bmp", { 33, 40 }, QImage::Format_Indexed8 },
            { "deep.png", { 150, 20 }, QImage::Format_RGBA64 }, { "pixel.png", { 1, 1 }, QImage::Format_ARGB32 },
            { "a column.png", { 1, 100000 }, QImage::Format_ARGB32 }
        };
        write("an out folder/notes.txt", "keep");
        for (const auto &[name, size, format] : photos) {
            writePhoto(name, size, format);
            const Outcome outcome = run({ at(name), "--out", at("an out folder") });
            QVERIFY2(outcome.status == 0 && outcome.errors.isEmpty(), outcome.errors.constData());
            QCOMPARE(QImage(at("an out folder/result.png")).size(), size);
        }
        QCOMPARE(read("an out folder/notes.txt"), QByteArray("keep")); // other files stay
    }

    void failures()
    {
        const QStringList before = everything();
        const auto refuses = [&](const QStringList &input, const QString &out, const QString &named) {
            const Outcome outcome = run(input + QStringList { "--out", out });
            QVERIFY2(outcome.status == 1 && outcome.errors.contains(named.toLocal8Bit()), outcome.errors.constData());
            QVERIFY(outcome.errors.count('\n') == 1 && outcome.errors.endsWith('\n'));
            QCOMPARE(everything(), before);
        };
        for (const char *photo : { "missing.png", "empty.jpg", "text.png", "cut.png", "folder" })
            refuses({ at(photo) }, at("out"), photo);
        for (const char *out : { "text.png", "text.png/below/it" })
            refuses({ at("photo.png") }, at(out), out);
        refuses({ at("photo.png") }, "/proc/tour", "/proc/tour");
        refuses({ at("photo.png") }, "", "''");
        refuses({ at("huge.png") }, at("out"), "100 megapixels");
        refuses({ "--scene", "99999x99999" }, at("out"), "100 megapixels");
    }

    void programOfTheReadme()
    {
        writePhoto("grey.png", { 300, 200 }, QImage::Format_RGB32);
        QCOMPARE(QProcess::execute(README, { at("grey.png"), at("glow.png") }), 0);
        // Screen of 100 with 100 is 255 - (155 * 155 >> 8) = 162; at 178 of 255, (162 * 178 + 100 * 77) / 255.
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
        process.start(TOUR, arguments);
        const bool ended = process.waitForFinished(300000) && process.exitStatus() == QProcess::NormalExit;
        return { ended ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError() };
    }

    QString at(const QString &name) const { return m_folder.path() + '/' + name; }

    void write(const QString &name, const QByteArray &bytes)
    {
        QFile file(at(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    /// All of it is the grey 100.
    void writePhoto(const QString &name, const QSize &size, QImage::Format format)
    {
        QImage photo(size, QImage::Format_RGB32);
        photo.fill(QColor(100, 100, 100));
        QVERIFY(photo.convertToFormat(format).save(at(name)));
    }

    QByteArray read(const QString &name)
    {
        QFile file(at(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QStringList everything() const
    {
        QStringList names;
        QDirIterator each(at(""), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (each.hasNext())
            names << each.next();
        names.sort();
        return names;
    }

    QTemporaryDir m_folder;
};

KXCORE_TEST_MAIN(TestTour)
#include "tst_tour.moc"
