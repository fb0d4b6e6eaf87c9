#pragma once

#include "AVX2LIB.h"
#include "KXPixels.h"

#include "kit/Random.h"
#include "support/ThreadSanitizer.h"

#ifdef KXCORE_TEST_GUI
#include <QtGui/QGuiApplication>
#endif
#include <QtTest/QtTest> // and all of QtCore

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <vector>

/// main() of a test program. With KXCORE_TEST_MODULE=none in the environment everything runs on the plain code. A
/// single processor passes for two, as with one some loops have no worker.
#define KXCORE_TEST_MAIN(Class)                                                                                        \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        if (qgetenv("KXCORE_TEST_MODULE") == "none")                                                                   \
            AVX2LIB::UseModule(nullptr);                                                                               \
        if (QThread::idealThreadCount() < 2)                                                                           \
            qputenv("KXCORE_TEST_PROCESSORS", "2");                                                                    \
        kit::Application application(argc, argv);                                                                      \
        kit::printSeed();                                                                                              \
        Class test;                                                                                                    \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }

namespace QTest {

/// Pixels in failed comparisons: 0xAARRGGBB.
template <>
inline char *toString(const OPRGBA32i &pixel)
{
    return qstrdup(QByteArray::number(pixel.word, 16).rightJustified(8, '0').prepend("0x").constData());
}

} // namespace QTest

/// What every test program shares: its main(), what the log says, and the thread pool.
namespace kit {

#ifdef KXCORE_TEST_GUI
using Application = QGuiApplication;
#else
using Application = QCoreApplication;
#endif

inline const std::atomic<bool> noCancel { false }; ///< a cancel flag that nobody sets

/// While it lives the machine has @p count processors.
class Processors {
public:
    explicit Processors(int count)
        : m_before(qgetenv(name))
    {
        qputenv(name, QByteArray::number(count));
    }
    ~Processors() { m_before.isEmpty() ? qunsetenv(name) : qputenv(name, m_before); }

private:
    static constexpr char name[] = "KXCORE_TEST_PROCESSORS";
    const QByteArray m_before;
};

/// Collects what the debug log prints while it lives, instead of printing it.
class LogCapture {
public:
    LogCapture()
    {
        lines.clear();
        m_previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            const QMutexLocker lock(&mutex);
            lines << text;
        });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }

    /// The lines so far, without the line number in their "[path:line]".
    QStringList texts() const
    {
        QStringList result;
        const QMutexLocker lock(&mutex);
        for (QString line : lines)
            result << line.replace(QRegularExpression("^\\[([^:\\]]*):\\d+\\]"), "[\\1]");
        return result;
    }

private:
    inline static QMutex mutex;
    inline static QStringList lines;
    QtMessageHandler m_previous;
};

/// The text of the exception of this type that @p call throws; empty if it throws none.
template <class Exception, class Call>
QByteArray thrown(const Call &call)
{
    try {
        call();
    } catch (const Exception &e) {
        return e.what();
    }
    return {};
}

template <class Call>
QByteArray outOfRange(const Call &call)
{
    return thrown<std::out_of_range>(call);
}

/// Runs @p body(0) to @p body(@p count - 1) at once, each on a thread of its own.
template <class Body>
void atOnce(int count, const Body &body)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&body, i] { body(i); });
    for (std::thread &thread : threads)
        thread.join();
}

/// Runs @p body @p count times on a pool of @p threads. False if that is not done within a minute.
template <class Body>
bool onPool(int threads, int count, const Body &body)
{
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threadsBefore = pool->maxThreadCount();
    pool->setMaxThreadCount(threads);
    support::handOver(pool);
    for (int i = 0; i < count; ++i)
        pool->start(QRunnable::create([&body] { // a copy would be made after what was handed over
            support::takeOver(QThreadPool::globalInstance());
            body();
            support::handOver(QThreadPool::globalInstance());
        }));
    const bool finished = pool->waitForDone(60000);
    support::takeOver(pool);
    pool->setMaxThreadCount(threadsBefore);
    return finished;
}

} // namespace kit
