#include <QtCore/qglobal.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

// How many processors a test program sees: as many as KXCORE_TEST_PROCESSORS says, whatever the machine has. What counts
// workers asks one of these two functions, and finds the program's own before those of the C library.

namespace {

int wanted()
{
    const char *value = std::getenv("KXCORE_TEST_PROCESSORS");
    return value ? std::atoi(value) : 0;
}

} // namespace

extern "C" Q_DECL_EXPORT long sysconf(int name) noexcept
{
    if ((name == _SC_NPROCESSORS_ONLN || name == _SC_NPROCESSORS_CONF) && wanted() > 0)
        return wanted();
    static const auto next = reinterpret_cast<long (*)(int)>(dlsym(RTLD_NEXT, "sysconf"));
    return next(name);
}

extern "C" Q_DECL_EXPORT int get_nprocs() noexcept { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); }
