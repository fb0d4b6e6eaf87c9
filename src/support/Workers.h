#pragma once

#include <QtCore/QFutureInterface>
#include <QtCore/QRunnable>
#include <QtCore/QThread>
#include <QtCore/QThreadPool>

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

/// The one shape of every multi-threaded loop: a fixed number of workers on the global pool pull items from a shared
/// counter, the caller waits for all of them and does no items itself. The families differ only in how many workers
/// they use and in what an item is.
namespace workers {

/// Logical processors as the C++ library reports them; 1 when it does not know.
inline int hardware()
{
    const int n = static_cast<int>(std::thread::hardware_concurrency());
    return n > 0 ? n : 1;
}

/// Logical processors as Qt reports them.
inline int ideal() { return QThread::idealThreadCount(); }

/// Worker count that stands for "on the calling thread".
constexpr int onCaller = 0;

/// Line passes and the composition of a selection: up to two processors the caller works alone.
constexpr int forLines(int n) { return n <= 2 ? onCaller : n - 1; }

/// Fixed-point convolution: one processor means the caller.
constexpr int forConvolution(int n) { return n < 2 ? onCaller : n; }

/// What reaches the caller when a worker threw something that is no QException: its text is that of the original.
class WorkerException : public QUnhandledException {
public:
    explicit WorkerException(std::string text)
        : m_text(std::move(text))
    {
    }
    const char *what() const noexcept override { return m_text.c_str(); }
    void raise() const override { throw *this; }
    WorkerException *clone() const override { return new WorkerException(*this); }

private:
    std::string m_text;
};

namespace detail {

/// The next item of a loop, shared by its workers. Wider than the items, because every worker counts past the end once.
using Counter = std::atomic<qint64>;

/// Takes items from @p counter, @p step apart, until they reach @p last or @p item returns false.
template <class Item>
void takeItems(Counter &counter, int last, int step, Item &&item)
{
    for (qint64 i = counter.fetch_add(step); i < last && item(static_cast<int>(i)); i = counter.fetch_add(step)) { }
}

/// A worker: runs its body once. @p Body is a reference type where the caller waits, and so keeps the body alive.
template <class Body>
class Task : public QRunnable {
public:
    Task(QFutureInterface<void> future, Body body)
        : m_future(std::move(future))
        , m_body(static_cast<Body &&>(body))
    {
    }

    void run() override
    {
        if (!m_future.isCanceled()) {
            try {
                RunBody();
            } catch (...) { // no memory to report what was thrown
                m_future.reportCanceled();
            }
        }
        m_future.reportFinished();
    }

private:
    void RunBody()
    {
        try {
            m_body();
        } catch (const QException &e) {
            m_future.reportException(e);
        } catch (const std::exception &e) {
            m_future.reportException(WorkerException(e.what()));
        } catch (...) {
            m_future.reportException(QUnhandledException());
        }
    }

    QFutureInterface<void> m_future;
    Body m_body;
};

/// Hands a worker to the pool. The result is what the caller can wait for.
template <class Body>
QFutureInterface<void> start(Body &&body)
{
    QThreadPool *const pool = QThreadPool::globalInstance();
    QFutureInterface<void> future;
    auto task = std::make_unique<Task<Body>>(future, std::forward<Body>(body));
    future.setThreadPool(pool);
    future.setRunnable(task.get());
    future.reportStarted();
    pool->start(task.get(), 0);
    task.release(); // the pool's, which may have run and deleted it by now
    return future;
}

} // namespace detail

/// Runs @p body once on each of @p count workers of the global pool and waits for all of them, also when some throw;
/// then the exception of the first worker that threw leaves. With a count of 0 or less nothing runs. Where there is no
/// memory for so many workers there are fewer, and without memory for a single one @p body runs here: every body takes
/// items until none are left.
///
/// @p body is shared by the workers. The caller may itself sit on a pool thread: a worker that has not started by the
/// time the caller waits for it is run by the caller.
template <class Body>
void run(int count, Body &&body)
{
    std::vector<QFutureInterface<void>> futures;
    try {
        futures.reserve(count > 0 ? size_t(count) : 0);
        for (int i = 0; i < count; ++i)
            futures.push_back(detail::start<std::remove_reference_t<Body> &>(body));
    } catch (const std::bad_alloc &) {
        if (futures.empty())
            return body();
    }
    std::exception_ptr first;
    for (auto &future : futures) {
        try {
            future.waitForFinished();
            if (future.isCanceled())
                throw std::bad_alloc();
        } catch (...) {
            if (!first)
                first = std::current_exception();
        }
    }
    if (first)
        std::rethrow_exception(first);
}

/// Calls @p item(i) for i in [first, last), each once, in increasing order of hand-out, on @p count workers.
/// @c onCaller runs nothing on the pool and all items here, in order. A false result of @p item ends its worker.
/// @p makeItem is called once per worker and returns that worker's item function: what it holds is the worker's own.
template <class MakeItem>
void forEachItem(int count, int first, int last, MakeItem &&makeItem)
{
    if (first >= last)
        return;
    if (count == onCaller) {
        auto item = makeItem();
        for (int i = first; i < last && item(i); ++i) { }
        return;
    }
    detail::Counter counter { first };
    run(count, [&] {
        auto item = makeItem();
        detail::takeItems(counter, last, 1, item);
    });
}

/// As @c forEachItem, but the workers are started and not waited for. Each has its own copy of @p item; what that
/// refers to must live until the workers have ended. What an item throws ends its worker and is lost. A count of 0 or
/// less does nothing.
template <class Item>
void startForEachItem(int count, int first, int last, Item item)
{
    if (first >= last)
        return;
    const auto counter = std::make_shared<detail::Counter>(first);
    for (int worker = 0; worker < count; ++worker) {
        try {
            detail::start([counter, last, item] { detail::takeItems(*counter, last, 1, item); });
        } catch (const std::bad_alloc &) {
            if (worker == 0)
                throw;
            return; // those that run do all items
        }
    }
}

/// Row loop without state per worker: @p row(i) for i in [0, rows) on @p count workers. A count of 0 or less does
/// nothing at all: loops that leave one processor to the caller have no worker on a machine with a single one.
template <class Row>
void forEachRow(int count, int rows, Row &&row)
{
    if (count > 0)
        forEachItem(count, 0, rows, [&row] {
            return [&row](int i) {
                row(i);
                return true;
            };
        });
}

/// Row loop in chunks: @p rows(first, last) for consecutive ranges [first, last) that cover [0, @p rowCount), handed
/// out from one counter. @p count must not be 0.
template <class Rows>
void forEachChunk(int count, int rowCount, Rows &&rows)
{
    const int chunk = rowCount / count > 1 ? rowCount / count : 1;
    detail::Counter counter { 0 };
    run(count, [&] {
        detail::takeItems(counter, rowCount, chunk, [&](int first) {
            rows(first, rowCount - first < chunk ? rowCount : first + chunk);
            return true;
        });
    });
}

} // namespace workers
