#pragma once

#include "support/ThreadSanitizer.h"

#include <QtCore/QException>
#include <QtCore/QRunnable>
#include <QtCore/QTextCodec>
#include <QtCore/QThread>
#include <QtCore/QThreadPool>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

/// The one shape of every multi-threaded loop: a fixed number of workers on the global pool pull items from a shared
/// counter. The caller waits for all of them, but for those of @c startForEachItem. It does items only in the place of
/// a worker that has not begun when it comes to wait for that one. The families differ only in how many workers they
/// use and in what an item is.
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

/// Loops that leave one processor to the caller, which waits: none on a single processor.
constexpr int besidesCaller(int n) { return n - 1; }

/// Walks of an image in rows.
inline int forWalks() { return besidesCaller(hardware()); }

/// Line passes and the composition of a selection: up to two processors the caller works alone.
constexpr int forLines(int n) { return n <= 2 ? onCaller : n - 1; }

/// Fixed-point convolution, and the box filter of resampling: one processor means the caller.
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

/// Takes items from @p counter, @p step apart, until they reach @p end or @p item returns false.
template <class Item>
void takeItems(Counter &counter, int end, int step, Item &&item)
{
    for (qint64 i = counter.fetch_add(step); i < end && item(static_cast<int>(i)); i = counter.fetch_add(step)) { }
}

/// Runs @p body and returns what it threw in the form that reaches a caller, or nothing.
template <class Body>
std::exception_ptr thrownBy(Body &body) noexcept
{
    try {
        try {
            body();
        } catch (const QException &) {
            throw;
        } catch (const std::bad_alloc &) {
            throw;
        } catch (const std::exception &e) {
            throw WorkerException(e.what());
        } catch (...) {
            throw QUnhandledException();
        }
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

/// Tasks that the pool was given and has not deleted yet.
inline std::atomic<int> tasksInPool { 0 };

/// Keeps a program from ending while threads of the pool are still starting for our tasks: what a starting thread uses,
/// Qt destroys. A loop need not have waited for them, and nobody else does in a program without a QCoreApplication. A
/// thread that the system refused never comes, so that the wait is bounded.
class WaitAtExit {
public:
    /// Objects are destroyed in the reverse order. What a starting thread uses is therefore made first.
    WaitAtExit() { QTextCodec::codecForLocale(); }
    ~WaitAtExit()
    {
        for (int milliseconds = 0; milliseconds < 1000 && tasksInPool > 0; ++milliseconds)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
};

/// The workers of one loop. Each works once: on a thread of the pool or, if it has not begun by the time the caller
/// waits for it, on the caller's. So nobody waits for what may never come: a thread that the system refuses, after
/// which the pool keeps the task for good, or a task that somebody clears from the pool's queue.
///
/// The tasks share the crew with the caller, for one of them may come to run when the caller has gone. It then finds
/// its worker done and touches nothing else. @p Body is a reference type where the caller waits for all workers.
template <class Body>
class Crew {
public:
    Crew(int count, Body body)
        : m_body(static_cast<Body &&>(body))
        , m_workers(size_t(count))
    {
    }

    /// Hands a worker of @p crew to the pool.
    static void Start(const std::shared_ptr<Crew> &crew, int worker)
    {
        static const WaitAtExit waitAtExit;
        auto task = std::make_unique<Task>(crew, crew->m_workers[size_t(worker)]);
        support::handOver(task.get());
        crew->m_pool.start(task.get(), 0);
        task.release(); // the pool's, which may have run and deleted it by now
    }

    /// Returns when all workers have ended, and throws what the first of them threw.
    void Wait()
    {
        for (Worker &worker : m_workers) {
            if (Work(worker))
                TakeBack(worker);
            std::unique_lock<std::mutex> lock(m_mutex);
            m_end.wait(lock, [&worker] { return worker.ended; });
        }
        for (Worker &worker : m_workers)
            if (worker.thrown)
                std::rethrow_exception(std::move(worker.thrown));
    }

private:
    struct Worker {
        bool begun = false, ended = false;
        QRunnable *task = nullptr; ///< while it exists
        std::exception_ptr thrown;
    };

    class Task : public QRunnable {
    public:
        Task(std::shared_ptr<Crew> crew, Worker &worker)
            : m_crew(std::move(crew))
            , m_worker(worker)
        {
            m_worker.task = this;
            ++tasksInPool;
        }
        ~Task() override
        {
            support::takeOver(this);
            const std::lock_guard<std::mutex> lock(m_crew->m_mutex);
            m_worker.task = nullptr;
            --tasksInPool;
        }
        void run() override
        {
            support::takeOver(this);
            m_crew->Work(m_worker);
        }

    private:
        const std::shared_ptr<Crew> m_crew;
        Worker &m_worker;
    };

    /// Does @p worker's work on this thread. False if another has begun it.
    bool Work(Worker &worker)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (std::exchange(worker.begun, true))
                return false;
        }
        std::exception_ptr thrown = thrownBy(m_body);
        const std::lock_guard<std::mutex> lock(m_mutex);
        worker.thrown = std::move(thrown);
        worker.ended = true;
        m_end.notify_all();
        return true;
    }

    /// Takes the task of @p worker out of the pool's queue. The lock keeps the task alive: once deleted, its address
    /// might be that of a stranger's.
    void TakeBack(Worker &worker)
    {
        std::unique_ptr<QRunnable> taken;
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (worker.task && m_pool.tryTake(worker.task))
            taken.reset(worker.task);
    }

    QThreadPool &m_pool = *QThreadPool::globalInstance();
    Body m_body;
    std::mutex m_mutex; ///< of the workers
    std::condition_variable m_end;
    std::vector<Worker> m_workers;
};

} // namespace detail

/// Runs @p body once on each of @p count workers of the global pool and waits for all of them, also when some throw;
/// then the first of these exceptions is thrown here: a QException or std::bad_alloc as it is, anything else as a
/// QUnhandledException. With a count of 0 or less nothing runs. Without memory for a single worker @p body runs here:
/// every body takes items until none are left.
///
/// @p body is shared by the workers. A worker that has not begun by the time the caller waits for it is run by the
/// caller, so that the caller may itself sit on a pool thread, and need not rely on getting one.
template <class Body>
void run(int count, Body &&body)
{
    using Crew = detail::Crew<std::remove_reference_t<Body> &>;
    if (count <= 0)
        return;
    std::shared_ptr<Crew> crew;
    try {
        crew = std::make_shared<Crew>(count, body);
        for (int worker = 0; worker < count; ++worker)
            Crew::Start(crew, worker);
    } catch (const std::bad_alloc &) {
        if (!crew)
            return body();
    }
    crew->Wait();
}

/// Calls @p item(i) for i in [first, end), each once, in increasing order of hand-out, on @p count workers. @c onCaller
/// runs nothing on the pool and all items here, in order. A false result of @p item ends its worker. @p makeItem is
/// called once per worker and returns that worker's item function: what it holds is the worker's own.
template <class MakeItem>
void forEachItem(int count, int first, int end, MakeItem &&makeItem)
{
    if (first >= end)
        return;
    if (count == onCaller) {
        auto item = makeItem();
        for (int i = first; i < end && item(i); ++i) { }
        return;
    }
    detail::Counter counter { first };
    run(count, [&] {
        auto item = makeItem();
        detail::takeItems(counter, end, 1, item);
    });
}

/// As @c forEachItem, but the workers are started and not waited for. Each has its own copy of @p item; what that
/// refers to must live until the workers have ended. What an item throws ends its worker and is lost. A count of 0 or
/// less does nothing.
template <class Item>
void startForEachItem(int count, int first, int end, Item item)
{
    if (first >= end || count <= 0)
        return;
    auto body = [counter = std::make_shared<detail::Counter>(first), end, item] {
        auto own = item;
        detail::takeItems(*counter, end, 1, own);
    };
    using Crew = detail::Crew<decltype(body)>;
    const auto crew = std::make_shared<Crew>(count, std::move(body));
    for (int worker = 0; worker < count; ++worker) {
        try {
            Crew::Start(crew, worker);
        } catch (const std::bad_alloc &) {
            if (worker == 0)
                throw;
            return; // those that run do all items
        }
    }
}

/// Row loop: @p row(y) for y in [first, end) on @p count workers; a false result ends its worker. A count of 0 or less
/// does nothing at all: loops that leave one processor to the caller have no worker on a machine with a single one.
template <class Row>
void walkRows(int count, int first, int end, const Row &row)
{
    if (count > 0)
        forEachItem(count, first, end, [&row] { return std::ref(row); });
}

/// Row loop over [0, rows) whose workers go on to the end.
template <class Row>
void forEachRow(int count, int rows, Row &&row)
{
    walkRows(count, 0, rows, [&row](int y) {
        row(y);
        return true;
    });
}

/// Row loop in chunks: @p rows(first, end) for consecutive ranges [first, end) that cover [0, @p rowCount), handed out
/// from one counter. @p count is above 0.
template <class Rows>
void forEachChunk(int count, int rowCount, Rows &&rows)
{
    Q_ASSERT(count > 0);
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
