// A kernel module for tests: its kernels do nothing but note in `called` of the test that they ran. Which of them it exports is told
// at its target.

#include "support/KernelPrototypes.h"

#include <set>
#include <string>

extern "C" __attribute__((weak)) std::set<std::string> called; // other programs load the module, and call nothing

#define KX_KERNEL(symbol, ...)                                                                                         \
    void symbol(__VA_ARGS__) { called.insert(#symbol); }
#include "support/KernelList.h"
