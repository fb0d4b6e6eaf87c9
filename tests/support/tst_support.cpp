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

} // namespace

class TestSupport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void roundHalfUp_data();
    void roundHalfUp();
    void truncate_data();
    void truncate();
    void smallNumbers();
    void logAndGuard();

    void rowsOnceEach_data();
    void rowsOnceEach();
    void itemsOnTheCaller();
    void aFalseItemEndsItsWorker();
    void chunks_data();
    void chunks();
    void counts();
    void anExceptionLeavesTheOthersAtWork();
    void whatLeaves();
    void callerOnAPoolThread();
    void startedAndNotWaitedFor();
    void itemsUpToTheLargestNumber();
};

void TestSupport::roundHalfUp_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("expected");
    const struct {
        double value;
        int expected;
    } rows[] = { { 0, 0 }, { -0.0, 0 }, { 0.49, 0 }, { 0.5, 1 }, { 1.5, 2 }, { 2.4999, 2 }, { 254.5, 255 }, { -0.4, 0 },
        { -0.5, 0 }, { -0.6, -1 }, { -1.5, -1 }, { -1.6, -2 }, { -2.6, -3 }, { 2147483647.0, 2147483647 },
        { 2147483648.0, outOfRange }, { infinity, outOfRange }, { -infinity, 0 }, { notANumber, 0 }, { -1e300, 0 } };
    for (const auto &row : rows)
        QTest::addRow("%g", row.value) << row.value << row.expected;
}

void TestSupport::roundHalfUp()
{
    QFETCH(double, value);
    QTEST(arithmetic::roundHalfUp(value), "expected");
}

void TestSupport::truncate_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<int>("expected");
    QTest::addColumn<int>("expectedInSinglePrecision");
    QTest::newRow("toward zero") << 1.99 << 1 << 1;
    QTest::newRow("toward zero, negative") << -1.99 << -1 << -1;
    QTest::newRow("largest") << 2147483647.9 << 2147483647 << outOfRange; // in single precision this is 2^31
    QTest::newRow("largest below 2^31 in single precision") << 2147483520.0 << 2147483520 << 2147483520;
    QTest::newRow("2^31") << 2147483648.0 << outOfRange << outOfRange;
    QTest::newRow("-2^31") << -2147483648.9 << outOfRange << outOfRange;
    QTest::newRow("above -2^31") << -2147483520.0 << -2147483520 << -2147483520;
    QTest::newRow("infinity") << infinity << outOfRange << outOfRange;
    QTest::newRow("-infinity") << -infinity << outOfRange << outOfRange;
    QTest::newRow("NaN") << notANumber << outOfRange << outOfRange;
}

void TestSupport::truncate()
{
    QFETCH(double, value);
    QTEST(arithmetic::truncate(value), "expected");
    QTEST(arithmetic::truncate(float(value)), "expectedInSinglePrecision");
}

void TestSupport::smallNumbers()
{
    for (const auto &[value, expected] : std::vector<std::pair<int, int>> { { outOfRange, 0 }, { -1, 0 }, { 0, 0 },
             { 1, 1 }, { 254, 254 }, { 255, 255 }, { 256, 255 }, { 2147483647, 255 } })
        QCOMPARE(arithmetic::clamp8(value), expected);

    for (const auto &[value, expected] :
        std::vector<std::pair<double, int>> { { 0, 0 }, { 0.001, 0 }, { 0.0039, 0 }, { 0.00390625, 1 }, { 0.5, 128 },
            { 0.999, 255 }, { 1, 256 }, { 1.01, 258 }, { -0.003, 0 }, { -1, -256 }, { notANumber, outOfRange } })
        QCOMPARE(arithmetic::opacity256(value), expected);

    for (int r = 0; r < 256; r += 5)
        for (int g = 0; g < 256; g += 3)
            for (int b = 0; b < 256; b += 15)
                QCOMPARE(arithmetic::grey(r, g, b), qGray(r, g, b));

    QCOMPARE(arithmetic::wrappingAdd(outOfRange, outOfRange), 0);
    QCOMPARE(arithmetic::wrappingAdd(2147483647, 1), outOfRange);
}

void TestSupport::logAndGuard()
{
    const support::Origin origin { "src/Somewhere", 17 };
    const auto fails = [] { throw std::runtime_error("it broke"); };
    QStringList lines;
    {
        testing::LogCapture log;
        support::logLine(origin, "a text with a % in it");
        QVERIFY(support::guarded(origin, [] {}));
        QVERIFY_EXCEPTION_THROWN(support::guarded(origin, fails), std::runtime_error);
        QVERIFY(!support::guarded(origin, fails, support::OnException::Swallow));
        QVERIFY_EXCEPTION_THROWN(support::guarded(origin, [] { throw 5; }), int);
        QVERIFY_EXCEPTION_THROWN(support::guarded(
                                     origin, [] { throw 5; }, support::OnException::Swallow),
            int);
        lines = log.texts();
    }
    const QString known = "[src/Somewhere] Unexpected exception it broke";
    const QString unknown = "[src/Somewhere] Unexpected unknown exception";
    QCOMPARE(lines, (QStringList { "[src/Somewhere] a text with a % in it", known, known, unknown, unknown }));
}

void TestSupport::rowsOnceEach_data()
{
    QTest::addColumn<int>("workerCount");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("times");
    QTest::newRow("no worker: nothing runs") << 0 << 10 << 0;
    QTest::newRow("fewer than none") << -1 << 10 << 0;
    QTest::newRow("one") << 1 << 10 << 1;
    QTest::newRow("several") << 4 << 1000 << 1;
    QTest::newRow("more workers than rows") << 7 << 3 << 1;
    QTest::newRow("more workers than threads") << 100 << 500 << 1;
}

void TestSupport::rowsOnceEach()
{
    QFETCH(int, workerCount);
    QFETCH(int, rows);
    QFETCH(int, times);
    QCOMPARE(handedOut(rows, [=](auto take) { workers::forEachRow(workerCount, rows, take); }),
        std::vector<int>(size_t(rows), times));
}

void TestSupport::itemsOnTheCaller()
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
    QCOMPARE(seen, (std::vector<int> { 3, 4, 5, 6 })); // a false result ends the loop
    QVERIFY(!elsewhere);

    std::atomic<int> made { 0 };
    workers::forEachItem(3, 5, 5, [&] {
        ++made;
        return [](int) { return true; };
    });
    QCOMPARE(made.load(), 0); // nothing to do starts no worker
}

void TestSupport::aFalseItemEndsItsWorker()
{
    const auto seen = handedOut(10, [](auto take) {
        workers::forEachItem(3, 0, 10, [take] {
            return [take](int i) {
                take(i);
                return false;
            };
        });
    });
    QCOMPARE(seen, (std::vector<int> { 1, 1, 1, 0, 0, 0, 0, 0, 0, 0 }));
}

void TestSupport::chunks_data()
{
    QTest::addColumn<int>("workerCount");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QVector<int>>("firsts"); // of each chunk, in order; the last entry is the end
    QTest::newRow("with a rest") << 3 << 10 << QVector<int> { 0, 3, 6, 9, 10 };
    QTest::newRow("even") << 2 << 8 << QVector<int> { 0, 4, 8 };
    QTest::newRow("at least one row") << 5 << 3 << QVector<int> { 0, 1, 2, 3 };
    QTest::newRow("one worker") << 1 << 4 << QVector<int> { 0, 4 };
    QTest::newRow("no rows") << 2 << 0 << QVector<int> { 0 };
}

void TestSupport::chunks()
{
    QFETCH(int, workerCount);
    QFETCH(int, rows);
    QFETCH(QVector<int>, firsts);
    std::mutex mutex;
    QMap<int, int> chunks;
    workers::forEachChunk(workerCount, rows, [&](int first, int last) {
        const std::lock_guard<std::mutex> lock(mutex);
        chunks.insert(first, last);
    });
    QMap<int, int> expected;
    for (int i = 0; i + 1 < firsts.size(); ++i)
        expected.insert(firsts[i], firsts[i + 1]);
    QCOMPARE(chunks, expected);
}

void TestSupport::counts()
{
    if (const int wanted = qEnvironmentVariableIntValue("KXCORE_TEST_PROCESSORS"); wanted > 0) {
        QCOMPARE(workers::hardware(), wanted);
        QCOMPARE(workers::ideal(), wanted);
    }
    QCOMPARE(workers::hardware(), int(std::thread::hardware_concurrency()));
    QCOMPARE(workers::ideal(), QThread::idealThreadCount());
    const int lines[] = { 0, 0, 0, 2, 3, 7 }, convolution[] = { 0, 0, 2, 3, 4, 8 }, processors[] = { 0, 1, 2, 3, 4, 8 };
    for (int i = 0; i < 6; ++i) {
        QCOMPARE(workers::forLines(processors[i]), lines[i]);
        QCOMPARE(workers::forConvolution(processors[i]), convolution[i]);
    }
}

void TestSupport::anExceptionLeavesTheOthersAtWork()
{
    std::atomic<int> working { 0 };
    std::vector<int> expected(200, 1);
    expected[5] = 0;
    const auto seen = handedOut(200, [&](auto take) {
        const auto loop = [&] {
            workers::forEachRow(3, 200, [&](int i) {
                ++working;
                if (i != 5)
                    take(i);
                --working;
                if (i == 5)
                    throw std::runtime_error("row five");
            });
        };
        QVERIFY_EXCEPTION_THROWN(loop(), QException);
        QCOMPARE(working.load(), 0);
    });
    QCOMPARE(seen, expected);
}

void TestSupport::whatLeaves()
{
    try {
        workers::run(2, [] { throw std::runtime_error("the text"); });
        QFAIL("nothing left");
    } catch (const QUnhandledException &e) {
        QCOMPARE(e.what(), "the text");
    }
    QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw Refusal(); }), Refusal);
    QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw 7; }), QUnhandledException);

    // Several workers throw: the first one's leaves, in the order in which they were started. On a pool of one thread
    // they also run in that order.
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(1);
    std::atomic<int> started { 0 };
    QString first;
    pool->start(QRunnable::create([&] {
        try {
            workers::run(3, [&] { throw std::runtime_error(std::to_string(started.fetch_add(1))); });
        } catch (const std::exception &e) {
            first = e.what();
        }
    }));
    const bool finished = pool->waitForDone(60000);
    pool->setMaxThreadCount(threads);
    QVERIFY(finished);
    QCOMPARE(started.load(), 3);
    QCOMPARE(first, QString("0"));
}

void TestSupport::callerOnAPoolThread()
{
    // Every thread of the pool is a caller that waits for workers of its own.
    QThreadPool *const pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(2);
    std::atomic<int> sum { 0 };
    for (int i = 0; i < 2; ++i)
        pool->start(QRunnable::create([&sum] {
            workers::forEachRow(4, 100, [&sum](int) { workers::forEachRow(2, 5, [&sum](int) { ++sum; }); });
        }));
    const bool finished = pool->waitForDone(60000);
    pool->setMaxThreadCount(threads);
    QVERIFY(finished);
    QCOMPARE(sum.load(), 2 * 100 * 5);
}

void TestSupport::startedAndNotWaitedFor()
{
    QThreadPool *const pool = QThreadPool::globalInstance();
    const auto seen = handedOut(100, [pool](auto take) {
        workers::startForEachItem(0, 0, 100, [take](int i) {
            take(i);
            return true;
        });
        workers::startForEachItem(3, 0, 100, [take](int i) {
            if (i == 50)
                throw std::runtime_error("goes nowhere");
            take(i);
            return true;
        });
        QVERIFY(pool->waitForDone(60000));
    });
    std::vector<int> expected(100, 1);
    expected[50] = 0;
    QCOMPARE(seen, expected);
}

/// Every worker counts past the last item once, which must not turn round.
void TestSupport::itemsUpToTheLargestNumber()
{
    const int last = std::numeric_limits<int>::max();
    std::atomic<int> items { 0 };
    workers::forEachItem(8, last - 5, last, [&] {
        return [&](int i) {
            items += i >= last - 5 ? 1 : 1000;
            return true;
        };
    });
    QCOMPARE(items.load(), 5);
}

KXCORE_TEST_MAIN(TestSupport)
#include "tst_support.moc"
