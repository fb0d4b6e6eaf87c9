// A kernel module for tests: its kernels do nothing but note in `called` that they ran. Which of them it exports is told
// at its target.

#include "support/KernelPrototypes.h"

#include <set>
#include <string>

extern "C" Q_DECL_EXPORT std::set<std::string> called;
std::set<std::string> called;

#define KX_KERNEL(symbol, ...)                                                                                         \
    void symbol(__VA_ARGS__) { called.insert(#symbol); }
#include "support/KernelList.h"
