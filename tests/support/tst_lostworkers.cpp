
#include "kit/Test.h"
#include "support/Workers.h"

#include <sys/wait.h>

#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

std::atomic<int> threadsLeft { INT_MAX }; ///< that the system starts before it refuses

/// Runs @p check in a process of its own, for after a refused thread Qt's pool never ends. Its result; false if it
/// hangs.
template <class Check>
bool passesInChild(Check check)
{
    const pid_t child = fork();
    if (child == 0)
        [&check]() noexcept {
            alarm(60);
            _exit(check() ? 0 : 1);
        }();
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Whether a loop on four workers does each of its items once. The first item also does @p first.
template <class First>
bool eachItemOnce(First first)
{
    std::vector<std::atomic<int>> done(100);
    workers::forEachItem(4, 0, int(done.size()), [&] {
        return [&](int i) {
            if (i == 0)
                first();
            return ++done[size_t(i)] > 0;
        };
    });
    return std::all_of(done.begin(), done.end(), [](const auto &times) { return times == 1; });
}

} // namespace

extern "C" Q_DECL_EXPORT int pthread_create(
    pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument) noexcept
{
    if (threadsLeft-- <= 0)
        return EAGAIN;
    return reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"))(
        thread, attributes, start, argument);
}

class TestLostWorkers : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Loops end as they should where only some threads of four can be started.
    void refusedThreads()
    {
        for (int startable = 0; startable <= 4; ++startable)
            QVERIFY(passesInChild([startable] {
                qInstallMessageHandler(
                    [](QtMsgType, const QMessageLogContext &, const QString &) {}); // Qt tells of each
                QThreadPool::globalInstance()->setMaxThreadCount(4);
                threadsLeft = startable;
                return eachItemOnce([] {}) && eachItemOnce([] {}) && eachItemOnce([] {});
            }));
    }

    /// A program may end while threads are still starting. Many runs, as each has but a chance to fail.
    void programsEnd()
    {
        for (int run = 0; run < 100; ++run) {
            QProcess program;
            program.start(ENDS, QStringList());
            QVERIFY(program.waitForFinished(60000));
            QVERIFY(program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0);
        }
    }

    /// The tasks of a loop are deleted before they run: by the loop itself, and at any time by another thread.
    void clearedPool()
    {
        QVERIFY(passesInChild([] {
            QThreadPool *const pool = QThreadPool::globalInstance();
            pool->setMaxThreadCount(1);
            QSemaphore end;
            pool->start(QRunnable::create([&] { end.acquire(); })); // so that the tasks stay in the queue
            const bool once = eachItemOnce([pool] { pool->clear(); });
            end.release();
            return once && pool->waitForDone();
        }));
        QVERIFY(passesInChild([] {
            std::atomic<bool> done { false };
            std::thread clearer([&] {
                while (!done)
                    QThreadPool::globalInstance()->clear();
            });
            bool once = true;
            for (int round = 0; round < 500; ++round)
                once = eachItemOnce([] {}) && once;
            done = true;
            clearer.join();
            return once;
        }));
    }
};

KXCORE_TEST_MAIN(TestLostWorkers)
#include "tst_lostworkers.moc"
