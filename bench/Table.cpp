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
    return ratio(isPeer(row.goal.column) ? timeOf(*other, row.goal.column) : ours(*other), ours(row));
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
    const char *const heads[columnCount] = { "plain", "module", "QP strt", "QP prem", "OpenCV", "libvips", "lcms2" };
    for (const char *head : heads)
        std::printf(" %8s", head);
    std::printf(" %7s %8s  %s\n", "best", "reached", "goal");
    for (const Row &row : rows) {
        if (!isMeasured(row) || !row.sheetLine.empty())
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

/// The rows that are cells, by their lines. They follow one another.
void printSheet(const std::vector<Row> &rows)
{
    const auto isCell = [](const Row &row) { return isMeasured(row) && !row.sheetLine.empty(); };
    const auto missed = [&](const Row &row) { return reached(rows, row).value_or(row.goal.ratio) < row.goal.ratio; };
    auto row = std::find_if(rows.begin(), rows.end(), isCell);
    if (row == rows.end())
        return;
    std::printf(
        "\nComposition by what is in the pictures, module. QP: QPainter, premultiplied. Behind a time: reference /"
        " ours;\n! is less than its goal.\n\n%-24s",
        "mode");
    for (const char *column : sheetColumns)
        std::printf(" %15s", column);
    std::printf(" %9s %9s\n", "QP photo", "strokes");
    while (row != rows.end()) {
        const std::string line = row->sheetLine;
        std::map<std::string, std::string> texts;
        for (; row != rows.end() && row->sheetLine == line; ++row) {
            const auto got = row->goal.ratio > 0 ? reached(rows, *row) : std::nullopt;
            texts[row->sheetColumn] =
                number(ours(*row), "%.3f") + (got ? number(got, " %5.2f") : "      ") + (missed(*row) ? "!" : " ");
            texts["QP " + row->sheetColumn] = number(timeOf(*row, Column::PainterPremultiplied), "%.3f");
        }
        std::printf("%-24s", line.c_str());
        for (const char *column : sheetColumns)
            std::printf(" %15s", texts[column].c_str());
        std::printf(" %9s %9s\n", texts["QP tiles photo"].c_str(), texts["QP tiles strokes"].c_str());
        row = std::find_if(row, rows.end(), isCell);
    }
    std::printf("\n");
    for (const Row &cell : rows)
        if (isCell(cell) && missed(cell))
            std::printf("%s: MISSED %s\n", cell.operation.c_str(), goalText(cell.goal).c_str());
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
    printSheet(rows);
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
