#pragma once

#include <QtCore/QStringList>

/// How the cost of an operation grows with the size of the picture, and falls with the number of workers.
namespace bench {

/// Measures in child processes, each on as many processors as workers are wanted, and prints a table. @p program is
/// this program. False when that failed.
bool printGrowth(const QString &program);

/// What a child does: measures @p operation at each size on @p workers processors.
int measureGrowth(const QString &operation, int workers);

} // namespace bench
