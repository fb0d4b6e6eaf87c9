// A kernel module for tests: its kernels do nothing but tell the test's noteCall() that they ran. Its target in
// CMakeLists.txt says which of them it exports.

#include "support/KernelPrototypes.h"

extern "C" __attribute__((weak)) void noteCall(const char *symbol); // other programs load the module, and call nothing

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define KX_KERNEL(symbol, ...)                                                                                         \
    void symbol(__VA_ARGS__) { noteCall(#symbol); }
#include "support/KernelList.h"
