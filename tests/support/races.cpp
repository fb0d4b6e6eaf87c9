#include "support/Workers.h"

/// Two workers count in one variable that nothing protects, and wait for each other so that both are at it.
int main()
{
    int count = 0;
    std::atomic<int> begun { 0 };
    workers::run(2, [&] {
        ++begun;
        for (int i = 0; begun < 2 && i < 10000; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++count;
    });
    return count == 2 ? 0 : 1;
}
