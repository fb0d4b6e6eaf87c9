// A kernel module for tests: its kernels do nothing but note in the test's `called` that they ran. Its target in
// CMakeLists.txt says which of them it exports.

#include "support/KernelPrototypes.h"

#include <set>
#include <string>

extern "C" __attribute__((weak)) std::set<std::string> called; // other programs load the module, and call nothing

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define KX_KERNEL(symbol, ...)                                                                                         \
    void symbol(__VA_ARGS__) { called.insert(#symbol); }
#include "support/KernelList.h"
