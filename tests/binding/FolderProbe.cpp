#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

class AVX2LIB;

/// probe LIBRARY FOLDER: opens the library, makes the folder the current one, and prints the file of the kernel module
/// that the library then finds, or nothing.
int main(int, char **argv)
{
    void *const library = dlopen(argv[1], RTLD_NOW);
    if (!library || chdir(argv[2]) != 0) {
        std::puts(library ? "no such folder" : dlerror());
        return 1;
    }
    const auto instance = reinterpret_cast<AVX2LIB *(*)()>(dlsym(library, "_ZN7AVX2LIB8InstanceEv"));
    const auto symbol =
        reinterpret_cast<void *(*)(const AVX2LIB *, const char *)>(dlsym(library, "_ZNK7AVX2LIB14GetProcAddressEPKc"));
    if (const AVX2LIB *const module = instance()) {
        Dl_info info {};
        dladdr(symbol(module, "VectorProcess"), &info);
        std::puts(info.dli_fname);
    }
    return 0;
}
