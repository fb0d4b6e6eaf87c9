#include "kit/Test.h"

#include "support/Arithmetic.h"
#include "support/Log.h"
#include "support/Workers.h"

namespace {

const double infinity = qInf(), notANumber = qQNaN();
constexpr int outOfRange = INT_MIN;

struct Refusal : QException {
    void raise() const override { throw *this; }
    Refusal *clone() const override { return new Refusal(*this); }
};

} // namespace

class TestSupport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void arithmetics()
    {
        const struct {
            double value;
            int truncated, rounded, opacity256;
        } rows[] = { { 0.0039, 0, 0, 0 }, { 0.00390625, 0, 0, 1 }, { 0.49, 0, 0, 125 }, { 0.5, 0, 1, 128 },
            { 2.4999, 2, 2, 639 }, { 254.5, 254, 255, 65152 }, { -0.5, 0, 0, -128 }, { -0.6, 0, -1, -153 },
            { -0.003, 0, 0, 0 }, { -1.5, -1, -1, -384 }, { -1.99, -1, -2, -509 },
            { 2147483520, 2147483520, 2147483520, outOfRange }, { -2147483520, -2147483520, -2147483520, outOfRange },
            { 2147483648.0, outOfRange, outOfRange, outOfRange }, { -2147483648.9, outOfRange, outOfRange, outOfRange },
            { infinity, outOfRange, outOfRange, outOfRange }, { -infinity, outOfRange, 0, outOfRange },
            { notANumber, outOfRange, 0, outOfRange } };
        for (const auto &row : rows) {
            QCOMPARE(arithmetic::truncate(row.value), row.truncated);
            QCOMPARE(arithmetic::truncate(float(row.value)), row.truncated);
            QCOMPARE(arithmetic::roundHalfUp(row.value), row.rounded);
            QCOMPARE(arithmetic::opacity256(row.value), row.opacity256);
        }
        QCOMPARE(arithmetic::truncate(2147483647.9), 2147483647); // in single precision this is 2^31
        QVERIFY(arithmetic::clamp8(-1) == 0 && arithmetic::clamp8(254) == 254 && arithmetic::clamp8(256) == 255);
    }

    void logAndGuard()
    {
        using support::guarded;
        const support::Origin origin { "src/Somewhere", 17 };
        const auto swallow = support::OnException::Swallow;
        const auto fails = [] { throw std::runtime_error("it broke"); };
        const auto failsOddly = [] { throw 5; };
        const kit::LogCapture log;
        support::logLine(origin, "a text with % in it");
        QVERIFY(guarded(origin, [] {}));
        QVERIFY_EXCEPTION_THROWN(guarded(origin, fails), std::runtime_error);
        QVERIFY(!guarded(origin, fails, swallow));
        QVERIFY_EXCEPTION_THROWN(guarded(origin, failsOddly), int);
        QVERIFY_EXCEPTION_THROWN(guarded(origin, failsOddly, swallow), int);
        const QString known = "[src/Somewhere] Unexpected exception it broke";
        const QString unknown = "[src/Somewhere] Unexpected unknown exception";
        QCOMPARE(log.texts(), (QStringList { "[src/Somewhere] a text with % in it", known, known, unknown, unknown }));
    }

    void items()
    {
        // A false item ends its worker.
        for (const int workerCount : { workers::onCaller, 3 }) {
            std::atomic<int> taken { 0 };
            workers::forEachItem(workerCount, 0, 10, [&] { return [&](int i) { return taken |= 1 << i, false; }; });
            QCOMPARE(taken.load(), workerCount == 3 ? 0b111 : 0b1);
        }
        // Every worker counts past the last item once, which must not turn round.
        const int last = INT_MAX, first = last - 5;
        std::atomic<int> count { 0 };
        workers::forEachItem(
            8, first, last, [&] { return [&](int i) { return (count += i >= first ? 1 : 1000) > 0; }; });
        QCOMPARE(count.load(), 5);
    }

    void counts()
    {
        const int wanted = qEnvironmentVariableIntValue("KXCORE_TEST_PROCESSORS");
        QCOMPARE(workers::hardware(), wanted > 0 ? wanted : int(std::thread::hardware_concurrency()));
        QCOMPARE(workers::ideal(), wanted > 0 ? wanted : QThread::idealThreadCount());
    }

    void exceptions()
    {
        QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw Refusal(); }), Refusal);
        QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw 7; }), QUnhandledException);
        QVERIFY_EXCEPTION_THROWN(workers::run(2, [] { throw std::bad_alloc(); }), std::bad_alloc);
        // Several workers throw: what leaves is from the one started first. A pool of one thread runs them in order.
        std::atomic<int> started { 0 };
        QByteArray first;
        QVERIFY(kit::onPool(1, 1, [&] {
            first = kit::thrown<QUnhandledException>(
                [&] { workers::run(3, [&] { throw std::runtime_error(std::to_string(started++)); }); });
        }));
        QVERIFY(started == 3 && first == "0");
    }
};

KXCORE_TEST_MAIN(TestSupport)
#include "tst_support.moc"
