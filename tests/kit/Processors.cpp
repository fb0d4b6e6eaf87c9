#include <QtCore/qglobal.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

// How many processors a test program sees: as many as KXCORE_TEST_PROCESSORS says, whatever the machine has. What
// counts workers asks one of these two functions, and finds the program's own before those of the C library.

extern "C" Q_DECL_EXPORT long sysconf(int name) noexcept
{
    const bool isCount = name == _SC_NPROCESSORS_ONLN || name == _SC_NPROCESSORS_CONF;
    const char *const wanted = isCount ? std::getenv("KXCORE_TEST_PROCESSORS") : nullptr;
    if (wanted && std::atoi(wanted) > 0)
        return std::atoi(wanted);
    return reinterpret_cast<long (*)(int)>(dlsym(RTLD_NEXT, "sysconf"))(name);
}

extern "C" Q_DECL_EXPORT int get_nprocs() noexcept { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); }
