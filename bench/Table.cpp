#include "Suite.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>

namespace bench {

namespace {

std::optional<double> timeOf(const Row &row, Column column)
{
    const auto found = row.nanosecondsPerPixel.find(column);
    return found == row.nanosecondsPerPixel.end() ? std::nullopt : std::optional<double>(found->second);
}

std::optional<double> ratio(std::optional<double> reference, std::optional<double> ours)
{
    return reference && ours && *ours > 0 ? std::optional<double>(*reference / *ours) : std::nullopt;
}

/// Ours with the module; the plain form where there is no module.
std::optional<double> ours(const Row &row)
{
    const auto module = timeOf(row, Column::Module);
    return module ? module : timeOf(row, Column::Plain);
}

std::optional<double> bestPeer(const Row &row)
{
    std::optional<double> best;
    for (const auto &[column, time] : row.nanosecondsPerPixel)
        if (isPeer(column) && (!best || time < *best))
            best = time;
    return best;
}

std::optional<double> reached(const std::vector<Row> &rows, const Row &row)
{
    const std::string &operation = row.goal.operation.empty() ? row.operation : row.goal.operation;
    const auto other = std::find_if(rows.begin(), rows.end(), [&](const Row &r) { return r.operation == operation; });
    if (other == rows.end())
        return std::nullopt;
    return ratio(row.goal.column == Column::Module ? ours(*other) : timeOf(*other, row.goal.column), ours(row));
}

std::string goalText(const Goal &goal)
{
    char text[160];
    std::snprintf(text, sizeof text, "%g x %s", goal.ratio,
        goal.operation.empty() ? columnName(goal.column) : goal.operation.c_str());
    return text;
}

std::string number(std::optional<double> value, const char *format)
{
    char text[32] = "-";
    if (value)
        std::snprintf(text, sizeof text, format, *value);
    return text;
}

std::string json(std::optional<double> value) { return value ? number(value, "%.6g") : "null"; }

/// Rows that the benchmark filter left out have no times.
bool isMeasured(const Row &row) { return !row.nanosecondsPerPixel.empty(); }

void printTable(const std::vector<Row> &rows)
{
    std::printf("Nanoseconds per pixel at %d x %d, minimum of all runs; composition at opacity 0.7.\n"
                "best: best peer / ours. reached: reference / ours, which the goal wants to be at least the number "
                "before the x.\n\n",
        width, height);
    std::printf("%-34s", "operation");
    const char *const heads[columnCount] = { "plain", "module", "QP strt", "QP prem", "OpenCV", "libvips", "lcms2",
        "QText", "OpenGL" };
    for (const char *head : heads)
        std::printf(" %8s", head);
    std::printf(" %7s %8s  %s\n", "best", "reached", "goal");
    for (const Row &row : rows) {
        if (!isMeasured(row) || row.sheet)
            continue;
        std::printf("%-34s", row.operation.c_str());
        for (int c = 0; c < columnCount; ++c)
            std::printf(" %8s", number(timeOf(row, Column(c)), "%.3f").c_str());
        const auto got = row.goal.ratio > 0 ? reached(rows, row) : std::nullopt;
        std::printf(" %7s %8s", number(ratio(bestPeer(row), ours(row)), "%.2f").c_str(), number(got, "%.2f").c_str());
        if (row.goal.ratio > 0)
            std::printf("  %s%s", goalText(row.goal).c_str(), got && *got < row.goal.ratio ? "  MISSED" : "");
        std::printf("\n");
    }
}

/// The rows that are cells of @p sheet, by their lines. Those of a line follow one another.
void printSheet(const std::vector<Row> &rows, const Sheet &sheet)
{
    const auto isCell = [&](const Row &row) { return isMeasured(row) && row.sheet == &sheet; };
    const auto missed = [&](const Row &row) { return reached(rows, row).value_or(row.goal.ratio) < row.goal.ratio; };
    std::printf("\n%s\n\n%-34s", sheet.title, sheet.lineHead);
    for (const Sheet::Times &times : sheet.columns)
        std::printf(times.column == Column::Module ? " %15s" : " %12s", times.head);
    std::printf("%s\n", sheet.goalsOf ? "  goal" : "");
    auto row = std::find_if(rows.begin(), rows.end(), isCell);
    while (row != rows.end()) {
        const std::string line = row->line;
        std::map<std::string, const Row *> cells;
        for (; row != rows.end() && row->sheet == &sheet && row->line == line; ++row)
            cells[row->pictures] = &*row;
        std::printf("%-34s", line.c_str());
        for (const Sheet::Times &times : sheet.columns) {
            const Row *const cell = cells[times.pictures];
            if (times.column == Column::Module) {
                const auto got = cell && cell->goal.ratio > 0 ? reached(rows, *cell) : std::nullopt;
                const std::string text = cell ? number(ours(*cell), "%.3f") + (got ? number(got, " %5.2f") : "      ")
                        + (missed(*cell) ? "!" : " ")
                                              : "";
                std::printf(" %15s", text.c_str());
            } else {
                std::printf(" %12s", number(cell ? timeOf(*cell, times.column) : std::nullopt, "%.3f").c_str());
            }
        }
        const Row *const last = sheet.goalsOf ? cells[sheet.goalsOf] : nullptr;
        std::printf("%s\n", last && last->goal.ratio > 0 ? ("  " + goalText(last->goal)).c_str() : "");
        row = std::find_if(row, rows.end(), isCell);
    }
    std::printf("\n");
    for (const Row &cell : rows)
        if (isCell(cell) && missed(cell))
            std::printf("%s: MISSED %s\n", cell.operation.c_str(), goalText(cell.goal).c_str());
}

/// Every sheet that has cells, in the order of its first one.
void printSheets(const std::vector<Row> &rows)
{
    std::vector<const Sheet *> printed { nullptr };
    for (const Row &row : rows)
        if (isMeasured(row) && std::find(printed.begin(), printed.end(), row.sheet) == printed.end()) {
            printed.push_back(row.sheet);
            printSheet(rows, *row.sheet);
        }
}

void writeJson(const std::vector<Row> &rows, std::ostream &out)
{
    out << "{ \"width\": " << width << ", \"height\": " << height << ", \"unit\": \"ns/pixel\", \"operations\": [";
    const char *separator = "\n";
    for (const Row &row : rows) {
        if (!isMeasured(row))
            continue;
        out << separator << "  { \"operation\": \"" << row.operation << "\"";
        for (int c = 0; c < columnCount; ++c)
            out << ", \"" << columnName(Column(c)) << "\": " << json(timeOf(row, Column(c)));
        out << ", \"ratio to best peer\": " << json(ratio(bestPeer(row), ours(row)));
        if (row.goal.ratio > 0)
            out << ", \"goal\": \"" << goalText(row.goal) << "\", \"reached\": " << json(reached(rows, row));
        out << " }";
        separator = ",\n";
    }
    out << "\n] }\n";
}

} // namespace

bool report(const std::vector<Row> &rows, const std::string &jsonFile)
{
    printTable(rows);
    printSheets(rows);
    if (jsonFile.empty())
        return true;
    std::ofstream out(jsonFile);
    writeJson(rows, out);
    out.flush();
    if (!out)
        std::fprintf(stderr, "cannot write %s\n", jsonFile.c_str());
    return bool(out);
}

} // namespace bench
