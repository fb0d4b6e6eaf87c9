#include "TestSupport.h"

#include "support/Arithmetic.h"
#include "support/Log.h"
#include "support/Workers.h"

#include <QtGui/QColor>

#include <limits>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr int outOfRange = std::numeric_limits<int>::min();

class Refusal : public QException {
public:
    void raise() const override { throw *this; }
    Refusal *clone() const override { return new Refusal(*this); }
};

/// How often each of @p count items was handed out by @p loop, which gets the function that takes an item.
template <class Loop>
std::vector<int> handedOut(int count, Loop loop)
{
    std::vector<std::atomic<int>> seen(static_cast<size_t>(count));
    loop([&seen](int i) { ++seen[size_t(i)]; });
    return std::vector<int>(seen.begin(), seen.end());
}

/// Runs @p count copies of @p body on a pool of @p threads. False if they are not done within a minute.
template <class Body>
bool onPool(int threads, int count, Body body)
{
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threadsBefore = pool->maxThreadCount();
    pool->setMaxThreadCount(threads);
    for (int i = 0; i < count; ++i)
        pool->start(QRunnable::create(body));
    const bool finished = pool->waitForDone(60000);
    pool->setMaxThreadCount(threadsBefore);
    return finished;
}

} // namespace

class TestSupport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void arithmeticOfDoubles()
    {
        using Rows = std::vector<std::pair<double, int>>;
        for (const auto &[value, expected] : Rows { { -0.0, 0 }, { 0.49, 0 }, { 0.5, 1 }, { 2.4999, 2 }, { 254.5, 255 },
                 { -0.5, 0 }, { -0.6, -1 }, { -1.5, -1 }, { -1.6, -2 }, { 2147483647.0, 2147483647 },
                 { 2147483648.0, outOfRange }, { infinity, outOfRange }, { -infinity, 0 }, { notANumber, 0 } })
            QVERIFY2(arithmetic::roundHalfUp(value) == expected, qPrintable(QString::number(value)));
        for (const auto &[value, expected] : Rows { { 0.0039, 0 }, { 0.00390625, 1 }, { 0.5, 128 }, { 0.999, 255 },
                 { 1, 256 }, { 1.01, 258 }, { -0.003, 0 }, { -1, -256 }, { notANumber, outOfRange } })
            QVERIFY2(arithmetic::opacity256(value) == expected, qPrintable(QString::number(value)));
        for (const auto &[value, expected] : Rows { { 1.99, 1 }, { -1.99, -1 }, { 2147483520, 2147483520 },
                 { 2147483648.0, outOfRange }, { -2147483648.9, outOfRange }, { -2147483520, -2147483520 },
                 { infinity, outOfRange }, { -infinity, outOfRange }, { notANumber, outOfRange } }) {
            QVERIFY2(arithmetic::truncate(value) == expected, qPrintable(QString::number(value)));
            QVERIFY2(arithmetic::truncate(float(value)) == expected, qPrintable(QString::number(value)));
        }
        QCOMPARE(arithmetic::truncate(2147483647.9), 2147483647); // in single precision this is 2^31
        QCOMPARE(arithmetic::truncate(2147483647.9f), outOfRange);
    }

    void arithmeticOfIntegers()
    {
        for (const auto &[value, expected] : std::vector<std::pair<int, int>> { { outOfRange, 0 }, { -1, 0 }, { 0, 0 },
                 { 1, 1 }, { 254, 254 }, { 255, 255 }, { 256, 255 }, { 2147483647, 255 } })
            QCOMPARE(arithmetic::clamp8(value), expected);
        for (int r = 0; r < 256; r += 5)
            for (int g = 0; g < 256; g += 3)
                for (int b = 0; b < 256; b += 15)
                    QCOMPARE(arithmetic::grey(r, g, b), qGray(r, g, b));
        QCOMPARE(arithmetic::wrappingAdd(outOfRange, outOfRange), 0);
        QCOMPARE(arithmetic::wrappingAdd(2147483647, 1), outOfRange);
    }

    void logAndGuard()
    {
        using support::guarded;
        const support::Origin origin { "src/Somewhere", 17 };
        const auto swallow = support::OnException::Swallow;
        const auto fails = [] { throw std::runtime_error("it broke"); };
        const auto failsOddly = [] { throw 5; };
        const testing::LogCapture log;
        support::logLine(origin, "a text with a % in it");
        QVERIFY(guarded(origin, [] {}));
        QVERIFY_EXCEPTION_THROWN(guarded(origin, fails), std::runtime_error);
        QVERIFY(!guarded(origin, fails, swallow));
        QVERIFY_EXCEPTION_THROWN(guarded(origin, failsOddly), int);
        QVERIFY_EXCEPTION_THROWN(guarded(origin, failsOddly, swallow), int);
        const QString known = "[src/Somewhere] Unexpected exception it broke";
        const QString unknown = "[src/Somewhere] Unexpected unknown exception";
        QCOMPARE(
            log.texts(), (QStringList { "[src/Somewhere] a text with a % in it", known, known, unknown, unknown }));
    }

    void rows()
    {
        for (const int workers : { 0, -1 }) // nothing runs
            QCOMPARE(
                handedOut(10, [=](auto take) { workers::forEachRow(workers, 10, take); }), std::vector<int>(10, 0));
        // One, several, more than rows, more than threads.
        for (const auto &[workers, rows] :
            std::vector<std::pair<int, int>> { { 1, 10 }, { 4, 1000 }, { 7, 3 }, { 100, 500 } })
            QCOMPARE(handedOut(rows, [w = workers, r = rows](auto take) { workers::forEachRow(w, r, take); }),
                std::vector<int>(size_t(rows), 1));
    }

    void items()
    {
        std::vector<int> seen;
        bool elsewhere = false;
        const QThread *const here = QThread::currentThread();
        workers::forEachItem(workers::onCaller, 3, 8, [&] {
            return [&](int i) {
                seen.push_back(i);
                elsewhere |= QThread::currentThread() != here;
                return i != 6;
            };
        });
        QVERIFY(seen == std::vector<int>({ 3, 4, 5, 6 }) && !elsewhere); // a false result ends the loop
        workers::forEachItem(3, 5, 5, [&] {
            elsewhere = true; // nothing to do starts no worker
            return [](int) { return true; };
        });
        QVERIFY(!elsewhere);
        // A false item ends its worker.
        const auto taken = handedOut(10, [](auto take) {
            workers::forEachItem(3, 0, 10, [take] { return [take](int i) { return take(i), false; }; });
        });
        QCOMPARE(taken, std::vector<int>({ 1, 1, 1, 0, 0, 0, 0, 0, 0, 0 }));
        // Every worker counts past the last item once, which must not turn round.
        const int last = std::numeric_limits<int>::max();
        std::atomic<int> count { 0 };
        workers::forEachItem(
            8, last - 5, last, [&] { return [&](int i) { return (count += i >= last - 5 ? 1 : 1000) > 0; }; });
        QCOMPARE(count.load(), 5);
    }

    void chunks()
    {
        const struct {
            int workers, rows;
            QMap<int, int> expected; // first and last of each chunk
        } cases[] = { { 3, 10, { { 0, 3 }, { 3, 6 }, { 6, 9 }, { 9, 10 } } }, { 2, 8, { { 0, 4 }, { 4, 8 } } },
            { 5, 3, { { 0, 1 }, { 1, 2 }, { 2, 3 } } }, { 1, 4, { { 0, 4 } } }, { 2, 0, {} } };
        for (const auto &each : cases) {
            QMutex mutex;
            QMap<int, int> chunks;
            workers::forEachChunk(each.workers, each.rows, [&](int first, int last) {
                const QMutexLocker lock(&mutex);
                chunks.insert(first, last);
            });
            QCOMPARE(chunks, each.expected);
        }
    }

    void counts()
    {
        const int wanted = qEnvironmentVariableIntValue("KXCORE_TEST_PROCESSORS");
        QCOMPARE(workers::hardware(), wanted > 0 ? wanted : int(std::thread::hardware_concurrency()));
        QCOMPARE(workers::ideal(), wanted > 0 ? wanted : QThread::idealThreadCount());
        const int processors[] = { 0, 1, 2, 3, 4, 8 }, lines[] = { 0, 0, 0, 2, 3, 7 },
                  convolution[] = { 0, 0, 2, 3, 4, 8 };
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(workers::forLines(processors[i]), lines[i]);
            QCOMPARE(workers::forConvolution(processors[i]), convolution[i]);
        }
    }

    void exceptions()
    {
        std::atomic<int> working { 0 }, started { 0 };
        const auto seen = handedOut(200, [&](auto take) {
            const auto row = [&](int i) {
                ++working;
                if (i != 5)
                    take(i);
                --working;
                if (i == 5)
                    throw std::runtime_error("row five");
            };
            QVERIFY_EXCEPTION_THROWN(workers::forEachRow(3, 200, row), QException);
            QCOMPARE(working.load(), 0);
        });
        QVERIFY(seen[5] == 0 && std::count(seen.begin(), seen.end(), 1) == 199); // the others do all the rest
        QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw Refusal(); }), Refusal);
        QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw 7; }), QUnhandledException);
        // Several workers throw: the first one's leaves, in the order in which they were started. On a pool of one thread
        // they also run in that order.
        QString first;
        QVERIFY(onPool(1, 1, [&] {
            try {
                workers::run(3, [&] { throw std::runtime_error(std::to_string(started++)); });
            } catch (const QUnhandledException &e) {
                first = e.what();
            }
        }));
        QVERIFY(started == 3 && first == "0");
    }

    void callersOnThePool()
    {
        std::atomic<int> sum { 0 };
        const auto inner = [&sum](int) { workers::forEachRow(2, 5, [&sum](int) { ++sum; }); };
        QVERIFY(onPool(2, 2, [&inner] { workers::forEachRow(4, 100, inner); })); // every thread waits for workers
        QCOMPARE(sum.load(), 2 * 100 * 5);
    }

    void startedAndNotWaitedFor()
    {
        const auto seen = handedOut(100, [](auto take) {
            const auto item = [take](int i) {
                if (i == 50)
                    throw std::runtime_error("goes nowhere");
                take(i);
                return true;
            };
            workers::startForEachItem(0, 0, 100, item); // no worker
            workers::startForEachItem(3, 0, 100, item);
            QVERIFY(QThreadPool::globalInstance()->waitForDone(60000));
        });
        QVERIFY(seen[50] == 0 && std::count(seen.begin(), seen.end(), 1) == 99);
    }
};

KXCORE_TEST_MAIN(TestSupport)
#include "tst_support.moc"
