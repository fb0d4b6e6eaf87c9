#include "Growth.h"

#include "Operations.h"
#include "Scene.h"
#include "Suite.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>

#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <thread>

namespace bench {

namespace {

/// An operation of the catalogue, and how many processors the library must see to use one worker, and one more for each
/// further one.
struct Grown {
    const char *name;
    int processorsForOne;
};

// A Gaussian on what it takes for a single processor would leave alpha out, so that for one worker two take turns.
constexpr Grown operations[] = { { "SourceOver", 1 }, { "Gaussian blur", 1 }, { "Box blur", 2 }, { "Levels", 2 },
    { "Hue and saturation", 2 }, { "Profile transform", 2 } };
constexpr int workerCounts[] = { 1, 2, 4 };
constexpr int sides[] = { 512, 1024, 2048, 4096, 8192 }; // 0.25 to 64 megapixels
constexpr int sideCount = int(std::size(sides)) - (isTiny ? 3 : 0);

/// Our process on the first @p count of the processors that it may use. False where there are not so many.
bool runOn(int count)
{
    cpu_set_t all, some;
    CPU_ZERO(&some);
    if (sched_getaffinity(0, sizeof all, &all) != 0)
        return false;
    for (int cpu = 0; cpu < CPU_SETSIZE && count > 0; ++cpu)
        if (CPU_ISSET(cpu, &all)) {
            CPU_SET(cpu, &some);
            --count;
        }
    return count == 0 && sched_setaffinity(0, sizeof some, &some) == 0;
}

/// The photo, repeated as often as it takes to fill a square of @p side pixels.
RGBA32iImage squareOf(Scene scene, int side)
{
    RGBA32iImage image(side, side, false);
    const OPRGBA32i *const from = pixelsOf(scene);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; x += width)
            std::memcpy(static_cast<void *>(image.Bits() + size_t(y) * size_t(side) + x),
                from + size_t(y % height) * width, size_t(std::min(width, side - x)) * sizeof(OPRGBA32i));
    return image;
}

} // namespace

int measureGrowth(const QString &name, int workers)
{
    const catalogue::Operation *const operation = operationNamed(name.toStdString());
    if (!operation || !runOn(workers))
        return 1;
    const std::atomic<bool> cancel { false };
    for (int i = 0; i < sideCount; ++i) {
        const int side = sides[i];
        catalogue::Input input;
        input.image = squareOf(photoCanvas, side);
        if (operation->kind == catalogue::Kind::Mode)
            input.upper = squareOf(photoLayer, side);
        qint64 fastest = 0, spent = 0;
        for (int round = 0; round < 2 || (spent < 300'000'000 && round < 20 && !isTiny); ++round) {
            QElapsedTimer timer;
            timer.start();
            operation->variants.front().run(input, { cancel, [](int) {}, [] {} });
            const qint64 time = timer.nsecsElapsed();
            fastest = round == 0 ? time : std::min(fastest, time);
            spent += time;
        }
        std::printf("%.4f\n", double(fastest) / side / side);
        std::fflush(stdout);
    }
    return 0;
}

bool printGrowth(const QString &program)
{
    std::printf("\nHow cost grows: nanoseconds per pixel of an opaque photo, module, by megapixels.\n\n%-20s %7s",
        "operation", "workers");
    for (int i = 0; i < sideCount; ++i)
        std::printf(" %8.2f", double(sides[i]) * sides[i] / (1 << 20));
    std::printf("\n");
    cpu_set_t mine;
    const int processors = sched_getaffinity(0, sizeof mine, &mine) == 0 ? CPU_COUNT(&mine) : 1;
    for (const Grown &operation : operations)
        for (const int workers : workerCounts) {
            if (workers > processors)
                continue;
            const int seen = std::max(workers + operation.processorsForOne - 1, 2);
            QProcess child;
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("KXCORE_TEST_PROCESSORS", QString::number(seen));
            child.setProcessEnvironment(environment);
            child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            child.start(program, { QString("--growth=%1").arg(operation.name), QString::number(workers) });
            if (!child.waitForFinished(-1) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
                return false;
            std::printf("%-20s %7d", operation.name, workers);
            for (const QByteArray &time : child.readAllStandardOutput().split('\n'))
                if (!time.isEmpty())
                    std::printf(" %8.3f", time.toDouble());
            std::printf("\n");
            std::fflush(stdout);
        }
    return true;
}

} // namespace bench
