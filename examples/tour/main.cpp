#include "Document.h"
#include "Failure.h"
#include "OutputFolder.h"
#include "QuietErrors.h"
#include "Report.h"
#include "Scene.h"
#include "Sheet.h"

#include <AVX2LIB.h>
#include <KXComposer.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtGui/QGuiApplication>
#include <QtGui/QImageReader>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <new>

namespace {

constexpr qint64 largestPicture = 100'000'000; // pixels

std::atomic<bool> stop { false }; // lock-free, so that a signal handler may set it

/// What the tour is asked to do.
struct Arguments {
    QString photo; ///< empty for the scene of its own
    QSize sceneSize;
    QString out;
    bool plain; ///< without the kernel module
};

/// The arguments of the command line. Throws Failure; ends the program where only help is wanted.
Arguments parsed(const QCoreApplication &application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription("A photo becomes layers, a selection is blurred, the layers become a picture.");
    parser.addHelpOption();
    parser.addPositionalArgument(
        "photo", "The photo, in any format that Qt reads; a scene of its own without.", "[photo]");
    const QCommandLineOption outOption("out", "Writes the pictures and index.html to <folder>.", "folder", "tour");
    const QCommandLineOption sceneOption("scene", "Size of the built-in scene.", "width>x<height", "1536x1024");
    const QCommandLineOption plainOption("plain", "Leaves the kernel module alone: the same pixels, only slower.");
    parser.addOptions({ outOption, sceneOption, plainOption });
    parser.process(application);

    const QStringList photos = parser.positionalArguments(), scene = parser.value(sceneOption).split('x');
    const QSize sceneSize = scene.size() == 2 ? QSize(scene[0].toInt(), scene[1].toInt()) : QSize();
    if (photos.size() > 1)
        throw tour::Failure(QString("one photo at most, and '%1' is a second one").arg(photos[1]));
    if (photos.size() == 1 && photos[0].isEmpty())
        throw tour::Failure("cannot read '': a photo has a name");
    if (sceneSize.isEmpty())
        throw tour::Failure(QString("'%1' is not a scene's size, as 1536x1024 is").arg(parser.value(sceneOption)));
    return { photos.value(0), sceneSize, parser.value(outOption), parser.isSet(plainOption) };
}

void checkSize(const QString &picture, const QSize &size)
{
    if (qint64(size.width()) * size.height() > largestPicture)
        throw tour::Failure(QString("%1 has %2 x %3 pixels; 100 megapixels are the most")
                                .arg(picture)
                                .arg(size.width())
                                .arg(size.height()));
}

QImage readPhoto(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw tour::Failure(QString("cannot read '%1': %2").arg(path, file.errorString()));
    if (file.size() == 0)
        throw tour::Failure(QString("'%1' is empty").arg(path));
    const tour::QuietErrors quiet;
    QImageReader reader(&file);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    const QString name = '\'' + path + '\'';
    checkSize(name, reader.size());
    const QImage photo = reader.read();
    if (photo.isNull())
        throw tour::Failure(QString("cannot read '%1': %2").arg(path, reader.errorString()));
    checkSize(name, photo.size());
    return photo.convertToFormat(QImage::Format_ARGB32);
}

/// @p image as a QImage that borrows its pixels; @p image must be flat and stay.
QImage borrowed(const RGBA32iImage &image)
{
    return QImage(reinterpret_cast<const uchar *>(image.Bits()), image.Width(), image.Height(), image.Width() * 4,
        QImage::Format_ARGB32);
}

void run(const Arguments &arguments)
{
    const bool own = arguments.photo.isEmpty();
    if (own)
        checkSize("the scene", arguments.sceneSize);
    QImage photo = own ? tour::drawScene(arguments.sceneSize) : readPhoto(arguments.photo);
    if (stop)
        throw tour::Stopped();
    tour::OutputFolder folder(arguments.out);

    const tour::Summary summary { own ? "built-in scene" : QFileInfo(arguments.photo).fileName(), photo.size(),
        AVX2LIB::Instance() != nullptr };
    std::printf("%s, %d x %d pixels, %s\n", qPrintable(summary.photo), photo.width(), photo.height(),
        summary.module ? "with the kernel module" : "plain code (no kernel module)");

    QVector<tour::Sheet> sheets { tour::modesSheet(photo, stop), tour::adjustmentsSheet(photo, stop),
        tour::tonesSheet(photo, stop), tour::filtersSheet(photo, stop), tour::geometrySheet(photo, stop),
        tour::retouchingSheet(photo, stop), tour::textSheet(photo, stop) };
    if (const auto gpu = tour::gpuSheet(photo, stop))
        sheets << *gpu;
    else
        std::printf("No OpenGL 3.3 here, so that nothing is drawn by it\n");
    tour::Document document(photo, stop);
    photo = QImage();
    const QVector<tour::Step> steps = document.run();
    for (const tour::Sheet &sheet : sheets) {
        double milliseconds = 0;
        for (const tour::Sheet::Cell &cell : sheet.cells)
            milliseconds += cell.milliseconds;
        std::printf("%9.2f ms  %s: %d pictures\n", milliseconds, qPrintable(sheet.title), int(sheet.cells.size()));
    }
    std::printf("Writing the pictures ...\n");
    std::fflush(stdout);
    tour::writeReport(folder, summary, steps, borrowed(document.result()), sheets);
    if (stop)
        throw tour::Stopped();
    const QStringList names = folder.publish();
    std::printf("%d files in %s\nOpen %s/index.html\n", int(names.size()), qPrintable(folder.path()),
        qPrintable(folder.path()));
}

} // namespace

int main(int argc, char **argv)
{
    // Image plug-ins and the library warn and debug in their own words; the tour says what matters in one line.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    // Some picture formats (SVG) hold text, which takes an application with a screen to draw; this one is not shown.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationName("kxcore_tour");

    for (const int end : { SIGINT, SIGTERM, SIGHUP })
        if (std::signal(end, SIG_IGN) != SIG_IGN) // what nohup or a shell has switched off stays so
            std::signal(end, [](int) { stop = true; });
    std::signal(SIGPIPE, SIG_IGN); // who reads only the first lines still gets the pictures
    QString photo;
    try {
        const Arguments arguments = parsed(application);
        photo = arguments.photo;
        if (arguments.plain)
            AVX2LIB::UseModule(nullptr);
        loadAVX2Functions(true);
        run(arguments);
        return 0;
    } catch (const tour::Stopped &) {
        std::fprintf(stderr, "kxcore_tour: stopped; nothing was written\n");
        return 130;
    } catch (const tour::Failure &failure) {
        std::fprintf(stderr, "kxcore_tour: %s\n", failure.what());
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "kxcore_tour: not enough memory for '%s'\n", qPrintable(photo));
    }
    return 1;
}
