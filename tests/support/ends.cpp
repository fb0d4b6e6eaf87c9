#include "support/Workers.h"

/// Ends right after a loop, most of whose workers are still on their way, and without a QCoreApplication that would
/// wait for them.
int main()
{
    workers::run(16, [] {});
    return 0;
}
