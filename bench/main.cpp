#include "AVX2LIB.h"
#include "KXComposer.h"
#include "KXGpuService.h"

#include "Growth.h"
#include "Suite.h"

#include <benchmark/benchmark.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QProcess>
#include <QtGui/QGuiApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Measures in child processes of three roles, round by round, so that what else the machine does meets all alike; keeps
// the minimum of each, and prints one table.

namespace {

using namespace bench;

constexpr Role roles[] = { Role::Plain, Role::Module, Role::Peers };
constexpr const char *roleNames[] = { "plain", "module", "peers" };

/// Adds all operations, with what needs no other library than Qt and Little CMS.
void addOperationsOfAllKinds(Suite &suite)
{
    addFilters(suite);
    addComposition(suite);
    addGeometry(suite);
    addPaintings(suite);
    addOpenGl(suite);
    addProfiles(suite);
    addText(suite);
    addOperations(suite);
    addTransforms(suite);
    addRetouching(suite);
}

Suite makeSuite(Role role)
{
    Suite suite(role);
    addOperationsOfAllKinds(suite);
#ifdef KXCORE_BENCH_OPENCV
    addOpenCV(suite);
#endif
#ifdef KXCORE_BENCH_VIPS
    addVips(suite);
#endif
    return suite;
}

/// Prints "operation, column, nanoseconds" for the fastest repetition of each.
class FastestReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        double fastest = 0;
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                fastest = fastest == 0 ? run.real_accumulated_time : std::min(fastest, run.real_accumulated_time);
        if (fastest > 0) // not for the means of the repetitions
            std::printf("%s\t%.17g\n", runs.front().run_name.function_name.c_str(), fastest * 1e9);
        std::fflush(stdout);
    }
};

int measure(Role role)
{
    if (role == Role::Plain)
        AVX2LIB::UseModule(nullptr);
    QLoggingCategory::setFilterRules("default.debug=false"); // "AVX2 functions cannot be loaded" is meant here
    loadAVX2Functions(true);
    makeSuite(role);
    FastestReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    KXGpuService::destroy(); // which the registered runs would do after the application has ended
    return 0;
}

/// Runs a child and takes its times into @p rows. False when it failed.
bool runChild(Role role, const QStringList &arguments, std::vector<Row> &rows)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
        QStringList { QString("--role=%1").arg(roleNames[int(role)]) } + arguments);
    if (!child.waitForFinished(-1) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
        return false;
    for (const QByteArray &line : child.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() != 3)
            continue;
        const double time = fields[2].toDouble() / pixels;
        for (Row &row : rows)
            for (int c = 0; c < columnCount; ++c)
                if (fields[0] == row.operation.c_str() && fields[1] == columnName(Column(c))) {
                    const auto [entry, isNew] = row.nanosecondsPerPixel.emplace(Column(c), time);
                    if (!isNew)
                        entry->second = std::min(entry->second, time);
                }
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    std::string jsonFile;
    int rounds = 3;
    benchmark::Initialize(&argc, argv);
    const std::string filter = benchmark::GetBenchmarkFilter();
    const QStringList passedOn =
        filter.empty() ? QStringList() : QStringList("--benchmark_filter=" + QString::fromStdString(filter));
    for (int i = 1; i < argc; ++i) {
        if (!std::strncmp(argv[i], "--role=", 7)) {
            QGuiApplication application(argc, argv);
            for (const Role role : roles)
                if (!std::strcmp(argv[i] + 7, roleNames[int(role)]))
                    return measure(role);
        } else if (!std::strncmp(argv[i], "--growth=", 9) && i + 1 < argc) {
            QCoreApplication application(argc, argv);
            loadAVX2Functions(true);
            return measureGrowth(argv[i] + 9, std::atoi(argv[i + 1]));
        } else if (!std::strcmp(argv[i], "--json") && i + 1 < argc) {
            jsonFile = argv[++i];
            continue;
        } else if (!std::strncmp(argv[i], "--rounds=", 9)) {
            rounds = std::max(std::atoi(argv[i] + 9), 1);
            continue;
        }
        std::fprintf(stderr, "usage: kxcore_bench [--json FILE] [--rounds=N] [--benchmark_filter=REGEX]\n");
        return 2;
    }

    QCoreApplication application(argc, argv);
    if (filter == "growth")
        return printGrowth(QCoreApplication::applicationFilePath()) ? 0 : 1;
    Suite names(Role::Peers); // for the rows alone
    addOperationsOfAllKinds(names);
    std::vector<Row> rows = names.rows();
    for (int round = 1; round <= rounds; ++round)
        for (const Role role : roles) {
            std::fprintf(stderr, "round %d of %d: %s\n", round, rounds, roleNames[int(role)]);
            if (!runChild(role, passedOn, rows)) {
                std::fprintf(stderr, "measuring failed\n");
                return 1;
            }
        }
    if (!report(rows, jsonFile))
        return 1;
    return filter.empty() && !printGrowth(QCoreApplication::applicationFilePath()) ? 1 : 0;
}
