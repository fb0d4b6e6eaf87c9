#include "Suite.h"

#include <benchmark/benchmark.h>

#include <chrono>

namespace bench {

const char *columnName(Column column)
{
    static const char *const names[columnCount] = { "plain", "module", "QPainter straight", "QPainter premultiplied",
        "OpenCV", "libvips", "Little CMS", "QTextLayout", "OpenGL" };
    return names[int(column)];
}

void Suite::addRow(const std::string &operation, const Goal &goal)
{
    m_rows.push_back({ operation, isTiny ? Goal() : goal, {}, nullptr, {}, {} });
}

std::string Suite::addCell(const Sheet &sheet, const std::string &line, const std::string &pictures, const Goal &goal)
{
    m_rows.push_back({ pictures + " " + line, isTiny ? Goal() : goal, {}, &sheet, line, pictures });
    return m_rows.back().operation;
}

void Suite::addOurs(
    const std::string &operation, int repetitions, std::function<void()> prepare, std::function<void()> run)
{
    if (m_role == Role::Plain) // some times slower, so that fewer will do
        add(operation, Column::Plain, (repetitions + 2) / 3, std::move(prepare), std::move(run));
    else
        addModule(operation, repetitions, std::move(prepare), std::move(run));
}

void Suite::addModule(
    const std::string &operation, int repetitions, std::function<void()> prepare, std::function<void()> run)
{
    if (m_role == Role::Module)
        add(operation, Column::Module, repetitions, std::move(prepare), std::move(run));
}

void Suite::addPeer(const std::string &operation, Column column, int repetitions, std::function<void()> prepare,
    std::function<void()> run)
{
    if (m_role == Role::Peers)
        add(operation, column, repetitions, std::move(prepare), std::move(run));
}

void Suite::add(const std::string &operation, Column column, int repetitions, std::function<void()> prepare,
    std::function<void()> run)
{
    const auto measure = [prepare, run](benchmark::State &state) {
        for (auto _ : state) {
            prepare();
            const auto start = std::chrono::steady_clock::now();
            run();
            state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    };
    benchmark::RegisterBenchmark((operation + '\t' + columnName(column)).c_str(), measure)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(isTiny ? 1 : repetitions);
}

} // namespace bench
